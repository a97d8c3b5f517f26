// Locks, waits and shared flags of the simulation. Each of them lets the seed decide which fiber
// goes on.
#pragma once

#include <pb/pb_base.h>
#include <pb/pb_thread_safety.h>

#include <atomic>
#include <utility>

// The part of the simulation that the base library needs.
namespace simulation
{

void      switchPoint();
void      block( const void *cause );
void      wake( const void *cause );
bool      chance( unsigned oneOf );
uintptr_t currentFiber();
void      changeInternalLocks( int change );
void      checkMayFree();
void      noteTrigger( const void *signal, const void *obj );

}

namespace pb::sync
{

template<class T>
class Atomic
{
public:
    constexpr Atomic( T first = {} ) : value( first ) {}
    Atomic( const Atomic & ) = delete;

    T    load( std::memory_order = std::memory_order_seq_cst ) const { return simulation::switchPoint(), value; }
    void store( T next, std::memory_order = std::memory_order_seq_cst ) { simulation::switchPoint(), value = next; }
    T    fetch_or( T bits )
    {
        simulation::switchPoint();
        return std::exchange( value, value | bits );
    }
    T fetch_and( T bits )
    {
        simulation::switchPoint();
        return std::exchange( value, value & bits );
    }

private:
    T value;
};

template<bool internal>
class PB_LOCK_TYPE( "lock" ) AnyLock
{
public:
    void lock() PB_TAKES() PB_UNCHECKED
    {
        simulation::switchPoint();
        take();
    }
    void unlock() PB_GIVES() PB_UNCHECKED
    {
        give();
        simulation::switchPoint();
    }

private:
    friend class Condition;

    void take()
    {
        while( held )
            simulation::block( this );
        held = true;
        simulation::changeInternalLocks( internal );
    }
    void give()
    {
        held = false;
        simulation::changeInternalLocks( -internal );
        simulation::wake( this );
    }

    bool held = false;
};

using Lock        = AnyLock<true>;
using MonitorLock = AnyLock<false>;

// A limited wait may end at any moment.
struct Deadline
{
    bool never;

    static Deadline after( PB_INT milliseconds ) { return { milliseconds < 0 }; }
    bool            passed() const { return !never && simulation::chance( 4 ); }
};

class Condition
{
public:
    void wait( Lock &lock, const Deadline &deadline = { true } ) PB_NEEDS( lock ) PB_UNCHECKED
    {
        lock.give();
        if( deadline.never )
            simulation::block( this );
        else
            simulation::switchPoint();
        lock.take();
    }
    void wakeAll( Lock & ) { simulation::wake( this ); }
};

class PB_LOCK_TYPE( "shared lock" ) SharedLock
{
public:
    void lock() PB_TAKES() PB_UNCHECKED
    {
        simulation::switchPoint();
        waitingWriters++;
        while( writer || readers )
            simulation::block( this );
        waitingWriters--;
        writer = true;
    }
    void unlock() PB_GIVES() PB_UNCHECKED
    {
        writer = false;
        simulation::wake( this );
        simulation::switchPoint();
    }
    void lockShared() PB_TAKES_SHARED() PB_UNCHECKED
    {
        simulation::switchPoint();
        while( writer || waitingWriters )
            simulation::block( this );
        readers++;
    }
    void unlockShared() PB_GIVES_SHARED() PB_UNCHECKED
    {
        readers--;
        simulation::wake( this );
        simulation::switchPoint();
    }

private:
    bool     writer         = false;
    unsigned readers        = 0;
    unsigned waitingWriters = 0;
};

inline uintptr_t currentThread() { return simulation::currentFiber(); }
inline void      noteTrigger( const void *signal, const void *obj ) { simulation::noteTrigger( signal, obj ); }
inline void      checkMayFree() { simulation::checkMayFree(); }

}
