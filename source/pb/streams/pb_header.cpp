#include <pb/pb_header.h>
#include <pb/pb_store_codec.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>
#include <pb/stored.hpp>

#include <cstring>

#include "streams/pb_header_layout.hpp"

struct PB_HEADER : PB_OBJ
{
    PB_STRING *type;
    PB_STRING *moduleVersion; // may be null
    PB_STORE  *store;
};

static constexpr auto headerFields = pb::fields<&PB_HEADER::type, &PB_HEADER::moduleVersion, &PB_HEADER::store>;

PB_SORT_OF_FIELDS( pb, Header, PB_HEADER, header, headerFields, headerFields )

static PB_HEADER *writable( PB_HEADER **header ) { return pb::makeWritable( header, pbHeaderCreateFrom ); }

PB_HEADER *pbHeaderCreate( PB_STRING *type )
{
    PB_CHECK( type );
    PB_HEADER *header = pb::create<PB_HEADER>();
    header->type      = pb::shareOrNull( type );
    header->store     = pbStoreCreate();
    return header;
}

PB_HEADER *pbHeaderCreateCstr( const char *type, PB_INT length )
{
    PB_CHECK( type );
    PB_CHECK( length >= -1 );
    return pbHeaderCreate( pb::adopt( pbStringCreateFromCstr( type, length ) ).get() );
}

PB_HEADER *pbHeaderCreateFrom( PB_HEADER *source ) { return PB_CHECK( source ), pb::copyOf( headerFields, source ); }

PB_STRING *pbHeaderType( PB_HEADER *header ) { return PB_CHECK( header ), pb::shareOrNull( header->type ); }

PB_BOOL pbHeaderIsType( PB_HEADER *header, PB_STRING *type )
{
    PB_CHECK( header );
    PB_CHECK( type );
    return pbStringEquals( header->type, type );
}

PB_BOOL pbHeaderIsTypeCstr( PB_HEADER *header, const char *type, PB_INT length )
{
    PB_CHECK( header );
    PB_CHECK( type );
    PB_CHECK( length >= -1 );
    return pbStringEqualsCstr( header->type, type, length );
}

PB_STRING *pbHeaderModuleVersion( PB_HEADER *header ) { return PB_CHECK( header ), pb::shareOrNull( header->moduleVersion ); }

PB_STORE *pbHeaderStore( PB_HEADER *header ) { return PB_CHECK( header ), pb::shareOrNull( header->store ); }

void pbHeaderSetModuleVersion( PB_HEADER **header, PB_STRING *version )
{
    PB_CHECK_HANDLE( header );
    PB_CHECK( version );
    pb::assign( writable( header )->moduleVersion, version );
}

void pbHeaderSetStore( PB_HEADER **header, PB_STORE *store )
{
    PB_CHECK_HANDLE( header );
    PB_CHECK( store );
    pb::assign( writable( header )->store, store );
}

PB_BUFFER *pb___HeaderTryEncode( PB_HEADER *header )
{
    PB_CHECK( header );
    pb::Ref<PB_STORE> document = pb::adopt(
        pb::StoreWriter().value( "type", header->type ).value( "moduleVersion", header->moduleVersion ).sub( "store", header->store ).take() );
    pb::Ref<PB_BUFFER> text   = pb::adopt( pbStoreTryEncode( document.get(), nullptr ) );
    PB_INT             length = text ? pbBufferLength( text.get() ) : 0;
    if( !text || length > PB_HEADER_BYTES_MAX )
        return nullptr;
    PB_BYTE           *to;
    pb::Ref<PB_BUFFER> bytes = pb::adopt( pb___BufferCreateLength( pb::headerPrefixLength + length, &to ) );
    std::memcpy( to, pb::headerMagic, sizeof pb::headerMagic );
    to += sizeof pb::headerMagic;
    for( int shift = 24; shift >= 0; shift -= 8 )
        *to++ = (PB_BYTE)( length >> shift );
    std::memcpy( to, pbBufferBytes( text.get() ), (size_t)length );
    if( pbBufferSensitive( text.get() ) )
        pbBufferSetSensitive( bytes.handle() );
    return bytes.take();
}

PB_HEADER *pb___HeaderTryDecode( PB_BUFFER *text )
{
    PB_CHECK( text );
    pb::Ref<PB_STORE>  document = pb::adopt( pbStoreTryDecode( text, nullptr ) );
    pb::Ref<PB_STRING> type     = pb::adopt( document ? pbStoreValueCstr( document.get(), "type", -1 ) : nullptr );
    if( !type )
        return nullptr;
    PB_HEADER *header = pbHeaderCreate( type.get() );
    pb::StoreReader( document.get() ).value( "moduleVersion", header->moduleVersion ).sub( "store", header->store, pbStoreRetain );
    return header;
}
