/* Byte buffers. */
#ifndef PB_PB_BUFFER_H
#define PB_PB_BUFFER_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_BUFFER );
/* Many threads may read a PB_BUFFER; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* pbBufferCreate: an empty buffer. */
PB_EXPORT PB_BUFFER *pbBufferCreate( void );
/* pbBufferCreateFrom: a copy with the same bytes and the same sensitive mark; null aborts
   ("source"). */
PB_EXPORT PB_BUFFER *pbBufferCreateFrom( PB_BUFFER *source );
/* pbBufferCreateFromBytes: a copy of `byteCount` bytes. A null pointer with a count
   ("bytes || !byteCount") and a negative count abort. */
PB_EXPORT PB_BUFFER *pbBufferCreateFromBytes( const void *bytes, PB_INT byteCount );
/* pbBufferCreateFromBytesUse: takes over memory of pbMemAlloc that holds `byteCount` bytes; the
   buffer frees it. */
PB_EXPORT PB_BUFFER *pbBufferCreateFromBytesUse( void *bytes, PB_INT byteCount );
/* pbBufferCreateFromInner: a copy of the bytes from `byteOffset` up to `byteOffset + byteCount`,
   with the sensitive mark of the source. A range that is not in the buffer aborts. */
PB_EXPORT PB_BUFFER *pbBufferCreateFromInner( PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount );

/* pbBufferLength: number of bytes; null aborts ("buf"). */
PB_EXPORT PB_INT pbBufferLength( PB_BUFFER *buf );
/* pbBufferBitLength: number of bits, eight for each byte. */
PB_EXPORT PB_INT pbBufferBitLength( PB_BUFFER *buf );
/* pbBufferSpace: the number of bytes that can still be appended before the length is too large. */
PB_EXPORT PB_INT pbBufferSpace( PB_BUFFER *buf );
/* pbBufferBytes: lends the bytes. They are valid while the caller holds the buffer and until it is
   edited. Never null. */
PB_EXPORT const PB_BYTE *pbBufferBytes( PB_BUFFER *buf );
/* pbBufferByteAt: one byte. An index outside the buffer aborts ("byteIndex >= 0",
   "byteIndex < pbBufferLength( buf )"). */
PB_EXPORT PB_BYTE pbBufferByteAt( PB_BUFFER *buf, PB_INT byteIndex );

/* pbBufferAppend: appends all bytes of another buffer and takes over its sensitive mark. Both may
   be the same buffer. */
PB_EXPORT void pbBufferAppend( PB_BUFFER **buf, PB_BUFFER *other );
/* pbBufferAppendBytes: appends `byteCount` bytes from memory, which may be the buffer's own
   (pbBufferBytes). */
PB_EXPORT void pbBufferAppendBytes( PB_BUFFER **buf, const void *bytes, PB_INT byteCount );
/* pbBufferAppendByte: appends one byte. */
PB_EXPORT void pbBufferAppendByte( PB_BUFFER **buf, PB_BYTE byte );
/* pbBufferAppendInner: appends a range of another buffer and takes over its sensitive mark. Both
   may be the same buffer. */
PB_EXPORT void pbBufferAppendInner( PB_BUFFER **buf, PB_BUFFER *other, PB_INT byteOffset, PB_INT byteCount );
/* pbBufferDelInner: removes a range. A range that is not in the buffer aborts. */
PB_EXPORT void pbBufferDelInner( PB_BUFFER **buf, PB_INT byteOffset, PB_INT byteCount );
/* pbBufferClear: removes all bytes; the sensitive mark stays. */
PB_EXPORT void pbBufferClear( PB_BUFFER **buf );
/* pb___BufferExtend: appends `byteCount` bytes and returns their address. The caller must write
   them before any other use of the buffer. */
PB_EXPORT PB_BYTE *pb___BufferExtend( PB_BUFFER **buf, PB_INT byteCount );

/* pb___BufferCreateLength: a new buffer of `byteCount` bytes, and their address in `bytes`. The
   caller must write them before any other use of the buffer. */
PB_EXPORT PB_BUFFER *pb___BufferCreateLength( PB_INT byteCount, PB_BYTE **bytes );

/* pbBufferSetSensitive: marks the content as secret. It is then overwritten when it is freed or
   moved, and everything that is made from it gets the mark too. The mark cannot be removed. */
PB_EXPORT void pbBufferSetSensitive( PB_BUFFER **buf );
/* pbBufferSensitive: whether the mark is set. */
PB_EXPORT PB_BOOL pbBufferSensitive( PB_BUFFER *buf );

/* pbBufferSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by bytes; a buffer comes before every longer buffer that
   begins with the same bytes. ToString gives lower-case hexadecimal digits; for a sensitive buffer
   it gives only the length. */
PB_EXPORT const PB_SORT *pbBufferSort( void );
PB_EXPORT PB_OBJ        *pbBufferObj( PB_BUFFER *obj );
PB_EXPORT PB_BUFFER     *pbBufferFrom( PB_OBJ *obj );
PB_EXPORT PB_BUFFER     *pbBufferRetain( PB_BUFFER *obj );
PB_EXPORT void           pbBufferRelease( PB_BUFFER *obj );
PB_EXPORT PB_INT         pbBufferCompare( PB_BUFFER *objA, PB_BUFFER *objB );
PB_EXPORT PB_BOOL        pbBufferEquals( PB_BUFFER *objA, PB_BUFFER *objB );
PB_EXPORT PB_STRING     *pbBufferToString( PB_BUFFER *obj );

PB_END_DECLS

#endif
