// Guards that hold a lock until the end of a block, or leave it meanwhile. C++ only.
#pragma once

#include <pb/pb_locks.h>

#include <pthread.h>

namespace pb
{

class PB_LOCK_GUARD InMonitor
{
public:
    explicit InMonitor( PB_MONITOR *target ) PB_TAKES( *target ) : monitor( target ) { pbMonitorEnter( monitor ); }
    ~InMonitor() PB_GIVES() { pbMonitorLeave( monitor ); }
    InMonitor( const InMonitor & )            = delete;
    InMonitor &operator=( const InMonitor & ) = delete;

private:
    PB_MONITOR *monitor;
};

class PB_LOCK_GUARD InRegionShared
{
public:
    explicit InRegionShared( PB_REGION *target ) PB_TAKES_SHARED( *target ) : region( target ) { pbRegionEnterShared( region ); }
    ~InRegionShared() PB_GIVES_ANY() { pbRegionLeaveShared( region ); }
    InRegionShared( const InRegionShared & )            = delete;
    InRegionShared &operator=( const InRegionShared & ) = delete;

private:
    PB_REGION *region;
};

class PB_LOCK_GUARD InRegion
{
public:
    explicit InRegion( PB_REGION *target ) PB_TAKES( *target ) : region( target ) { pbRegionEnterExclusive( region ); }
    ~InRegion() PB_GIVES() { pbRegionLeaveExclusive( region ); }
    InRegion( const InRegion & )            = delete;
    InRegion &operator=( const InRegion & ) = delete;

private:
    PB_REGION *region;
};

// OutOfMonitor, OutOfRegion: leave a lock that the thread has, for slow work; the end of the block
// takes it again. What the lock guards may have changed meanwhile. (To the analysis, a destructor
// that "gives" undoes what the constructor did.)
class PB_LOCK_GUARD OutOfMonitor
{
public:
    explicit OutOfMonitor( PB_MONITOR *target ) PB_GIVES( *target ) : monitor( target ) { pbMonitorLeave( monitor ); }
    ~OutOfMonitor() PB_GIVES() { pbMonitorEnter( monitor ); }
    OutOfMonitor( const OutOfMonitor & )            = delete;
    OutOfMonitor &operator=( const OutOfMonitor & ) = delete;

private:
    PB_MONITOR *monitor;
};

class PB_LOCK_GUARD OutOfRegion
{
public:
    explicit OutOfRegion( PB_REGION *target ) PB_GIVES( *target ) : region( target ) { pbRegionLeaveExclusive( region ); }
    ~OutOfRegion() PB_GIVES() { pbRegionEnterExclusive( region ); }
    OutOfRegion( const OutOfRegion & )            = delete;
    OutOfRegion &operator=( const OutOfRegion & ) = delete;

private:
    PB_REGION *region;
};

// A lock that is there before the first start and after the last stop, so a free function may take
// it. The runtime does not know who holds it: an object that is released meanwhile is freed at
// once.
class PB_LOCK_TYPE( "lock" ) PlainLock
{
public:
    void lock() PB_TAKES() PB_UNCHECKED { pthread_mutex_lock( &system ); }
    void unlock() PB_GIVES() PB_UNCHECKED { pthread_mutex_unlock( &system ); }
    // False if any thread has the lock, this one too.
    bool tryLock() PB_THREAD_SAFETY( try_acquire_capability( true ) ) PB_UNCHECKED { return pthread_mutex_trylock( &system ) == 0; }

private:
    pthread_mutex_t system = PTHREAD_MUTEX_INITIALIZER;
};

class PB_LOCK_GUARD InPlainLock
{
public:
    explicit InPlainLock( PlainLock &target ) PB_TAKES( target ) : lock( target ) { lock.lock(); }
    ~InPlainLock() PB_GIVES() { lock.unlock(); }
    InPlainLock( const InPlainLock & )            = delete;
    InPlainLock &operator=( const InPlainLock & ) = delete;

private:
    PlainLock &lock;
};

}
