/* Vectors: objects in order. */
#ifndef PB_PB_VECTOR_H
#define PB_PB_VECTOR_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_VECTOR );
/* Many threads may read a PB_VECTOR; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* A vector holds one reference to each of its objects. A null object aborts ("obj"), and so does an
   index that is not in the vector. */

/* pbVectorCreate: an empty vector. */
PB_EXPORT PB_VECTOR *pbVectorCreate( void );
/* pbVectorCreateFrom: a copy that shares the objects; null aborts ("source"). */
PB_EXPORT PB_VECTOR *pbVectorCreateFrom( PB_VECTOR *source );
/* pbVectorLength: number of objects; null aborts ("vector"). */
PB_EXPORT PB_INT pbVectorLength( PB_VECTOR *vector );
/* pbVectorObjAt: the object at an index, a new reference. */
PB_EXPORT PB_OBJ *pbVectorObjAt( PB_VECTOR *vector, PB_INT index );
/* pb___VectorPeekObjAt: the same, but lent: the object is valid while the caller holds the vector
   and does not edit it. */
PB_EXPORT PB_OBJ *pb___VectorPeekObjAt( PB_VECTOR *vector, PB_INT index );
/* pbVectorContainsOnly: whether every object is of this sort; true for an empty vector, false for
   null. A null `sort` aborts. */
PB_EXPORT PB_BOOL pbVectorContainsOnly( PB_VECTOR *vector, const PB_SORT *sort );

/* pbVectorAppendObj: adds an object at the end, in constant time on average. */
PB_EXPORT void pbVectorAppendObj( PB_VECTOR **vector, PB_OBJ *obj );
/* pbVectorPrependObj: adds an object at the front. */
PB_EXPORT void pbVectorPrependObj( PB_VECTOR **vector, PB_OBJ *obj );
/* pbVectorInsertObj: adds an object before the one at `index`, which may be the length. */
PB_EXPORT void pbVectorInsertObj( PB_VECTOR **vector, PB_INT index, PB_OBJ *obj );
/* pbVectorSetObjAt: replaces the object at an index. */
PB_EXPORT void pbVectorSetObjAt( PB_VECTOR **vector, PB_INT index, PB_OBJ *obj );
/* pbVectorDelObjAt: removes the object at an index; for the first object this takes constant
   time. */
PB_EXPORT void pbVectorDelObjAt( PB_VECTOR **vector, PB_INT index );
/* pbVectorTakeFirst: removes the first object in constant time and gives its reference to the
   caller; an empty vector aborts. */
PB_EXPORT PB_OBJ *pbVectorTakeFirst( PB_VECTOR **vector );
/* pbVectorInsert: inserts all objects of another vector, in their order, before the one at `index`.
   Both may be the same vector. */
PB_EXPORT void pbVectorInsert( PB_VECTOR **vector, PB_INT index, PB_VECTOR *other );
/* pbVectorClear: removes all objects. */
PB_EXPORT void pbVectorClear( PB_VECTOR **vector );

/* pbVectorSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare compares the objects one by one with pbObjCompare, then the
   lengths. Its stack does not grow with the depth of nested vectors. */
PB_EXPORT const PB_SORT *pbVectorSort( void );
PB_EXPORT PB_OBJ        *pbVectorObj( PB_VECTOR *obj );
PB_EXPORT PB_VECTOR     *pbVectorFrom( PB_OBJ *obj );
PB_EXPORT PB_VECTOR     *pbVectorRetain( PB_VECTOR *obj );
PB_EXPORT void           pbVectorRelease( PB_VECTOR *obj );
PB_EXPORT PB_INT         pbVectorCompare( PB_VECTOR *objA, PB_VECTOR *objB );
PB_EXPORT PB_BOOL        pbVectorEquals( PB_VECTOR *objA, PB_VECTOR *objB );
PB_EXPORT PB_STRING     *pbVectorToString( PB_VECTOR *obj );

PB_END_DECLS

#endif
