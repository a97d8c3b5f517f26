/* CRY_UUID_VARIANT: the variants of a UUID (RFC 4122, 4.1.1). */
#ifndef CRY_CRY_UUID_VARIANT_H
#define CRY_CRY_UUID_VARIANT_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_UUID_VARIANT;

#define CRY_UUID_VARIANT_RESERVED_FOR_NCS ( (CRY_UUID_VARIANT)0 )       /* NCS backward compatibility */
#define CRY_UUID_VARIANT_STANDARD ( (CRY_UUID_VARIANT)1 )               /* the variant of RFC 4122 */
#define CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT ( (CRY_UUID_VARIANT)2 ) /* Microsoft backward compatibility */
#define CRY_UUID_VARIANT_RESERVED_FOR_FUTURE ( (CRY_UUID_VARIANT)3 )

#define CRY_UUID_VARIANT_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_UUID_VARIANT_RESERVED_FOR_FUTURE )

PB_BEGIN_DECLS

/* cryUuidVariantToString: the name of a value, for example "CRY_UUID_VARIANT_RESERVED_FOR_NCS", a
   new string; another value aborts ("CRY_UUID_VARIANT_OK( var )"). */
PB_EXPORT PB_STRING *cryUuidVariantToString( CRY_UUID_VARIANT var );
/* cryUuidVariantFromString: the value of a name, which must match exactly; -1 for an unknown one.
   Null aborts ("pbs"). */
PB_EXPORT CRY_UUID_VARIANT cryUuidVariantFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
