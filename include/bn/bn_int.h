/* Signed integers of any size. */
#ifndef BN_BN_INT_H
#define BN_BN_INT_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( BN_INT );

PB_BEGIN_DECLS

/* bnIntCreate: an integer of this value. */
PB_EXPORT BN_INT *bnIntCreate( PB_INT value );
/* bnIntTryCreateFromDecimalString: from decimal digits, with or without a minus sign before them.
   Null for any other text. Null text aborts ("text"). */
PB_EXPORT BN_INT *bnIntTryCreateFromDecimalString( PB_STRING *text );
/* bnIntConvertToDecimalString: decimal digits, with a minus sign if the number is negative. Null
   aborts ("bn"). */
PB_EXPORT PB_STRING *bnIntConvertToDecimalString( BN_INT *bn );

/* bnIntSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by value, ToString gives the decimal number. */
PB_EXPORT const PB_SORT *bnIntSort( void );
PB_EXPORT PB_OBJ        *bnIntObj( BN_INT *obj );
PB_EXPORT BN_INT        *bnIntFrom( PB_OBJ *obj );
PB_EXPORT BN_INT        *bnIntRetain( BN_INT *obj );
PB_EXPORT void           bnIntRelease( BN_INT *obj );
PB_EXPORT PB_INT         bnIntCompare( BN_INT *objA, BN_INT *objB );
PB_EXPORT PB_BOOL        bnIntEquals( BN_INT *objA, BN_INT *objB );
PB_EXPORT PB_STRING     *bnIntToString( BN_INT *obj );

PB_END_DECLS

#endif
