// Keys in files: PEM with anything around it, or DER, protected by a password or not.
#pragma once

#include "input/password.hpp"

#include <cry/cry_hash_algorithm.h>
#include <cry/cry_pkey_private.h>
#include <cry/cry_pkey_public.h>

#include <openssl/evp.h>
#include <string>

namespace tool
{

struct Key
{
    pb::Ref<CRY_PKEY_PRIVATE> privateKey; // null when there is only the public half
    pb::Ref<CRY_PKEY_PUBLIC>  publicKey;
    std::string               form; // "PKCS#8", "certificate", ...
    std::string               file;

    // OpenSSL's, lent; the private one where there is one.
    EVP_PKEY *peek() const;
};

// The private key of a file. Throws InputError when there is none, or it cannot be read; warns when others can read the file.
Key readPrivateKey( const std::string &path, PasswordOptions &password );

// The key of a file: the private key in it, else the public one, else that of the first certificate.
Key readKey( const std::string &path, PasswordOptions &password );

// The module takes it for granted that a key can sign what it is to sign. So plain OpenSSL goes along with the data and tries before.
class SigningCheck
{
public:
    explicit SigningCheck( CRY_HASH_ALGORITHM algorithm );
    ~SigningCheck();
    SigningCheck( const SigningCheck & )            = delete;
    SigningCheck &operator=( const SigningCheck & ) = delete;

    void update( const PB_BYTE *bytes, PB_INT count );
    // Throws InputError when OpenSSL cannot sign what it was given so far with this key.
    void check( const Key &key ) const;

private:
    EVP_MD     *md;
    EVP_MD_CTX *context;
};

// Throws InputError when OpenSSL cannot verify with this key and digest.
void checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm );

// The text of a key's PEM, with the line ends of text files.
pb::Ref<PB_BUFFER> pemText( CRY_PEM *pem );

}
