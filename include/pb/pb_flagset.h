/* Flag sets: single bits with names. */
#ifndef PB_PB_FLAGSET_H
#define PB_PB_FLAGSET_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_FLAGSET );
/* Many threads may read a PB_FLAGSET; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* pbFlagsetCreate: a flag set without flags. */
PB_EXPORT PB_FLAGSET *pbFlagsetCreate( void );
/* pbFlagsetCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_FLAGSET *pbFlagsetCreateFrom( PB_FLAGSET *source );
/* pbFlagsetSetFlagCstr: gives a flag a name; the flag loses its old name, and the name its old
   value. The value is one bit (or several); 0 or less aborts ("value > 0"). `length` -1 means
   zero-terminated.
   */
PB_EXPORT void pbFlagsetSetFlagCstr( PB_FLAGSET **flagset, const char *name, PB_INT length, PB_INT value );
/* pbFlagsetHasFlagCstr: whether there is a flag of this name. */
PB_EXPORT PB_BOOL pbFlagsetHasFlagCstr( PB_FLAGSET *flagset, const char *name, PB_INT length );
/* pbFlagsetGenerate: the names of the flags that are set in `flags`, in the order of their values,
   joined by `|`; empty if no flag is set. Bits without a name are left out. */
PB_EXPORT PB_STRING *pbFlagsetGenerate( PB_FLAGSET *flagset, PB_INT flags );
/* pbFlagsetParse: the flags that a text names. The names are separated by `|`; white space around a
   name is dropped, and unknown names are skipped. */
PB_EXPORT PB_INT pbFlagsetParse( PB_FLAGSET *flagset, PB_STRING *text );

/* pbFlagsetSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT *pbFlagsetSort( void );
PB_EXPORT PB_OBJ        *pbFlagsetObj( PB_FLAGSET *obj );
PB_EXPORT PB_FLAGSET    *pbFlagsetFrom( PB_OBJ *obj );
PB_EXPORT PB_FLAGSET    *pbFlagsetRetain( PB_FLAGSET *obj );
PB_EXPORT void           pbFlagsetRelease( PB_FLAGSET *obj );
PB_EXPORT PB_INT         pbFlagsetCompare( PB_FLAGSET *objA, PB_FLAGSET *objB );
PB_EXPORT PB_BOOL        pbFlagsetEquals( PB_FLAGSET *objA, PB_FLAGSET *objB );
PB_EXPORT PB_STRING     *pbFlagsetToString( PB_FLAGSET *obj );

PB_END_DECLS

#endif
