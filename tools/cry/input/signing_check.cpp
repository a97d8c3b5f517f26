#include "input/signing_check.hpp"

#include "output/error.hpp"
#include "output/key_facts.hpp"
#include "output/openssl_reason.hpp"

#include <algorithm>
#include <cry/cry_sign.h>
#include <cry/internal/cry_hash.h>
#include <cry/internal/cry_pkey_public.h>
#include <memory>
#include <openssl/err.h>
#include <vector>

namespace
{

EVP_MD *fetchDigest( CRY_HASH_ALGORITHM algorithm ) { return EVP_MD_fetch( nullptr, cry___HashAlgorithmOpensslDigestName( algorithm ), nullptr ); }

tool::InputError contradicts( const tool::Key &key )
{
    ERR_clear_error();
    return tool::InputError(
        key.file, "the private key contradicts itself: its own public half does not confirm what it signs ('cry key info' tells more)" );
}

tool::InputError cannot( const tool::Key &key, const std::string &what, const std::string &reason = "" )
{
    return tool::InputError( key.file, "OpenSSL cannot " + what + " with this key (" + tool::keyText( key.peek() ) + ") and this digest" + reason );
}

}

void tool::checkCanSign( const Key &key, CRY_HASH_ALGORITHM algorithm )
{
    if( !crySignCanSign( algorithm, key.privateKey.get() ) )
        throw cannot( key, "sign" );
    pb::Ref<PB_BUFFER> sample    = pb::adopt( pbBufferCreate() );
    pb::Ref<PB_BUFFER> signature = pb::adopt( crySignTrySign( algorithm, key.privateKey.get(), sample.get() ) );
    if( !signature || !crySignVerify( algorithm, key.publicKey.get(), signature.get(), sample.get() ) )
        throw contradicts( key );
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

void tool::SigningCheck::checkCanSign( const Key &key ) const
{
    ERR_clear_error();
    std::vector<unsigned char> signature( (size_t)std::max( EVP_PKEY_get_size( key.peek() ), 1 ) );
    unsigned int               length;
    if( !md || !context || EVP_SignFinal( context, signature.data(), &length, key.peek() ) != 1 )
        throw cannot( key, "sign this data", opensslReasonInBrackets() );
}

void tool::SigningCheck::checkSignature( const Key &key, PB_BUFFER *signature ) const
{
    EVP_PKEY *pkey = cry___PkeyPublicPeekOpensslEvpPkey( key.publicKey.get() );
    if( EVP_VerifyFinal( context, pbBufferBytes( signature ), (unsigned int)pbBufferLength( signature ), pkey ) != 1 )
        throw contradicts( key );
}

void tool::checkCanVerify( const Key &key, CRY_HASH_ALGORITHM algorithm )
{
    EVP_PKEY *pkey = key.peek();
    ERR_clear_error();
    std::unique_ptr<EVP_MD, decltype( &EVP_MD_free )>             md( fetchDigest( algorithm ), EVP_MD_free );
    std::unique_ptr<EVP_PKEY_CTX, decltype( &EVP_PKEY_CTX_free )> context( EVP_PKEY_CTX_new( pkey, nullptr ), EVP_PKEY_CTX_free );
    if( !md || !context || EVP_PKEY_verify_init( context.get() ) != 1 || EVP_PKEY_CTX_set_signature_md( context.get(), md.get() ) != 1 )
        throw cannot( key, "verify", opensslReasonInBrackets() );
}
