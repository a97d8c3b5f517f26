// Private keys behind a password.
#pragma once

#include "input/password.hpp"

#include <openssl/x509.h>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

// What is behind a password: DER, which is sensitive, and the label that its PEM would have. No DER
// if it cannot be had; then `problem` says why.
struct Unprotected
{
    pb::Ref<PB_BUFFER> der;
    std::string        label, problem;
};

// The text of a block as OpenSSL wants it: without blanks around its lines, which end with LF. It
// is sensitive.
pb::Ref<PB_BUFFER> tidiedPem( const PB_BYTE *bytes, PB_INT length );

// The content of encrypted PKCS#8 (RFC 5958, 3), decrypted with the password for the file. Throws
// InputError if there is no password to be had.
Unprotected decryptPkcs8( const X509_SIG *sig, PasswordOptions &password, const std::string &path );

// The same for a block of PEM whose header lines say how it is encrypted (RFC 1421).
Unprotected decryptOldPem( const PB_BYTE *text, PB_INT length, PasswordOptions &password, const std::string &path );

}
