/* CRY_PKEY_TYPE: kinds of asymmetric key. */
#ifndef CRY_CRY_PKEY_TYPE_H
#define CRY_CRY_PKEY_TYPE_H

#include <pb/pb_obj.h>

/* A function that can give -1 says so; -1 means an unknown type. It is never valid as an
   argument. */
typedef PB_INT CRY_PKEY_TYPE;

#define CRY_PKEY_TYPE_RSA ( (CRY_PKEY_TYPE)0 ) /* rsaEncryption, RFC 8017 */
#define CRY_PKEY_TYPE_EC ( (CRY_PKEY_TYPE)1 )  /* id-ecPublicKey, RFC 5480 */

#define CRY_PKEY_TYPE_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_PKEY_TYPE_EC )

PB_BEGIN_DECLS

/* cryPkeyTypeToString: the name of a value, for example "CRY_PKEY_TYPE_RSA", a new string; another
   value aborts ("CRY_PKEY_TYPE_OK( type )"). */
PB_EXPORT PB_STRING *cryPkeyTypeToString( CRY_PKEY_TYPE type );
/* cryPkeyTypeFromString: the value of a name, which must match exactly; -1 for an unknown one. Null
   aborts ("pbs"). */
PB_EXPORT CRY_PKEY_TYPE cryPkeyTypeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
