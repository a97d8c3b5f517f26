// Processes, signals and timers. There is nothing of libcrypto to compare them with; "plain" is the
// same work with Asio's own pool, with direct calls, and with an ordered map.
#include "pairs.hpp"

#include <asio/post.hpp>
#include <asio/thread_pool.hpp>
#include <atomic>
#include <chrono>
#include <map>
#include <thread>
#include <vector>

namespace
{

using Clock = std::chrono::steady_clock;

std::atomic<PB_INT> runCount;

void countRun( PB_OBJ * ) { runCount.fetch_add( 1, std::memory_order_relaxed ); }

void waitForRuns( PB_INT count )
{
    while( runCount.load( std::memory_order_relaxed ) < count )
        std::this_thread::yield();
}

std::vector<pb::Ref<PB_PROCESS>> makeProcesses( size_t count )
{
    std::vector<pb::Ref<PB_PROCESS>> processes;
    for( size_t index = 0; index < count; index++ )
        processes.push_back( pb::adopt( pbProcessCreateCstr( countRun, nullptr, "bench", -1, PB_PROCESS_CLASS_ORDINARY ) ) );
    return processes;
}

// Each side returns the seconds that count.
template<class Ours, class Plain>
void timedPair( const std::string &name, Ours ours, Plain plain )
{
    auto run = []( const std::string &full, auto work ) {
        benchmark::RegisterBenchmark( full.c_str(), [work]( benchmark::State &state ) {
            for( auto _ : state )
                state.SetIterationTime( work() );
        } )->UseManualTime();
    };
    run( name + "/ours", ours );
    run( name + "/plain", plain );
}

template<class Work>
double secondsOf( Work work )
{
    Clock::time_point begin = Clock::now();
    work();
    return std::chrono::duration<double>( Clock::now() - begin ).count();
}

void registerSchedule()
{
    static constexpr PB_INT count = 10000;
    static const auto       many  = makeProcesses( count );
    timedPair(
        "10,000 processes: schedule and run",
        [] {
            runCount = 0;
            return secondsOf( [] {
                for( const auto &process : many )
                    pbProcessSchedule( process.get() );
                waitForRuns( count );
            } );
        },
        [] {
            static asio::thread_pool pool;
            runCount = 0;
            return secondsOf( [] {
                for( PB_INT index = 0; index < count; index++ )
                    asio::post( pool, [] { countRun( nullptr ); } );
                waitForRuns( count );
            } );
        } );
}

void registerSignal()
{
    static constexpr PB_INT count = 1000;
    static const auto       many  = makeProcesses( count );

    static std::vector<pb::Ref<PB_SIGNALABLE>> signalables;
    for( const auto &process : many )
        signalables.push_back( pb::adopt( pbSignalableCreateProcess( process.get() ) ) );
    timedPair(
        "1,000 signalables: assert",
        [] {
            auto signal = pb::adopt( pbSignalCreate() );
            for( const auto &sigb : signalables )
                pbSignalAddSignalable( signal.get(), sigb.get() );
            runCount       = 0;
            double seconds = secondsOf( [&] { pbSignalAssert( signal.get() ); } );
            waitForRuns( count );
            return seconds;
        },
        [] {
            runCount       = 0;
            double seconds = secondsOf( [] {
                for( const auto &process : many )
                    pbProcessSchedule( process.get() );
            } );
            waitForRuns( count );
            return seconds;
        } );
}

void registerTimer()
{
    static constexpr size_t                                     count   = 10000;
    static const auto                                           process = makeProcesses( 1 ).front();
    static std::vector<pb::Ref<PB_TIMER>>                       timers;
    static std::multimap<PB_INT, size_t>                        map;
    static std::vector<std::multimap<PB_INT, size_t>::iterator> places;
    static size_t                                               next;
    for( size_t index = 0; index < count; index++ )
    {
        timers.push_back( pb::adopt( pbTimerCreateProcess( process.get() ) ) );
        pbTimerSchedule( timers.back().get(), 3600000 );
        places.push_back( map.emplace( (PB_INT)index, index ) );
    }
    bench::pair(
        "timer among 10,000: restart",
        [] {
            next = ( next + 7919 ) % count;
            pbTimerSchedule( timers[next].get(), 3600000 + (PB_INT)( next % 1000 ) );
        },
        [] {
            next = ( next + 7919 ) % count;
            map.erase( places[next] );
            places[next] = map.emplace( Clock::now().time_since_epoch().count() + (PB_INT)( next % 1000 ) * 1000000, next );
        } );
}

}

void bench::registerConcurrency()
{
    registerSchedule();
    registerSignal();
    registerTimer();
}
