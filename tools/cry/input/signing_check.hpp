// Tries whether OpenSSL can use a key for a signature. The module takes that for granted.
#pragma once

#include "input/key_file.hpp"

#include <cry/cry_hash_algorithm.h>

#include <openssl/evp.h>

namespace tool
{

// Takes the same data as a signer of the module, and tries to sign it with OpenSSL alone.
class SigningCheck
{
public:
    explicit SigningCheck( CRY_HASH_ALGORITHM algorithm );
    ~SigningCheck();
    SigningCheck( const SigningCheck & )            = delete;
    SigningCheck &operator=( const SigningCheck & ) = delete;

    void update( const PB_BYTE *bytes, PB_INT count );
    // Throws InputError if OpenSSL cannot sign the data so far with this key.
    void check( const Key &key ) const;

private:
    EVP_MD     *md;
    EVP_MD_CTX *context;
};

// Throws InputError if OpenSSL cannot verify with this key and digest.
void checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm );

}
