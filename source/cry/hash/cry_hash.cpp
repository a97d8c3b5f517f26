#include <cry/cry_hash.h>
#include <cry/internal/cry_hash.h>

#include "common/cry_context_pool.hpp"
#include "common/cry_update.hpp"
#include "hash/cry_hash.hpp"
#include "hash/cry_hash_algorithm.hpp"
#include "hash/cry_hash_direct.hpp"

struct CRY_HASH : PB_OBJ
{
    PB_BOOL     final;
    EVP_MD_CTX *mdCtx;
};

static constexpr auto hashFields = pb::fields<&CRY_HASH::final, &CRY_HASH::mdCtx>;

PB_SORT_DEFINE( cry, Hash, CRY_HASH, PB_FREE_FIELDS( CRY_HASH, hash, hashFields ) )

CRY_HASH *cryHashTryCreate( CRY_HASH_ALGORITHM alg )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    CRY_HASH *hash = pb::create<CRY_HASH>();
    hash->mdCtx    = EVP_MD_CTX_new();
    PB_CHECK( hash->mdCtx );
    const EVP_MD *md = cry::digestOf( alg );
    if( md && EVP_DigestInit_ex2( hash->mdCtx, md, nullptr ) )
        return hash;
    cryHashRelease( hash );
    return nullptr;
}

void cryHashUpdateBytes( CRY_HASH *hash, const PB_BYTE *data, PB_INT byteCount )
{
    PB_CHECK( hash );
    PB_CHECK( !hash->final );
    PB_CHECK( data || !byteCount );
    PB_CHECK( byteCount >= 0 );
    while( byteCount )
    {
        PB_INT bytesToHash = byteCount < cry::updatePiece ? byteCount : cry::updatePiece;
        PB_CHECK( PB_INT_TO_SIZET_CONV_OK( bytesToHash ) );
        PB_CHECK( EVP_DigestUpdate( hash->mdCtx, data, (size_t)bytesToHash ) );
        data += bytesToHash;
        byteCount -= bytesToHash;
    }
}

static auto feeding( CRY_HASH *hash )
{
    return [hash]( const PB_BYTE *bytes, PB_INT byteCount ) { cryHashUpdateBytes( hash, bytes, byteCount ); };
}

void cryHashUpdate( CRY_HASH *hash, PB_BUFFER *data )
{
    PB_CHECK( hash );
    PB_CHECK( data );
    cryHashUpdateBytes( hash, pbBufferBytes( data ), pbBufferLength( data ) );
}

void cryHashUpdateByte( CRY_HASH *hash, PB_BYTE byte ) { cryHashUpdateBytes( hash, &byte, 1 ); }

void cryHashUpdateInner( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateInner( data, byteOffset, byteCount, feeding( hash ) );
}

void cryHashUpdateOuter( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateOuter( data, byteOffset, byteCount, feeding( hash ) );
}

void cryHashUpdateLeading( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteCount ) { cry::updateLeading( data, byteCount, feeding( hash ) ); }

void cryHashUpdateTrailing( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteCount ) { cry::updateTrailing( data, byteCount, feeding( hash ) ); }

PB_BUFFER *cryHashFinal( CRY_HASH *hash )
{
    PB_CHECK( hash );
    PB_CHECK( !hash->final );
    hash->final = PB_TRUE;
    PB_BYTE      digest[EVP_MAX_MD_SIZE];
    unsigned int digestLength;
    PB_CHECK( EVP_DigestFinal_ex( hash->mdCtx, (unsigned char *)digest, &digestLength ) );
    return pbBufferCreateFromBytes( digest, digestLength );
}

PB_BOOL cry___HashIsFinal( CRY_HASH *hash ) { return PB_CHECK( hash ), hash->final; }

// Contexts that cryHashTryCompute uses again. They are kept for the life of the process, as the
// algorithms are.
static constinit cry::ContextPool<EVP_MD_CTX, 16> contextPools[CRY_HASH_ALGORITHM_SHA3_512 + 1];

bool cry::tryDigest( PB_INT alg, std::initializer_list<PB_BUFFER *> parts, PB_BYTE *digest )
{
    const EVP_MD *md = digestOf( alg );
    if( !md )
        return false;
    if( tryDigestDirectly( alg, parts, digest ) )
        return true;
    // A context keeps its input until it is used again, so secrets do not go through a context that
    // is kept.
    bool kept = true;
    for( PB_BUFFER *part : parts )
        kept = kept && !pbBufferSensitive( part );
    ossl::Ptr<EVP_MD_CTX> mdCtx = kept ? contextPools[alg].acquire() : nullptr;
    if( !mdCtx )
        mdCtx.reset( EVP_MD_CTX_new() );
    PB_CHECK( mdCtx );
    if( !EVP_DigestInit_ex2( mdCtx.get(), md, nullptr ) )
        return false;
    for( PB_BUFFER *part : parts )
        PB_CHECK( EVP_DigestUpdate( mdCtx.get(), pbBufferBytes( part ), (size_t)pbBufferLength( part ) ) );
    PB_CHECK( EVP_DigestFinal_ex( mdCtx.get(), digest, nullptr ) );
    if( kept )
        contextPools[alg].release( std::move( mdCtx ) );
    return true;
}

PB_BUFFER *cryHashTryCompute( CRY_HASH_ALGORITHM alg, PB_BUFFER *data )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    if( !cry::digestOf( alg ) )
        return nullptr;
    PB_CHECK( data );
    PB_BYTE           *digest;
    pb::Ref<PB_BUFFER> result = pb::adopt( pb___BufferCreateLength( cryHashAlgorithmDigestSizeBits( alg ) / 8, &digest ) );
    return cry::tryDigest( alg, { data }, digest ) ? result.take() : nullptr;
}
