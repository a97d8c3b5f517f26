/* Signatures of whole buffers.

   Example:

       // Whether a key can sign some data and its public key accepts the signature.
       PB_BOOL signs( CRY_PKEY_PRIVATE *key, PB_BUFFER *data )
       {
           PB_BOOL          good      = PB_FALSE;
           CRY_PKEY_PUBLIC *publicKey = cryPkeyPrivatePublicKey( key );
           PB_BUFFER       *signature = crySignTrySign( CRY_HASH_ALGORITHM_SHA2_256, key, data );
           if( publicKey && signature )
               good = crySignVerify( CRY_HASH_ALGORITHM_SHA2_256, publicKey, signature, data );
           if( signature )
               pbBufferRelease( signature );
           if( publicKey )
               cryPkeyPublicRelease( publicKey );
           return good;
       }
*/
#ifndef CRY_CRY_SIGN_H
#define CRY_CRY_SIGN_H

#include <cry/cry_sign_signer.h>
#include <cry/cry_sign_verifier.h>

PB_BEGIN_DECLS

/* crySignCanSign: whether the key can sign with this digest, so that crySignSignerFinal and
   crySignTrySign do not abort. False for a key of a kind that does not sign digests (X25519,
   Ed25519), for an RSA key that is too small for the digest, and if this libcrypto does not have
   the digest. It takes as long as one signature, which it makes and drops. It does not check that
   the private and the public part of the key belong together. Aborts on an invalid algorithm
   ("CRY_HASH_ALGORITHM_OK( alg )"), then on null ("privateKey"). */
PB_EXPORT PB_BOOL crySignCanSign( CRY_HASH_ALGORITHM alg, CRY_PKEY_PRIVATE *privateKey );
/* crySignTrySign: the signature of a buffer, a new buffer; null if this libcrypto does not have the
   digest. Aborts in the same cases as a CRY_SIGN_SIGNER: an invalid algorithm, null ("privateKey",
   "data"), a key that cannot sign (see crySignCanSign). */
PB_EXPORT PB_BUFFER *crySignTrySign( CRY_HASH_ALGORITHM alg, CRY_PKEY_PRIVATE *privateKey, PB_BUFFER *data );
/* crySignVerify: whether `signature` is a valid signature of `data` for the key; false if this
   libcrypto does not have the digest. Null aborts ("publicKey", "signature", "data"), and so does a
   signature that is too long for crySignVerifierFinal. */
PB_EXPORT PB_BOOL crySignVerify( CRY_HASH_ALGORITHM alg, CRY_PKEY_PUBLIC *publicKey, PB_BUFFER *signature, PB_BUFFER *data );

PB_END_DECLS

#endif
