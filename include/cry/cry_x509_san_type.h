/* CRY_X509_SAN_TYPE: kinds of subject alternative name (RFC 5280, 4.2.1.6). */
#ifndef CRY_CRY_X509_SAN_TYPE_H
#define CRY_CRY_X509_SAN_TYPE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_X509_SAN_TYPE;

#define CRY_X509_SAN_TYPE_DNS_NAME ( (CRY_X509_SAN_TYPE)0 )
#define CRY_X509_SAN_TYPE_IP_ADDRESS ( (CRY_X509_SAN_TYPE)1 )

#define CRY_X509_SAN_TYPE_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_X509_SAN_TYPE_IP_ADDRESS )

PB_BEGIN_DECLS

/* cryX509SanTypeToString: the name of a value, for example "CRY_X509_SAN_TYPE_DNS_NAME", a new
   string; another value aborts ("CRY_X509_SAN_TYPE_OK( type )"). */
PB_EXPORT PB_STRING *cryX509SanTypeToString( CRY_X509_SAN_TYPE type );
/* cryX509SanTypeFromString: the value of a name, which must match exactly; -1 for an unknown one.
   Null aborts ("pbs"). */
PB_EXPORT CRY_X509_SAN_TYPE cryX509SanTypeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
