/* Making signatures: RSA with PKCS#1 v1.5 (RFC 8017, 8.2), ECDSA (FIPS 186-4) in DER (RFC 3279,
   2.2.3). */
#ifndef CRY_CRY_SIGN_SIGNER_H
#define CRY_CRY_SIGN_SIGNER_H

#include <cry/cry_hash_algorithm.h>
#include <cry/cry_pkey_private.h>
#include <pb/pb_buffer.h>

/* CRY_SIGN_SIGNER: the making of one signature. It takes updates until crySignSignerFinal, which
   gives the signature. Only one thread at a time may use a CRY_SIGN_SIGNER. */
PB_OBJECT_TYPE( CRY_SIGN_SIGNER );

PB_BEGIN_DECLS

/* crySignSignerTryCreate: a new signer, which holds the key; null if this libcrypto does not have
   the digest. Aborts on an invalid algorithm ("CRY_HASH_ALGORITHM_OK( alg )"), then on null
   ("privateKey"). */
PB_EXPORT CRY_SIGN_SIGNER *crySignSignerTryCreate( CRY_HASH_ALGORITHM alg, CRY_PKEY_PRIVATE *privateKey );

/* The updates abort after crySignSignerFinal ("!sig->final"), on null objects ("sig", "data") and
   if the range does not lie in the buffer. */

/* crySignSignerUpdate: takes the whole buffer. */
PB_EXPORT void crySignSignerUpdate( CRY_SIGN_SIGNER *sig, PB_BUFFER *data );
/* crySignSignerUpdateBytes: takes `byteCount` bytes from memory, which may be null if the count
   is 0. */
PB_EXPORT void crySignSignerUpdateBytes( CRY_SIGN_SIGNER *sig, const PB_BYTE *data, PB_INT byteCount );
/* crySignSignerUpdateInner: takes the bytes from `byteOffset` up to `byteOffset + byteCount`. */
PB_EXPORT void crySignSignerUpdateInner( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* crySignSignerUpdateOuter: takes all bytes except those of the range. */
PB_EXPORT void crySignSignerUpdateOuter( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount );
/* crySignSignerUpdateLeading: takes the first `byteCount` bytes. */
PB_EXPORT void crySignSignerUpdateLeading( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteCount );
/* crySignSignerUpdateTrailing: takes the last `byteCount` bytes. */
PB_EXPORT void crySignSignerUpdateTrailing( CRY_SIGN_SIGNER *sig, PB_BUFFER *data, PB_INT byteCount );

/* crySignSignerFinal: the signature of all bytes that were taken, a new buffer. A second call
   aborts ("!sig->final"). A key with which OpenSSL's EVP_SignFinal cannot sign also aborts: a key
   that is not for signatures (X25519) or is for another kind of them (Ed25519), an RSA key that is
   too small for the digest, a key on one of the Oakley curves ("EVP_SignFinal( sig->mdCtx,
   signature, &signatureLength, pkey )"). crySignCanSign recognises such keys. */
PB_EXPORT PB_BUFFER *crySignSignerFinal( CRY_SIGN_SIGNER *sig );

/* crySignSignerSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT   *crySignSignerSort( void );
PB_EXPORT PB_OBJ          *crySignSignerObj( CRY_SIGN_SIGNER *obj );
PB_EXPORT CRY_SIGN_SIGNER *crySignSignerFrom( PB_OBJ *obj );
PB_EXPORT CRY_SIGN_SIGNER *crySignSignerRetain( CRY_SIGN_SIGNER *obj );
PB_EXPORT void             crySignSignerRelease( CRY_SIGN_SIGNER *obj );
PB_EXPORT PB_INT           crySignSignerCompare( CRY_SIGN_SIGNER *objA, CRY_SIGN_SIGNER *objB );
PB_EXPORT PB_BOOL          crySignSignerEquals( CRY_SIGN_SIGNER *objA, CRY_SIGN_SIGNER *objB );
PB_EXPORT PB_STRING       *crySignSignerToString( CRY_SIGN_SIGNER *obj );

PB_END_DECLS

#endif
