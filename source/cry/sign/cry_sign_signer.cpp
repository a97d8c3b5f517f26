#include <cry/cry_sign_signer.h>
#include <cry/internal/cry_pkey_private.h>
#include <pb/pb_mem.h>

#include "common/cry_ossl.hpp"
#include "common/cry_update.hpp"
#include "hash/cry_hash_algorithm.hpp"
#include "pkey/cry_pkey_private.hpp"

struct CRY_SIGN_SIGNER : PB_OBJ
{
    PB_INT            alg;
    CRY_PKEY_PRIVATE *privateKey;
    PB_BOOL           final;
    EVP_MD_CTX       *mdCtx;
};

static constexpr auto signerFields =
    pb::fields<&CRY_SIGN_SIGNER::alg, &CRY_SIGN_SIGNER::privateKey, &CRY_SIGN_SIGNER::final, &CRY_SIGN_SIGNER::mdCtx>;

PB_SORT_DEFINE( cry, SignSigner, CRY_SIGN_SIGNER, PB_FREE_FIELDS( CRY_SIGN_SIGNER, sig, signerFields ) )

CRY_SIGN_SIGNER *crySignSignerTryCreate( CRY_HASH_ALGORITHM alg, CRY_PKEY_PRIVATE *privateKey )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( privateKey );
    CRY_SIGN_SIGNER *sig = pb::create<CRY_SIGN_SIGNER>();
    sig->alg             = alg;
    sig->privateKey      = pb::shareOrNull( privateKey );
    sig->mdCtx           = EVP_MD_CTX_new();
    PB_CHECK( sig->mdCtx );
    const EVP_MD *md = cry::digestOf( alg );
    if( md && EVP_DigestInit_ex2( sig->mdCtx, md, nullptr ) )
        return sig;
    crySignSignerRelease( sig );
    return nullptr;
}

void crySignSignerUpdateBytes( CRY_SIGN_SIGNER *sig, const PB_BYTE *data, PB_INT byteCount )
{
    PB_CHECK( sig );
    PB_CHECK( !sig->final );
    PB_CHECK( data || !byteCount );
    PB_CHECK( byteCount >= 0 );
    while( byteCount )
    {
        PB_INT bytesToHash = byteCount < cry::updatePiece ? byteCount : cry::updatePiece;
        PB_CHECK( PB_INT_TO_UNSIGNED_INT_CONV_OK( bytesToHash ) );
        PB_CHECK( EVP_SignUpdate( sig->mdCtx, data, (unsigned int)bytesToHash ) );
        data += bytesToHash;
        byteCount -= bytesToHash;
    }
}

static auto feeding( CRY_SIGN_SIGNER *sig )
{
    return [sig]( const PB_BYTE *bytes, PB_INT byteCount ) { crySignSignerUpdateBytes( sig, bytes, byteCount ); };
}

void crySignSignerUpdate( CRY_SIGN_SIGNER *sig, PB_BUFFER *data )
{
    PB_CHECK( sig );
    PB_CHECK( data );
    crySignSignerUpdateBytes( sig, pbBufferBytes( data ), pbBufferLength( data ) );
}

void crySignSignerUpdateInner( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateInner( data, byteOffset, byteCount, feeding( sig ) );
}

void crySignSignerUpdateOuter( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateOuter( data, byteOffset, byteCount, feeding( sig ) );
}

void crySignSignerUpdateLeading( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteCount ) { cry::updateLeading( data, byteCount, feeding( sig ) ); }

void crySignSignerUpdateTrailing( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteCount )
{
    cry::updateTrailing( data, byteCount, feeding( sig ) );
}

// The digest of all bytes so far. The context itself is not finished, so EVP_SignFinal can still
// use it.
static bool tryPeekDigest( const EVP_MD_CTX *mdCtx, PB_BYTE *digest )
{
    cry::ossl::Ptr<EVP_MD_CTX> copy( EVP_MD_CTX_new() );
    return copy && EVP_MD_CTX_copy_ex( copy.get(), mdCtx ) && EVP_DigestFinal_ex( copy.get(), digest, nullptr );
}

PB_BUFFER *crySignSignerFinal( CRY_SIGN_SIGNER *sig )
{
    PB_CHECK( sig );
    PB_CHECK( !sig->final );
    sig->final     = PB_TRUE;
    EVP_PKEY *pkey = cry___PkeyPrivatePeekOpensslEvpPkey( sig->privateKey );
    PB_CHECK( pkey );
    size_t   length    = cry::pkey::signatureRoom( sig->privateKey );
    PB_BYTE *signature = (PB_BYTE *)pbMemAlloc( length );
    PB_BYTE  digest[EVP_MAX_MD_SIZE];
    // If the contexts that are kept with the key cannot sign, OpenSSL's own call decides.
    if( !tryPeekDigest( sig->mdCtx, digest ) || !cry::pkey::trySign( sig->privateKey, sig->alg, digest, signature, &length ) )
    {
        unsigned int signatureLength = 0;
        PB_CHECK( EVP_SignFinal( sig->mdCtx, signature, &signatureLength, pkey ) );
        length = signatureLength;
    }
    return pbBufferCreateFromBytesUse( signature, (PB_INT)length );
}
