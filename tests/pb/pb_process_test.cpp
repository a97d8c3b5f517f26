#include <pb/pb.h>
#include <pb/pb_locks.h>
#include <pb/pb_process.h>
#include <pb/pb_runtime.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <pthread.h>

#include "support/processes.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

// Most rules are tested by hand: the executor keeps the tickets, and the test makes the runs.
using PbProcess = RunsByHand;

// Rules that need threads.
class PbProcessThreads : public OwnRuntime
{
protected:
    void SetUp() override
    {
        OwnRuntime::SetUp();
        pbRuntimeOptionsSetWorkers( options.handle(), 2 );
        ASSERT_EQ( start(), "" );
    }
};

// A thread of the runtime that waits here lets the test go on, and goes on when the test says so.
struct Stop
{
    std::atomic<bool> reached{ false };
    std::atomic<bool> open{ false };

    void wait()
    {
        reached = true;
        EXPECT_TRUE( soon( [this] { return open.load(); } ) );
    }
    void expectReached()
    {
        EXPECT_TRUE( soon( [this] { return reached.load(); } ) );
    }
};

std::string nameOfThisThread()
{
    char name[16];
    pthread_getname_np( pthread_self(), name, sizeof name );
    return name;
}

}

TEST_F( PbProcess, HasAName )
{
    auto made = pb::adopt( pbProcessCreateCstr( []( PB_OBJ * ) {}, nullptr, "a name", 4, PB_PROCESS_CLASS_ORDINARY ) );
    EXPECT_EQ( text( pb::adopt( pbProcessName( made.get() ) ) ), "a na" );
    EXPECT_EQ( text( pb::adopt( pbProcessToString( made.get() ) ) ), "a na" );
    EXPECT_EQ( text( pb::adopt( pbProcessName( process( [] {} ).get() ) ) ), "test" );
}

TEST_F( PbProcess, EqualsOnlyItself )
{
    auto one = process( [] {} ), other = process( [] {} );
    EXPECT_TRUE( pbProcessEquals( one.get(), one.get() ) );
    EXPECT_FALSE( pbProcessEquals( one.get(), other.get() ) );
    EXPECT_EQ( pbProcessCompare( one.get(), other.get() ), -pbProcessCompare( other.get(), one.get() ) );
}

TEST_F( PbProcess, GetsItsObjectOrNull )
{
    ASSERT_EQ( start(), "" );
    static PB_OBJ *seen;
    auto           run = []( PB_OBJ *obj ) { seen = obj; };
    auto           obj = str( "object" );
    for( PB_OBJ *given : { obj.obj(), (PB_OBJ *)nullptr } )
    {
        auto made = pb::adopt( pbProcessCreateCstr( run, given, "test", -1, PB_PROCESS_CLASS_ORDINARY ) );
        seen      = pbProcessObj( made.get() );
        pbProcessSchedule( made.get() );
        runAll();
        EXPECT_EQ( seen, given );
    }
}

TEST_F( PbProcess, RunsOnceForAllThatWasScheduledBefore )
{
    ASSERT_EQ( start(), "" );
    int  runs = 0;
    auto made = process( [&] { runs++; } );
    runAll();
    EXPECT_EQ( runs, 0 );
    for( int count = 0; count < 5; count++ )
        pbProcessSchedule( made.get() );
    EXPECT_EQ( runs, 0 );
    runAll();
    EXPECT_EQ( runs, 1 );
    pbProcessSchedule( made.get() );
    runAll();
    EXPECT_EQ( runs, 2 );
}

TEST_F( PbProcess, RunsOnceMoreIfItIsScheduledDuringItsRun )
{
    ASSERT_EQ( start(), "" );
    int                 runs = 0;
    pb::Ref<PB_PROCESS> made;
    made = process( [&] {
        if( runs++ < 3 )
        {
            pbProcessSchedule( made.get() );
            pbProcessSchedule( made.get() );
        }
    } );
    pbProcessSchedule( made.get() );
    runAll();
    EXPECT_EQ( runs, 4 );
}

TEST_F( PbProcess, RunsInTheOrderOfScheduling )
{
    ASSERT_EQ( start(), "" );
    std::string                      order;
    std::vector<pb::Ref<PB_PROCESS>> all;
    for( char name = 'a'; name <= 'f'; name++ )
        all.push_back( process( [&order, name] { order += name; } ) );
    for( int each : { 2, 0, 5, 2, 4, 1 } )
        pbProcessSchedule( all[(size_t)each].get() );
    // From the middle, the front and the end of the queue.
    for( int each : { 5, 2, 1 } )
        pbProcessHalt( all[(size_t)each].get() );
    pbProcessSchedule( all[3].get() );
    runAll();
    EXPECT_EQ( order, "aed" );
}

TEST_F( PbProcess, WaitsForItsRunWithoutAnyReference )
{
    ASSERT_EQ( start(), "" );
    int runs = 0, freed = 0;
    {
        auto made = process( [&] { runs++; }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
        pbProcessSchedule( made.get() );
    }
    EXPECT_EQ( freed, 0 );
    runAll();
    EXPECT_EQ( runs, 1 );
    EXPECT_EQ( freed, 1 );
}

TEST_F( PbProcess, AProcessThatIsNeverScheduledGoesWithItsLastReference )
{
    int freed = 0;
    process( [] {}, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
    EXPECT_EQ( freed, 1 );
}

TEST_F( PbProcess, HaltTakesTheRunBackAndReleasesTheObject )
{
    ASSERT_EQ( start(), "" );
    int  runs = 0, freed = 0;
    auto made = process( [&] { runs++; }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
    EXPECT_FALSE( pbProcessHalted( made.get() ) );
    pbProcessSchedule( made.get() );
    EXPECT_FALSE( pb___ProcessEnded( made.get() ) );
    pbProcessHalt( made.get() );
    EXPECT_TRUE( pbProcessHalted( made.get() ) );
    EXPECT_TRUE( pb___ProcessEnded( made.get() ) );
    EXPECT_TRUE( pb___ProcessEndWait( made.get() ) );
    EXPECT_EQ( freed, 1 );
    pbProcessHalt( made.get() );
    pbProcessSchedule( made.get() );
    runAll();
    EXPECT_EQ( runs, 0 );
    EXPECT_EQ( freed, 1 );
    EXPECT_TRUE( pb___ProcessEnded( made.get() ) );
}

TEST_F( PbProcess, AQueuedProcessThatIsHaltedIsFreed )
{
    ASSERT_EQ( start(), "" );
    PB_INT before = pbObjLiveCount();
    {
        auto made = process( [] {} );
        pbProcessSchedule( made.get() );
        pbProcessHalt( made.get() );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST_F( PbProcess, MayHaltItselfInItsRun )
{
    ASSERT_EQ( start(), "" );
    int                 runs = 0, freed = 0;
    pb::Ref<PB_PROCESS> made;
    made = process(
        [&] {
            runs++;
            pbProcessSchedule( made.get() );
            pbProcessHalt( made.get() );
            pbProcessHalt( made.get() );
            EXPECT_TRUE( pbProcessHalted( made.get() ) );
            EXPECT_FALSE( pb___ProcessEnded( made.get() ) );
            EXPECT_EQ( freed, 0 );
        },
        PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
    pbProcessSchedule( made.get() );
    runAll();
    EXPECT_EQ( runs, 1 );
    EXPECT_EQ( freed, 1 );
    EXPECT_TRUE( pb___ProcessEnded( made.get() ) );
}

TEST_F( PbProcess, ItsObjectIsFreedBeforeItReadsAsEnded )
{
    ASSERT_EQ( start(), "" );
    for( bool inRun : { false, true } )
    {
        pb::Ref<PB_PROCESS> made;
        int                 freed = 0;
        made                      = process( [&] { pbProcessHalt( made.get() ); }, PB_PROCESS_CLASS_ORDINARY,
            [&] {
                freed++;
                EXPECT_TRUE( pbProcessHalted( made.get() ) );
                EXPECT_FALSE( pb___ProcessEnded( made.get() ) );
            } );
        if( inRun )
        {
            pbProcessSchedule( made.get() );
            runAll();
        }
        pbProcessHalt( made.get() );
        EXPECT_TRUE( pb___ProcessEnded( made.get() ) );
        EXPECT_EQ( freed, 1 );
    }
}

TEST_F( PbProcess, RunInlineRunsOnThisThread )
{
    ASSERT_EQ( start(), "" );
    int  runs = 0;
    auto made = process( [&] { runs++; } );
    pb___ProcessRunInline( made.get() );
    EXPECT_EQ( runs, 1 );
    pb___ProcessRunInline( made.get() );
    EXPECT_EQ( runs, 2 );
    EXPECT_TRUE( takeTickets().empty() );
}

TEST_F( PbProcess, RunInlineTakesOverARunThatWaits )
{
    ASSERT_EQ( start(), "" );
    int  runs = 0, freed = 0;
    auto made = process( [&] { runs++; }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
    pbProcessSchedule( made.get() );
    pb___ProcessRunInline( made.get() );
    EXPECT_EQ( runs, 1 );
    runAll();
    EXPECT_EQ( runs, 1 );
    pbProcessSchedule( made.get() );
    runAll();
    EXPECT_EQ( runs, 2 );
    // The reference of the queue is given back.
    made = {};
    EXPECT_EQ( freed, 1 );
}

TEST_F( PbProcess, RunInlineDoesNothingOnAHaltedProcess )
{
    ASSERT_EQ( start(), "" );
    int  runs = 0;
    auto made = process( [&] { runs++; } );
    pbProcessHalt( made.get() );
    pb___ProcessRunInline( made.get() );
    EXPECT_EQ( runs, 0 );
}

TEST_F( PbProcess, WhatIsScheduledInAnInlineRunRunsAfterwards )
{
    ASSERT_EQ( start(), "" );
    int                 runs = 0;
    pb::Ref<PB_PROCESS> made;
    made = process( [&] {
        if( runs++ == 0 )
        {
            pbProcessSchedule( made.get() );
            runAll();
            EXPECT_EQ( runs, 1 );
        }
    } );
    pb___ProcessRunInline( made.get() );
    EXPECT_EQ( runs, 1 );
    runAll();
    EXPECT_EQ( runs, 2 );
}

TEST_F( PbProcess, RunsInlineInsideTheRunOfAnother )
{
    ASSERT_EQ( start(), "" );
    std::string order;
    auto        inner = process( [&] { order += "inner "; } );
    auto        outer = process( [&] {
        order += "outer ";
        pb___ProcessRunInline( inner.get() );
        order += "end";
    } );
    pbProcessSchedule( outer.get() );
    runAll();
    EXPECT_EQ( order, "outer inner end" );
}

TEST_F( PbProcess, MayBeScheduledAndHaltedInALock )
{
    ASSERT_EQ( start(), "" );
    auto monitor = pb::adopt( pbMonitorCreate() );
    int  freed   = 0;
    auto made    = process( [] {}, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
    pbMonitorEnter( monitor.get() );
    pbProcessSchedule( made.get() );
    pbProcessHalt( made.get() );
    EXPECT_EQ( freed, 0 );
    pbMonitorLeave( monitor.get() );
    EXPECT_EQ( freed, 1 );
}

TEST_F( PbProcess, NothingIsScheduledWhileTheRuntimeIsStopped )
{
    int  runs = 0;
    auto made = process( [&] { runs++; } );
    pbProcessSchedule( made.get() );
    ASSERT_EQ( start(), "" );
    runAll();
    EXPECT_EQ( runs, 0 );
    pbProcessSchedule( made.get() );
    runAll();
    EXPECT_EQ( runs, 1 );
    stop();
    pbProcessSchedule( made.get() );
    EXPECT_FALSE( pb___ProcessEnded( made.get() ) );
    pbProcessHalt( made.get() );
    EXPECT_TRUE( pb___ProcessEnded( made.get() ) );
}

TEST_F( PbProcess, AHundredThousandProcessesRunOnceEach )
{
    ASSERT_EQ( start(), "" );
    int                              runs = 0;
    std::vector<pb::Ref<PB_PROCESS>> all;
    for( int count = 0; count < 100000; count++ )
    {
        all.push_back( process( [&] { runs++; } ) );
        pbProcessSchedule( all.back().get() );
    }
    for( size_t each = 0; each < all.size(); each += 2 )
        pbProcessHalt( all[each].get() );
    all.clear();
    runAll();
    EXPECT_EQ( runs, 50000 );
}

TEST_F( PbProcessThreads, RunsOnItsThreads )
{
    std::string                  names[2];
    std::atomic<std::thread::id> ids[2];
    std::atomic<int>             runs{ 0 };
    auto                         run = [&]( int place ) {
        names[place] = nameOfThisThread();
        ids[place]   = std::this_thread::get_id();
        runs++;
    };
    auto ordinary   = process( [&] { run( 0 ); } );
    auto background = process( [&] { run( 1 ); }, PB_PROCESS_CLASS_BACKGROUND );
    pbProcessSchedule( ordinary.get() );
    pbProcessSchedule( background.get() );
    ASSERT_TRUE( soon( [&] { return runs == 2; } ) );
    EXPECT_TRUE( names[0] == "pb-worker-1" || names[0] == "pb-worker-2" ) << names[0];
    EXPECT_EQ( names[1], "pb-background" );
    EXPECT_NE( ids[0].load(), std::this_thread::get_id() );
    EXPECT_NE( ids[0].load(), ids[1].load() );
}

TEST_F( PbProcessThreads, ItsThreadsBlockAllSignals )
{
    std::atomic<int> runs{ 0 };
    auto             run = [&] {
        sigset_t blocked;
        pthread_sigmask( SIG_SETMASK, nullptr, &blocked );
        for( int number = 1; number <= SIGRTMAX; number++ )
        {
            // Nobody can block these two; the C library keeps those from 32 to SIGRTMIN for itself.
            bool cannot = number == SIGKILL || number == SIGSTOP || ( number >= 32 && number < SIGRTMIN );
            EXPECT_TRUE( cannot || sigismember( &blocked, number ) ) << number;
        }
        runs++;
    };
    auto ordinary   = process( run );
    auto background = process( run, PB_PROCESS_CLASS_BACKGROUND );
    pbProcessSchedule( ordinary.get() );
    pbProcessSchedule( background.get() );
    EXPECT_TRUE( soon( [&] { return runs == 2; } ) );
    // The thread that started the runtime gets its signals still.
    sigset_t blocked;
    pthread_sigmask( SIG_SETMASK, nullptr, &blocked );
    EXPECT_FALSE( sigismember( &blocked, SIGTERM ) );
}

TEST_F( PbProcessThreads, HaltDoesNotWaitForTheRunInProgress )
{
    Stop             inRun;
    std::atomic<int> freed{ 0 };
    auto             made = process( [&] { inRun.wait(); }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
    pbProcessSchedule( made.get() );
    inRun.expectReached();
    pbProcessHalt( made.get() );
    EXPECT_TRUE( pbProcessHalted( made.get() ) );
    EXPECT_FALSE( pb___ProcessEnded( made.get() ) );
    EXPECT_EQ( freed, 0 );
    inRun.open = true;
    EXPECT_TRUE( pb___ProcessEndWait( made.get() ) );
    EXPECT_EQ( freed, 1 );
    EXPECT_TRUE( pb___ProcessEnded( made.get() ) );
}

TEST_F( PbProcessThreads, EndWaitWaitsForTheHalt )
{
    auto             made = process( [] {} );
    std::atomic<int> ended{ 0 };
    std::thread      waiting[3];
    for( std::thread &each : waiting )
    {
        each = std::thread( [&] {
            EXPECT_TRUE( pb___ProcessEndWait( made.get() ) );
            ended++;
        } );
    }
    pbProcessSchedule( made.get() );
    EXPECT_EQ( ended, 0 );
    pbProcessHalt( made.get() );
    for( std::thread &each : waiting )
        each.join();
    EXPECT_EQ( ended, 3 );
}

TEST_F( PbProcessThreads, IsScheduledFromOtherThreadsDuringItsRun )
{
    Stop                inRun;
    std::atomic<int>    runs{ 0 };
    std::atomic<int>    atATime{ 0 };
    pb::Ref<PB_PROCESS> made;
    made = process( [&] {
        EXPECT_EQ( atATime++, 0 );
        if( runs++ == 0 )
            inRun.wait();
        EXPECT_EQ( atATime--, 1 );
    } );
    pbProcessSchedule( made.get() );
    inRun.expectReached();
    std::thread others[2];
    for( std::thread &each : others )
        each = std::thread( [&] { pbProcessSchedule( made.get() ); } );
    for( std::thread &each : others )
        each.join();
    EXPECT_EQ( runs, 1 );
    inRun.open = true;
    EXPECT_TRUE( soon( [&] { return runs == 2; } ) );
    stop();
    EXPECT_EQ( runs, 2 );
}

TEST_F( PbProcessThreads, BackgroundRunsDoNotDelayOrdinaryOnes )
{
    Stop             inRun;
    std::atomic<int> backgroundRuns{ 0 }, ordinaryRuns{ 0 };
    auto             slow = process(
        [&] {
            inRun.wait();
            backgroundRuns++;
        },
        PB_PROCESS_CLASS_BACKGROUND );
    auto next = process( [&] { EXPECT_EQ( backgroundRuns++, 1 ); }, PB_PROCESS_CLASS_BACKGROUND );
    pbProcessSchedule( slow.get() );
    inRun.expectReached();
    pbProcessSchedule( next.get() );
    auto quick = process( [&] { ordinaryRuns++; } );
    pbProcessSchedule( quick.get() );
    EXPECT_TRUE( soon( [&] { return ordinaryRuns == 1; } ) );
    // Background runs come one after another.
    EXPECT_EQ( backgroundRuns, 0 );
    inRun.open = true;
    EXPECT_TRUE( soon( [&] { return backgroundRuns == 2; } ) );
}

TEST_F( PbProcessThreads, WorkersRunAtTheSameTime )
{
    Stop both[2];
    auto one = process( [&] { both[0].wait(); } ), other = process( [&] { both[1].wait(); } );
    pbProcessSchedule( one.get() );
    pbProcessSchedule( other.get() );
    both[0].expectReached();
    both[1].expectReached();
    both[0].open = both[1].open = true;
    stop();
}

TEST_F( PbProcessThreads, ARunSeesWhatTheRunBeforeWrote )
{
    // The runs go to both workers. The number is no atomic one: ThreadSanitizer would find a race.
    int                 number = 0;
    std::atomic<bool>   done{ false };
    pb::Ref<PB_PROCESS> made;
    made       = process( [&] {
        if( ++number < 20000 )
            pbProcessSchedule( made.get() );
        else
            done = true;
    } );
    auto other = process( [&] { done ? (void)0 : std::this_thread::yield(); } );
    pbProcessSchedule( made.get() );
    while( !done )
        pbProcessSchedule( other.get() );
    EXPECT_EQ( number, 20000 );
    stop();
}
