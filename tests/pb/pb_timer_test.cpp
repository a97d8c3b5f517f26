#include <pb/pb.h>
#include <pb/pb_timer.h>

#include <algorithm>
#include <atomic>
#include <random>

#include "base/pb_clock.hpp"
#include "support/processes.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

// The clock stands still until the test moves it on, and the test makes the runs.
class PbTimer : public RunsByHand
{
protected:
    void SetUp() override
    {
        RunsByHand::SetUp();
        ASSERT_EQ( start(), "" );
        pb___ClockSetManual( PB_TRUE );
        begin = pb::clock::uptime();
    }
    void TearDown() override
    {
        pb___ClockSetManual( PB_FALSE );
        EXPECT_EQ( pb___ClockArmedTimers(), 0 );
        RunsByHand::TearDown();
    }

    // A process that appends a letter to `order`, and a timer for it.
    pb::Ref<PB_PROCESS> letter( char name )
    {
        return process( [this, name] { order += name; } );
    }
    pb::Ref<PB_TIMER> timer( char name ) { return pb::adopt( pbTimerCreateProcess( letter( name ).get() ) ); }

    // What runs if the clock goes on.
    std::string after( PB_INT milliseconds )
    {
        pb___ClockAdvance( milliseconds );
        runAll();
        return std::exchange( order, "" );
    }
    // Milliseconds since the begin of the test.
    PB_INT now() const { return ( pb::clock::uptime() - begin ) / 1000000; }

    std::string order;
    PB_INT      begin = 0;
};

// The clock of the system.
class PbTimerThread : public OwnRuntime
{
protected:
    void SetUp() override
    {
        OwnRuntime::SetUp();
        ASSERT_EQ( start(), "" );
    }
};

}

TEST_F( PbTimer, FiresOnceAtItsTime )
{
    auto made = timer( 'a' );
    EXPECT_FALSE( pbTimerScheduled( made.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    pbTimerSchedule( made.get(), 10 );
    EXPECT_TRUE( pbTimerScheduled( made.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 1 );
    EXPECT_EQ( after( 9 ), "" );
    EXPECT_TRUE( pbTimerScheduled( made.get() ) );
    EXPECT_EQ( after( 1 ), "a" );
    EXPECT_FALSE( pbTimerScheduled( made.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    EXPECT_EQ( after( 100 ), "" );
    // And again.
    pbTimerSchedule( made.get(), 0 );
    EXPECT_EQ( after( 0 ), "a" );
}

TEST_F( PbTimer, EqualsOnlyItself )
{
    auto one = timer( 'a' ), other = timer( 'a' );
    EXPECT_TRUE( pbTimerEquals( one.get(), one.get() ) );
    EXPECT_FALSE( pbTimerEquals( one.get(), other.get() ) );
    EXPECT_TRUE( text( pb::adopt( pbTimerToString( one.get() ) ) ).starts_with( "PB_TIMER(0x" ) );
}

TEST_F( PbTimer, EqualDeadlinesFireInTheOrderOfScheduling )
{
    std::vector<pb::Ref<PB_TIMER>> all;
    for( char name = 'a'; name <= 'z'; name++ )
        all.push_back( timer( name ) );
    std::string           wanted;
    std::vector<unsigned> places( all.size() );
    std::mt19937          random( 5 );
    for( unsigned place = 0; place < places.size(); place++ )
        places[place] = place;
    for( int round = 0; round < 20; round++ )
    {
        std::shuffle( places.begin(), places.end(), random );
        wanted.clear();
        for( unsigned place : places )
        {
            // Scheduling again counts, not the first time.
            pbTimerSchedule( all[place].get(), 20 );
            wanted += (char)( 'a' + place );
        }
        if( round % 2 )
        {
            ASSERT_EQ( after( 20 ), wanted );
        }
    }
    // Different times to one deadline.
    pbTimerSchedule( all[2].get(), 10 );
    EXPECT_EQ( after( 5 ), "" );
    pbTimerSchedule( all[1].get(), 5 );
    EXPECT_EQ( after( 3 ), "" );
    pbTimerSchedule( all[0].get(), 2 );
    EXPECT_EQ( after( 2 ), "cba" );
}

TEST_F( PbTimer, SchedulingAgainBeginsAgain )
{
    auto made = timer( 'a' );
    pbTimerSchedule( made.get(), 10 );
    EXPECT_EQ( after( 8 ), "" );
    pbTimerSchedule( made.get(), 10 );
    EXPECT_EQ( pb___ClockArmedTimers(), 1 );
    EXPECT_EQ( after( 9 ), "" );
    EXPECT_EQ( after( 1 ), "a" );
    // To an earlier time too.
    pbTimerSchedule( made.get(), 1000 );
    pbTimerSchedule( made.get(), 1 );
    EXPECT_EQ( after( 1 ), "a" );
    EXPECT_EQ( after( 2000 ), "" );
}

TEST_F( PbTimer, UnscheduleTakesItBack )
{
    auto a = timer( 'a' ), b = timer( 'b' ), c = timer( 'c' );
    for( auto *each : { &a, &b, &c } )
        pbTimerSchedule( each->get(), 10 );
    pbTimerUnschedule( b.get() );
    pbTimerUnschedule( b.get() );
    EXPECT_FALSE( pbTimerScheduled( b.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 2 );
    EXPECT_EQ( after( 10 ), "ac" );
    pbTimerUnschedule( a.get() );
    EXPECT_EQ( after( 10 ), "" );
}

TEST_F( PbTimer, StaysScheduledForEverIfItsProcessIsHalted )
{
    auto before = letter( 'b' ), after_ = letter( 'c' );
    auto halted      = pb::adopt( pbTimerCreateProcess( before.get() ) );
    auto haltedLater = pb::adopt( pbTimerCreateProcess( after_.get() ) );
    auto alive       = timer( 'a' );
    pbProcessHalt( before.get() );
    pbTimerSchedule( halted.get(), 10 );
    pbTimerSchedule( haltedLater.get(), 10 );
    pbTimerSchedule( alive.get(), 10 );
    pbProcessHalt( after_.get() );
    EXPECT_EQ( after( 1000 ), "a" );
    EXPECT_TRUE( pbTimerScheduled( halted.get() ) );
    EXPECT_TRUE( pbTimerScheduled( haltedLater.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    pbTimerSchedule( halted.get(), 10 );
    EXPECT_EQ( after( 1000 ), "" );
    EXPECT_TRUE( pbTimerScheduled( halted.get() ) );
    pbTimerUnschedule( halted.get() );
    EXPECT_FALSE( pbTimerScheduled( halted.get() ) );
}

TEST_F( PbTimer, NothingHoldsAnArmedTimer )
{
    int freed = 0;
    {
        auto target = process( [this] { order += 'x'; }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
        auto made   = pb::adopt( pbTimerCreateProcess( target.get() ) );
        target      = {};
        pbTimerSchedule( made.get(), 10 );
        // It holds its process.
        EXPECT_EQ( freed, 0 );
    }
    EXPECT_EQ( freed, 1 );
    EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    EXPECT_EQ( after( 100 ), "" );
}

TEST_F( PbTimer, IsNotScheduledAnyMoreWhenItSchedulesItsProcess )
{
    auto made = timer( 'a' );
    bool seen = true;
    posted    = [&] { seen = pbTimerScheduled( made.get() ); };
    pbTimerSchedule( made.get(), 10 );
    pb___ClockAdvance( 10 );
    EXPECT_FALSE( seen );
    runAll();
    posted = nullptr;
}

TEST_F( PbTimer, FiresAtItsOwnTimeWhileTheClockGoesOn )
{
    // Each firing makes a ticket, as all of those before have been used.
    std::vector<PB_INT>            times;
    std::vector<pb::Ref<PB_TIMER>> all;
    for( PB_INT milliseconds : { 30, 10, 20, 10 } )
    {
        all.push_back( timer( 'a' ) );
        pbTimerSchedule( all.back().get(), milliseconds );
    }
    stop();
    ASSERT_EQ( pb___ClockArmedTimers(), 0 );
    pbRuntimeOptionsSetWorkers( options.handle(), 100 );
    ASSERT_EQ( start(), "" );
    posted = [&] { times.push_back( now() ); };
    for( auto &each : all )
        EXPECT_TRUE( pbTimerScheduled( each.get() ) );
    size_t place = 0;
    for( PB_INT milliseconds : { 30, 10, 20, 10 } )
        pbTimerSchedule( all[place++].get(), milliseconds );
    EXPECT_EQ( after( 25 ), "aaa" );
    EXPECT_EQ( now(), 25 );
    EXPECT_EQ( after( 25 ), "a" );
    EXPECT_EQ( now(), 50 );
    EXPECT_EQ( times, ( std::vector<PB_INT>{ 10, 10, 20, 30 } ) );
    posted = nullptr;
}

TEST_F( PbTimer, AVeryLongTimeNeverComes )
{
    auto made = timer( 'a' ), next = timer( 'b' );
    for( PB_INT milliseconds : { PB_INT_MAX, PB_INT_MAX / 1000000, PB_INT_MAX / 1000000 + 1 } )
    {
        pbTimerSchedule( made.get(), milliseconds );
        pbTimerSchedule( next.get(), 10 );
        EXPECT_EQ( after( 1000000 ), "b" );
        EXPECT_TRUE( pbTimerScheduled( made.get() ) );
    }
}

TEST_F( PbTimer, AStoppedRuntimeFiresNothing )
{
    auto made = timer( 'a' ), other = timer( 'b' );
    pbTimerSchedule( made.get(), 10 );
    stop();
    EXPECT_TRUE( pbTimerScheduled( made.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    pbTimerSchedule( other.get(), 10 );
    EXPECT_TRUE( pbTimerScheduled( other.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    pb___ClockAdvance( 100 );
    ASSERT_EQ( start(), "" );
    EXPECT_EQ( after( 100 ), "" );
    EXPECT_TRUE( pbTimerScheduled( made.get() ) );
    pbTimerSchedule( made.get(), 10 );
    EXPECT_EQ( after( 100 ), "a" );
    EXPECT_FALSE( pbTimerScheduled( made.get() ) );
}

TEST_F( PbTimer, TheTimeOfDayFollowsTheManualClock )
{
    auto one = pb::adopt( pbTimeNow() ), same = pb::adopt( pbTimeNow() );
    EXPECT_TRUE( pbTimeEquals( one.get(), same.get() ) );
    pb___ClockAdvance( 1 );
    auto later = pb::adopt( pbTimeNow() );
    EXPECT_LT( pbTimeCompare( one.get(), later.get() ), 0 );
}

// The heap against a sorted list.
TEST_F( PbTimer, FiresInTheOrderOfASortedList )
{
    struct Entry
    {
        PB_INT   deadline;
        PB_INT   order;
        unsigned place;
        bool     operator<( const Entry &other ) const { return std::pair( deadline, order ) < std::pair( other.deadline, other.order ); }
    };
    for( unsigned count : { 3u, 40u, 400u } )
    {
        std::mt19937                   random( count );
        std::vector<pb::Ref<PB_TIMER>> timers( count );
        std::vector<unsigned>          fired;
        std::vector<Entry>             model;
        PB_INT                         scheduled = 0;
        auto                           make      = [&]( unsigned place ) {
            timers[place] = pb::adopt( pbTimerCreateProcess( process( [&fired, place] { fired.push_back( place ); } ).get() ) );
        };
        auto forget = [&]( unsigned place ) { std::erase_if( model, [=]( const Entry &entry ) { return entry.place == place; } ); };
        for( unsigned place = 0; place < count; place++ )
            make( place );
        for( int step = 0; step < 20000; step++ )
        {
            unsigned place = (unsigned)random() % count;
            switch( random() % 16 )
            {
            default: {
                PB_INT milliseconds = (PB_INT)( random() % ( 2 * count ) );
                pbTimerSchedule( timers[place].get(), milliseconds );
                forget( place );
                model.push_back( { now() + milliseconds, scheduled++, place } );
                break;
            }
            case 13:
                pbTimerUnschedule( timers[place].get() );
                forget( place );
                break;
            case 14:
                make( place );
                forget( place );
                break;
            case 15: {
                pb___ClockAdvance( (PB_INT)( random() % 20 ) );
                runAll();
                std::sort( model.begin(), model.end() );
                std::vector<unsigned> wanted;
                while( wanted.size() < model.size() && model[wanted.size()].deadline <= now() )
                    wanted.push_back( model[wanted.size()].place );
                model.erase( model.begin(), model.begin() + (ptrdiff_t)wanted.size() );
                ASSERT_EQ( fired, wanted ) << count << " " << step;
                fired.clear();
                break;
            }
            }
            ASSERT_EQ( pb___ClockArmedTimers(), (PB_INT)model.size() ) << count << " " << step;
        }
    }
}

TEST_F( PbTimerThread, FiresAfterItsTime )
{
    std::atomic<PB_INT> fired{ 0 };
    PB_INT              begin  = pb::clock::systemNow( CLOCK_BOOTTIME );
    auto                target = process( [&] { fired = pb::clock::systemNow( CLOCK_BOOTTIME ); } );
    auto                made   = pb::adopt( pbTimerCreateProcess( target.get() ) );
    auto                later  = pb::adopt( pbTimerCreateProcess( process( [] { ADD_FAILURE(); } ).get() ) );
    pbTimerSchedule( later.get(), 3600000 );
    pbTimerSchedule( made.get(), 20 );
    ASSERT_TRUE( soon( [&] { return fired > 0; } ) );
    EXPECT_GE( fired - begin, 20000000 );
    EXPECT_FALSE( pbTimerScheduled( made.get() ) );
    EXPECT_TRUE( pbTimerScheduled( later.get() ) );
    EXPECT_EQ( pb___ClockArmedTimers(), 1 );
}

TEST_F( PbTimerThread, ManyTimersFire )
{
    std::atomic<int>               runs{ 0 };
    std::vector<pb::Ref<PB_TIMER>> all;
    for( int count = 0; count < 500; count++ )
    {
        all.push_back( pb::adopt( pbTimerCreateProcess( process( [&] { runs++; } ).get() ) ) );
        pbTimerSchedule( all.back().get(), ( count * 7 ) % 40 );
    }
    EXPECT_TRUE( soon( [&] { return runs == 500; } ) );
}

TEST_F( PbTimerThread, GoesOnAfterTheManualClock )
{
    std::atomic<int> runs{ 0 };
    auto             made = pb::adopt( pbTimerCreateProcess( process( [&] { runs++; } ).get() ) );
    pb___ClockSetManual( PB_TRUE );
    pbTimerSchedule( made.get(), 5 );
    std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
    EXPECT_EQ( runs, 0 );
    EXPECT_TRUE( pbTimerScheduled( made.get() ) );
    pb___ClockSetManual( PB_FALSE );
    EXPECT_TRUE( soon( [&] { return runs == 1; } ) );
}
