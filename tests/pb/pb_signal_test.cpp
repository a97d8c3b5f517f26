#include <pb/pb.h>
#include <pb/pb_locks.h>
#include <pb/pb_signal.h>
#include <pb/pb_timer.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <random>

#include "support/processes.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

class PbSignal : public RunsByHand
{
protected:
    void SetUp() override
    {
        RunsByHand::SetUp();
        ASSERT_EQ( start(), "" );
    }

    // A signalable whose trigger appends a letter to `order` with the next runAll().
    pb::Ref<PB_SIGNALABLE> letter( char name )
    {
        auto made = process( [this, name] { order += name; } );
        return pb::adopt( pbSignalableCreateProcess( made.get() ) );
    }
    std::string triggered()
    {
        runAll();
        return std::exchange( order, "" );
    }

    std::string order;
};

pb::Ref<PB_SIGNAL> makeSignal() { return pb::adopt( pbSignalCreate() ); }

// Milliseconds of real time that a function takes.
template<class Function>
PB_INT millisecondsOf( Function function )
{
    auto begin = std::chrono::steady_clock::now();
    function();
    return std::chrono::duration_cast<std::chrono::milliseconds>( std::chrono::steady_clock::now() - begin ).count();
}

}

TEST_F( PbSignal, IsAssertedForEver )
{
    auto made = makeSignal();
    EXPECT_FALSE( pbSignalAsserted( made.get() ) );
    EXPECT_EQ( pb___SignalLength( made.get() ), 0 );
    pbSignalAssert( made.get() );
    EXPECT_TRUE( pbSignalAsserted( made.get() ) );
    pbSignalAssert( made.get() );
    EXPECT_TRUE( pbSignalAsserted( made.get() ) );
}

TEST_F( PbSignal, EqualsOnlyItself )
{
    auto one = makeSignal(), other = makeSignal();
    EXPECT_FALSE( pbSignalEquals( one.get(), other.get() ) );
    auto sigb = letter( 'a' ), same = letter( 'a' );
    EXPECT_FALSE( pbSignalableEquals( sigb.get(), same.get() ) );
    EXPECT_TRUE( text( pb::adopt( pbSignalToString( one.get() ) ) ).starts_with( "PB_SIGNAL(0x" ) );
}

TEST_F( PbSignal, TriggersOnceInTheOrderOfTheAdditions )
{
    auto made = makeSignal();
    auto a = letter( 'a' ), b = letter( 'b' ), c = letter( 'c' );
    for( auto *each : { &c, &a, &b, &a, &c } )
        pbSignalAddSignalable( made.get(), each->get() );
    EXPECT_EQ( pb___SignalLength( made.get() ), 3 );
    EXPECT_EQ( triggered(), "" );
    pbSignalAssert( made.get() );
    EXPECT_EQ( pb___SignalLength( made.get() ), 0 );
    EXPECT_EQ( triggered(), "cab" );
    pbSignalAssert( made.get() );
    EXPECT_EQ( triggered(), "" );
}

TEST_F( PbSignal, DoesNotTriggerWhatWasDeleted )
{
    auto made = makeSignal();
    auto a = letter( 'a' ), b = letter( 'b' ), c = letter( 'c' );
    pbSignalDelSignalable( made.get(), a.get() );
    for( auto *each : { &a, &b, &c } )
        pbSignalAddSignalable( made.get(), each->get() );
    pbSignalDelSignalable( made.get(), b.get() );
    pbSignalDelSignalable( made.get(), b.get() );
    // Again, at the end.
    pbSignalDelSignalable( made.get(), a.get() );
    pbSignalAddSignalable( made.get(), a.get() );
    EXPECT_EQ( pb___SignalLength( made.get() ), 2 );
    pbSignalAssert( made.get() );
    EXPECT_EQ( triggered(), "ca" );
    pbSignalDelSignalable( made.get(), a.get() );
}

TEST_F( PbSignal, AnAdditionAfterTheAssertionTriggersAtOnce )
{
    auto made = makeSignal(), other = makeSignal();
    auto a = letter( 'a' );
    pbSignalAssert( made.get() );
    for( int count = 0; count < 3; count++ )
    {
        pbSignalAddSignalable( made.get(), a.get() );
        EXPECT_EQ( pb___SignalLength( made.get() ), 0 );
        EXPECT_EQ( triggered(), "a" );
    }
    pbSignalAddSignal( made.get(), other.get() );
    EXPECT_TRUE( pbSignalAsserted( other.get() ) );
    EXPECT_EQ( pb___SignalLength( made.get() ), 0 );
}

TEST_F( PbSignal, HoldsWhatItTriggers )
{
    int  freed = 0;
    auto made  = makeSignal();
    auto add   = [&] {
        auto target = process( [this] { order += 'x'; }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
        auto sigb   = pb::adopt( pbSignalableCreateProcess( target.get() ) );
        pbSignalAddSignalable( made.get(), sigb.get() );
        return sigb;
    };
    add();
    EXPECT_EQ( freed, 0 );
    pbSignalAssert( made.get() );
    EXPECT_EQ( triggered(), "x" );
    EXPECT_EQ( freed, 1 );
    made = makeSignal();
    add();
    made = {};
    EXPECT_EQ( freed, 2 );
    EXPECT_EQ( triggered(), "" );
    made = makeSignal();
    pbSignalDelSignalable( made.get(), add().get() );
    EXPECT_EQ( freed, 3 );
}

TEST_F( PbSignal, ASignalableTriggersByItself )
{
    auto a = letter( 'a' );
    pbSignalableTrigger( a.get() );
    EXPECT_EQ( triggered(), "a" );
    auto made = makeSignal();
    auto sigb = pb::adopt( pbSignalableCreateSignal( made.get() ) );
    pbSignalAddSignalable( made.get(), a.get() );
    pbSignalableTrigger( sigb.get() );
    EXPECT_TRUE( pbSignalAsserted( made.get() ) );
    EXPECT_EQ( triggered(), "a" );
    pbSignalableTrigger( sigb.get() );
    EXPECT_EQ( triggered(), "" );
}

TEST_F( PbSignal, AssertsOtherSignals )
{
    auto first = makeSignal(), second = makeSignal(), third = makeSignal(), deleted = makeSignal();
    auto a = letter( 'a' ), b = letter( 'b' ), c = letter( 'c' );
    auto toThird = pb::adopt( pbSignalableCreateSignal( third.get() ) );
    pbSignalAddSignalable( third.get(), c.get() );
    pbSignalAddSignalable( second.get(), b.get() );
    pbSignalAddSignalable( second.get(), toThird.get() );
    pbSignalAddSignal( first.get(), second.get() );
    pbSignalAddSignal( first.get(), second.get() );
    pbSignalAddSignal( first.get(), deleted.get() );
    pbSignalDelSignal( first.get(), deleted.get() );
    pbSignalDelSignal( first.get(), third.get() );
    pbSignalAddSignalable( first.get(), a.get() );
    EXPECT_EQ( pb___SignalLength( first.get() ), 2 );
    pbSignalAssert( first.get() );
    EXPECT_TRUE( pbSignalAsserted( second.get() ) );
    EXPECT_TRUE( pbSignalAsserted( third.get() ) );
    EXPECT_FALSE( pbSignalAsserted( deleted.get() ) );
    // What a signal triggers comes before what the signals behind it trigger.
    EXPECT_EQ( triggered(), "abc" );
}

TEST_F( PbSignal, AChainMayHaveAnyLength )
{
    constexpr int length = 300000;
    for( bool asserts : { true, false } )
    {
        PB_INT before = pbObjLiveCount();
        auto   first = makeSignal(), last = first;
        for( int count = 0; count < length; count++ )
        {
            auto next = makeSignal();
            pbSignalAddSignal( last.get(), next.get() );
            last = next;
        }
        EXPECT_EQ( pbObjLiveCount(), before + length + 1 );
        if( asserts )
            pbSignalAssert( first.get() );
        EXPECT_EQ( (bool)pbSignalAsserted( last.get() ), asserts );
        last  = {};
        first = {};
        EXPECT_EQ( pbObjLiveCount(), before );
    }
}

TEST_F( PbSignal, AChainThroughSignalablesMayHaveAnyLength )
{
    constexpr int length = 300000;
    PB_INT        before = pbObjLiveCount();
    {
        auto first = makeSignal(), last = first;
        for( int count = 0; count < length; count++ )
        {
            auto next = makeSignal();
            pbSignalAddSignalable( last.get(), pb::adopt( pbSignalableCreateSignal( next.get() ) ).get() );
            last = next;
        }
        pbSignalableTrigger( pb::adopt( pbSignalableCreateSignal( first.get() ) ).get() );
        EXPECT_TRUE( pbSignalAsserted( last.get() ) );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST_F( PbSignal, ACycleIsAssertedOnceAndEnds )
{
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<PB_SIGNAL> ring[5];
        auto               a = letter( 'a' );
        for( auto &each : ring )
            each = makeSignal();
        for( size_t number = 0; number < 5; number++ )
        {
            pbSignalAddSignalable( ring[number].get(), a.get() );
            pbSignalAddSignal( ring[number].get(), ring[( number + 1 ) % 5].get() );
            // And to itself.
            pbSignalAddSignal( ring[number].get(), ring[number].get() );
        }
        pbSignalAssert( ring[3].get() );
        for( auto &each : ring )
        {
            EXPECT_TRUE( pbSignalAsserted( each.get() ) );
            EXPECT_EQ( pb___SignalLength( each.get() ), 0 );
        }
        EXPECT_EQ( triggered(), "a" );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST_F( PbSignal, AHundredThousandSignalablesComeAndGoInAnyOrder )
{
    constexpr size_t count  = 100000;
    PB_INT           before = pbObjLiveCount();
    auto             made   = makeSignal();
    auto             target = process( [] {} );
    for( int order = 0; order < 3; order++ )
    {
        std::vector<pb::Ref<PB_SIGNALABLE>> all;
        for( size_t number = 0; number < count; number++ )
        {
            all.push_back( pb::adopt( pbSignalableCreateProcess( target.get() ) ) );
            pbSignalAddSignalable( made.get(), all.back().get() );
        }
        EXPECT_EQ( pb___SignalLength( made.get() ), (PB_INT)count );
        if( order == 1 )
            std::reverse( all.begin(), all.end() );
        if( order == 2 )
            std::shuffle( all.begin(), all.end(), std::mt19937( 1 ) );
        for( auto &each : all )
            pbSignalDelSignalable( made.get(), each.get() );
        EXPECT_EQ( pb___SignalLength( made.get() ), 0 );
    }
    target = {};
    made   = {};
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST_F( PbSignal, MayBeAssertedInALock )
{
    int  freed   = 0;
    auto monitor = pb::adopt( pbMonitorCreate() );
    auto made    = makeSignal();
    {
        // The signalable is the only one that holds this process.
        auto target = process( [this] { order += 'x'; }, PB_PROCESS_CLASS_ORDINARY, [&] { freed++; } );
        pbSignalAddSignalable( made.get(), pb::adopt( pbSignalableCreateProcess( target.get() ) ).get() );
        pbSignalAddSignalable( made.get(), letter( 'a' ).get() );
    }
    pbMonitorEnter( monitor.get() );
    pbSignalAssert( made.get() );
    pbMonitorLeave( monitor.get() );
    EXPECT_EQ( triggered(), "xa" );
    EXPECT_EQ( freed, 1 );
}

TEST_F( PbSignal, WaitEndsWithTheAssertion )
{
    auto made = makeSignal();
    for( PB_INT limit : { (PB_INT)-1, (PB_INT)60000, PB_INT_MAX } )
    {
        made = makeSignal();
        std::atomic<int> ended{ 0 };
        std::thread      waiting[3];
        for( std::thread &each : waiting )
        {
            each = std::thread( [&] {
                EXPECT_TRUE( pbSignalWait( made.get(), limit ) );
                ended++;
            } );
        }
        std::this_thread::sleep_for( std::chrono::milliseconds( 2 ) );
        EXPECT_EQ( ended, 0 );
        pbSignalAssert( made.get() );
        for( std::thread &each : waiting )
            each.join();
    }
    // It is asserted already.
    for( PB_INT limit : { -1, 0, 1 } )
        EXPECT_TRUE( pbSignalWait( made.get(), limit ) );
}

TEST_F( PbSignal, WaitEndsWithAnAssertionThroughAnotherSignal )
{
    auto first = makeSignal(), second = makeSignal();
    pbSignalAddSignal( first.get(), second.get() );
    std::thread waiting( [&] { EXPECT_TRUE( pbSignalWait( second.get(), -1 ) ); } );
    pbSignalAssert( first.get() );
    waiting.join();
}

TEST_F( PbSignal, WaitEndsWithItsLimit )
{
    auto made = makeSignal();
    EXPECT_FALSE( pbSignalWait( made.get(), 0 ) );
    for( bool manual : { false, true } )
    {
        // The limit is one of real time, also if the clock stands still.
        pb___ClockSetManual( manual );
        EXPECT_GE( millisecondsOf( [&] { EXPECT_FALSE( pbSignalWait( made.get(), 30 ) ); } ), 29 );
        pb___ClockSetManual( PB_FALSE );
    }
    // The end of another wait changes nothing.
    auto        other = makeSignal();
    std::thread waiting( [&] { EXPECT_TRUE( pbSignalWait( other.get(), -1 ) ); } );
    EXPECT_GE( millisecondsOf( [&] {
        std::thread asserting( [&] { pbSignalAssert( other.get() ); } );
        EXPECT_FALSE( pbSignalWait( made.get(), 30 ) );
        asserting.join();
    } ),
        29 );
    waiting.join();
}
