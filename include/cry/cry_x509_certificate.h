/* X.509 certificates (RFC 5280). */
#ifndef CRY_CRY_X509_CERTIFICATE_H
#define CRY_CRY_X509_CERTIFICATE_H

#include <cry/cry_hash_algorithm.h>
#include <cry/cry_pem.h>
#include <cry/cry_pkey_private.h>
#include <cry/cry_pkey_public.h>
#include <cry/cry_x509_info.h>
#include <cry/cry_x509_tn_auth_list.h>
#include <pb/pb_vector.h>

/* CRY_X509_CERTIFICATE: a parsed certificate with its canonical PEM, under the label CERTIFICATE,
   as OpenSSL writes it. A CRY_X509_CERTIFICATE never changes; many threads may read it. */
PB_OBJECT_TYPE( CRY_X509_CERTIFICATE );

PB_BEGIN_DECLS

/* cryX509CertificateTryCreateFromDer: the certificate, in DER, at the beginning of a buffer; bytes
   after it are dropped. Null if it does not parse or the buffer is longer than 2147483647 bytes.
   Null aborts ("buf"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryX509CertificateTryCreateFromDer( PB_BUFFER *buf );
/* cryX509CertificateTryCreateFromPem: the certificate in a PEM object with the label CERTIFICATE or
   X509 CERTIFICATE; null if it is not one. Null aborts ("pem"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryX509CertificateTryCreateFromPem( CRY_PEM *pem );
/* cryX509CertificatePem: the canonical PEM, a new reference; null aborts ("cert"). Its data is the
   certificate's DER. */
PB_EXPORT CRY_PEM *cryX509CertificatePem( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificatePublicKey: the subject's public key, a new object that shares nothing with the
   certificate; null if OpenSSL cannot write it. A certificate whose key OpenSSL cannot decode
   aborts ("pkey"); cryX509CertificateHasPublicKey checks this. */
PB_EXPORT CRY_PKEY_PUBLIC *cryX509CertificatePublicKey( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificateHasPublicKey: whether OpenSSL can decode the subject's public key, so that
   cryX509CertificatePublicKey does not abort. Call it first for each certificate that comes from
   outside. Null aborts ("cert"). */
PB_EXPORT PB_BOOL cryX509CertificateHasPublicKey( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificateCheckPrivateKey: whether a private key belongs to the certificate's public key;
   null aborts ("cert", "privateKey"). */
PB_EXPORT PB_BOOL cryX509CertificateCheckPrivateKey( CRY_X509_CERTIFICATE *cert, CRY_PKEY_PRIVATE *privateKey );
/* cryX509CertificateTryFingerprint: the digest of the certificate's DER, a new buffer; null if this
   libcrypto does not have the algorithm. An invalid algorithm aborts ("CRY_HASH_ALGORITHM_OK( alg
   )"). */
PB_EXPORT PB_BUFFER *cryX509CertificateTryFingerprint( CRY_X509_CERTIFICATE *cert, CRY_HASH_ALGORITHM alg );
/* cryX509CertificateRevocationListDistribution: the distribution points of CRLs (RFC 5280, clause
   4.2.1.13) that have a URI, in order: a new vector of CRY_X509_CRL_DISTRIBUTION. Null if there are
   none, or if the extension does not decode. URIs that are not UTF-8 are left out. Null aborts
   ("cert"). */
PB_EXPORT PB_VECTOR *cryX509CertificateRevocationListDistribution( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificateInfo: what is in the certificate, a new object; a field that does not decode is
   absent. Null aborts ("cert"). */
PB_EXPORT CRY_X509_INFO *cryX509CertificateInfo( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificateTNAuthList: the telephone number authorization list (RFC 8226, clause 9), a new
   object; null if the certificate has none or it does not decode. It is intended that a list with a
   range count outside of 0 to 2147483647 aborts ("count >= 0"). Null aborts ("cert"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST *cryX509CertificateTNAuthList( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificateStore: the store of the canonical PEM (cryPemStore). */
PB_EXPORT PB_STORE *cryX509CertificateStore( CRY_X509_CERTIFICATE *cert );
/* cryX509CertificateTryRestore: the certificate in a store of a PEM (cryPemTryRestore); null if the
   store holds no certificate. A null store aborts ("store"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryX509CertificateTryRestore( PB_STORE *store );

/* cryX509CertificateSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare orders by the canonical PEM, so two certificates are
   equal if and only if their DER is equal. */
PB_EXPORT const PB_SORT        *cryX509CertificateSort( void );
PB_EXPORT PB_OBJ               *cryX509CertificateObj( CRY_X509_CERTIFICATE *obj );
PB_EXPORT CRY_X509_CERTIFICATE *cryX509CertificateFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_CERTIFICATE *cryX509CertificateRetain( CRY_X509_CERTIFICATE *obj );
PB_EXPORT void                  cryX509CertificateRelease( CRY_X509_CERTIFICATE *obj );
PB_EXPORT PB_INT                cryX509CertificateCompare( CRY_X509_CERTIFICATE *objA, CRY_X509_CERTIFICATE *objB );
PB_EXPORT PB_BOOL               cryX509CertificateEquals( CRY_X509_CERTIFICATE *objA, CRY_X509_CERTIFICATE *objB );
PB_EXPORT PB_STRING            *cryX509CertificateToString( CRY_X509_CERTIFICATE *obj );

PB_END_DECLS

#endif
