#include <pb/containers.hpp>
#include <pb/pb_timer.h>
#include <pb/sort.hpp>

#include "base/pb_clock.hpp"
#include "base/pb_sync.hpp"
#include "concurrency/pb_timer_thread.hpp"
#include "concurrency/pb_timers.hpp"

using pb::sync::Hold;

struct PB_TIMER : PB_OBJ
{
    PB_PROCESS            *process;
    pb::sync::Atomic<bool> scheduled; // changes under the lock of the service
    size_t                 place;     // in the heap, plus one; 0: not in it
};

namespace
{

// A timer that will fire. The heap does not retain it: whoever frees it takes it out first.
struct Armed
{
    PB_INT    deadline; // nanoseconds of uptime
    PB_INT    order;    // for equal deadlines
    PB_TIMER *timer;

    bool operator<( const Armed &other ) const { return deadline != other.deadline ? deadline < other.deadline : order < other.order; }
};

struct Service
{
    pb::sync::Lock lock;
    bool started   PB_GUARDED_BY( lock ) = false;
    PB_INT orders  PB_GUARDED_BY( lock ) = 0;
    PB_INT wakeUp  PB_GUARDED_BY( lock ) = -1; // the deadline of the thread, -1: none

    using Heap                       = pb::StdVector<Armed, pb::ProcessMemory>;
    Heap *heap PB_GUARDED_BY( lock ) = nullptr; // made at the first start and kept
};

constinit Service service = {};

constexpr PB_INT nanosecondsPerMillisecond = 1000000;

void put( size_t place, const Armed &armed ) PB_NEEDS( service.lock )
{
    ( *service.heap )[place] = armed;
    armed.timer->place       = place + 1;
}

// Moves an entry to its place among its parents and children. Each entry has up to four children.
void settle( size_t place ) PB_NEEDS( service.lock )
{
    Service::Heap &heap  = *service.heap;
    Armed          armed = heap[place];
    while( place > 0 && armed < heap[( place - 1 ) / 4] )
    {
        put( place, heap[( place - 1 ) / 4] );
        place = ( place - 1 ) / 4;
    }
    for( ;; )
    {
        size_t first = 4 * place + 1;
        size_t least = first;
        for( size_t child = first + 1; child < first + 4 && child < heap.size(); child++ )
        {
            if( heap[child] < heap[least] )
                least = child;
        }
        if( least >= heap.size() || !( heap[least] < armed ) )
            break;
        put( place, heap[least] );
        place = least;
    }
    put( place, armed );
}

void disarm( PB_TIMER *timer ) PB_NEEDS( service.lock )
{
    if( !timer->place )
        return;
    Service::Heap &heap  = *service.heap;
    size_t         place = timer->place - 1;
    timer->place         = 0;
    Armed last           = heap.back();
    heap.pop_back();
    if( place < heap.size() )
    {
        heap[place] = last;
        settle( place );
    }
}

void arm( PB_TIMER *timer, PB_INT milliseconds ) PB_NEEDS( service.lock )
{
    PB_INT delay, deadline;
    if( __builtin_mul_overflow( milliseconds, nanosecondsPerMillisecond, &delay ) || __builtin_add_overflow( pb::clock::uptime(), delay, &deadline ) )
        deadline = PB_INT_MAX;
    Armed armed{ deadline, service.orders++, timer };
    if( !timer->place )
    {
        service.heap->push_back( armed );
        timer->place = service.heap->size();
    }
    ( *service.heap )[timer->place - 1] = armed;
    settle( timer->place - 1 );
}

// Tells the thread about an earlier first deadline. If the first one has become later, the thread
// wakes up for nothing once, which costs less than telling it.
void tellThread() PB_NEEDS( service.lock )
{
    if( pb::clock::state.manual.load() || service.heap->empty() )
        return;
    PB_INT first = service.heap->front().deadline;
    if( service.wakeUp >= 0 && service.wakeUp <= first )
        return;
    service.wakeUp = first;
    pb::timerThread::setDeadline( first );
}

// Takes the first timer whose time has come, and returns its process, retained; null if there is
// none.
PB_PROCESS *takeDue( PB_INT now ) PB_NEEDS( service.lock )
{
    while( service.started && !service.heap->empty() && service.heap->front().deadline <= now )
    {
        PB_TIMER *timer = service.heap->front().timer;
        disarm( timer );
        if( pbProcessHalted( timer->process ) )
            continue; // it stays scheduled for ever
        timer->scheduled.store( false );
        // The timer's free function waits for the lock, so the timer still holds its process.
        return pb::shareOrNull( timer->process );
    }
    return nullptr;
}

void fireDue()
{
    for( ;; )
    {
        PB_PROCESS *process;
        {
            Hold hold( service.lock );
            process = takeDue( pb::clock::uptime() );
            if( !process )
            {
                service.wakeUp = -1;
                tellThread();
                return;
            }
        }
        pbProcessSchedule( process );
        pb::releaseOrNull( process );
    }
}

}

static void freeTimer( PB_TIMER *timer )
{
    PB_CHECK( timer );
    {
        Hold hold( service.lock );
        disarm( timer );
    }
    pb::Field<PB_PROCESS *>::release( timer->process );
}

PB_SORT_DEFINE( pb, Timer, PB_TIMER, .free = pb::slot<freeTimer> )

PB_TIMER *pbTimerCreateProcess( PB_PROCESS *process )
{
    PB_CHECK( process );
    PB_TIMER *timer = pb::create<PB_TIMER>();
    timer->process  = pb::shareOrNull( process );
    return timer;
}

void pbTimerSchedule( PB_TIMER *timer, PB_INT milliseconds )
{
    PB_CHECK( timer );
    PB_CHECK( milliseconds >= 0 );
    Hold hold( service.lock );
    timer->scheduled.store( true );
    if( service.started )
    {
        arm( timer, milliseconds );
        tellThread();
    }
}

void pbTimerUnschedule( PB_TIMER *timer )
{
    PB_CHECK( timer );
    Hold hold( service.lock );
    timer->scheduled.store( false );
    disarm( timer );
}

PB_BOOL pbTimerScheduled( PB_TIMER *timer ) { return PB_CHECK( timer ), timer->scheduled.load(); }

void pb___ClockSetManual( PB_BOOL manual )
{
    Hold hold( service.lock );
    pb::clock::setManual( manual );
    service.wakeUp = -1;
    if( service.started )
    {
        pb::timerThread::setDeadline( -1 );
        tellThread();
    }
}

void pb___ClockAdvance( PB_INT milliseconds )
{
    PB_CHECK( milliseconds >= 0 );
    bool manual = pb::clock::state.manual.load();
    PB_CHECK( manual );
    PB_INT target = pb::clock::uptime() + milliseconds * nanosecondsPerMillisecond;
    for( ;; )
    {
        PB_PROCESS *process;
        {
            Hold hold( service.lock );
            if( service.started && !service.heap->empty() && service.heap->front().deadline <= target )
                pb::clock::state.uptime.store( std::max( pb::clock::uptime(), service.heap->front().deadline ) );
            else
                pb::clock::state.uptime.store( std::max( pb::clock::uptime(), target ) );
            process = takeDue( pb::clock::uptime() );
        }
        // Timers of halted processes come to their time without a process.
        if( !process && pb::clock::uptime() >= target )
            return;
        if( process )
        {
            pbProcessSchedule( process );
            pb::releaseOrNull( process );
        }
    }
}

PB_INT pb___ClockArmedTimers()
{
    Hold hold( service.lock );
    return service.heap ? (PB_INT)service.heap->size() : 0;
}

int pb::timers::start()
{
    if( int problem = timerThread::start( fireDue ) )
        return problem;
    Hold hold( service.lock );
    if( !service.heap )
        service.heap = make<Service::Heap, ProcessMemory>();
    service.started = true;
    service.wakeUp  = -1;
    return 0;
}

void pb::timers::finish()
{
    Hold hold( service.lock );
    service.started = false;
    while( service.heap && !service.heap->empty() )
        disarm( service.heap->back().timer );
}

void pb::timers::stopThread() { timerThread::stop(); }
