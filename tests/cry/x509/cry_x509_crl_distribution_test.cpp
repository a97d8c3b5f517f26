#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_crl_distribution.h>
#include <pb/each.hpp>
#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Distribution = pb::Ref<CRY_X509_CRL_DISTRIBUTION>;
using Texts        = std::vector<std::string>;

Texts uris( CRY_X509_CRL_DISTRIBUTION *dist ) { return texts( pb::adopt( cryX509CrlDistributionUris( dist ) ).get() ); }

// "(none)" if there is no vector.
Texts issuers( CRY_X509_CRL_DISTRIBUTION *dist )
{
    pb::Ref<PB_VECTOR> vec = pb::adopt( cryX509CrlDistributionIssuers( dist ) );
    EXPECT_EQ( (bool)cryX509CrlDistributionHasIssuers( dist ), (bool)vec );
    return vec ? texts( vec.get() ) : Texts{ "(none)" };
}

// One element of the extension, in DER.
std::string element( int tag, const std::string &content )
{
    EXPECT_LT( content.size(), 65536u );
    std::string length( 1, (char)content.size() );
    if( content.size() >= 128 )
        length = { '\x82', (char)( content.size() >> 8 ), (char)content.size() };
    return (char)tag + length + content;
}

std::string joined( const Texts &parts )
{
    std::string all;
    for( const std::string &part : parts )
        all += part;
    return all;
}

std::string uri( const std::string &bytes ) { return element( 0x86, bytes ); }
std::string dns( const std::string &bytes ) { return element( 0x82, bytes ); }
std::string attribute( const std::string &text ) { return element( 0x30, std::string( "\x06\x03\x55\x04\x03", 5 ) + element( 0x0C, text ) ); }
std::string directory( const std::string &text ) { return element( 0xA4, element( 0x30, element( 0x31, attribute( text ) ) ) ); }
std::string fullName( const Texts &names ) { return element( 0xA0, element( 0xA0, joined( names ) ) ); }
std::string relativeName( const std::string &text ) { return element( 0xA0, element( 0xA1, attribute( text ) ) ); }
std::string crlIssuer( const Texts &names ) { return element( 0xA2, joined( names ) ); }
std::string point( const Texts &parts ) { return element( 0x30, joined( parts ) ); }

pb::Ref<CRY_X509_CERTIFICATE> certificateWith( const std::vector<std::pair<std::string, std::string>> &extensions )
{
    return certificate( makeCertificate( { .subject = "CN=leaf", .subjectKey = key( KeyKind::ed25519 ), .extensions = extensions } ) );
}

pb::Ref<PB_VECTOR> distributions( const pb::Ref<CRY_X509_CERTIFICATE> &cert )
{
    return pb::adopt( cryX509CertificateRevocationListDistribution( cert.get() ) );
}

// The distributions of a certificate whose extension has these points.
pb::Ref<PB_VECTOR> distributions( const Texts &points )
{
    return distributions( certificateWith( { { "2.5.29.31", "DER:" + hex( element( 0x30, joined( points ) ) ) } } ) );
}

// Lists of URIs and of issuers, one pair for each distribution; empty without a vector.
std::vector<std::pair<Texts, Texts>> read( const pb::Ref<PB_VECTOR> &vec )
{
    EXPECT_TRUE( !vec || pbVectorContainsOnly( vec.get(), cryX509CrlDistributionSort() ) );
    EXPECT_TRUE( !vec || pbVectorLength( vec.get() ) > 0 );
    std::vector<std::pair<Texts, Texts>> list;
    for( CRY_X509_CRL_DISTRIBUTION *dist : pb::each<CRY_X509_CRL_DISTRIBUTION>( vec ) )
        list.emplace_back( uris( dist ), issuers( dist ) );
    return list;
}

using Read = std::vector<std::pair<Texts, Texts>>;

const Texts none = { "(none)" };

}

TEST( CryX509CrlDistribution, HoldsWhatItWasMadeOf )
{
    pb::Ref<PB_VECTOR> some = vec( { "http://a", "http://b" } ), names = vec( { "/CN=x" } );
    Distribution       dist = pb::adopt( cryX509CrlDistributionCreate( some.get(), names.get() ) );
    EXPECT_EQ( pb::adopt( cryX509CrlDistributionUris( dist.get() ) ).get(), some.get() );
    EXPECT_EQ( pb::adopt( cryX509CrlDistributionIssuers( dist.get() ) ).get(), names.get() );
    EXPECT_TRUE( cryX509CrlDistributionHasIssuers( dist.get() ) );

    Distribution without = pb::adopt( cryX509CrlDistributionCreate( vec( {} ).get(), nullptr ) );
    EXPECT_EQ( uris( without.get() ), Texts{} );
    EXPECT_EQ( issuers( without.get() ), none );

    // The caller may edit its vectors.
    pbVectorClear( some.handle() );
    EXPECT_EQ( uris( dist.get() ), ( Texts{ "http://a", "http://b" } ) );
}

TEST( CryX509CrlDistribution, ACopySharesTheVectors )
{
    Distribution dist = pb::adopt( cryX509CrlDistributionCreate( vec( { "http://a" } ).get(), vec( { "/CN=x" } ).get() ) );
    Distribution copy = pb::adopt( cryX509CrlDistributionCreateFrom( dist.get() ) );
    EXPECT_NE( copy.get(), dist.get() );
    EXPECT_EQ( pb::adopt( cryX509CrlDistributionUris( copy.get() ) ).get(), pb::adopt( cryX509CrlDistributionUris( dist.get() ) ).get() );
    EXPECT_EQ( pb::adopt( cryX509CrlDistributionIssuers( copy.get() ) ).get(), pb::adopt( cryX509CrlDistributionIssuers( dist.get() ) ).get() );
    dist = {};
    EXPECT_EQ( uris( copy.get() ), Texts{ "http://a" } );
    EXPECT_EQ( issuers( copy.get() ), Texts{ "/CN=x" } );
}

TEST( CryX509CrlDistribution, EqualsOnlyItself )
{
    Distribution dist = pb::adopt( cryX509CrlDistributionCreate( vec( { "http://a" } ).get(), nullptr ) );
    Distribution copy = pb::adopt( cryX509CrlDistributionCreateFrom( dist.get() ) );
    EXPECT_TRUE( cryX509CrlDistributionEquals( dist.get(), dist.get() ) );
    EXPECT_FALSE( cryX509CrlDistributionEquals( dist.get(), copy.get() ) );
    EXPECT_TRUE( text( pb::adopt( cryX509CrlDistributionToString( dist.get() ) ) ).starts_with( "CRY_X509_CRL_DISTRIBUTION(0x" ) );
}

TEST( CryX509CrlDistribution, IsNotStored )
{
    Distribution      dist  = pb::adopt( cryX509CrlDistributionCreate( vec( { "http://a" } ).get(), vec( { "/CN=x" } ).get() ) );
    pb::Ref<PB_STORE> store = pb::adopt( cryX509CrlDistributionStore( dist.get() ) );
    ASSERT_TRUE( store );
    EXPECT_EQ( pbStoreLength( store.get() ), 0 );
    EXPECT_EQ( cryX509CrlDistributionTryRestore( store.get() ), nullptr );
    pbStoreSetValueCstr( store.handle(), "uris", -1, str( "http://a" ).get() );
    EXPECT_EQ( cryX509CrlDistributionTryRestore( store.get() ), nullptr );
}

TEST( CryX509CrlDistribution, AreReadFromACertificateThatOpensslMade )
{
    EXPECT_EQ( read( distributions( certificateWith( { { "crlDistributionPoints", "URI:http://a.example/1.crl, URI:ldap://b.example/cn=x?y" } } ) ) ),
        ( Read{ { { "http://a.example/1.crl" }, none }, { { "ldap://b.example/cn=x?y" }, none } } ) );
}

TEST( CryX509CrlDistribution, AreInOrderWithTheirUrisAndIssuers )
{
    EXPECT_EQ( read( distributions( Texts{
                   point( { fullName( { uri( "http://a/1" ), uri( "http://a/2" ) } ), crlIssuer( { directory( "One" ), directory( "Two" ) } ) } ),
                   point( { fullName( { uri( "http://b" ) } ) } ),
                   point( { fullName( { uri( "http://c" ) } ), element( 0x81, std::string( "\x01\x06", 2 ) ) } ) } ) ),
        ( Read{ { { "http://a/1", "http://a/2" }, { "/CN=One", "/CN=Two" } }, { { "http://b" }, none }, { { "http://c" }, none } } ) );
}

TEST( CryX509CrlDistribution, OtherNamesAreIgnored )
{
    EXPECT_EQ( read( distributions( Texts{ point( { fullName( { dns( "a.example" ), directory( "name" ), uri( "http://a" ), dns( "b.example" ) } ),
                   crlIssuer( { dns( "c.example" ), uri( "http://c" ) } ) } ) } ) ),
        ( Read{ { { "http://a" }, none } } ) );
}

TEST( CryX509CrlDistribution, PointsWithoutAUriAreNotThere )
{
    const std::string without[] = {
        point( { relativeName( "relative" ) } ),
        point( { relativeName( "relative" ), crlIssuer( { directory( "One" ) } ) } ),
        point( { crlIssuer( { directory( "One" ) } ) } ),
        point( { fullName( { dns( "a.example" ) } ), crlIssuer( { directory( "One" ) } ) } ),
        point( {} ),
    };
    Texts all;
    for( const std::string &each : without )
    {
        EXPECT_FALSE( distributions( Texts{ each } ) ) << hex( each );
        all.push_back( each );
    }
    EXPECT_FALSE( distributions( all ) );
    all.insert( all.begin() + 2, point( { fullName( { uri( "http://a" ) } ) } ) );
    EXPECT_EQ( read( distributions( all ) ), ( Read{ { { "http://a" }, none } } ) );
}

TEST( CryX509CrlDistribution, UrisAreUtf8AndOthersAreLeftOut )
{
    std::string zero( "http://a\0b", 10 );
    EXPECT_EQ( read( distributions( Texts{ point( { fullName( { uri( "http://\xC3\xA4" ), uri( "" ), uri( zero ), uri( "http://\xE4" ) } ) } ) } ) ),
        ( Read{ { { "http://\xC3\xA4", "", zero }, none } } ) );
    EXPECT_FALSE( distributions( Texts{ point( { fullName( { uri( "http://\xE4" ) } ), crlIssuer( { directory( "One" ) } ) } ) } ) );
}

TEST( CryX509CrlDistribution, IssuersHaveTheOneLineFormOfOpenssl )
{
    EXPECT_EQ( read( distributions( Texts{ point( { fullName( { uri( "http://a" ) } ), crlIssuer( { directory( "M\xC3\xBCller" ) } ) } ) } ) ),
        ( Read{ { { "http://a" }, { "/CN=M\\xC3\\xBCller" } } } ) );
}

TEST( CryX509CrlDistribution, ThereAreNoneWithoutAnExtensionThatDecodes )
{
    const std::vector<std::pair<std::string, std::string>> without[] = {
        {},
        { { "basicConstraints", "CA:FALSE" } },
        { { "2.5.29.31", "DER:30:00" } },
        { { "2.5.29.31", "DER:04:01:00" } },
        { { "2.5.29.31", "DER:30:7F:00" } },
        { { "crlDistributionPoints", "URI:http://a" }, { "crlDistributionPoints", "URI:http://b" } },
    };
    for( const auto &extensions : without )
    {
        pb::Ref<CRY_X509_CERTIFICATE> cert = certificateWith( extensions );
        takeErrors();
        raiseError();
        EXPECT_FALSE( distributions( cert ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << "OpenSSL's errors are taken back, older ones stay";
    }
}
