// Processes, threads and runtimes for tests.
#pragma once

#include <pb/pb_process.h>
#include <pb/pb_runtime.h>
#include <pb/ref.hpp>

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

PB_OBJECT_TYPE( PROBE );

namespace support
{

// An object that calls a function when it is freed.
pb::Ref<PROBE> probe( std::function<void()> freed );

// A process whose runs call `run`. Its object calls `freed` when it is freed.
pb::Ref<PB_PROCESS> process( std::function<void()> run, PB_PROCESS_CLASS processClass = PB_PROCESS_CLASS_ORDINARY, std::function<void()> freed = {} );

// Waits until something happens; false if it takes too long.
template<class Happened>
bool soon( Happened happened )
{
    auto limit = std::chrono::steady_clock::now() + std::chrono::seconds( 30 );
    while( !happened() )
    {
        if( std::chrono::steady_clock::now() > limit )
            return false;
        std::this_thread::sleep_for( std::chrono::microseconds( 200 ) );
    }
    return true;
}

// The names of the threads of this process that begin so, sorted.
std::vector<std::string> threadNames( const std::string &begin );

// A test that stops the runtime of the program and has runtimes of its own, without other modules
// than pb. Afterwards the runtime of the program is started again.
class OwnRuntime : public testing::Test
{
protected:
    void SetUp() override;
    void TearDown() override;

    // Starts the runtime with `options`; the result is the reason why it does not start.
    std::string start();
    void        stop() { pbRuntimeStop(); }

    pb::Ref<PB_RUNTIME_OPTIONS> options;
    PB_INT                      alive = 0;
};

// The same, with an executor that keeps its tickets until the test takes them, so that the test's
// own thread makes the runs.
class RunsByHand : public OwnRuntime
{
protected:
    struct Ticket
    {
        void ( *function )( void *argument );
        void *argument;
        void  use() const { function( argument ); }
    };

    void SetUp() override;

    std::vector<Ticket> takeTickets();
    // Makes all runs that wait, and those that they schedule.
    void runAll();

    // Is called by the executor, if it is set.
    std::function<void()> posted;

private:
    static void post( void *context, void ( *function )( void *argument ), void *argument );

    std::mutex          lock;
    std::vector<Ticket> tickets;
};

}
