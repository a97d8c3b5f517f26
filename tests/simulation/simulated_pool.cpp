// The threads of the base library as fibers. Tickets are taken in any order, as a host's executor
// may do.
#include "concurrency/pb_pool.hpp"
#include "concurrency/pb_timer_thread.hpp"
#include "simulation/simulation.hpp"

#include <vector>

namespace
{

struct Ticket
{
    pb::pool::Function function;
    void              *argument;
};

struct Threads
{
    std::vector<Ticket>   tickets;
    std::vector<unsigned> fibers;
    bool                  ofHost = false; // the stop does not wait for them; they use tickets late
    bool                  stops  = false;

    void start( PB_INT count, bool areOfHost )
    {
        *this  = {};
        ofHost = areOfHost;
        for( PB_INT index = 0; index < count; index++ )
            fibers.push_back( simulation::spawn( [this] { work(); } ) );
    }

    void work()
    {
        while( !stops || ( ofHost && !tickets.empty() ) )
        {
            if( tickets.empty() )
            {
                simulation::block( this );
                continue;
            }
            size_t place  = simulation::below( (unsigned)tickets.size() );
            Ticket ticket = tickets[place];
            tickets.erase( tickets.begin() + (ptrdiff_t)place );
            simulation::switchPoint();
            ticket.function( ticket.argument );
        }
    }

    void post( Ticket ticket )
    {
        simulation::expect( !stops, "a ticket is posted after the threads have ended" );
        tickets.push_back( ticket );
        simulation::wake( this );
    }

    void stop()
    {
        stops = true;
        simulation::wake( this );
        for( unsigned fiber : fibers )
        {
            if( !ofHost )
                simulation::join( fiber );
        }
    }
};

Threads workers, background;

}

int pb::pool::start( PB_INT count, PB_EXECUTOR, void * )
{
    workers.start( count, simulation::below( 2 ) );
    background.start( 1, false );
    return 0;
}

void pb::pool::post( PB_PROCESS_CLASS processClass, Function function, void *argument )
{
    ( processClass == PB_PROCESS_CLASS_BACKGROUND ? background : workers ).post( { function, argument } );
}

void pb::pool::stop()
{
    workers.stop();
    background.stop();
}

// The clock of the simulation is manual, so nobody waits for deadlines.
int  pb::timerThread::start( void (  *)() ) { return 0; }
void pb::timerThread::setDeadline( PB_INT ) {}
void pb::timerThread::stop() {}
