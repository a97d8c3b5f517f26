/* CRY_X509_NETSCAPE_CERT_TYPE: Netscape certificate type; bit 4 of the extension is reserved and
   has no flag. */
#ifndef CRY_CRY_X509_NETSCAPE_CERT_TYPE_H
#define CRY_CRY_X509_NETSCAPE_CERT_TYPE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_NETSCAPE_CERT_TYPE;

#define CRY_X509_NETSCAPE_CERT_TYPE_SSL_CLIENT ( (CRY_X509_NETSCAPE_CERT_TYPE)0x1 )
#define CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER ( (CRY_X509_NETSCAPE_CERT_TYPE)0x2 )
#define CRY_X509_NETSCAPE_CERT_TYPE_SMIME ( (CRY_X509_NETSCAPE_CERT_TYPE)0x4 )
#define CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN ( (CRY_X509_NETSCAPE_CERT_TYPE)0x8 )
#define CRY_X509_NETSCAPE_CERT_TYPE_SSL_CA ( (CRY_X509_NETSCAPE_CERT_TYPE)0x10 )
#define CRY_X509_NETSCAPE_CERT_TYPE_SMIME_CA ( (CRY_X509_NETSCAPE_CERT_TYPE)0x20 )
#define CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA ( (CRY_X509_NETSCAPE_CERT_TYPE)0x40 )

PB_BEGIN_DECLS

/* cryX509NetscapeCertTypeNormalize: the flags without undefined bits. */
PB_EXPORT CRY_X509_NETSCAPE_CERT_TYPE cryX509NetscapeCertTypeNormalize( CRY_X509_NETSCAPE_CERT_TYPE flags );
/* cryX509NetscapeCertTypeToString: the names of the flags that are set, in the order above, joined
   by `|`; empty if no flag is set. Undefined bits are dropped. A new string. */
PB_EXPORT PB_STRING *cryX509NetscapeCertTypeToString( CRY_X509_NETSCAPE_CERT_TYPE flags );
/* cryX509NetscapeCertTypeFromString: the flags that a text names. The names are separated by `|`;
   white space around a name is dropped, and unknown names are skipped. A null text aborts
   ("pbs"). */
PB_EXPORT CRY_X509_NETSCAPE_CERT_TYPE cryX509NetscapeCertTypeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
