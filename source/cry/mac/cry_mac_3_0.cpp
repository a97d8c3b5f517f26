#include <cry/cry_mac.h>
#include <cry/internal/cry_hash.h>
#include <pb/pb_mem.h>

#include "common/cry_ossl.hpp"
#include "common/cry_update.hpp"
#include "hash/cry_hash_algorithm.hpp"
#include "hash/cry_hash_direct.hpp"

#include <atomic>
#include <openssl/hmac.h>
#include <openssl_module/internal/openssl_module.h>

struct CRY_MAC : PB_OBJ
{
    PB_BOOL      final;
    EVP_MAC_CTX *macCtx;
};

static constexpr auto macFields = pb::fields<&CRY_MAC::final, &CRY_MAC::macCtx>;

PB_SORT_DEFINE( cry, Mac, CRY_MAC, PB_FREE_FIELDS( CRY_MAC, mac, macFields ) )

// A context with the digest of an algorithm and without a key. A copy of it needs no look-up of the
// digest, which is most of the work of making a context.
static const EVP_MAC_CTX *preparedOf( PB_INT alg )
{
    static constinit std::atomic<const EVP_MAC_CTX *> prepared[CRY_HASH_ALGORITHM_SHA3_512 + 1];

    const EVP_MAC_CTX *known = prepared[alg].load( std::memory_order_acquire );
    if( !known )
    {
        known = openssl___Hmac( cry___HashAlgorithmOpensslDigestName( alg ) );
        prepared[alg].store( known, std::memory_order_release );
    }
    return known;
}

// A new context with this key; null if OpenSSL cannot provide it.
static EVP_MAC_CTX *tryCreateContext( PB_INT alg, PB_BUFFER *key )
{
    const EVP_MAC_CTX          *prepared = preparedOf( alg );
    cry::ossl::Ptr<EVP_MAC_CTX> context( prepared ? EVP_MAC_CTX_dup( prepared ) : nullptr );
    if( !context || !EVP_MAC_init( context.get(), pbBufferBytes( key ), (size_t)pbBufferLength( key ), nullptr ) )
        return nullptr;
    return context.release();
}

CRY_MAC *cryMacTryCreateHmac( CRY_HASH_ALGORITHM alg, PB_BUFFER *key )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( key );
    EVP_MAC_CTX *context = tryCreateContext( alg, key );
    if( !context )
        return nullptr;
    CRY_MAC *mac = pb::create<CRY_MAC>();
    mac->macCtx  = context;
    return mac;
}

void cryMacUpdateBytes( CRY_MAC *mac, const PB_BYTE *data, PB_INT byteCount )
{
    PB_CHECK( mac );
    PB_CHECK( !mac->final );
    PB_CHECK( data || !byteCount );
    PB_CHECK( byteCount >= 0 );
    while( byteCount )
    {
        PB_INT bytes = byteCount < cry::updatePiece ? byteCount : cry::updatePiece;
        PB_CHECK( PB_INT_TO_SIZET_CONV_OK( bytes ) );
        PB_CHECK( EVP_MAC_update( mac->macCtx, data, (size_t)bytes ) );
        data += bytes;
        byteCount -= bytes;
    }
}

static auto feeding( CRY_MAC *mac )
{
    return [mac]( const PB_BYTE *bytes, PB_INT byteCount ) { cryMacUpdateBytes( mac, bytes, byteCount ); };
}

void cryMacUpdate( CRY_MAC *mac, PB_BUFFER *data )
{
    PB_CHECK( mac );
    PB_CHECK( data );
    cryMacUpdateBytes( mac, pbBufferBytes( data ), pbBufferLength( data ) );
}

void cryMacUpdateByte( CRY_MAC *mac, PB_BYTE byte ) { cryMacUpdateBytes( mac, &byte, 1 ); }

void cryMacUpdateInner( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateInner( data, byteOffset, byteCount, feeding( mac ) );
}

void cryMacUpdateOuter( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount )
{
    cry::updateOuter( data, byteOffset, byteCount, feeding( mac ) );
}

void cryMacUpdateLeading( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteCount ) { cry::updateLeading( data, byteCount, feeding( mac ) ); }

void cryMacUpdateTrailing( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteCount ) { cry::updateTrailing( data, byteCount, feeding( mac ) ); }

PB_BUFFER *cryMacFinal( CRY_MAC *mac )
{
    PB_CHECK( mac );
    PB_CHECK( !mac->final );
    mac->final  = PB_TRUE;
    size_t outl = 0;
    PB_CHECK( EVP_MAC_final( mac->macCtx, NULL, &outl, 0 ) );
    PB_CHECK( PB_INT_FROM_SIZET_CONV_OK( outl ) );
    PB_CHECK( outl > 0 );
    size_t         outsize = outl;
    unsigned char *out     = (unsigned char *)pbMemAlloc( outsize );
    PB_CHECK( EVP_MAC_final( mac->macCtx, out, &outl, outsize ) );
    PB_CHECK( outl == outsize );
    return pbBufferCreateFromBytesUse( out, (PB_INT)outsize );
}

namespace
{

bool tryComputeHere( PB_INT alg, PB_BUFFER *key, PB_BUFFER *data, PB_BYTE *out, size_t outsize )
{
    size_t                      outl = 0;
    cry::ossl::Ptr<EVP_MAC_CTX> macCtx( tryCreateContext( alg, key ) );
    if( !macCtx )
        return false;
    PB_CHECK( EVP_MAC_update( macCtx.get(), pbBufferBytes( data ), (size_t)pbBufferLength( data ) ) );
    PB_CHECK( EVP_MAC_final( macCtx.get(), out, &outl, outsize ) );
    PB_CHECK( outl == outsize );
    return true;
}

// OpenSSL has to have HMAC with this digest, even if it is not asked to compute it.
bool tryComputeDirectly( PB_INT alg, PB_BUFFER *key, PB_BUFFER *data, PB_BYTE *out )
{
    return preparedOf( alg ) && cry::tryHmacDirectly( alg, key, data, out );
}

#ifndef OPENSSL_NO_DEPRECATED_3_0
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
// The older interface of the same HMAC needs neither the copies nor the layer of EVP_MAC. These
// take longer than the HMAC of a short message. Its context is cleansed when it is freed. False if
// EVP_MAC has to decide.
bool tryComputeFast( PB_INT alg, PB_BUFFER *key, PB_BUFFER *data, PB_BYTE *out, size_t outsize )
{
    const EVP_MD *md = cry::digestOf( alg );
    if( !md || !preparedOf( alg ) || !PB_INT_TO_SIGNED_INT_CONV_OK( pbBufferLength( key ) ) )
        return false;
    unsigned int             outl = 0;
    cry::ossl::Ptr<HMAC_CTX> context( HMAC_CTX_new() );
    return context && HMAC_Init_ex( context.get(), pbBufferBytes( key ), (int)pbBufferLength( key ), md, nullptr ) &&
        HMAC_Update( context.get(), pbBufferBytes( data ), (size_t)pbBufferLength( data ) ) && HMAC_Final( context.get(), out, &outl ) &&
        outl == outsize;
}
#pragma GCC diagnostic pop
#else
bool tryComputeFast( PB_INT, PB_BUFFER *, PB_BUFFER *, PB_BYTE *, size_t ) { return false; }
#endif

}

PB_BUFFER *cryMacTryComputeHmac( CRY_HASH_ALGORITHM alg, PB_BUFFER *key, PB_BUFFER *data )
{
    PB_CHECK( CRY_HASH_ALGORITHM_OK( alg ) );
    PB_CHECK( key );
    PB_CHECK( data );
    PB_BYTE           *out;
    size_t             outsize = (size_t)cryHashAlgorithmDigestSizeBits( alg ) / 8;
    pb::Ref<PB_BUFFER> result  = pb::adopt( pb___BufferCreateLength( (PB_INT)outsize, &out ) );
    return tryComputeDirectly( alg, key, data, out ) || tryComputeFast( alg, key, data, out, outsize ) ||
            tryComputeHere( alg, key, data, out, outsize )
        ? result.take()
        : nullptr;
}
