/* CRY_VAULT_ITEM_TYPE: kinds of items in the vault. */
#ifndef CRY_CRY_VAULT_ITEM_TYPE_H
#define CRY_CRY_VAULT_ITEM_TYPE_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_VAULT_ITEM_TYPE;

#define CRY_VAULT_ITEM_TYPE_IDENTITY ( (CRY_VAULT_ITEM_TYPE)0 ) /* a private key with its certificates */

#define CRY_VAULT_ITEM_TYPE_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_VAULT_ITEM_TYPE_IDENTITY )

PB_BEGIN_DECLS

/* cryVaultItemTypeToString: the name of a value, for example "CRY_VAULT_ITEM_TYPE_IDENTITY", a new
   string; another value aborts ("CRY_VAULT_ITEM_TYPE_OK( type )"). */
PB_EXPORT PB_STRING *cryVaultItemTypeToString( CRY_VAULT_ITEM_TYPE type );
/* cryVaultItemTypeFromString: the value of a name, which must match exactly; -1 for an unknown one.
   Null aborts ("pbs"). */
PB_EXPORT CRY_VAULT_ITEM_TYPE cryVaultItemTypeFromString( PB_STRING *pbs );

PB_END_DECLS

#endif
