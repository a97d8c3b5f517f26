// Processes, signals, timers and the stop under load by real threads. The simulation
// (tests/simulation) finds wrong orders of events; this finds races and missing memory order.
#include <pb/locks.hpp>
#include <pb/pb.h>
#include <pb/pb_runtime.h>
#include <pb/pb_signal.h>
#include <pb/pb_timer.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <random>

#include "support/processes.hpp"

using namespace support;

namespace
{

// CRY_STRESS_SECONDS: how long all tests of this file take together.
double stressSeconds()
{
    const char *text = std::getenv( "CRY_STRESS_SECONDS" );
    return text ? std::strtod( text, nullptr ) : 3;
}

class PbConcurrencyStress : public OwnRuntime
{
protected:
    void startWith( PB_INT workers )
    {
        pbRuntimeOptionsSetWorkers( options.handle(), workers );
        ASSERT_EQ( start(), "" );
    }
};

// A process, and what holds for its runs.
struct Actor
{
    std::atomic<int>      wishes{ 0 }; // written without order before each wake-up
    std::atomic<int>      seen{ 0 };   // the wishes that the last run saw
    std::atomic<int>      freed{ 0 };
    std::atomic<bool>     runs{ false };
    PB_INT                runCount = 0; // a run sees what the one before wrote
    std::atomic<unsigned> choice{ 0 };

    pb::Ref<PB_PROCESS>    process;
    pb::Ref<PB_SIGNALABLE> sigb;
    pb::Ref<PB_TIMER>      timer;

    void make( PB_PROCESS_CLASS processClass )
    {
        process = support::process( [this] { run(); }, processClass,
            [this] {
                EXPECT_FALSE( runs );
                EXPECT_EQ( freed++, 0 );
            } );
        sigb    = pb::adopt( pbSignalableCreateProcess( process.get() ) );
        timer   = pb::adopt( pbTimerCreateProcess( process.get() ) );
    }
    void run()
    {
        EXPECT_FALSE( runs.exchange( true ) ) << "two runs at a time";
        EXPECT_EQ( freed, 0 );
        seen.store( wishes.load( std::memory_order_relaxed ), std::memory_order_relaxed );
        // Now and then a run wakes itself.
        if( ++runCount % 8 == 0 )
            schedule();
        runs.store( false );
    }
    void wish() { wishes.fetch_add( 1, std::memory_order_relaxed ); }
    void schedule()
    {
        wish();
        pbProcessSchedule( process.get() );
    }
    bool hasSeenAll() const { return seen.load() == wishes.load(); }
};

struct Load
{
    static constexpr size_t lasting = 6, places = 4;

    // They are never halted, so they see every wish.
    Actor actors[lasting];

    // Others come and go.
    std::mutex                                             lock;
    std::vector<std::unique_ptr<Actor>>                    all;
    std::pair<pb::Ref<PB_PROCESS>, pb::Ref<PB_SIGNALABLE>> passing[places];
    pb::Ref<PB_SIGNAL>                                     signals[places];
    std::atomic<PB_INT>                                    steps{ 0 };
    std::atomic<bool>                                      end{ false };

    Load()
    {
        for( size_t number = 0; number < lasting; number++ )
            actors[number].make( number % 3 ? PB_PROCESS_CLASS_ORDINARY : PB_PROCESS_CLASS_BACKGROUND );
        for( auto &signal : signals )
            signal = pb::adopt( pbSignalCreate() );
    }

    template<class T>
    T take( T &place )
    {
        std::lock_guard hold( lock );
        return place;
    }
    // Gives back what was there, so that it is released outside the lock.
    template<class T>
    T put( T &place, T value )
    {
        std::lock_guard hold( lock );
        return std::exchange( place, std::move( value ) );
    }

    void step( std::mt19937 &random )
    {
        Actor &actor  = actors[random() % lasting];
        auto  &place  = passing[random() % places];
        auto   signal = take( signals[random() % places] );
        switch( random() % 12 )
        {
        default:
            actor.schedule();
            break;
        case 3:
            pbSignalAddSignalable( signal.get(), actor.sigb.get() );
            break;
        case 4:
            pbSignalDelSignalable( signal.get(), actor.sigb.get() );
            break;
        case 5: {
            // Nobody else knows these signals, so the wish is there before the trigger.
            auto own = pb::adopt( pbSignalCreate() ), first = pb::adopt( pbSignalCreate() );
            pbSignalAddSignal( first.get(), own.get() );
            pbSignalAddSignalable( own.get(), actor.sigb.get() );
            actor.wish();
            pbSignalAssert( random() % 2 ? first.get() : own.get() );
            break;
        }
        case 6: {
            auto next = pb::adopt( pbSignalCreate() );
            auto old  = put( signals[random() % places], next );
            pbSignalAddSignal( old.get(), signal.get() );
            if( random() % 2 )
                pbSignalDelSignal( old.get(), signal.get() );
            pbSignalAssert( old.get() );
            break;
        }
        case 7:
            actor.wish();
            pbTimerSchedule( actor.timer.get(), (PB_INT)( random() % 2 ) );
            break;
        case 8: {
            // A timer that is armed and dropped.
            auto timer = pb::adopt( pbTimerCreateProcess( actor.process.get() ) );
            pbTimerSchedule( timer.get(), 0 );
            if( random() % 2 )
                std::this_thread::yield();
            break;
        }
        case 9: {
            Actor *made = new Actor;
            {
                std::lock_guard hold( lock );
                all.emplace_back( made );
            }
            made->make( random() % 2 ? PB_PROCESS_CLASS_ORDINARY : PB_PROCESS_CLASS_BACKGROUND );
            made->wish();
            pbTimerSchedule( made->timer.get(), (PB_INT)( random() % 2 ) );
            pbSignalAddSignalable( signal.get(), made->sigb.get() );
            made->schedule();
            auto old = put( place, std::pair( made->process, made->sigb ) );
            if( !old.first )
                break;
            pbProcessHalt( old.first.get() );
            break;
        }
        case 10:
            if( auto now = take( place ); now.first )
            {
                pbSignalAddSignalable( signal.get(), now.second.get() );
                pbProcessSchedule( now.first.get() );
            }
            break;
        case 11:
            if( auto now = take( place ); now.first )
                pbProcessHalt( now.first.get() );
            break;
        }
        steps++;
    }

    void play( unsigned seed )
    {
        std::mt19937 random( seed );
        while( !end )
            step( random );
    }

    // After the stop, or when nobody does anything any more.
    void expectEnded()
    {
        for( auto &signal : signals )
            pbSignalAssert( signal.get() );
        for( auto &place : passing )
            place = {};
        for( auto &each : all )
        {
            pbProcessHalt( each->process.get() );
            EXPECT_TRUE( soon( [&] { return pb___ProcessEnded( each->process.get() ); } ) );
            EXPECT_EQ( each->freed, 1 );
            EXPECT_FALSE( each->runs );
        }
    }
};

}

TEST_F( PbConcurrencyStress, EveryWishIsSeenAndNoProcessRunsTwiceAtATime )
{
    startWith( 3 );
    {
        Load        load;
        std::thread threads[4];
        unsigned    seed = 1;
        auto        end  = std::chrono::steady_clock::now() + std::chrono::duration<double>( stressSeconds() * 0.6 );
        // Short rounds, so that there is often rest after load.
        while( std::chrono::steady_clock::now() < end && !HasFailure() )
        {
            load.end = false;
            for( std::thread &each : threads )
                each = std::thread( [&load, number = seed++] { load.play( number ); } );
            std::this_thread::sleep_for( std::chrono::milliseconds( 50 ) );
            load.end = true;
            for( std::thread &each : threads )
                each.join();
            for( Actor &actor : load.actors )
                ASSERT_TRUE( soon( [&] { return actor.hasSeenAll() && !pbTimerScheduled( actor.timer.get() ); } ) ) << "a wake-up is lost";
            load.expectEnded();
            load.all.clear();
            for( auto &signal : load.signals )
                signal = pb::adopt( pbSignalCreate() );
        }
        EXPECT_GT( load.steps, 0 );
        stop();
    }
}

TEST_F( PbConcurrencyStress, TheRuntimeStopsInTheMiddleOfEverything )
{
    unsigned seed = 1000;
    auto     end  = std::chrono::steady_clock::now() + std::chrono::duration<double>( stressSeconds() * 0.4 );
    while( std::chrono::steady_clock::now() < end && !HasFailure() )
    {
        startWith( 2 );
        Load        load;
        std::thread threads[3];
        for( std::thread &each : threads )
            each = std::thread( [&load, number = seed++] { load.play( number ); } );
        std::this_thread::sleep_for( std::chrono::milliseconds( seed % 7 ) );
        stop();
        EXPECT_TRUE( threadNames( "pb-worker" ).empty() || soon( [] { return threadNames( "pb-worker" ).empty(); } ) );
        // The threads go on while everything is stopped.
        std::this_thread::sleep_for( std::chrono::milliseconds( 1 ) );
        for( Actor &actor : load.actors )
            EXPECT_FALSE( actor.runs );
        load.end = true;
        for( std::thread &each : threads )
            each.join();
        load.expectEnded();
        EXPECT_EQ( pb___ClockArmedTimers(), 0 );
    }
}

// The writes come before pbProcessSchedule without any order of their own. The second wish of each
// hand-over finds the first one there most of the time; the run that answers must see both. If a
// wish that is already there were only read, some hand-over would be lost: the processor delays the
// writes past the read.
TEST_F( PbConcurrencyStress, ARunSeesWhatWasWrittenBeforeItWasScheduled )
{
    constexpr int handOvers = 200000, words = 8;
    struct alignas( 64 ) Word
    {
        std::atomic<int> number{ 0 };
    };
    startWith( 1 );
    {
        Word              data[words];
        Word              seen;
        std::atomic<bool> end{ false };
        auto              reader = process( [&] {
            int number = data[words - 1].number.load( std::memory_order_relaxed );
            for( const Word &word : data )
                number = std::min( number, word.number.load( std::memory_order_relaxed ) );
            seen.number.store( number, std::memory_order_relaxed );
        } );
        // Keeps the worker awake.
        pb::Ref<PB_PROCESS> pacer;
        pacer = process( [&] {
            if( !end )
                pbProcessSchedule( pacer.get() );
        } );
        pbProcessSchedule( pacer.get() );
        std::mt19937 random( 7 );
        int          number = 0;
        auto         hand   = [&] {
            number++;
            for( Word &word : data )
                word.number.store( number, std::memory_order_relaxed );
            pbProcessSchedule( reader.get() );
        };
        // On a machine with other work each hand-over may take much longer.
        auto limit = std::chrono::steady_clock::now() + std::chrono::seconds( 10 );
        for( int count = 0; count < handOvers && ( count % 256 || std::chrono::steady_clock::now() < limit ); count++ )
        {
            hand();
            for( unsigned pause = (unsigned)random() % 64; pause > 0; pause-- )
                std::atomic_signal_fence( std::memory_order_seq_cst );
            hand();
            auto seenAll = [&] { return seen.number.load( std::memory_order_relaxed ) == number; };
            for( int spin = 0; spin < 2000 && !seenAll(); spin++ )
                std::atomic_signal_fence( std::memory_order_seq_cst );
            ASSERT_TRUE( seenAll() || soon( seenAll ) ) << "hand-over " << count << " is lost";
        }
        end = true;
        stop();
    }
}
