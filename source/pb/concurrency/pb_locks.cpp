#include <pb/pb_locks.h>
#include <pb/sort.hpp>

#include "base/pb_sync.hpp"
#include "objects/pb_obj_free.hpp"

struct PB_LOCK_TYPE( "monitor" ) PB_MONITOR : PB_OBJ
{
    pb::sync::MonitorLock  lock;
    std::atomic<uintptr_t> owner;
};

struct PB_LOCK_TYPE( "region" ) PB_REGION : PB_OBJ
{
    pb::sync::SharedLock   lock;
    std::atomic<uintptr_t> owner; // the thread that has it exclusively
};

PB_SORT_DEFINE( pb, Monitor, PB_MONITOR )
PB_SORT_DEFINE( pb, Region, PB_REGION )

// Only the thread that is in the lock finds itself there, so these loads and stores need no order.
template<class Lock>
static bool hasEntered( const Lock *lock )
{
    return lock->owner.load( std::memory_order_relaxed ) == pb::sync::currentThread();
}

template<class Lock>
static void setOwner( Lock *lock, uintptr_t owner )
{
    lock->owner.store( owner, std::memory_order_relaxed );
}

PB_MONITOR *pbMonitorCreate() { return pb::create<PB_MONITOR>(); }

void pbMonitorEnter( PB_MONITOR *monitor ) PB_UNCHECKED
{
    PB_CHECK( monitor );
    bool entered = hasEntered( monitor );
    PB_CHECK( !entered );
    monitor->lock.lock();
    setOwner( monitor, pb::sync::currentThread() );
    pb::enterLock();
}

void pbMonitorLeave( PB_MONITOR *monitor ) PB_UNCHECKED
{
    PB_CHECK( monitor );
    bool entered = hasEntered( monitor );
    PB_CHECK( entered );
    setOwner( monitor, 0 );
    monitor->lock.unlock();
    pb::leaveLock();
}

PB_REGION *pbRegionCreate() { return pb::create<PB_REGION>(); }

void pbRegionEnterShared( PB_REGION *region ) PB_UNCHECKED
{
    PB_CHECK( region );
    bool entered = hasEntered( region );
    PB_CHECK( !entered );
    region->lock.lockShared();
    pb::enterLock();
}

void pbRegionLeaveShared( PB_REGION *region ) PB_UNCHECKED
{
    PB_CHECK( region );
    region->lock.unlockShared();
    pb::leaveLock();
}

void pbRegionEnterExclusive( PB_REGION *region ) PB_UNCHECKED
{
    PB_CHECK( region );
    bool entered = hasEntered( region );
    PB_CHECK( !entered );
    region->lock.lock();
    setOwner( region, pb::sync::currentThread() );
    pb::enterLock();
}

void pbRegionLeaveExclusive( PB_REGION *region ) PB_UNCHECKED
{
    PB_CHECK( region );
    bool entered = hasEntered( region );
    PB_CHECK( entered );
    setOwner( region, 0 );
    region->lock.unlock();
    pb::leaveLock();
}
