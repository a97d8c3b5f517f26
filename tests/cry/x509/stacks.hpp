// Stacks, sessions and validators for tests.
#pragma once

#include "cry/vault/vaults.hpp"
#include "cry/x509/names.hpp"
#include "support/processes.hpp"
#include "support/stores.hpp"

#include <cry/internal/cry_x509_session.h>
#include <cry/internal/cry_x509_stack.h>
#include <cry/internal/cry_x509_validator.h>
#include <tr/tr.h>

#include <semaphore>

namespace support
{

using Options   = pb::Ref<CRY_X509_STACK_OPTIONS>;
using Stack     = pb::Ref<CRY_X509_STACK>;
using Session   = pb::Ref<CRY_X509_SESSION>;
using Policy    = pb::Ref<CRY_X509_POLICY>;
using Validator = pb::Ref<CRY_X509_VALIDATOR>;
using Failure   = pb::Ref<CRY_X509_VALIDATOR_FAILURE>;

// New options, after each of the edits.
inline Options options( auto... edits )
{
    Options opt = pb::adopt( cryX509StackOptionsCreate() );
    ( edits( opt.handle() ), ... );
    return opt;
}

// Edits.
inline auto identityMode( CRY_X509_STACK_IDENTITY_MODE mode )
{
    return [mode]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetIdentityMode( opt, mode ); };
}
inline auto trustMode( CRY_X509_STACK_TRUST_MODE mode )
{
    return [mode]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetTrustMode( opt, mode ); };
}
inline auto fixedIdentity( int number )
{
    return [number]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetIdentity( opt, identity( number ).get() ); };
}
inline auto fromVault( const std::string &name )
{
    return [name]( CRY_X509_STACK_OPTIONS **opt ) {
        cryX509StackOptionsSetIdentityMode( opt, CRY_X509_STACK_IDENTITY_MODE_VAULT );
        cryX509StackOptionsSetIdentityVaultIdentifier( opt, identifier( name ).get() );
    };
}
inline auto trusting( std::vector<pb::Ref<CRY_X509_CERTIFICATE>> list )
{
    return [list]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetTrustedCertificates( opt, certificates( list ).get() ); };
}
inline auto synchronizing( std::vector<pb::Ref<CRY_X509_CERTIFICATE>> list )
{
    return [list]( CRY_X509_STACK_OPTIONS **opt ) {
        cryX509StackOptionsSetTrustMode( opt, CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED );
        cryX509StackOptionsSetSynchronizedTrustedCertificates( opt, certificates( list ).get() );
    };
}
inline auto trustingNames( std::vector<std::string> hosts )
{
    return [hosts]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetTrustedSans( opt, sansOf( hosts ).get() ); };
}
inline auto trustingIdentity( PB_BOOL trust )
{
    return [trust]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetTrustIdentity( opt, trust ); };
}
inline auto adding( CRY_X509_POLICY_FLAGS flags )
{
    return [flags]( CRY_X509_STACK_OPTIONS **opt ) { cryX509StackOptionsSetPolicyFlags( opt, flags ); };
}

inline Stack   stackOf( const Options &opt, TR_ANCHOR *anchor = nullptr ) { return pb::adopt( cryX509StackCreate( opt.get(), anchor ) ); }
inline Session sessionOf( const Stack &stack, TR_ANCHOR *anchor = nullptr ) { return pb::adopt( cryX509SessionCreate( stack.get(), anchor ) ); }

// A certificate that its own key signs. The same arguments give the same certificate.
inline pb::Ref<CRY_X509_CERTIFICATE> selfSigned( const std::string &subject, const std::string &names = {} )
{
    static std::mutex                                          mutex;
    static std::map<std::pair<std::string, std::string>, Cert> made;
    std::lock_guard                                            hold( mutex );
    Cert                                                      &cert = made[{ subject, names }];
    std::vector<std::pair<std::string, std::string>>           extensions;
    if( !names.empty() )
        extensions.push_back( { "subjectAltName", names } );
    if( !cert )
        cert = makeCertificate( { .subject = subject, .subjectKey = key( KeyKind::p256 ), .extensions = extensions } );
    return certificate( cert );
}

// What a session holds.
inline std::vector<std::string> trustOf( const Session &sess ) { return ders( pb::adopt( cryX509SessionTrustedCertificates( sess.get() ) ).get() ); }
inline std::vector<std::string> dersOf( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &list ) { return ders( certificates( list ).get() ); }
inline pb::Ref<CRY_X509_IDENTITY> identityOf( const Session &sess ) { return pb::adopt( cryX509SessionIdentity( sess.get() ) ); }

// Whether a change has come since the object was made.
class Told
{
public:
    bool           now() const { return pbSignalAsserted( signal.get() ); }
    bool           soon() const { return pbSignalWait( signal.get(), 30000 ); }
    PB_SIGNALABLE *sigb() const { return signalable.get(); }

private:
    pb::Ref<PB_SIGNAL>     signal     = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreateSignal( signal.get() ) );
};

struct ToldOfUpdate : Told
{
    explicit ToldOfUpdate( const Stack &stack ) { cryX509StackUpdateAddSignalable( stack.get(), sigb() ); }
};

// Halts a process and waits until nobody else has it. After its last run, the thread still has a
// reference for a moment, which tests of lifetimes would count.
inline void haltAndWait( const pb::Ref<PB_PROCESS> &process )
{
    pbProcessHalt( process.get() );
    EXPECT_TRUE( pb___ProcessEndWait( process.get() ) );
    EXPECT_TRUE( soon( [&process] { return !pbObjIsShared( process.obj() ); } ) );
}

// Waits until the runs that wait on the background thread have ended. Each may schedule one more.
inline void settle()
{
    for( int round = 0; round < 3; round++ )
    {
        pb::Ref<PB_SIGNAL>  done  = pb::adopt( pbSignalCreate() );
        pb::Ref<PB_PROCESS> fence = process( [done] { pbSignalAssert( done.get() ); }, PB_PROCESS_CLASS_BACKGROUND );
        pbProcessSchedule( fence.get() );
        EXPECT_TRUE( pbSignalWait( done.get(), 60000 ) );
        haltAndWait( fence );
    }
}

// Keeps threads of the runtime busy, so that no other run of that class begins. It ends with the
// object.
class Busy
{
public:
    Busy( PB_PROCESS_CLASS processClass, size_t threads )
    {
        for( size_t each = 0; each < threads; each++ )
        {
            processes.push_back( process(
                [this] {
                    begun.release();
                    go.acquire();
                },
                processClass ) );
            pbProcessSchedule( processes.back().get() );
            begun.acquire();
        }
    }
    ~Busy()
    {
        go.release( (std::ptrdiff_t)processes.size() );
        for( const pb::Ref<PB_PROCESS> &each : processes )
        {
            haltAndWait( each );
        }
    }
    Busy( const Busy & ) = delete;

private:
    std::counting_semaphore<>        begun{ 0 }, go{ 0 };
    std::vector<pb::Ref<PB_PROCESS>> processes;
};

// No stack runs by itself.
struct BusyBackground : Busy
{
    BusyBackground() : Busy( PB_PROCESS_CLASS_BACKGROUND, 1 ) {}
};

// No validator runs.
struct BusyWorkers : Busy
{
    BusyWorkers() : Busy( PB_PROCESS_CLASS_ORDINARY, threadNames( "pb-worker" ).size() ) {}
};

// The number of live objects after all runs that wait now have ended.
inline PB_INT aliveAtRest()
{
    settle();
    BusyWorkers();
    return pbObjLiveCount();
}

// Sets options and waits until their state is published.
inline void setOptions( const Stack &stack, const Options &opt )
{
    cryX509StackSetOptions( stack.get(), opt.get() );
    settle();
}

// The events of the streams with a name, one line each: the event, its key or the stream to which a
// link leads, and its value.
inline std::vector<std::string> linesOf( TR_SINK *sink, const std::string &name )
{
    std::vector<std::string> lines;
    pb::Ref<PB_VECTOR>       events = pb::adopt( trSinkTakeEvents( sink ) );
    for( PB_INT index = 0; index < pbVectorLength( events.get() ); index++ )
    {
        PB_STORE *store = pbStoreFrom( pb___VectorPeekObjAt( events.get(), index ) );
        auto      event = nlohmann::ordered_json::parse( json( pbStoreRetain( store ) ) );
        if( event.at( "name" ) != name )
            continue;
        std::string line = event.at( "event" );
        if( event.contains( "kind" ) )
            line += " " + event.at( "kind" ).dump() + " " + event.at( "otherName" ).get<std::string>();
        if( event.contains( "key" ) )
            line += " " + event.at( "key" ).get<std::string>();
        if( event.contains( "text" ) )
            line += " " + event.at( "text" ).get<std::string>();
        if( event.contains( "value" ) )
            line += " " + event.at( "value" ).dump();
        lines.push_back( line );
    }
    return lines;
}

using Lines = std::vector<std::string>;

}
