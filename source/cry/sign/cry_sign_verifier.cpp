#include <cry/cry_sign_verifier.h>
#include <cry/internal/cry_pkey_public.h>

#include "common/cry_ossl.hpp"
#include "common/cry_update.hpp"
#include "hash/cry_hash_algorithm.hpp"
#include "pkey/cry_pkey_public.hpp"

struct CRY_SIGN_VERIFIER : PB_OBJ
{
    PB_INT           alg;
    CRY_PKEY_PUBLIC *publicKey;
    PB_BUFFER       *signature;
    PB_BOOL          final;
    EVP_MD_CTX      *mdCtx;
};

static constexpr auto verifierFields = pb::fields<&CRY_SIGN_VERIFIER::alg, &CRY_SIGN_VERIFIER::publicKey, &CRY_SIGN_VERIFIER::signature,
    &CRY_SIGN_VERIFIER::final, &CRY_SIGN_VERIFIER::mdCtx>;

PB_SORT_DEFINE( cry, SignVerifier, CRY_SIGN_VERIFIER, PB_FREE_FIELDS( CRY_SIGN_VERIFIER, vfy, verifierFields ) )

CRY_SIGN_VERIFIER *crySignVerifierTryCreate( CRY_HASH_ALGORITHM alg, CRY_PKEY_PUBLIC *publicKey, PB_BUFFER *signature )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( publicKey );
    PB_CHECK( signature );
    CRY_SIGN_VERIFIER *vfy = pb::create<CRY_SIGN_VERIFIER>();
    vfy->alg               = alg;
    vfy->publicKey         = pb::shareOrNull( publicKey );
    vfy->signature         = pb::shareOrNull( signature );
    vfy->mdCtx             = EVP_MD_CTX_new();
    const EVP_MD *md       = cry::digestOf( alg );
    if( !vfy->mdCtx || !md )
    {
        crySignVerifierRelease( vfy );
        return nullptr;
    }
    // If the start fails, a signer is null, but a verifier aborts; that is intended.
    PB_CHECK( EVP_VerifyInit_ex( vfy->mdCtx, md, NULL ) );
    return vfy;
}

void crySignVerifierUpdateBytes( CRY_SIGN_VERIFIER *vfy, const PB_BYTE *data, PB_INT byteCount )
{
    PB_CHECK( vfy );
    PB_CHECK( !vfy->final );
    PB_CHECK( data || !byteCount );
    PB_CHECK( byteCount >= 0 );
    while( byteCount )
    {
        PB_INT bytesToHash = byteCount < cry::updatePiece ? byteCount : cry::updatePiece;
        PB_CHECK( PB_INT_TO_UNSIGNED_INT_CONV_OK( bytesToHash ) );
        PB_CHECK( EVP_VerifyUpdate( vfy->mdCtx, data, (unsigned int)bytesToHash ) );
        data += bytesToHash;
        byteCount -= bytesToHash;
    }
}

static auto feeding( CRY_SIGN_VERIFIER *vfy )
{
    return [vfy]( const PB_BYTE *bytes, PB_INT byteCount ) { crySignVerifierUpdateBytes( vfy, bytes, byteCount ); };
}

void crySignVerifierUpdate( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data )
{
    PB_CHECK( vfy );
    PB_CHECK( data );
    crySignVerifierUpdateBytes( vfy, pbBufferBytes( data ), pbBufferLength( data ) );
}

void crySignVerifierUpdateInner( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateInner( data, byteOffset, byteCount, feeding( vfy ) );
}

void crySignVerifierUpdateOuter( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateOuter( data, byteOffset, byteCount, feeding( vfy ) );
}

void crySignVerifierUpdateLeading( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteCount )
{
    cry::updateLeading( data, byteCount, feeding( vfy ) );
}

void crySignVerifierUpdateTrailing( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteCount )
{
    cry::updateTrailing( data, byteCount, feeding( vfy ) );
}

PB_BOOL crySignVerifierFinal( CRY_SIGN_VERIFIER *vfy )
{
    PB_CHECK( vfy );
    PB_CHECK( !vfy->final );
    vfy->final     = PB_TRUE;
    EVP_PKEY *pkey = cry___PkeyPublicPeekOpensslEvpPkey( vfy->publicKey );
    PB_CHECK( pkey );
    PB_CHECK( PB_INT_TO_UNSIGNED_INT_CONV_OK( pbBufferLength( vfy->signature ) ) );
    PB_BYTE digest[EVP_MAX_MD_SIZE];
    if( !EVP_DigestFinal_ex( vfy->mdCtx, digest, nullptr ) )
        return PB_FALSE;
    return cry::pkey::verify( vfy->publicKey, vfy->alg, digest, vfy->signature );
}
