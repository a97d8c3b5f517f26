#include <cry/cry_x509_tn_auth_list.h>
#include <cry/internal/cry_x509_tn_auth_list.h>

#include "common/cry_ossl.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/stored.hpp>

struct CRY_X509_TN_AUTH_LIST : PB_OBJ
{
    PB_VECTOR *entries;
};

static constexpr auto listFields = pb::fields<&CRY_X509_TN_AUTH_LIST::entries>;

PB_SORT_OF_FIELDS( cry, X509TNAuthList, CRY_X509_TN_AUTH_LIST, list, listFields, listFields )

// The vector of a list that may be edited.
static PB_VECTOR **writable( CRY_X509_TN_AUTH_LIST **list ) { return &pb::makeWritable( list, cryX509TNAuthListCreateFrom )->entries; }

CRY_X509_TN_AUTH_LIST *cryX509TNAuthListCreate()
{
    CRY_X509_TN_AUTH_LIST *list = pb::create<CRY_X509_TN_AUTH_LIST>();
    list->entries               = pbVectorCreate();
    return list;
}

CRY_X509_TN_AUTH_LIST *cryX509TNAuthListCreateFrom( CRY_X509_TN_AUTH_LIST *source ) { return PB_CHECK( source ), pb::copyOf( listFields, source ); }

// The bytes are not checked, neither here nor by the ASN.1: what is not UTF-8 is replaced.
static pb::Ref<PB_STRING> stringOf( const ASN1_IA5STRING *text )
{
    const char *bytes = (const char *)ASN1_STRING_get0_data( text );
    return pb::adopt( pbStringCreateFromCstr( bytes ? bytes : "", ASN1_STRING_length( text ) ) );
}

// It is intended that every count but those of 31 bits is -1, at which the range's constructor
// aborts.
static PB_INT countOf( const ASN1_INTEGER *number )
{
    int64_t count;
    return ASN1_INTEGER_get_int64( &count, number ) && count >= 0 && count <= INT32_MAX ? count : -1;
}

static CRY_X509_TN_AUTH_LIST_ENTRY *entryOf( const TNEntry *entry )
{
    switch( entry->type )
    {
    case CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE:
        return cryX509TNAuthListEntryCreateServiceProviderCode( stringOf( entry->d.spc ).get() );
    case CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE:
        return cryX509TNAuthListEntryCreateTelephoneNumberRange( stringOf( entry->d.range->start ).get(), countOf( entry->d.range->count ) );
    default:
        return cryX509TNAuthListEntryCreateTelephoneNumber( stringOf( entry->d.one ).get() );
    }
}

// The extension's value; null if there is no such extension. libcrypto need not know its OID, so
// that it is not asked for by number.
static const ASN1_OCTET_STRING *extensionOf( const X509 *x509 )
{
    ASN1_OBJECT *oid   = OBJ_txt2obj( "1.3.6.1.5.5.7.1.26", 1 );
    int          index = oid ? X509_get_ext_by_OBJ( x509, oid, -1 ) : -1;
    ASN1_OBJECT_free( oid );
    return index < 0 ? nullptr : X509_EXTENSION_get_data( X509_get_ext( x509, index ) );
}

CRY_X509_TN_AUTH_LIST *cry___X509TNAuthListCreateFromOpensslX509( const X509 *x509 )
{
    PB_CHECK( x509 );
    openssl::ErrorMark       detour;
    const ASN1_OCTET_STRING *value = extensionOf( x509 );
    if( !value || ASN1_STRING_length( value ) < 1 )
        return nullptr;
    const unsigned char                                       *at       = ASN1_STRING_get0_data( value );
    auto                                                       freeList = []( TNAuthorizationList *found ) { TNAuthorizationList_free( found ); };
    std::unique_ptr<TNAuthorizationList, decltype( freeList )> found(
        d2i_TNAuthorizationList( nullptr, &at, ASN1_STRING_length( value ) ), freeList );
    if( !found )
        return nullptr;
    pb::Ref<CRY_X509_TN_AUTH_LIST> list = pb::adopt( cryX509TNAuthListCreate() );
    for( int index = 0; index < sk_TNEntry_num( found.get() ); index++ )
        cryX509TNAuthListAppendEntry( list.handle(), pb::adopt( entryOf( sk_TNEntry_value( found.get(), index ) ) ).get() );
    return list.take();
}

PB_INT cryX509TNAuthListEntriesLength( CRY_X509_TN_AUTH_LIST *list ) { return PB_CHECK( list ), pbVectorLength( list->entries ); }

CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryAt( CRY_X509_TN_AUTH_LIST *list, PB_INT index )
{
    return PB_CHECK( list ), pb::shareOrNull( pb::peekAt<CRY_X509_TN_AUTH_LIST_ENTRY>( list->entries, index ) );
}

PB_VECTOR *cryX509TNAuthListEntriesVector( CRY_X509_TN_AUTH_LIST *list ) { return PB_CHECK( list ), pb::shareOrNull( list->entries ); }

void cryX509TNAuthListSetEntriesVector( CRY_X509_TN_AUTH_LIST **list, PB_VECTOR *vec )
{
    PB_CHECK_HANDLE( list );
    // It is intended that this is the sort of lists, not of entries: only an empty vector passes.
    PB_CHECK( pbVectorContainsOnly( vec, cryX509TNAuthListSort() ) );
    pb::assign( *writable( list ), vec );
}

void cryX509TNAuthListAppendEntry( CRY_X509_TN_AUTH_LIST **list, CRY_X509_TN_AUTH_LIST_ENTRY *entry )
{
    PB_CHECK_HANDLE( list ), PB_CHECK( entry ), pbVectorAppendObj( writable( list ), cryX509TNAuthListEntryObj( entry ) );
}

void cryX509TNAuthListSetEntryAt( CRY_X509_TN_AUTH_LIST **list, PB_INT index, CRY_X509_TN_AUTH_LIST_ENTRY *entry )
{
    PB_CHECK_HANDLE( list ), PB_CHECK( entry ), pbVectorSetObjAt( writable( list ), index, cryX509TNAuthListEntryObj( entry ) );
}

void cryX509TNAuthListDelEntryAt( CRY_X509_TN_AUTH_LIST **list, PB_INT index )
{
    PB_CHECK_HANDLE( list ), pbVectorDelObjAt( writable( list ), index );
}

void cryX509TNAuthListClearEntries( CRY_X509_TN_AUTH_LIST **list ) { PB_CHECK_HANDLE( list ), pbVectorClear( writable( list ) ); }

PB_STORE *cryX509TNAuthListStore( CRY_X509_TN_AUTH_LIST *list )
{
    return PB_CHECK( list ), pb::storeOfEach( list->entries, cryX509TNAuthListEntryStore );
}

CRY_X509_TN_AUTH_LIST *cryX509TNAuthListRestore( PB_STORE *store )
{
    PB_CHECK( store );
    CRY_X509_TN_AUTH_LIST *list = pb::create<CRY_X509_TN_AUTH_LIST>();
    list->entries               = pb::restoreEach( store, cryX509TNAuthListEntryTryRestore );
    return list;
}
