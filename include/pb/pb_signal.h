/* Signals: events that happen once, and what they wake. */
#ifndef PB_PB_SIGNAL_H
#define PB_PB_SIGNAL_H

#include <pb/pb_process.h>

PB_OBJECT_TYPE( PB_SIGNAL );
/* Any thread may use a PB_SIGNAL. */
PB_OBJECT_TYPE( PB_SIGNALABLE );
/* A PB_SIGNALABLE cannot change; any thread may use it. */

PB_BEGIN_DECLS

/* pbSignalCreate: a signal that is not asserted. */
PB_EXPORT PB_SIGNAL *pbSignalCreate( void );
/* pbSignalAssert: asserts the signal for ever. The first assertion triggers all that was added, in
   the order of the additions, and then releases it; further assertions do nothing. If two threads
   assert, one may return before the other has triggered everything. A trigger only schedules a
   process or asserts another signal, so this function may be called while locks are held. Chains
   of signals may have any length and may be cycles. */
PB_EXPORT void pbSignalAssert( PB_SIGNAL *signal );
/* pbSignalAsserted: whether the signal has been asserted. */
PB_EXPORT PB_BOOL pbSignalAsserted( PB_SIGNAL *signal );

/* pbSignalAddSignalable: adds a signalable, which the signal holds until it is asserted or the
   signalable is deleted. It is held once, also if it is added again. If the signal is asserted
   already, the signalable is triggered at once and not held. */
PB_EXPORT void pbSignalAddSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *sigb );
/* pbSignalDelSignalable: deletes a signalable; if it is not there, nothing happens. A trigger that
   another thread has begun may still arrive afterwards. */
PB_EXPORT void pbSignalDelSignalable( PB_SIGNAL *signal, PB_SIGNALABLE *sigb );
/* pbSignalAddSignal, pbSignalDelSignal: the same with another signal, which is then asserted
   together with this one. */
PB_EXPORT void pbSignalAddSignal( PB_SIGNAL *signal, PB_SIGNAL *other );
PB_EXPORT void pbSignalDelSignal( PB_SIGNAL *signal, PB_SIGNAL *other );
/* pb___SignalLength: the number of signalables and signals that it holds; for tests. */
PB_EXPORT PB_INT pb___SignalLength( PB_SIGNAL *signal );

/* pbSignalWait: waits until the signal is asserted, but not longer than `timeoutMs` milliseconds of
   real time; below zero means without a limit. False if the time is over or the runtime stops.
   Aborts inside a run ("!insideRun") and while the thread holds a lock ("!holdsLock"). */
PB_EXPORT PB_BOOL pbSignalWait( PB_SIGNAL *signal, PB_INT timeoutMs );

/* pbSignalableCreateProcess: a signalable that schedules a process. */
PB_EXPORT PB_SIGNALABLE *pbSignalableCreateProcess( PB_PROCESS *process );
/* pbSignalableCreateSignal: a signalable that asserts a signal. */
PB_EXPORT PB_SIGNALABLE *pbSignalableCreateSignal( PB_SIGNAL *signal );
/* pbSignalableTrigger: schedules the process or asserts the signal. */
PB_EXPORT void pbSignalableTrigger( PB_SIGNALABLE *sigb );

/* pbSignalSort/Obj/From/Retain/Release/Compare/Equals/ToString and
   pbSignalableSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A signal and a signalable equal only themselves. */
PB_EXPORT const PB_SORT *pbSignalSort( void );
PB_EXPORT PB_OBJ        *pbSignalObj( PB_SIGNAL *obj );
PB_EXPORT PB_SIGNAL     *pbSignalFrom( PB_OBJ *obj );
PB_EXPORT PB_SIGNAL     *pbSignalRetain( PB_SIGNAL *obj );
PB_EXPORT void           pbSignalRelease( PB_SIGNAL *obj );
PB_EXPORT PB_INT         pbSignalCompare( PB_SIGNAL *objA, PB_SIGNAL *objB );
PB_EXPORT PB_BOOL        pbSignalEquals( PB_SIGNAL *objA, PB_SIGNAL *objB );
PB_EXPORT PB_STRING     *pbSignalToString( PB_SIGNAL *obj );
PB_EXPORT const PB_SORT *pbSignalableSort( void );
PB_EXPORT PB_OBJ        *pbSignalableObj( PB_SIGNALABLE *obj );
PB_EXPORT PB_SIGNALABLE *pbSignalableFrom( PB_OBJ *obj );
PB_EXPORT PB_SIGNALABLE *pbSignalableRetain( PB_SIGNALABLE *obj );
PB_EXPORT void           pbSignalableRelease( PB_SIGNALABLE *obj );
PB_EXPORT PB_INT         pbSignalableCompare( PB_SIGNALABLE *objA, PB_SIGNALABLE *objB );
PB_EXPORT PB_BOOL        pbSignalableEquals( PB_SIGNALABLE *objA, PB_SIGNALABLE *objB );
PB_EXPORT PB_STRING     *pbSignalableToString( PB_SIGNALABLE *obj );

PB_END_DECLS

#endif
