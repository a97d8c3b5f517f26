// Guards that hold a monitor or a region until the end of a block, or leave it meanwhile. C++ only.
#pragma once

#include <pb/pb_locks.h>

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
// takes it again. What the lock guards may have changed meanwhile. (To the analysis, a destructor that
// "gives" undoes what the constructor did.)
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

}
