/* Trust tokens: signatures under the product's own root. */
#ifndef CRY_CRY_TRUST_TOKEN_H
#define CRY_CRY_TRUST_TOKEN_H

#include <cry/cry_hash_algorithm.h>
#include <cry/cry_pkey_private.h>
#include <cry/cry_x509_certificates.h>
#include <pb/pb_byte_source.h>
#include <pb/pb_store.h>
#include <pb/pb_time.h>

/* CRY_TRUST_TOKEN: a detached signature, with the certificates that lead from the signer to the
   root that is built into the module. Edits copy a shared token first. Many threads may read a
   CRY_TRUST_TOKEN, and each may edit it through a reference of its own. */
PB_OBJECT_TYPE( CRY_TRUST_TOKEN );

PB_BEGIN_DECLS

/* The signature covers the certificates, the time, the metadata and the digest algorithm of the
   token, and the data, which is not in the token. A change of the token after signing leaves a
   signature that no longer verifies.

   The functions abort on null tokens ("tok", "*tok"). Getters give a new reference, or null if the
   value is absent. Setters abort on null values, with the name of the parameter. */

/* cryTrustTokenCreate: a token with empty metadata and SHA-512, without other values. */
PB_EXPORT CRY_TRUST_TOKEN *cryTrustTokenCreate( void );
/* cryTrustTokenCreateFrom: a copy that shares the values; null aborts ("source"). */
PB_EXPORT CRY_TRUST_TOKEN *cryTrustTokenCreateFrom( CRY_TRUST_TOKEN *source );

/* cryTrustTokenCertificate: the signer's certificate, whose key verifies the signature. */
PB_EXPORT CRY_X509_CERTIFICATE *cryTrustTokenCertificate( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenHasCertificate: whether there is one. */
PB_EXPORT PB_BOOL cryTrustTokenHasCertificate( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenSetCertificate: replaces it ("cert"). */
PB_EXPORT void cryTrustTokenSetCertificate( CRY_TRUST_TOKEN **tok, CRY_X509_CERTIFICATE *cert );
/* cryTrustTokenDelCertificate: removes it. */
PB_EXPORT void cryTrustTokenDelCertificate( CRY_TRUST_TOKEN **tok );

/* cryTrustTokenExtraCertificates: intermediate certificates on the way to the root. */
PB_EXPORT CRY_X509_CERTIFICATES *cryTrustTokenExtraCertificates( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenHasExtraCertificates: whether there is a collection, even an empty one. */
PB_EXPORT PB_BOOL cryTrustTokenHasExtraCertificates( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenSetExtraCertificates: replaces them ("certs"). */
PB_EXPORT void cryTrustTokenSetExtraCertificates( CRY_TRUST_TOKEN **tok, CRY_X509_CERTIFICATES *certs );
/* cryTrustTokenDelExtraCertificates: removes them. */
PB_EXPORT void cryTrustTokenDelExtraCertificates( CRY_TRUST_TOKEN **tok );

/* cryTrustTokenTime: the time of signing, at which the certificates must be valid. */
PB_EXPORT PB_TIME *cryTrustTokenTime( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenHasTime: whether there is a time. */
PB_EXPORT PB_BOOL cryTrustTokenHasTime( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenSetTime: replaces it ("tm"). */
PB_EXPORT void cryTrustTokenSetTime( CRY_TRUST_TOKEN **tok, PB_TIME *tm );
/* cryTrustTokenSetTimeNow: sets the present time. */
PB_EXPORT void cryTrustTokenSetTimeNow( CRY_TRUST_TOKEN **tok );
/* cryTrustTokenDelTime: removes it. */
PB_EXPORT void cryTrustTokenDelTime( CRY_TRUST_TOKEN **tok );

/* cryTrustTokenMetaData: the caller's own data, never null; at first an empty store. */
PB_EXPORT PB_STORE *cryTrustTokenMetaData( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenSetMetaData: replaces it ("metaData"). */
PB_EXPORT void cryTrustTokenSetMetaData( CRY_TRUST_TOKEN **tok, PB_STORE *metaData );

/* cryTrustTokenHashAlgorithm: the digest of the signature. */
PB_EXPORT CRY_HASH_ALGORITHM cryTrustTokenHashAlgorithm( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenSetHashAlgorithm: replaces it; another value aborts
   ("CRY_HASH_ALGORITHM_OK( algorithm )"). */
PB_EXPORT void cryTrustTokenSetHashAlgorithm( CRY_TRUST_TOKEN **tok, CRY_HASH_ALGORITHM algorithm );

/* cryTrustTokenSignature: the signature. */
PB_EXPORT PB_BUFFER *cryTrustTokenSignature( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenHasSignature: whether there is one. */
PB_EXPORT PB_BOOL cryTrustTokenHasSignature( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenSetSignature: replaces it ("signature"). */
PB_EXPORT void cryTrustTokenSetSignature( CRY_TRUST_TOKEN **tok, PB_BUFFER *signature );
/* cryTrustTokenDelSignature: removes it. */
PB_EXPORT void cryTrustTokenDelSignature( CRY_TRUST_TOKEN **tok );

/* cryTrustTokenStore: a new store with the keys "certificate", "extraCertificates" (stores),
   "time", "metaData" (the store itself), "hashAlgorithm" (its name) and "signature" (the store of a
   PEM object with the label "TOKEN SIGNATURE"); absent values are not written. */
PB_EXPORT PB_STORE *cryTrustTokenStore( CRY_TRUST_TOKEN *tok );
/* cryTrustTokenRestore: the token in such a store, never null. A value that is missing or cannot be
   read keeps its default. A null store aborts ("store"). */
PB_EXPORT CRY_TRUST_TOKEN *cryTrustTokenRestore( PB_STORE *store );

/* cryTrustTokenTrySign: signs the token and the data of a source with a key, and puts the signature
   into the token. Set the certificates and the time before; the key is not compared with the
   certificate. False, with the token unchanged, if the source fails or this libcrypto does not have
   the digest. Null aborts ("privateKey", "dataByteSource"), and a key that cannot sign aborts as
   crySignSignerFinal does. Blocks as the source does. */
PB_EXPORT PB_BOOL cryTrustTokenTrySign( CRY_TRUST_TOKEN **tok, CRY_PKEY_PRIVATE *privateKey, PB_BYTE_SOURCE *dataByteSource );
/* cryTrustTokenTrySignWithBuffer: the same for the bytes of a buffer ("dataBuffer"). */
PB_EXPORT PB_BOOL cryTrustTokenTrySignWithBuffer( CRY_TRUST_TOKEN **tok, CRY_PKEY_PRIVATE *privateKey, PB_BUFFER *dataBuffer );
/* cryTrustTokenTryVerify: whether the signature is that of the token and the data, and the
   certificate leads to the built-in root at the time of the token (the present time if it has
   none). A signature of the root's own key does not count. False too if the source fails. Null
   aborts ("dataByteSource"). Blocks as the source does. */
PB_EXPORT PB_BOOL cryTrustTokenTryVerify( CRY_TRUST_TOKEN *tok, PB_BYTE_SOURCE *dataByteSource );
/* cryTrustTokenTryVerifyWithBuffer: the same for the bytes of a buffer ("dataBuffer"). */
PB_EXPORT PB_BOOL cryTrustTokenTryVerifyWithBuffer( CRY_TRUST_TOKEN *tok, PB_BUFFER *dataBuffer );

/* cryTrustTokenSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A token has no order of its own: it equals only itself. */
PB_EXPORT const PB_SORT   *cryTrustTokenSort( void );
PB_EXPORT PB_OBJ          *cryTrustTokenObj( CRY_TRUST_TOKEN *obj );
PB_EXPORT CRY_TRUST_TOKEN *cryTrustTokenFrom( PB_OBJ *obj );
PB_EXPORT CRY_TRUST_TOKEN *cryTrustTokenRetain( CRY_TRUST_TOKEN *obj );
PB_EXPORT void             cryTrustTokenRelease( CRY_TRUST_TOKEN *obj );
PB_EXPORT PB_INT           cryTrustTokenCompare( CRY_TRUST_TOKEN *objA, CRY_TRUST_TOKEN *objB );
PB_EXPORT PB_BOOL          cryTrustTokenEquals( CRY_TRUST_TOKEN *objA, CRY_TRUST_TOKEN *objB );
PB_EXPORT PB_STRING       *cryTrustTokenToString( CRY_TRUST_TOKEN *obj );

PB_END_DECLS

#endif
