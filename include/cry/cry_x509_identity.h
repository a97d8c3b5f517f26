/* Identities: the local side of an exchange with certificates. */
#ifndef CRY_CRY_X509_IDENTITY_H
#define CRY_CRY_X509_IDENTITY_H

#include <cry/cry_pkey_private.h>
#include <cry/cry_x509_certificates.h>

/* CRY_X509_IDENTITY: a certificate, its private key, and the other certificates that are sent with
   it (intermediates, for example). The key and the certificate are optional. Nothing checks that
   the key belongs to the certificate; cryX509CertificateCheckPrivateKey does that. Edits copy a
   shared identity first. Many threads may read a CRY_X509_IDENTITY, and each may edit it through a
   reference of its own. */
PB_OBJECT_TYPE( CRY_X509_IDENTITY );

PB_BEGIN_DECLS

/* The functions abort on null identities ("ident", "*ident"). */

/* cryX509IdentityCreate: no key, no certificate and no other certificates. */
PB_EXPORT CRY_X509_IDENTITY *cryX509IdentityCreate( void );
/* cryX509IdentityCreateFrom: a copy that shares the parts; null aborts ("source"). */
PB_EXPORT CRY_X509_IDENTITY *cryX509IdentityCreateFrom( CRY_X509_IDENTITY *source );

/* cryX509IdentityPrivateKey: the private key, a new reference, or null if there is none. */
PB_EXPORT CRY_PKEY_PRIVATE *cryX509IdentityPrivateKey( CRY_X509_IDENTITY *ident );
/* cryX509IdentityHasPrivateKey: whether there is a private key. */
PB_EXPORT PB_BOOL cryX509IdentityHasPrivateKey( CRY_X509_IDENTITY *ident );
/* cryX509IdentitySetPrivateKey: replaces the private key; null aborts ("priv"). */
PB_EXPORT void cryX509IdentitySetPrivateKey( CRY_X509_IDENTITY **ident, CRY_PKEY_PRIVATE *priv );
/* cryX509IdentityDelPrivateKey: removes the private key. If there is none, nothing changes. */
PB_EXPORT void cryX509IdentityDelPrivateKey( CRY_X509_IDENTITY **ident );

/* cryX509IdentityCertificate: the certificate, a new reference, or null if there is none. */
PB_EXPORT CRY_X509_CERTIFICATE *cryX509IdentityCertificate( CRY_X509_IDENTITY *ident );
/* cryX509IdentityHasCertificate: whether there is a certificate. */
PB_EXPORT PB_BOOL cryX509IdentityHasCertificate( CRY_X509_IDENTITY *ident );
/* cryX509IdentitySetCertificate: replaces the certificate; null aborts ("cert"). */
PB_EXPORT void cryX509IdentitySetCertificate( CRY_X509_IDENTITY **ident, CRY_X509_CERTIFICATE *cert );
/* cryX509IdentityDelCertificate: removes the certificate. If there is none, nothing changes. */
PB_EXPORT void cryX509IdentityDelCertificate( CRY_X509_IDENTITY **ident );

/* cryX509IdentityExtraCertificates: the other certificates, a new reference, never null. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509IdentityExtraCertificates( CRY_X509_IDENTITY *ident );
/* cryX509IdentitySetExtraCertificates: replaces the other certificates; null aborts
   ("extraCertificates"). */
PB_EXPORT void cryX509IdentitySetExtraCertificates( CRY_X509_IDENTITY **ident, CRY_X509_CERTIFICATES *extraCertificates );

/* cryX509IdentityStore: a new store with the stores of the parts that there are, under the keys
   "privateKey" (only if `includePrivateKey` is true), "certificate" and "extraCertificates" (only
   if the collection is not empty). */
PB_EXPORT PB_STORE *cryX509IdentityStore( CRY_X509_IDENTITY *ident, PB_BOOL includePrivateKey );
/* cryX509IdentityRestore: the identity in such a store, never null. Parts that are missing or do
   not restore are absent. A null store aborts ("store"). */
PB_EXPORT CRY_X509_IDENTITY *cryX509IdentityRestore( PB_STORE *store );

/* cryX509IdentitySort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare compares the private keys, then the certificates, then the other
   certificates; an absent part comes first. */
PB_EXPORT const PB_SORT     *cryX509IdentitySort( void );
PB_EXPORT PB_OBJ            *cryX509IdentityObj( CRY_X509_IDENTITY *obj );
PB_EXPORT CRY_X509_IDENTITY *cryX509IdentityFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_IDENTITY *cryX509IdentityRetain( CRY_X509_IDENTITY *obj );
PB_EXPORT void               cryX509IdentityRelease( CRY_X509_IDENTITY *obj );
PB_EXPORT PB_INT             cryX509IdentityCompare( CRY_X509_IDENTITY *objA, CRY_X509_IDENTITY *objB );
PB_EXPORT PB_BOOL            cryX509IdentityEquals( CRY_X509_IDENTITY *objA, CRY_X509_IDENTITY *objB );
PB_EXPORT PB_STRING         *cryX509IdentityToString( CRY_X509_IDENTITY *obj );

PB_END_DECLS

#endif
