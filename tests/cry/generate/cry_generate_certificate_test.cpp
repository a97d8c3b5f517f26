#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "cry/generate/generated.hpp"

#include <atomic>
#include <chrono>
#include <ctime>
#include <mutex>
#include <set>
#include <thread>

using namespace support;

namespace
{

constexpr time_t secondsPerDay = 86400;
// 9999-12-31T23:59:59Z
constexpr time_t lastSecond = 253402300799;

Certificate generated( const PrivateKey &priv, const Name &domain, const Name &common, PB_INT days = 365 )
{
    return pb::adopt( cryTryGenerateCertificate( priv.get(), str( domain ).get(), str( common ).get(), days ) );
}

Certificate withUsage( const PrivateKey &priv, const Name &domain, const Name &common, PB_INT days, bool clientAuth, bool serverAuth )
{
    return pb::adopt( cry___TryGenerateCertificate( priv.get(), str( domain ).get(), str( common ).get(), days, clientAuth, serverAuth ) );
}

X509 *opensslOf( const Certificate &cert ) { return cry___X509CertificatePeekOpensslX509( cert.get() ); }

// The same certificate, read again from its DER.
Certificate again( const Certificate &cert ) { return pb::adopt( cryX509CertificateTryCreateFromDer( buf( der( cert.get() ) ).get() ) ); }

std::string subjectOf( const Certificate &cert ) { return commonNameOf( X509_get_subject_name( opensslOf( cert ) ) ); }
std::string alternativeNamesOf( const Certificate &cert ) { return support::alternativeNamesOf( X509_get0_extensions( opensslOf( cert ) ) ); }

time_t seconds( const ASN1_TIME *time )
{
    std::tm fields;
    EXPECT_EQ( ASN1_TIME_to_tm( time, &fields ), 1 );
    return timegm( &fields );
}
time_t notBefore( const Certificate &cert ) { return seconds( X509_get0_notBefore( opensslOf( cert ) ) ); }
time_t notAfter( const Certificate &cert ) { return seconds( X509_get0_notAfter( opensslOf( cert ) ) ); }

// The length of the chain of a certificate that is itself the only trusted certificate.
size_t chainLength( const Certificate &cert, time_t at )
{
    pb::Ref<PB_TIME>               tm    = pb::adopt( pbTimeTryCreateFromTimeT( at ) );
    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt(
        cry___X509CertificateChainTryVerifyCertificate( cert.get(), nullptr, certificates( { cert } ).get(), tm.get() ) );
    ERR_clear_error();
    if( !chain )
        return 0;
    EXPECT_TRUE( cryX509CertificateEquals( members( chain.get() ).at( 0 ).get(), cert.get() ) );
    return members( chain.get() ).size();
}

// Checks that hold for every generated certificate.
void expectSound( const Certificate &cert, const PrivateKey &priv, const std::string &name )
{
    for( const Certificate &each : { cert, again( cert ) } )
    {
        ASSERT_TRUE( each ) << name;
        X509 *x509 = opensslOf( each );
        EXPECT_EQ( X509_get_version( x509 ), X509_VERSION_3 ) << name;
        EXPECT_EQ( ASN1_INTEGER_get( X509_get0_serialNumber( x509 ) ), 1 ) << name;
        EXPECT_EQ( X509_NAME_cmp( X509_get_subject_name( x509 ), X509_get_issuer_name( x509 ) ), 0 ) << name;
        int digest = NID_undef;
        EXPECT_EQ( X509_get_signature_info( x509, &digest, nullptr, nullptr, nullptr ), 1 ) << name;
        EXPECT_EQ( digest, NID_sha256 ) << name;
        EXPECT_EQ( X509_verify( x509, X509_get0_pubkey( x509 ) ), 1 ) << name;
        EXPECT_EQ( X509_self_signed( x509, 1 ), 1 ) << name;
        EXPECT_TRUE( cryX509CertificateCheckPrivateKey( each.get(), priv.get() ) ) << name;
        EXPECT_EQ( chainLength( each, notBefore( each ) ), 1u ) << name;
        EXPECT_EQ( chainLength( each, notBefore( each ) - 1 ), 0u ) << name;
        EXPECT_EQ( chainLength( each, notAfter( each ) - 1 ), 1u ) << name;
        EXPECT_EQ( chainLength( each, notAfter( each ) + 1 ), 0u ) << name;
    }
    EXPECT_TRUE( cryX509CertificateEquals( cert.get(), again( cert ).get() ) ) << name;
    ERR_clear_error();
}

// The same certificate made with plain OpenSSL. The extensions are made from values. The times are
// taken from `like`.
std::string byOpenssl(
    const Certificate &like, const Pkey &pkey, const std::string &commonName, const Name &alternative, bool clientAuth, bool serverAuth )
{
    Cert cert( X509_new(), X509_free );
    EXPECT_EQ( X509_set_version( cert.get(), X509_VERSION_3 ), 1 );
    EXPECT_EQ( ASN1_INTEGER_set( X509_get_serialNumber( cert.get() ), 1 ), 1 );
    X509_NAME *name = X509_get_subject_name( cert.get() );
    EXPECT_EQ( X509_NAME_add_entry_by_NID(
                   name, NID_commonName, V_ASN1_UTF8STRING, (const unsigned char *)commonName.data(), (int)commonName.size(), -1, 0 ),
        1 );
    EXPECT_EQ( X509_set_issuer_name( cert.get(), name ), 1 );
    EXPECT_NE( ASN1_TIME_adj( X509_getm_notBefore( cert.get() ), notBefore( like ), 0, 0 ), nullptr );
    EXPECT_NE( ASN1_TIME_adj( X509_getm_notAfter( cert.get() ), notAfter( like ), 0, 0 ), nullptr );
    EXPECT_EQ( X509_set_pubkey( cert.get(), pkey.get() ), 1 );
    if( alternative )
    {
        GENERAL_NAMES  *names = sk_GENERAL_NAME_new_null();
        GENERAL_NAME   *dns   = GENERAL_NAME_new();
        ASN1_IA5STRING *value = ASN1_IA5STRING_new();
        ASN1_STRING_set( value, alternative->data(), (int)alternative->size() );
        GENERAL_NAME_set0_value( dns, GEN_DNS, value );
        sk_GENERAL_NAME_push( names, dns );
        EXPECT_EQ( X509_add1_ext_i2d( cert.get(), NID_subject_alt_name, names, 0, 0 ), 1 );
        GENERAL_NAMES_free( names );
    }
    if( clientAuth || serverAuth )
    {
        EXTENDED_KEY_USAGE *usage = sk_ASN1_OBJECT_new_null();
        if( clientAuth )
            sk_ASN1_OBJECT_push( usage, OBJ_nid2obj( NID_client_auth ) );
        if( serverAuth )
            sk_ASN1_OBJECT_push( usage, OBJ_nid2obj( NID_server_auth ) );
        EXPECT_EQ( X509_add1_ext_i2d( cert.get(), NID_ext_key_usage, usage, 0, 0 ), 1 );
        sk_ASN1_OBJECT_pop_free( usage, ASN1_OBJECT_free );
    }
    EXPECT_GT( X509_sign( cert.get(), pkey.get(), EVP_sha256() ), 0 );
    return der( cert );
}

}

TEST( CryGenerateCertificate, IsSelfSignedOfVersion3WithSerialNumber1AndSha256 )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256, KeyKind::p384 } )
    {
        PrivateKey  priv = privateKey( key( kind ) );
        Certificate cert = generated( priv, "example.org", {} );
        ASSERT_TRUE( cert ) << nameOf( kind );
        expectSound( cert, priv, nameOf( kind ) );
        EXPECT_EQ( subjectOf( cert ), "example.org" );
        EXPECT_EQ( alternativeNamesOf( cert ), "DNS:example.org" );
        EXPECT_EQ( X509_get_ext_count( opensslOf( cert ) ), 1 );
    }
}

// time() may be some milliseconds behind the clock that the library reads.
static time_t secondsNow()
{
    return std::chrono::system_clock::to_time_t( std::chrono::floor<std::chrono::seconds>( std::chrono::system_clock::now() ) );
}

TEST( CryGenerateCertificate, IsValidFromADayAgoForTheDaysThatAreAskedFor )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( PB_INT days : { 0, 1, 27, 28, 30, 365, 366, 3650, 36500 } )
    {
        time_t      before = secondsNow();
        Certificate cert   = generated( priv, {}, "valid", days );
        time_t      after  = secondsNow();
        ASSERT_TRUE( cert ) << days;
        EXPECT_GE( notBefore( cert ), before - secondsPerDay ) << days;
        EXPECT_LE( notBefore( cert ), after - secondsPerDay ) << days;
        EXPECT_EQ( notAfter( cert ) - notBefore( cert ), ( days + 1 ) * secondsPerDay ) << days;
        // RFC 5280, 4.1.2.5: years up to 2049 have two digits.
        for( const ASN1_TIME *time : { X509_get0_notBefore( opensslOf( cert ) ), X509_get0_notAfter( opensslOf( cert ) ) } )
            EXPECT_EQ( ASN1_STRING_type( time ), seconds( time ) < 2524608000 ? V_ASN1_UTCTIME : V_ASN1_GENERALIZEDTIME ) << days;
        expectSound( cert, priv, std::to_string( days ) );
    }
}

TEST( CryGenerateCertificate, IsValidUntilTheYear9999AtMost )
{
    PrivateKey priv    = privateKey( key( KeyKind::p256 ) );
    auto       maxDays = [] { return (PB_INT)( ( lastSecond - std::time( nullptr ) ) / secondsPerDay ); };
    PB_INT     days;
    do // a new day may begin between the calls
    {
        days             = maxDays();
        Certificate last = generated( priv, {}, "last", days );
        Certificate past = generated( priv, {}, "past", days + 1 );
        if( days != maxDays() )
            continue;
        EXPECT_FALSE( past );
        ASSERT_TRUE( last );
        EXPECT_EQ( notAfter( last ) - notBefore( last ), ( days + 1 ) * secondsPerDay );
        EXPECT_LE( notAfter( last ), lastSecond );
        EXPECT_GT( notAfter( last ), lastSecond - secondsPerDay );
        EXPECT_EQ( std::string( (const char *)ASN1_STRING_get0_data( X509_get0_notAfter( opensslOf( last ) ) ), 8 ), "99991231" );
        EXPECT_EQ( X509_verify( opensslOf( last ), X509_get0_pubkey( opensslOf( last ) ) ), 1 );
        EXPECT_TRUE( cryX509CertificateEquals( again( last ).get(), last.get() ) );
    }
    while( days != maxDays() );
}

TEST( CryGenerateCertificate, DaysBeyondTheYear9999GiveNone )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( PB_INT days : { (PB_INT)3000000, (PB_INT)3652059, (PB_INT)3999999, (PB_INT)4000000, (PB_INT)4000001, (PB_INT)INT32_MAX,
             (PB_INT)INT32_MAX + 1, (PB_INT)1 << 32, ( (PB_INT)1 << 32 ) - 1, PB_INT_MAX / 86400 - 1, PB_INT_MAX / 86400, PB_INT_MAX / 86400 + 1,
             PB_INT_MAX / 86400000, PB_INT_MAX - 1, PB_INT_MAX } )
    {
        for( const Name &domain : { Name(), Name( "host.example" ) } )
        {
            EXPECT_FALSE( generated( priv, domain, {}, days ) ) << days;
            EXPECT_FALSE( withUsage( priv, domain, "common", days, true, true ) ) << days;
        }
    }
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
}

TEST( CryGenerateCertificate, TheSubjectIsTheCommonNameElseTheDomainNameElseAUuid )
{
    PrivateKey  priv   = privateKey( key( KeyKind::p256 ) );
    Certificate both   = generated( priv, "host.example", "A common name" );
    Certificate domain = generated( priv, "host.example", {} );
    Certificate common = generated( priv, {}, "A common name" );
    ASSERT_TRUE( both && domain && common );
    EXPECT_EQ( subjectOf( both ), "A common name" );
    EXPECT_EQ( alternativeNamesOf( both ), "DNS:host.example" );
    EXPECT_EQ( subjectOf( domain ), "host.example" );
    EXPECT_EQ( alternativeNamesOf( domain ), "DNS:host.example" );
    EXPECT_EQ( subjectOf( common ), "A common name" );
    EXPECT_EQ( alternativeNamesOf( common ), "(none)" );
    EXPECT_EQ( X509_get_ext_count( opensslOf( common ) ), 0 );
    for( const Certificate &each : { both, domain, common } )
        EXPECT_EQ( commonNameOf( X509_get_issuer_name( opensslOf( each ) ) ), subjectOf( each ) );

    std::set<std::string> uuids;
    for( int round = 0; round < 5; round++ )
    {
        Certificate none = generated( priv, {}, {} );
        ASSERT_TRUE( none );
        EXPECT_EQ( alternativeNamesOf( none ), "(none)" );
        EXPECT_EQ( X509_get_ext_count( opensslOf( none ) ), 0 );
        std::string subject = subjectOf( none );
        EXPECT_TRUE( isUuid( subject ) ) << subject;
        pb::Ref<CRY_UUID> uuid = pb::adopt( cryUuidTryCreateFromString( str( std::string_view( subject ) ).get() ) );
        ASSERT_TRUE( uuid ) << subject;
        EXPECT_EQ( text( pb::adopt( cryUuidToString( uuid.get() ) ) ), subject );
        EXPECT_EQ( commonNameOf( X509_get_issuer_name( opensslOf( none ) ) ), subject );
        EXPECT_TRUE( uuids.insert( subject ).second ) << subject;
    }
}

TEST( CryGenerateCertificate, TheSubjectIsSpelledAsGivenAndTheAlternativeNameIsAscii )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( const DomainName &each : goodDomainNames )
    {
        takeErrors();
        raiseError();
        Certificate cert = generated( priv, each.name, {} ), named = generated( priv, each.name, "named" );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << each.name;
        ASSERT_TRUE( cert && named ) << each.name;
        EXPECT_EQ( subjectOf( cert ), each.name );
        EXPECT_EQ( alternativeNamesOf( cert ), std::string( "DNS:" ) + each.ascii );
        EXPECT_EQ( subjectOf( named ), "named" );
        EXPECT_EQ( alternativeNamesOf( named ), std::string( "DNS:" ) + each.ascii );
        EXPECT_EQ(
            ASN1_STRING_type( X509_NAME_ENTRY_get_data( X509_NAME_get_entry( X509_get_subject_name( opensslOf( cert ) ), 0 ) ) ), V_ASN1_UTF8STRING );
        EXPECT_EQ( X509_get_ext_count( opensslOf( cert ) ), 1 ) << each.name;
    }
}

TEST( CryGenerateCertificate, WhatIsNoDomainNameGivesNoneAndNeverASecondName )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( const std::string &name : badDomainNames )
    {
        EXPECT_FALSE( generated( priv, name, {} ) ) << name;
        EXPECT_FALSE( generated( priv, name, "common" ) ) << name;
        EXPECT_FALSE( withUsage( priv, name, "common", 1, true, true ) ) << name;
    }
    ERR_clear_error();
}

TEST( CryGenerateCertificate, EveryAsciiCharacterInADomainNameIsItselfOrRefused )
{
    PrivateKey priv  = privateKey( key( KeyKind::p256 ) );
    int        taken = 0;
    for( int c = 0; c < 128; c++ )
    {
        std::string name = std::string( "a" ) + (char)c + "b.example";
        Certificate cert = generated( priv, name, "common" );
        taken += (bool)cert;
        EXPECT_EQ( (bool)cert, isalnum( c ) || c == '-' || c == '_' || c == '*' || c == '.' ) << c;
        if( cert )
            EXPECT_EQ( alternativeNamesOf( cert ), "DNS:" + name );
    }
    EXPECT_EQ( taken, 62 + 4 );
    ERR_clear_error();
}

TEST( CryGenerateCertificate, DomainNamesHave253CharactersAndLabels63 )
{
    PrivateKey  priv = privateKey( key( KeyKind::p256 ) );
    std::string label( 63, 'l' );
    ASSERT_EQ( domainNameOf( 253 ).size(), 253u );
    for( const std::string &name : { label, label + ".example", domainNameOf( 252 ), domainNameOf( 253 ), domainNameOf( 253 ) + "." } )
    {
        Certificate cert = generated( priv, name, "common" );
        ASSERT_TRUE( cert ) << name;
        EXPECT_EQ( alternativeNamesOf( cert ), "DNS:" + ( name.back() == '.' ? name.substr( 0, name.size() - 1 ) : name ) );
    }
    for( const std::string &name : { label + "l", label + "l.example", domainNameOf( 254 ), domainNameOf( 255 ), domainNameOf( 254 ) + ".",
             domainNameOf( 1000 ), std::string( 100000, 'x' ) } )
    {
        EXPECT_FALSE( generated( priv, name, "common" ) ) << name.size();
        EXPECT_FALSE( generated( priv, name, {} ) ) << name.size();
    }
    // In the subject a name has 64 characters (RFC 5280, ub-common-name).
    EXPECT_EQ( subjectOf( generated( priv, domainNameOf( 64 ), {} ) ), domainNameOf( 64 ) );
    EXPECT_FALSE( generated( priv, domainNameOf( 65 ), {} ) );
    EXPECT_FALSE( generated( priv, domainNameOf( 253 ), {} ) );
    EXPECT_EQ( subjectOf( generated( priv, domainNameOf( 63 ) + ".", {} ) ), domainNameOf( 63 ) + "." );
    ERR_clear_error();
}

TEST( CryGenerateCertificate, CommonNamesHave1To64CharactersOfAnyKind )
{
    PrivateKey        priv   = privateKey( key( KeyKind::p256 ) );
    const std::string umlaut = "\xC3\xA4", key = "\xF0\x9F\x94\x91";
    auto              times = []( const std::string &text, int count ) {
        std::string out;
        while( count-- )
            out += text;
        return out;
    };
    for( const std::string &name :
        { std::string( "a" ), std::string( " " ), std::string( 64, 'x' ), times( umlaut, 64 ), times( key, 64 ), key, std::string( "a,b" ),
            std::string( "a, CN=b" ), std::string( "/CN=a/O=b" ), std::string( "a/b" ), std::string( "a+b" ), std::string( "a=b;c" ),
            std::string( "\"a\"" ), std::string( "a\\b" ), std::string( "a\nb\r\t" ), std::string( "\1\x1F\x7F" ), std::string( "DNS:host.example" ),
            std::string( "192.0.2.1" ), std::string( "a  b " ), std::string( "#3003" ), std::string( "%s%n" ), std::string( "\xEF\xBF\xBD" ),
            std::string( "\xE2\x80\xAE"
                         "a" ) } )
    {
        takeErrors();
        Certificate cert = generated( priv, {}, name ), withDomain = generated( priv, "host.example", name );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} ) << name;
        ASSERT_TRUE( cert && withDomain ) << name;
        EXPECT_EQ( subjectOf( cert ), name );
        EXPECT_EQ( alternativeNamesOf( cert ), "(none)" ) << name;
        EXPECT_EQ( subjectOf( withDomain ), name );
        EXPECT_EQ( alternativeNamesOf( withDomain ), "DNS:host.example" ) << name;
        EXPECT_EQ( commonNameOf( X509_get_subject_name( opensslOf( again( cert ) ) ) ), name );
    }
    for( const std::string &name : { std::string(), std::string( 65, 'x' ), times( umlaut, 65 ), times( key, 65 ), std::string( 100000, 'x' ) } )
    {
        EXPECT_FALSE( generated( priv, {}, name ) ) << name.size();
        EXPECT_FALSE( generated( priv, "host.example", name ) ) << name.size();
    }
    ERR_clear_error();
}

TEST( CryGenerateCertificate, ACommonNameEndsBeforeU0000 )
{
    PrivateKey  priv = privateKey( key( KeyKind::p256 ) );
    Certificate cert = generated( priv, "host.example", std::string( "before\0behind", 13 ) );
    ASSERT_TRUE( cert );
    EXPECT_EQ( subjectOf( cert ), "before" );
    EXPECT_EQ( der( cert.get() ).find( "behind" ), std::string::npos );
    EXPECT_FALSE( generated( priv, "host.example", std::string( 1, '\0' ) ) );
    ERR_clear_error();
}

TEST( CryGenerateCertificate, TheExtendedKeyUsageIsExactlyWhatIsAskedFor )
{
    struct
    {
        bool        clientAuth, serverAuth;
        const char *value;
    } usages[] = {
        { false, false, nullptr },
        { true, false, "300a06082b06010505070302" },
        { false, true, "300a06082b06010505070301" },
        { true, true, "301406082b0601050507030206082b06010505070301" },
    };
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( const auto &usage : usages )
    {
        for( const Name &domain : { Name(), Name( "host.example" ) } )
        {
            takeErrors();
            raiseError();
            std::vector<Certificate> certs = { withUsage( priv, domain, "common", 30, usage.clientAuth, usage.serverAuth ) };
            certs.push_back(
                pb::adopt( usage.value ? cryTryGenerateCertificateWithExtendedKeyUsage(
                                             priv.get(), str( domain ).get(), str( Name( "common" ) ).get(), 30, usage.clientAuth, usage.serverAuth )
                                       : cryTryGenerateCertificate( priv.get(), str( domain ).get(), str( Name( "common" ) ).get(), 30 ) ) );
            EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
            for( const Certificate &cert : certs )
            {
                ASSERT_TRUE( cert );
                X509 *x509 = opensslOf( cert );
                EXPECT_EQ( X509_get_ext_count( x509 ), ( domain ? 1 : 0 ) + ( usage.value ? 1 : 0 ) );
                EXPECT_EQ( alternativeNamesOf( cert ), domain ? "DNS:host.example" : "(none)" );
                EXPECT_EQ( X509_get_ext_by_NID( x509, NID_subject_alt_name, -1 ), domain ? 0 : -1 );
                int at = X509_get_ext_by_NID( x509, NID_ext_key_usage, -1 );
                EXPECT_EQ( at, !usage.value ? -1 : domain ? 1 : 0 );
                if( at >= 0 )
                {
                    X509_EXTENSION    *extension = X509_get_ext( x509, at );
                    ASN1_OCTET_STRING *data      = X509_EXTENSION_get_data( extension );
                    EXPECT_EQ( hex( { (const char *)ASN1_STRING_get0_data( data ), (size_t)ASN1_STRING_length( data ) } ), usage.value );
                    EXPECT_EQ( X509_EXTENSION_get_critical( extension ), 0 );
                }
                expectSound( cert, priv, usage.value ? usage.value : "" );
            }
        }
    }
}

TEST( CryGenerateCertificate, AnyTrueValueAsksForAUsage )
{
    PrivateKey  priv = privateKey( key( KeyKind::p256 ) );
    Certificate cert = pb::adopt( cryTryGenerateCertificateWithExtendedKeyUsage( priv.get(), nullptr, nullptr, 1, (PB_BOOL)256, (PB_BOOL)-1 ) );
    ASSERT_TRUE( cert );
    EXPECT_EQ( X509_get_extended_key_usage( opensslOf( cert ) ), (uint32_t)( XKU_SSL_CLIENT | XKU_SSL_SERVER ) );
}

TEST( CryGenerateCertificate, OneOfAnRsaKeyIsByteForByteWhatOpensslMakes )
{
    struct
    {
        Name domain, common;
        bool clientAuth, serverAuth;
        Name alternative;
    } cases[] = {
        { {}, "common name", false, false, {} },
        { "host.example", {}, false, false, "host.example" },
        { "host.example", "common name", true, false, "host.example" },
        { "b\xC3\xBC"
          "cher.example",
            {}, false, true, "xn--bcher-kva.example" },
        { {}, "\xF0\x9F\x94\x91", true, true, {} },
        { "*.example.", {}, true, true, "*.example" },
    };
    for( const Pkey &pkey : { key( KeyKind::rsa ), newRsaKey( 1024 ), newRsaKey( 512 ) } )
    {
        for( const auto &each : cases )
        {
            for( PB_INT days : { 0, 28, 20000 } )
            {
                PrivateKey  priv = privateKey( pkey );
                Certificate cert = withUsage( priv, each.domain, each.common, days, each.clientAuth, each.serverAuth );
                ASSERT_TRUE( cert );
                EXPECT_EQ( hex( der( cert.get() ) ),
                    hex( byOpenssl( cert, pkey, each.common ? *each.common : *each.domain, each.alternative, each.clientAuth, each.serverAuth ) ) );
            }
        }
    }
}

TEST( CryGenerateCertificate, KeysThatSignWithSha256GiveOne )
{
    std::vector<std::pair<std::string, PrivateKey>> keys;
    for( PB_INT bits : { 1024, 2048 } )
        keys.emplace_back( "RSA " + std::to_string( bits ), pb::adopt( cryTryGenerateRsaKeyPair( bits ) ) );
    for( PB_INT curve : { CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, CRY_PKEY_EC_NAMED_CURVE_SECP384R1, CRY_PKEY_EC_NAMED_CURVE_SECP521R1,
             CRY_PKEY_EC_NAMED_CURVE_SECP112R1, CRY_PKEY_EC_NAMED_CURVE_SECP256K1, CRY_PKEY_EC_NAMED_CURVE_SECT163K1,
             CRY_PKEY_EC_NAMED_CURVE_SECT571R1, CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P160R1, CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P256R1,
             CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P384T1, CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P512R1, CRY_PKEY_EC_NAMED_CURVE_WAP_WSG_IDM_ECID_WTLS7 } )
        keys.emplace_back( "curve " + std::to_string( curve ), pb::adopt( cryTryGenerateEcKeyPair( curve ) ) );
    keys.emplace_back( "RSA 512", privateKey( newRsaKey( 512 ) ) );
    keys.emplace_back( "RSA-PSS", privateKey( key( KeyKind::rsaPss ) ) );
    keys.emplace_back( "explicit P-256", privateKey( newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ) ) );
    for( const auto &[name, priv] : keys )
    {
        ASSERT_TRUE( priv ) << name;
        takeErrors();
        raiseError();
        Certificate cert = generated( priv, "host.example", {} );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name;
        ASSERT_TRUE( cert ) << name;
        X509 *x509 = opensslOf( cert );
        EXPECT_EQ( X509_verify( x509, X509_get0_pubkey( x509 ) ), 1 ) << name;
        Certificate read = again( cert );
        x509             = opensslOf( read );
        EXPECT_EQ( X509_verify( x509, X509_get0_pubkey( x509 ) ), 1 ) << name;
        EXPECT_TRUE( cryX509CertificateCheckPrivateKey( read.get(), priv.get() ) ) << name;
        // The public key belongs to the private key of the certificate.
        PublicKey half = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) ), certified = pb::adopt( cryX509CertificatePublicKey( cert.get() ) );
        ASSERT_TRUE( half && certified ) << name;
        EXPECT_TRUE( cryPkeyPublicEquals( half.get(), certified.get() ) ) << name;
    }
    ERR_clear_error();
}

TEST( CryGenerateCertificate, KeysThatDoNotSignWithSha256GiveNone )
{
    std::vector<std::pair<std::string, PrivateKey>> keys;
    for( const char *type : { "ED25519", "ED448", "X25519", "X448", "SM2" } )
        keys.emplace_back( type, privateKey( newKey( type ) ) );
    keys.emplace_back( "Oakley 3", pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 ) ) );
    keys.emplace_back( "Oakley 4", pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4 ) ) );
    for( const auto &[name, priv] : keys )
    {
        ASSERT_TRUE( priv ) << name;
        takeErrors();
        EXPECT_FALSE( generated( priv, "host.example", {} ) ) << name;
        EXPECT_FALSE( generated( priv, {}, {} ) ) << name;
        EXPECT_FALSE( withUsage( priv, {}, "common", 1, true, true ) ) << name;
        EXPECT_FALSE( takeErrors().empty() ) << name << ": OpenSSL tells why";
    }
}

TEST( CryGenerateCertificate, AKeyOnTheCurveOfSm2SignsUntilItIsRead )
{
    // A new key is an EC key and signs with ECDSA. A key that is read from a text is an SM2 key,
    // which does not.
    PrivateKey  priv = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_SM2 ) );
    Certificate cert = generated( priv, "host.example", {} );
    ASSERT_TRUE( cert );
    EXPECT_EQ( X509_get_signature_nid( opensslOf( cert ) ), NID_ecdsa_with_SHA256 );
    EXPECT_EQ( X509_verify( opensslOf( cert ), cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ), 1 );
    EXPECT_TRUE( again( cert ) );
    PrivateKey read = pb::adopt( cryPkeyPrivateTryRestore( pb::adopt( cryPkeyPrivateStore( priv.get() ) ).get() ) );
    ASSERT_TRUE( read );
    EXPECT_FALSE( generated( read, "host.example", {} ) );
    ERR_clear_error();
}

TEST( CryGenerateCertificate, TheKeyDecodingContextChangesNothing )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256, KeyKind::p384 } )
    {
        for( bool fastKey : { false, true } )
        {
            PrivateKey priv = privateKey( key( kind ), fastKey );
            for( bool fast : { false, true } )
            {
                KeyDecoding used( fast );
                std::string name = nameOf( kind ) + ( fastKey ? ", fast key" : "" ) + ( fast ? ", fast" : "" );
                takeErrors();
                raiseError();
                Certificate cert = withUsage( priv, "host.example", {}, 28, true, false );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name;
                ASSERT_TRUE( cert ) << name;
                expectSound( cert, priv, name );
                EXPECT_EQ( subjectOf( cert ), "host.example" );
                EXPECT_EQ( alternativeNamesOf( cert ), "DNS:host.example" );
                if( kind == KeyKind::rsa )
                    EXPECT_EQ( hex( der( cert.get() ) ), hex( byOpenssl( cert, key( kind ), "host.example", "host.example", true, false ) ) ) << name;
                // Also if the other setting of the key-decoding context is used to check it.
                KeyDecoding other( !fast );
                expectSound( cert, priv, name );
            }
        }
    }
}

TEST( CryGenerateCertificate, ThePrivateKeyIsOnlyReadAndNeverHandedOut )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256 } )
    {
        for( bool fast : { false, true } )
        {
            PrivateKey  priv   = privateKey( key( kind ), fast );
            EVP_PKEY   *pkey   = cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() );
            std::string before = pkcs8Text( pkey );
            FreeWatch   watch( pkey );
            Certificate cert = generated( priv, "host.example", {} );
            ASSERT_TRUE( cert ) << nameOf( kind );
            EXPECT_EQ( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ), pkey );
            EXPECT_EQ( pkcs8Text( pkey ), before ) << nameOf( kind );
            EXPECT_FALSE( pbObjIsShared( priv.obj() ) );
            PublicKey pub = pb::adopt( cryX509CertificatePublicKey( cert.get() ) );
            EXPECT_NE( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), pkey );
            EXPECT_EQ( pkcs8Text( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), "" ) << nameOf( kind );
            // The certificate does not need the key object. After both are released, nothing holds
            // the OpenSSL key.
            priv = {};
            EXPECT_EQ( X509_verify( opensslOf( cert ), X509_get0_pubkey( opensslOf( cert ) ) ), 1 ) << nameOf( kind );
            cert = {};
            EXPECT_TRUE( watch.freed() ) << nameOf( kind );
            EXPECT_EQ( textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ), spkiText( key( kind ).get() ) );
        }
    }
    ERR_clear_error();
}

TEST( CryGenerateCertificate, FailureKeepsNothingOfTheKey )
{
    PrivateKey priv = privateKey( key( KeyKind::rsa ) );
    FreeWatch  watch( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
    EXPECT_FALSE( generated( priv, "no name", {} ) );
    EXPECT_FALSE( generated( priv, {}, "" ) );
    EXPECT_FALSE( generated( priv, {}, {}, PB_INT_MAX ) );
    priv = {};
    EXPECT_TRUE( watch.freed() );
    PrivateKey pure = privateKey( key( KeyKind::ed25519 ) );
    FreeWatch  pureWatch( cry___PkeyPrivatePeekOpensslEvpPkey( pure.get() ) );
    EXPECT_FALSE( generated( pure, "host.example", {} ) );
    pure = {};
    EXPECT_TRUE( pureWatch.freed() );
    ERR_clear_error();
}

TEST( CryGenerateCertificate, NothingElseHoldsTheCertificateOrTheNames )
{
    PrivateKey         priv   = privateKey( key( KeyKind::p256 ) );
    pb::Ref<PB_STRING> domain = str( Name( "host.example" ) ), common = str( Name( "common" ) );
    Certificate        cert = pb::adopt( cryTryGenerateCertificate( priv.get(), domain.get(), common.get(), 1 ) );
    EXPECT_FALSE( pbObjIsShared( cert.obj() ) );
    EXPECT_FALSE( pbObjIsShared( domain.obj() ) );
    EXPECT_FALSE( pbObjIsShared( common.obj() ) );
    EXPECT_EQ( text( domain ), "host.example" );
    FreeWatch watch( opensslOf( cert ) );
    cert = {};
    EXPECT_TRUE( watch.freed() );
}

TEST( CryGenerateCertificate, ComesBackFromItsStore )
{
    PrivateKey        priv     = privateKey( key( KeyKind::p256 ) );
    Certificate       cert     = generated( priv, "host.example", {} );
    pb::Ref<PB_STORE> store    = pb::adopt( cryX509CertificateStore( cert.get() ) );
    Certificate       restored = pb::adopt( cryX509CertificateTryRestore( store.get() ) );
    ASSERT_TRUE( restored );
    EXPECT_TRUE( cryX509CertificateEquals( restored.get(), cert.get() ) );
    EXPECT_EQ( textOf( pb::adopt( cryX509CertificatePem( cert.get() ) ).get() ), pemText( parseDer( der( cert.get() ) ) ) );
}

TEST( CryGenerateCertificate, ManyThreadsGenerateWithOneKeyAtOnce )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        PrivateKey               priv   = privateKey( key( kind ) );
        std::string              before = pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
        std::mutex               mutex;
        std::set<std::string>    subjects;
        std::atomic<int>         good{ 0 };
        std::vector<std::thread> threads;
        for( int thread = 0; thread < 4; thread++ )
        {
            threads.emplace_back( [&] {
                for( int round = 0; round < 10; round++ )
                {
                    Certificate cert  = withUsage( priv,
                                     "b\xC3\xBC"
                                      "cher.example",
                                     {}, 28, true, false ),
                                other = generated( priv, {}, {} );
                    good += cert && other && X509_verify( opensslOf( cert ), X509_get0_pubkey( opensslOf( cert ) ) ) == 1 &&
                        X509_verify( opensslOf( other ), X509_get0_pubkey( opensslOf( other ) ) ) == 1 &&
                        alternativeNamesOf( cert ) == "DNS:xn--bcher-kva.example";
                    std::lock_guard lock( mutex );
                    subjects.insert( subjectOf( other ) );
                }
            } );
        }
        for( std::thread &thread : threads )
            thread.join();
        EXPECT_EQ( good, 40 ) << nameOf( kind );
        EXPECT_EQ( subjects.size(), 40u ) << nameOf( kind );
        EXPECT_EQ( pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ), before ) << nameOf( kind );
    }
}
