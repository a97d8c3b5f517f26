/* CRY_X509_EXTENDED_KEY_USAGE: extended key usage (RFC 5280, 4.2.1.12). */
#ifndef CRY_CRY_X509_EXTENDED_KEY_USAGE_H
#define CRY_CRY_X509_EXTENDED_KEY_USAGE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_EXTENDED_KEY_USAGE;

#define CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER ( (CRY_X509_EXTENDED_KEY_USAGE)0x1 ) /* serverAuth */
#define CRY_X509_EXTENDED_KEY_USAGE_SSL_CLIENT ( (CRY_X509_EXTENDED_KEY_USAGE)0x2 ) /* clientAuth */
#define CRY_X509_EXTENDED_KEY_USAGE_SMIME ( (CRY_X509_EXTENDED_KEY_USAGE)0x4 )      /* emailProtection */
#define CRY_X509_EXTENDED_KEY_USAGE_CODE_SIGN ( (CRY_X509_EXTENDED_KEY_USAGE)0x8 )  /* codeSigning */
#define CRY_X509_EXTENDED_KEY_USAGE_OCSP_SIGN ( (CRY_X509_EXTENDED_KEY_USAGE)0x10 ) /* OCSPSigning */
#define CRY_X509_EXTENDED_KEY_USAGE_TIMESTAMP ( (CRY_X509_EXTENDED_KEY_USAGE)0x20 ) /* timeStamping */
#define CRY_X509_EXTENDED_KEY_USAGE_DVCS ( (CRY_X509_EXTENDED_KEY_USAGE)0x40 )      /* data validation and certification server, RFC 3029 */
#define CRY_X509_EXTENDED_KEY_USAGE_ANYEKU ( (CRY_X509_EXTENDED_KEY_USAGE)0x80 )    /* anyExtendedKeyUsage */
#define CRY_X509_EXTENDED_KEY_USAGE_MS_SGC ( (CRY_X509_EXTENDED_KEY_USAGE)0x100 )   /* server gated cryptography */
#define CRY_X509_EXTENDED_KEY_USAGE_NS_SGC ( (CRY_X509_EXTENDED_KEY_USAGE)0x200 )   /* server gated cryptography, the older one */

PB_BEGIN_DECLS

/* cryX509ExtendedKeyUsageNormalize: the flags without undefined bits. */
PB_EXPORT CRY_X509_EXTENDED_KEY_USAGE cryX509ExtendedKeyUsageNormalize( CRY_X509_EXTENDED_KEY_USAGE flags );
/* cryX509ExtendedKeyUsageToString: the names of the flags that are set, in the order above, joined
   by `|`; empty if no flag is set. Undefined bits are dropped. A new string. */
PB_EXPORT PB_STRING *cryX509ExtendedKeyUsageToString( CRY_X509_EXTENDED_KEY_USAGE flags );
/* cryX509ExtendedKeyUsageFromString: the flags that a text names. The names are separated by `|`;
   white space around a name is dropped, and unknown names are skipped. A null text aborts
   ("pbs"). */
PB_EXPORT CRY_X509_EXTENDED_KEY_USAGE cryX509ExtendedKeyUsageFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
