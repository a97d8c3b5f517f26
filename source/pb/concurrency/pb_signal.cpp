#include <pb/pb_signal.h>
#include <pb/sort.hpp>

#include "base/pb_sync.hpp"
#include "base/pb_thread_state.hpp"
#include "concurrency/pb_signal_set.hpp"
#include "concurrency/pb_waiters.hpp"

using pb::sync::Hold;

// A process to schedule or a signal to assert; the other one is null.
struct PB_SIGNALABLE : PB_OBJ
{
    PB_PROCESS *process;
    PB_SIGNAL  *signal;
};

static constexpr auto signalableFields = pb::fields<&PB_SIGNALABLE::process, &PB_SIGNALABLE::signal>;

PB_SORT_DEFINE( pb, Signalable, PB_SIGNALABLE, PB_FREE_FIELDS( PB_SIGNALABLE, sigb, signalableFields ) )

struct PB_SIGNAL : PB_OBJ
{
    pb::sync::Lock         lock;
    pb::sync::Atomic<bool> asserted; // changes under the lock
    bool awaited           PB_GUARDED_BY( lock );
    pb::SignalSet set      PB_GUARDED_BY( lock ); // signalables and signals, retained
};

static void freeSignal( PB_SIGNAL *signal ) PB_UNCHECKED
{
    PB_CHECK( signal );
    signal->set.each( []( PB_OBJ *obj ) { pbObjRelease( obj ); } );
    signal->set.clear();
}

PB_SORT_DEFINE( pb, Signal, PB_SIGNAL, .free = pb::slot<freeSignal> )

namespace
{

using Chain = pb::StdVector<pb::Ref<PB_SIGNAL>>;

// Signals are put into the chain; there is no recursion, so a chain may have any length.
void trigger( PB_OBJ *obj, Chain &chain )
{
    if( obj->sort == pbSignalSort() )
    {
        chain.push_back( pb::share( pbSignalFrom( obj ) ) );
        return;
    }
    PB_SIGNALABLE *sigb = pbSignalableFrom( obj );
    if( sigb->process )
        pbProcessSchedule( sigb->process );
    else
        chain.push_back( pb::share( sigb->signal ) );
}

void assertOne( PB_SIGNAL *signal, Chain &chain )
{
    pb::SignalSet set;
    bool          awaited;
    {
        Hold hold( signal->lock );
        if( signal->asserted.load( std::memory_order_relaxed ) )
            return;
        signal->asserted.store( true, std::memory_order_release );
        std::swap( set, signal->set );
        awaited = signal->awaited;
    }
    if( awaited )
        pb::waiters::wake();
    set.each( [signal, &chain]( PB_OBJ *obj ) {
        pb::sync::noteTrigger( signal, obj );
        trigger( obj, chain );
    } );
    set.each( []( PB_OBJ *obj ) { pbObjRelease( obj ); } );
    set.clear();
}

void assertAll( Chain &chain )
{
    for( size_t next = 0; next < chain.size(); next++ )
    {
        // An assertion may add to the chain, which moves it.
        pb::Ref<PB_SIGNAL> signal = std::move( chain[next] );
        assertOne( signal.get(), chain );
    }
}

// Adds an object; triggers it at once if the signal is asserted.
void add( PB_SIGNAL *signal, PB_OBJ *obj )
{
    {
        Hold hold( signal->lock );
        if( !signal->asserted.load( std::memory_order_relaxed ) )
        {
            if( signal->set.add( obj ) )
                pbObjRetain( obj );
            return;
        }
    }
    Chain chain;
    trigger( obj, chain );
    assertAll( chain );
}

void remove( PB_SIGNAL *signal, PB_OBJ *obj )
{
    {
        Hold hold( signal->lock );
        if( !signal->set.remove( obj ) )
            return;
    }
    pbObjRelease( obj );
}

}

PB_SIGNAL *pbSignalCreate() { return pb::create<PB_SIGNAL>(); }

void pbSignalAssert( PB_SIGNAL *signal )
{
    PB_CHECK( signal );
    Chain chain;
    assertOne( signal, chain );
    assertAll( chain );
}

PB_BOOL pbSignalAsserted( PB_SIGNAL *signal ) { return PB_CHECK( signal ), signal->asserted.load( std::memory_order_acquire ); }

void pbSignalAddSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *sigb )
{
    PB_CHECK( signal );
    PB_CHECK( sigb );
    add( signal, sigb );
}

void pbSignalDelSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *sigb )
{
    PB_CHECK( signal );
    PB_CHECK( sigb );
    remove( signal, sigb );
}

void pbSignalAddSignal( PB_SIGNAL *signal, PB_SIGNAL *other )
{
    PB_CHECK( signal );
    PB_CHECK( other );
    add( signal, other );
}

void pbSignalDelSignal( PB_SIGNAL *signal, PB_SIGNAL *other )
{
    PB_CHECK( signal );
    PB_CHECK( other );
    remove( signal, other );
}

PB_INT pb___SignalLength( PB_SIGNAL *signal )
{
    PB_CHECK( signal );
    Hold hold( signal->lock );
    return signal->set.length();
}

PB_BOOL pbSignalWait( PB_SIGNAL *signal, PB_INT timeoutMs )
{
    PB_CHECK( signal );
    bool insideRun = pb::threadState.runs != 0;
    bool holdsLock = pb::threadState.heldLocks != 0;
    PB_CHECK( !insideRun );
    PB_CHECK( !holdsLock );
    {
        Hold hold( signal->lock );
        signal->awaited = true;
    }
    return pb::waiters::wait( [signal] { return signal->asserted.load( std::memory_order_acquire ); }, timeoutMs );
}

PB_SIGNALABLE *pbSignalableCreateProcess( PB_PROCESS *process )
{
    PB_CHECK( process );
    PB_SIGNALABLE *sigb = pb::create<PB_SIGNALABLE>();
    sigb->process       = pb::shareOrNull( process );
    return sigb;
}

PB_SIGNALABLE *pbSignalableCreateSignal( PB_SIGNAL *signal )
{
    PB_CHECK( signal );
    PB_SIGNALABLE *sigb = pb::create<PB_SIGNALABLE>();
    sigb->signal        = pb::shareOrNull( signal );
    return sigb;
}

void pbSignalableTrigger( PB_SIGNALABLE *sigb )
{
    PB_CHECK( sigb );
    Chain chain;
    trigger( sigb, chain );
    assertAll( chain );
}
