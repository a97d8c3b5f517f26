// The options of the runtime, its threads, and its stop.
#include <pb/locks.hpp>
#include <pb/pb.h>
#include <pb/pb_runtime.h>
#include <pb/pb_signal.h>
#include <pb/pb_timer.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>

#include "support/processes.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

using Names = std::vector<std::string>;

class PbRuntime : public OwnRuntime
{
protected:
    void setName( std::string_view name ) { pbRuntimeOptionsSetProductFriendlyNameCstr( options.handle(), name.data(), (PB_INT)name.size() ); }
    void setWorkers( PB_INT workers ) { pbRuntimeOptionsSetWorkers( options.handle(), workers ); }
};

// The executor is the test.
using PbRuntimeExecutor = RunsByHand;

void useNothing( void *, void ( * )( void * ), void * ) {}

size_t entriesOf( const char *folder )
{
    size_t count = 0;
    for( [[maybe_unused]] const auto &entry : std::filesystem::directory_iterator( folder ) )
        count++;
    return count;
}

// A thread that was joined can be visible in /proc for a moment longer.
bool hasThreads( size_t wanted )
{
    return soon( [=] { return entriesOf( "/proc/self/task" ) == wanted; } );
}

std::string repeated( size_t count, const std::string &text )
{
    std::string all;
    while( count-- )
        all += text;
    return all;
}

// Set when a hook of the module pb begins.
std::atomic<bool> halts, shutsDown;

void observe()
{
    halts = shutsDown = false;
    pb___RuntimeSetObserver( []( const char *hook, const PB_MODULE * ) {
        halts     = halts || std::string( hook ) == "halt";
        shutsDown = shutsDown || std::string( hook ) == "shutdown";
    } );
}

}

TEST_F( PbRuntime, OptionsAreCopiedIfSomebodyElseHoldsThem )
{
    auto other = options;
    pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), "/state/more", 6 );
    setName( "product" );
    setWorkers( 3 );
    EXPECT_EQ( pbRuntimeOptionsStateDirectory( other.get() ), nullptr );
    EXPECT_EQ( pbRuntimeOptionsProductFriendlyName( other.get() ), nullptr );
    EXPECT_EQ( pbRuntimeOptionsWorkers( other.get() ), 0 );
    EXPECT_EQ( text( pb::adopt( pbRuntimeOptionsStateDirectory( options.get() ) ) ), "/state" );
    EXPECT_EQ( text( pb::adopt( pbRuntimeOptionsProductFriendlyName( options.get() ) ) ), "product" );
    EXPECT_EQ( pbRuntimeOptionsWorkers( options.get() ), 3 );
    EXPECT_FALSE( pbRuntimeOptionsEquals( options.get(), other.get() ) );
}

TEST_F( PbRuntime, OptionsCompareAllTheirFields )
{
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "pb", -1 );
    pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), "/state", -1 );
    setName( "product" );
    setWorkers( 3 );
    pbRuntimeOptionsSetExecutor( options.handle(), useNothing, &halts );
    auto copy = pb::adopt( pbRuntimeOptionsCreateFrom( options.get() ) );
    EXPECT_TRUE( pbRuntimeOptionsEquals( options.get(), copy.get() ) );
    auto differs = [&]( auto change ) {
        auto other = copy;
        change( other.handle() );
        return !pbRuntimeOptionsEquals( options.get(), other.get() );
    };
    EXPECT_TRUE( differs( []( auto other ) { pbRuntimeOptionsAppendModuleCstr( other, "pb", -1 ); } ) );
    EXPECT_TRUE( differs( []( auto other ) { pbRuntimeOptionsSetStateDirectoryCstr( other, "/other", -1 ); } ) );
    EXPECT_TRUE( differs( []( auto other ) { pbRuntimeOptionsSetProductFriendlyNameCstr( other, "other", -1 ); } ) );
    EXPECT_TRUE( differs( []( auto other ) { pbRuntimeOptionsSetWorkers( other, 4 ); } ) );
    EXPECT_TRUE( differs( []( auto other ) { pbRuntimeOptionsSetExecutor( other, nullptr, &halts ); } ) );
    EXPECT_TRUE( differs( []( auto other ) { pbRuntimeOptionsSetExecutor( other, useNothing, &shutsDown ); } ) );
}

TEST_F( PbRuntime, WorkersMayBe0To1024 )
{
    for( PB_INT count : { (PB_INT)0, (PB_INT)1, PB_RUNTIME_WORKERS_MAX } )
    {
        setWorkers( count );
        EXPECT_EQ( pbRuntimeOptionsWorkers( options.get() ), count );
    }
}

TEST_F( PbRuntime, HasAsManyWorkersAsWanted )
{
    setWorkers( 3 );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( threadNames( "pb-" ), ( Names{ "pb-background", "pb-timer", "pb-worker-1", "pb-worker-2", "pb-worker-3" } ) );
    stop();
    EXPECT_TRUE( soon( [] { return threadNames( "pb-" ).empty(); } ) );
    setWorkers( 1 );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( threadNames( "pb-worker" ).size(), 1u );
    stop();
    setWorkers( 0 );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( (long)threadNames( "pb-worker" ).size(), std::min( sysconf( _SC_NPROCESSORS_ONLN ), 1024L ) );
}

TEST_F( PbRuntime, HasNoWorkersIfTheHostHasAnExecutor )
{
    setWorkers( 3 );
    pbRuntimeOptionsSetExecutor( options.handle(), useNothing, nullptr );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( threadNames( "pb-" ), ( Names{ "pb-background", "pb-timer" } ) );
    stop();
    pbRuntimeOptionsSetExecutor( options.handle(), nullptr, nullptr );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( threadNames( "pb-worker" ).size(), 3u );
}

TEST_F( PbRuntime, AllItsThreadsBlockAllSignals )
{
    ASSERT_EQ( start(), "" );
    size_t found = 0;
    for( const auto &entry : std::filesystem::directory_iterator( "/proc/self/task" ) )
    {
        std::string   name;
        std::ifstream comm( entry.path() / "comm" );
        std::getline( comm, name );
        if( !name.starts_with( "pb-" ) )
            continue;
        found++;
        auto blocked = [&] {
            std::string   line;
            std::ifstream status( entry.path() / "status" );
            while( std::getline( status, line ) && !line.starts_with( "SigBlk:" ) )
                continue;
            return line;
        };
        // All but SIGKILL, SIGSTOP and the two that the C library keeps for itself. It blocks those
        // two as well while a thread begins.
        ASSERT_TRUE( soon( [&] { return blocked() == "SigBlk:\tfffffffe7ffbfeff"; } ) ) << name << " " << blocked();
    }
    EXPECT_GE( found, 3u );
}

TEST_F( PbRuntime, FriendlyNameHas1To64Characters )
{
    for( const std::string &name : { std::string( "p" ), repeated( 64, "x" ), repeated( 64, "é" ), repeated( 64, "\U0001F511" ) } )
    {
        setName( name );
        ASSERT_EQ( start(), "" );
        EXPECT_EQ( text( pb::adopt( pbRuntimeVersionProductFriendlyName() ) ), name );
        stop();
    }
    setName( "" );
    EXPECT_EQ( start(), "the product's friendly name has 0 characters, it may have 1 to 64" );
    setName( repeated( 65, "x" ) );
    EXPECT_EQ( start(), "the product's friendly name has 65 characters, it may have 1 to 64" );
    EXPECT_FALSE( pbRuntimeStarted() );
    EXPECT_TRUE( threadNames( "pb-" ).empty() );
    setName( "product" );
    EXPECT_EQ( start(), "" );
}

TEST_F( PbRuntime, FriendlyNameIsTheDisplayNameIfItIsNotSet )
{
    std::string display = pbModuleRecord( pbModule() )->productDisplayName;
    EXPECT_EQ( text( pb::adopt( pbRuntimeVersionProductFriendlyName() ) ), display );
    setName( "product" );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( text( pb::adopt( pbRuntimeVersionProductFriendlyName() ) ), "product" );
    stop();
    EXPECT_EQ( text( pb::adopt( pbRuntimeVersionProductFriendlyName() ) ), display );
}

TEST_F( PbRuntime, StateDirectoryIsThePathOfKind4 )
{
    auto pathOf = []( PB_INT kind ) {
        auto paths = pb::adopt( pbRuntimePaths() );
        return text( pb::adopt( pbRuntimePathsPath( paths.get(), kind ) ) );
    };
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( pathOf( PB_RUNTIME_PATH_STATE ), "(null)" );
    stop();
    pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), "/some/state", -1 );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( pathOf( 4 ), "/some/state" );
    for( PB_INT other : { (PB_INT)-1, (PB_INT)0, (PB_INT)3, (PB_INT)5, PB_INT_MAX, PB_INT_MIN } )
        EXPECT_EQ( pathOf( other ), "(null)" );
    auto kept = pb::adopt( pbRuntimePaths() );
    EXPECT_TRUE( pbRuntimePathsEquals( kept.get(), pb::adopt( pbRuntimePaths() ).get() ) );
    stop();
    EXPECT_EQ( pathOf( PB_RUNTIME_PATH_STATE ), "(null)" );
    EXPECT_EQ( text( pb::adopt( pbRuntimePathsPath( kept.get(), PB_RUNTIME_PATH_STATE ) ) ), "/some/state" );
    EXPECT_FALSE( pbRuntimePathsEquals( kept.get(), pb::adopt( pbRuntimePaths() ).get() ) );
}

TEST_F( PbRuntime, AStateDirectoryWithAZeroCharacterIsRefused )
{
    pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), "/some\0state", 11 );
    EXPECT_EQ( start(), "the state directory has U+0000 in it" );
    EXPECT_FALSE( pbRuntimeStarted() );
    EXPECT_TRUE( threadNames( "pb-" ).empty() );
    pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), "/some", -1 );
    EXPECT_EQ( start(), "" );
}

TEST_F( PbRuntime, TellsThatThereAreNoDescriptors )
{
    size_t threads = entriesOf( "/proc/self/task" );
    rlimit before, none;
    getrlimit( RLIMIT_NOFILE, &before );
    none          = before;
    none.rlim_cur = 0;
    setrlimit( RLIMIT_NOFILE, &none );
    std::string error = start();
    setrlimit( RLIMIT_NOFILE, &before );
    EXPECT_EQ( error, "the timers cannot be started: Too many open files" );
    EXPECT_FALSE( pbRuntimeStarted() );
    EXPECT_TRUE( hasThreads( threads ) );
    EXPECT_EQ( start(), "" );
}

TEST_F( PbRuntime, LeavesNothingBehindInAHundredRounds )
{
    setWorkers( 2 );
    ASSERT_EQ( start(), "" );
    stop();
    PB_INT objects     = pbObjLiveCount();
    size_t threads     = entriesOf( "/proc/self/task" );
    size_t descriptors = entriesOf( "/proc/self/fd" );
    for( int round = 0; round < 100; round++ )
    {
        ASSERT_EQ( start(), "" );
        std::atomic<int> runs{ 0 };
        {
            auto ordinary   = process( [&] { runs++; } );
            auto background = process( [&] { runs++; }, PB_PROCESS_CLASS_BACKGROUND );
            auto timer      = pb::adopt( pbTimerCreateProcess( ordinary.get() ) );
            auto signal     = pb::adopt( pbSignalCreate() );
            pbSignalAddSignalable( signal.get(), pb::adopt( pbSignalableCreateProcess( background.get() ) ).get() );
            pbTimerSchedule( timer.get(), round % 3 );
            pbProcessSchedule( ordinary.get() );
            pbSignalAssert( signal.get() );
            if( round % 2 )
            {
                EXPECT_TRUE( soon( [&] { return runs >= 2; } ) );
            }
            if( round % 4 == 0 )
                pbProcessHalt( ordinary.get() );
            stop();
        }
        ASSERT_EQ( pbObjLiveCount(), objects ) << round;
        ASSERT_TRUE( hasThreads( threads ) ) << round;
        ASSERT_EQ( entriesOf( "/proc/self/fd" ), descriptors ) << round;
        ASSERT_EQ( pb___ClockArmedTimers(), 0 ) << round;
    }
}

TEST_F( PbRuntime, OrdinaryRunsThatWaitRunAtTheStopAndBackgroundRunsDoNot )
{
    observe();
    setWorkers( 1 );
    ASSERT_EQ( start(), "" );
    std::atomic<bool>                reached[2], open{ false };
    std::atomic<int>                 ordinaryRuns{ 0 }, backgroundRuns{ 0 }, scheduledLate{ 0 };
    std::vector<pb::Ref<PB_PROCESS>> all;
    auto                             late = process( [&] { scheduledLate++; } );
    for( int kind = 0; kind < 2; kind++ )
    {
        reached[kind]             = false;
        PB_PROCESS_CLASS theClass = kind ? PB_PROCESS_CLASS_BACKGROUND : PB_PROCESS_CLASS_ORDINARY;
        auto            &count    = kind ? backgroundRuns : ordinaryRuns;
        auto             blocks   = process(
            [&, kind] {
                reached[kind] = true;
                EXPECT_TRUE( soon( [&] { return open.load(); } ) );
                count++;
            },
            theClass );
        pbProcessSchedule( blocks.get() );
        EXPECT_TRUE( soon( [&] { return reached[kind].load(); } ) );
        for( int number = 0; number < 10; number++ )
        {
            all.push_back( process(
                [&] {
                    count++;
                    EXPECT_FALSE( shutsDown );
                },
                theClass ) );
            pbProcessSchedule( all.back().get() );
        }
    }
    std::thread opening( [&] {
        EXPECT_TRUE( soon( [] { return halts.load(); } ) );
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
        EXPECT_FALSE( shutsDown );
        open = true;
    } );
    stop();
    opening.join();
    EXPECT_EQ( ordinaryRuns, 11 );
    EXPECT_EQ( backgroundRuns, 1 );
    pbProcessSchedule( late.get() );
    // The background processes are idle again; their wishes are forgotten.
    observe();
    ASSERT_EQ( start(), "" );
    for( auto &each : all )
        pbProcessSchedule( each.get() );
    EXPECT_TRUE( soon( [&] { return ordinaryRuns == 21 && backgroundRuns == 11; } ) );
    EXPECT_EQ( scheduledLate, 0 );
    pb___RuntimeSetObserver( nullptr );
}

TEST_F( PbRuntime, LetsWaitersGoAtTheStop )
{
    ASSERT_EQ( start(), "" );
    auto             never   = pb::adopt( pbSignalCreate() );
    auto             endless = process( [] {} );
    std::atomic<int> ended{ 0 };
    std::thread      waiting[4];
    for( int number = 0; number < 4; number++ )
    {
        waiting[number] = std::thread( [&, number] {
            EXPECT_FALSE( number < 2 ? pbSignalWait( never.get(), number ? 3600000 : -1 ) : pb___ProcessEndWait( endless.get() ) );
            ended++;
        } );
    }
    std::this_thread::sleep_for( std::chrono::milliseconds( 5 ) );
    stop();
    for( std::thread &each : waiting )
        each.join();
    EXPECT_EQ( ended, 4 );
    // Nobody waits while it is stopped.
    EXPECT_FALSE( pbSignalWait( never.get(), -1 ) );
    EXPECT_FALSE( pb___ProcessEndWait( endless.get() ) );
    pbSignalAssert( never.get() );
    EXPECT_TRUE( pbSignalWait( never.get(), -1 ) );
    pbProcessHalt( endless.get() );
    EXPECT_TRUE( pb___ProcessEndWait( endless.get() ) );
}

TEST_F( PbRuntime, TheShutDownWaitsForAnInlineRun )
{
    observe();
    ASSERT_EQ( start(), "" );
    std::atomic<bool> reached{ false };
    std::thread       user( [&] {
        pb___ProcessRunInline( process( [&] {
            reached = true;
            EXPECT_TRUE( soon( [] { return halts.load(); } ) );
            // During the stop it is allowed to run others inline.
            bool ran = false;
            pb___ProcessRunInline( process( [&] { ran = true; } ).get() );
            EXPECT_TRUE( ran );
            std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
            EXPECT_FALSE( shutsDown );
        } ).get() );
    } );
    EXPECT_TRUE( soon( [&] { return reached.load(); } ) );
    stop();
    user.join();
    pb___RuntimeSetObserver( nullptr );
}

TEST_F( PbRuntimeExecutor, TicketsMayBeUsedLateAndInAnyOrder )
{
    pbRuntimeOptionsSetWorkers( options.handle(), 4 );
    ASSERT_EQ( start(), "" );
    std::string                      order;
    std::vector<pb::Ref<PB_PROCESS>> all;
    for( char name = 'a'; name <= 'h'; name++ )
    {
        all.push_back( process( [&order, name] { order += name; } ) );
        pbProcessSchedule( all.back().get() );
    }
    auto tickets = takeTickets();
    // No more at a time than there are workers.
    EXPECT_EQ( tickets.size(), 4u );
    EXPECT_EQ( order, "" );
    std::reverse( tickets.begin(), tickets.end() );
    for( const Ticket &ticket : tickets )
        ticket.use();
    runAll();
    EXPECT_EQ( order, "abcdefgh" );
    // New runs get new tickets.
    pbProcessSchedule( all[2].get() );
    tickets = takeTickets();
    ASSERT_EQ( tickets.size(), 1u );
    tickets[0].use();
    EXPECT_EQ( order, "abcdefghc" );
}

TEST_F( PbRuntimeExecutor, ATicketGivesWayNowAndThen )
{
    ASSERT_EQ( start(), "" );
    int                              runs = 0;
    std::vector<pb::Ref<PB_PROCESS>> all;
    for( int count = 0; count < 1000; count++ )
    {
        all.push_back( process( [&] { runs++; } ) );
        pbProcessSchedule( all.back().get() );
    }
    auto tickets = takeTickets();
    ASSERT_EQ( tickets.size(), 1u );
    tickets[0].use();
    EXPECT_GT( runs, 0 );
    EXPECT_LT( runs, 1000 );
    runAll();
    EXPECT_EQ( runs, 1000 );
}

TEST_F( PbRuntimeExecutor, OrdinaryRunsRunAtTheStopThoughNoTicketIsUsed )
{
    ASSERT_EQ( start(), "" );
    int                              runs = 0;
    auto                             here = std::this_thread::get_id();
    std::vector<pb::Ref<PB_PROCESS>> all;
    auto                             late = process( [&] { ADD_FAILURE() << "what a run schedules during the stop does not run"; } );
    for( int count = 0; count < 10; count++ )
    {
        all.push_back( process( [&] {
            EXPECT_EQ( std::this_thread::get_id(), here );
            runs++;
            pbProcessSchedule( late.get() );
        } ) );
        pbProcessSchedule( all.back().get() );
    }
    stop();
    EXPECT_EQ( runs, 10 );
}

TEST_F( PbRuntimeExecutor, TicketsOfAnotherStartDoNothing )
{
    int  runs = 0;
    auto made = process( [&] { runs++; } );
    ASSERT_EQ( start(), "" );
    pbProcessSchedule( made.get() );
    auto kept = takeTickets();
    ASSERT_EQ( kept.size(), 1u );
    stop();
    EXPECT_EQ( runs, 1 );
    kept[0].use();
    EXPECT_EQ( runs, 1 );

    // The tickets of this start count alone: the late one neither runs anything nor makes room.
    ASSERT_EQ( start(), "" );
    pbProcessSchedule( made.get() );
    kept[0].use();
    EXPECT_EQ( runs, 1 );
    auto other = process( [] {} );
    pbProcessSchedule( other.get() );
    auto tickets = takeTickets();
    EXPECT_EQ( tickets.size(), 1u );
    tickets[0].use();
    EXPECT_EQ( runs, 2 );
    stop();

    // And with workers of its own.
    pbRuntimeOptionsSetExecutor( options.handle(), nullptr, nullptr );
    ASSERT_EQ( start(), "" );
    kept[0].use();
    tickets[0].use();
    std::atomic<bool> ran{ false };
    auto              last = process( [&] { ran = true; } );
    pbProcessSchedule( last.get() );
    EXPECT_TRUE( soon( [&] { return ran.load(); } ) );
}

TEST_F( PbRuntimeExecutor, BackgroundRunsAndTimersDoNotNeedIt )
{
    ASSERT_EQ( start(), "" );
    std::atomic<bool> ran{ false };
    auto              background = process( [&] { ran = true; }, PB_PROCESS_CLASS_BACKGROUND );
    auto              timer      = pb::adopt( pbTimerCreateProcess( background.get() ) );
    pbTimerSchedule( timer.get(), 1 );
    EXPECT_TRUE( soon( [&] { return ran.load(); } ) );
    EXPECT_TRUE( takeTickets().empty() );
}
