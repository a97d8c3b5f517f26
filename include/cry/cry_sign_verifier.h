/* Checking signatures: RSA with PKCS#1 v1.5 (RFC 8017, 8.2), ECDSA (FIPS 186-4) in DER (RFC 3279,
   2.2.3). */
#ifndef CRY_CRY_SIGN_VERIFIER_H
#define CRY_CRY_SIGN_VERIFIER_H

#include <cry/cry_hash_algorithm.h>
#include <cry/cry_pkey_public.h>
#include <pb/pb_buffer.h>

/* CRY_SIGN_VERIFIER: one check of a signature. It takes updates until crySignVerifierFinal, which
   gives the result. Only one thread at a time may use a CRY_SIGN_VERIFIER. */
PB_OBJECT_TYPE( CRY_SIGN_VERIFIER );

PB_BEGIN_DECLS

/* crySignVerifierTryCreate: a new verifier, which holds the key and the signature; null if this
   libcrypto does not have the digest. Aborts on an invalid algorithm ("CRY_HASH_ALGORITHM_OK( alg
   )"), then on null ("publicKey", "signature"). */
PB_EXPORT CRY_SIGN_VERIFIER *crySignVerifierTryCreate( CRY_HASH_ALGORITHM alg, CRY_PKEY_PUBLIC *publicKey, PB_BUFFER *signature );

/* The updates abort after crySignVerifierFinal ("!vfy->final"), on null objects ("vfy", "data") and
   if the range does not lie in the buffer. */

/* crySignVerifierUpdate: takes the whole buffer. */
PB_EXPORT void crySignVerifierUpdate( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data );
/* crySignVerifierUpdateBytes: takes `byteCount` bytes from memory, which may be null if the count
   is 0. */
PB_EXPORT void crySignVerifierUpdateBytes( CRY_SIGN_VERIFIER *vfy, const PB_BYTE *data, PB_INT byteCount );
/* crySignVerifierUpdateInner: takes the bytes from `byteOffset` up to `byteOffset + byteCount`. */
PB_EXPORT void crySignVerifierUpdateInner( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* crySignVerifierUpdateOuter: takes all bytes except those of the range. */
PB_EXPORT void crySignVerifierUpdateOuter( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* crySignVerifierUpdateLeading: takes the first `byteCount` bytes. */
PB_EXPORT void crySignVerifierUpdateLeading( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteCount );
/* crySignVerifierUpdateTrailing: takes the last `byteCount` bytes. */
PB_EXPORT void crySignVerifierUpdateTrailing( CRY_SIGN_VERIFIER *vfy, PB_BUFFER *data, PB_INT byteCount );

/* crySignVerifierFinal: whether the signature is valid for the key and all bytes that were taken;
   false also if the signature's buffer holds something that is not a signature. A second call
   aborts ("!vfy->final"), and so does a signature of more than 4294967295 bytes
   ("PB_INT_TO_UNSIGNED_INT_CONV_OK( pbBufferLength( vfy->signature ) )"). */
PB_EXPORT PB_BOOL crySignVerifierFinal( CRY_SIGN_VERIFIER *vfy );

/* crySignVerifierSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT     *crySignVerifierSort( void );
PB_EXPORT PB_OBJ            *crySignVerifierObj( CRY_SIGN_VERIFIER *obj );
PB_EXPORT CRY_SIGN_VERIFIER *crySignVerifierFrom( PB_OBJ *obj );
PB_EXPORT CRY_SIGN_VERIFIER *crySignVerifierRetain( CRY_SIGN_VERIFIER *obj );
PB_EXPORT void               crySignVerifierRelease( CRY_SIGN_VERIFIER *obj );
PB_EXPORT PB_INT             crySignVerifierCompare( CRY_SIGN_VERIFIER *objA, CRY_SIGN_VERIFIER *objB );
PB_EXPORT PB_BOOL            crySignVerifierEquals( CRY_SIGN_VERIFIER *objA, CRY_SIGN_VERIFIER *objB );
PB_EXPORT PB_STRING         *crySignVerifierToString( CRY_SIGN_VERIFIER *obj );

PB_END_DECLS

#endif
