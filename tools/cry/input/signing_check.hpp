// Whether a key can sign and verify. The module takes that for granted.
#pragma once

#include "input/key_file.hpp"

#include <cry/cry_hash_algorithm.h>

#include <openssl/evp.h>

namespace tool
{

// Throws InputError if a private key cannot sign with this digest, or if its own public half does
// not confirm what it signs.
void checkCanSign( const Key &key, CRY_HASH_ALGORITHM algorithm );

// The same for certain data: some keys can sign all but a few.
class SigningCheck
{
public:
    explicit SigningCheck( CRY_HASH_ALGORITHM algorithm );
    ~SigningCheck();
    SigningCheck( const SigningCheck & )            = delete;
    SigningCheck &operator=( const SigningCheck & ) = delete;

    void update( const PB_BYTE *bytes, PB_INT count );
    // Throws InputError if the data so far cannot be signed with this key.
    void checkCanSign( const Key &key ) const;
    // Throws InputError if a signature of the data so far is not good for the key's public half.
    void checkSignature( const Key &key, PB_BUFFER *signature ) const;

private:
    EVP_MD     *md;
    EVP_MD_CTX *context;
};

// Throws InputError if OpenSSL cannot verify with this key and digest.
void checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm );

}
