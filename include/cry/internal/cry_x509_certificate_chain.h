/* Verification of a chain of certificates. */
#ifndef CRY_INTERNAL_CRY_X509_CERTIFICATE_CHAIN_H
#define CRY_INTERNAL_CRY_X509_CERTIFICATE_CHAIN_H

#include <cry/cry_x509_certificates.h>
#include <pb/pb_time.h>

PB_BEGIN_DECLS

/* cry___X509CertificateChainTryVerifyCertificate: verifies a certificate at a time against trusted
   certificates, any of which may end the chain, self-signed or not; `extraCertificates` (may be
   null) are untrusted intermediates. Signatures, validity, basic constraints, key usage for signing
   and name constraints are checked (RFC 5280, 6); purpose, names of the subject and revocation are
   not; depth is at most 255. Gives the chain, leaf first, as a new collection, in which the given
   certificate objects are used again where they are part of it; null if the certificate does not
   verify or the time cannot be expressed. Aborts on null ("certificate", "trustedCertificates",
   "tm"). */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509CertificateChainTryVerifyCertificate(
    CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates, PB_TIME *tm );

PB_END_DECLS

#endif
