#include "x509/cry_x509_validator_failure.hpp"

#include "cry/x509/stacks.hpp"

#include <openssl/x509_vfy.h>

using namespace support;
using cry::x509::FailureFacts;

namespace
{

using Certificate = pb::Ref<CRY_X509_CERTIFICATE>;

constexpr CRY_X509_VALIDATOR_FAILURE_REASON timeReason = CRY_X509_VALIDATOR_FAILURE_REASON_TIME, chain = CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN,
                                            result     = CRY_X509_VALIDATOR_FAILURE_REASON_RESULT,
                                            trusted    = CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS,
                                            acceptable = CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS;

Failure failureOf( const FailureFacts &facts ) { return pb::adopt( cry::x509::createFailure( facts ) ); }

std::string sentenceOf( const Failure &failure ) { return text( pb::adopt( cryX509ValidatorFailureToString( failure.get() ) ) ); }

std::string sentence( FailureFacts facts, const char *when = "2026-07-21T13:01:14Z" )
{
    pb::Ref<PB_TIME> time = support::time( when );
    facts.time            = time.get();
    return sentenceOf( failureOf( facts ) );
}

// A refusal of the chain.
std::string refused( PB_INT error, PB_INT depth, const Certificate &cert, const char *when = "2026-07-21T13:01:14Z" )
{
    return sentence( { .reason = chain, .time = nullptr, .opensslError = error, .depth = depth, .certificate = cert.get() }, when );
}

// Issued by a root, valid in 2024 and 2025.
Certificate issued( const std::string &subject, const std::string &issuer = "CN=Root" )
{
    Cert cert = makeCertificate( { .subject = issuer, .subjectKey = key( KeyKind::p256, 1 ) } );
    return certificate( makeCertificate( { .subject = subject,
        .subjectKey                                 = key( KeyKind::p256 ),
        .issuer                                     = cert,
        .issuerKey                                  = key( KeyKind::p256, 1 ),
        .notBefore                                  = "20240101000000Z",
        .notAfter                                   = "20251231235959Z" } ) );
}

std::string names( CRY_X509_VALIDATOR_FAILURE_REASON reason, const Certificate &cert, const Sans &has, const Sans &wanted )
{
    return sentence( { .reason = reason, .time = nullptr, .certificate = cert.get(), .certificateSans = has.get(), .wantedSans = wanted.get() } );
}

}

TEST( CryX509ValidatorFailure, TellsOfADayThatDoesNotExist )
{
    pb::Ref<PB_TIME> never = pb::adopt( pbTimeCreate( 2024, 2, 30, 12, 0, 0, 0 ) );
    EXPECT_EQ( sentenceOf( failureOf( { .reason = timeReason, .time = never.get() } ) ),
        "the time of verification, " + text( pb::adopt( pbTimeToString( never.get() ) ) ) + ", is a day that does not exist" );
}

TEST( CryX509ValidatorFailure, TellsThatACertificateHasExpired )
{
    Certificate cert    = issued( "CN=example.com" );
    auto        expired = [&]( const char *when ) { return refused( X509_V_ERR_CERT_HAS_EXPIRED, 0, cert, when ); };
    auto        wanted  = []( const std::string &distance ) {
        return "the certificate CN=example.com (leaf, depth 0) expired at 2025-12-31T23:59:59Z, " + distance + " before the time of verification";
    };
    EXPECT_EQ( expired( "2026-01-12T23:59:59Z" ), wanted( "12 days" ) );
    EXPECT_EQ( expired( "2026-01-02T23:59:58Z" ), wanted( "1 day" ) );
    EXPECT_EQ( expired( "2026-01-01T23:59:58Z" ), wanted( "23 hours" ) );
    EXPECT_EQ( expired( "2026-01-01T00:59:59Z" ), wanted( "1 hour" ) );
    EXPECT_EQ( expired( "2026-01-01T00:59:58Z" ), wanted( "59 minutes" ) );
    EXPECT_EQ( expired( "2026-01-01T00:00:59Z" ), wanted( "1 minute" ) );
    EXPECT_EQ( expired( "2026-01-01T00:00:01Z" ), wanted( "2 seconds" ) );
    EXPECT_EQ( expired( "2026-01-01T00:00:00Z" ), wanted( "1 second" ) );
    EXPECT_EQ( expired( "2025-12-31T23:59:59Z" ), wanted( "0 seconds" ) );
    // Times that do not fit the error: only OpenSSL's text is left.
    EXPECT_EQ( expired( "2025-01-01T00:00:00Z" ),
        "the certificate CN=example.com (leaf, depth 0) was refused by OpenSSL: certificate has expired (error 10)" );
}

TEST( CryX509ValidatorFailure, TellsThatACertificateIsNotYetValid )
{
    EXPECT_EQ( refused( X509_V_ERR_CERT_NOT_YET_VALID, 1, issued( "CN=Between" ), "2023-12-22T00:00:00Z" ),
        "the certificate CN=Between (intermediate, depth 1) is valid only from 2024-01-01T00:00:00Z, 10 days after the time of verification" );
}

TEST( CryX509ValidatorFailure, TellsThatAnIssuerIsMissing )
{
    for( PB_INT error :
        { X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY, X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE } )
    {
        EXPECT_EQ( refused( error, 0, issued( "CN=host" ) ),
            "the certificate CN=host (leaf, depth 0) does not lead to a trusted certificate: "
            "none that can be its issuer CN=Root is given or trusted" );
        EXPECT_EQ( refused( error, 2, issued( "", "" ) ),
            "the certificate (intermediate, depth 2) does not lead to a trusted certificate: "
            "none that can be its issuer is given or trusted" );
    }
}

TEST( CryX509ValidatorFailure, TellsThatACertificateIsSelfSigned )
{
    EXPECT_EQ( refused( X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT, 0, selfSigned( "CN=A" ) ),
        "the certificate CN=A (leaf, depth 0) is self-signed and not trusted" );
    EXPECT_EQ( refused( X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN, 2, selfSigned( "CN=A" ) ),
        "the certificate CN=A (root, depth 2) is self-signed and not trusted" );
}

TEST( CryX509ValidatorFailure, TellsOfAWrongSignature )
{
    EXPECT_EQ( refused( X509_V_ERR_CERT_SIGNATURE_FAILURE, 1, issued( "CN=Between" ) ),
        "the certificate CN=Between (intermediate, depth 1) has a signature that is not its issuer's" );
}

TEST( CryX509ValidatorFailure, TellsOtherErrorsInOpensslsWords )
{
    EXPECT_EQ( refused( X509_V_ERR_INVALID_PURPOSE, 0, issued( "CN=host" ) ),
        std::string( "the certificate CN=host (leaf, depth 0) was refused by OpenSSL: " ) +
            X509_verify_cert_error_string( X509_V_ERR_INVALID_PURPOSE ) + " (error 26)" );
    EXPECT_EQ( refused( X509_V_ERR_OUT_OF_MEM, -1, {} ), "OpenSSL refused the chain: out of memory (error 17)" );
}

TEST( CryX509ValidatorFailure, TellsThatAVerifiedChainCannotBeGivenOut )
{
    EXPECT_EQ( sentence( { .reason = result, .time = nullptr } ), "the chain was verified, but OpenSSL cannot give out one of its certificates" );
}

TEST( CryX509ValidatorFailure, TellsWhichNamesAreThereAndWhichAreNeeded )
{
    Certificate cert = issued( "CN=host" );
    EXPECT_EQ( names( trusted, cert, sansOf( { "a.example", "192.0.2.1" } ), sansOf( { "b.example" } ) ),
        "the certificate CN=host (leaf) has none of the trusted names: it has a.example, 192.0.2.1, and one of these is needed: b.example" );
    EXPECT_EQ( names( acceptable, cert, {}, sansOf( { "2001:db8::1" } ) ),
        "the certificate CN=host (leaf) has none of the acceptable names: it has no name, and one of these is needed: 2001:db8::1" );
    EXPECT_EQ( names( acceptable, issued( "" ), sansOf( {} ), sansOf( {} ) ),
        "the certificate (leaf) has none of the acceptable names: it has no name, and one of these is needed: no name" );
}

TEST( CryX509ValidatorFailure, ShowsEightNames )
{
    Certificate cert = issued( "CN=host" );
    auto        many = [&]( int count ) {
        std::vector<std::string> hosts;
        for( int number = 1; number <= count; number++ )
            hosts.push_back( std::string( 1, (char)( 'a' + number - 1 ) ) + ".example" );
        std::string text = names( acceptable, cert, {}, sansOf( hosts ) );
        return text.substr( text.find( "needed: " ) + 8 );
    };
    const std::string eight = "a.example, b.example, c.example, d.example, e.example, f.example, g.example, h.example";
    EXPECT_EQ( many( 8 ), eight );
    EXPECT_EQ( many( 9 ), eight + " and 1 more name" );
    EXPECT_EQ( many( 11 ), eight + " and 3 more names" );
}

TEST( CryX509ValidatorFailure, HasNoCharactersThatPlayWithATerminal )
{
    std::string sentence = refused( X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT, 0, issued( "CN=a\tb\xE2\x80\xAE", "CN=c\xEF\xBB\xBF" ) );
    EXPECT_EQ( sentence,
        "the certificate CN=a\\09b\\u{202e} (leaf, depth 0) does not lead to a trusted certificate: "
        "none that can be its issuer CN=c\\u{feff} is given or trusted" );
}

TEST( CryX509ValidatorFailure, StoresWhatItHas )
{
    auto stored = []( FailureFacts facts ) {
        pb::Ref<PB_TIME> time = support::time( "2026-07-21T13:01:14Z" );
        facts.time            = time.get();
        return json( cryX509ValidatorFailureStore( failureOf( facts ).get() ) );
    };
    Certificate cert   = issued( "CN=host" );
    std::string inside = json( cryX509CertificateStore( cert.get() ) );
    EXPECT_EQ(
        stored( { .reason = timeReason, .time = nullptr } ), R"({"reason":"CRY_X509_VALIDATOR_FAILURE_REASON_TIME","time":"2026-07-21T13:01:14Z"})" );
    EXPECT_EQ(
        stored( { .reason = result, .time = nullptr } ), R"({"reason":"CRY_X509_VALIDATOR_FAILURE_REASON_RESULT","time":"2026-07-21T13:01:14Z"})" );
    EXPECT_EQ( stored( { .reason = chain, .time = nullptr, .opensslError = 10, .depth = 0, .certificate = cert.get() } ),
        R"({"reason":"CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN","time":"2026-07-21T13:01:14Z","opensslError":10,)"
        R"("opensslErrorString":"certificate has expired","depth":0,"certificate":)" +
            inside + "}" );
    Sans has = sansOf( { "a.example" } ), wanted = sansOf( { "b.example" } );
    EXPECT_EQ( stored( { .reason = trusted, .time = nullptr, .certificate = cert.get(), .certificateSans = has.get(), .wantedSans = wanted.get() } ),
        R"({"reason":"CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS","time":"2026-07-21T13:01:14Z","certificate":)" + inside +
            R"(,"certificateSans":)" + json( cryX509SansStore( has.get() ) ) + R"(,"wantedSans":)" + json( cryX509SansStore( wanted.get() ) ) + "}" );
    EXPECT_EQ( stored( { .reason = acceptable, .time = nullptr, .wantedSans = wanted.get() } ),
        R"({"reason":"CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS","time":"2026-07-21T13:01:14Z","wantedSans":)" +
            json( cryX509SansStore( wanted.get() ) ) + "}" );
}

TEST( CryX509ValidatorFailure, GettersGiveWhatItHas )
{
    Certificate                 cert = issued( "CN=host" );
    Sans                        has = sansOf( { "a.example" } ), wanted = sansOf( { "b.example" } );
    pb::Ref<PB_TIME>            time    = support::time( "2026-07-21T13:01:14Z" );
    Failure                     full    = failureOf( { .reason = chain,
                               .time                           = time.get(),
                               .opensslError                   = 0,
                               .depth                          = 3,
                               .certificate                    = cert.get(),
                               .certificateSans                = has.get(),
                               .wantedSans                     = wanted.get() } );
    CRY_X509_VALIDATOR_FAILURE *failure = full.get();
    EXPECT_EQ( cryX509ValidatorFailureReason( failure ), chain );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureTime( failure ) ).get(), time.get() );
    EXPECT_TRUE( cryX509ValidatorFailureHasOpensslError( failure ) );
    EXPECT_EQ( cryX509ValidatorFailureOpensslError( failure ), 0 );
    EXPECT_EQ( text( pb::adopt( cryX509ValidatorFailureOpensslErrorString( failure ) ) ), "ok" );
    EXPECT_EQ( cryX509ValidatorFailureDepth( failure ), 3 );
    EXPECT_TRUE( cryX509ValidatorFailureHasCertificate( failure ) );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureCertificate( failure ) ).get(), cert.get() );
    EXPECT_TRUE( cryX509ValidatorFailureHasCertificateSans( failure ) );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureCertificateSans( failure ) ).get(), has.get() );
    EXPECT_TRUE( cryX509ValidatorFailureHasWantedSans( failure ) );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureWantedSans( failure ) ).get(), wanted.get() );

    Failure bare = failureOf( { .reason = result, .time = time.get() } );
    failure      = bare.get();
    EXPECT_FALSE( cryX509ValidatorFailureHasOpensslError( failure ) );
    EXPECT_EQ( cryX509ValidatorFailureOpensslError( failure ), -1 );
    EXPECT_EQ( cryX509ValidatorFailureOpensslErrorString( failure ), nullptr );
    EXPECT_EQ( cryX509ValidatorFailureDepth( failure ), -1 );
    EXPECT_FALSE( cryX509ValidatorFailureHasCertificate( failure ) );
    EXPECT_EQ( cryX509ValidatorFailureCertificate( failure ), nullptr );
    EXPECT_FALSE( cryX509ValidatorFailureHasCertificateSans( failure ) );
    EXPECT_EQ( cryX509ValidatorFailureCertificateSans( failure ), nullptr );
    EXPECT_FALSE( cryX509ValidatorFailureHasWantedSans( failure ) );
    EXPECT_EQ( cryX509ValidatorFailureWantedSans( failure ), nullptr );
    EXPECT_FALSE( cryX509ValidatorFailureEquals( full.get(), bare.get() ) );
    EXPECT_TRUE( cryX509ValidatorFailureEquals( full.get(), full.get() ) );
}

TEST( CryX509ValidatorFailure, OfAValidatorHasTheNamesAndTheTime )
{
    Certificate peer   = selfSigned( "CN=peer", "DNS:*.a.example,IP:192.0.2.1" );
    Policy      policy = pb::adopt( cryX509PolicyCreate() );
    Sans        wanted = sansOf( { "b.example" } );
    cryX509PolicySetAcceptableSans( policy.handle(), wanted.get() );
    Session   sess = sessionOf( stackOf( options( trusting( { peer } ) ) ) );
    Validator val  = pb::adopt( cryX509ValidatorCreate( sess.get(), policy.get(), peer.get(), nullptr, nullptr ) );
    Told      end;
    cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
    ASSERT_TRUE( end.soon() );
    Failure failure = pb::adopt( cryX509ValidatorFailure( val.get() ) );
    ASSERT_TRUE( failure );
    EXPECT_EQ( sentenceOf( failure ),
        "the certificate CN=peer (leaf) has none of the acceptable names: it has *.a.example, 192.0.2.1, and one of these is needed: b.example" );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureWantedSans( failure.get() ) ).get(), wanted.get() );
    // The policy has no time, so it is that of the verification.
    time_t seconds;
    ASSERT_TRUE( pbTimeTryConvertToTimeT( pb::adopt( cryX509ValidatorFailureTime( failure.get() ) ).get(), &seconds ) );
    EXPECT_LE( std::abs( std::difftime( ::time( nullptr ), seconds ) ), 60 );
}

TEST( CryX509ValidatorFailure, ShowsOnlyTheBeginOfALongName )
{
    // OpenSSL limits a common name, but not their number.
    std::string name;
    for( int number = 0; number < 50; number++ )
    {
        name += number ? "/CN=" : "CN=";
        for( int index = 0; index < 60; index++ )
            name += "\xC3\xA9";
    }
    std::string sentence = refused( X509_V_ERR_CERT_SIGNATURE_FAILURE, 0, issued( name ) );
    EXPECT_LT( sentence.size(), 1200u );
    EXPECT_TRUE( sentence.ends_with( "... (leaf, depth 0) has a signature that is not its issuer's" ) ) << sentence;
}
