/* Key usage from and to OpenSSL's forms of the extension. */
#ifndef CRY_INTERNAL_CRY_X509_KEY_USAGE_H
#define CRY_INTERNAL_CRY_X509_KEY_USAGE_H

#include <cry/cry_x509_key_usage.h>

#include <openssl/asn1.h>

PB_BEGIN_DECLS

/* cry___X509KeyUsageFromOpensslKeyUsage: the flags of a bit string, which is lent; bits above 8
   have no flag. Null aborts ("usage"). */
PB_EXPORT CRY_X509_KEY_USAGE cry___X509KeyUsageFromOpensslKeyUsage( const ASN1_BIT_STRING *usage );
/* cry___X509KeyUsageToOpensslKeyUsage: a new bit string with the bits of the flags; the caller
   frees it. Undefined flags are dropped. If memory cannot be allocated, it aborts. */
PB_EXPORT ASN1_BIT_STRING *cry___X509KeyUsageToOpensslKeyUsage( CRY_X509_KEY_USAGE flags );
/* cry___X509KeyUsageToOpensslSn: the flags in the syntax of OpenSSL's configuration files, a new
   string, for example "digitalSignature,keyEncipherment"; empty if no flag is set. Undefined flags
   are dropped. */
PB_EXPORT PB_STRING *cry___X509KeyUsageToOpensslSn( CRY_X509_KEY_USAGE flags );

PB_END_DECLS

#endif
