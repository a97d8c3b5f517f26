/* What a header says about the writing of its file or stream. */
#ifndef PB_PB_HEADER_INFO_H
#define PB_PB_HEADER_INFO_H

#include <pb/pb_store.h>

PB_OBJECT_TYPE( PB_HEADER_INFO );
/* A PB_HEADER_INFO never changes, so many threads may use it at once. */

PB_BEGIN_DECLS

/* pbHeaderInfoGenerate: the present time, and the short name and the version of the product. It
   holds nothing about the machine or the user. */
PB_EXPORT PB_HEADER_INFO *pbHeaderInfoGenerate( void );
/* pbHeaderInfoStore: a new keyed store with the strings "created" (pbTimeToString), "product" and
   "productVersion"; null aborts ("info"). */
PB_EXPORT PB_STORE *pbHeaderInfoStore( PB_HEADER_INFO *info );

/* pbHeaderInfoSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the time, then by the product. */
PB_EXPORT const PB_SORT  *pbHeaderInfoSort( void );
PB_EXPORT PB_OBJ         *pbHeaderInfoObj( PB_HEADER_INFO *obj );
PB_EXPORT PB_HEADER_INFO *pbHeaderInfoFrom( PB_OBJ *obj );
PB_EXPORT PB_HEADER_INFO *pbHeaderInfoRetain( PB_HEADER_INFO *obj );
PB_EXPORT void            pbHeaderInfoRelease( PB_HEADER_INFO *obj );
PB_EXPORT PB_INT          pbHeaderInfoCompare( PB_HEADER_INFO *objA, PB_HEADER_INFO *objB );
PB_EXPORT PB_BOOL         pbHeaderInfoEquals( PB_HEADER_INFO *objA, PB_HEADER_INFO *objB );
PB_EXPORT PB_STRING      *pbHeaderInfoToString( PB_HEADER_INFO *obj );

PB_END_DECLS

#endif
