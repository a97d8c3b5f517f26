// Scenarios of processes, signals and timers alone.
#include "simulation/scenarios.hpp"
#include "simulation/toys.hpp"

using namespace toys;

struct TOY_ACTOR : PB_OBJ
{
    struct BaseWorld *world;
    unsigned          number;
    PB_PROCESS       *process; // which holds this object
};

// The watches outlive the objects.
struct BaseWorld
{
    static constexpr unsigned actors = 3, signals = 4;

    Watch                  watch[actors];
    pb::Ref<PB_PROCESS>    process[actors];
    pb::Ref<PB_SIGNALABLE> sigb[actors];
    pb::Ref<PB_SIGNAL>     signal[signals];
    pb::Ref<PB_TIMER>      timer[actors];
    bool                   added[signals][actors]   = {}; // before the assertion
    bool                   deleted[signals][actors] = {};
    bool                   closing                  = false; // runs do nothing more
};

static void freeActor( TOY_ACTOR *actor )
{
    PB_CHECK( actor );
    actor->world->watch[actor->number].free();
    expect( !pb___ProcessEnded( actor->process ), "a process reads as ended before its object is freed" );
}

PB_SORT_DEFINE( pb, ToyActor, TOY_ACTOR, .free = pb::slot<freeActor> )

static void step( BaseWorld &world );

static void runActor( PB_OBJ *obj )
{
    TOY_ACTOR *actor = pbToyActorFrom( obj );
    Watch     &watch = actor->world->watch[actor->number];
    watch.begin();
    for( unsigned count = below( 3 ); count > 0 && !actor->world->closing; count-- )
        step( *actor->world );
    watch.end();
}

static void schedule( BaseWorld &world, unsigned actor )
{
    world.watch[actor].wishes++;
    pbProcessSchedule( world.process[actor].get() );
}

// One thing that a thread may do.
static void step( BaseWorld &world )
{
    unsigned    actor   = below( world.actors );
    unsigned    signal  = below( world.signals );
    unsigned    other   = below( world.signals );
    PB_SIGNAL  *chosen  = world.signal[signal].get();
    PB_PROCESS *process = world.process[actor].get();
    switch( below( 14 ) )
    {
    case 0:
    case 1:
    case 2:
        schedule( world, actor );
        break;
    case 3:
        // Halting is rare, since it ends the game.
        if( below( 4 ) == 0 )
        {
            pbProcessHalt( process );
            if( pb___ProcessEnded( process ) )
                world.watch[actor].hasHalted = true;
        }
        break;
    case 4:
    case 5:
        // An asserted signal triggers what is added.
        if( pbSignalAsserted( chosen ) )
            world.watch[actor].wishes++;
        pbSignalAddSignalable( chosen, world.sigb[actor].get() );
        world.added[signal][actor] |= !pbSignalAsserted( chosen );
        break;
    case 6:
        world.deleted[signal][actor] = true;
        pbSignalDelSignalable( chosen, world.sigb[actor].get() );
        break;
    case 7:
        pbSignalAddSignal( chosen, world.signal[other].get() );
        break;
    case 8:
        if( below( 2 ) )
            pbSignalDelSignal( chosen, world.signal[other].get() );
        break;
    case 9:
        pbSignalAssert( chosen );
        break;
    case 10:
        world.watch[actor].wishes++;
        pbTimerSchedule( world.timer[actor].get(), below( 3 ) );
        break;
    case 11:
        pb___ClockAdvance( below( 3 ) );
        break;
    case 12: {
        // A signalable that only a signal holds, deleted or asserted.
        auto signalOfThis = pb::adopt( pbSignalCreate() );
        auto sigb         = pb::adopt( pbSignalableCreateProcess( process ) );
        pbSignalAddSignalable( signalOfThis.get(), sigb.get() );
        PB_SIGNALABLE *lent = sigb.get();
        sigb                = {};
        below( 2 ) ? pbSignalDelSignalable( signalOfThis.get(), lent ) : pbSignalAssert( signalOfThis.get() );
        break;
    }
    case 13: {
        // A timer that is armed and dropped.
        auto timer = pb::adopt( pbTimerCreateProcess( process ) );
        pbTimerSchedule( timer.get(), below( 3 ) );
        if( below( 2 ) )
            simulation::switchPoint();
        break;
    }
    }
}

static void makeActor( BaseWorld &world, unsigned number )
{
    auto actor            = pb::adopt( pb::create<TOY_ACTOR>() );
    actor.get()->world    = &world;
    actor.get()->number   = number;
    world.process[number] = pb::adopt(
        pbProcessCreateCstr( runActor, actor.obj(), "actor", -1, below( 2 ) ? PB_PROCESS_CLASS_ORDINARY : PB_PROCESS_CLASS_BACKGROUND ) );
    actor.get()->process = world.process[number].get();
    world.sigb[number]   = pb::adopt( pbSignalableCreateProcess( world.process[number].get() ) );
    world.timer[number]  = pb::adopt( pbTimerCreateProcess( world.process[number].get() ) );
}

static void playBase()
{
    {
        BaseWorld world;
        for( unsigned number = 0; number < world.signals; number++ )
            world.signal[number] = pb::adopt( pbSignalCreate() );
        for( unsigned number = 0; number < world.actors; number++ )
            makeActor( world, number );
        if( below( 2 ) )
            pb___ProcessRunInline( world.process[0].get() );
        simulation::onTrigger( [&world]( const void *obj ) {
            for( unsigned actor = 0; actor < world.actors; actor++ )
                world.watch[actor].wishes += world.sigb[actor].obj() == obj;
        } );
        unsigned threads = 2 + below( 3 );
        unsigned fibers[4];
        // They wait until the signal is asserted and the process is halted: at the end at the
        // latest.
        unsigned waiters[] = {
            simulation::spawn( [&world] { expect( pbSignalWait( world.signal[0].get(), -1 ), "a wait for a signal ends without it" ); } ),
            simulation::spawn( [&world] {
                expect( pb___ProcessEndWait( world.process[0].get() ), "a wait for a process ends without it" );
                expect( world.watch[0].freed == 1, "a wait for a process ends before its object is freed" );
            } ),
        };
        for( unsigned thread = 0; thread < threads; thread++ )
        {
            fibers[thread] = simulation::spawn( [&world] {
                for( unsigned count = 4 + below( 8 ); count > 0; count-- )
                    step( world );
            } );
        }
        for( unsigned thread = 0; thread < threads; thread++ )
            simulation::join( fibers[thread] );
        world.closing = true;
        simulation::rest();
        pb___ClockAdvance( 10 );
        simulation::rest();
        for( unsigned actor = 0; actor < world.actors; actor++ )
        {
            const Watch &watch  = world.watch[actor];
            bool         halted = pbProcessHalted( world.process[actor].get() );
            expect( !watch.runs, "a run does not end" );
            expect( halted || watch.seen == watch.wishes, "a wake-up is lost" );
            expect( halted || !pbTimerScheduled( world.timer[actor].get() ), "a timer does not fire" );
            expect( !halted || pb___ProcessEnded( world.process[actor].get() ), "a halted process does not end" );
            expect( !halted || watch.freed == 1, "the object of a process that has ended is not freed" );
            for( unsigned signal = 0; signal < world.signals; signal++ )
            {
                PB_SIGNAL *each  = world.signal[signal].get();
                unsigned   count = simulation::triggers( each, world.sigb[actor].get() );
                bool       must  = world.added[signal][actor] && !world.deleted[signal][actor] && pbSignalAsserted( each );
                expect( count <= 1, "an assertion triggers a signalable twice" );
                expect( count == 1 || !must, "an assertion does not trigger a signalable" );
                expect( !pbSignalAsserted( each ) || pb___SignalLength( each ) == 0, "an asserted signal holds something" );
            }
        }
        // Cycles of signals end when they are asserted.
        for( auto &signal : world.signal )
            pbSignalAssert( signal.get() );
        simulation::join( waiters[0] );
        for( auto &process : world.process )
            pbProcessHalt( process.get() );
        simulation::join( waiters[1] );
        simulation::rest();
        expect( pb___ClockArmedTimers() <= world.actors, "a timer stays armed after its end" );
        stopToys();
    }
}

// A short scenario, so that the whole stop often comes between two steps of one call.
static void playQuickStop()
{
    pb::Ref<PB_PROCESS> processes[2];
    for( int each = 0; each < 2; each++ )
        processes[each] = pb::adopt( pbProcessCreateCstr( []( PB_OBJ * ) { expect( !shutDown, "a run begins after the shut-down" ); }, nullptr,
            "quick", -1, each ? PB_PROCESS_CLASS_BACKGROUND : PB_PROCESS_CLASS_ORDINARY ) );
    unsigned fiber = simulation::spawn( [&processes] {
        for( unsigned count = 1 + below( 2 ); count > 0; count-- )
            pbProcessSchedule( processes[below( 2 )].get() );
    } );
    for( unsigned count = below( 6 ); count > 0; count-- )
        simulation::switchPoint();
    stopToys();
    simulation::join( fiber );
}

TEST( Simulation, Base ) { play( 1, 35, playBase ); }

TEST( Simulation, QuickStop ) { play( 4, 30, playQuickStop ); }
