/* CRY_UUID_VERSION: the versions of a UUID (RFC 4122, 4.1.3), counted from 0 here. */
#ifndef CRY_CRY_UUID_VERSION_H
#define CRY_CRY_UUID_VERSION_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_UUID_VERSION;

#define CRY_UUID_VERSION_TIME_BASED ( (CRY_UUID_VERSION)0 )
#define CRY_UUID_VERSION_RESERVED_FOR_DCE ( (CRY_UUID_VERSION)1 )
#define CRY_UUID_VERSION_NAME_BASED_MD5 ( (CRY_UUID_VERSION)2 )
#define CRY_UUID_VERSION_RANDOM_NUMBER_BASED ( (CRY_UUID_VERSION)3 )
#define CRY_UUID_VERSION_NAME_BASED_SHA1 ( (CRY_UUID_VERSION)4 )

#define CRY_UUID_VERSION_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_UUID_VERSION_NAME_BASED_SHA1 )

PB_BEGIN_DECLS

/* cryUuidVersionToString: the name of a value, for example "CRY_UUID_VERSION_TIME_BASED", a new
   string; another value aborts ("CRY_UUID_VERSION_OK( ver )"). */
PB_EXPORT PB_STRING *cryUuidVersionToString( CRY_UUID_VERSION ver );
/* cryUuidVersionFromString: the value of a name, which must match exactly; -1 for an unknown one.
   Null aborts ("pbs"). */
PB_EXPORT CRY_UUID_VERSION cryUuidVersionFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
