#include "simulation/scenarios.hpp"

#include <cstdlib>
#include <pb/pb.h>

#include "concurrency/pb_concurrency.hpp"
#include "simulation/simulation.hpp"
#include "simulation/toys.hpp"

static unsigned long numberFrom( const char *variable, unsigned long otherwise )
{
    const char *text = std::getenv( variable );
    return text ? std::strtoul( text, nullptr, 10 ) : otherwise;
}

void stopToys()
{
    pb::concurrency::stop( [] {}, [] {}, [] { toys::shutDown = true; } );
}

// What the base library or a check reports ends the scenario.
static void report( const char *, const char *file, PB_INT line, const char *expression )
{
    simulation::expect( false, ( std::string( file ) + ":" + std::to_string( line ) + ": " + expression ).c_str() );
}

namespace
{

// Plays one seed; gives how many objects are left. Throws simulation::Failure.
PB_INT playSeed( unsigned long seed, const std::function<void()> &scenario )
{
    PB_INT alive   = pbObjLiveCount();
    toys::shutDown = false;
    pb___ClockSetManual( PB_TRUE );
    simulation::run( seed, [&] {
        auto problem = pb::concurrency::start( 1 + simulation::below( 3 ), nullptr, nullptr );
        simulation::expect( problem.empty(), problem.c_str() );
        scenario();
    } );
    if( pb___ClockArmedTimers() != 0 )
        throw simulation::Failure{ "a timer is left" };
    return pbObjLiveCount() - alive;
}

}

void play( unsigned kind, unsigned percent, const std::function<void()> &scenario )
{
    unsigned long total = numberFrom( "CRY_SCENARIOS", 56000 ) * percent / 100;
    unsigned long one   = numberFrom( "CRY_SEED", 0 );
    pbAbortSetHandler( report );
    for( unsigned long count = 1; count <= ( one ? 1 : total ); count++ )
    {
        unsigned long seed = one ? one : count * 4 + kind;
        try
        {
            // An object that is made at its first use and kept is not left a second time.
            if( playSeed( seed, scenario ) != 0 && playSeed( seed, scenario ) != 0 )
                throw simulation::Failure{ "objects are left" };
        }
        catch( const simulation::Failure &failure )
        {
            // The state of the libraries is lost, so nothing more can be played.
            GTEST_FLAG_SET( fail_fast, true );
            FAIL() << failure.text << "\nthe seed is CRY_SEED=" << seed;
        }
    }
    pbAbortSetHandler( nullptr );
}
