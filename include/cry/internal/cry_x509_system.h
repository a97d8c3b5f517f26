/* The platform's trusted roots. */
#ifndef CRY_INTERNAL_CRY_X509_SYSTEM_H
#define CRY_INTERNAL_CRY_X509_SYSTEM_H

#include <cry/cry_x509_certificates.h>

PB_BEGIN_DECLS

/* cry___X509SystemPlatformTrustedCertificatesLoad: the platform's trusted roots, read afresh, as a
   new collection; empty when there are none, never null. What does not parse is left out, what
   comes twice is kept once. Blocks while files are read. */
PB_EXPORT CRY_X509_CERTIFICATES *cry___X509SystemPlatformTrustedCertificatesLoad( void );

PB_END_DECLS

#endif
