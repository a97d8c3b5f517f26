/* Line sources: characters split into lines. */
#ifndef PB_PB_LINE_SOURCE_H
#define PB_PB_LINE_SOURCE_H

#include <pb/pb_charset.h>
#include <pb/pb_vector.h>

PB_OBJECT_TYPE( PB_LINE_SOURCE );
/* Only one thread at a time may use a PB_LINE_SOURCE, also for reading. */

PB_BEGIN_DECLS

/* pbNlfLineSourceCreate: lines that end with LF, CR LF, CR or NEL (U+0085), or with the text.
   `limit` is the expected largest number of characters in a line; a longer line is given in one
   piece too. A `limit` below 1 aborts. */
PB_EXPORT PB_LINE_SOURCE *pbNlfLineSourceCreate( PB_CHAR_SOURCE *characters, PB_INT limit );
/* pbLineSourceTryReadLine: the next line without its end, a new string. Null at the end of the text
   and after an error. */
PB_EXPORT PB_STRING *pbLineSourceTryReadLine( PB_LINE_SOURCE *ls );
/* pbLineSourceReadLines: a new vector of the next lines, at most `max`. */
PB_EXPORT PB_VECTOR *pbLineSourceReadLines( PB_LINE_SOURCE *ls, PB_INT max );
/* pbLineSourceError: whether the characters could not be read. */
PB_EXPORT PB_BOOL pbLineSourceError( PB_LINE_SOURCE *ls );

/* pbLineSourceSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT  *pbLineSourceSort( void );
PB_EXPORT PB_OBJ         *pbLineSourceObj( PB_LINE_SOURCE *obj );
PB_EXPORT PB_LINE_SOURCE *pbLineSourceFrom( PB_OBJ *obj );
PB_EXPORT PB_LINE_SOURCE *pbLineSourceRetain( PB_LINE_SOURCE *obj );
PB_EXPORT void            pbLineSourceRelease( PB_LINE_SOURCE *obj );
PB_EXPORT PB_INT          pbLineSourceCompare( PB_LINE_SOURCE *objA, PB_LINE_SOURCE *objB );
PB_EXPORT PB_BOOL         pbLineSourceEquals( PB_LINE_SOURCE *objA, PB_LINE_SOURCE *objB );
PB_EXPORT PB_STRING      *pbLineSourceToString( PB_LINE_SOURCE *obj );

PB_END_DECLS

#endif
