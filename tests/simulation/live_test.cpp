// Scenarios of toy stacks, sessions and validators over a toy vault and toy roots, and of the stop
// in the middle of them.
#include <vector>

#include "concurrency/pb_concurrency.hpp"
#include "simulation/scenarios.hpp"
#include "simulation/toys.hpp"

using namespace toys;

namespace
{

// A value that changes, and a signal that is asserted and replaced at each change. The vault has a
// region, the roots have a monitor; that is the only difference.
struct Source
{
    PB_REGION  *region  = nullptr;
    PB_MONITOR *monitor = nullptr;
    PB_SIGNAL  *signal  = nullptr;
    unsigned    value   = 0;
    bool        halted  = false;

    template<class Action>
    void inside( Action action )
    {
        if( region )
        {
            pb::InRegion in( region );
            action();
        }
        else
        {
            pb::InMonitor in( monitor );
            action();
        }
    }
    void publishLocked()
    {
        pbSignalAssert( signal );
        pb::Ref<PB_SIGNAL> old = pb::adopt( std::exchange( signal, pbSignalCreate() ) );
    }
    void set( unsigned next )
    {
        inside( [&] {
            if( halted )
                return;
            value = next;
            publishLocked();
        } );
    }
    void halt()
    {
        inside( [&] {
            halted = true;
            value  = 0;
            publishLocked();
        } );
    }
    unsigned get()
    {
        unsigned now = 0;
        inside( [&] { now = value; } );
        return now;
    }
    void add( PB_SIGNALABLE *sigb )
    {
        inside( [&] {
            if( !halted )
                pbSignalAddSignalable( signal, sigb );
        } );
    }
    // Free slots call it, also after the shut-down.
    void removeAtAnyTime( PB_SIGNALABLE *sigb )
    {
        if( !pb___GateEnter() )
            return;
        inside( [&] { pbSignalDelSignalable( signal, sigb ); } );
        pb___GateLeave();
    }
    void create( bool withRegion )
    {
        *this = {};
        ( withRegion ? (void)( region = pbRegionCreate() ) : (void)( monitor = pbMonitorCreate() ) );
        signal = pbSignalCreate();
    }
    void release()
    {
        pb::releaseOrNull( std::exchange( region, nullptr ) );
        pb::releaseOrNull( std::exchange( monitor, nullptr ) );
        pb::releaseOrNull( std::exchange( signal, nullptr ) );
    }
};

Source vault, roots;

// Runs of validators and carriers in progress.
unsigned ordinaryRuns;

}

struct TOY_STACK_IMP : PB_OBJ
{
    PB_PROCESS    *process;
    PB_SIGNALABLE *sigb;
    PB_REGION     *region;
    unsigned       extOption;
    unsigned       intOption;
    unsigned       passes;
    unsigned       cnfOption, cnfVault, cnfRoots; // published together
    unsigned       commits;                       // that changed something
    PB_SIGNAL     *changed;
    PB_SIGNAL     *vaultSignal;
    PB_SIGNALABLE *vaultSigb;
    PB_SIGNAL     *rootsSignal;
    PB_SIGNALABLE *rootsSigb;
    Watch         *watch;
};

static void subscribe( TOY_STACK_IMP *imp, Source &source, PB_SIGNAL *&signal, PB_SIGNALABLE *&sigb )
{
    if( !signal || pbSignalAsserted( signal ) )
    {
        if( sigb )
            source.removeAtAnyTime( sigb );
        pb::releaseOrNull( signal );
        pb::releaseOrNull( sigb );
        signal = pbSignalCreate();
        sigb   = pbSignalableCreateSignal( signal );
        pbSignalAddSignalable( signal, imp->sigb );
    }
    source.add( sigb );
}

static void runStack( PB_OBJ *obj );

static void freeStackImp( TOY_STACK_IMP *imp )
{
    PB_CHECK( imp );
    imp->watch->free();
    delete imp->watch;
    if( imp->vaultSigb )
        vault.removeAtAnyTime( imp->vaultSigb );
    if( imp->rootsSigb )
        roots.removeAtAnyTime( imp->rootsSigb );
    pb::releaseOrNull( imp->process );
    pb::releaseOrNull( imp->sigb );
    pb::releaseOrNull( imp->region );
    pb::releaseOrNull( imp->changed );
    pb::releaseOrNull( imp->vaultSignal );
    pb::releaseOrNull( imp->vaultSigb );
    pb::releaseOrNull( imp->rootsSignal );
    pb::releaseOrNull( imp->rootsSigb );
}

PB_SORT_DEFINE( pb, ToyStackImp, TOY_STACK_IMP, .free = pb::slot<freeStackImp> )

struct TOY_STACK : PB_OBJ
{
    TOY_STACK_IMP *imp;
};

static void freeStack( TOY_STACK *stack )
{
    PB_CHECK( stack );
    expectMayBeFreed();
    {
        pb::InRegion in( stack->imp->region );
        expect( !pbProcessHalted( stack->imp->process ), "a stack is halted twice" );
        pbProcessHalt( stack->imp->process );
    }
    pb::releaseOrNull( stack->imp );
}

PB_SORT_DEFINE( pb, ToyStack, TOY_STACK, .free = pb::slot<freeStack> )

static void runStack( PB_OBJ *obj )
{
    TOY_STACK_IMP *imp = pbToyStackImpFrom( obj );
    imp->watch->begin();
    {
        pb::InRegion in( imp->region );
        bool         asleep = imp->passes && imp->intOption == imp->extOption && !pbSignalAsserted( imp->vaultSignal ) &&
            !pbSignalAsserted( imp->rootsSignal );
        if( !asleep && !pbProcessHalted( imp->process ) )
        {
            imp->intOption = imp->extOption;
            // Subscribe before reading.
            subscribe( imp, vault, imp->vaultSignal, imp->vaultSigb );
            unsigned vaultNow = vault.get();
            subscribe( imp, roots, imp->rootsSignal, imp->rootsSigb );
            unsigned rootsNow = roots.get();
            bool     changes  = imp->cnfVault != vaultNow || imp->cnfRoots != rootsNow;
            imp->cnfOption    = imp->intOption;
            imp->cnfVault     = vaultNow;
            imp->cnfRoots     = rootsNow;
            imp->passes++;
            if( changes )
            {
                imp->commits++;
                // Under the region: the last reference to a session may go here.
                pbSignalAssert( imp->changed );
                pb::Ref<PB_SIGNAL> old = pb::adopt( std::exchange( imp->changed, pbSignalCreate() ) );
            }
            // One pass a run. What has come meanwhile gets a run of its own.
            pbProcessSchedule( imp->process );
        }
    }
    imp->watch->end();
}

static pb::Ref<TOY_STACK> makeStack( unsigned option )
{
    auto           imp = pb::adopt( pb::create<TOY_STACK_IMP>() );
    TOY_STACK_IMP *raw = imp.get();
    raw->watch         = new Watch;
    raw->process       = pbProcessCreateCstr( runStack, imp.obj(), "stack", -1, PB_PROCESS_CLASS_BACKGROUND );
    raw->sigb          = pbSignalableCreateProcess( raw->process );
    raw->region        = pbRegionCreate();
    raw->changed       = pbSignalCreate();
    raw->extOption     = option;
    pb___ProcessRunInline( raw->process );
    expect( raw->passes > 0, "a stack is not published when it is there" );
    auto stack       = pb::adopt( pb::create<TOY_STACK>() );
    stack.get()->imp = imp.take();
    return stack;
}

static void setOption( TOY_STACK *stack, unsigned option )
{
    {
        pb::InRegion in( stack->imp->region );
        stack->imp->extOption = option;
    }
    pbProcessSchedule( stack->imp->process );
}

// A session pins one published state.
struct TOY_SESSION : PB_OBJ
{
    TOY_STACK *stack;
    PB_SIGNAL *stackChanged;
    PB_SIGNAL *changed;
    unsigned   commits;
};

static void freeSession( TOY_SESSION *session )
{
    PB_CHECK( session );
    expectMayBeFreed();
    pbSignalDelSignal( session->stackChanged, session->changed );
    pb::releaseOrNull( session->changed );
    pb::releaseOrNull( session->stackChanged );
    pb::releaseOrNull( session->stack );
}

PB_SORT_DEFINE( pb, ToySession, TOY_SESSION, .free = pb::slot<freeSession> )

static pb::Ref<TOY_SESSION> makeSession( TOY_STACK *stack )
{
    auto         session = pb::adopt( pb::create<TOY_SESSION>() );
    TOY_SESSION *raw     = session.get();
    raw->stack           = pb::shareOrNull( stack );
    raw->changed         = pbSignalCreate();
    pb::InRegionShared in( stack->imp->region );
    raw->stackChanged = pb::shareOrNull( stack->imp->changed );
    raw->commits      = stack->imp->commits;
    pbSignalAddSignal( raw->stackChanged, raw->changed );
    return session;
}

// A validator is one run that ends by itself.
struct TOY_VALIDATOR_IMP : PB_OBJ
{
    PB_PROCESS  *process;
    PB_MONITOR  *monitor;
    TOY_SESSION *session;
    PB_SIGNAL   *end;
    Watch       *watch;
};

static void freeValidatorImp( TOY_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    imp->watch->free();
    delete imp->watch;
    pb::releaseOrNull( imp->process );
    pb::releaseOrNull( imp->monitor );
    pb::releaseOrNull( imp->session );
    pb::releaseOrNull( imp->end );
}

PB_SORT_DEFINE( pb, ToyValidatorImp, TOY_VALIDATOR_IMP, .free = pb::slot<freeValidatorImp> )

static void runValidator( PB_OBJ *obj )
{
    TOY_VALIDATOR_IMP *imp = pbToyValidatorImpFrom( obj );
    imp->watch->begin();
    ordinaryRuns++;
    {
        pb::InMonitor in( imp->monitor );
        expect( !pbSignalAsserted( imp->end ), "a validator runs after its end" );
        // The end may drop whatever the waiting side has hung on it, under this monitor.
        pbSignalAssert( imp->end );
        pbProcessHalt( imp->process );
    }
    ordinaryRuns--;
    imp->watch->end();
}

struct TOY_VALIDATOR : PB_OBJ
{
    TOY_VALIDATOR_IMP *imp;
};

static void freeValidator( TOY_VALIDATOR *validator )
{
    PB_CHECK( validator );
    expectMayBeFreed();
    {
        pb::InMonitor in( validator->imp->monitor );
        pbProcessHalt( validator->imp->process );
    }
    pb::releaseOrNull( validator->imp );
}

PB_SORT_DEFINE( pb, ToyValidator, TOY_VALIDATOR, .free = pb::slot<freeValidator> )

static pb::Ref<TOY_VALIDATOR> makeValidator( TOY_SESSION *session )
{
    auto               imp = pb::adopt( pb::create<TOY_VALIDATOR_IMP>() );
    TOY_VALIDATOR_IMP *raw = imp.get();
    raw->watch             = new Watch;
    raw->process           = pbProcessCreateCstr( runValidator, imp.obj(), "validator", -1, PB_PROCESS_CLASS_ORDINARY );
    raw->monitor           = pbMonitorCreate();
    raw->session           = pb::shareOrNull( session );
    raw->end               = pbSignalCreate();
    pbProcessSchedule( raw->process );
    auto validator       = pb::adopt( pb::create<TOY_VALIDATOR>() );
    validator.get()->imp = imp.take();
    return validator;
}

// An object whose process ends by itself and drops a session then: nobody else holds it.
struct TOY_CARRIER : PB_OBJ
{
    TOY_SESSION *session;
    Watch       *watch;
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
    ordinaryRuns++;
    simulation::switchPoint();
    ordinaryRuns--;
    watch->end();
}

// The process is held only by the signalable on this signal, so the session goes when the signal is
// asserted: under the lock of whoever asserts it.
static void hangSession( TOY_SESSION *session, PB_SIGNAL *signal )
{
    auto carrier           = pb::adopt( pb::create<TOY_CARRIER>() );
    carrier.get()->session = pb::shareOrNull( session );
    carrier.get()->watch   = new Watch;
    auto process           = pb::adopt( pbProcessCreateCstr( runCarrier, carrier.obj(), "carrier", -1, PB_PROCESS_CLASS_ORDINARY ) );
    auto sigb              = pb::adopt( pbSignalableCreateProcess( process.get() ) );
    if( below( 2 ) )
        pbProcessHalt( process.get() );
    pbSignalAddSignalable( signal, sigb.get() );
}

namespace
{

struct LiveWorld
{
    static constexpr unsigned places = 2;

    pb::Ref<TOY_STACK>     stack[places];
    pb::Ref<TOY_SESSION>   session[places];
    pb::Ref<TOY_VALIDATOR> validator[places];
    PB_MONITOR            *monitor = nullptr; // guards the three

    // Each is part of a cycle through the session that hangs on it, which its assertion ends.
    std::vector<pb::Ref<PB_SIGNAL>> hung;

    template<class T>
    pb::Ref<T> take( pb::Ref<T> &place )
    {
        pb::InMonitor in( monitor );
        return place;
    }
    template<class T>
    void put( pb::Ref<T> &place, pb::Ref<T> value )
    {
        pb::InMonitor in( monitor );
        std::swap( place, value );
        // What was there goes under this monitor.
        value = {};
    }
};

void step( LiveWorld &world )
{
    unsigned place   = below( world.places );
    auto     stack   = world.take( world.stack[place] );
    auto     session = world.take( world.session[place] );
    switch( below( 9 ) )
    {
    case 0:
        vault.set( below( 3 ) );
        break;
    case 1:
        roots.set( below( 3 ) );
        break;
    case 2:
        if( stack )
            setOption( stack.get(), below( 3 ) );
        break;
    case 3:
        world.put( world.stack[place], makeStack( below( 3 ) ) );
        break;
    case 4:
        if( stack )
            world.put( world.session[place], makeSession( stack.get() ) );
        break;
    case 5:
        if( session )
            world.put( world.validator[place], makeValidator( session.get() ) );
        break;
    case 6:
        world.put( world.stack[place], {} );
        break;
    case 7:
        world.put( world.session[place], {} );
        if( below( 2 ) )
            world.put( world.validator[place], {} );
        break;
    case 8:
        if( stack && session )
        {
            pb::Ref<PB_SIGNAL> signal;
            {
                pb::InRegionShared in( stack.get()->imp->region );
                signal = pb::share( stack.get()->imp->changed );
            }
            if( below( 2 ) )
                signal = pb::share( session.get()->changed );
            hangSession( session.get(), signal.get() );
            world.hung.push_back( signal );
        }
        break;
    }
}

void begin( LiveWorld &world )
{
    ordinaryRuns  = 0;
    world.monitor = pbMonitorCreate();
    vault.create( true );
    roots.create( false );
}

void dropAll( LiveWorld &world )
{
    for( auto &signal : world.hung )
        pbSignalAssert( signal.get() );
    world.hung.clear();
    for( unsigned place = 0; place < world.places; place++ )
    {
        world.put( world.validator[place], {} );
        world.put( world.session[place], {} );
        world.put( world.stack[place], {} );
    }
}

void end( LiveWorld &world )
{
    pb::releaseOrNull( world.monitor );
    vault.release();
    roots.release();
}

void playThreads( LiveWorld &world, unsigned count, unsigned *fibers )
{
    for( unsigned thread = 0; thread < count; thread++ )
    {
        fibers[thread] = simulation::spawn( [&world] {
            for( unsigned steps = 3 + below( 8 ); steps > 0; steps-- )
                step( world );
        } );
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
    for( unsigned place = 0; place < world.places; place++ )
    {
        if( auto stack = world.take( world.stack[place] ) )
        {
            TOY_STACK_IMP *imp = stack.get()->imp;
            expect( imp->cnfOption == imp->extOption, "a stack at rest has old options" );
            expect( imp->cnfVault == vault.value, "a stack at rest does not know the vault" );
            expect( imp->cnfRoots == roots.value, "a stack at rest does not know the roots" );
        }
        if( auto session = world.take( world.session[place] ) )
        {
            bool changed = session.get()->stack->imp->commits != session.get()->commits;
            expect( (bool)pbSignalAsserted( session.get()->changed ) == changed, "a session has a wrong mark of change" );
        }
        if( auto validator = world.take( world.validator[place] ) )
            expect( pbSignalAsserted( validator.get()->imp->end ), "a validator does not end" );
    }
    dropAll( world );
    simulation::rest();
    // All stacks are gone and have taken their signalables away.
    expect( pb___SignalLength( vault.signal ) == 0, "a stack that is gone is subscribed to the vault" );
    expect( pb___SignalLength( roots.signal ) == 0, "a stack that is gone is subscribed to the roots" );
    stopToys();
    end( world );
}

// Threads that still use the runtime. It may be used until the shut-down hooks.
unsigned users;
bool     mayUse;

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
        // Scheduling is no error at any time.
        if( auto stack = world.take( world.stack[place] ) )
            pbProcessSchedule( stack.get()->imp->process );
        break;
    }
}

// The runtime stops while other threads create, release and wait.
void playStop()
{
    LiveWorld world;
    begin( world );
    unsigned fibers[4];
    unsigned threads = 2 + below( 2 );
    users            = threads;
    mayUse           = true;
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
    auto spare       = makeStack( 1 );
    auto spareKeeper = makeSession( spare.get() );
    for( unsigned count = below( 30 ); count > 0; count-- )
        simulation::switchPoint();
    pb::concurrency::stop(
        [] {
            scheduleLate();
            vault.halt();
            roots.halt();
        },
        [] {
            expect( ordinaryRuns == 0, "a run is in progress when all have ended" );
            expect( lateRuns == 1, "an ordinary run that waits at the stop does not run" );
            mayUse = false;
            while( users > 0 )
                simulation::block( &users );
        },
        [] {
            shutDown = true;
            // Nobody may use them any more.
            vault.release();
            roots.release();
        } );
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

TEST( Simulation, Live ) { play( 2, playLive ); }

TEST( Simulation, Stop ) { play( 3, playStop ); }
