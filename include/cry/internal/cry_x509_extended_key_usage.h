/* Extended key usage from OpenSSL's form of the extension. */
#ifndef CRY_INTERNAL_CRY_X509_EXTENDED_KEY_USAGE_H
#define CRY_INTERNAL_CRY_X509_EXTENDED_KEY_USAGE_H

#include <cry/cry_x509_extended_key_usage.h>

#include <openssl/x509v3.h>

PB_BEGIN_DECLS

/* cry___X509ExtendedKeyUsageFromOpensslExtendedKeyUsage: the flags of a stack of key purposes; it
   is lent. Purposes without a flag are skipped. Null aborts ("extusage"). */
PB_EXPORT CRY_X509_EXTENDED_KEY_USAGE cry___X509ExtendedKeyUsageFromOpensslExtendedKeyUsage( const EXTENDED_KEY_USAGE *extusage );

PB_END_DECLS

#endif
