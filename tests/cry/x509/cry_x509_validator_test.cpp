#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_validator_imp.h>

#include "cry/x509/stacks.hpp"
#include "tr/traces.hpp"

#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <thread>

using namespace support;
using traces::Attached;

namespace
{

using Certificate  = pb::Ref<CRY_X509_CERTIFICATE>;
using Certificates = pb::Ref<CRY_X509_CERTIFICATES>;

constexpr CRY_X509_POLICY_FLAGS disabled = CRY_X509_POLICY_FLAG_DISABLE_VALIDATION, noNames = CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS,
                                noWildcards = CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING,
                                lenient     = CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS;

// The peer of the tests has the names *.a.example and 192.0.2.1.
Certificate peer() { return selfSigned( "CN=peer", "DNS:*.a.example,IP:192.0.2.1" ); }
Certificate stranger() { return selfSigned( "CN=stranger", "DNS:*.a.example,IP:192.0.2.1" ); }
Certificate nameless() { return selfSigned( "CN=nameless" ); }

struct PolicyValues
{
    CRY_X509_POLICY_FLAGS                   flags   = 0;
    std::optional<std::vector<std::string>> names   = {};
    const char                             *time    = nullptr;
    const char                             *address = nullptr;
};

Policy policyOf( const PolicyValues &values )
{
    Policy pol = pb::adopt( cryX509PolicyCreate() );
    cryX509PolicySetFlags( pol.handle(), values.flags );
    if( values.names )
        cryX509PolicySetAcceptableSans( pol.handle(), sansOf( *values.names ).get() );
    if( values.time )
        cryX509PolicySetTime( pol.handle(), support::time( values.time ).get() );
    if( values.address )
        cryX509PolicySetLenientSubjectChecksIpAddress( pol.handle(), pb::adopt( inAddressTryCreateFromString( str( values.address ).get() ) ).get() );
    return pol;
}

Validator validatorOf(
    const Session &sess, const Policy &policy, const Certificate &cert, const Certificates &extra = {}, TR_ANCHOR *anchor = nullptr )
{
    return pb::adopt( cryX509ValidatorCreate( sess.get(), policy.get(), cert.get(), extra.get(), anchor ) );
}

void waitFor( const Validator &val )
{
    Told end;
    cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
    EXPECT_TRUE( end.soon() );
    EXPECT_TRUE( cryX509ValidatorEnd( val.get() ) );
}

Certificates chainOf( const Validator &val ) { return pb::adopt( cryX509ValidatorCertificateChain( val.get() ) ); }
Failure      failureOf( const Validator &val ) { return pb::adopt( cryX509ValidatorFailure( val.get() ) ); }

// "good", or the reason of the failure. All results must fit together.
std::string verdictOf( const Validator &val )
{
    static const char *const reasons[] = { "time", "chain", "result", "trusted", "acceptable" };
    waitFor( val );
    Failure failure = failureOf( val );
    EXPECT_EQ( (bool)cryX509ValidatorError( val.get() ), (bool)failure );
    EXPECT_EQ( (bool)cryX509ValidatorHasFailure( val.get() ), (bool)failure );
    EXPECT_EQ( (bool)cryX509ValidatorHasCertificateChain( val.get() ), (bool)chainOf( val ) );
    if( !failure )
        return "good";
    EXPECT_FALSE( chainOf( val ) );
    std::string verdict = reasons[cryX509ValidatorFailureReason( failure.get() )];
    if( cryX509ValidatorFailureHasOpensslError( failure.get() ) )
        verdict += " " + std::to_string( cryX509ValidatorFailureOpensslError( failure.get() ) ) + " at " +
            std::to_string( cryX509ValidatorFailureDepth( failure.get() ) );
    return verdict;
}

std::string verdict( const Options &opt, const PolicyValues &policy, const Certificate &cert, const Certificates &extra = {} )
{
    return verdictOf( validatorOf( sessionOf( stackOf( opt ) ), policyOf( policy ), cert, extra ) );
}

// The peer under a stack that trusts it.
std::string verdict( const PolicyValues &policy ) { return verdict( options( trusting( { peer() } ) ), policy, peer() ); }

// Root, intermediate and leaf, as objects of the library.
struct Three
{
    Certificate root         = certificate( support::chainOf( KeyKind::p256 ).root ),
                intermediate = certificate( support::chainOf( KeyKind::p256 ).intermediate ),
                leaf         = certificate( support::chainOf( KeyKind::p256 ).leaf );
};

std::vector<CRY_X509_CERTIFICATE *> objects( const Certificates &certs )
{
    std::vector<CRY_X509_CERTIFICATE *> list;
    for( const Certificate &each : certs ? members( certs.get() ) : std::vector<Certificate>() )
        list.push_back( each.get() );
    return list;
}

using Objects = std::vector<CRY_X509_CERTIFICATE *>;

// Makes the verification of a session wait for the test.
class Held
{
public:
    explicit Held( const Session &sess )
    {
        now = this;
        X509_STORE_set_verify_cb( cry___X509SessionPeekOpensslX509Store( sess.get() ), []( int good, X509_STORE_CTX * ) {
            if( !now->waited.exchange( true ) )
            {
                now->begun.release();
                now->go.acquire();
            }
            return good;
        } );
    }
    Held( const Held & ) = delete;
    void waitUntilItRuns() { begun.acquire(); }
    void letGo() { go.release(); }

private:
    static inline Held   *now;
    std::atomic<bool>     waited = false;
    std::binary_semaphore begun{ 0 }, go{ 0 };
};

}

TEST( CryX509Validator, GivesTheVerifiedChain )
{
    Three     three;
    Session   sess   = sessionOf( stackOf( options( trusting( { three.root } ) ) ) );
    Policy    policy = policyOf( { .time = leafTime.data() } );
    Validator val    = validatorOf( sess, policy, three.leaf, certificates( { three.intermediate } ) );
    EXPECT_EQ( verdictOf( val ), "good" );
    EXPECT_EQ( objects( chainOf( val ) ), ( Objects{ three.leaf.get(), three.intermediate.get(), three.root.get() } ) );
    EXPECT_EQ( pb::adopt( cryX509ValidatorSession( val.get() ) ).get(), sess.get() );
    EXPECT_EQ( pb::adopt( cryX509ValidatorPolicy( val.get() ) ).get(), policy.get() );
    EXPECT_EQ( pb::adopt( cryX509ValidatorCertificate( val.get() ) ).get(), three.leaf.get() );
    EXPECT_EQ( objects( pb::adopt( cryX509ValidatorExtraCertificates( val.get() ) ) ), Objects{ three.intermediate.get() } );
    // The result belongs to each caller.
    Certificates mine = chainOf( val );
    cryX509CertificatesClearCertificates( mine.handle() );
    EXPECT_EQ( objects( chainOf( val ) ).size(), 3u );
}

TEST( CryX509Validator, WithoutExtraCertificatesHasAnEmptyCollection )
{
    Three three;
    for( const Certificates &extra : { Certificates(), certificates( {} ) } )
    {
        Validator val = validatorOf(
            sessionOf( stackOf( options( trusting( { three.root } ) ) ) ), policyOf( { .time = leafTime.data() } ), three.leaf, extra );
        Certificates given = pb::adopt( cryX509ValidatorExtraCertificates( val.get() ) );
        ASSERT_TRUE( given );
        EXPECT_EQ( objects( given ), Objects{} );
        EXPECT_EQ( verdictOf( val ), "chain 20 at 0" );
    }
}

TEST( CryX509Validator, AChainMayEndAtATrustedIntermediate )
{
    Three     three;
    Validator val = validatorOf(
        sessionOf( stackOf( options( trusting( { three.intermediate } ) ) ) ), policyOf( { .time = leafTime.data() } ), three.leaf );
    EXPECT_EQ( verdictOf( val ), "good" );
    EXPECT_EQ( objects( chainOf( val ) ), ( Objects{ three.leaf.get(), three.intermediate.get() } ) );
}

TEST( CryX509Validator, RefusesAnUntrustedCertificate )
{
    Validator val = validatorOf( sessionOf( stackOf( options( trusting( { peer() } ) ) ) ), policyOf( {} ), stranger() );
    EXPECT_EQ( verdictOf( val ), "chain 18 at 0" );
    Failure failure = failureOf( val );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureCertificate( failure.get() ) ).get(), pb::adopt( cryX509ValidatorCertificate( val.get() ) ).get() );
    // Trust in a certificate means that certificate, not its name.
    EXPECT_EQ( verdict( options(), {}, peer() ), "chain 18 at 0" );
    EXPECT_EQ( ERR_peek_error(), 0u );
}

TEST( CryX509Validator, ATimeOutsideTheValidityFails )
{
    Three   three;
    Session sess = sessionOf( stackOf( options( trusting( { three.root } ) ) ) );
    auto    at   = [&]( const char *time ) {
        return verdictOf( validatorOf( sess, policyOf( { .time = time } ), three.leaf, certificates( { three.intermediate } ) ) );
    };
    EXPECT_EQ( at( "2024-01-01T00:00:00Z" ), "good" );
    EXPECT_EQ( at( "2023-12-31T23:59:59Z" ), "chain 9 at 0" );
    EXPECT_EQ( at( "2025-12-31T23:59:58Z" ), "good" );
    EXPECT_EQ( at( "2026-01-01T00:00:00Z" ), "chain 10 at 0" );
    EXPECT_EQ( at( "2019-01-01T00:00:00Z" ).substr( 0, 8 ), "chain 9 " );
    // Without a time, it is now.
    Certificate old = certificate( makeCertificate( { .subject = "CN=old", .subjectKey = key( KeyKind::p256 ), .notAfter = "20210101000000Z" } ) );
    Certificate current = peer();
    EXPECT_EQ( verdict( options( trusting( { old } ) ), {}, old ), "chain 10 at 0" );
    EXPECT_EQ( verdict( options( trusting( { current } ) ), {}, current ), "good" );
}

TEST( CryX509Validator, ADayThatDoesNotExistFails )
{
    Policy           policy = policyOf( {} );
    pb::Ref<PB_TIME> never  = pb::adopt( pbTimeCreate( 2024, 2, 30, 12, 0, 0, 0 ) );
    cryX509PolicySetTime( policy.handle(), never.get() );
    Session   sess = sessionOf( stackOf( options( trusting( { peer() } ) ) ) );
    Attached  sink( trSinkCreateMemory() );
    Validator val = validatorOf( sess, policy, peer() );
    EXPECT_EQ( verdictOf( val ), "time" );
    EXPECT_EQ( pb::adopt( cryX509ValidatorFailureTime( failureOf( val ).get() ) ).get(), never.get() );
    Lines lines = linesOf( sink.get(), "CRY_X509_VALIDATOR" );
    ASSERT_GE( lines.size(), 5u );
    EXPECT_EQ( Lines( lines.end() - 5, lines.end() ),
        ( Lines{ "notable", "text [cry___X509ValidatorImpStateInitial()] pbTimeTryConvertToTimeT(): false", "notable",
            "text [cry___X509ValidatorImpStateError()]", "property crySuccess false" } ) );
    // Nobody looks at the time if nothing is verified.
    cryX509PolicySetFlags( policy.handle(), disabled );
    EXPECT_EQ( verdictOf( validatorOf( sess, policy, peer() ) ), "good" );
}

TEST( CryX509Validator, WithoutValidationAcceptsEveryCertificate )
{
    Certificate cert = stranger();
    Validator   val  = validatorOf( sessionOf( stackOf( options( trusting( { peer() } ) ) ) ), policyOf( { .flags = disabled } ), cert );
    EXPECT_EQ( verdictOf( val ), "good" );
    EXPECT_EQ( objects( chainOf( val ) ), Objects{ cert.get() } );
    // The acceptable names do not count either, but the trusted names do.
    EXPECT_EQ( verdict( options(), { .flags = disabled, .names = Names{ "other.example" } }, stranger() ), "good" );
    EXPECT_EQ( verdict( options( trustingNames( { "x.a.example" } ) ), { .flags = disabled }, stranger() ), "good" );
    EXPECT_EQ( verdict( options( trustingNames( { "other.example" } ) ), { .flags = disabled }, stranger() ), "trusted" );
    EXPECT_EQ( verdict( options( trustingNames( { "x.a.example" } ) ), { .flags = disabled | noWildcards }, stranger() ), "trusted" );
    EXPECT_EQ( verdict( options( trustingNames( { "x.a.example" } ) ), { .flags = disabled }, nameless() ), "trusted" );
}

TEST( CryX509Validator, TheFlagsOfTheStackCountToo )
{
    EXPECT_EQ( verdict( options(), {}, stranger() ), "chain 18 at 0" );
    EXPECT_EQ( verdict( options( adding( disabled ) ), {}, stranger() ), "good" );
    auto trustPeer = trusting( { peer() } );
    for( CRY_X509_POLICY_FLAGS ofStack : { CRY_X509_POLICY_FLAGS{ 0 }, noWildcards } )
        for( CRY_X509_POLICY_FLAGS ofPolicy : { CRY_X509_POLICY_FLAGS{ 0 }, noWildcards } )
            EXPECT_EQ( verdict( options( trustPeer, adding( ofStack ) ), { .flags = ofPolicy, .names = Names{ "x.a.example" } }, peer() ),
                ofStack | ofPolicy ? "acceptable" : "good" );
    EXPECT_EQ( verdict( options( trustPeer, adding( noNames ) ), { .names = Names{ "other.example" } }, peer() ), "good" );
    // The session has the flags of its time.
    Stack   stack = stackOf( options( adding( disabled ) ) );
    Session sess  = sessionOf( stack );
    setOptions( stack, options() );
    EXPECT_EQ( verdictOf( validatorOf( sess, policyOf( {} ), stranger() ) ), "good" );
    EXPECT_EQ( verdictOf( validatorOf( sessionOf( stack ), policyOf( {} ), stranger() ) ), "chain 18 at 0" );
}

TEST( CryX509Validator, OneOfTheAcceptableNamesIsNeeded )
{
    EXPECT_EQ( verdict( {} ), "good" );
    EXPECT_EQ( verdict( { .names = Names{ "x.a.example" } } ), "good" );
    EXPECT_EQ( verdict( { .names = Names{ "other.example", "192.0.2.1" } } ), "good" );
    EXPECT_EQ( verdict( { .names = Names{ "other.example", "192.0.2.2" } } ), "acceptable" );
    EXPECT_EQ( verdict( { .names = Names{} } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = noNames, .names = Names{ "other.example" } } ), "good" );
    EXPECT_EQ( verdict( { .flags = noNames, .names = Names{} } ), "good" );
    EXPECT_EQ( verdict( options( trusting( { nameless() } ) ), { .names = Names{ "a.example" } }, nameless() ), "acceptable" );
    EXPECT_EQ( verdict( options( trusting( { nameless() } ) ), {}, nameless() ), "good" );
}

TEST( CryX509Validator, AWildcardMatchesUnlessTheFlagForbidsIt )
{
    EXPECT_EQ( verdict( { .names = Names{ "x.a.example" } } ), "good" );
    EXPECT_EQ( verdict( { .flags = noWildcards, .names = Names{ "x.a.example" } } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = noWildcards, .names = Names{ "192.0.2.1" } } ), "good" );
    auto trustPeer = trusting( { peer() } );
    EXPECT_EQ( verdict( options( trustPeer, trustingNames( { "x.a.example" } ) ), {}, peer() ), "good" );
    EXPECT_EQ( verdict( options( trustPeer, trustingNames( { "x.a.example" } ) ), { .flags = noWildcards }, peer() ), "trusted" );
}

TEST( CryX509Validator, TheTrustedNamesAlwaysCount )
{
    auto trustPeer = trusting( { peer() } ), trustNameless = trusting( { nameless() } );
    for( CRY_X509_POLICY_FLAGS flags : { CRY_X509_POLICY_FLAGS{ 0 }, disabled, noNames, disabled | noNames, lenient, CRY_X509_POLICY_FLAGS{ 15 } } )
    {
        EXPECT_EQ( verdict( options( trustPeer, trustingNames( { "b.example", "192.0.2.1" } ) ), { .flags = flags }, peer() ), "good" ) << flags;
        EXPECT_EQ( verdict( options( trustPeer, trustingNames( { "192.0.2.2" } ) ), { .flags = flags, .address = "192.0.2.2" }, peer() ), "trusted" )
            << flags;
        EXPECT_EQ( verdict( options( trustNameless, trustingNames( { "b.example" } ) ), { .flags = flags }, nameless() ), "trusted" ) << flags;
    }
    // They come before the acceptable names.
    EXPECT_EQ( verdict( options( trustPeer, trustingNames( { "b.example" } ) ), { .names = Names{ "b.example" } }, peer() ), "trusted" );
    EXPECT_EQ( verdict( options( trustPeer, trustingNames( { "x.a.example" } ) ), { .names = Names{ "b.example" } }, peer() ), "acceptable" );
}

TEST( CryX509Validator, TheLenientAddressIsEnoughIfItIsTheOnlyAcceptableName )
{
    // The peer does not have this address.
    const char *address = "192.0.2.9";
    Names       only    = { address };
    EXPECT_EQ( verdict( { .flags = lenient, .names = only, .address = address } ), "good" );
    EXPECT_EQ( verdict( { .names = only, .address = address } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = lenient, .names = only } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = lenient, .names = only, .address = "192.0.2.8" } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = lenient, .names = Names{ address, "192.0.2.8" }, .address = address } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = lenient, .names = Names{ "b.example" }, .address = address } ), "acceptable" );
    EXPECT_EQ( verdict( { .flags = lenient, .names = Names{}, .address = address } ), "acceptable" );
    // The stack may set the flag. The certificate needs no names.
    EXPECT_EQ( verdict( options( trusting( { peer() } ), adding( lenient ) ), { .names = only, .address = address }, peer() ), "good" );
    EXPECT_EQ( verdict( options( trusting( { nameless() } ), adding( lenient ) ), { .names = only, .address = address }, nameless() ), "good" );
    // A name that the certificate has is enough in any case.
    EXPECT_EQ( verdict( { .flags = lenient, .names = Names{ "192.0.2.1" }, .address = address } ), "good" );
}

TEST( CryX509Validator, ChecksNamesAtAnyTime )
{
    Session sess         = sessionOf( stackOf( options() ) );
    auto    expectChecks = [&]( const PolicyValues &values, bool always ) {
        std::optional<BusyWorkers> busy( std::in_place );
        Validator                  val = validatorOf( sess, policyOf( values ), stranger() );
        for( int round = 0; round < 2; round++ )
        {
            EXPECT_TRUE( cryX509ValidatorCheckSans( val.get(), sansOf( { "x.a.example" } ).get() ) );
            EXPECT_EQ( (bool)cryX509ValidatorCheckSans( val.get(), sansOf( { "other.example" } ).get() ), always );
            EXPECT_EQ( (bool)cryX509ValidatorCheckSans( val.get(), sansOf( {} ).get() ), always );
            EXPECT_EQ( (bool)cryX509ValidatorEnd( val.get() ), round == 1 );
            // The second round is after the end.
            busy.reset();
            waitFor( val );
        }
        EXPECT_EQ( (bool)cryX509ValidatorError( val.get() ), !( values.flags & disabled ) );
    };
    expectChecks( {}, false );
    expectChecks( { .flags = noNames }, true );
    expectChecks( { .flags = disabled }, true );
}

TEST( CryX509Validator, TakesAGivenChainAsVerified )
{
    // It has expired, nobody trusts it, and it is no chain.
    Three three;
    auto  validate = [&]( const Options &opt, const PolicyValues &policy, const std::vector<Certificate> &chain ) {
        return pb::adopt( cry___X509ValidatorCreateWithCertificateChain(
            sessionOf( stackOf( opt ) ).get(), policyOf( policy ).get(), certificates( chain ).get(), nullptr ) );
    };
    Validator val = validate( options(), { .time = "2030-01-01T00:00:00Z" }, { three.leaf, stranger(), three.root } );
    EXPECT_EQ( verdictOf( val ), "good" );
    EXPECT_EQ( objects( chainOf( val ) ).size(), 3u );
    EXPECT_EQ( objects( chainOf( val ) )[0], three.leaf.get() );
    EXPECT_EQ( pb::adopt( cryX509ValidatorCertificate( val.get() ) ).get(), three.leaf.get() );
    EXPECT_EQ( objects( pb::adopt( cryX509ValidatorExtraCertificates( val.get() ) ) ), Objects{} );
    // Names are checked.
    EXPECT_EQ( verdictOf( validate( options(), { .names = Names{ "x.a.example" } }, { peer() } ) ), "good" );
    EXPECT_EQ( verdictOf( validate( options(), { .names = Names{ "b.example" } }, { peer() } ) ), "acceptable" );
    EXPECT_EQ(
        verdictOf( validate( options( trustingNames( { "b.example" } ) ), {}, { peer(), selfSigned( "CN=other", "DNS:b.example" ) } ) ), "trusted" );
}

TEST( CryX509Validator, APreValidatedCertificateIsAccepted )
{
    Certificate cert = stranger();
    Options     opt  = options( trustingNames( { "b.example" } ) );
    Validator   val  = pb::adopt( cry___X509ValidatorCreatePreValidated( sessionOf( stackOf( opt ) ).get(),
           policyOf( { .names = Names{ "b.example" }, .time = "1999-01-01T00:00:00Z" } ).get(), cert.get(), nullptr ) );
    EXPECT_EQ( verdictOf( val ), "good" );
    EXPECT_FALSE( cryX509ValidatorHasCertificateChain( val.get() ) );
    EXPECT_FALSE( chainOf( val ) );
    EXPECT_EQ( pb::adopt( cryX509ValidatorCertificate( val.get() ) ).get(), cert.get() );
    EXPECT_FALSE( cryX509ValidatorCheckSans( val.get(), sansOf( { "b.example" } ).get() ) );
}

TEST( CryX509Validator, HasNoResultBeforeItsEnd )
{
    Session   sess = sessionOf( stackOf( options( trusting( { peer() } ) ) ) );
    Told      end, error, leaves;
    Validator val;
    {
        BusyWorkers busy;
        val = validatorOf( sess, policyOf( {} ), peer() );
        EXPECT_FALSE( cryX509ValidatorEnd( val.get() ) );
        EXPECT_FALSE( cryX509ValidatorError( val.get() ) );
        EXPECT_FALSE( cryX509ValidatorHasCertificateChain( val.get() ) );
        EXPECT_FALSE( chainOf( val ) );
        EXPECT_FALSE( cryX509ValidatorHasFailure( val.get() ) );
        EXPECT_FALSE( failureOf( val ) );
        cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
        cryX509ValidatorErrorAddSignalable( val.get(), error.sigb() );
        cryX509ValidatorEndAddSignalable( val.get(), leaves.sigb() );
        cryX509ValidatorEndDelSignalable( val.get(), leaves.sigb() );
    }
    EXPECT_TRUE( end.soon() );
    waitFor( val );
    EXPECT_FALSE( error.now() );
    EXPECT_FALSE( leaves.now() );
}

TEST( CryX509Validator, AnErrorIsAlsoTheEnd )
{
    Session   sess = sessionOf( stackOf( options() ) );
    Told      end, error, leaves, late;
    Validator val;
    {
        BusyWorkers busy;
        val = validatorOf( sess, policyOf( {} ), stranger() );
        cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
        cryX509ValidatorErrorAddSignalable( val.get(), error.sigb() );
        cryX509ValidatorErrorAddSignalable( val.get(), leaves.sigb() );
        cryX509ValidatorErrorDelSignalable( val.get(), leaves.sigb() );
    }
    EXPECT_TRUE( end.soon() );
    // Who asks after the end sees the error.
    EXPECT_TRUE( cryX509ValidatorError( val.get() ) );
    EXPECT_TRUE( error.now() );
    EXPECT_FALSE( leaves.now() );
    cryX509ValidatorErrorAddSignalable( val.get(), late.sigb() );
    EXPECT_TRUE( late.now() );
}

TEST( CryX509Validator, NobodyWaitsForAVerification )
{
    Session   sess = sessionOf( stackOf( options( trusting( { peer() } ) ) ) );
    Held      held( sess );
    Validator val = validatorOf( sess, policyOf( {} ), peer() );
    held.waitUntilItRuns();
    EXPECT_FALSE( cryX509ValidatorEnd( val.get() ) );
    EXPECT_FALSE( chainOf( val ) );
    EXPECT_TRUE( cryX509ValidatorCheckSans( val.get(), sansOf( { "x.a.example" } ).get() ) );
    held.letGo();
    EXPECT_EQ( verdictOf( val ), "good" );
}

TEST( CryX509Validator, ADroppedValidatorNeverEnds )
{
    Session sess   = sessionOf( stackOf( options( trusting( { peer() } ) ) ) );
    Policy  policy = policyOf( {} );
    for( bool running : { false, true } )
    {
        PB_INT alive = aliveAtRest();
        {
            Told end;
            if( running )
            {
                Held      held( sess );
                Validator val = validatorOf( sess, policy, peer() );
                cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
                held.waitUntilItRuns();
                val = {};
                held.letGo();
                // The workers become free only after the run.
                BusyWorkers busy;
            }
            else
            {
                BusyWorkers busy;
                Validator   val = validatorOf( sess, policy, peer() );
                cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
            }
            settle();
            EXPECT_FALSE( end.now() );
        }
        EXPECT_EQ( aliveAtRest(), alive );
        X509_STORE_set_verify_cb( cry___X509SessionPeekOpensslX509Store( sess.get() ), nullptr );
    }
}

TEST( CryX509Validator, KeepsItsSessionAndTheStackUntilItsEnd )
{
    PB_INT alive = aliveAtRest();
    {
        Told end;
        {
            Stack     stack = stackOf( options( fromVault( "name" ), trusting( { peer() } ) ) );
            Session   sess  = sessionOf( stack );
            Held      held( sess );
            Validator val = validatorOf( sess, policyOf( {} ), peer() );
            cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
            stack = {};
            sess  = {};
            held.waitUntilItRuns();
            // The run holds the last reference, so a worker frees them all.
            val = {};
            held.letGo();
            BusyWorkers busy;
        }
        EXPECT_FALSE( end.now() );
    }
    EXPECT_EQ( aliveAtRest(), alive );
}

TEST( CryX509Validator, IsAskedFromManyThreads )
{
    Session sess = sessionOf( stackOf( options( trusting( { peer() } ), trustingNames( { "x.a.example" } ) ) ) );
    for( int round = 0; round < 20; round++ )
    {
        bool                     good = round % 2;
        Validator                val  = validatorOf( sess, policyOf( { .names = Names{ good ? "y.a.example" : "b.example" } } ), peer() );
        std::vector<std::thread> threads;
        std::atomic<int>         wrong = 0;
        for( int each = 0; each < 6; each++ )
            threads.emplace_back( [&] {
                Told end;
                cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
                wrong += !cryX509ValidatorCheckSans( val.get(), sansOf( { "z.a.example" } ).get() );
                while( !cryX509ValidatorEnd( val.get() ) )
                    std::this_thread::yield();
                wrong += !end.now();
                wrong += (bool)cryX509ValidatorError( val.get() ) == good;
                wrong += (bool)chainOf( val ) != good;
                wrong += (bool)failureOf( val ) == good;
            } );
        for( std::thread &thread : threads )
            thread.join();
        EXPECT_EQ( wrong, 0 );
    }
}

TEST( CryX509Validator, TracesItsWork )
{
    Three              three;
    pb::Ref<TR_STREAM> owner  = traces::stream( "OWNER" );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 5 ) );
    Session            sess   = sessionOf( stackOf( options( trusting( { three.root } ), adding( noWildcards ) ) ) );
    Policy             policy = policyOf( { .flags = noNames, .names = Names{ "b.example" }, .time = leafTime.data() } );
    Certificates       extra  = certificates( { three.intermediate } );
    Attached           sink( trSinkCreateMemory() );
    auto               certs     = []( const Certificates &of ) { return json( cryX509CertificatesStore( of.get() ) ); };
    auto               beginning = [&]( const Certificate &cert, const Certificates &others ) {
        return Lines{ "link 9 CRY_X509_SESSION", "property cryPolicy " + json( cryX509PolicyStore( policy.get() ) ),
            "property cryEffectivePolicyFlags \"CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS|CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING\"",
            "property cryCertificate " + json( cryX509CertificateStore( cert.get() ) ),
            "property cryCertificateInfo " + json( cryX509InfoStore( pb::adopt( cryX509CertificateInfo( cert.get() ) ).get() ) ),
            "property cryExtraCertificates " + certs( others ) };
    };
    auto chain = [&]( const Certificates &of ) {
        return Lines{ "property cryCertificateChain " + certs( of ),
            "property cryCertificateChainSubjects " + json( cry___X509CertificatesStoreSubjects( of.get() ) ) };
    };
    const Lines good   = { "text [cry___X509ValidatorImpStateEnd()]", "property crySuccess true" };
    const Lines error  = { "notable", "text [cry___X509ValidatorImpStateError()]", "property crySuccess false" };
    const Lines halt   = { "text [cry___X509ValidatorImpHalt()]" };
    auto        joined = []( std::initializer_list<Lines> parts ) {
        Lines all;
        for( const Lines &part : parts )
            all.insert( all.end(), part.begin(), part.end() );
        return all;
    };
    auto linesAfter = [&]( Validator val ) {
        waitFor( val );
        // The signal comes before the last run has ended, but after all its traces.
        val = {};
        return linesOf( sink.get(), "CRY_X509_VALIDATOR" );
    };

    Validator val = validatorOf( sess, policy, three.leaf, extra, anchor.get() );
    waitFor( val );
    cryX509ValidatorTraceCompleteAnchor( val.get(), anchor.get() );
    pb::Ref<PB_VECTOR> kept  = pb::adopt( trSinkEvents( sink.get() ) );
    Certificates       given = certificates( { three.leaf, three.intermediate, three.root } );
    EXPECT_EQ( linesAfter( std::move( val ) ), joined( { beginning( three.leaf, extra ), chain( given ), good, halt } ) );
    int links = 0;
    for( PB_STORE *event : pb::each<PB_STORE>( kept.get() ) )
        links += text( pb::adopt( pbStoreValueCstr( event, "name", -1 ) ) ) == "OWNER";
    EXPECT_EQ( links, 2 );

    EXPECT_EQ( linesAfter( validatorOf( sess, policy, three.leaf ) ),
        joined( { beginning( three.leaf, certificates( {} ) ),
            { "notable", "text [cry___X509ValidatorImpStateInitial()] X509_verify_cert(): failed (error 20 at depth 0)" }, error, halt } ) );
    EXPECT_EQ( linesAfter( pb::adopt( cry___X509ValidatorCreateWithCertificateChain( sess.get(), policy.get(), given.get(), nullptr ) ) ),
        joined( { beginning( three.leaf, certificates( {} ) ), chain( given ), good, halt } ) );
    EXPECT_EQ( linesAfter( pb::adopt( cry___X509ValidatorCreatePreValidated( sess.get(), policy.get(), three.leaf.get(), nullptr ) ) ),
        joined( { beginning( three.leaf, certificates( {} ) ), good, halt } ) );
}

TEST( CryX509Validator, TracesWhichCheckOfNamesFailed )
{
    auto lastLines = []( const Options &opt, const PolicyValues &policy ) {
        Session  sess = sessionOf( stackOf( opt ) );
        Attached sink( trSinkCreateMemory() );
        waitFor( validatorOf( sess, policyOf( policy ), peer() ) );
        Lines lines = linesOf( sink.get(), "CRY_X509_VALIDATOR" );
        return Lines( lines.begin() + 6, lines.end() );
    };
    const std::string certs    = json( cryX509CertificatesStore( certificates( { peer() } ).get() ) ),
                      subjects = json( cry___X509CertificatesStoreSubjects( certificates( { peer() } ).get() ) );
    auto failing               = [&]( const char *check, bool notVerified ) {
        Lines lines = { "property cryCertificateChain " + certs, "property cryCertificateChainSubjects " + subjects, "notable",
            std::string( "text [cry___X509ValidatorImpStateSans()] " ) + check, "notable", "text [cry___X509ValidatorImpStateError()]",
            "property crySuccess false", "text [cry___X509ValidatorImpHalt()]" };
        if( notVerified )
            lines.insert( lines.begin(), "text [cry___X509ValidatorImpStateInitial()] Certificate validation disabled." );
        return lines;
    };
    auto trustPeer = trusting( { peer() } );
    EXPECT_EQ( lastLines( options( trustPeer, trustingNames( { "b.example" } ) ), {} ),
        failing( "cry___X509ValidatorImpCheckTrustedSans(): false", false ) );
    EXPECT_EQ( lastLines( options( trustPeer, trustingNames( { "b.example" } ) ), { .flags = disabled } ),
        failing( "cry___X509ValidatorImpCheckTrustedSans(): false", true ) );
    EXPECT_EQ( lastLines( options( trustPeer ), { .names = Names{ "b.example" } } ), failing( "cry___X509ValidatorImpCheckSans(): false", false ) );
}

TEST( CryX509Validator, TracesNothingWithoutASink )
{
    Session  sess = sessionOf( stackOf( options( trusting( { peer() } ) ) ) );
    Attached sink( trSinkCreateMemory() );
    trSinkDetach( sink.get() );
    Validator val = validatorOf( sess, policyOf( {} ), peer() );
    waitFor( val );
    EXPECT_TRUE( trSinkAttach( sink.get() ) );
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_VALIDATOR" ), Lines{} );
}

TEST( CryX509Validator, EqualsOnlyItself )
{
    Session   sess = sessionOf( stackOf( options() ) );
    Validator one = validatorOf( sess, policyOf( {} ), peer() ), two = validatorOf( sess, policyOf( {} ), peer() );
    EXPECT_TRUE( cryX509ValidatorEquals( one.get(), one.get() ) );
    EXPECT_FALSE( cryX509ValidatorEquals( one.get(), two.get() ) );
    EXPECT_EQ( text( pb::adopt( cryX509ValidatorToString( one.get() ) ) ).rfind( "CRY_X509_VALIDATOR(0x", 0 ), 0u );
}
