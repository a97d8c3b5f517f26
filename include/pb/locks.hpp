// Guards that hold a monitor or a region until the end of a block. C++ only.
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

}
