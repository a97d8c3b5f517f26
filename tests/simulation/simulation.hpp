// A world of fibers in one thread. A seed decides at each lock, wait and shared flag which fiber
// goes on, so a seed that fails can be repeated.
#pragma once

#include <simulation/simulated_sync.hpp>

#include <cstdint>
#include <functional>
#include <string>

namespace simulation
{

// The random numbers of a scenario. The same seed gives the same numbers on every machine.
class Random
{
public:
    explicit Random( uint64_t seed ) : state( seed * 0x9E3779B97F4A7C15u + 1 ) {}
    uint64_t next()
    {
        // splitmix64
        uint64_t z = ( state += 0x9E3779B97F4A7C15u );
        z          = ( z ^ ( z >> 30 ) ) * 0xBF58476D1CE4E5B9u;
        z          = ( z ^ ( z >> 27 ) ) * 0x94D049BB133111EBu;
        return z ^ ( z >> 31 );
    }
    unsigned below( unsigned limit ) { return (unsigned)( next() % limit ); }

private:
    uint64_t state;
};

// The first thing that went wrong in the current scenario.
struct Failure
{
    std::string text;
};

// Runs `main` as the first fiber, and then all that it spawns, until all have ended. Throws Failure
// if a fiber reports one, or if all that are left are blocked.
void run( uint64_t seed, const std::function<void()> &main );

// A new fiber of the running world; join() waits for its end.
unsigned spawn( std::function<void()> function );
void     join( unsigned fiber );

// Waits until all other fibers are blocked or have ended.
void rest();

// Ends the scenario with this text, unless the condition holds.
void expect( bool condition, const char *text );

// No other fiber goes on as long as an object of this class is there, so a check can read what the
// fibers share. It takes no lock.
class Quiet
{
public:
    Quiet();
    ~Quiet();
    Quiet( const Quiet & )            = delete;
    Quiet &operator=( const Quiet & ) = delete;
};

// Random numbers of the running world.
unsigned below( unsigned limit );

// Is called when the assertion of a signal triggers an object, before it does.
void onTrigger( std::function<void( const void *obj )> function );
// How often the assertion of a signal has triggered an object.
unsigned triggers( const void *signal, const void *obj );

}
