/* New self-signed certificates. */
#ifndef CRY_CRY_GENERATE_CERTIFICATE_H
#define CRY_CRY_GENERATE_CERTIFICATE_H

#include <cry/cry_x509_certificate.h>

PB_BEGIN_DECLS

/* cryTryGenerateCertificate: a self-signed certificate (RFC 5280) for a key, with the serial number
   1, signed with SHA-256, valid from yesterday for `days` days from now. Both names may be null.
   The subject is CN=commonName; without a common name it is CN=domainName, spelled as it was given;
   without both names it is CN= and a new UUID. The domain name also becomes a subject alternative
   name, in ASCII form. Null if the domain name is not valid (inDnsIdnaDomainNameOk), a name does
   not fit into a certificate, the time is out of range, or the key cannot sign. A null key and
   negative days abort ("privateKey", "days >= 0"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryTryGenerateCertificate( CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days );
/* cryTryGenerateCertificateWithExtendedKeyUsage: the same with an extended key usage (RFC 5280,
   4.2.1.12): clientAuth, serverAuth or both. Aborts if both are false ("clientAuth ||
   serverAuth"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryTryGenerateCertificateWithExtendedKeyUsage(
    CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days, PB_BOOL clientAuth, PB_BOOL serverAuth );

PB_END_DECLS

#endif
