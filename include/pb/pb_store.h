/* Stores: hierarchical records of named or numbered values. */
#ifndef PB_PB_STORE_H
#define PB_PB_STORE_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_STORE );
/* Many threads may read a PB_STORE; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* A store is keyed (its entries have keys) or an array. Keys are unique and keep the order in which
   they were first set. An entry is a string, an integer, a boolean, null or another store. If an
   entry is read as another type, the result is null or false; nothing is converted. In functions
   whose name ends in Cstr the key is UTF-8 text, and `length` -1 means zero-terminated. */

/* pbStoreCreate: an empty keyed store. */
PB_EXPORT PB_STORE *pbStoreCreate( void );
/* pbStoreCreateArray: an empty array store. */
PB_EXPORT PB_STORE *pbStoreCreateArray( void );
/* pbStoreCreateFrom: a copy that shares the entries; null aborts ("source"). */
PB_EXPORT PB_STORE *pbStoreCreateFrom( PB_STORE *source );
/* pbStoreIsArray: whether it is an array store. */
PB_EXPORT PB_BOOL pbStoreIsArray( PB_STORE *store );
/* pbStoreLength: number of entries; null aborts ("store"). */
PB_EXPORT PB_INT pbStoreLength( PB_STORE *store );
/* pbStoreKeyAt: the key of the entry at an index, a new reference; null in an array store. */
PB_EXPORT PB_STRING *pbStoreKeyAt( PB_STORE *store, PB_INT index );

/* pbStoreValueAt, pbStoreStoreAt: the string or the store at an index, a new reference; null if the
   entry has another type. An index outside the store aborts. */
PB_EXPORT PB_STRING *pbStoreValueAt( PB_STORE *store, PB_INT index );
PB_EXPORT PB_STORE  *pbStoreStoreAt( PB_STORE *store, PB_INT index );
/* pbStoreIntValueAt, pbStoreBoolValueAt: put the integer or boolean at an index into `value`; false
   if the entry has another type. */
PB_EXPORT PB_BOOL pbStoreIntValueAt( PB_STORE *store, PB_INT index, PB_INT *value );
PB_EXPORT PB_BOOL pbStoreBoolValueAt( PB_STORE *store, PB_INT index, PB_BOOL *value );
/* pbStoreIsNullAt: whether the entry at an index is null. */
PB_EXPORT PB_BOOL pbStoreIsNullAt( PB_STORE *store, PB_INT index );

/* pbStoreIndexCstr: the index of a key; -1 if there is no such key or the store is an array. */
PB_EXPORT PB_INT pbStoreIndexCstr( PB_STORE *store, const char *key, PB_INT length );
/* pbStoreValueCstr, pbStoreStoreCstr: the string or the store under a key, a new reference; null if
   there is no such entry. */
PB_EXPORT PB_STRING *pbStoreValueCstr( PB_STORE *store, const char *key, PB_INT length );
PB_EXPORT PB_STORE  *pbStoreStoreCstr( PB_STORE *store, const char *key, PB_INT length );
/* pbStoreIntValueCstr, pbStoreBoolValueCstr: the same for integers and booleans, into `value`. */
PB_EXPORT PB_BOOL pbStoreIntValueCstr( PB_STORE *store, const char *key, PB_INT length, PB_INT *value );
PB_EXPORT PB_BOOL pbStoreBoolValueCstr( PB_STORE *store, const char *key, PB_INT length, PB_BOOL *value );

/* pbStoreAppendValue, pbStoreAppendStore, pbStoreAppendIntValue, pbStoreAppendBoolValue,
   pbStoreAppendValueNull: add an entry to an array store; a keyed store aborts
   ("pbStoreIsArray( *store )"). */
PB_EXPORT void pbStoreAppendValue( PB_STORE **store, PB_STRING *value );
PB_EXPORT void pbStoreAppendStore( PB_STORE **store, PB_STORE *value );
PB_EXPORT void pbStoreAppendIntValue( PB_STORE **store, PB_INT value );
PB_EXPORT void pbStoreAppendBoolValue( PB_STORE **store, PB_BOOL value );
PB_EXPORT void pbStoreAppendValueNull( PB_STORE **store );

/* pbStoreSetValueCstr, pbStoreSetStoreCstr, pbStoreSetIntValueCstr, pbStoreSetBoolValueCstr,
   pbStoreSetValueNullCstr: set the entry under a key of a keyed store. A new key comes last; a key
   that exists keeps its place. An array store aborts ("!pbStoreIsArray( *store )"). */
PB_EXPORT void pbStoreSetValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_STRING *value );
PB_EXPORT void pbStoreSetStoreCstr( PB_STORE **store, const char *key, PB_INT length, PB_STORE *value );
PB_EXPORT void pbStoreSetIntValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_INT value );
PB_EXPORT void pbStoreSetBoolValueCstr( PB_STORE **store, const char *key, PB_INT length, PB_BOOL value );
PB_EXPORT void pbStoreSetValueNullCstr( PB_STORE **store, const char *key, PB_INT length );
/* pbStoreDelCstr: removes a key; the order of the others stays. If it is not there, nothing
   happens. */
PB_EXPORT void pbStoreDelCstr( PB_STORE **store, const char *key, PB_INT length );

/* pbStoreSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare compares the kinds of the stores, then the entries one by one
   (key, type, value), then the lengths. Its stack does not grow with the depth of nested stores. */
PB_EXPORT const PB_SORT *pbStoreSort( void );
PB_EXPORT PB_OBJ        *pbStoreObj( PB_STORE *obj );
PB_EXPORT PB_STORE      *pbStoreFrom( PB_OBJ *obj );
PB_EXPORT PB_STORE      *pbStoreRetain( PB_STORE *obj );
PB_EXPORT void           pbStoreRelease( PB_STORE *obj );
PB_EXPORT PB_INT         pbStoreCompare( PB_STORE *objA, PB_STORE *objB );
PB_EXPORT PB_BOOL        pbStoreEquals( PB_STORE *objA, PB_STORE *objB );
PB_EXPORT PB_STRING     *pbStoreToString( PB_STORE *obj );

PB_END_DECLS

#endif
