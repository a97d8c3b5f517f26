/* Monitors and regions: the locks that modules use. */
#ifndef PB_PB_LOCKS_H
#define PB_PB_LOCKS_H

#include <pb/pb_obj.h>
#include <pb/pb_thread_safety.h>

struct PB_LOCK_TYPE( "monitor" ) PB_MONITOR;
struct PB_LOCK_TYPE( "region" ) PB_REGION;
PB_OBJECT_TYPE( PB_MONITOR );
/* PB_MONITOR: one thread at a time may be in it. */
PB_OBJECT_TYPE( PB_REGION );
/* PB_REGION: one thread may be in it exclusively, or any number may share it. While a thread waits
   for exclusive use, nobody else comes in. */

PB_BEGIN_DECLS

/* Neither is recursive: a thread that is in a monitor or region, shared or not, must not enter it
   again. If it does so, a monitor, and a region that it has exclusively, abort ("!entered"); a
   shared region may wait for ever. While a thread is in a monitor or region, objects whose last
   reference it releases are freed later: at the moment in which it leaves the last one. The order
   of the locks is in docs/locking.md. */

/* pbMonitorCreate: a monitor that nobody is in. */
PB_EXPORT PB_MONITOR *pbMonitorCreate( void );
/* pbMonitorEnter: waits until nobody is in the monitor, and enters it. */
PB_EXPORT void pbMonitorEnter( PB_MONITOR *monitor ) PB_TAKES( *monitor );
/* pbMonitorLeave: aborts if the thread is not in the monitor ("entered"). */
PB_EXPORT void pbMonitorLeave( PB_MONITOR *monitor ) PB_GIVES( *monitor );

/* pbRegionCreate: a region that nobody is in. */
PB_EXPORT PB_REGION *pbRegionCreate( void );
/* pbRegionEnterShared: waits until nobody has or wants the region exclusively, and enters it. */
PB_EXPORT void pbRegionEnterShared( PB_REGION *region ) PB_TAKES_SHARED( *region );
/* pbRegionLeaveShared: ends what pbRegionEnterShared began. */
PB_EXPORT void pbRegionLeaveShared( PB_REGION *region ) PB_GIVES_SHARED( *region );
/* pbRegionEnterExclusive: waits until nobody is in the region, and enters it alone. */
PB_EXPORT void pbRegionEnterExclusive( PB_REGION *region ) PB_TAKES( *region );
/* pbRegionLeaveExclusive: aborts if the thread does not have the region exclusively
   ("entered"). */
PB_EXPORT void pbRegionLeaveExclusive( PB_REGION *region ) PB_GIVES( *region );

/* pb___GateEnter: for functions that free module-wide things may call at any time, also after the
   stop. True if the modules have not begun to shut down; then they do not begin before
   pb___GateLeave. The gate counts as a lock. Do not enter it twice. */
PB_EXPORT PB_BOOL pb___GateEnter( void );
/* pb___GateLeave: ends a successful pb___GateEnter. */
PB_EXPORT void pb___GateLeave( void );

/* pbMonitorSort/Obj/From/Retain/Release/Compare/Equals/ToString and
   pbRegionSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A lock equals only itself. */
PB_EXPORT const PB_SORT *pbMonitorSort( void );
PB_EXPORT PB_OBJ        *pbMonitorObj( PB_MONITOR *obj );
PB_EXPORT PB_MONITOR    *pbMonitorFrom( PB_OBJ *obj );
PB_EXPORT PB_MONITOR    *pbMonitorRetain( PB_MONITOR *obj );
PB_EXPORT void           pbMonitorRelease( PB_MONITOR *obj );
PB_EXPORT PB_INT         pbMonitorCompare( PB_MONITOR *objA, PB_MONITOR *objB );
PB_EXPORT PB_BOOL        pbMonitorEquals( PB_MONITOR *objA, PB_MONITOR *objB );
PB_EXPORT PB_STRING     *pbMonitorToString( PB_MONITOR *obj );
PB_EXPORT const PB_SORT *pbRegionSort( void );
PB_EXPORT PB_OBJ        *pbRegionObj( PB_REGION *obj );
PB_EXPORT PB_REGION     *pbRegionFrom( PB_OBJ *obj );
PB_EXPORT PB_REGION     *pbRegionRetain( PB_REGION *obj );
PB_EXPORT void           pbRegionRelease( PB_REGION *obj );
PB_EXPORT PB_INT         pbRegionCompare( PB_REGION *objA, PB_REGION *objB );
PB_EXPORT PB_BOOL        pbRegionEquals( PB_REGION *objA, PB_REGION *objB );
PB_EXPORT PB_STRING     *pbRegionToString( PB_REGION *obj );

PB_END_DECLS

#endif
