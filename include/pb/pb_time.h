/* UTC dates and times, to the millisecond. */
#ifndef PB_PB_TIME_H
#define PB_PB_TIME_H

#include <pb/pb_obj.h>

#include <time.h>

PB_OBJECT_TYPE( PB_TIME );
/* A PB_TIME never changes, so many threads may use it at once. */

PB_BEGIN_DECLS

/* pbTimeFieldsOk: whether a time may have these values: year 0 to 9999, month 1 to 12, day 1 to 31
   in any month, hour 0 to 23, minute 0 to 59, second 0 to 61 (leap seconds), millisecond 0 to
   999. */
PB_EXPORT PB_BOOL pbTimeFieldsOk( PB_INT year, PB_INT month, PB_INT day, PB_INT hour, PB_INT minute, PB_INT second, PB_INT millisecond );
/* pbTimeCreate: a time; values for which pbTimeFieldsOk is false abort. */
PB_EXPORT PB_TIME *pbTimeCreate( PB_INT year, PB_INT month, PB_INT day, PB_INT hour, PB_INT minute, PB_INT second, PB_INT millisecond );
/* pbTimeNow: the time of the system clock, or of the manual clock of pb___ClockSetManual. */
PB_EXPORT PB_TIME *pbTimeNow( void );
/* pbTimeTryCreateFromTimeT: from seconds since 1970-01-01 UTC, without leap seconds; null outside
   the years 0 to 9999. */
PB_EXPORT PB_TIME *pbTimeTryCreateFromTimeT( time_t seconds );
/* pbTimeTryCreateFromString: takes only 2026-07-21T13:01:14Z and 2026-07-21T13:01:14.250Z (RFC 3339
   with capital letters, UTC, no fraction or three digits other than 000). Everything else gives
   null. */
PB_EXPORT PB_TIME *pbTimeTryCreateFromString( PB_STRING *text );
/* pbTimeTryConvertToTimeT: seconds since 1970-01-01 UTC; false if the month does not have the day.
   The seconds 60 and 61 belong to the next minute; milliseconds are dropped, so the result is never
   later than the time. */
PB_EXPORT PB_BOOL pbTimeTryConvertToTimeT( PB_TIME *tm, time_t *seconds );
/* pbTimeShiftDays: the time `days` days of 86,400 seconds later (earlier if negative). Null outside
   the years 0 to 9999, or if the month does not have the day. */
PB_EXPORT PB_TIME *pbTimeShiftDays( PB_TIME *tm, PB_INT days );

/* pbTimeYear, pbTimeMonth, pbTimeDay, pbTimeHour, pbTimeMinute, pbTimeSecond, pbTimeMillisecond:
   the fields; null aborts ("tm"). */
PB_EXPORT PB_INT pbTimeYear( PB_TIME *tm );
PB_EXPORT PB_INT pbTimeMonth( PB_TIME *tm );
PB_EXPORT PB_INT pbTimeDay( PB_TIME *tm );
PB_EXPORT PB_INT pbTimeHour( PB_TIME *tm );
PB_EXPORT PB_INT pbTimeMinute( PB_TIME *tm );
PB_EXPORT PB_INT pbTimeSecond( PB_TIME *tm );
PB_EXPORT PB_INT pbTimeMillisecond( PB_TIME *tm );

/* pbTimeSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare puts the earlier time first and compares field by field. ToString
   gives the form that pbTimeTryCreateFromString takes, with a fraction if the milliseconds are not
   0. */
PB_EXPORT const PB_SORT *pbTimeSort( void );
PB_EXPORT PB_OBJ        *pbTimeObj( PB_TIME *obj );
PB_EXPORT PB_TIME       *pbTimeFrom( PB_OBJ *obj );
PB_EXPORT PB_TIME       *pbTimeRetain( PB_TIME *obj );
PB_EXPORT void           pbTimeRelease( PB_TIME *obj );
PB_EXPORT PB_INT         pbTimeCompare( PB_TIME *objA, PB_TIME *objB );
PB_EXPORT PB_BOOL        pbTimeEquals( PB_TIME *objA, PB_TIME *objB );
PB_EXPORT PB_STRING     *pbTimeToString( PB_TIME *obj );

PB_END_DECLS

#endif
