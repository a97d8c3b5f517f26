#include "pkey/cry_pkey_signature_contexts.hpp"

#include <cry/cry_hash_algorithm.h>

#include "hash/cry_hash_algorithm.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_module.h>

static cry::ossl::Ptr<EVP_PKEY_CTX> tryMake( OSSL_LIB_CTX *library, EVP_PKEY *pkey, const EVP_MD *md, int ( *start )( EVP_PKEY_CTX * ) )
{
    cry::ossl::Ptr<EVP_PKEY_CTX> context( EVP_PKEY_CTX_new_from_pkey( library, pkey, nullptr ) );
    if( !context || start( context.get() ) != 1 || EVP_PKEY_CTX_set_signature_md( context.get(), md ) != 1 )
        return nullptr;
    EVP_PKEY_CTX_set_app_data( context.get(), const_cast<EVP_MD *>( md ) );
    return context;
}

cry::ossl::Ptr<EVP_PKEY_CTX> cry::pkey::SignatureContexts::tryPrepare( EVP_PKEY *pkey, PB_INT alg, Start start )
{
    const EVP_MD *md = digestOf( alg );
    if( !md )
        return nullptr;
    // A context for another digest is not used and not kept.
    ossl::Ptr<EVP_PKEY_CTX> context = contexts.acquire();
    if( context && EVP_PKEY_CTX_get_app_data( context.get() ) == md )
        return context;
    OSSL_LIB_CTX *library = openssl___ContextOf( pkey );
    context               = tryMake( library, pkey, md, start );
    return context || !library ? std::move( context ) : tryMake( nullptr, pkey, md, start );
}

static size_t lengthOf( PB_INT alg ) { return (size_t)cryHashAlgorithmDigestSizeBits( alg ) / 8; }

bool cry::pkey::SignatureContexts::trySign( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, PB_BYTE *signature, size_t *signatureLength )
{
    openssl::ErrorMark      detour;
    ossl::Ptr<EVP_PKEY_CTX> context = tryPrepare( pkey, alg, EVP_PKEY_sign_init );
    bool                    made    = context && EVP_PKEY_sign( context.get(), signature, signatureLength, digest, lengthOf( alg ) ) == 1;
    if( made )
        contexts.release( std::move( context ) );
    return made;
}

bool cry::pkey::SignatureContexts::verify( EVP_PKEY *pkey, PB_INT alg, const PB_BYTE *digest, const PB_BYTE *signature, size_t signatureLength )
{
    ossl::Ptr<EVP_PKEY_CTX> context = tryPrepare( pkey, alg, EVP_PKEY_verify_init );
    if( !context )
        return false;
    bool valid = EVP_PKEY_verify( context.get(), signature, signatureLength, digest, lengthOf( alg ) ) == 1;
    contexts.release( std::move( context ) );
    return valid;
}
