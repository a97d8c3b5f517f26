#include <bn/bn_int.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_info.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <bit>
#include <gtest/gtest.h>
#include <random>

using namespace support;

namespace
{

using Info  = pb::Ref<CRY_X509_INFO>;
using Store = pb::Ref<PB_STORE>;

pb::Ref<BN_INT> number( const char *decimal ) { return pb::adopt( bnIntTryCreateFromDecimalString( str( decimal ).get() ) ); }

pb::Ref<CRY_X509_BASIC_CONSTRAINTS> constraints( PB_INT pathlen )
{
    pb::Ref<CRY_X509_BASIC_CONSTRAINTS> bc = pb::adopt( cryX509BasicConstraintsCreate() );
    cryX509BasicConstraintsSetCA( bc.handle(), PB_TRUE );
    cryX509BasicConstraintsSetPathlen( bc.handle(), pathlen );
    return bc;
}

pb::Ref<CRY_X509_SANS> names( const char *host )
{
    pb::Ref<CRY_X509_SANS> sans = pb::adopt( cryX509SansCreate() );
    pb::Ref<CRY_X509_SAN>  san  = pb::adopt( cryX509SanTryCreateFromHost( str( host ).get() ) );
    EXPECT_TRUE( san ) << host;
    if( san )
        cryX509SansSet( sans.handle(), san.get() );
    return sans;
}

// The entries of a store, for example "{ca: true, pathlen: 3}".
std::string described( PB_STORE *store )
{
    std::string out;
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
    {
        PB_INT             number;
        PB_BOOL            flag;
        pb::Ref<PB_STRING> key = pb::adopt( pbStoreKeyAt( store, index ) ), value = pb::adopt( pbStoreValueAt( store, index ) );
        pb::Ref<PB_STORE>  part = pb::adopt( pbStoreStoreAt( store, index ) );
        out += ( index ? ", " : "" ) + ( key ? text( key ) + ": " : "" );
        if( value )
            out += text( value );
        else if( part )
            out += described( part.get() );
        else if( pbStoreIntValueAt( store, index, &number ) )
            out += std::to_string( number );
        else if( pbStoreBoolValueAt( store, index, &flag ) )
            out += flag ? "true" : "false";
    }
    return "{" + out + "}";
}

// One field: its functions, and a value for it.
struct Field
{
    const char *key;
    PB_BOOL ( *has )( CRY_X509_INFO * );
    void ( *set )( CRY_X509_INFO ** );
    void ( *del )( CRY_X509_INFO ** );
    // The value that the getter gives, as text.
    std::string ( *value )( CRY_X509_INFO * );
    const char *wanted;
};

template<auto Getter>
std::string textOf( CRY_X509_INFO *info )
{
    return text( pb::adopt( pbObjToString( pb::adopt( Getter( info ) ).obj() ) ) );
}
template<auto Getter, auto ToStore>
std::string storeOf( CRY_X509_INFO *info )
{
    return described( pb::adopt( ToStore( pb::adopt( Getter( info ) ).get() ) ).get() );
}
template<auto Getter>
std::string flagsOf( CRY_X509_INFO *info )
{
    return std::to_string( Getter( info ) );
}

// In the order of the store.
const Field fields[] = {
    { "subject", cryX509InfoHasSubject, []( CRY_X509_INFO **info ) { cryX509InfoSetSubject( info, str( "CN=host" ).get() ); }, cryX509InfoDelSubject,
        textOf<cryX509InfoSubject>, "CN=host" },
    { "issuer", cryX509InfoHasIssuer, []( CRY_X509_INFO **info ) { cryX509InfoSetIssuer( info, str( "" ).get() ); }, cryX509InfoDelIssuer,
        textOf<cryX509InfoIssuer>, "" },
    { "serialNumber", cryX509InfoHasSerialNumber,
        []( CRY_X509_INFO **info ) { cryX509InfoSetSerialNumber( info, number( "-36893488147419103232" ).get() ); }, cryX509InfoDelSerialNumber,
        textOf<cryX509InfoSerialNumber>, "-36893488147419103232" },
    { "validFrom", cryX509InfoHasValidFrom,
        []( CRY_X509_INFO **info ) { cryX509InfoSetValidFrom( info, support::time( "2025-01-02T03:04:05Z" ).get() ); }, cryX509InfoDelValidFrom,
        textOf<cryX509InfoValidFrom>, "2025-01-02T03:04:05Z" },
    { "validUntil", cryX509InfoHasValidUntil,
        []( CRY_X509_INFO **info ) { cryX509InfoSetValidUntil( info, support::time( "9999-12-31T23:59:59Z" ).get() ); }, cryX509InfoDelValidUntil,
        textOf<cryX509InfoValidUntil>, "9999-12-31T23:59:59Z" },
    { "basicConstraints", cryX509InfoHasBasicConstraints,
        []( CRY_X509_INFO **info ) { cryX509InfoSetBasicConstraints( info, constraints( 3 ).get() ); }, cryX509InfoDelBasicConstraints,
        storeOf<cryX509InfoBasicConstraints, cryX509BasicConstraintsStore>, "{ca: true, pathlen: 3}" },
    { "keyUsage", cryX509InfoHasKeyUsage, []( CRY_X509_INFO **info ) { cryX509InfoSetKeyUsage( info, 0x105 ); }, cryX509InfoDelKeyUsage,
        flagsOf<cryX509InfoKeyUsage>, "261" },
    { "extendedKeyUsage", cryX509InfoHasExtendedKeyUsage, []( CRY_X509_INFO **info ) { cryX509InfoSetExtendedKeyUsage( info, 0 ); },
        cryX509InfoDelExtendedKeyUsage, flagsOf<cryX509InfoExtendedKeyUsage>, "0" },
    { "sans", cryX509InfoHasSans, []( CRY_X509_INFO **info ) { cryX509InfoSetSans( info, names( "a.example" ).get() ); }, cryX509InfoDelSans,
        storeOf<cryX509InfoSans, cryX509SansStore>, "{{type: CRY_X509_SAN_TYPE_DNS_NAME, dnsName: a.example}}" },
    { "netscapeCertType", cryX509InfoHasNetscapeCertType, []( CRY_X509_INFO **info ) { cryX509InfoSetNetscapeCertType( info, 0x41 ); },
        cryX509InfoDelNetscapeCertType, flagsOf<cryX509InfoNetscapeCertType>, "65" },
};
constexpr size_t sans = 8, netscapeCertType = 9;

// Field number n is present if bit n is set.
Info infoWith( unsigned present )
{
    Info info = pb::adopt( cryX509InfoCreate() );
    for( size_t index = 0; index < std::size( fields ); index++ )
    {
        if( present >> index & 1 )
            fields[index].set( info.handle() );
    }
    return info;
}
constexpr unsigned all = ( 1u << std::size( fields ) ) - 1;

// The fields that are present, each of which must have its value.
unsigned presentIn( CRY_X509_INFO *info )
{
    unsigned present = 0;
    for( size_t index = 0; index < std::size( fields ); index++ )
    {
        if( !fields[index].has( info ) )
            continue;
        present |= 1u << index;
        EXPECT_EQ( fields[index].value( info ), fields[index].wanted ) << fields[index].key;
    }
    return present;
}
unsigned presentIn( const Info &info ) { return presentIn( info.get() ); }

Store stored( const Info &info ) { return pb::adopt( cryX509InfoStore( info.get() ) ); }
Info  restored( const Store &store ) { return pb::adopt( cryX509InfoRestore( store.get() ) ); }

std::vector<std::string> keysOf( const Store &store )
{
    std::vector<std::string> keys;
    for( PB_INT index = 0; index < pbStoreLength( store.get() ); index++ )
        keys.push_back( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ) );
    return keys;
}

std::string valueIn( const Store &store, const char *key ) { return text( pb::adopt( pbStoreValueCstr( store.get(), key, -1 ) ) ); }

using Extensions = std::vector<std::pair<std::string, std::string>>;

Cert certificateWith( const Extensions &extensions )
{
    return makeCertificate( { .subject = "C=DE/O=Example/CN=host", .subjectKey = key( KeyKind::p256 ), .extensions = extensions } );
}

// The call must leave the error queue as it is.
Info infoOf( const X509 *x509 )
{
    takeErrors();
    raiseError();
    Info info = pb::adopt( cry___X509InfoCreateFromOpensslX509( x509 ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    return info;
}
Info infoOf( const Cert &cert ) { return infoOf( cert.get() ); }
Info infoOf( const Extensions &extensions ) { return infoOf( certificateWith( extensions ) ); }

std::string replaced( std::string text, std::string_view from, std::string_view to )
{
    size_t at = text.find( from );
    EXPECT_NE( at, text.npos ) << from;
    return at == text.npos ? text : text.replace( at, from.size(), to );
}

}

TEST( CryX509Info, HasNoFieldAtFirst )
{
    Info info = pb::adopt( cryX509InfoCreate() );
    EXPECT_EQ( presentIn( info ), 0u );
    EXPECT_EQ( cryX509InfoSubject( info.get() ), nullptr );
    EXPECT_EQ( cryX509InfoIssuer( info.get() ), nullptr );
    EXPECT_EQ( cryX509InfoSerialNumber( info.get() ), nullptr );
    EXPECT_EQ( cryX509InfoValidFrom( info.get() ), nullptr );
    EXPECT_EQ( cryX509InfoValidUntil( info.get() ), nullptr );
    EXPECT_EQ( cryX509InfoBasicConstraints( info.get() ), nullptr );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), 0 );
    EXPECT_EQ( cryX509InfoExtendedKeyUsage( info.get() ), 0 );
    EXPECT_EQ( cryX509InfoNetscapeCertType( info.get() ), 0 );
    EXPECT_EQ( cryX509InfoSans( info.get() ), nullptr );
    EXPECT_EQ( pbStoreLength( stored( info ).get() ), 0 );
}

TEST( CryX509Info, EachFieldIsSetAndDeletedAlone )
{
    for( size_t index = 0; index < std::size( fields ); index++ )
    {
        SCOPED_TRACE( fields[index].key );
        Info info = infoWith( 1u << index );
        EXPECT_EQ( presentIn( info ), 1u << index );
        fields[index].del( info.handle() );
        EXPECT_EQ( presentIn( info ), 0u );
        info = infoWith( all );
        EXPECT_EQ( presentIn( info ), all );
        fields[index].del( info.handle() );
        EXPECT_EQ( presentIn( info ), all & ~( 1u << index ) );
        fields[index].set( info.handle() );
        EXPECT_EQ( presentIn( info ), all );
    }
}

TEST( CryX509Info, DeletedFlagsAreNone )
{
    Info info = infoWith( all );
    cryX509InfoDelKeyUsage( info.handle() );
    cryX509InfoDelNetscapeCertType( info.handle() );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), 0 );
    EXPECT_EQ( cryX509InfoNetscapeCertType( info.get() ), 0 );
}

TEST( CryX509Info, SettersDropUndefinedFlags )
{
    Info info = pb::adopt( cryX509InfoCreate() );
    cryX509InfoSetKeyUsage( info.handle(), -1 );
    cryX509InfoSetExtendedKeyUsage( info.handle(), -1 );
    cryX509InfoSetNetscapeCertType( info.handle(), -1 );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), 0x1FF );
    EXPECT_EQ( cryX509InfoExtendedKeyUsage( info.get() ), 0x3FF );
    EXPECT_EQ( cryX509InfoNetscapeCertType( info.get() ), 0x7F );
    cryX509InfoSetKeyUsage( info.handle(), 0x200 );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), 0 );
    EXPECT_TRUE( cryX509InfoHasKeyUsage( info.get() ) );
}

TEST( CryX509Info, EditsCopyAnObjectThatOthersHold )
{
    for( size_t index = 0; index < std::size( fields ); index++ )
    {
        SCOPED_TRACE( fields[index].key );
        unsigned only = 1u << index;
        Info     mine = infoWith( all & ~only ), theirs = mine;
        fields[index].set( mine.handle() );
        EXPECT_EQ( presentIn( mine ), all );
        EXPECT_EQ( presentIn( theirs ), all & ~only );
        EXPECT_FALSE( pbObjIsShared( mine.obj() ) );
        EXPECT_FALSE( pbObjIsShared( theirs.obj() ) );
        theirs = mine;
        fields[index].del( mine.handle() );
        EXPECT_EQ( presentIn( mine ), all & ~only );
        EXPECT_EQ( presentIn( theirs ), all );
        CRY_X509_INFO *before = mine.get();
        fields[index].set( mine.handle() );
        fields[index].del( mine.handle() );
        EXPECT_EQ( mine.get(), before );
    }
}

TEST( CryX509Info, ACopySharesTheValues )
{
    Info source = infoWith( all ), copy = pb::adopt( cryX509InfoCreateFrom( source.get() ) );
    EXPECT_NE( copy.get(), source.get() );
    EXPECT_EQ( presentIn( copy ), all );
    EXPECT_EQ( pb::adopt( cryX509InfoSubject( copy.get() ) ).get(), pb::adopt( cryX509InfoSubject( source.get() ) ).get() );
    EXPECT_EQ( pb::adopt( cryX509InfoSans( copy.get() ) ).get(), pb::adopt( cryX509InfoSans( source.get() ) ).get() );
    EXPECT_FALSE( cryX509InfoEquals( copy.get(), source.get() ) );
}

TEST( CryX509Info, EveryTextMayBeAName )
{
    for( const char *name : { "", "CN=a", "no name at all" } )
        EXPECT_EQ( cryX509ValidateX509Name( str( name ).get() ), PB_TRUE );
}

TEST( CryX509InfoStore, HasTheKeysInOrder )
{
    std::vector<std::string> keys;
    for( const Field &field : fields )
        keys.push_back( field.key );
    Store store = stored( infoWith( all ) );
    EXPECT_EQ( keysOf( store ), keys );
    EXPECT_EQ( valueIn( store, "subject" ), "CN=host" );
    EXPECT_EQ( valueIn( store, "issuer" ), "" );
    EXPECT_EQ( valueIn( store, "serialNumber" ), "-36893488147419103232" );
    EXPECT_EQ( valueIn( store, "validFrom" ), "2025-01-02T03:04:05Z" );
    EXPECT_EQ( valueIn( store, "validUntil" ), "9999-12-31T23:59:59Z" );
    EXPECT_EQ(
        valueIn( store, "keyUsage" ), "CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE|CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT|CRY_X509_KEY_USAGE_DECIPHER_ONLY" );
    EXPECT_EQ( valueIn( store, "extendedKeyUsage" ), "" );
    EXPECT_EQ( valueIn( store, "netscapeCertType" ), "CRY_X509_NETSCAPE_CERT_TYPE_SSL_CLIENT|CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA" );
    EXPECT_EQ( described( pb::adopt( pbStoreStoreCstr( store.get(), "basicConstraints", -1 ) ).get() ), fields[5].wanted );
    EXPECT_EQ( described( pb::adopt( pbStoreStoreCstr( store.get(), "sans", -1 ) ).get() ), fields[sans].wanted );
}

TEST( CryX509InfoStore, EachFieldComesBackAloneButTheCoupledOnes )
{
    for( size_t index = 0; index < sans; index++ )
    {
        Store store = stored( infoWith( 1u << index ) );
        EXPECT_EQ( keysOf( store ), std::vector<std::string>{ fields[index].key } );
        EXPECT_EQ( presentIn( restored( store ) ), 1u << index );
    }
}

TEST( CryX509InfoStore, SomeFieldsComeBack )
{
    std::mt19937 random( 7 );
    for( int round = 0; round < 200; round++ )
    {
        unsigned present = random() & all;
        // With the one and without the other it aborts.
        if( present >> netscapeCertType & 1 )
            present |= 1u << sans;
        Store store = stored( infoWith( present ) );
        EXPECT_EQ( pbStoreLength( store.get() ), std::popcount( present ) );
        unsigned wanted = present >> netscapeCertType & 1 ? present : present & ~( 1u << sans );
        EXPECT_EQ( presentIn( restored( store ) ), wanted );
    }
}

TEST( CryX509InfoStore, AlternativeNamesComeBackWithANetscapeCertificateTypeOnly )
{
    Store store = stored( infoWith( 1u << sans ) );
    EXPECT_EQ( presentIn( restored( store ) ), 0u );
    // A text is enough. That nothing in it is known does not matter.
    pbStoreSetValueCstr( store.handle(), "netscapeCertType", -1, str( "" ).get() );
    Info info = restored( store );
    EXPECT_TRUE( cryX509InfoHasSans( info.get() ) );
    EXPECT_TRUE( cryX509InfoHasNetscapeCertType( info.get() ) );
    EXPECT_EQ( cryX509InfoNetscapeCertType( info.get() ), 0 );
    // An entry that is no text is not there.
    pbStoreSetIntValueCstr( store.handle(), "netscapeCertType", -1, 1 );
    EXPECT_EQ( presentIn( restored( store ) ), 0u );
}

TEST( CryX509InfoStore, EntriesThatDoNotReadLeaveTheFieldAbsent )
{
    for( const char *key : { "serialNumber", "validFrom", "validUntil" } )
    {
        for( const char *value : { "", " 1", "0x1", "1 ", "1.0", "--1", "2025-13-01T00:00:00Z", "2025-01-01", "2025-01-01T00:00:00+01:00" } )
        {
            Store store = stored( infoWith( 1u ) );
            pbStoreSetValueCstr( store.handle(), key, -1, str( value ).get() );
            EXPECT_EQ( presentIn( restored( store ) ), 1u ) << key << " " << value;
        }
    }
    for( size_t index = 0; index < std::size( fields ); index++ )
    {
        Store store = stored( infoWith( 2u ) );
        pbStoreSetBoolValueCstr( store.handle(), fields[index].key, -1, PB_TRUE );
        EXPECT_EQ( presentIn( restored( store ) ), index == 1 ? 0u : 2u ) << fields[index].key;
    }
    EXPECT_EQ( presentIn( restored( pb::adopt( pbStoreCreateArray() ) ) ), 0u );
}

TEST( CryX509InfoStore, UnknownFlagsAreSkippedAndTheFieldIsPresent )
{
    Store store = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( store.handle(), "keyUsage", -1, str( "CRY_X509_KEY_USAGE_CRL_SIGN|OTHER" ).get() );
    pbStoreSetValueCstr( store.handle(), "extendedKeyUsage", -1, str( "other" ).get() );
    Info info = restored( store );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), CRY_X509_KEY_USAGE_CRL_SIGN );
    EXPECT_TRUE( cryX509InfoHasExtendedKeyUsage( info.get() ) );
    EXPECT_EQ( cryX509InfoExtendedKeyUsage( info.get() ), 0 );
    EXPECT_FALSE( cryX509InfoHasNetscapeCertType( info.get() ) );
}

TEST( CryX509InfoOfCertificate, HasNamesSerialNumberAndValidity )
{
    Cert  cert  = makeCertificate( { .subject = "C=DE/O=Example/CN=host",
          .subjectKey                         = key( KeyKind::p256 ),
          .issuer                             = chainOf( KeyKind::p256 ).root,
          .issuerKey                          = key( KeyKind::p256 ),
          .notBefore                          = "20250102030405Z",
          .notAfter                           = "20500101000000Z",
          .serial                             = "1461501637330902918203684832716283019655932542975" } );
    Store store = stored( infoOf( cert ) );
    EXPECT_EQ( keysOf( store ), ( std::vector<std::string>{ "subject", "issuer", "serialNumber", "validFrom", "validUntil" } ) );
    EXPECT_EQ( valueIn( store, "subject" ), "CN=host, O=Example, C=DE" );
    EXPECT_EQ( valueIn( store, "issuer" ), "CN=Root P-256, O=Example" );
    EXPECT_EQ( valueIn( store, "serialNumber" ), "1461501637330902918203684832716283019655932542975" );
    EXPECT_EQ( valueIn( store, "validFrom" ), "2025-01-02T03:04:05Z" );
    EXPECT_EQ( valueIn( store, "validUntil" ), "2050-01-01T00:00:00Z" );
    EXPECT_TRUE( pbStoreEquals( stored( restored( store ) ).get(), store.get() ) );
}

TEST( CryX509InfoOfCertificate, KeepsTheSignOfTheSerialNumber )
{
    for( const char *serial : { "0", "-1", "-128", "-36893488147419103232", "18446744073709551616" } )
    {
        Cert cert = makeCertificate( { .subject = "", .subjectKey = key( KeyKind::p256 ), .serial = serial, .version = 1 } );
        ASSERT_TRUE( cert ) << serial;
        Store store = stored( infoOf( cert ) );
        EXPECT_EQ( valueIn( store, "serialNumber" ), serial );
        EXPECT_EQ( valueIn( store, "subject" ), "" );
        EXPECT_EQ( valueIn( stored( restored( store ) ), "serialNumber" ), serial );
    }
}

TEST( CryX509InfoOfCertificate, HasEachExtension )
{
    Info info = infoOf( { { "basicConstraints", "critical,CA:TRUE,pathlen:5" }, { "keyUsage", "critical,keyCertSign,cRLSign" },
        { "extendedKeyUsage", "clientAuth,1.2.3.4,serverAuth" }, { "nsCertType", "server,objCA" },
        { "subjectAltName", "DNS:a.example,IP:10.0.0.1" } } );
    pb::Ref<CRY_X509_BASIC_CONSTRAINTS> bc = pb::adopt( cryX509InfoBasicConstraints( info.get() ) );
    ASSERT_TRUE( bc );
    EXPECT_TRUE( cryX509BasicConstraintsCA( bc.get() ) );
    EXPECT_EQ( cryX509BasicConstraintsPathlen( bc.get() ), 5 );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), CRY_X509_KEY_USAGE_KEY_CERT_SIGN | CRY_X509_KEY_USAGE_CRL_SIGN );
    EXPECT_EQ( cryX509InfoExtendedKeyUsage( info.get() ), CRY_X509_EXTENDED_KEY_USAGE_SSL_CLIENT | CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER );
    EXPECT_EQ( cryX509InfoNetscapeCertType( info.get() ), CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER | CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA );
    pb::Ref<CRY_X509_SANS> sans = pb::adopt( cryX509InfoSans( info.get() ) );
    ASSERT_TRUE( sans );
    EXPECT_EQ( cryX509SansLength( sans.get() ), 2 );
    EXPECT_EQ( pbStoreLength( stored( info ).get() ), 10 );
    EXPECT_TRUE( pbStoreEquals( stored( restored( stored( info ) ) ).get(), stored( info ).get() ) );
}

TEST( CryX509InfoOfCertificate, HasOnlyTheExtensionsOfTheCertificate )
{
    const Extensions each = { { "basicConstraints", "CA:FALSE" }, { "keyUsage", "decipherOnly" }, { "extendedKeyUsage", "OCSPSigning" },
        { "subjectAltName", "DNS:a.example" }, { "nsCertType", "email" } };
    for( size_t index = 0; index < each.size(); index++ )
    {
        Info     info  = infoOf( { { "subjectKeyIdentifier", "hash" }, each[index] } );
        unsigned found = 0;
        for( size_t field = 5; field < std::size( fields ); field++ )
            found |= fields[field].has( info.get() ) ? 1u << ( field - 5 ) : 0;
        EXPECT_EQ( found, 1u << index ) << each[index].first;
    }
}

TEST( CryX509InfoOfCertificate, AnExtensionWithoutKnownFlagsIsPresent )
{
    Info info = infoOf( { { "keyUsage", "DER:03020700" }, { "extendedKeyUsage", "1.2.3.4,ipsecTunnel" }, { "nsCertType", "DER:03020308" } } );
    EXPECT_TRUE( cryX509InfoHasKeyUsage( info.get() ) );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), 0 );
    EXPECT_TRUE( cryX509InfoHasExtendedKeyUsage( info.get() ) );
    EXPECT_EQ( cryX509InfoExtendedKeyUsage( info.get() ), 0 );
    EXPECT_TRUE( cryX509InfoHasNetscapeCertType( info.get() ) );
    EXPECT_EQ( cryX509InfoNetscapeCertType( info.get() ), 0 );
    // Bits above 8.
    info = infoOf( { { "keyUsage", "DER:030401FFFFFE" } } );
    EXPECT_EQ( cryX509InfoKeyUsage( info.get() ), 0x1FF );
}

TEST( CryX509InfoOfCertificate, BrokenExtensionsAreAbsent )
{
    for( const char *name : { "basicConstraints", "keyUsage", "extendedKeyUsage", "subjectAltName", "nsCertType" } )
    {
        for( const char *value : { "DER:0500", "DER:3003", "DER:00", "DER:0303", "DER:02010100" } )
        {
            SCOPED_TRACE( std::string( name ) + " " + value );
            EXPECT_EQ( pbStoreLength( stored( infoOf( { { name, value } } ) ).get() ), 5 );
        }
    }
}

TEST( CryX509InfoOfCertificate, ExtensionsThatAreThereTwiceAreAbsent )
{
    for( auto [name, value] : { std::pair( "basicConstraints", "CA:TRUE" ), std::pair( "keyUsage", "cRLSign" ),
             std::pair( "extendedKeyUsage", "serverAuth" ), std::pair( "subjectAltName", "DNS:a.example" ), std::pair( "nsCertType", "server" ) } )
    {
        EXPECT_EQ( pbStoreLength( stored( infoOf( { { name, value } } ) ).get() ), 6 ) << name;
        EXPECT_EQ( pbStoreLength( stored( infoOf( { { name, value }, { name, value } } ) ).get() ), 5 ) << name;
    }
}

TEST( CryX509InfoOfCertificate, PathLengthsThatAreNegativeOrTooLargeAreAbsent )
{
    for( const char *value : { "DER:30060101FF0201FF", "DER:300E0101FF0209008000000000000000" } )
    {
        Info                                info = infoOf( { { "basicConstraints", value } } );
        pb::Ref<CRY_X509_BASIC_CONSTRAINTS> bc   = pb::adopt( cryX509InfoBasicConstraints( info.get() ) );
        ASSERT_TRUE( bc ) << value;
        EXPECT_TRUE( cryX509BasicConstraintsCA( bc.get() ) );
        EXPECT_FALSE( cryX509BasicConstraintsHasPathlen( bc.get() ) );
    }
}

TEST( CryX509InfoOfCertificate, TimesThatDoNotDecodeAreAbsent )
{
    std::string plain = der( makeCertificate( { .subject = "CN=a", .subjectKey = key( KeyKind::p256 ), .notAfter = "20500101000000Z" } ) );
    Info        info  = infoOf( parseDer( replaced( plain, "200101000000Z", "201301000000Z" ) ) );
    EXPECT_FALSE( cryX509InfoHasValidFrom( info.get() ) );
    EXPECT_TRUE( cryX509InfoHasValidUntil( info.get() ) );
    info = infoOf( parseDer( replaced( plain, "20500101000000Z", "2050010100+0100" ) ) );
    EXPECT_TRUE( cryX509InfoHasValidFrom( info.get() ) );
    EXPECT_FALSE( cryX509InfoHasValidUntil( info.get() ) );
}

namespace
{

// OpenSSL parses no certificate with such a name.
void spoil( X509_NAME *name )
{
    ASSERT_EQ( X509_NAME_add_entry_by_txt( name, "CN", V_ASN1_UTF8STRING, (const unsigned char *)"a\xFF", 2, -1, 0 ), 1 );
}

}

TEST( CryX509InfoOfCertificate, NamesThatDoNotDecodeAreAbsent )
{
    Cert cert = certificateWith( {} );
    spoil( X509_get_subject_name( cert.get() ) );
    Info info = infoOf( cert );
    EXPECT_FALSE( cryX509InfoHasSubject( info.get() ) );
    EXPECT_TRUE( cryX509InfoHasIssuer( info.get() ) );
    cert = certificateWith( {} );
    spoil( X509_get_issuer_name( cert.get() ) );
    info = infoOf( cert );
    EXPECT_TRUE( cryX509InfoHasSubject( info.get() ) );
    EXPECT_FALSE( cryX509InfoHasIssuer( info.get() ) );
}

TEST( CryX509InfoOfCertificate, IsThatOfTheOpensslCertificate )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        for( const Cert &cert : { chainOf( kind ).root, chainOf( kind ).intermediate, chainOf( kind ).leaf } )
        {
            Info info = pb::adopt( cryX509CertificateInfo( certificate( cert ).get() ) );
            EXPECT_TRUE( pbStoreEquals( stored( info ).get(), stored( infoOf( cert ) ).get() ) );
            EXPECT_GT( pbStoreLength( stored( info ).get() ), 6 );
        }
    }
}

TEST( CryX509CertificatesSubjects, AreInTheOrderOfTheCertificates )
{
    pb::Ref<CRY_X509_CERTIFICATE> leaf = certificate( chainOf( KeyKind::p256 ).leaf ), root = certificate( chainOf( KeyKind::p256 ).root );
    pb::Ref<CRY_X509_CERTIFICATE> nameless = certificate( makeCertificate( { .subject = "", .subjectKey = key( KeyKind::p256 ) } ) );
    pb::Ref<CRY_X509_CERTIFICATE> spoiled  = certificate( certificateWith( {} ) );
    spoil( X509_get_subject_name( cry___X509CertificatePeekOpensslX509( spoiled.get() ) ) );
    takeErrors();
    raiseError();
    Store store = pb::adopt( cry___X509CertificatesStoreSubjects( certificates( { leaf, spoiled, root, nameless, leaf } ).get() ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    EXPECT_TRUE( pbStoreIsArray( store.get() ) );
    ASSERT_EQ( pbStoreLength( store.get() ), 5 );
    std::string subject = textOf<cryX509InfoSubject>( pb::adopt( cryX509CertificateInfo( leaf.get() ) ).get() );
    for( PB_INT index : { 0, 4 } )
        EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), index ) ) ), subject );
    EXPECT_TRUE( pbStoreIsNullAt( store.get(), 1 ) );
    EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), 2 ) ) ), "CN=Root P-256, O=Example" );
    EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), 3 ) ) ), "" );
}
