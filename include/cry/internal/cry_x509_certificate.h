/* Certificates and OpenSSL's. */
#ifndef CRY_INTERNAL_CRY_X509_CERTIFICATE_H
#define CRY_INTERNAL_CRY_X509_CERTIFICATE_H

#include <cry/cry_x509_certificate.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509CertificateTryCreateFromOpensslX509Use: a certificate of an OpenSSL one, whose
   reference is taken over, also when null is returned. Null aborts ("x509"). */
PB_EXPORT CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Use( X509 *x509 );
/* cry___X509CertificateTryCreateFromOpensslX509UpRef: the same with a reference of its own; the
   caller keeps his. */
PB_EXPORT CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509UpRef( X509 *x509 );
/* cry___X509CertificateTryCreateFromOpensslX509Copy: the same with a deep copy. */
PB_EXPORT CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Copy( X509 *x509 );
/* cry___X509CertificatePeekOpensslX509: lends the OpenSSL certificate: to be read only, while the
   caller holds the object. */
PB_EXPORT X509 *cry___X509CertificatePeekOpensslX509( CRY_X509_CERTIFICATE *cert );

PB_END_DECLS

#endif
