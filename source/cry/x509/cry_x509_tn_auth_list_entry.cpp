#include <cry/cry_x509_tn_auth_list_entry.h>
#include <cry/internal/cry_x509_tn_auth_list.h>
#include <pb/stored.hpp>

struct CRY_X509_TN_AUTH_LIST_ENTRY : PB_OBJ
{
    PB_STRING                       *serviceProviderCode;
    PB_STRING                       *telephoneNumber; // the first one of a range
    PB_INT                           count;           // -1 if there is none
    CRY_X509_TN_AUTH_LIST_ENTRY_TYPE type;
};

using Entry = CRY_X509_TN_AUTH_LIST_ENTRY;

static constexpr auto entryFields = pb::fields<&Entry::serviceProviderCode, &Entry::telephoneNumber, &Entry::count, &Entry::type>;
static constexpr auto entryOrder  = pb::someFields<&Entry::type, &Entry::count, &Entry::serviceProviderCode, &Entry::telephoneNumber>;

PB_SORT_OF_FIELDS( cry, X509TNAuthListEntry, CRY_X509_TN_AUTH_LIST_ENTRY, entry, entryFields, entryOrder )

static Entry *writable( Entry **entry ) { return pb::makeWritable( entry, cryX509TNAuthListEntryCreateFrom ); }

Entry *cry___X509TNAuthListEntryCreate( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE et )
{
    PB_CHECK( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et ) );
    Entry *entry = pb::create<Entry>();
    entry->count = -1;
    entry->type  = et;
    return entry;
}

Entry *cryX509TNAuthListEntryCreateServiceProviderCode( PB_STRING *spc )
{
    PB_CHECK( spc );
    Entry *entry               = cry___X509TNAuthListEntryCreate( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE );
    entry->serviceProviderCode = pb::shareOrNull( spc );
    return entry;
}

Entry *cryX509TNAuthListEntryCreateTelephoneNumber( PB_STRING *tn )
{
    PB_CHECK( tn );
    Entry *entry           = cry___X509TNAuthListEntryCreate( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER );
    entry->telephoneNumber = pb::shareOrNull( tn );
    return entry;
}

Entry *cryX509TNAuthListEntryCreateTelephoneNumberRange( PB_STRING *tn, PB_INT count )
{
    PB_CHECK( tn );
    PB_CHECK( count >= 0 );
    Entry *entry           = cry___X509TNAuthListEntryCreate( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE );
    entry->telephoneNumber = pb::shareOrNull( tn );
    entry->count           = count;
    return entry;
}

Entry *cryX509TNAuthListEntryCreateFrom( Entry *source ) { return PB_CHECK( source ), pb::copyOf( entryFields, source ); }

CRY_X509_TN_AUTH_LIST_ENTRY_TYPE cryX509TNAuthListEntryType( Entry *entry ) { return PB_CHECK( entry ), entry->type; }

void cryX509TNAuthListEntrySetEntryType( Entry **entry, CRY_X509_TN_AUTH_LIST_ENTRY_TYPE et )
{
    PB_CHECK_HANDLE( entry ), PB_CHECK( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et ) ), writable( entry )->type = et;
}

PB_STRING *cryX509TNAuthListEntryServiceProviderCode( Entry *entry ) { return PB_CHECK( entry ), pb::shareOrNull( entry->serviceProviderCode ); }
PB_BOOL    cryX509TNAuthListEntryHasServiceProviderCode( Entry *entry ) { return PB_CHECK( entry ), entry->serviceProviderCode != nullptr; }

void cryX509TNAuthListEntrySetServiceProviderCode( Entry **entry, PB_STRING *spc )
{
    PB_CHECK_HANDLE( entry ), PB_CHECK( spc ), pb::assign( writable( entry )->serviceProviderCode, spc );
}

void cryX509TNAuthListEntryDelServiceProviderCode( Entry **entry ) { PB_CHECK_HANDLE( entry ), pb::clear( writable( entry )->serviceProviderCode ); }

PB_STRING *cryX509TNAuthListEntryTelephoneNumber( Entry *entry ) { return PB_CHECK( entry ), pb::shareOrNull( entry->telephoneNumber ); }
PB_BOOL    cryX509TNAuthListEntryHasTelephoneNumber( Entry *entry ) { return PB_CHECK( entry ), entry->telephoneNumber != nullptr; }

void cryX509TNAuthListEntrySetTelephoneNumber( Entry **entry, PB_STRING *tn )
{
    PB_CHECK_HANDLE( entry ), PB_CHECK( tn ), pb::assign( writable( entry )->telephoneNumber, tn );
}

void cryX509TNAuthListEntryDelTelephoneNumber( Entry **entry ) { PB_CHECK_HANDLE( entry ), pb::clear( writable( entry )->telephoneNumber ); }

PB_INT  cryX509TNAuthListEntryCount( Entry *entry ) { return PB_CHECK( entry ), entry->count; }
PB_BOOL cryX509TNAuthListEntryHasCount( Entry *entry ) { return PB_CHECK( entry ), entry->count != -1; }

void cryX509TNAuthListEntrySetCount( Entry **entry, PB_INT count )
{
    PB_CHECK_HANDLE( entry ), PB_CHECK( count >= 0 ), writable( entry )->count = count;
}

void cryX509TNAuthListEntryDelCount( Entry **entry ) { PB_CHECK_HANDLE( entry ), writable( entry )->count = -1; }

PB_STORE *cryX509TNAuthListEntryStore( Entry *entry )
{
    PB_CHECK( entry );
    pb::StoreWriter store;
    store.value( "type", pb::adopt( cryX509TNAuthListEntryTypeToString( entry->type ) ) )
        .value( "telephoneNumber", entry->telephoneNumber )
        .value( "serviceProviderCode", entry->serviceProviderCode );
    if( entry->count >= 0 )
        store.integer( "count", entry->count );
    return store.take();
}

Entry *cryX509TNAuthListEntryTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    PB_INT          type = -1, count = -1;
    pb::StoreReader reader( store );
    reader.value( "type", type, cryX509TNAuthListEntryTypeFromString ).integer( "count", count );
    if( !CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( type ) )
        return nullptr;
    Entry *entry = cry___X509TNAuthListEntryCreate( type );
    entry->count = count >= 0 ? count : -1;
    reader.value( "serviceProviderCode", entry->serviceProviderCode ).value( "telephoneNumber", entry->telephoneNumber );
    return entry;
}
