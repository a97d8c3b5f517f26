/* Telephone number authorization lists (RFC 8226, 9): what the holder of a certificate may vouch
   for. */
#ifndef CRY_CRY_X509_TN_AUTH_LIST_H
#define CRY_CRY_X509_TN_AUTH_LIST_H

#include <cry/cry_x509_tn_auth_list_entry.h>
#include <pb/pb_vector.h>

/* CRY_X509_TN_AUTH_LIST: entries in the order of the certificate. Edits copy a shared list first.
   Many threads may read a CRY_X509_TN_AUTH_LIST, and each may edit it through a reference of its
   own. */
PB_OBJECT_TYPE( CRY_X509_TN_AUTH_LIST );

PB_BEGIN_DECLS

/* The functions abort on null lists ("list", "*list"), on null entries ("entry") and on an index
   that is not in the list. */

/* cryX509TNAuthListCreate: an empty list. */
PB_EXPORT CRY_X509_TN_AUTH_LIST *cryX509TNAuthListCreate( void );
/* cryX509TNAuthListCreateFrom: a copy that shares the entries; null aborts ("source"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST *cryX509TNAuthListCreateFrom( CRY_X509_TN_AUTH_LIST *source );

/* cryX509TNAuthListEntriesLength: number of entries. */
PB_EXPORT PB_INT cryX509TNAuthListEntriesLength( CRY_X509_TN_AUTH_LIST *list );
/* cryX509TNAuthListEntryAt: the entry at an index, a new reference. */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryAt( CRY_X509_TN_AUTH_LIST *list, PB_INT index );
/* cryX509TNAuthListEntriesVector: all entries, a new reference to a vector. */
PB_EXPORT PB_VECTOR *cryX509TNAuthListEntriesVector( CRY_X509_TN_AUTH_LIST *list );

/* cryX509TNAuthListSetEntriesVector: empties the list, for an empty vector. It is intended that any
   other vector aborts ("pbVectorContainsOnly( vec, cryX509TNAuthListSort() )"); entries are added
   one by one. */
PB_EXPORT void cryX509TNAuthListSetEntriesVector( CRY_X509_TN_AUTH_LIST **list, PB_VECTOR *vec );
/* cryX509TNAuthListAppendEntry: adds an entry at the end. */
PB_EXPORT void cryX509TNAuthListAppendEntry( CRY_X509_TN_AUTH_LIST **list, CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListSetEntryAt: replaces the entry at an index. */
PB_EXPORT void cryX509TNAuthListSetEntryAt( CRY_X509_TN_AUTH_LIST **list, PB_INT index, CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListDelEntryAt: removes the entry at an index. */
PB_EXPORT void cryX509TNAuthListDelEntryAt( CRY_X509_TN_AUTH_LIST **list, PB_INT index );
/* cryX509TNAuthListClearEntries: removes all entries. */
PB_EXPORT void cryX509TNAuthListClearEntries( CRY_X509_TN_AUTH_LIST **list );

/* cryX509TNAuthListStore: a new array store of the entries' stores. */
PB_EXPORT PB_STORE *cryX509TNAuthListStore( CRY_X509_TN_AUTH_LIST *list );
/* cryX509TNAuthListRestore: the entries of an array store; entries that do not restore are skipped,
   so the result is never null. A null store aborts ("store"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST *cryX509TNAuthListRestore( PB_STORE *store );

/* cryX509TNAuthListSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare compares the entries one by one, then the lengths. */
PB_EXPORT const PB_SORT         *cryX509TNAuthListSort( void );
PB_EXPORT PB_OBJ                *cryX509TNAuthListObj( CRY_X509_TN_AUTH_LIST *obj );
PB_EXPORT CRY_X509_TN_AUTH_LIST *cryX509TNAuthListFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_TN_AUTH_LIST *cryX509TNAuthListRetain( CRY_X509_TN_AUTH_LIST *obj );
PB_EXPORT void                   cryX509TNAuthListRelease( CRY_X509_TN_AUTH_LIST *obj );
PB_EXPORT PB_INT                 cryX509TNAuthListCompare( CRY_X509_TN_AUTH_LIST *objA, CRY_X509_TN_AUTH_LIST *objB );
PB_EXPORT PB_BOOL                cryX509TNAuthListEquals( CRY_X509_TN_AUTH_LIST *objA, CRY_X509_TN_AUTH_LIST *objB );
PB_EXPORT PB_STRING             *cryX509TNAuthListToString( CRY_X509_TN_AUTH_LIST *obj );

PB_END_DECLS

#endif
