/* Collections of certificates and OpenSSL's stores and stacks. */
#ifndef CRY_INTERNAL_CRY_X509_CERTIFICATES_H
#define CRY_INTERNAL_CRY_X509_CERTIFICATES_H

#include <cry/cry_x509_certificates.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509CertificatesCreateOpensslX509Store: a new OpenSSL store with every certificate of the
   collection; the caller frees it. */
PB_EXPORT X509_STORE *cry___X509CertificatesCreateOpensslX509Store( CRY_X509_CERTIFICATES *certs );
/* cry___X509CertificatesStoreSubjects: a new array store with the subject of each certificate, as
   cryX509InfoSubject gives it; null for a subject that does not decode. Null aborts ("certs"). */
PB_EXPORT PB_STORE *cry___X509CertificatesStoreSubjects( CRY_X509_CERTIFICATES *certs );
/* cry___X509CertificatesTryCreateFromOpensslStackOfX509: a collection of copies of the certificates
   in an OpenSSL stack; null if one cannot be copied. A null stack aborts ("x509s"). */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509CertificatesTryCreateFromOpensslStackOfX509( STACK_OF( X509 ) * x509s );

PB_END_DECLS

#endif
