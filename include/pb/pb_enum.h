/* Enumerations: values with names. */
#ifndef PB_PB_ENUM_H
#define PB_PB_ENUM_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_ENUM );
/* Many threads may read a PB_ENUM; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* pbEnumCreate: an enumeration without values. */
PB_EXPORT PB_ENUM *pbEnumCreate( void );
/* pbEnumCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_ENUM *pbEnumCreateFrom( PB_ENUM *source );
/* pbEnumSetEnumerantCstr: gives a value a name; the value loses its old name, and the name its old
   value; `length` -1 means zero-terminated. */
PB_EXPORT void pbEnumSetEnumerantCstr( PB_ENUM **enumeration, const char *name, PB_INT length, PB_INT value );
/* pbEnumGenerate: the name of a value, a new reference; a value without a name aborts ("name"). */
PB_EXPORT PB_STRING *pbEnumGenerate( PB_ENUM *enumeration, PB_INT value );
/* pbEnumParse: the value of a name, which must match exactly; -1 for an unknown name. */
PB_EXPORT PB_INT pbEnumParse( PB_ENUM *enumeration, PB_STRING *name );

/* pbEnumSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT *pbEnumSort( void );
PB_EXPORT PB_OBJ        *pbEnumObj( PB_ENUM *obj );
PB_EXPORT PB_ENUM       *pbEnumFrom( PB_OBJ *obj );
PB_EXPORT PB_ENUM       *pbEnumRetain( PB_ENUM *obj );
PB_EXPORT void           pbEnumRelease( PB_ENUM *obj );
PB_EXPORT PB_INT         pbEnumCompare( PB_ENUM *objA, PB_ENUM *objB );
PB_EXPORT PB_BOOL        pbEnumEquals( PB_ENUM *objA, PB_ENUM *objB );
PB_EXPORT PB_STRING     *pbEnumToString( PB_ENUM *obj );

PB_END_DECLS

#endif
