/* Byte sources: bytes that are read once, from front to end. */
#ifndef PB_PB_BYTE_SOURCE_H
#define PB_PB_BYTE_SOURCE_H

#include <pb/pb_buffer.h>
#include <pb/pb_header.h>
#include <pb/pb_string.h>

PB_OBJECT_TYPE( PB_BYTE_SOURCE );
/* Only one thread at a time may use a PB_BYTE_SOURCE, also for reading. */

PB_BEGIN_DECLS

/* PB_BYTE_SOURCE_READ: puts up to `max` bytes at `to` and returns their number; 0 means the end and
   -1 an error. */
typedef PB_INT ( *PB_BYTE_SOURCE_READ )( void *closure, PB_BYTE *to, PB_INT max );

/* pbBufferByteSourceCreate: reads the bytes of a buffer and holds the buffer; null aborts ("buf").
   */
PB_EXPORT PB_BYTE_SOURCE *pbBufferByteSourceCreate( PB_BUFFER *buf );
/* pbCallbackByteSourceCreate: reads through `read`. When the source is freed, `release` (may be
   null) is called with `closure`. */
PB_EXPORT PB_BYTE_SOURCE *pbCallbackByteSourceCreate( PB_BYTE_SOURCE_READ read, void ( *release )( void *closure ), void *closure );
/* pbFileByteSourceTryCreate: reads a file, a pipe or a device. Null if it cannot be opened or is a
   directory, or if the path holds U+0000. It blocks if the opening of a pipe blocks. */
PB_EXPORT PB_BYTE_SOURCE *pbFileByteSourceTryCreate( PB_STRING *path );

/* pbHeaderByteSourceCreate: reads the header of a stream (pb_header.h) from a source at once, and
   then gives the body. It never reads behind the header before the body is asked for. If the stream
   has no good header (another mark, a length of more than PB_HEADER_BYTES_MAX, an end or an error
   too early, or a text for which pb___HeaderTryDecode gives null), the new source has an error from
   the start. It takes memory as bytes arrive, however long the header claims to be. */
PB_EXPORT PB_BYTE_SOURCE *pbHeaderByteSourceCreate( PB_BYTE_SOURCE *source );
/* pbHeaderByteSourceHeader: the header, a new reference, or null if the stream has no good one.
   Aborts for a source of another kind ("source->under"). */
PB_EXPORT PB_HEADER *pbHeaderByteSourceHeader( PB_BYTE_SOURCE *source );

/* pbByteSourceRead: appends up to `max` bytes to a buffer and returns their number; 0 at the end
   and after an error. It blocks if the callback blocks. */
PB_EXPORT PB_INT pbByteSourceRead( PB_BYTE_SOURCE *source, PB_BUFFER **buf, PB_INT max );
/* pbByteSourceEnd: whether a read has reached the end. */
PB_EXPORT PB_BOOL pbByteSourceEnd( PB_BYTE_SOURCE *source );
/* pbByteSourceError: whether a read has failed; after that the source gives no more bytes. */
PB_EXPORT PB_BOOL pbByteSourceError( PB_BYTE_SOURCE *source );

/* pbByteSourceSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT  *pbByteSourceSort( void );
PB_EXPORT PB_OBJ         *pbByteSourceObj( PB_BYTE_SOURCE *obj );
PB_EXPORT PB_BYTE_SOURCE *pbByteSourceFrom( PB_OBJ *obj );
PB_EXPORT PB_BYTE_SOURCE *pbByteSourceRetain( PB_BYTE_SOURCE *obj );
PB_EXPORT void            pbByteSourceRelease( PB_BYTE_SOURCE *obj );
PB_EXPORT PB_INT          pbByteSourceCompare( PB_BYTE_SOURCE *objA, PB_BYTE_SOURCE *objB );
PB_EXPORT PB_BOOL         pbByteSourceEquals( PB_BYTE_SOURCE *objA, PB_BYTE_SOURCE *objB );
PB_EXPORT PB_STRING      *pbByteSourceToString( PB_BYTE_SOURCE *obj );

PB_END_DECLS

#endif
