#include <pb/pb_header_info.h>
#include <pb/pb_store_header.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>
#include <pb/stored.hpp>

struct PB_STORE_HEADER : PB_OBJ
{
    PB_STRING *type;
    PB_STRING *moduleVersion; // may be null
    PB_STORE  *info;          // may be null
};

static constexpr auto headerFields = pb::fields<&PB_STORE_HEADER::type, &PB_STORE_HEADER::moduleVersion, &PB_STORE_HEADER::info>;

PB_SORT_OF_FIELDS( pb, StoreHeader, PB_STORE_HEADER, header, headerFields, headerFields )

static PB_STORE_HEADER *writable( PB_STORE_HEADER **header ) { return pb::makeWritable( header, pbStoreHeaderCreateFrom ); }

PB_STORE_HEADER *pbStoreHeaderCreate( PB_STRING *type )
{
    PB_CHECK( type );
    PB_STORE_HEADER *header = pb::create<PB_STORE_HEADER>();
    header->type            = pb::shareOrNull( type );
    return header;
}

PB_STORE_HEADER *pbStoreHeaderCreateCstr( const char *type, PB_INT length )
{
    PB_CHECK( type );
    PB_CHECK( length >= -1 );
    return pbStoreHeaderCreate( pb::adopt( pbStringCreateFromCstr( type, length ) ).get() );
}

PB_STORE_HEADER *pbStoreHeaderCreateFrom( PB_STORE_HEADER *source ) { return PB_CHECK( source ), pb::copyOf( headerFields, source ); }

PB_STRING *pbStoreHeaderType( PB_STORE_HEADER *header ) { return PB_CHECK( header ), pb::shareOrNull( header->type ); }

PB_BOOL pbStoreHeaderIsType( PB_STORE_HEADER *header, PB_STRING *type )
{
    PB_CHECK( header );
    PB_CHECK( type );
    return pbStringEquals( header->type, type );
}

PB_BOOL pbStoreHeaderIsTypeCstr( PB_STORE_HEADER *header, const char *type, PB_INT length )
{
    PB_CHECK( header );
    PB_CHECK( type );
    PB_CHECK( length >= -1 );
    return pbStringEqualsCstr( header->type, type, length );
}

PB_STRING *pbStoreHeaderModuleVersion( PB_STORE_HEADER *header ) { return PB_CHECK( header ), pb::shareOrNull( header->moduleVersion ); }

PB_STORE *pbStoreHeaderInfo( PB_STORE_HEADER *header ) { return PB_CHECK( header ), pb::shareOrNull( header->info ); }

void pbStoreHeaderSetModuleVersion( PB_STORE_HEADER **header, PB_STRING *version )
{
    PB_CHECK_HANDLE( header );
    PB_CHECK( version );
    pb::assign( writable( header )->moduleVersion, version );
}

void pbStoreHeaderSetInfo( PB_STORE_HEADER **header, PB_STORE *info )
{
    PB_CHECK_HANDLE( header );
    PB_CHECK( info );
    pb::assign( writable( header )->info, info );
}

void pbStoreHeaderGenerateInfo( PB_STORE_HEADER **header )
{
    PB_CHECK_HANDLE( header );
    pb::Ref<PB_HEADER_INFO> info = pb::adopt( pbHeaderInfoGenerate() );
    pbStoreHeaderSetInfo( header, pb::adopt( pbHeaderInfoStore( info.get() ) ).get() );
}

PB_STORE *pbStoreHeaderStore( PB_STORE_HEADER *header )
{
    PB_CHECK( header );
    return pb::StoreWriter().value( "type", header->type ).value( "moduleVersion", header->moduleVersion ).sub( "info", header->info ).take();
}

PB_STORE_HEADER *pbStoreHeaderTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    pb::Ref<PB_STRING> type = pb::adopt( pbStoreValueCstr( store, "type", -1 ) );
    if( !type )
        return nullptr;
    PB_STORE_HEADER *header = pbStoreHeaderCreate( type.get() );
    header->moduleVersion   = pbStoreValueCstr( store, "moduleVersion", -1 );
    header->info            = pbStoreStoreCstr( store, "info", -1 );
    return header;
}
