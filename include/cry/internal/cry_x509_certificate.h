/* Certificates from and to OpenSSL's certificates. */
#ifndef CRY_INTERNAL_CRY_X509_CERTIFICATE_H
#define CRY_INTERNAL_CRY_X509_CERTIFICATE_H

#include <cry/cry_x509_certificate.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509CertificateTryCreateFromOpensslX509Use: a certificate of an OpenSSL certificate. The
   caller's reference is taken over in every case. Null if OpenSSL cannot write the certificate. A
   null argument aborts ("x509"). */
PB_EXPORT CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Use( X509 *x509 );
/* cry___X509CertificateTryCreateFromOpensslX509UpRef: the same, but the object takes a reference of
   its own; the caller keeps his reference in every case. */
PB_EXPORT CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509UpRef( X509 *x509 );
/* cry___X509CertificateTryCreateFromOpensslX509Copy: the same with a deep copy; the caller keeps
   his reference. */
PB_EXPORT CRY_X509_CERTIFICATE *cry___X509CertificateTryCreateFromOpensslX509Copy( X509 *x509 );
/* cry___X509CertificatePeekOpensslX509: lends the OpenSSL certificate. It may only be read, and
   only while the caller holds the object. It may be made at the first call, and equal certificates
   may lend the same one. Aborts if there is no memory for it ("x509"). */
PB_EXPORT X509 *cry___X509CertificatePeekOpensslX509( CRY_X509_CERTIFICATE *cert );

PB_END_DECLS

#endif
