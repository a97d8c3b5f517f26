#include "concurrency/pb_concurrency.hpp"

#include <cstring>

#include "concurrency/pb_gate.hpp"
#include "concurrency/pb_runs.hpp"
#include "concurrency/pb_timers.hpp"
#include "concurrency/pb_waiters.hpp"

pb::concurrency::Text pb::concurrency::start( PB_INT workers, PB_EXECUTOR executor, void *context )
{
    if( int problem = runs::start( workers, executor, context ) )
        return Text( "the workers cannot be started: " ) + std::strerror( problem );
    if( int problem = timers::start() )
    {
        runs::finish();
        runs::stopThreads();
        runs::refuseInline();
        return Text( "the timers cannot be started: " ) + std::strerror( problem );
    }
    waiters::setMayWait( true );
    gate::open();
    return "";
}

void pb::concurrency::stop( Hook halt, Hook fourth, Hook shutdown )
{
    runs::refuseBackground();
    halt();
    timers::finish();
    runs::finish();
    waiters::setMayWait( false );
    timers::stopThread();
    runs::stopThreads();
    fourth();
    gate::close();
    runs::refuseInline();
    shutdown();
}
