// Stacks, sessions and validators. "Plain" is the bare verification with one store that all
// verifications share, which is the least that a program must do.
#include "material.hpp"
#include "pairs.hpp"

#include <chrono>
#include <cry/cry.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_session.h>
#include <cry/internal/cry_x509_validator.h>
#include <deque>
#include <memory>
#include <openssl/x509_vfy.h>
#include <thread>
#include <time.h>

namespace
{

using Chain = std::array<bench::Certificate, 3>;

pb::Ref<CRY_X509_CERTIFICATE> certificateOf( const bench::Certificate &each )
{
    return pb::adopt( cryX509CertificateTryCreateFromDer( bench::buffer( each.der ).get() ) );
}

// One chain: the peer's leaf and intermediate, and a session that trusts the root and the
// platform's roots.
struct World
{
    pb::Ref<CRY_X509_CERTIFICATE>  leaf;
    pb::Ref<CRY_X509_CERTIFICATES> extra  = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<CRY_X509_POLICY>       policy = pb::adopt( cryX509PolicyCreate() );
    pb::Ref<CRY_X509_STACK>        stack;
    pb::Ref<CRY_X509_SESSION>      session;

    explicit World( const Chain &chain ) : leaf( certificateOf( chain[0] ) )
    {
        cryX509CertificatesAppendCertificate( extra.handle(), certificateOf( chain[1] ).get() );
        auto trusted = pb::adopt( cryX509CertificatesCreate() );
        cryX509CertificatesAppendCertificate( trusted.handle(), certificateOf( chain[2] ).get() );
        auto options = pb::adopt( cryX509StackOptionsCreate() );
        cryX509StackOptionsSetTrustedCertificates( options.handle(), trusted.get() );
        cryX509StackOptionsSetTrustMode( options.handle(), CRY_X509_STACK_TRUST_MODE_SYSTEM );
        stack   = pb::adopt( cryX509StackCreate( options.get(), nullptr ) );
        session = pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) );
    }

    // The verification that a validator does, without the validator.
    void verifyBare() const
    {
        STACK_OF( X509 ) *untrusted = sk_X509_new_null();
        sk_X509_push( untrusted, cry___X509CertificatePeekOpensslX509( pb::adopt( cryX509CertificatesCertificateAt( extra.get(), 0 ) ).get() ) );
        X509_STORE_CTX *context = X509_STORE_CTX_new();
        X509_STORE_CTX_init(
            context, cry___X509SessionPeekOpensslX509Store( session.get() ), cry___X509CertificatePeekOpensslX509( leaf.get() ), untrusted );
        X509_VERIFY_PARAM *parameters = X509_VERIFY_PARAM_new();
        X509_VERIFY_PARAM_set_depth( parameters, 255 );
        X509_VERIFY_PARAM_set_flags( parameters, X509_V_FLAG_PARTIAL_CHAIN );
        X509_STORE_CTX_set0_param( context, parameters );
        if( X509_verify_cert( context ) != 1 )
            std::abort();
        X509_STORE_CTX_free( context );
        sk_X509_free( untrusted );
    }
};

constexpr int inFlight = 64, rounds = 40;

// Makes validators and waits for their ends, `inFlight` at a time, refilled in halves.
class Stream
{
public:
    explicit Stream( const World &from, bool withVerification = true ) : world( from ), verifies( withVerification ) {}

    void run()
    {
        add();
        for( int round = 0; round < rounds; round++ )
        {
            add();
            take();
        }
        take();
    }
    static constexpr int count = ( rounds + 1 ) * inFlight / 2;

private:
    struct Running
    {
        pb::Ref<CRY_X509_VALIDATOR> validator;
        pb::Ref<PB_SIGNAL>          end;
    };

    void add()
    {
        for( int index = 0; index < inFlight / 2; index++ )
        {
            Running each;
            each.validator = pb::adopt( verifies
                    ? cryX509ValidatorCreate( world.session.get(), world.policy.get(), world.leaf.get(), world.extra.get(), nullptr )
                    : cry___X509ValidatorCreatePreValidated( world.session.get(), world.policy.get(), world.leaf.get(), nullptr ) );
            each.end       = pb::adopt( pbSignalCreate() );
            cryX509ValidatorEndAddSignalable( each.validator.get(), pb::adopt( pbSignalableCreateSignal( each.end.get() ) ).get() );
            running.push_back( std::move( each ) );
        }
    }

    void take()
    {
        // The last one first: when it has ended, most others have, too.
        pbSignalWait( running[inFlight / 2 - 1].end.get(), -1 );
        for( int index = 0; index < inFlight / 2; index++ )
        {
            pbSignalWait( running.front().end.get(), -1 );
            if( cryX509ValidatorError( running.front().validator.get() ) )
                std::abort();
            running.pop_front();
        }
    }

    const World        &world;
    bool                verifies;
    std::deque<Running> running;
};

double now( clockid_t clock )
{
    timespec time;
    clock_gettime( clock, &time );
    return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
}

// Measures the processor time of the whole process, or real time, for one of `count`.
void timedPair( const std::string &name, clockid_t clock, int count, std::function<void()> ours, std::function<void()> plain )
{
    for( bool isOurs : { true, false } )
    {
        auto work = isOurs ? ours : plain;
        benchmark::RegisterBenchmark( ( name + ( isOurs ? "/ours" : "/plain" ) ).c_str(),
            [=]( benchmark::State &state ) {
                for( auto _ : state )
                {
                    double begin = now( clock );
                    work();
                    state.SetIterationTime( ( now( clock ) - begin ) / count );
                }
            } )
            ->UseManualTime()
            ->Iterations( 20 );
    }
}

void registerKind( const std::string &kind, const Chain &chain )
{
    auto world = std::make_shared<World>( chain );
    timedPair(
        "validator, 64 in flight, " + kind + ": processor time", CLOCK_PROCESS_CPUTIME_ID, Stream::count, [world] { Stream( *world ).run(); },
        [world] {
            for( int index = 0; index < Stream::count; index++ )
                world->verifyBare();
        } );
    timedPair(
        "validator, 64 in flight, " + kind + ": time, two threads", CLOCK_MONOTONIC, Stream::count, [world] { Stream( *world ).run(); },
        [world] {
            auto half = [world] {
                for( int index = 0; index < Stream::count / 2; index++ )
                    world->verifyBare();
            };
            std::thread other( half );
            half();
            other.join();
        } );
    timedPair(
        "validator, one alone, " + kind + ": processor time", CLOCK_PROCESS_CPUTIME_ID, 1,
        [world] {
            auto end       = pb::adopt( pbSignalCreate() );
            auto validator = pb::adopt(
                cryX509ValidatorCreate( world->session.get(), world->policy.get(), world->leaf.get(), world->extra.get(), nullptr ) );
            cryX509ValidatorEndAddSignalable( validator.get(), pb::adopt( pbSignalableCreateSignal( end.get() ) ).get() );
            pbSignalWait( end.get(), -1 );
        },
        [world] { world->verifyBare(); } );
}

}

void bench::registerValidators()
{
    static const World world( material().ec );
    registerKind( "RSA", material().rsa );
    registerKind( "EC", material().ec );
    timedPair(
        "validator without verification, 64 in flight: processor time", CLOCK_PROCESS_CPUTIME_ID, Stream::count, [] { Stream( world, false ).run(); },
        [] {
            for( int index = 0; index < Stream::count; index++ )
                X509_STORE_CTX_free( X509_STORE_CTX_new() );
        } );
    pair(
        "session: made and freed", [] { pb::adopt( cryX509SessionCreate( world.stack.get(), nullptr ) ); },
        [] {
            X509_STORE *store = cry___X509SessionPeekOpensslX509Store( world.session.get() );
            X509_STORE_up_ref( store );
            X509_STORE_free( store );
        } );
    pair(
        "stack with the platform's roots: made and freed",
        [] {
            auto options = pb::adopt( cryX509StackOptionsCreate() );
            cryX509StackOptionsSetTrustMode( options.handle(), CRY_X509_STACK_TRUST_MODE_SYSTEM );
            pb::adopt( cryX509StackCreate( options.get(), nullptr ) );
        },
        [] {
            auto        roots = pb::adopt( cryX509SystemTrustedCertificates() );
            X509_STORE *store = X509_STORE_new();
            for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( roots.get() ); index++ )
                X509_STORE_add_cert(
                    store, cry___X509CertificatePeekOpensslX509( pb::adopt( cryX509CertificatesCertificateAt( roots.get(), index ) ).get() ) );
            X509_STORE_free( store );
        } );
}
