#include <pb/containers.hpp>
#include <pb/pb_process.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include "base/pb_sync.hpp"
#include "base/pb_thread_state.hpp"
#include "concurrency/pb_pool.hpp"
#include "concurrency/pb_runs.hpp"
#include "concurrency/pb_waiters.hpp"

namespace
{

// The state of a process. `wanted`, `ended` and `awaited` are set without the lock of the queue.
enum : uint32_t
{
    wanted  = 1,  // a run is asked for
    queued  = 2,  // the process is in its queue, which holds a reference
    running = 4,  // a run is in progress
    halted  = 8,  // no run begins
    ended   = 16, // halted, without a run, and the object is released
    awaited = 32, // somebody has waited for the end
};

}

struct PB_PROCESS : PB_OBJ
{
    PB_PROCESS_FUNCTION        function;
    PB_OBJ                    *obj;
    PB_STRING                 *name;
    pb::sync::Atomic<uint32_t> state;
    PB_PROCESS_CLASS           processClass;
    PB_PROCESS                *previous; // in its queue
    PB_PROCESS                *next;
};

// An idle process costs no more than this with what the allocator adds.
static_assert( sizeof( PB_PROCESS ) <= 112 );

static void freeProcess( PB_PROCESS *process )
{
    PB_CHECK( process );
    pb::Field<PB_OBJ *>::release( process->obj );
    pb::Field<PB_STRING *>::release( process->name );
}

static PB_STRING *processToString( PB_PROCESS *process ) { return PB_CHECK( process ), pb::shareOrNull( process->name ); }

PB_SORT_DEFINE( pb, Process, PB_PROCESS, .free = pb::slot<freeProcess>, .toString = pb::slot<processToString> )

namespace
{

using pb::sync::Hold;

// The processes of one class that wait for a run. Each ticket is a function that was posted to the
// threads and has not returned; it runs what it finds in the queue.
struct Queue
{
    PB_PROCESS *first   = nullptr;
    PB_PROCESS *last    = nullptr;
    PB_INT      tickets = 0;
    PB_INT      limit   = 0; // more tickets at a time would not help
};

enum class Phase
{
    stopped,   // nothing runs
    started,   // everything runs
    stopping,  // background runs are not begun
    finishing, // nothing is scheduled; ordinary runs that wait are begun
    finished   // only inline runs are allowed
};

struct Runs
{
    pb::sync::Lock      lock;
    pb::sync::Condition fewer; // wakes the stop
    Queue               queues[2] PB_GUARDED_BY( lock ) = {};
    Phase phase         PB_GUARDED_BY( lock )           = Phase::stopped;
    PB_INT inProgress   PB_GUARDED_BY( lock )           = 0; // inline runs too
    uintptr_t start     PB_GUARDED_BY( lock )           = 0; // counts the starts of the runtime
};

constinit Runs runState = {};

// Which queue, and which start of the runtime, a ticket is for. A host's executor may call a ticket
// after the stop, and even after the next start.
uintptr_t ticketFor( PB_PROCESS_CLASS processClass, uintptr_t start ) { return start << 1 | (uintptr_t)processClass; }

bool mayBegin( PB_PROCESS_CLASS processClass ) PB_NEEDS( runState.lock )
{
    return runState.phase == Phase::started ||
        ( processClass == PB_PROCESS_CLASS_ORDINARY && runState.phase < Phase::finished && runState.phase > Phase::stopped );
}

bool maySchedule() PB_NEEDS( runState.lock ) { return runState.phase == Phase::started || runState.phase == Phase::stopping; }

void useTicket( void *argument );

void postTicket( PB_PROCESS_CLASS processClass ) PB_NEEDS( runState.lock )
{
    pb::pool::post( processClass, useTicket, (void *)ticketFor( processClass, runState.start ) );
}

// Posts one more ticket if that is of use. The lock is held, so the threads are still there.
void addTicket( PB_PROCESS_CLASS processClass ) PB_NEEDS( runState.lock )
{
    Queue &queue = runState.queues[processClass];
    if( queue.tickets >= queue.limit || !mayBegin( processClass ) )
        return;
    queue.tickets++;
    postTicket( processClass );
}

void enqueue( PB_PROCESS *process ) PB_NEEDS( runState.lock )
{
    Queue &queue = runState.queues[process->processClass];
    process->state.fetch_or( queued );
    process->previous                               = queue.last;
    process->next                                   = nullptr;
    ( queue.last ? queue.last->next : queue.first ) = process;
    queue.last                                      = process;
    addTicket( process->processClass );
}

void dequeue( PB_PROCESS *process ) PB_NEEDS( runState.lock )
{
    Queue &queue                                                  = runState.queues[process->processClass];
    ( process->previous ? process->previous->next : queue.first ) = process->next;
    ( process->next ? process->next->previous : queue.last )      = process->previous;
    process->state.fetch_and( ~queued );
}

void begin( PB_PROCESS *process ) PB_NEEDS( runState.lock )
{
    // From here on, a wish that comes too late for this run is a wish for the next one.
    process->state.fetch_and( ~wanted );
    process->state.fetch_or( running );
}

// Takes the first process that waits and begins its run; null if there is none.
PB_PROCESS *beginNext( PB_PROCESS_CLASS processClass ) PB_NEEDS( runState.lock )
{
    PB_PROCESS *process = mayBegin( processClass ) ? runState.queues[processClass].first : nullptr;
    if( process )
    {
        dequeue( process );
        begin( process );
    }
    return process;
}

void call( PB_PROCESS *process )
{
    pb::threadState.runs++;
    process->function( process->obj );
    pb::threadState.runs--;
    bool holdsLock = pb::threadState.heldLocks != 0;
    PB_CHECK( !holdsLock );
}

// Releases the object of a process that has been halted, and lets those go on who wait for its end.
void end( PB_PROCESS *process, PB_OBJ *obj )
{
    pb::releaseOrNull( obj );
    if( process->state.fetch_or( ended ) & awaited )
        pb::waiters::wake();
}

// What is left to do after a run, outside the lock.
struct Rest
{
    PB_PROCESS *process = nullptr; // to release; null: nothing is left to do
    PB_OBJ     *obj     = nullptr;
    bool        last    = false; // it was the last run of a halted process

    void settle()
    {
        if( last )
            end( process, obj );
        pb::releaseOrNull( process );
        *this = {};
    }
};

// A run has ended. Its reference to the process goes to the queue or to what is left to do.
Rest finishRun( PB_PROCESS *process ) PB_NEEDS( runState.lock )
{
    Rest     rest{ process };
    uint32_t state = process->state.fetch_and( ~running );
    if( state & halted )
    {
        rest.last = true;
        std::swap( rest.obj, process->obj );
    }
    else if( ( state & wanted ) && maySchedule() )
    {
        enqueue( process );
        return {};
    }
    else if( state & wanted )
        process->state.fetch_and( ~wanted );
    return rest;
}

// The stop waits for all runs in progress, and for what is left to do after them.
void leaveRuns() PB_NEEDS( runState.lock )
{
    runState.inProgress--;
    if( runState.phase != Phase::started )
        runState.fewer.wakeAll( runState.lock );
}

// One run, which has begun and is in progress; takes over a reference to the process.
void run( PB_PROCESS *process )
{
    call( process );
    Rest rest;
    {
        Hold hold( runState.lock );
        rest = finishRun( process );
    }
    rest.settle();
    Hold hold( runState.lock );
    leaveRuns();
}

// Runs what is in the queue, with one section of the lock for each run.
void useTicket( void *argument )
{
    // A host's executor may have other work, so a ticket gives way now and then.
    static constexpr int runsOfTicket = 64;
    PB_PROCESS_CLASS     processClass = (PB_PROCESS_CLASS)( (uintptr_t)argument & 1 );
    PB_PROCESS          *process      = nullptr;
    Rest                 rest;
    {
        Hold hold( runState.lock );
        if( ticketFor( processClass, runState.start ) != (uintptr_t)argument )
            return;
        runState.inProgress++;
    }
    for( int count = 0;; count++ )
    {
        {
            Hold   hold( runState.lock );
            Queue &queue = runState.queues[processClass];
            if( process )
                rest = finishRun( process );
            bool giveWay = count >= runsOfTicket && queue.first && mayBegin( processClass );
            process      = giveWay ? nullptr : beginNext( processClass );
            if( !process && !rest.process )
            {
                if( giveWay )
                    postTicket( processClass );
                else
                    queue.tickets--;
                return leaveRuns();
            }
        }
        rest.settle();
        if( process )
            call( process );
    }
}

}

PB_PROCESS *pbProcessCreateCstr( PB_PROCESS_FUNCTION function, PB_OBJ *obj, const char *name, PB_INT length, PB_PROCESS_CLASS processClass )
{
    PB_CHECK( function );
    PB_CHECK( name );
    PB_CHECK( processClass == PB_PROCESS_CLASS_ORDINARY || processClass == PB_PROCESS_CLASS_BACKGROUND );
    PB_PROCESS *process   = pb::create<PB_PROCESS>();
    process->function     = function;
    process->obj          = pb::shareOrNull( obj );
    process->name         = pbStringCreateFromCstr( name, length );
    process->processClass = processClass;
    return process;
}

PB_STRING *pbProcessName( PB_PROCESS *process ) { return PB_CHECK( process ), pb::shareOrNull( process->name ); }

void pbProcessSchedule( PB_PROCESS *process )
{
    PB_CHECK( process );
    // This is written also if a run is wanted already: the run that answers the wish reads it, and
    // so sees everything that was written before.
    if( process->state.fetch_or( wanted ) & ( wanted | running | halted ) )
        return;
    Hold     hold( runState.lock );
    uint32_t state = process->state.load();
    if( !( state & wanted ) || ( state & ( queued | running | halted ) ) )
        return; // another thread has answered the wish, or will
    if( maySchedule() )
        enqueue( pb::shareOrNull( process ) );
    else
        process->state.fetch_and( ~wanted );
}

void pbProcessHalt( PB_PROCESS *process )
{
    PB_CHECK( process );
    PB_OBJ  *obj = nullptr;
    uint32_t state;
    {
        Hold hold( runState.lock );
        state = process->state.fetch_or( halted );
        if( state & halted )
            return;
        if( state & queued )
            dequeue( process );
        // During a run the object is in use; the run releases it.
        if( !( state & running ) )
            std::swap( obj, process->obj );
    }
    if( !( state & running ) )
        end( process, obj );
    if( state & queued )
        pb::releaseOrNull( process );
}

PB_BOOL pbProcessHalted( PB_PROCESS *process ) { return PB_CHECK( process ), ( process->state.load() & halted ) != 0; }

void pb___ProcessRunInline( PB_PROCESS *process )
{
    PB_CHECK( process );
    bool isRunning, stopped, wasQueued = false;
    {
        Hold     hold( runState.lock );
        uint32_t state = process->state.load();
        stopped        = runState.phase == Phase::stopped;
        isRunning      = state & running;
        if( !stopped && !isRunning )
        {
            if( state & halted )
                return;
            wasQueued = state & queued;
            if( wasQueued )
                dequeue( process );
            begin( process );
            runState.inProgress++;
        }
    }
    PB_CHECK( !stopped );
    PB_CHECK( !isRunning );
    // A run owns a reference. The queue's becomes that of this run.
    run( wasQueued ? process : pb::shareOrNull( process ) );
}

PB_BOOL pb___ProcessEnded( PB_PROCESS *process ) { return PB_CHECK( process ), ( process->state.load() & ended ) != 0; }

PB_BOOL pb___ProcessEndWait( PB_PROCESS *process )
{
    PB_CHECK( process );
    bool insideRun = pb::threadState.runs != 0;
    bool holdsLock = pb::threadState.heldLocks != 0;
    PB_CHECK( !insideRun );
    PB_CHECK( !holdsLock );
    process->state.fetch_or( awaited );
    return pb::waiters::wait( [process] { return ( process->state.load() & ended ) != 0; }, -1 );
}

int pb::runs::start( PB_INT workers, PB_EXECUTOR executor, void *context )
{
    if( int problem = pool::start( workers, executor, context ) )
        return problem;
    Hold hold( runState.lock );
    runState.start++;
    runState.queues[PB_PROCESS_CLASS_ORDINARY]   = { .limit = workers };
    runState.queues[PB_PROCESS_CLASS_BACKGROUND] = { .limit = 1 };
    runState.phase                               = Phase::started;
    return 0;
}

// Drops the background runs that wait, and goes on to the next phase.
static void dropBackground( Phase phase )
{
    // The links of a process that is out of the queue belong to whoever schedules it next.
    pb::StdVector<pb::Ref<PB_PROCESS>> dropped;
    Hold                               hold( runState.lock );
    runState.phase = phase;
    while( PB_PROCESS *process = runState.queues[PB_PROCESS_CLASS_BACKGROUND].first )
    {
        dequeue( process );
        process->state.fetch_and( ~wanted );
        dropped.push_back( pb::adopt( process ) );
    }
}

void pb::runs::refuseBackground() { dropBackground( Phase::stopping ); }

void pb::runs::finish()
{
    // The queue has what was scheduled during the halt hooks.
    dropBackground( Phase::finishing );
    for( ;; )
    {
        PB_PROCESS *process;
        {
            Hold hold( runState.lock );
            process = beginNext( PB_PROCESS_CLASS_ORDINARY );
            while( !process && runState.inProgress > 0 )
            {
                runState.fewer.wait( runState.lock );
                process = beginNext( PB_PROCESS_CLASS_ORDINARY );
            }
            if( !process )
            {
                runState.phase = Phase::finished;
                return;
            }
            runState.inProgress++;
        }
        run( process );
    }
}

void pb::runs::stopThreads() { pool::stop(); }

void pb::runs::refuseInline()
{
    Hold hold( runState.lock );
    while( runState.inProgress > 0 )
        runState.fewer.wait( runState.lock );
    runState.phase = Phase::stopped;
}
