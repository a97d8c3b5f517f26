#include <pb/locks.hpp>
#include <pb/pb.h>
#include <pb/pb_runtime.h>

#include <atomic>

#include "support/environment.hpp"
#include "support/processes.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

// Several threads count with a number that is no atomic one.
template<class Count>
void expectExclusive( Count count )
{
    constexpr int threads = 4, rounds = 20000;
    std::thread   all[threads];
    PB_INT        number = 0;
    for( std::thread &each : all )
    {
        each = std::thread( [&] {
            for( int round = 0; round < rounds; round++ )
                count( number );
        } );
    }
    for( std::thread &each : all )
        each.join();
    EXPECT_EQ( number, threads * rounds );
}

}

TEST( PbMonitor, IsForOneThreadAtATime )
{
    auto monitor = pb::adopt( pbMonitorCreate() );
    expectExclusive( [&]( PB_INT &number ) {
        pb::InMonitor in( monitor.get() );
        number++;
    } );
}

TEST( PbMonitor, ManyAreHeldAtATime )
{
    auto one = pb::adopt( pbMonitorCreate() ), other = pb::adopt( pbMonitorCreate() );
    pbMonitorEnter( one.get() );
    pbMonitorEnter( other.get() );
    pbMonitorLeave( one.get() );
    pbMonitorEnter( one.get() );
    pbMonitorLeave( other.get() );
    pbMonitorLeave( one.get() );
    EXPECT_FALSE( pbMonitorEquals( one.get(), other.get() ) );
}

TEST( PbRegion, IsExclusiveForOneThreadAtATime )
{
    auto region = pb::adopt( pbRegionCreate() );
    expectExclusive( [&]( PB_INT &number ) {
        pb::InRegion in( region.get() );
        number++;
    } );
}

TEST( PbRegion, ReadersSeeNoWriteInProgress )
{
    auto              region = pb::adopt( pbRegionCreate() );
    PB_INT            one = 0, other = 0;
    std::atomic<bool> end{ false };
    std::thread       readers[3];
    for( std::thread &each : readers )
    {
        each = std::thread( [&] {
            while( !end )
            {
                pb::InRegionShared in( region.get() );
                EXPECT_EQ( one, other );
            }
        } );
    }
    // As waiting writers come first, this ends however many readers there are.
    for( int count = 0; count < 2000; count++ )
    {
        pb::InRegion in( region.get() );
        one++;
        other++;
    }
    end = true;
    for( std::thread &each : readers )
        each.join();
    EXPECT_EQ( one, 2000 );
}

TEST( PbRegion, ManyThreadsShareIt )
{
    auto             region = pb::adopt( pbRegionCreate() );
    std::atomic<int> inside{ 0 };
    std::thread      all[3];
    for( std::thread &each : all )
    {
        each = std::thread( [&] {
            pb::InRegionShared in( region.get() );
            inside++;
            EXPECT_TRUE( soon( [&] { return inside == 3; } ) );
        } );
    }
    for( std::thread &each : all )
        each.join();
}

TEST( PbRegion, AWriterThatWaitsComesFirst )
{
    auto              region = pb::adopt( pbRegionCreate() );
    std::atomic<bool> wrote{ false }, read{ false };
    pbRegionEnterShared( region.get() );
    std::thread writer( [&] {
        pb::InRegion in( region.get() );
        wrote = true;
    } );
    // Soon new readers do not come in.
    std::atomic<bool>        refused{ false };
    std::vector<std::thread> readers;
    while( !refused )
    {
        read = false;
        readers.emplace_back( [&] {
            pb::InRegionShared in( region.get() );
            // A reader that had to wait has waited for the writer.
            EXPECT_TRUE( !refused || wrote );
            read = true;
        } );
        auto limit = std::chrono::steady_clock::now() + std::chrono::milliseconds( 500 );
        while( !read && std::chrono::steady_clock::now() < limit )
            std::this_thread::yield();
        refused = !read;
        ASSERT_LT( readers.size(), 10000u );
    }
    EXPECT_FALSE( wrote );
    pbRegionLeaveShared( region.get() );
    writer.join();
    for( std::thread &each : readers )
        each.join();
    EXPECT_TRUE( wrote );
}

TEST( PbLocks, WhatIsReleasedInALockIsFreedAtTheOutermostLeave )
{
    auto monitor = pb::adopt( pbMonitorCreate() );
    auto region  = pb::adopt( pbRegionCreate() );
    int  freed   = 0;
    auto release = [&] { probe( [&] { freed++; } ); };
    release();
    EXPECT_EQ( freed, 1 );

    struct Pair
    {
        void ( *enter )( PB_MONITOR *, PB_REGION * );
        void ( *leave )( PB_MONITOR *, PB_REGION * );
    };
    static constexpr Pair pairs[] = {
        { []( PB_MONITOR *each, PB_REGION * ) { pbMonitorEnter( each ); }, []( PB_MONITOR *each, PB_REGION * ) { pbMonitorLeave( each ); } },
        { []( PB_MONITOR *, PB_REGION *each ) { pbRegionEnterShared( each ); },
            []( PB_MONITOR *, PB_REGION *each ) { pbRegionLeaveShared( each ); } },
        { []( PB_MONITOR *, PB_REGION *each ) { pbRegionEnterExclusive( each ); },
            []( PB_MONITOR *, PB_REGION *each ) { pbRegionLeaveExclusive( each ); } },
        { []( PB_MONITOR *, PB_REGION * ) { EXPECT_TRUE( pb___GateEnter() ); }, []( PB_MONITOR *, PB_REGION * ) { pb___GateLeave(); } },
    };
    auto outer = pb::adopt( pbMonitorCreate() );
    for( const Pair &pair : pairs )
    {
        freed = 0;
        pair.enter( monitor.get(), region.get() );
        release();
        EXPECT_EQ( freed, 0 );
        pair.leave( monitor.get(), region.get() );
        EXPECT_EQ( freed, 1 );

        // The outer one is left first or last.
        for( bool first : { false, true } )
        {
            freed = 0;
            pbMonitorEnter( outer.get() );
            release();
            pair.enter( monitor.get(), region.get() );
            release();
            first ? pbMonitorLeave( outer.get() ) : pair.leave( monitor.get(), region.get() );
            EXPECT_EQ( freed, 0 );
            release();
            first ? pair.leave( monitor.get(), region.get() ) : pbMonitorLeave( outer.get() );
            EXPECT_EQ( freed, 3 );
        }
    }
}

TEST( PbLocks, WhatIsFreedMayEnterTheLockThatWasLeft )
{
    auto monitor = pb::adopt( pbMonitorCreate() );
    int  freed   = 0;
    {
        pb::InMonitor in( monitor.get() );
        probe( [&] {
            pb::InMonitor again( monitor.get() );
            // And one more that is released inside.
            probe( [&] {
                pb::InMonitor onceMore( monitor.get() );
                freed++;
            } );
            EXPECT_EQ( freed, 0 );
            freed++;
        } );
        EXPECT_EQ( freed, 0 );
    }
    EXPECT_EQ( freed, 2 );
}

TEST( PbGate, IsOpenWhileTheRuntimeIsStarted )
{
    ASSERT_TRUE( pb___GateEnter() );
    pb___GateLeave();
    pbRuntimeStop();
    EXPECT_FALSE( pb___GateEnter() );
    startFamily();
    ASSERT_TRUE( pb___GateEnter() );
    pb___GateLeave();
}

TEST( PbGate, TheShutDownWaitsUntilNobodyIsInside )
{
    static std::atomic<bool> inside, fourth, shutDown;
    inside = fourth = shutDown = false;
    pb___RuntimeSetObserver( []( const char *hook, const PB_MODULE * ) {
        fourth   = fourth || std::string( hook ) == "fourth";
        shutDown = shutDown || std::string( hook ) == "shutdown";
    } );
    std::thread user( [] {
        ASSERT_TRUE( pb___GateEnter() );
        inside = true;
        EXPECT_TRUE( soon( [] { return fourth.load(); } ) );
        std::this_thread::sleep_for( std::chrono::milliseconds( 20 ) );
        EXPECT_FALSE( shutDown );
        pb___GateLeave();
    } );
    EXPECT_TRUE( soon( [] { return inside.load(); } ) );
    pbRuntimeStop();
    EXPECT_TRUE( shutDown );
    user.join();
    pb___RuntimeSetObserver( nullptr );
    startFamily();
}
