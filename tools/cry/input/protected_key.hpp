// Private keys behind a password, which OpenSSL decodes.
#pragma once

#include "input/password.hpp"

#include <cry/cry_pkey_private.h>

#include <openssl/pem.h>
#include <string>

namespace tool
{

// The text of a block as OpenSSL wants it: without blanks around its lines, which end with LF.
pb::Ref<PB_BUFFER> tidied( const PB_BYTE *bytes, PB_INT length );

// The key that OpenSSL's function `read` makes of these bytes of a file; the function may ask for
// the password. If there is none, `problem` says why. Throws InputError if there is no password to
// be had.
pb::Ref<CRY_PKEY_PRIVATE> unprotected( const PB_BYTE *bytes, PB_INT length, PasswordOptions &password, const std::string &path,
    EVP_PKEY *( *read )(BIO *, EVP_PKEY **, pem_password_cb *, void *), std::string &problem );

}
