#include <cry/cry_sign.h>
#include <cry/internal/cry_pkey_private.h>

#include "common/cry_ossl.hpp"
#include "hash/cry_hash.hpp"
#include "hash/cry_hash_algorithm.hpp"
#include "pkey/cry_pkey_private.hpp"
#include "pkey/cry_pkey_public.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/containers.hpp>
#include <pb/pb_mem.h>

// Tries to sign in the same two ways as crySignSignerFinal.
PB_BOOL crySignCanSign( CRY_HASH_ALGORITHM alg, CRY_PKEY_PRIVATE *privateKey )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( privateKey );
    openssl::ErrorMark detour;
    PB_BYTE            digest[EVP_MAX_MD_SIZE];
    if( !cry::tryDigest( alg, {}, digest ) )
        return PB_FALSE;
    size_t                 length = cry::pkey::signatureRoom( privateKey );
    pb::StdVector<PB_BYTE> signature( length );
    if( cry::pkey::trySign( privateKey, alg, digest, signature.data(), &length ) )
        return PB_TRUE;
    cry::ossl::Ptr<EVP_MD_CTX> mdCtx( EVP_MD_CTX_new() );
    unsigned int               signatureLength;
    return mdCtx && EVP_DigestInit_ex2( mdCtx.get(), cry::digestOf( alg ), nullptr ) &&
        EVP_SignFinal( mdCtx.get(), signature.data(), &signatureLength, cry___PkeyPrivatePeekOpensslEvpPkey( privateKey ) );
}

PB_BUFFER *crySignTrySign( CRY_HASH_ALGORITHM alg, CRY_PKEY_PRIVATE *privateKey, PB_BUFFER *data )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( privateKey );
    PB_CHECK( data );
    PB_BYTE digest[EVP_MAX_MD_SIZE];
    if( !cry::tryDigest( alg, { data }, digest ) )
        return nullptr;
    size_t   length    = cry::pkey::signatureRoom( privateKey );
    PB_BYTE *signature = (PB_BYTE *)pbMemAlloc( length );
    if( cry::pkey::trySign( privateKey, alg, digest, signature, &length ) )
        return pbBufferCreateFromBytesUse( signature, (PB_INT)length );
    pbMemFree( signature );
    // The signer decides: it signs, gives a reason or aborts.
    pb::Ref<CRY_SIGN_SIGNER> sig = pb::adopt( crySignSignerTryCreate( alg, privateKey ) );
    if( !sig )
        return nullptr;
    crySignSignerUpdate( sig.get(), data );
    return crySignSignerFinal( sig.get() );
}

// For a signature that is too long: the verifier has the check that aborts.
static PB_BOOL verifyWithVerifier( PB_INT alg, CRY_PKEY_PUBLIC *publicKey, PB_BUFFER *signature, PB_BUFFER *data )
{
    pb::Ref<CRY_SIGN_VERIFIER> vfy = pb::adopt( crySignVerifierTryCreate( alg, publicKey, signature ) );
    if( !vfy )
        return PB_FALSE;
    crySignVerifierUpdate( vfy.get(), data );
    return crySignVerifierFinal( vfy.get() );
}

PB_BOOL crySignVerify( CRY_HASH_ALGORITHM alg, CRY_PKEY_PUBLIC *publicKey, PB_BUFFER *signature, PB_BUFFER *data )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( publicKey );
    PB_CHECK( signature );
    PB_CHECK( data );
    if( !PB_INT_TO_UNSIGNED_INT_CONV_OK( pbBufferLength( signature ) ) )
        return verifyWithVerifier( alg, publicKey, signature, data );
    PB_BYTE digest[EVP_MAX_MD_SIZE];
    return cry::tryDigest( alg, { data }, digest ) && cry::pkey::verify( publicKey, alg, digest, signature );
}
