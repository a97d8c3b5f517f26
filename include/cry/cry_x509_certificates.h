/* Ordered collections of certificates.

   Example:

       // The certificates of a file that holds a chain in PEM; null if anything else is in it.
       CRY_X509_CERTIFICATES *readChain( PB_BUFFER *file )
       {
           CRY_X509_CERTIFICATES *chain  = NULL;
           PB_VECTOR             *blocks = cryPemVectorTryDecode( file );
           if( blocks )
           {
               chain = cryX509CertificatesTryCreateFromPemVector( blocks );
               pbVectorRelease( blocks );
           }
           return chain;
       }
*/
#ifndef CRY_CRY_X509_CERTIFICATES_H
#define CRY_CRY_X509_CERTIFICATES_H

#include <cry/cry_x509_certificate.h>

/* CRY_X509_CERTIFICATES: certificates in order; the same certificate may occur several times. Edits
   copy a shared collection first. Many threads may read a CRY_X509_CERTIFICATES, and each may edit
   it through a reference of its own. */
PB_OBJECT_TYPE( CRY_X509_CERTIFICATES );

PB_BEGIN_DECLS

/* The functions abort on null collections ("certs", "*certs"), on null certificates ("certificate")
   and on an index that is not in the collection. */

/* cryX509CertificatesCreate: an empty collection. */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509CertificatesCreate( void );
/* cryX509CertificatesCreateFrom: a copy that shares the certificates; null aborts ("source"). */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509CertificatesCreateFrom( CRY_X509_CERTIFICATES *source );
/* cryX509CertificatesTryCreateFromPemVector: the certificates of a vector of PEM objects, in its
   order; null if one of them is not a certificate. The vector must hold only PEM objects
   ("pbVectorContainsOnly( pv, cryPemSort() )"). */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509CertificatesTryCreateFromPemVector( PB_VECTOR *pv );

/* cryX509CertificatesCertificatesLength: number of certificates. */
PB_EXPORT PB_INT cryX509CertificatesCertificatesLength( CRY_X509_CERTIFICATES *certs );
/* cryX509CertificatesCertificateAt: the certificate at an index, a new reference. */
PB_EXPORT CRY_X509_CERTIFICATE *cryX509CertificatesCertificateAt( CRY_X509_CERTIFICATES *certs, PB_INT index );
/* cryX509CertificatesCertificatesVector: all certificates, a new reference to a vector. */
PB_EXPORT PB_VECTOR *cryX509CertificatesCertificatesVector( CRY_X509_CERTIFICATES *certs );

/* cryX509CertificatesSetCertificatesVector: replaces all certificates by those of a vector, which
   must hold nothing else ("pbVectorContainsOnly( vec, cryX509CertificateSort() )"). */
PB_EXPORT void cryX509CertificatesSetCertificatesVector( CRY_X509_CERTIFICATES **certs, PB_VECTOR *vec );
/* cryX509CertificatesAppendCertificate: adds a certificate at the end. */
PB_EXPORT void cryX509CertificatesAppendCertificate( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATE *certificate );
/* cryX509CertificatesPrependCertificate: adds a certificate at the front. */
PB_EXPORT void cryX509CertificatesPrependCertificate( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATE *certificate );
/* cryX509CertificatesInsertCertificate: adds a certificate before the one at `index`, which may be
   the length. */
PB_EXPORT void cryX509CertificatesInsertCertificate( CRY_X509_CERTIFICATES **certs, PB_INT index, CRY_X509_CERTIFICATE *certificate );
/* cryX509CertificatesSetCertificateAt: replaces the certificate at an index. */
PB_EXPORT void cryX509CertificatesSetCertificateAt( CRY_X509_CERTIFICATES **certs, PB_INT index, CRY_X509_CERTIFICATE *certificate );
/* cryX509CertificatesDelCertificateAt: removes the certificate at an index. */
PB_EXPORT void cryX509CertificatesDelCertificateAt( CRY_X509_CERTIFICATES **certs, PB_INT index );
/* cryX509CertificatesClearCertificates: removes all certificates. */
PB_EXPORT void cryX509CertificatesClearCertificates( CRY_X509_CERTIFICATES **certs );
/* cryX509CertificatesInsert: inserts the certificates of another collection, in its order, before
   the one at `index`, which may be the length. */
PB_EXPORT void cryX509CertificatesInsert( CRY_X509_CERTIFICATES **certs, PB_INT index, CRY_X509_CERTIFICATES *other );
/* cryX509CertificatesAppend: the same at the end. */
PB_EXPORT void cryX509CertificatesAppend( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATES *other );
/* cryX509CertificatesPrepend: the same at the front. */
PB_EXPORT void cryX509CertificatesPrepend( CRY_X509_CERTIFICATES **certs, CRY_X509_CERTIFICATES *other );

/* cryX509CertificatesStore: a new array store of the certificates' stores. */
PB_EXPORT PB_STORE *cryX509CertificatesStore( CRY_X509_CERTIFICATES *certs );
/* cryX509CertificatesRestore: the certificates of an array store; entries that do not restore are
   skipped, so the result is never null. A null store aborts ("store"). */
PB_EXPORT CRY_X509_CERTIFICATES *cryX509CertificatesRestore( PB_STORE *store );

/* cryX509CertificatesSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare compares the certificates one by one, then the
   lengths. */
PB_EXPORT const PB_SORT         *cryX509CertificatesSort( void );
PB_EXPORT PB_OBJ                *cryX509CertificatesObj( CRY_X509_CERTIFICATES *obj );
PB_EXPORT CRY_X509_CERTIFICATES *cryX509CertificatesFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_CERTIFICATES *cryX509CertificatesRetain( CRY_X509_CERTIFICATES *obj );
PB_EXPORT void                   cryX509CertificatesRelease( CRY_X509_CERTIFICATES *obj );
PB_EXPORT PB_INT                 cryX509CertificatesCompare( CRY_X509_CERTIFICATES *objA, CRY_X509_CERTIFICATES *objB );
PB_EXPORT PB_BOOL                cryX509CertificatesEquals( CRY_X509_CERTIFICATES *objA, CRY_X509_CERTIFICATES *objB );
PB_EXPORT PB_STRING             *cryX509CertificatesToString( CRY_X509_CERTIFICATES *obj );

PB_END_DECLS

#endif
