#include <cry/cry_trust_bundle.h>
#include <pb/pb_header.h>
#include <pb/pb_header_info.h>
#include <pb/pb_module.h>
#include <pb/stored.hpp>

static constexpr char   headerType[] = "CRY_TRUST_BUNDLE";
static constexpr PB_INT chunkLength  = 0x100000;

namespace
{

pb::Ref<PB_HEADER> headerOf( CRY_TRUST_TOKEN *tok )
{
    pb::Ref<PB_HEADER>      header = pb::adopt( pbHeaderCreateCstr( headerType, -1 ) );
    pb::Ref<PB_HEADER_INFO> info   = pb::adopt( pbHeaderInfoGenerate() );
    pb::Ref<PB_STORE>       store  = pb::adopt(
        pb::StoreWriter().sub( "token", tok, cryTrustTokenStore ).sub( "info", info.get(), pbHeaderInfoStore ).take() );
    pbHeaderSetModuleVersion( header.handle(), pb::adopt( pbModuleVersion( cryTrustTokenSort()->module ) ).get() );
    pbHeaderSetStore( header.handle(), store.get() );
    return header;
}

// Copies all bytes, in any case flushes, and tells if nothing failed.
bool copy( PB_BYTE_SOURCE *source, PB_BYTE_SINK *sink )
{
    pb::Ref<PB_BUFFER> chunk = pb::adopt( pbBufferCreate() );
    do
    {
        pbBufferClear( chunk.handle() );
        pbByteSourceRead( source, chunk.handle(), chunkLength );
        pbByteSinkWrite( sink, chunk.get() );
    }
    while( !pbByteSourceEnd( source ) && !pbByteSourceError( source ) && !pbByteSinkError( sink ) );
    pbByteSinkFlush( sink );
    return !pbByteSourceError( source ) && pbByteSourceEnd( source ) && !pbByteSinkError( sink );
}

// What a sink has collected is appended to the caller's buffer.
void appendCollected( PB_BUFFER **buffer, PB_BYTE_SINK *sink ) { pbBufferAppend( buffer, pb::adopt( pbBufferByteSinkBuffer( sink ) ).get() ); }

}

PB_BOOL cryTrustBundleTryPack( CRY_TRUST_TOKEN *tok, PB_BYTE_SOURCE *dataByteSource, PB_BYTE_SINK *bundleByteSink )
{
    PB_CHECK( tok );
    PB_CHECK( dataByteSource );
    PB_CHECK( bundleByteSink );
    return copy( dataByteSource, pb::adopt( pbHeaderByteSinkCreate( bundleByteSink, headerOf( tok ).get() ) ).get() );
}

PB_BOOL cryTrustBundleTryPackWithBuffer( CRY_TRUST_TOKEN *tok, PB_BUFFER *dataBuffer, PB_BUFFER **bundleBuffer )
{
    PB_CHECK( tok );
    PB_CHECK( dataBuffer );
    PB_CHECK_HANDLE( bundleBuffer );
    pb::Ref<PB_BYTE_SINK> sink = pb::adopt( pbBufferByteSinkCreate() );
    if( !cryTrustBundleTryPack( tok, pb::adopt( pbBufferByteSourceCreate( dataBuffer ) ).get(), sink.get() ) )
        return PB_FALSE;
    appendCollected( bundleBuffer, sink.get() );
    return PB_TRUE;
}

CRY_TRUST_TOKEN *cryTrustBundleTryUnpack( PB_BYTE_SOURCE *bundleByteSource, PB_BYTE_SINK *dataByteSink )
{
    PB_CHECK( bundleByteSource );
    PB_CHECK( dataByteSink );
    pb::Ref<PB_BYTE_SOURCE> body   = pb::adopt( pbHeaderByteSourceCreate( bundleByteSource ) );
    pb::Ref<PB_HEADER>      header = pb::adopt( pbHeaderByteSourceHeader( body.get() ) );
    if( !header || !pbHeaderIsTypeCstr( header.get(), headerType, -1 ) )
        return nullptr;
    pb::Ref<PB_STORE> store  = pb::adopt( pbHeaderStore( header.get() ) );
    pb::Ref<PB_STORE> stored = pb::adopt( pbStoreStoreCstr( store.get(), "token", -1 ) );
    if( !stored )
        return nullptr;
    pb::Ref<CRY_TRUST_TOKEN> tok = pb::adopt( cryTrustTokenRestore( stored.get() ) );
    return copy( body.get(), dataByteSink ) ? tok.take() : nullptr;
}

CRY_TRUST_TOKEN *cryTrustBundleTryUnpackWithBuffer( PB_BUFFER *bundleBuffer, PB_BUFFER **dataBuffer )
{
    PB_CHECK( bundleBuffer );
    PB_CHECK_HANDLE( dataBuffer );
    pb::Ref<PB_BYTE_SINK>    sink = pb::adopt( pbBufferByteSinkCreate() );
    pb::Ref<CRY_TRUST_TOKEN> tok  = pb::adopt( cryTrustBundleTryUnpack( pb::adopt( pbBufferByteSourceCreate( bundleBuffer ) ).get(), sink.get() ) );
    if( tok )
        appendCollected( dataBuffer, sink.get() );
    return tok.take();
}
