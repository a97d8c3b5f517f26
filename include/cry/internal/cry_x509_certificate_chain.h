/* Verification of a chain of certificates. */
#ifndef CRY_INTERNAL_CRY_X509_CERTIFICATE_CHAIN_H
#define CRY_INTERNAL_CRY_X509_CERTIFICATE_CHAIN_H

#include <cry/cry_x509_certificates.h>
#include <pb/pb_time.h>

PB_BEGIN_DECLS

/* cry___X509CertificateChainTryVerifyCertificate: verifies a certificate for the time `tm` against
   trusted certificates. Each of these may end the chain, self-signed or not. `extraCertificates`
   (may be null) are untrusted intermediates. Signatures, validity, basic constraints, key usage for
   signing and name constraints are checked (RFC 5280, 6). Purpose, names of the subject and
   revocation are not checked. The depth is at most 255. Gives the chain, leaf first, as a new
   collection; it holds the caller's own objects for the certificates that the caller gave. Null if
   the certificate does not verify or `tm` has no time_t. Aborts on null ("certificate",
   "trustedCertificates", "tm"). */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509CertificateChainTryVerifyCertificate(
    CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates, PB_TIME *tm );

PB_END_DECLS

#endif
