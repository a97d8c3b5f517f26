/* Integers as objects. */
#ifndef PB_PB_BOXED_INT_H
#define PB_PB_BOXED_INT_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_BOXED_INT );
/* A PB_BOXED_INT never changes, so many threads may use it at once. */

PB_BEGIN_DECLS

/* pbBoxedIntCreate: an object that holds `value`. */
PB_EXPORT PB_BOXED_INT *pbBoxedIntCreate( PB_INT value );
/* pbBoxedIntValue: the integer; null aborts ("bi"). */
PB_EXPORT PB_INT pbBoxedIntValue( PB_BOXED_INT *bi );

/* pbBoxedIntSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by value, ToString gives the decimal number. */
PB_EXPORT const PB_SORT *pbBoxedIntSort( void );
PB_EXPORT PB_OBJ        *pbBoxedIntObj( PB_BOXED_INT *obj );
PB_EXPORT PB_BOXED_INT  *pbBoxedIntFrom( PB_OBJ *obj );
PB_EXPORT PB_BOXED_INT  *pbBoxedIntRetain( PB_BOXED_INT *obj );
PB_EXPORT void           pbBoxedIntRelease( PB_BOXED_INT *obj );
PB_EXPORT PB_INT         pbBoxedIntCompare( PB_BOXED_INT *objA, PB_BOXED_INT *objB );
PB_EXPORT PB_BOOL        pbBoxedIntEquals( PB_BOXED_INT *objA, PB_BOXED_INT *objB );
PB_EXPORT PB_STRING     *pbBoxedIntToString( PB_BOXED_INT *obj );

PB_END_DECLS

#endif
