/* Certificate signing requests: PKCS#10 (RFC 2986). */
#ifndef CRY_CRY_X509_CSR_H
#define CRY_CRY_X509_CSR_H

#include <cry/cry_pem.h>
#include <cry/cry_pkey_private.h>
#include <cry/cry_pkey_public.h>

/* CRY_X509_CSR: a parsed request with its canonical PEM, under the label CERTIFICATE REQUEST, as
   OpenSSL writes it. Its signature is not checked. A CRY_X509_CSR never changes; many threads may
   read it. */
PB_OBJECT_TYPE( CRY_X509_CSR );

PB_BEGIN_DECLS

/* cryX509CsrTryCreateFromPem: the request in a PEM object with the label CERTIFICATE REQUEST or NEW
   CERTIFICATE REQUEST; null if it is not one. Null aborts ("pem"). */
PB_EXPORT CRY_X509_CSR *cryX509CsrTryCreateFromPem( CRY_PEM *pem );
/* cryX509CsrPem: the canonical PEM, a new reference; null aborts ("csr"). Its data is the request's
   DER. */
PB_EXPORT CRY_PEM *cryX509CsrPem( CRY_X509_CSR *csr );
/* cryX509CsrPublicKey: the public key that is to be certified, a new object that shares nothing
   with the request; null if OpenSSL cannot write it. A request whose key OpenSSL cannot decode
   aborts ("pkey"); cryX509CsrHasPublicKey checks this. */
PB_EXPORT CRY_PKEY_PUBLIC *cryX509CsrPublicKey( CRY_X509_CSR *csr );
/* cryX509CsrHasPublicKey: whether OpenSSL can decode the public key, so that cryX509CsrPublicKey
   does not abort. Call it first for each request that comes from outside. Null aborts ("csr"). */
PB_EXPORT PB_BOOL cryX509CsrHasPublicKey( CRY_X509_CSR *csr );
/* cryX509CsrCheckPrivateKey: whether a private key belongs to the request's public key; null aborts
   ("csr", "privateKey"). */
PB_EXPORT PB_BOOL cryX509CsrCheckPrivateKey( CRY_X509_CSR *csr, CRY_PKEY_PRIVATE *privateKey );
/* cryX509CsrStore: the store of the canonical PEM (cryPemStore). */
PB_EXPORT PB_STORE *cryX509CsrStore( CRY_X509_CSR *csr );
/* cryX509CsrTryRestore: the request in a store of a PEM (cryPemTryRestore); null if the store holds
   no request. A null store aborts ("store"). */
PB_EXPORT CRY_X509_CSR *cryX509CsrTryRestore( PB_STORE *store );

/* cryX509CsrSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the canonical PEM. */
PB_EXPORT const PB_SORT *cryX509CsrSort( void );
PB_EXPORT PB_OBJ        *cryX509CsrObj( CRY_X509_CSR *obj );
PB_EXPORT CRY_X509_CSR  *cryX509CsrFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_CSR  *cryX509CsrRetain( CRY_X509_CSR *obj );
PB_EXPORT void           cryX509CsrRelease( CRY_X509_CSR *obj );
PB_EXPORT PB_INT         cryX509CsrCompare( CRY_X509_CSR *objA, CRY_X509_CSR *objB );
PB_EXPORT PB_BOOL        cryX509CsrEquals( CRY_X509_CSR *objA, CRY_X509_CSR *objB );
PB_EXPORT PB_STRING     *cryX509CsrToString( CRY_X509_CSR *obj );

PB_END_DECLS

#endif
