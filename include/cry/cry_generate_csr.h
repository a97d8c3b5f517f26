/* New certificate signing requests. */
#ifndef CRY_CRY_GENERATE_CSR_H
#define CRY_CRY_GENERATE_CSR_H

#include <cry/cry_x509_csr.h>

PB_BEGIN_DECLS

/* cryTryGenerateCsr: a request (RFC 2986) for a key, signed with SHA-256, with the same subject and
   subject alternative name that cryTryGenerateCertificate makes. Null in the same cases. A null key
   aborts ("privateKey"). */
PB_EXPORT CRY_X509_CSR *cryTryGenerateCsr( CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName );

PB_END_DECLS

#endif
