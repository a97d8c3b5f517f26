// All locks, waits, threads and shared flags of the base library. The simulation
// (tests/simulation) replaces them by fibers of one thread, so that a seed decides which thread
// goes on at each lock, wait and shared flag.
#pragma once

#include <pb/pb_base.h>
#include <pb/pb_thread_safety.h>

#ifdef PB_SIMULATION
#include <simulation/simulated_sync.hpp>
#else

#include <atomic>
#include <ctime>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace pb::sync
{

template<class T>
using Atomic = std::atomic<T>;

inline void futexWake( std::atomic<uint32_t> &word, int threads )
{
    syscall( SYS_futex, (uint32_t *)&word, FUTEX_WAKE_PRIVATE, threads, nullptr, nullptr, 0 );
}

// Waits as long as the word has this value; `until` is a time of CLOCK_MONOTONIC, null means no
// limit. It may also return earlier.
inline void futexWait( std::atomic<uint32_t> &word, uint32_t value, const timespec *until )
{
    syscall( SYS_futex, (uint32_t *)&word, FUTEX_WAIT_BITSET_PRIVATE, value, until, nullptr, FUTEX_BITSET_MATCH_ANY );
}

// A lock of four bytes, for short internal sections. No reference is released while it is held.
class PB_LOCK_TYPE( "lock" ) Lock
{
public:
    void lock() PB_TAKES()
    {
        uint32_t before = open;
        if( !word.compare_exchange_strong( before, held, std::memory_order_acquire, std::memory_order_relaxed ) )
            lockSlowly();
    }
    void unlock() PB_GIVES()
    {
        if( word.exchange( open, std::memory_order_release ) == heldWithWaiters )
            futexWake( word, 1 );
    }

private:
    static constexpr uint32_t open = 0, held = 1, heldWithWaiters = 2;

    void lockSlowly()
    {
        while( word.exchange( heldWithWaiters, std::memory_order_acquire ) != open )
            futexWait( word, heldWithWaiters, nullptr );
    }

    std::atomic<uint32_t> word{ open };
};

static_assert( sizeof( Lock ) == 4 );

// The same for monitors, under which references may be released.
using MonitorLock = Lock;

// The end of a wait: a time of CLOCK_MONOTONIC, or never.
struct Deadline
{
    timespec time;
    bool     never;

    static Deadline after( PB_INT milliseconds )
    {
        constexpr PB_INT second = 1000000000;
        Deadline         deadline{ {}, milliseconds < 0 };
        clock_gettime( CLOCK_MONOTONIC, &deadline.time );
        PB_INT nanoseconds = deadline.time.tv_nsec + milliseconds % 1000 * 1000000;
        // Nobody waits longer than a hundred years.
        constexpr PB_INT limit = PB_INT{ 100 } * 366 * 86400;
        PB_INT           whole = milliseconds / 1000;
        deadline.time.tv_sec += ( whole < limit ? whole : limit ) + nanoseconds / second;
        deadline.time.tv_nsec = nanoseconds % second;
        return deadline;
    }
    bool passed() const
    {
        timespec now;
        clock_gettime( CLOCK_MONOTONIC, &now );
        return !never && ( now.tv_sec != time.tv_sec ? now.tv_sec > time.tv_sec : now.tv_nsec >= time.tv_nsec );
    }
};

// Something that threads wait for. What they wait for changes under the lock, and the thread that
// changes it wakes them.
class Condition
{
public:
    void wait( Lock &lock, const Deadline &deadline = { {}, true } ) PB_NEEDS( lock ) PB_UNCHECKED
    {
        uint32_t before = changes.load( std::memory_order_relaxed );
        lock.unlock();
        futexWait( changes, before, deadline.never ? nullptr : &deadline.time );
        lock.lock();
    }
    void wakeAll( Lock &lock ) PB_NEEDS( lock )
    {
        (void)lock;
        changes.fetch_add( 1, std::memory_order_relaxed );
        futexWake( changes, INT32_MAX );
    }

private:
    std::atomic<uint32_t> changes{ 0 };
};

// One writer or many readers. While a writer waits, no new reader comes in.
class PB_LOCK_TYPE( "shared lock" ) SharedLock
{
public:
    void lock() PB_TAKES() PB_UNCHECKED { pthread_rwlock_wrlock( &system ); }
    void unlock() PB_GIVES() PB_UNCHECKED { pthread_rwlock_unlock( &system ); }
    void lockShared() PB_TAKES_SHARED() PB_UNCHECKED { pthread_rwlock_rdlock( &system ); }
    void unlockShared() PB_GIVES_SHARED() PB_UNCHECKED { pthread_rwlock_unlock( &system ); }

private:
    pthread_rwlock_t system = PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP;
};

// The identity of the current thread; it is not 0.
inline uintptr_t currentThread() { return (uintptr_t)pthread_self(); }

// The simulation counts here what an assertion triggers.
inline void noteTrigger( const void *, const void * ) {}

// The simulation checks here that the thread holds no internal lock when an object is freed.
inline void checkMayFree() {}

}

#endif

namespace pb::sync
{

// Holds a lock until the end of the block.
class PB_LOCK_GUARD Hold
{
public:
    explicit Hold( Lock &target ) PB_TAKES( target ) : lock( target ) { lock.lock(); }
    ~Hold() PB_GIVES() { lock.unlock(); }
    Hold( const Hold & )            = delete;
    Hold &operator=( const Hold & ) = delete;

private:
    Lock &lock;
};

}
