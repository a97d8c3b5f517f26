/* New self-signed certificates. */
#ifndef CRY_CRY_GENERATE_CERTIFICATE_H
#define CRY_CRY_GENERATE_CERTIFICATE_H

#include <cry/cry_x509_certificate.h>

PB_BEGIN_DECLS

/* cryTryGenerateCertificate: a self-signed certificate (RFC 5280) for a key, with the serial number
   1, signed with SHA-256, valid from yesterday for `days` days from now. The subject is
   CN=commonName, else CN=domainName as it is spelled, else CN= and a new UUID; the domain name also
   becomes a subject alternative name, in ASCII form. Both names may be null. Null if the domain
   name is none (inDnsIdnaDomainNameOk), a name does not fit into a certificate, the time is out of
   range, or the key cannot sign. A null key and negative days abort ("privateKey", "days >= 0"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryTryGenerateCertificate( CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days );
/* cryTryGenerateCertificateWithExtendedKeyUsage: the same with an extended key usage (RFC 5280,
   4.2.1.12): clientAuth, serverAuth or both; neither aborts ("clientAuth || serverAuth"). */
PB_EXPORT CRY_X509_CERTIFICATE *cryTryGenerateCertificateWithExtendedKeyUsage(
    CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days, PB_BOOL clientAuth, PB_BOOL serverAuth );

PB_END_DECLS

#endif
