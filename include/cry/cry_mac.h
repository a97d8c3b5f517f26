/* Keyed message authentication: HMAC (RFC 2104). */
#ifndef CRY_CRY_MAC_H
#define CRY_CRY_MAC_H

#include <cry/cry_hash_algorithm.h>
#include <pb/pb_buffer.h>
#include <pb/pb_obj.h>

/* CRY_MAC: the computation of one MAC. It takes updates until cryMacFinal, which gives the MAC.
   Only one thread at a time may use a CRY_MAC. */
PB_OBJECT_TYPE( CRY_MAC );

PB_BEGIN_DECLS

/* cryMacTryComputeHmac: the HMAC of a whole buffer, a new buffer of the digest's size; null if this
   libcrypto cannot provide it. Aborts on an invalid algorithm ("CRY_HASH_ALGORITHM_OK( alg )"),
   then on null ("key", "data"). */
PB_EXPORT PB_BUFFER *cryMacTryComputeHmac( CRY_HASH_ALGORITHM alg, PB_BUFFER *key, PB_BUFFER *data );

/* cryMacTryCreateHmac: a new MAC object with a key of any length; null if this libcrypto cannot
   provide it. */
PB_EXPORT CRY_MAC *cryMacTryCreateHmac( CRY_HASH_ALGORITHM alg, PB_BUFFER *key );

/* The updates abort after cryMacFinal ("!mac->final"), on null objects ("mac", "data") and if the
   range does not lie in the buffer. */

/* cryMacUpdate: takes the whole buffer. */
PB_EXPORT void cryMacUpdate( CRY_MAC *mac, PB_BUFFER *data );
/* cryMacUpdateByte: takes one byte. */
PB_EXPORT void cryMacUpdateByte( CRY_MAC *mac, PB_BYTE byte );
/* cryMacUpdateBytes: takes `byteCount` bytes from memory, which may be null if the count is 0. */
PB_EXPORT void cryMacUpdateBytes( CRY_MAC *mac, const PB_BYTE *data, PB_INT byteCount );
/* cryMacUpdateInner: takes the bytes from `byteOffset` up to `byteOffset + byteCount`. */
PB_EXPORT void cryMacUpdateInner( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* cryMacUpdateOuter: takes all bytes except those of the range. */
PB_EXPORT void cryMacUpdateOuter( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* cryMacUpdateLeading: takes the first `byteCount` bytes. */
PB_EXPORT void cryMacUpdateLeading( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteCount );
/* cryMacUpdateTrailing: takes the last `byteCount` bytes. */
PB_EXPORT void cryMacUpdateTrailing( CRY_MAC *mac, PB_BUFFER *data, PB_INT byteCount );

/* cryMacFinal: the MAC, a new buffer. A second call aborts ("!mac->final"). */
PB_EXPORT PB_BUFFER *cryMacFinal( CRY_MAC *mac );

/* cryMacSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT *cryMacSort( void );
PB_EXPORT PB_OBJ        *cryMacObj( CRY_MAC *obj );
PB_EXPORT CRY_MAC       *cryMacFrom( PB_OBJ *obj );
PB_EXPORT CRY_MAC       *cryMacRetain( CRY_MAC *obj );
PB_EXPORT void           cryMacRelease( CRY_MAC *obj );
PB_EXPORT PB_INT         cryMacCompare( CRY_MAC *objA, CRY_MAC *objB );
PB_EXPORT PB_BOOL        cryMacEquals( CRY_MAC *objA, CRY_MAC *objB );
PB_EXPORT PB_STRING     *cryMacToString( CRY_MAC *obj );

PB_END_DECLS

#endif
