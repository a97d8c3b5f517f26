/* Byte sinks: they take bytes, from front to end. */
#ifndef PB_PB_BYTE_SINK_H
#define PB_PB_BYTE_SINK_H

#include <pb/pb_buffer.h>
#include <pb/pb_header.h>
#include <pb/pb_string.h>

PB_OBJECT_TYPE( PB_BYTE_SINK );
/* Only one thread at a time may use a PB_BYTE_SINK, also for reading its state. */

PB_BEGIN_DECLS

/* PB_BYTE_SINK_WRITE: takes all bytes of a buffer; false if that fails. */
typedef PB_BOOL ( *PB_BYTE_SINK_WRITE )( void *closure, PB_BUFFER *buf );
/* PB_BYTE_SINK_FLUSH: passes on what the sink has kept back; false if that fails. */
typedef PB_BOOL ( *PB_BYTE_SINK_FLUSH )( void *closure );

/* pbBufferByteSinkCreate: collects the bytes in a buffer. */
PB_EXPORT PB_BYTE_SINK *pbBufferByteSinkCreate( void );
/* pbBufferByteSinkBuffer: the bytes that a sink of pbBufferByteSinkCreate has collected until now;
   for another sink it aborts ("sink->buffer"). It is sensitive if one of the buffers that were
   written is. */
PB_EXPORT PB_BUFFER *pbBufferByteSinkBuffer( PB_BYTE_SINK *sink );
/* pbCallbackByteSinkCreate: writes through `write`. `flush` may be null. When the sink is freed,
   `release` (may be null) is called with `closure`. */
PB_EXPORT PB_BYTE_SINK *pbCallbackByteSinkCreate(
    PB_BYTE_SINK_WRITE write, PB_BYTE_SINK_FLUSH flush, void ( *release )( void *closure ), void *closure );
/* pbFileByteSinkTryCreate: writes into a new file that only its owner can read, or into the file
   that is there, which is emptied and also made readable for its owner only; pipes and devices are
   allowed. A flush puts the content on the disk. If the process is killed, the file has only a part
   of the content; pbPathFileWriteBuffer does not have this weakness. Null if the file cannot be
   opened, or if the path holds U+0000. It blocks if the opening of a pipe blocks. */
PB_EXPORT PB_BYTE_SINK *pbFileByteSinkTryCreate( PB_STRING *path );
/* pbHeaderByteSinkCreate: writes a stream with this header (pb_header.h) into another sink; what is
   written becomes the body. The first write or flush writes the header first. The new sink fails if
   the other sink fails, or if the header cannot be written (pb___HeaderTryEncode); then nothing is
   written into the other sink. */
PB_EXPORT PB_BYTE_SINK *pbHeaderByteSinkCreate( PB_BYTE_SINK *sink, PB_HEADER *header );

/* pbByteSinkWrite: writes all bytes of a buffer. After an error nothing is written. It blocks if
   the callback or the file blocks. */
PB_EXPORT void pbByteSinkWrite( PB_BYTE_SINK *sink, PB_BUFFER *buf );
/* pbByteSinkFlush: passes on everything that was written. After an error it does nothing. */
PB_EXPORT void pbByteSinkFlush( PB_BYTE_SINK *sink );
/* pbByteSinkError: whether a write or a flush has failed. */
PB_EXPORT PB_BOOL pbByteSinkError( PB_BYTE_SINK *sink );

/* pbByteSinkSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT *pbByteSinkSort( void );
PB_EXPORT PB_OBJ        *pbByteSinkObj( PB_BYTE_SINK *obj );
PB_EXPORT PB_BYTE_SINK  *pbByteSinkFrom( PB_OBJ *obj );
PB_EXPORT PB_BYTE_SINK  *pbByteSinkRetain( PB_BYTE_SINK *obj );
PB_EXPORT void           pbByteSinkRelease( PB_BYTE_SINK *obj );
PB_EXPORT PB_INT         pbByteSinkCompare( PB_BYTE_SINK *objA, PB_BYTE_SINK *objB );
PB_EXPORT PB_BOOL        pbByteSinkEquals( PB_BYTE_SINK *objA, PB_BYTE_SINK *objB );
PB_EXPORT PB_STRING     *pbByteSinkToString( PB_BYTE_SINK *obj );

PB_END_DECLS

#endif
