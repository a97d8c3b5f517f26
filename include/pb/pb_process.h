/* Processes: functions that run on the runtime's threads when they are scheduled. */
#ifndef PB_PB_PROCESS_H
#define PB_PB_PROCESS_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_PROCESS );
/* Any thread may use a PB_PROCESS. */

/* PB_PROCESS_CLASS: which threads run a process. */
typedef enum PB_PROCESS_CLASS
{
    PB_PROCESS_CLASS_ORDINARY   = 0, /* the workers; for short work */
    PB_PROCESS_CLASS_BACKGROUND = 1  /* one thread for all of them, so that long work does not delay ordinary runs */
} PB_PROCESS_CLASS;

PB_BEGIN_DECLS

/* PB_EXECUTOR: lets one of the host's threads call `function( argument )` once, soon. It
   only puts the call into a queue: it does not call the function itself, it calls nothing of these
   libraries, and it does not wait, since the caller may hold locks. A call after the stop of the
   runtime does nothing. */
typedef void ( *PB_EXECUTOR )( void *context, void ( *function )( void *argument ), void *argument );

/* PB_PROCESS_FUNCTION: one run. It gets the object of the process, or null if there is none. It
   must not wait for other runs, and it holds no lock of these libraries when it returns. */
typedef void ( *PB_PROCESS_FUNCTION )( PB_OBJ *obj );

/* pbProcessCreateCstr: a process that has not been scheduled. It holds `obj` (may be null) until it
   has been halted and no run is left. The name is for people; `length` -1 means zero-terminated. */
PB_EXPORT PB_PROCESS *pbProcessCreateCstr(
    PB_PROCESS_FUNCTION function, PB_OBJ *obj, const char *name, PB_INT length, PB_PROCESS_CLASS processClass );
/* pbProcessName: the name, a new reference. */
PB_EXPORT PB_STRING *pbProcessName( PB_PROCESS *process );

/* pbProcessSchedule: asks for a run. If a run is waiting already, that one is enough; if the
   process runs now, it runs once more afterwards. There are never two runs of one process at a
   time, and a run sees everything that was written before the call. A process that waits for its
   run or runs is kept alive. If the process is halted, or the runtime is stopped or stopping,
   nothing happens. May be called while locks are held. */
PB_EXPORT void pbProcessSchedule( PB_PROCESS *process );
/* pbProcessHalt: no run begins after it; a run that waits is taken back. A run that is in progress
   goes on to its end. A second halt does nothing. A run may halt its own process. The object is
   released when no run is left. */
PB_EXPORT void pbProcessHalt( PB_PROCESS *process );
/* pbProcessHalted: whether the process has been halted. Its last run may still be in progress. */
PB_EXPORT PB_BOOL pbProcessHalted( PB_PROCESS *process );

/* pb___ProcessRunInline: runs the process once on the caller's thread. A run that is waiting is
   taken over. What is scheduled meanwhile runs afterwards. A halted process does not run. Aborts if
   the process runs now ("!isRunning"), and if the runtime is stopped ("!stopped"); while the
   runtime stops it is allowed until the shut-down hooks, which wait for it. */
PB_EXPORT void pb___ProcessRunInline( PB_PROCESS *process );
/* pb___ProcessEnded: whether the process has been halted, no run is left, and its object has been
   released. */
PB_EXPORT PB_BOOL pb___ProcessEnded( PB_PROCESS *process );
/* pb___ProcessEndWait: waits until the process has ended. False if the runtime stops before that.
   Aborts inside a run ("!insideRun") and while the thread holds a lock ("!holdsLock"). */
PB_EXPORT PB_BOOL pb___ProcessEndWait( PB_PROCESS *process );

/* pbProcessSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A process equals only itself. */
PB_EXPORT const PB_SORT *pbProcessSort( void );
PB_EXPORT PB_OBJ        *pbProcessObj( PB_PROCESS *obj );
PB_EXPORT PB_PROCESS    *pbProcessFrom( PB_OBJ *obj );
PB_EXPORT PB_PROCESS    *pbProcessRetain( PB_PROCESS *obj );
PB_EXPORT void           pbProcessRelease( PB_PROCESS *obj );
PB_EXPORT PB_INT         pbProcessCompare( PB_PROCESS *objA, PB_PROCESS *objB );
PB_EXPORT PB_BOOL        pbProcessEquals( PB_PROCESS *objA, PB_PROCESS *objB );
PB_EXPORT PB_STRING     *pbProcessToString( PB_PROCESS *obj );

PB_END_DECLS

#endif
