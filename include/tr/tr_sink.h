/* Trace sinks: where traces go. */
#ifndef TR_TR_SINK_H
#define TR_TR_SINK_H

#include <pb/pb_obj.h>
#include <pb/pb_string.h>
#include <pb/pb_vector.h>

PB_OBJECT_TYPE( TR_SINK );
/* Any thread may use a TR_SINK. */

/* TR_SINKS_MAX: the most sinks that are attached at a time. */
#define TR_SINKS_MAX ( (PB_INT)16 )
/* TR_SINK_PENDING_MAX: the most bytes of text that a sink for JSON Lines holds before they are
   written. */
#define TR_SINK_PENDING_MAX ( (PB_INT)1 << 20 )

PB_BEGIN_DECLS

/* TR_SINK_WRITE: writes text of a sink for JSON Lines, whole lines of UTF-8 with a line feed at the
   end of each. False if that is not possible; then these lines count as dropped. It is called by
   one thread at a time and without a lock of these libraries. It may take its time, but it must not
   trace, and it must not call the functions of this header. */
typedef PB_BOOL ( *TR_SINK_WRITE )( void *context, const char *text, PB_INT length );

/* Every trace is an event, and every event is a keyed store with these members:

       time    when it was traced, as "2026-07-21T13:01:14.250Z"
       stream  the number of the stream
       name    the name of the stream
       event   "text", "notable", "configuration", "property", "propertyDeleted" or "link"
       text    of a text: the text
       key     of a property: its key
       value   of a property: a string, a boolean or a store; of a configuration: a store
       kind    of a link: the kind of the anchor
       otherStream, otherName   of a link: the number and the name of the stream that it leads to

   A member that does not belong to the event is not there. The events of one thread have the order
   in which it traced them. */

/* trSinkCreateMemory: a sink that keeps every event, without a bound. */
PB_EXPORT TR_SINK *trSinkCreateMemory( void );
/* trSinkCreateRing: a sink that keeps the last `capacity` events, at least 1. If it is full, each
   new event drops the oldest one. */
PB_EXPORT TR_SINK *trSinkCreateRing( PB_INT capacity );
/* trSinkTryCreateJsonLines: a sink that appends each event to a file, as one line of JSON. If there
   is no such file, it is made, and only its owner can read it. Null if it cannot be opened or is
   not a regular file, or if the path holds U+0000. The text goes through a memory of
   TR_SINK_PENDING_MAX bytes, which a background process writes to the file. If that memory is full,
   or the file cannot be written, events are dropped; then a line with the members "time", "event"
   ("dropped") and "count" follows later. */
PB_EXPORT TR_SINK *trSinkTryCreateJsonLines( PB_STRING *path );
/* trSinkCreateJsonLinesWriter: the same with a function that writes the text; `context` is handed
   to each call. It is called until the sink is detached, and possibly once more while the process
   ends after a broken contract; then it must not wait for other threads. */
PB_EXPORT TR_SINK *trSinkCreateJsonLinesWriter( TR_SINK_WRITE write, void *context );

/* trSinkAttach: from now on the sink gets events, and it is kept until it is detached. False if the
   runtime is not started with the module `tr`, or if TR_SINKS_MAX sinks are attached. If the sink
   is attached already, nothing happens. The stop of the runtime detaches all sinks, after the last
   run. */
PB_EXPORT PB_BOOL trSinkAttach( TR_SINK *sink );
/* trSinkDetach: the sink gets no more events. It keeps what it has, and it can be attached again.
   Text that is not written yet is written first, so this may take time: call it without locks. If
   the sink is not attached, nothing happens. */
PB_EXPORT void trSinkDetach( TR_SINK *sink );
/* trSinkFlush: writes the text that a sink for JSON Lines holds, before it returns. */
PB_EXPORT void trSinkFlush( TR_SINK *sink );

/* trSinkEvents: the events that a sink in memory or a ring holds, a new vector of stores, oldest
   first. A sink for JSON Lines holds none. */
PB_EXPORT PB_VECTOR *trSinkEvents( TR_SINK *sink );
/* trSinkTakeEvents: the same, and the sink holds them no longer. */
PB_EXPORT PB_VECTOR *trSinkTakeEvents( TR_SINK *sink );
/* trSinkDropped: the number of events that were dropped since the sink was made. */
PB_EXPORT PB_INT trSinkDropped( TR_SINK *sink );

/* trSinkSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A sink equals only itself. */
PB_EXPORT const PB_SORT *trSinkSort( void );
PB_EXPORT PB_OBJ        *trSinkObj( TR_SINK *obj );
PB_EXPORT TR_SINK       *trSinkFrom( PB_OBJ *obj );
PB_EXPORT TR_SINK       *trSinkRetain( TR_SINK *obj );
PB_EXPORT void           trSinkRelease( TR_SINK *obj );
PB_EXPORT PB_INT         trSinkCompare( TR_SINK *objA, TR_SINK *objB );
PB_EXPORT PB_BOOL        trSinkEquals( TR_SINK *objA, TR_SINK *objB );
PB_EXPORT PB_STRING     *trSinkToString( TR_SINK *obj );

PB_END_DECLS

#endif
