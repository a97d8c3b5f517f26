/* Collections of certificates and OpenSSL's stores and stacks; chain verification. */
#ifndef CRY_INTERNAL_CRY_X509_CERTIFICATES_H
#define CRY_INTERNAL_CRY_X509_CERTIFICATES_H

#include <cry/cry_x509_certificates.h>
#include <pb/pb_time.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509CertificatesCreateOpensslX509Store: a new OpenSSL store with every certificate of the collection; the caller frees it. */
PB_EXPORT X509_STORE *cry___X509CertificatesCreateOpensslX509Store( CRY_X509_CERTIFICATES *certs );
/* cry___X509CertificatesTryCreateFromOpensslStackOfX509: a collection of copies of the certificates in an OpenSSL stack; null when one cannot be copied. Null
   aborts ("x509s"). */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509CertificatesTryCreateFromOpensslStackOfX509( STACK_OF( X509 ) * x509s );

/* cry___X509CertificateChainTryVerifyCertificate: verifies a certificate at a time against trusted certificates, any of which may end the chain, self-signed or
   not; `extraCertificates` (may be null) are untrusted intermediates. Signatures, validity, basic constraints, key usage for signing and name constraints are
   checked (RFC 5280, 6); purpose, names of the subject and revocation are not; depth is at most 255. Gives the chain, leaf first, as a new collection, in
   which the given certificate objects are used again where they are part of it; null when the certificate does not verify or the time cannot be expressed. Aborts
   on null ("certificate", "trustedCertificates", "tm"). */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509CertificateChainTryVerifyCertificate(
    CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates, PB_TIME *tm );

/* cry___X509SystemPlatformTrustedCertificatesLoad: the platform's trusted roots, read afresh, as a new collection; empty when there are none, never null. What
   does not parse is left out, what comes twice is kept once. Blocks while files are read. */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509SystemPlatformTrustedCertificatesLoad( void );

PB_END_DECLS

#endif
