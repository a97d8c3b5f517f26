/* CRY_X509_KEY_USAGE: key usage (RFC 5280, 4.2.1.3); each flag is the bit of the same number in the
   extension. */
#ifndef CRY_CRY_X509_KEY_USAGE_H
#define CRY_CRY_X509_KEY_USAGE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_KEY_USAGE;

#define CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE ( (CRY_X509_KEY_USAGE)0x1 )
#define CRY_X509_KEY_USAGE_NON_REPUDIATION ( (CRY_X509_KEY_USAGE)0x2 )
#define CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT ( (CRY_X509_KEY_USAGE)0x4 )
#define CRY_X509_KEY_USAGE_DATA_ENCIPHERMENT ( (CRY_X509_KEY_USAGE)0x8 )
#define CRY_X509_KEY_USAGE_KEY_AGREEMENT ( (CRY_X509_KEY_USAGE)0x10 )
#define CRY_X509_KEY_USAGE_KEY_CERT_SIGN ( (CRY_X509_KEY_USAGE)0x20 )
#define CRY_X509_KEY_USAGE_CRL_SIGN ( (CRY_X509_KEY_USAGE)0x40 )
#define CRY_X509_KEY_USAGE_ENCIPHER_ONLY ( (CRY_X509_KEY_USAGE)0x80 )
#define CRY_X509_KEY_USAGE_DECIPHER_ONLY ( (CRY_X509_KEY_USAGE)0x100 )

PB_BEGIN_DECLS

/* cryX509KeyUsageNormalize: the flags without undefined bits. */
PB_EXPORT CRY_X509_KEY_USAGE cryX509KeyUsageNormalize( CRY_X509_KEY_USAGE flags );
/* cryX509KeyUsageToString: the names of the flags that are set, in the order above, joined by `|`;
   empty if no flag is set. Undefined bits are dropped. A new string. */
PB_EXPORT PB_STRING *cryX509KeyUsageToString( CRY_X509_KEY_USAGE flags );
/* cryX509KeyUsageFromString: the flags that a text names. The names are separated by `|`; white
   space around a name is dropped, and unknown names are skipped. A null text aborts ("pbs"). */
PB_EXPORT CRY_X509_KEY_USAGE cryX509KeyUsageFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
