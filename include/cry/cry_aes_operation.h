/* CRY_AES_OPERATION: the direction of an AES object. */
#ifndef CRY_CRY_AES_OPERATION_H
#define CRY_CRY_AES_OPERATION_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_AES_OPERATION;

#define CRY_AES_OPERATION_ENCRYPT ( (CRY_AES_OPERATION)0 )
#define CRY_AES_OPERATION_DECRYPT ( (CRY_AES_OPERATION)1 )

#define CRY_AES_OPERATION_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_AES_OPERATION_DECRYPT )

PB_BEGIN_DECLS

/* cryAesOperationToString: the name of a value, for example "CRY_AES_OPERATION_ENCRYPT", a new
   string; another value aborts ("CRY_AES_OPERATION_OK( op )"). */
PB_EXPORT PB_STRING *cryAesOperationToString( CRY_AES_OPERATION op );
/* cryAesOperationFromString: the value of a name, which must match exactly; -1 for an unknown one.
   Null aborts ("pbs"). */
PB_EXPORT CRY_AES_OPERATION cryAesOperationFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
