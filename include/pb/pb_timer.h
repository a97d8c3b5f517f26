/* Timers, which schedule a process after a time, and the clock that they follow. */
#ifndef PB_PB_TIMER_H
#define PB_PB_TIMER_H

#include <pb/pb_process.h>

PB_OBJECT_TYPE( PB_TIMER );
/* Any thread may use a PB_TIMER. */

PB_BEGIN_DECLS

/* pbTimerCreateProcess: a timer that schedules `process`, not scheduled yet. The timer holds the
   process. Nothing else holds the timer: if its last reference is released, it does not fire. */
PB_EXPORT PB_TIMER *pbTimerCreateProcess( PB_PROCESS *process );
/* pbTimerSchedule: fires once after `milliseconds`; below zero aborts ("milliseconds >= 0"). The
   time in which the machine is suspended counts. If the timer is scheduled already, it begins again
   from now. Timers with the same time fire in the order in which they were scheduled. If the
   process is halted, or the runtime is stopped, the timer stays scheduled and never fires. */
PB_EXPORT void pbTimerSchedule( PB_TIMER *timer, PB_INT milliseconds );
/* pbTimerUnschedule: takes the schedule back. A firing that another thread has begun may still
   schedule the process afterwards. */
PB_EXPORT void pbTimerUnschedule( PB_TIMER *timer );
/* pbTimerScheduled: whether the timer is scheduled. It is no longer scheduled before it schedules
   its process. */
PB_EXPORT PB_BOOL pbTimerScheduled( PB_TIMER *timer );

/* pb___ClockSetManual: for tests. True stops the clock at the present time; it then goes on only
   through pb___ClockAdvance. False makes the clock follow the system again. Timers and pbTimeNow
   follow the clock; limits of waits do not. */
PB_EXPORT void pb___ClockSetManual( PB_BOOL manual );
/* pb___ClockAdvance: moves the manual clock on and fires, on this thread, the timers whose time has
   come, each at its own time. Aborts if the clock is not manual ("manual"). */
PB_EXPORT void pb___ClockAdvance( PB_INT milliseconds );
/* pb___ClockArmedTimers: the number of timers that will fire; for tests. */
PB_EXPORT PB_INT pb___ClockArmedTimers( void );

/* pbTimerSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A timer equals only itself. */
PB_EXPORT const PB_SORT *pbTimerSort( void );
PB_EXPORT PB_OBJ        *pbTimerObj( PB_TIMER *obj );
PB_EXPORT PB_TIMER      *pbTimerFrom( PB_OBJ *obj );
PB_EXPORT PB_TIMER      *pbTimerRetain( PB_TIMER *obj );
PB_EXPORT void           pbTimerRelease( PB_TIMER *obj );
PB_EXPORT PB_INT         pbTimerCompare( PB_TIMER *objA, PB_TIMER *objB );
PB_EXPORT PB_BOOL        pbTimerEquals( PB_TIMER *objA, PB_TIMER *objB );
PB_EXPORT PB_STRING     *pbTimerToString( PB_TIMER *obj );

PB_END_DECLS

#endif
