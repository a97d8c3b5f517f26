#include <cry/cry_x509_certificates.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>

using namespace support;

namespace
{

using Certificate  = pb::Ref<CRY_X509_CERTIFICATE>;
using Certificates = pb::Ref<CRY_X509_CERTIFICATES>;

// Five certificates, named a to e, which live as long as these tests run.
std::vector<Certificate> five;

const Certificate &named( char name ) { return five[(size_t)( name - 'a' )]; }

class CryX509Certificates : public testing::Test
{
public:
    static void SetUpTestSuite()
    {
        for( char name = 'a'; name <= 'e'; name++ )
            five.push_back( certificate( makeCertificate(
                { .subject = std::string( "CN=" ) + name, .subjectKey = key( KeyKind::ed25519 ), .serial = std::to_string( name ) } ) ) );
    }
    static void TearDownTestSuite() { five.clear(); }
};

Certificates of( std::string_view names )
{
    std::vector<Certificate> list;
    for( char name : names )
        list.push_back( named( name ) );
    return certificates( list );
}

// The names of the certificates in a collection, which must hold the same objects.
std::string names( CRY_X509_CERTIFICATES *certs )
{
    std::string found;
    for( const Certificate &cert : members( certs ) )
    {
        char name = '?';
        for( char each = 'a'; each <= 'e'; each++ )
        {
            if( named( each ).get() == cert.get() )
                name = each;
        }
        found += name;
    }
    return found;
}
std::string names( const Certificates &certs ) { return names( certs.get() ); }

struct Edit
{
    const char *name;
    void ( *apply )( CRY_X509_CERTIFICATES **certs );
    const char *result; // of an edit of "abc"
};

const Edit edits[] = {
    { "append", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesAppendCertificate( certs, named( 'd' ).get() ); }, "abcd" },
    { "prepend", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesPrependCertificate( certs, named( 'd' ).get() ); }, "dabc" },
    { "insert at the front", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesInsertCertificate( certs, 0, named( 'd' ).get() ); }, "dabc" },
    { "insert", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesInsertCertificate( certs, 1, named( 'd' ).get() ); }, "adbc" },
    { "insert at the end", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesInsertCertificate( certs, 3, named( 'd' ).get() ); }, "abcd" },
    { "set", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesSetCertificateAt( certs, 2, named( 'd' ).get() ); }, "abd" },
    { "delete", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesDelCertificateAt( certs, 1 ); }, "ac" },
    { "clear", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesClearCertificates( certs ); }, "" },
    { "append others", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesAppend( certs, of( "de" ).get() ); }, "abcde" },
    { "prepend others", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesPrepend( certs, of( "de" ).get() ); }, "deabc" },
    { "insert others", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesInsert( certs, 2, of( "de" ).get() ); }, "abdec" },
    { "insert none", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesInsert( certs, 2, of( "" ).get() ); }, "abc" },
    { "append itself", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesAppend( certs, *certs ); }, "abcabc" },
    { "insert itself", []( CRY_X509_CERTIFICATES **certs ) { cryX509CertificatesInsert( certs, 1, *certs ); }, "aabcbc" },
    { "set all",
        []( CRY_X509_CERTIFICATES **certs ) {
            pb::Ref<PB_VECTOR> vec     = pb::adopt( cryX509CertificatesCertificatesVector( of( "edd" ).get() ) );
            cryX509CertificatesSetCertificatesVector( certs, vec.get() );
        },
        "edd" },
};

}

TEST_F( CryX509Certificates, IsEmptyAtFirst )
{
    Certificates certs = pb::adopt( cryX509CertificatesCreate() );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( certs.get() ), 0 );
    EXPECT_EQ( pbVectorLength( pb::adopt( cryX509CertificatesCertificatesVector( certs.get() ) ).get() ), 0 );
}

TEST_F( CryX509Certificates, KeepsOrderAndDuplicates )
{
    Certificates certs = of( "cabca" );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( certs.get() ), 5 );
    EXPECT_EQ( names( certs ), "cabca" );
}

TEST_F( CryX509Certificates, EditsGiveTheirResult )
{
    for( const Edit &edit : edits )
    {
        Certificates           certs  = of( "abc" );
        CRY_X509_CERTIFICATES *before = certs.get();
        edit.apply( certs.handle() );
        EXPECT_EQ( names( certs ), edit.result ) << edit.name;
        EXPECT_EQ( certs.get(), before ) << edit.name << ": nobody else holds it, so it is not copied";
    }
}

TEST_F( CryX509Certificates, EditsOfASharedCollectionAreSeenByNobodyElse )
{
    for( const Edit &edit : edits )
    {
        Certificates certs = of( "abc" );
        Certificates other = certs;
        edit.apply( certs.handle() );
        EXPECT_EQ( names( certs ), edit.result ) << edit.name;
        EXPECT_EQ( names( other ), "abc" ) << edit.name;
        EXPECT_NE( certs.get(), other.get() ) << edit.name;
        EXPECT_FALSE( pbObjIsShared( other.obj() ) ) << edit.name;
    }
}

TEST_F( CryX509Certificates, EditsOfACopyAndOfItsSourceAreApart )
{
    for( const Edit &edit : edits )
    {
        Certificates certs = of( "abc" );
        Certificates copy  = pb::adopt( cryX509CertificatesCreateFrom( certs.get() ) );
        EXPECT_NE( copy.get(), certs.get() );
        EXPECT_TRUE( cryX509CertificatesEquals( copy.get(), certs.get() ) );
        edit.apply( copy.handle() );
        EXPECT_EQ( names( copy ), edit.result ) << edit.name;
        EXPECT_EQ( names( certs ), "abc" ) << edit.name;
        edit.apply( certs.handle() );
        EXPECT_EQ( names( certs ), edit.result ) << edit.name;
        EXPECT_EQ( names( copy ), edit.result ) << edit.name;
    }
}

TEST_F( CryX509Certificates, VectorsHandedOutAndInDoNotChange )
{
    for( const Edit &edit : edits )
    {
        Certificates       certs = of( "abc" );
        pb::Ref<PB_VECTOR> out   = pb::adopt( cryX509CertificatesCertificatesVector( certs.get() ) );
        edit.apply( certs.handle() );
        EXPECT_EQ( pbVectorLength( out.get() ), 3 ) << edit.name;
        EXPECT_EQ( pb___VectorPeekObjAt( out.get(), 1 ), named( 'b' ).obj() ) << edit.name;

        Certificates given = of( "" );
        cryX509CertificatesSetCertificatesVector( given.handle(), out.get() );
        edit.apply( given.handle() );
        EXPECT_EQ( names( given ), edit.result ) << edit.name;
        EXPECT_EQ( pbVectorLength( out.get() ), 3 ) << edit.name;

        // An edit of the vector by its owner does not change the collection.
        Certificates last = of( "" );
        cryX509CertificatesSetCertificatesVector( last.handle(), out.get() );
        pbVectorClear( out.handle() );
        EXPECT_EQ( names( last ), "abc" );
    }
}

TEST_F( CryX509Certificates, AreOrderedByTheirCertificatesThenByLength )
{
    auto sign = []( PB_INT order ) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
    // The order is that of the DER. All DERs have the same length, and they first differ in the
    // serial number, so the order is alphabetical.
    const char *ordered[] = { "", "a", "aa", "ab", "abc", "b", "ba", "c" };
    for( size_t a = 0; a < std::size( ordered ); a++ )
    {
        for( size_t b = 0; b < std::size( ordered ); b++ )
        {
            EXPECT_EQ( sign( cryX509CertificatesCompare( of( ordered[a] ).get(), of( ordered[b] ).get() ) ), a < b ? -1 : a > b )
                << ordered[a] << ", " << ordered[b];
            EXPECT_EQ( (bool)cryX509CertificatesEquals( of( ordered[a] ).get(), of( ordered[b] ).get() ), a == b );
        }
    }
    EXPECT_FALSE( cryX509CertificatesEquals( of( "" ).get(), nullptr ) );
}

TEST_F( CryX509Certificates, EqualCertificatesInOtherObjectsMakeEqualCollections )
{
    Certificates certs = of( "ab" );
    Certificates again = pb::adopt( cryX509CertificatesCreate() );
    for( char name : { 'a', 'b' } )
    {
        Certificate cert = pb::adopt( cryX509CertificateTryCreateFromDer( buf( der( named( name ).get() ) ).get() ) );
        cryX509CertificatesAppendCertificate( again.handle(), cert.get() );
    }
    EXPECT_EQ( names( again ), "??" );
    EXPECT_TRUE( cryX509CertificatesEquals( certs.get(), again.get() ) );
}

TEST_F( CryX509Certificates, IsMadeOfAVectorOfPems )
{
    pb::Ref<PB_VECTOR> pems = pb::adopt( pbVectorCreate() );
    EXPECT_EQ( names( pb::adopt( cryX509CertificatesTryCreateFromPemVector( pems.get() ) ) ), "" );
    for( char name : std::string_view( "cabc" ) )
        pbVectorAppendObj( pems.handle(), pb::adopt( cryX509CertificatePem( named( name ).get() ) ).obj() );
    Certificates certs = pb::adopt( cryX509CertificatesTryCreateFromPemVector( pems.get() ) );
    ASSERT_TRUE( certs );
    EXPECT_TRUE( cryX509CertificatesEquals( certs.get(), of( "cabc" ).get() ) );
}

TEST_F( CryX509Certificates, OnePemThatIsNoCertificateFailsTheWhole )
{
    for( PB_INT at : { 0, 1, 2 } )
    {
        for( const pb::Ref<CRY_PEM> &bad :
            { pem( "CERTIFICATE", "nonsense" ), pem( "CERTIFICATE REQUEST", der( named( 'a' ).get() ) ), pem( "", "" ) } )
        {
            pb::Ref<PB_VECTOR> pems = pb::adopt( pbVectorCreate() );
            for( char name : { 'a', 'b' } )
                pbVectorAppendObj( pems.handle(), pb::adopt( cryX509CertificatePem( named( name ).get() ) ).obj() );
            pbVectorInsertObj( pems.handle(), at, bad.obj() );
            EXPECT_EQ( cryX509CertificatesTryCreateFromPemVector( pems.get() ), nullptr ) << at;
        }
    }
    ERR_clear_error();
}

TEST_F( CryX509Certificates, CopiesTheCertificatesOfAnOpensslStack )
{
    STACK_OF( X509 ) *stack = sk_X509_new_null();
    Certificates none       = pb::adopt( cry___X509CertificatesTryCreateFromOpensslStackOfX509( stack ) );
    EXPECT_EQ( names( none ), "" );
    for( char name : std::string_view( "bacb" ) )
        sk_X509_push( stack, cry___X509CertificatePeekOpensslX509( named( name ).get() ) );
    Certificates certs = pb::adopt( cry___X509CertificatesTryCreateFromOpensslStackOfX509( stack ) );
    ASSERT_TRUE( certs );
    EXPECT_TRUE( cryX509CertificatesEquals( certs.get(), of( "bacb" ).get() ) );
    std::vector<Certificate> list = members( certs.get() );
    for( int index = 0; index < sk_X509_num( stack ); index++ )
        EXPECT_NE( cry___X509CertificatePeekOpensslX509( list[(size_t)index].get() ), sk_X509_value( stack, index ) );
    sk_X509_free( stack );
}

TEST_F( CryX509Certificates, AStackWithACertificateThatCannotBeCopiedFailsTheWhole )
{
    X509 *broken            = X509_new();
    STACK_OF( X509 ) *stack = sk_X509_new_null();
    sk_X509_push( stack, cry___X509CertificatePeekOpensslX509( named( 'a' ).get() ) );
    sk_X509_push( stack, broken );
    EXPECT_EQ( cry___X509CertificatesTryCreateFromOpensslStackOfX509( stack ), nullptr );
    sk_X509_free( stack );
    X509_free( broken );
    ERR_clear_error();
}

TEST_F( CryX509Certificates, MakesANewOpensslStoreOfEveryCertificate )
{
    Certificates certs  = of( "abca" );
    X509_STORE  *first  = cry___X509CertificatesCreateOpensslX509Store( certs.get() );
    X509_STORE  *second = cry___X509CertificatesCreateOpensslX509Store( certs.get() );
    EXPECT_NE( first, second );
    X509_STORE_free( second );
    // OpenSSL keeps a certificate once.
    STACK_OF( X509_OBJECT ) *objects = X509_STORE_get0_objects( first );
    ASSERT_EQ( sk_X509_OBJECT_num( objects ), 3 );
    for( char name : { 'a', 'b', 'c' } )
    {
        bool found = false;
        for( int index = 0; index < 3; index++ )
            found = found ||
                X509_OBJECT_get0_X509( sk_X509_OBJECT_value( objects, index ) ) == cry___X509CertificatePeekOpensslX509( named( name ).get() );
        EXPECT_TRUE( found ) << name;
    }
    X509_STORE_free( first );
    X509_STORE *empty = cry___X509CertificatesCreateOpensslX509Store( of( "" ).get() );
    EXPECT_EQ( sk_X509_OBJECT_num( X509_STORE_get0_objects( empty ) ), 0 );
    X509_STORE_free( empty );
}

TEST_F( CryX509Certificates, AnOpensslStoreOutlivesTheCollection )
{
    X509_STORE *store;
    {
        Certificate  cert  = pb::adopt( cryX509CertificateTryCreateFromDer( buf( der( named( 'a' ).get() ) ).get() ) );
        Certificates certs = certificates( { cert } );
        store              = cry___X509CertificatesCreateOpensslX509Store( certs.get() );
    }
    X509 *x509 = X509_OBJECT_get0_X509( sk_X509_OBJECT_value( X509_STORE_get0_objects( store ), 0 ) );
    EXPECT_EQ( hex( der( x509 ) ), hex( der( named( 'a' ).get() ) ) );
    X509_STORE_free( store );
}

TEST_F( CryX509Certificates, ComesBackFromItsStore )
{
    for( const char *each : { "", "a", "cabca" } )
    {
        Certificates      certs = of( each );
        pb::Ref<PB_STORE> store = pb::adopt( cryX509CertificatesStore( certs.get() ) );
        EXPECT_TRUE( pbStoreIsArray( store.get() ) );
        ASSERT_EQ( pbStoreLength( store.get() ), (PB_INT)std::string_view( each ).size() );
        for( PB_INT index = 0; index < pbStoreLength( store.get() ); index++ )
        {
            pb::Ref<PB_STORE> one = pb::adopt( pbStoreStoreAt( store.get(), index ) );
            EXPECT_TRUE( pbStoreEquals( one.get(), pb::adopt( cryX509CertificateStore( named( each[index] ).get() ) ).get() ) );
        }
        Certificates restored = pb::adopt( cryX509CertificatesRestore( store.get() ) );
        EXPECT_TRUE( cryX509CertificatesEquals( restored.get(), certs.get() ) ) << each;
    }
}

TEST_F( CryX509Certificates, RestoringSkipsWhatIsNoCertificate )
{
    pb::Ref<PB_STORE> a     = pb::adopt( cryX509CertificateStore( named( 'a' ).get() ) );
    pb::Ref<PB_STORE> b     = pb::adopt( cryX509CertificateStore( named( 'b' ).get() ) );
    pb::Ref<PB_STORE> bad   = pb::adopt( cryPemStore( pem( "CERTIFICATE", "nonsense" ).get() ) );
    pb::Ref<PB_STORE> empty = pb::adopt( pbStoreCreateArray() );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( store.handle(), str( "a plain value" ).get() );
    pbStoreAppendStore( store.handle(), a.get() );
    pbStoreAppendIntValue( store.handle(), 7 );
    pbStoreAppendBoolValue( store.handle(), PB_TRUE );
    pbStoreAppendStore( store.handle(), bad.get() );
    pbStoreAppendValueNull( store.handle() );
    pbStoreAppendStore( store.handle(), empty.get() );
    pbStoreAppendStore( store.handle(), b.get() );
    Certificates certs = pb::adopt( cryX509CertificatesRestore( store.get() ) );
    ASSERT_TRUE( certs );
    EXPECT_TRUE( cryX509CertificatesEquals( certs.get(), of( "ab" ).get() ) );

    // A keyed store is read in the same way, by index.
    pb::Ref<PB_STORE> keyed = pb::adopt( pbStoreCreate() );
    pbStoreSetStoreCstr( keyed.handle(), "second", -1, b.get() );
    pbStoreSetValueCstr( keyed.handle(), "text", -1, str( "x" ).get() );
    pbStoreSetStoreCstr( keyed.handle(), "first", -1, a.get() );
    EXPECT_TRUE( cryX509CertificatesEquals( pb::adopt( cryX509CertificatesRestore( keyed.get() ) ).get(), of( "ba" ).get() ) );
    ERR_clear_error();
}

TEST_F( CryX509Certificates, IsAnObjectWithTheDefaultText )
{
    Certificates certs = of( "ab" );
    EXPECT_STREQ( pbSortName( cryX509CertificatesSort() ), "CRY_X509_CERTIFICATES" );
    EXPECT_EQ( cryX509CertificatesFrom( cryX509CertificatesObj( certs.get() ) ), certs.get() );
    EXPECT_TRUE( text( pb::adopt( cryX509CertificatesToString( certs.get() ) ) ).starts_with( "CRY_X509_CERTIFICATES(0x" ) );
    Certificates second = pb::adopt( cryX509CertificatesRetain( certs.get() ) );
    EXPECT_TRUE( pbObjIsShared( certs.obj() ) );
    cryX509CertificatesRelease( second.take() );
    EXPECT_FALSE( pbObjIsShared( certs.obj() ) );
}
