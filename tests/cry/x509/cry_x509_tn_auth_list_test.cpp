// Lists of certificates, and the ASN.1 of the extension.
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_x509_tn_auth_list.h>

#include "cry/pkcs12/files.hpp"
#include "support/certificates.hpp"
#include "support/text.hpp"

#include <random>

using namespace support;

using Entry = pb::Ref<CRY_X509_TN_AUTH_LIST_ENTRY>;
using List  = pb::Ref<CRY_X509_TN_AUTH_LIST>;

namespace
{

constexpr PB_INT spcType   = CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE,
                 rangeType = CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE;

std::string ia5( const std::string &text ) { return tlv( 0x16, text ); }
std::string spcDer( const std::string &code ) { return tlv( 0xA0, ia5( code ) ); }
std::string rangeDer( const std::string &start, const std::string &count ) { return tlv( 0xA1, sequence( ia5( start ) + integerDer( count ) ) ); }
std::string oneDer( const std::string &number ) { return tlv( 0xA2, ia5( number ) ); }

// A certificate with this value of the extension.
pb::Ref<CRY_X509_CERTIFICATE> withExtension( const std::string &value )
{
    return certificate( makeCertificate(
        { .subject = "CN=telephone", .subjectKey = key( KeyKind::p256 ), .extensions = { { "1.3.6.1.5.5.7.1.26", "DER:" + hex( value ) } } } ) );
}

List listOf( const std::string &value ) { return pb::adopt( cryX509CertificateTNAuthList( withExtension( value ).get() ) ); }

// All that an entry has, as text.
std::string shown( CRY_X509_TN_AUTH_LIST_ENTRY *entry )
{
    return std::to_string( cryX509TNAuthListEntryType( entry ) ) + " " + text( pb::adopt( cryX509TNAuthListEntryServiceProviderCode( entry ) ) ) +
        " " + text( pb::adopt( cryX509TNAuthListEntryTelephoneNumber( entry ) ) ) + " " + std::to_string( cryX509TNAuthListEntryCount( entry ) );
}

std::vector<std::string> shown( const List &list )
{
    std::vector<std::string> lines;
    for( PB_INT index = 0; index < cryX509TNAuthListEntriesLength( list.get() ); index++ )
        lines.push_back( shown( pb::adopt( cryX509TNAuthListEntryAt( list.get(), index ) ).get() ) );
    return lines;
}

using Lines = std::vector<std::string>;

Entry restored( const Entry &entry )
{
    pb::Ref<PB_STORE> store = pb::adopt( cryX509TNAuthListEntryStore( entry.get() ) );
    return pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) );
}

Lines keysOf( PB_STORE *store )
{
    Lines keys;
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
        keys.push_back( text( pb::adopt( pbStoreKeyAt( store, index ) ) ) );
    return keys;
}

Entry code( const char *text ) { return pb::adopt( cryX509TNAuthListEntryCreateServiceProviderCode( str( text ).get() ) ); }
Entry one( const char *text ) { return pb::adopt( cryX509TNAuthListEntryCreateTelephoneNumber( str( text ).get() ) ); }
Entry range( const char *text, PB_INT count ) { return pb::adopt( cryX509TNAuthListEntryCreateTelephoneNumberRange( str( text ).get(), count ) ); }

}

// ---- the extension of a certificate

TEST( CryX509TNAuthList, OfACertificateHasItsEntriesInOrder )
{
    List list = listOf( sequence( spcDer( "1234" ) + rangeDer( "12155550100", "2" ) + oneDer( "12155550199" ) + oneDer( "*#" ) ) );
    ASSERT_TRUE( list );
    EXPECT_EQ( shown( list ), ( Lines{ "0 1234 (null) -1", "1 (null) 12155550100 2", "2 (null) 12155550199 -1", "2 (null) *# -1" } ) );
}

TEST( CryX509TNAuthList, OfACertificateMayBeEmptyOrMissing )
{
    takeErrors();
    raiseError();
    List empty = listOf( sequence( "" ) );
    ASSERT_TRUE( empty );
    EXPECT_EQ( cryX509TNAuthListEntriesLength( empty.get() ), 0 );
    EXPECT_FALSE( pb::adopt( cryX509CertificateTNAuthList( certificate( chainOf( KeyKind::p256 ).leaf ).get() ) ) );
    for( const std::string &value : { std::string( "x" ), sequence( "x" ), sequence( tlv( 0xA3, ia5( "1" ) ) ), sequence( tlv( 0x80, "1234" ) ),
             sequence( spcDer( "1" ) ).substr( 0, 4 ), octets( "" ), sequence( tlv( 0xA1, sequence( ia5( "1" ) ) ) ),
             sequence( tlv( 0xA0, tlv( 0x0C, "1234" ) ) ) } )
        EXPECT_FALSE( listOf( value ) ) << hex( value );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
}

TEST( CryX509TNAuthList, CountsOfRangesHave31Bits )
{
    EXPECT_EQ(
        shown( listOf( sequence( rangeDer( "1", "0" ) + rangeDer( "2", "2147483647" ) ) ) ), ( Lines{ "1 (null) 1 0", "1 (null) 2 2147483647" } ) );
}

TEST( CryX509TNAuthList, TextsAreTakenAsUtf8 )
{
    EXPECT_EQ( shown( listOf( sequence( spcDer( "" ) + spcDer( "caf\xC3\xA9" ) + oneDer( "a\xFF" ) ) ) ),
        ( Lines{ "0  (null) -1", "0 caf\xC3\xA9 (null) -1", "2 (null) a\xEF\xBF\xBD -1" } ) );
}

TEST( CryX509TNAuthList, TheFirstExtensionCounts )
{
    Cert made = makeCertificate( { .subject = "CN=two",
        .subjectKey                         = key( KeyKind::p256 ),
        .extensions                         = { { "1.3.6.1.5.5.7.1.26", "DER:" + hex( sequence( oneDer( "1" ) ) ) }, { "1.2.3", "DER:0500" } } } );
    EXPECT_EQ( shown( pb::adopt( cryX509CertificateTNAuthList( certificate( made ).get() ) ) ), Lines{ "2 (null) 1 -1" } );
    // The process knows no new OID.
    EXPECT_EQ( OBJ_txt2nid( "TNAuthorizationList" ), NID_undef );
}

// ---- ASN.1

TEST( CryX509TNAuthList, ListsAreWrittenAsTheyWereRead )
{
    std::string          der  = sequence( spcDer( "1234" ) + rangeDer( "12155550100", "70000" ) + oneDer( "12155550199" ) );
    const unsigned char *at   = (const unsigned char *)der.data();
    TNAuthorizationList *list = d2i_TNAuthorizationList( nullptr, &at, (long)der.size() );
    ASSERT_NE( list, nullptr );
    ASSERT_EQ( sk_TNEntry_num( list ), 3 );
    EXPECT_EQ( sk_TNEntry_value( list, 1 )->type, 1 );
    unsigned char *bytes  = nullptr;
    int            length = i2d_TNAuthorizationList( list, &bytes );
    ASSERT_EQ( std::string( (char *)bytes, (size_t)length ), der );
    OPENSSL_free( bytes );
    bytes  = nullptr;
    length = i2d_TNEntry( sk_TNEntry_value( list, 2 ), &bytes );
    EXPECT_EQ( std::string( (char *)bytes, (size_t)length ), oneDer( "12155550199" ) );
    OPENSSL_free( bytes );
    TNAuthorizationList_free( list );
}

TEST( CryX509TNAuthList, ListsAreBuiltByHand )
{
    TNAuthorizationList *list  = TNAuthorizationList_new();
    TNEntry             *entry = TNEntry_new();
    entry->type                = 1;
    entry->d.range             = TelephoneNumberRange_new();
    ASSERT_EQ( ASN1_STRING_set( entry->d.range->start, "100", 3 ), 1 );
    ASSERT_EQ( ASN1_INTEGER_set( entry->d.range->count, 7 ), 1 );
    ASSERT_GT( sk_TNEntry_push( list, entry ), 0 );
    unsigned char *bytes  = nullptr;
    int            length = ASN1_item_i2d( (const ASN1_VALUE *)list, &bytes, TNAuthorizationList_it() );
    EXPECT_EQ( std::string( (char *)bytes, (size_t)length ), sequence( rangeDer( "100", "7" ) ) );
    const unsigned char  *at    = bytes + 4;
    TelephoneNumberRange *range = d2i_TelephoneNumberRange( nullptr, &at, length - 4 );
    ASSERT_NE( range, nullptr );
    unsigned char *again       = nullptr;
    int            againLength = i2d_TelephoneNumberRange( range, &again );
    EXPECT_EQ( std::string( (char *)again, (size_t)againLength ), std::string( (char *)bytes + 4, (size_t)length - 4 ) );
    at           = bytes + 2;
    TNEntry *one = d2i_TNEntry( nullptr, &at, length - 2 );
    ASSERT_NE( one, nullptr );
    EXPECT_EQ( one->type, 1 );
    TNEntry_free( one );
    TelephoneNumberRange_free( range );
    OPENSSL_free( again );
    OPENSSL_free( bytes );
    TNAuthorizationList_free( list );
    EXPECT_NE( TNEntry_it(), TelephoneNumberRange_it() );
}

// ---- entries

TEST( CryX509TNAuthListEntry, ComesBackFromItsStore )
{
    for( const Entry &entry : { code( "1234" ), one( "12155550199" ), range( "12155550100", 0 ), range( "1", PB_INT_MAX ), code( "" ) } )
        EXPECT_TRUE( cryX509TNAuthListEntryEquals( restored( entry ).get(), entry.get() ) ) << shown( entry.get() );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509TNAuthListEntryStore( range( "1", 2 ).get() ) );
    EXPECT_EQ( keysOf( store.get() ), ( Lines{ "type", "telephoneNumber", "count" } ) );
    EXPECT_EQ( keysOf( pb::adopt( cryX509TNAuthListEntryStore( one( "1" ).get() ) ).get() ), ( Lines{ "type", "telephoneNumber" } ) );
    EXPECT_EQ( keysOf( pb::adopt( cryX509TNAuthListEntryStore( code( "1" ).get() ) ).get() ), ( Lines{ "type", "serviceProviderCode" } ) );
}

TEST( CryX509TNAuthListEntry, RestoresWithAKnownTypeOnly )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( store.handle(), "telephoneNumber", -1, str( "1" ).get() );
    EXPECT_FALSE( pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) ) );
    for( const char *type : { "", "TELEPHONE_NUMBER", "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBERS", "2" } )
    {
        pbStoreSetValueCstr( store.handle(), "type", -1, str( type ).get() );
        EXPECT_FALSE( pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) ) ) << type;
    }
    pbStoreSetIntValueCstr( store.handle(), "type", -1, 1 );
    EXPECT_FALSE( pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) ) );
    pbStoreSetValueCstr( store.handle(), "type", -1, str( "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE" ).get() );
    EXPECT_EQ( shown( pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) ).get() ), "1 (null) 1 -1" );
    // The fields need not fit the type, and a negative count is left out.
    pbStoreSetValueCstr( store.handle(), "serviceProviderCode", -1, str( "c" ).get() );
    pbStoreSetIntValueCstr( store.handle(), "count", -1, -5 );
    EXPECT_EQ( shown( pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) ).get() ), "1 c 1 -1" );
    pbStoreSetIntValueCstr( store.handle(), "count", -1, 5 );
    EXPECT_EQ( shown( pb::adopt( cryX509TNAuthListEntryTryRestore( store.get() ) ).get() ), "1 c 1 5" );
}

TEST( CryX509TNAuthListEntry, SettersCopyAnEntryThatOthersHold )
{
    Entry mine = range( "1", 2 ), theirs = mine;
    cryX509TNAuthListEntrySetEntryType( mine.handle(), spcType );
    cryX509TNAuthListEntrySetServiceProviderCode( mine.handle(), str( "code" ).get() );
    cryX509TNAuthListEntrySetTelephoneNumber( mine.handle(), str( "7" ).get() );
    cryX509TNAuthListEntrySetCount( mine.handle(), 9 );
    EXPECT_EQ( shown( mine.get() ), "0 code 7 9" );
    EXPECT_EQ( shown( theirs.get() ), "1 (null) 1 2" );
    EXPECT_TRUE( cryX509TNAuthListEntryHasServiceProviderCode( mine.get() ) && cryX509TNAuthListEntryHasTelephoneNumber( mine.get() ) &&
        cryX509TNAuthListEntryHasCount( mine.get() ) );
    theirs = mine;
    cryX509TNAuthListEntryDelServiceProviderCode( mine.handle() );
    cryX509TNAuthListEntryDelTelephoneNumber( mine.handle() );
    cryX509TNAuthListEntryDelCount( mine.handle() );
    EXPECT_EQ( shown( mine.get() ), "0 (null) (null) -1" );
    EXPECT_FALSE( cryX509TNAuthListEntryHasServiceProviderCode( mine.get() ) || cryX509TNAuthListEntryHasTelephoneNumber( mine.get() ) ||
        cryX509TNAuthListEntryHasCount( mine.get() ) );
    EXPECT_EQ( shown( theirs.get() ), "0 code 7 9" );
}

TEST( CryX509TNAuthListEntry, OrdersByTypeCountCodeAndNumber )
{
    Entry              blank  = pb::adopt( cry___X509TNAuthListEntryCreate( rangeType ) );
    std::vector<Entry> sorted = { code( "a" ), code( "b" ), blank, range( "2", 0 ), range( "1", 1 ), range( "2", 1 ), one( "1" ), one( "2" ) };
    for( size_t a = 0; a < sorted.size(); a++ )
        for( size_t b = 0; b < sorted.size(); b++ )
        {
            PB_INT order = cryX509TNAuthListEntryCompare( sorted[a].get(), sorted[b].get() );
            EXPECT_EQ( order < 0, a < b ) << shown( sorted[a].get() ) << ", " << shown( sorted[b].get() );
            EXPECT_EQ( order == 0, a == b );
        }
}

// ---- lists

TEST( CryX509TNAuthList, IsEditedInItsOwnCopy )
{
    List mine = pb::adopt( cryX509TNAuthListCreate() );
    cryX509TNAuthListAppendEntry( mine.handle(), one( "1" ).get() );
    List theirs = mine;
    cryX509TNAuthListAppendEntry( mine.handle(), code( "2" ).get() );
    cryX509TNAuthListSetEntryAt( mine.handle(), 0, range( "3", 4 ).get() );
    EXPECT_EQ( shown( mine ), ( Lines{ "1 (null) 3 4", "0 2 (null) -1" } ) );
    EXPECT_EQ( shown( theirs ), Lines{ "2 (null) 1 -1" } );
    cryX509TNAuthListDelEntryAt( mine.handle(), 0 );
    EXPECT_EQ( shown( mine ), Lines{ "0 2 (null) -1" } );
    EXPECT_EQ( pbVectorLength( pb::adopt( cryX509TNAuthListEntriesVector( mine.get() ) ).get() ), 1 );
    cryX509TNAuthListClearEntries( mine.handle() );
    EXPECT_EQ( shown( mine ), Lines{} );
    cryX509TNAuthListSetEntriesVector( theirs.handle(), pb::adopt( pbVectorCreate() ).get() );
    EXPECT_TRUE( cryX509TNAuthListEquals( mine.get(), theirs.get() ) );
}

TEST( CryX509TNAuthList, ComesBackFromItsStore )
{
    List              list  = listOf( sequence( spcDer( "1234" ) + rangeDer( "12155550100", "2" ) + oneDer( "12155550199" ) ) );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509TNAuthListStore( list.get() ) );
    EXPECT_TRUE( cryX509TNAuthListEquals( pb::adopt( cryX509TNAuthListRestore( store.get() ) ).get(), list.get() ) );
    // Other entries are skipped.
    pbStoreAppendValue( store.handle(), str( "text" ).get() );
    pbStoreAppendStore( store.handle(), pb::adopt( pbStoreCreate() ).get() );
    EXPECT_TRUE( cryX509TNAuthListEquals( pb::adopt( cryX509TNAuthListRestore( store.get() ) ).get(), list.get() ) );
    EXPECT_EQ( shown( pb::adopt( cryX509TNAuthListRestore( pb::adopt( pbStoreCreate() ).get() ) ) ), Lines{} );
}
