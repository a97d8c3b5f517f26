// Scenarios of stacks, sessions and validators over the vault and the platform's roots, and of the
// stop in the middle of them. Only their slow leaves are replaced (leaves.hpp).
#include <cry/cry_vault.h>
#include <cry/cry_x509_system.h>
#include <cry/cry_x509_validator.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_vault.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_validator.h>

#include <memory>
#include <vector>

#include "concurrency/pb_concurrency.hpp"
#include "simulation/leaves.hpp"
#include "simulation/probes.hpp"
#include "simulation/scenarios.hpp"
#include "simulation/stack_watch.hpp"
#include "simulation/toys.hpp"

using namespace toys;
using leaves::Material;
using leaves::material;

static constexpr PB_INT day = 86400000; // milliseconds

// An object whose process ends by itself and drops a session then: nobody else holds it. The
// modules have no such object.
struct TOY_CARRIER : PB_OBJ
{
    CRY_X509_SESSION *session;
    Watch            *watch;
};

static void freeCarrier( TOY_CARRIER *carrier )
{
    PB_CHECK( carrier );
    carrier->watch->free();
    delete carrier->watch;
    pb::releaseOrNull( carrier->session );
}

PB_SORT_DEFINE( pb, ToyCarrier, TOY_CARRIER, .free = pb::slot<freeCarrier> )

static void runCarrier( PB_OBJ *obj )
{
    Watch *watch = pbToyCarrierFrom( obj )->watch;
    watch->begin();
    simulation::switchPoint();
    watch->end();
}

// The signalable alone holds the process, so the session goes when the signal is asserted: under
// the lock of whoever asserts it.
static pb::Ref<PB_SIGNALABLE> carrierOf( CRY_X509_SESSION *session )
{
    auto carrier           = pb::adopt( pb::create<TOY_CARRIER>() );
    carrier.get()->session = pb::shareOrNull( session );
    carrier.get()->watch   = new Watch;
    auto process           = pb::adopt( pbProcessCreateCstr( runCarrier, carrier.obj(), "carrier", -1, PB_PROCESS_CLASS_ORDINARY ) );
    if( below( 2 ) )
        pbProcessHalt( process.get() );
    return pb::adopt( pbSignalableCreateProcess( process.get() ) );
}

// A host that always has a session of what its stack has published last.
struct TOY_HOST : PB_OBJ
{
    CRY_X509_STACK   *stack;
    PB_SIGNALABLE    *signalable;
    CRY_X509_SESSION *session;
    Watch            *watch;
};

static void freeHost( TOY_HOST *host )
{
    PB_CHECK( host );
    host->watch->free();
    delete host->watch;
    pb::releaseOrNull( host->session );
    pb::releaseOrNull( host->signalable );
    pb::releaseOrNull( host->stack );
}

PB_SORT_DEFINE( pb, ToyHost, TOY_HOST, .free = pb::slot<freeHost> )

static void runHost( PB_OBJ *obj )
{
    TOY_HOST *host = pbToyHostFrom( obj );
    host->watch->begin();
    // Subscribe before reading.
    cryX509StackUpdateAddSignalable( host->stack, host->signalable );
    pb::releaseOrNull( std::exchange( host->session, cryX509SessionCreate( host->stack, nullptr ) ) );
    host->watch->end();
}

namespace
{

struct Host
{
    pb::Ref<PB_PROCESS> process;
    TOY_HOST           *host = nullptr; // as long as the process is not halted

    explicit Host( CRY_X509_STACK *stack = nullptr )
    {
        if( !stack )
            return;
        auto made        = pb::adopt( pb::create<TOY_HOST>() );
        host             = made.get();
        host->stack      = pb::shareOrNull( stack );
        host->watch      = new Watch;
        process          = pb::adopt( pbProcessCreateCstr( runHost, made.obj(), "host", -1, PB_PROCESS_CLASS_ORDINARY ) );
        host->signalable = pbSignalableCreateProcess( process.get() );
        pbProcessSchedule( process.get() );
    }
    Host( Host && )            = default;
    Host &operator=( Host && ) = default;
    ~Host()
    {
        if( process )
            pbProcessHalt( process.get() );
    }
};

// What a scenario knows about a validator, also after its end.
struct Judgement
{
    CRY___X509_VALIDATOR_IMP *imp; // compared only
    bool                      error, hasChain;
    bool                      halted    = false;                         // the halt has returned
    pb::Ref<PB_SIGNAL>        told      = pb::adopt( pbSignalCreate() ); // of the end
    pb::Ref<PB_SIGNAL>        toldError = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE>    tellEnd   = pb::adopt( pbSignalableCreateSignal( told.get() ) );
    pb::Ref<PB_SIGNALABLE>    tellError = pb::adopt( pbSignalableCreateSignal( toldError.get() ) );
};

struct Validator
{
    pb::Ref<CRY_X509_VALIDATOR> validator;
    std::shared_ptr<Judgement>  judgement;
};

std::vector<std::shared_ptr<Judgement>> judgements;

struct LiveWorld
{
    static constexpr unsigned places = 2;

    pb::Ref<CRY_X509_STACK>   stack[places];
    pb::Ref<CRY_X509_SESSION> session[places];
    Validator                 validator[places];
    Host                      host[places];
    PB_MONITOR               *monitor = nullptr; // guards them
    bool                      ends    = false;   // before the stop, everything can be released again

    // A carrier hangs on a signal of each, in a cycle that another state of the stack ends.
    std::vector<pb::Ref<CRY_X509_STACK>> hung;

    template<class T>
    T take( T &place )
    {
        pb::InMonitor in( monitor );
        return place;
    }
    template<class T>
    void put( T &place, T value )
    {
        pb::InMonitor in( monitor );
        std::swap( place, value );
        // What was there goes under this monitor.
        T gone = std::move( value );
    }
};

void stepOfVault()
{
    const Material &made       = material();
    PB_IDENTIFIER  *identifier = made.identifiers[below( 2 )].get();
    switch( below( 8 ) )
    {
    case 0:
    case 1:
        cryVaultDelItem( identifier );
        break;
    case 2:
        cry___VaultTryRestore( made.vaults[below( 3 )].get() );
        break;
    case 3:
        if( below( 8 ) == 0 )
            cry___VaultHalt();
        break;
    default:
        cryVaultSetItem( pb::adopt( cryVaultItemCreateIdentity( identifier, made.identities[below( Material::keys - 1 )].get() ) ).get() );
        break;
    }
}

void stepOfRoots()
{
    bool reloads              = below( 4 );
    leaves::scenario.platform = below( Material::sets );
    leaves::scenario.reloaded = reloads;
    if( reloads )
        cry___X509SystemTrustedCertificatesReload();
}

void stepOfTime()
{
    static constexpr PB_INT times[] = { 10, day / 24, day / 2, 14 * day };
    pb___ClockAdvance( times[below( 4 )] );
}

pb::Ref<CRY_X509_STACK_OPTIONS> anyOptions()
{
    const Material                 &made    = material();
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::adopt( cryX509StackOptionsCreate() );
    CRY_X509_STACK_OPTIONS        **handle  = options.handle();
    cryX509StackOptionsSetIdentityMode( handle, below( 3 ) );
    cryX509StackOptionsSetTrustMode( handle, below( 3 ) );
    cryX509StackOptionsSetTrustIdentity( handle, (PB_BOOL)below( 2 ) );
    if( unsigned number = below( Material::keys + 1 ); number != Material::keys - 1 )
        cryX509StackOptionsSetIdentity( handle, made.identities[number].get() );
    if( below( 4 ) )
        cryX509StackOptionsSetIdentityVaultIdentifier( handle, made.identifiers[below( 2 )].get() );
    cryX509StackOptionsSetTrustedCertificates( handle, made.trusted[below( Material::sets )].get() );
    cryX509StackOptionsSetSynchronizedTrustedCertificates( handle, made.synchronized[below( Material::sets )].get() );
    cryX509StackOptionsSetTrustedSans( handle, made.sans[below( 4 ) == 0].get() );
    if( below( 3 ) == 0 )
        cryX509StackOptionsSetPolicyFlags( handle, below( 4 ) );
    return options;
}

// Other options, or the same in another object; or only one of them is another one.
void changeOptions( CRY_X509_STACK *stack )
{
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::adopt( cryX509StackOptions( stack ) );
    switch( below( 4 ) )
    {
    case 0:
        options = pb::adopt( cryX509StackOptionsCreateFrom( options.get() ) );
        break;
    case 1:
        cryX509StackOptionsSetTrustedCertificates( options.handle(), material().trusted[below( Material::sets )].get() );
        break;
    default:
        options = anyOptions();
        break;
    }
    cryX509StackSetOptions( stack, options.get() );
}

// The certificate that a session shows, or another one, is accepted or not.
bool isAccepted( CRY_X509_SESSION *session, unsigned number )
{
    if( !leaves::scenario.verifies )
        return leaves::scenario.accepts[number];
    pb::Ref<CRY_X509_CERTIFICATES> trusted = pb::adopt( cryX509SessionTrustedCertificates( session ) );
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( trusted.get() ); index++ )
    {
        if( cryX509CertificateEquals(
                pb::adopt( cryX509CertificatesCertificateAt( trusted.get(), index ) ).get(), material().certificates[number].get() ) )
            return true;
    }
    return false;
}

Validator makeValidator( CRY_X509_SESSION *session )
{
    const Material                 &made    = material();
    unsigned                        number  = below( Material::keys - 1 );
    CRY_X509_CERTIFICATE           *cert    = made.certificates[number].get();
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::adopt( cryX509SessionOptions( session ) );
    pb::Ref<CRY_X509_POLICY>        policy  = pb::adopt( cryX509PolicyCreate() );
    if( below( 4 ) == 0 )
        cryX509PolicySetFlags( policy.handle(), below( 4 ) );
    if( below( 4 ) == 0 )
        cryX509PolicySetAcceptableSans( policy.handle(), made.acceptable.get() );
    CRY_X509_POLICY_FLAGS  flags   = cryX509PolicyFlags( policy.get() ) | cryX509StackOptionsPolicyFlags( options.get() );
    pb::Ref<CRY_X509_SANS> trusted = pb::adopt( cryX509SessionTrustedSans( session ) );
    bool                   named   = ( cryX509SansLength( trusted.get() ) == 0 || number == 0 ) &&
        ( !cryX509PolicyHasAcceptableSans( policy.get() ) || number == 2 ||
            ( flags & ( CRY_X509_POLICY_FLAG_DISABLE_VALIDATION | CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS ) ) );
    bool unchecked = flags & CRY_X509_POLICY_FLAG_DISABLE_VALIDATION;

    Validator made_;
    bool      error, hasChain = true;
    switch( below( 6 ) )
    {
    case 0:
        made_.validator = pb::adopt( cry___X509ValidatorCreatePreValidated( session, policy.get(), cert, nullptr ) );
        error           = false;
        hasChain        = false;
        break;
    case 1: {
        pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt( cryX509CertificatesCreate() );
        cryX509CertificatesAppendCertificate( chain.handle(), cert );
        made_.validator = pb::adopt( cry___X509ValidatorCreateWithCertificateChain( session, policy.get(), chain.get(), nullptr ) );
        error           = !named;
        break;
    }
    default:
        made_.validator = pb::adopt( cryX509ValidatorCreate( session, policy.get(), cert, nullptr, nullptr ) );
        error           = !named || !( unchecked || isAccepted( session, number ) );
        break;
    }
    made_.judgement = std::make_shared<Judgement>( probes::impOf( made_.validator.get() ), error, hasChain && !error );
    judgements.push_back( made_.judgement );
    cryX509ValidatorEndAddSignalable( made_.validator.get(), made_.judgement->tellEnd.get() );
    cryX509ValidatorErrorAddSignalable( made_.validator.get(), made_.judgement->tellError.get() );
    return made_;
}

// Results come with the end, and are right from then on.
void checkValidator( const Validator &each )
{
    CRY_X509_VALIDATOR *validator = each.validator.get();
    // Read before the end, and read after it.
    bool early = cryX509ValidatorHasCertificateChain( validator ) || cryX509ValidatorHasFailure( validator ) || cryX509ValidatorError( validator );
    bool end   = cryX509ValidatorEnd( validator );
    expect( end || !early, "a validator has results before its end" );
    if( !end )
        return;
    expect( (bool)cryX509ValidatorError( validator ) == each.judgement->error, "a validator errs" );
    expect( (bool)cryX509ValidatorHasFailure( validator ) == each.judgement->error, "a validator that has ended has a wrong failure" );
    expect( (bool)cryX509ValidatorHasCertificateChain( validator ) == each.judgement->hasChain, "a validator that has ended has a wrong chain" );
}

void checkEnd( const Validator &each )
{
    CRY_X509_VALIDATOR *validator = each.validator.get();
    checkValidator( each );
    expect( cryX509ValidatorEnd( validator ), "a validator does not end" );
    expect( pbSignalAsserted( each.judgement->told.get() ), "a validator does not tell its end" );
    expect( (bool)pbSignalAsserted( each.judgement->toldError.get() ) == each.judgement->error, "a validator does not tell its error" );
}

// An assertion triggers an object.
void onTrigger( const void *obj )
{
    for( const auto &each : judgements )
    {
        bool ofError = each->tellError.obj() == obj;
        if( each->tellEnd.obj() != obj && !ofError )
            continue;
        simulation::Quiet quiet;
        expect( !each->halted, "a validator tells a result after its halt" );
        expect( !ofError || pbSignalAsserted( each->told.get() ), "a validator tells its error before its end" );
    }
}

void hang( LiveWorld &world, CRY_X509_SESSION *session, CRY_X509_VALIDATOR *validator )
{
    pb::Ref<PB_SIGNALABLE>  carrier = carrierOf( session );
    pb::Ref<CRY_X509_STACK> stack   = pb::adopt( cryX509SessionStack( session ) );
    unsigned                place   = below( 4 );
    if( place == 0 && validator )
    {
        cryX509ValidatorEndAddSignalable( validator, carrier.get() );
        return;
    }
    // The marks of sessions need the process of the stack, which does not run after the stop.
    if( place == 1 && !world.ends )
        cryX509SessionIdentityChangedAddSignalable( session, carrier.get() );
    else if( place == 2 && !world.ends )
        cryX509SessionTrustChangedAddSignalable( session, carrier.get() );
    else
        cryX509StackUpdateAddSignalable( stack.get(), carrier.get() );
    world.hung.push_back( stack );
}

// Ends the cycles of the carriers.
void takeDown( LiveWorld &world )
{
    for( auto &stack : std::exchange( world.hung, {} ) )
    {
        pb::Ref<CRY_X509_STACK_OPTIONS> last = pb::adopt( cryX509StackOptionsCreate() );
        cryX509StackOptionsSetIdentity( last.handle(), material().identities[Material::keys - 1].get() );
        cryX509StackOptionsSetTrustedCertificates( last.handle(), material().lastTrusted.get() );
        cryX509StackSetOptions( stack.get(), last.get() );
    }
}

void step( LiveWorld &world )
{
    unsigned place     = below( world.places );
    auto     stack     = world.take( world.stack[place] );
    auto     session   = world.take( world.session[place] );
    auto     validator = world.take( world.validator[place] );
    switch( below( 16 ) )
    {
    case 0:
    case 1:
        stepOfVault();
        break;
    case 2:
        stepOfRoots();
        break;
    case 3:
        stepOfTime();
        break;
    case 4:
    case 5:
        if( stack )
            changeOptions( stack.get() );
        break;
    case 6:
        world.put( world.stack[place], pb::adopt( cryX509StackCreate( anyOptions().get(), nullptr ) ) );
        break;
    case 7:
        world.put( world.stack[place], {} );
        break;
    case 8:
    case 9:
        if( stack )
            world.put( world.session[place], pb::adopt( cryX509SessionCreate( stack.get(), nullptr ) ) );
        break;
    case 10:
        world.put( world.session[place], {} );
        break;
    case 11:
    case 12:
        if( session )
            world.put( world.validator[place], makeValidator( session.get() ) );
        break;
    case 13:
        world.put( world.validator[place], {} );
        break;
    case 14:
        if( stack && below( 2 ) )
            world.put( world.host[place], Host( stack.get() ) );
        else
            world.put( world.host[place], Host() );
        break;
    case 15:
        if( session )
            hang( world, session.get(), validator.validator.get() );
        break;
    }
    if( session && below( 4 ) == 0 )
        stackWatch::checkSession( session.get() );
    if( validator.validator )
        checkValidator( validator );
}

void begin( LiveWorld &world )
{
    leaves::scenario           = {};
    leaves::scenario.platform  = below( Material::sets );
    leaves::scenario.generates = below( 4 );
    leaves::scenario.verifies  = below( 4 ) == 0;
    for( bool &accepts : leaves::scenario.accepts )
        accepts = below( 2 );
    world.monitor = pbMonitorCreate();
    cry___VaultStartup();
    cry___X509SystemStartup();
    simulation::onTrigger( onTrigger );
}

void dropAll( LiveWorld &world )
{
    for( unsigned place = 0; place < world.places; place++ )
    {
        world.put( world.host[place], Host() );
        world.put( world.validator[place], {} );
        world.put( world.session[place], {} );
        world.put( world.stack[place], {} );
    }
}

void haltModule()
{
    cry___X509SystemHalt();
    cry___VaultHalt();
}

void shutDownModule()
{
    shutDown = true;
    cry___X509SystemShutdown();
    cry___VaultShutdown();
}

void end( LiveWorld &world )
{
    stackWatch::end();
    judgements.clear();
    pb::releaseOrNull( world.monitor );
}

void playThreads( LiveWorld &world, unsigned count, unsigned *fibers )
{
    for( unsigned thread = 0; thread < count; thread++ )
    {
        fibers[thread] = simulation::spawn( [&world] {
            for( unsigned steps = 3 + below( 10 ); steps > 0; steps-- )
                step( world );
        } );
    }
}

void checkAtRest( LiveWorld &world )
{
    stackWatch::checkAtRest();
    for( unsigned place = 0; place < world.places; place++ )
    {
        if( auto session = world.take( world.session[place] ) )
            stackWatch::checkSession( session.get() );
        if( auto validator = world.take( world.validator[place] ); validator.validator )
            checkEnd( validator );
        TOY_HOST *host = world.host[place].host;
        if( !host )
            continue;
        expect( host->session && !cryX509SessionIdentityChanged( host->session ) && !cryX509SessionTrustChanged( host->session ),
            "a host is not told of a commit" );
        expect( cryX509StackOptionsEquals(
                    pb::adopt( cryX509SessionOptions( host->session ) ).get(), pb::adopt( cryX509StackOptions( host->stack ) ).get() ),
            "a host is not told of other options" );
    }
}

void playLive()
{
    LiveWorld world;
    begin( world );
    unsigned fibers[3];
    unsigned threads = 2 + below( 2 );
    playThreads( world, threads, fibers );
    for( unsigned thread = 0; thread < threads; thread++ )
        simulation::join( fibers[thread] );
    simulation::rest();
    checkAtRest( world );
    if( !leaves::scenario.reloaded )
    {
        cry___X509SystemTrustedCertificatesReload();
        simulation::rest();
        checkAtRest( world );
    }
    expect( cryX509CertificatesEquals( pb::adopt( cryX509SystemTrustedCertificates() ).get(), material().platform[leaves::scenario.platform].get() ),
        "older roots are published" );
    takeDown( world );
    simulation::rest();
    dropAll( world );
    simulation::rest();
    stackWatch::releaseHalted();
    simulation::rest();
    // All stacks are gone and have taken their signalables away.
    expect( probes::vaultSubscriptions() == 0, "a stack that is gone is subscribed to the vault" );
    expect( probes::rootsSubscriptions() == 0, "a stack that is gone is subscribed to the roots" );
    pb::concurrency::stop(
        haltModule, [] {}, shutDownModule );
    end( world );
}

// Threads that still use the modules. They may be used until the shut-down hooks.
unsigned   users;
bool       mayUse;
LiveWorld *stopping;

// Processes that the halt hooks schedule: the ordinary one still runs, the background one does not.
pb::Ref<PB_PROCESS> lateOrdinary, lateBackground;
unsigned            lateRuns;

void scheduleLate()
{
    lateRuns       = 0;
    lateOrdinary   = pb::adopt( pbProcessCreateCstr( []( PB_OBJ   *) { lateRuns++; }, nullptr, "late", -1, PB_PROCESS_CLASS_ORDINARY ) );
    lateBackground = pb::adopt( pbProcessCreateCstr(
        []( PB_OBJ * ) { expect( false, "a background run begins after the stop" ); }, nullptr, "late", -1, PB_PROCESS_CLASS_BACKGROUND ) );
    pbProcessSchedule( lateOrdinary.get() );
    pbProcessSchedule( lateBackground.get() );
}

void dropSome( LiveWorld &world )
{
    unsigned place = below( world.places );
    switch( below( 4 ) )
    {
    case 0:
        world.put( world.stack[place], {} );
        break;
    case 1:
        world.put( world.session[place], {} );
        break;
    case 2:
        world.put( world.validator[place], {} );
        break;
    case 3:
        world.put( world.host[place], Host() );
        break;
    }
}

// The runtime stops while other threads create, release and wait.
void playStop()
{
    LiveWorld world;
    world.ends = true;
    begin( world );
    unsigned fibers[4];
    unsigned threads = 2 + below( 2 );
    users            = threads;
    mayUse           = true;
    stopping         = &world;
    for( unsigned thread = 0; thread < threads; thread++ )
    {
        fibers[thread] = simulation::spawn( [&world] {
            for( unsigned steps = 6 + below( 10 ); mayUse && steps > 0; steps-- )
                step( world );
            users--;
            simulation::wake( &users );
            for( unsigned steps = below( 10 ); steps > 0; steps-- )
                dropSome( world );
        } );
    }
    auto never       = pb::adopt( pbSignalCreate() );
    fibers[threads]  = simulation::spawn( [&never] { expect( !pbSignalWait( never.get(), -1 ), "a wait for nothing ends well" ); } );
    auto spare       = pb::adopt( cryX509StackCreate( anyOptions().get(), nullptr ) );
    auto spareKeeper = pb::adopt( cryX509SessionCreate( spare.get(), nullptr ) );
    for( unsigned count = below( 60 ); count > 0; count-- )
        simulation::switchPoint();
    pb::concurrency::stop(
        [] {
            scheduleLate();
            haltModule();
        },
        [] {
            expect( leaves::scenario.verifications == 0, "a run is in progress when all have ended" );
            expect( lateRuns == 1, "an ordinary run that waits at the stop does not run" );
            mayUse = false;
            while( users > 0 )
                simulation::block( &users );
            takeDown( *stopping );
        },
        shutDownModule );
    lateOrdinary   = {};
    lateBackground = {};
    for( unsigned thread = 0; thread <= threads; thread++ )
        simulation::join( fibers[thread] );
    // Last references go after the stop.
    spare       = {};
    spareKeeper = {};
    dropAll( world );
    end( world );
}

}

extern "C" void __real_cry___X509ValidatorImpHalt( CRY___X509_VALIDATOR_IMP *imp );
extern "C" void __wrap_cry___X509ValidatorImpHalt( CRY___X509_VALIDATOR_IMP *imp )
{
    expectMayBeFreed();
    __real_cry___X509ValidatorImpHalt( imp );
    for( const auto &each : judgements )
        each->halted |= each->imp == imp;
}

TEST( Simulation, Stacks )
{
    material();
    play( 2, 22, playLive );
}

TEST( Simulation, Stop )
{
    material();
    play( 3, 13, playStop );
}
