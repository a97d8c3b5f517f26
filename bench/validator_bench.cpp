// Stacks, sessions and validators. "Plain" is the bare verification with one store that all
// verifications share, which is the least that a program must do. It computes each signature.
#include "ours.hpp"

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

using bench::Chain;

// One chain: the peer's leaf and intermediate, and a session that trusts the root and the
// platform's roots.
struct World
{
    Chain                     chain;
    bench::Presented          peer;
    pb::Ref<CRY_X509_POLICY>  policy = pb::adopt( cryX509PolicyCreate() );
    pb::Ref<CRY_X509_STACK>   stack;
    pb::Ref<CRY_X509_SESSION> session;

    explicit World( const Chain &from ) : chain( from ), peer( from )
    {
        auto options = pb::adopt( cryX509StackOptionsCreate() );
        cryX509StackOptionsSetTrustedCertificates( options.handle(), bench::collectionOf( chain[2].der ).get() );
        cryX509StackOptionsSetTrustMode( options.handle(), CRY_X509_STACK_TRUST_MODE_SYSTEM );
        stack   = pb::adopt( cryX509StackCreate( options.get(), nullptr ) );
        session = pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) );
    }

    pb::Ref<CRY_X509_VALIDATOR> validator( const bench::Presented &of ) const
    {
        return pb::adopt( cryX509ValidatorCreate( session.get(), policy.get(), of.leaf.get(), of.extra.get(), nullptr ) );
    }

    // The verification that a validator does, without the validator.
    void verifyBare() const
    {
        bench::plainVerify( cry___X509SessionPeekOpensslX509Store( session.get() ), cry___X509CertificatePeekOpensslX509( peer.leaf.get() ),
            cry___X509CertificatePeekOpensslX509( pb::adopt( cryX509CertificatesCertificateAt( peer.extra.get(), 0 ) ).get() ) );
    }
};

constexpr int inFlight = 64, rounds = 40;

// Makes validators and waits for their ends, `inFlight` at a time, refilled in halves.
class Stream
{
public:
    enum class Kind
    {
        sameObjects,
        fromDer, // the certificates of the peer are parsed for each validator
        withoutVerification,
    };
    explicit Stream( const World &from, Kind ofValidators = Kind::sameObjects ) : world( from ), kind( ofValidators ) {}

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
            each.validator = makeValidator();
            each.end       = pb::adopt( pbSignalCreate() );
            cryX509ValidatorEndAddSignalable( each.validator.get(), pb::adopt( pbSignalableCreateSignal( each.end.get() ) ).get() );
            running.push_back( std::move( each ) );
        }
    }

    pb::Ref<CRY_X509_VALIDATOR> makeValidator() const
    {
        if( kind == Kind::withoutVerification )
            return pb::adopt( cry___X509ValidatorCreatePreValidated( world.session.get(), world.policy.get(), world.peer.leaf.get(), nullptr ) );
        return world.validator( kind == Kind::fromDer ? bench::Presented( world.chain ) : world.peer );
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
    Kind                kind;
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
    auto                   world = std::make_shared<World>( chain );
    std::shared_ptr<World> plain;
    {
        bench::WithoutShortcuts without;
        plain = std::make_shared<World>( chain );
        plain->verifyBare();
    }
    auto bare = [plain] {
        bench::WithoutShortcuts without;
        for( int index = 0; index < Stream::count; index++ )
            plain->verifyBare();
    };
    timedPair(
        "validator, 64 in flight, " + kind + ": processor time", CLOCK_PROCESS_CPUTIME_ID, Stream::count, [world] { Stream( *world ).run(); }, bare );
    timedPair(
        "validator, 64 in flight, peer's chain from DER, " + kind + ": processor time", CLOCK_PROCESS_CPUTIME_ID, Stream::count,
        [world] { Stream( *world, Stream::Kind::fromDer ).run(); }, bare );
    timedPair(
        "validator, 64 in flight, " + kind + ": time, two threads", CLOCK_MONOTONIC, Stream::count, [world] { Stream( *world ).run(); },
        [plain] {
            bench::WithoutShortcuts without;
            auto                    half = [plain] {
                for( int index = 0; index < Stream::count / 2; index++ )
                    plain->verifyBare();
            };
            std::thread other( half );
            half();
            other.join();
        } );
    timedPair(
        "validator, one alone, " + kind + ": processor time", CLOCK_PROCESS_CPUTIME_ID, 1,
        [world] {
            auto end       = pb::adopt( pbSignalCreate() );
            auto validator = world->validator( world->peer );
            cryX509ValidatorEndAddSignalable( validator.get(), pb::adopt( pbSignalableCreateSignal( end.get() ) ).get() );
            pbSignalWait( end.get(), -1 );
        },
        [plain] {
            bench::WithoutShortcuts without;
            plain->verifyBare();
        } );
}

}

void bench::registerValidators()
{
    static const World world( material().ec );
    registerKind( "RSA", material().rsa );
    registerKind( "EC", material().ec );
    timedPair(
        "validator without verification, 64 in flight: processor time", CLOCK_PROCESS_CPUTIME_ID, Stream::count,
        [] { Stream( world, Stream::Kind::withoutVerification ).run(); },
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
