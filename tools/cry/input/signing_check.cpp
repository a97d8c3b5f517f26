#include "input/signing_check.hpp"

#include "input/file.hpp"
#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/openssl_reason.hpp"

#include <algorithm>
#include <cry/internal/cry_hash.h>
#include <memory>
#include <openssl/err.h>
#include <vector>

namespace
{

EVP_MD *fetchDigest( CRY_HASH_ALGORITHM algorithm ) { return EVP_MD_fetch( nullptr, cry___HashAlgorithmOpensslDigestName( algorithm ), nullptr ); }

tool::InputError cannot( const tool::Key &key, const std::string &what )
{
    std::string reason = tool::opensslReasonInBrackets();
    return tool::InputError( key.file, "OpenSSL cannot " + what + " with this key (" + tool::keyText( key.peek() ) + ") and this digest" + reason );
}

}

tool::SigningCheck::SigningCheck( CRY_HASH_ALGORITHM algorithm ) : md( fetchDigest( algorithm ) ), context( EVP_MD_CTX_new() )
{
    if( md && context )
        EVP_SignInit_ex( context, md, nullptr );
}

tool::SigningCheck::~SigningCheck()
{
    EVP_MD_CTX_free( context );
    EVP_MD_free( md );
}

void tool::SigningCheck::update( const PB_BYTE *bytes, PB_INT count ) { EVP_SignUpdate( context, bytes, (size_t)count ); }

void tool::SigningCheck::check( const Key &key ) const
{
    EVP_PKEY *pkey = key.peek();
    ERR_clear_error();
    std::vector<unsigned char> signature( (size_t)std::max( EVP_PKEY_get_size( pkey ), 1 ) );
    unsigned int               length;
    if( !md || !context || EVP_SignFinal( context, signature.data(), &length, pkey ) != 1 )
        throw cannot( key, "sign" );
}

void tool::checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm )
{
    EVP_PKEY *pkey = key.peek();
    ERR_clear_error();
    std::unique_ptr<EVP_MD, decltype( &EVP_MD_free )>             md( fetchDigest( algorithm ), EVP_MD_free );
    std::unique_ptr<EVP_PKEY_CTX, decltype( &EVP_PKEY_CTX_free )> context( EVP_PKEY_CTX_new( pkey, nullptr ), EVP_PKEY_CTX_free );
    if( !md || !context || EVP_PKEY_verify_init( context.get() ) != 1 || EVP_PKEY_CTX_set_signature_md( context.get(), md.get() ) != 1 )
        throw cannot( key, "verify" );
}
