// Keys in files: PEM with anything around it, or DER, protected by a password or not.
#pragma once

#include "input/password.hpp"

#include <cry/cry_pkey_private.h>
#include <cry/cry_pkey_public.h>

#include <openssl/evp.h>
#include <string>

namespace tool
{

struct Key
{
    pb::Ref<CRY_PKEY_PRIVATE> privateKey; // null if there is only the public half
    pb::Ref<CRY_PKEY_PUBLIC>  publicKey;
    std::string               form; // "PKCS#8", "certificate", ...
    std::string               file;

    // OpenSSL's object, lent: of the private key if there is one, else of the public key.
    EVP_PKEY *peek() const;
};

// The private key of a file. Throws InputError if there is none, or it cannot be read; warns if
// others can read the file.
Key readPrivateKey( const std::string &path, PasswordOptions &password );

// The key of a file: the private key in it, else the public one, else that of the first
// certificate.
Key readKey( const std::string &path, PasswordOptions &password );

}
