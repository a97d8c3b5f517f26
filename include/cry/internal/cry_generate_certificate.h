/* New self-signed certificates, for sibling modules. */
#ifndef CRY_INTERNAL_CRY_GENERATE_CERTIFICATE_H
#define CRY_INTERNAL_CRY_GENERATE_CERTIFICATE_H

#include <cry/cry_generate_certificate.h>

PB_BEGIN_DECLS

/* cry___TryGenerateCertificate: makes the certificates of cryTryGenerateCertificate (both usages
   false) and of cryTryGenerateCertificateWithExtendedKeyUsage. */
PB_EXPORT CRY_X509_CERTIFICATE *cry___TryGenerateCertificate(
    CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName, PB_INT days, PB_BOOL clientAuth, PB_BOOL serverAuth );

PB_END_DECLS

#endif
