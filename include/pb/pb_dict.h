/* Dictionaries: ordered maps from objects to objects, iterated in the order of their keys. */
#ifndef PB_PB_DICT_H
#define PB_PB_DICT_H

#include <pb/pb_identifier.h>
#include <pb/pb_obj.h>
#include <pb/pb_vector.h>

PB_OBJECT_TYPE( PB_DICT );
/* Many threads may read a PB_DICT; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* Keys are ordered by pbObjCompare and must not change while they are in use. Values are never
   null. Functions that read accept a null dictionary, which counts as one without keys. The
   functions of one operation differ only in the form of the key. */

/* pbDictCreate: an empty dictionary. */
PB_EXPORT PB_DICT *pbDictCreate( void );
/* pbDictCreateFrom: a copy that shares keys and values; null aborts ("source"). */
PB_EXPORT PB_DICT *pbDictCreateFrom( PB_DICT *source );
/* pbDictLength: the number of keys. */
PB_EXPORT PB_INT pbDictLength( PB_DICT *dict );

/* pbDictObjKey, pbDictIntKey, pbDictStringKey, pbDictIdentifierKey: the value under a key, a new
   reference, or null. */
PB_EXPORT PB_OBJ *pbDictObjKey( PB_DICT *dict, PB_OBJ *key );
PB_EXPORT PB_OBJ *pbDictIntKey( PB_DICT *dict, PB_INT key );
PB_EXPORT PB_OBJ *pbDictStringKey( PB_DICT *dict, PB_STRING *key );
PB_EXPORT PB_OBJ *pbDictIdentifierKey( PB_DICT *dict, PB_IDENTIFIER *key );
/* pbDictHasObjKey, pbDictHasIntKey, pbDictHasStringKey, pbDictHasIdentifierKey: whether there is a
   value under a key. */
PB_EXPORT PB_BOOL pbDictHasObjKey( PB_DICT *dict, PB_OBJ *key );
PB_EXPORT PB_BOOL pbDictHasIntKey( PB_DICT *dict, PB_INT key );
PB_EXPORT PB_BOOL pbDictHasStringKey( PB_DICT *dict, PB_STRING *key );
PB_EXPORT PB_BOOL pbDictHasIdentifierKey( PB_DICT *dict, PB_IDENTIFIER *key );
/* pbDictSetObjKey, pbDictSetIntKey, pbDictSetStringKey, pbDictSetIdentifierKey: put a value under a
   key; it replaces the value that was there. */
PB_EXPORT void pbDictSetObjKey( PB_DICT **dict, PB_OBJ *key, PB_OBJ *value );
PB_EXPORT void pbDictSetIntKey( PB_DICT **dict, PB_INT key, PB_OBJ *value );
PB_EXPORT void pbDictSetStringKey( PB_DICT **dict, PB_STRING *key, PB_OBJ *value );
PB_EXPORT void pbDictSetIdentifierKey( PB_DICT **dict, PB_IDENTIFIER *key, PB_OBJ *value );
/* pbDictDelObjKey, pbDictDelIntKey, pbDictDelStringKey, pbDictDelIdentifierKey: remove a key. If it
   is not there, nothing happens. */
PB_EXPORT void pbDictDelObjKey( PB_DICT **dict, PB_OBJ *key );
PB_EXPORT void pbDictDelIntKey( PB_DICT **dict, PB_INT key );
PB_EXPORT void pbDictDelStringKey( PB_DICT **dict, PB_STRING *key );
PB_EXPORT void pbDictDelIdentifierKey( PB_DICT **dict, PB_IDENTIFIER *key );
/* pbDictInclude: puts every key of another dictionary, with its value, into this one; it replaces
   the value that was there. `other` may be null. */
PB_EXPORT void pbDictInclude( PB_DICT **dict, PB_DICT *other );
/* pbDictClear: removes all keys. */
PB_EXPORT void pbDictClear( PB_DICT **dict );

/* pbDictKeysVector, pbDictValuesVector: new vectors of all keys and of all values, both in key
   order. */
PB_EXPORT PB_VECTOR *pbDictKeysVector( PB_DICT *dict );
PB_EXPORT PB_VECTOR *pbDictValuesVector( PB_DICT *dict );

/* pbDictSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare compares the pairs one by one in key order, key before value, then
   the lengths. Its stack does not grow with the depth of nested dictionaries. */
PB_EXPORT const PB_SORT *pbDictSort( void );
PB_EXPORT PB_OBJ        *pbDictObj( PB_DICT *obj );
PB_EXPORT PB_DICT       *pbDictFrom( PB_OBJ *obj );
PB_EXPORT PB_DICT       *pbDictRetain( PB_DICT *obj );
PB_EXPORT void           pbDictRelease( PB_DICT *obj );
PB_EXPORT PB_INT         pbDictCompare( PB_DICT *objA, PB_DICT *objB );
PB_EXPORT PB_BOOL        pbDictEquals( PB_DICT *objA, PB_DICT *objB );
PB_EXPORT PB_STRING     *pbDictToString( PB_DICT *obj );

PB_END_DECLS

#endif
