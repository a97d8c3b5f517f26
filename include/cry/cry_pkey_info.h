/* The kind of a key. */
#ifndef CRY_CRY_PKEY_INFO_H
#define CRY_CRY_PKEY_INFO_H

#include <cry/cry_pkey_ec_named_curve.h>
#include <cry/cry_pkey_type.h>

/* CRY_PKEY_INFO: key type, size and named curve, each of which may be missing. Setters take the
   address of the caller's reference and replace it by a copy if the object is shared; they abort on
   null ("info", "*info"). Many threads may read a CRY_PKEY_INFO, and each may edit it through a
   reference of its own. */
PB_OBJECT_TYPE( CRY_PKEY_INFO );

PB_BEGIN_DECLS

/* cryPkeyInfoCreate: an object with nothing set. */
PB_EXPORT CRY_PKEY_INFO *cryPkeyInfoCreate( void );
/* cryPkeyInfoCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT CRY_PKEY_INFO *cryPkeyInfoCreateFrom( CRY_PKEY_INFO *source );

/* cryPkeyInfoType: a CRY_PKEY_TYPE, -1 if it is not set; null aborts ("info"). */
PB_EXPORT CRY_PKEY_TYPE cryPkeyInfoType( CRY_PKEY_INFO *info );
/* cryPkeyInfoHasType: whether it is set. */
PB_EXPORT PB_BOOL cryPkeyInfoHasType( CRY_PKEY_INFO *info );
/* cryPkeyInfoSetType: sets it; another value aborts ("CRY_PKEY_TYPE_OK( type )"). */
PB_EXPORT void cryPkeyInfoSetType( CRY_PKEY_INFO **info, CRY_PKEY_TYPE type );
/* cryPkeyInfoDelType: sets it to -1. */
PB_EXPORT void cryPkeyInfoDelType( CRY_PKEY_INFO **info );

/* cryPkeyInfoBits: the size in bits: of the modulus for RSA, of the group's order for EC; -1 if it
   is not set. */
PB_EXPORT PB_INT cryPkeyInfoBits( CRY_PKEY_INFO *info );
/* cryPkeyInfoHasBits: whether it is set. */
PB_EXPORT PB_BOOL cryPkeyInfoHasBits( CRY_PKEY_INFO *info );
/* cryPkeyInfoSetBits: sets it; a negative value aborts ("bits >= 0"). */
PB_EXPORT void cryPkeyInfoSetBits( CRY_PKEY_INFO **info, PB_INT bits );
/* cryPkeyInfoDelBits: sets it to -1. */
PB_EXPORT void cryPkeyInfoDelBits( CRY_PKEY_INFO **info );

/* cryPkeyInfoEcNamedCurve: a CRY_PKEY_EC_NAMED_CURVE, -1 if it is not set. */
PB_EXPORT CRY_PKEY_EC_NAMED_CURVE cryPkeyInfoEcNamedCurve( CRY_PKEY_INFO *info );
/* cryPkeyInfoHasEcNamedCurve: whether it is set. */
PB_EXPORT PB_BOOL cryPkeyInfoHasEcNamedCurve( CRY_PKEY_INFO *info );
/* cryPkeyInfoSetEcNamedCurve: sets it; another value aborts ("CRY_PKEY_EC_NAMED_CURVE_OK(
   ecNamedCurve )"). */
PB_EXPORT void cryPkeyInfoSetEcNamedCurve( CRY_PKEY_INFO **info, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve );
/* cryPkeyInfoDelEcNamedCurve: sets it to -1. */
PB_EXPORT void cryPkeyInfoDelEcNamedCurve( CRY_PKEY_INFO **info );

/* cryPkeyInfoSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md); objects compare by address. */
PB_EXPORT const PB_SORT *cryPkeyInfoSort( void );
PB_EXPORT PB_OBJ        *cryPkeyInfoObj( CRY_PKEY_INFO *obj );
PB_EXPORT CRY_PKEY_INFO *cryPkeyInfoFrom( PB_OBJ *obj );
PB_EXPORT CRY_PKEY_INFO *cryPkeyInfoRetain( CRY_PKEY_INFO *obj );
PB_EXPORT void           cryPkeyInfoRelease( CRY_PKEY_INFO *obj );
PB_EXPORT PB_INT         cryPkeyInfoCompare( CRY_PKEY_INFO *objA, CRY_PKEY_INFO *objB );
PB_EXPORT PB_BOOL        cryPkeyInfoEquals( CRY_PKEY_INFO *objA, CRY_PKEY_INFO *objB );
PB_EXPORT PB_STRING     *cryPkeyInfoToString( CRY_PKEY_INFO *obj );

PB_END_DECLS

#endif
