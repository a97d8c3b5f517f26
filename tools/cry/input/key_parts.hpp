// Private keys out of the bytes of a file.
#pragma once

#include "input/protected_key.hpp"

#include <cry/cry_pem.h>
#include <cry/cry_pkey_private.h>

#include <string>

namespace tool
{

// How a block with this label holds a private key.
std::string formOf( const std::string &label );

// Why a key is not decoded, although it is no bad DER; empty if it may be. Larger numbers would
// keep the tool busy for minutes, and OpenSSL does not verify with them.
std::string problemInKey( PB_BUFFER *der );

// The private key in a block that no password protects; if there is none, `problem` says why.
void readPlainKey( CRY_PEM *pem, pb::Ref<CRY_PKEY_PRIVATE> &key, std::string &problem );

// The same for a key that was behind a password.
void takeUnprotected( const Unprotected &unprotected, pb::Ref<CRY_PKEY_PRIVATE> &key, std::string &problem );

// The same for encrypted PKCS#8, with the password for the file.
void readEncryptedKey( PB_BUFFER *der, PasswordOptions &password, const std::string &path, pb::Ref<CRY_PKEY_PRIVATE> &key, std::string &problem );

}
