/* Message digests.

   Example:

       #include <string.h>

       // The SHA-256 of a text in hexadecimal digits, a new string; null if libcrypto cannot do it.
       PB_STRING *sha256( const char *text )
       {
           PB_BUFFER *data   = pbBufferCreateFromBytes( text, (PB_INT)strlen( text ) );
           PB_BUFFER *digest = cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, data );
           PB_STRING *digits = digest ? pbBufferToString( digest ) : NULL;
           if( digest )
               pbBufferRelease( digest );
           pbBufferRelease( data );
           return digits;
       }
*/
#ifndef CRY_CRY_HASH_H
#define CRY_CRY_HASH_H

#include <cry/cry_hash_algorithm.h>
#include <pb/pb_buffer.h>
#include <pb/pb_obj.h>

/* CRY_HASH: the computation of one digest. It takes updates until cryHashFinal, which gives the
   digest. Only one thread at a time may use a CRY_HASH. */
PB_OBJECT_TYPE( CRY_HASH );

PB_BEGIN_DECLS

/* cryHashTryCompute: the digest of a whole buffer, a new buffer; null if this libcrypto does not
   have the algorithm. Aborts on an invalid algorithm ("CRY_HASH_ALGORITHM_OK( alg )"), then on null
   data ("data"). */
PB_EXPORT PB_BUFFER *cryHashTryCompute( CRY_HASH_ALGORITHM alg, PB_BUFFER *data );

/* cryHashTryCreate: a new hash object, or null if this libcrypto does not have the algorithm. An
   invalid algorithm aborts. */
PB_EXPORT CRY_HASH *cryHashTryCreate( CRY_HASH_ALGORITHM alg );

/* The updates abort after cryHashFinal ("!hash->final"), on null objects ("hash", "data") and if
   the range does not lie in the buffer. They read the buffer's memory without a copy. */

/* cryHashUpdate: hashes the whole buffer. */
PB_EXPORT void cryHashUpdate( CRY_HASH *hash, PB_BUFFER *data );
/* cryHashUpdateByte: hashes one byte. */
PB_EXPORT void cryHashUpdateByte( CRY_HASH *hash, PB_BYTE byte );
/* cryHashUpdateBytes: hashes `byteCount` bytes from memory, which may be null if the count is
   0. */
PB_EXPORT void cryHashUpdateBytes( CRY_HASH *hash, const PB_BYTE *data, PB_INT byteCount );
/* cryHashUpdateInner: hashes the bytes from `byteOffset` up to `byteOffset + byteCount`. */
PB_EXPORT void cryHashUpdateInner( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* cryHashUpdateOuter: hashes all bytes except those of the range. */
PB_EXPORT void cryHashUpdateOuter( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* cryHashUpdateLeading: hashes the first `byteCount` bytes. */
PB_EXPORT void cryHashUpdateLeading( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteCount );
/* cryHashUpdateTrailing: hashes the last `byteCount` bytes. */
PB_EXPORT void cryHashUpdateTrailing( CRY_HASH *hash, PB_BUFFER *data, PB_INT byteCount );

/* cryHashFinal: the digest, a new buffer of the algorithm's digest size. A second call aborts
   ("!hash->final"). */
PB_EXPORT PB_BUFFER *cryHashFinal( CRY_HASH *hash );

/* cryHashSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT *cryHashSort( void );
PB_EXPORT PB_OBJ        *cryHashObj( CRY_HASH *obj );
PB_EXPORT CRY_HASH      *cryHashFrom( PB_OBJ *obj );
PB_EXPORT CRY_HASH      *cryHashRetain( CRY_HASH *obj );
PB_EXPORT void           cryHashRelease( CRY_HASH *obj );
PB_EXPORT PB_INT         cryHashCompare( CRY_HASH *objA, CRY_HASH *objB );
PB_EXPORT PB_BOOL        cryHashEquals( CRY_HASH *objA, CRY_HASH *objB );
PB_EXPORT PB_STRING     *cryHashToString( CRY_HASH *obj );

PB_END_DECLS

#endif
