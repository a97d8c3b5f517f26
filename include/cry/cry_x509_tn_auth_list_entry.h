/* Entries of telephone number authorization lists (RFC 8226, 9). */
#ifndef CRY_CRY_X509_TN_AUTH_LIST_ENTRY_H
#define CRY_CRY_X509_TN_AUTH_LIST_ENTRY_H

#include <cry/cry_x509_tn_auth_list_entry_type.h>
#include <pb/pb_store.h>

/* CRY_X509_TN_AUTH_LIST_ENTRY: a service provider code, a range of telephone numbers, or one
   telephone number. The fields are not tied to the type: an entry of any type can have any of them.
   Edits copy a shared entry first. Many threads may read a CRY_X509_TN_AUTH_LIST_ENTRY, and each
   may edit it through a reference of its own. */
PB_OBJECT_TYPE( CRY_X509_TN_AUTH_LIST_ENTRY );

PB_BEGIN_DECLS

/* The functions abort on null entries ("entry", "*entry"). */

/* cryX509TNAuthListEntryCreateServiceProviderCode: an entry with a code; null aborts ("spc"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryCreateServiceProviderCode( PB_STRING *spc );
/* cryX509TNAuthListEntryCreateTelephoneNumber: an entry with one number; null aborts ("tn"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryCreateTelephoneNumber( PB_STRING *tn );
/* cryX509TNAuthListEntryCreateTelephoneNumberRange: an entry with `count` numbers from `tn` on.
   Null aborts ("tn"), and so does a negative count ("count >= 0"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryCreateTelephoneNumberRange( PB_STRING *tn, PB_INT count );
/* cryX509TNAuthListEntryCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryCreateFrom( CRY_X509_TN_AUTH_LIST_ENTRY *source );

/* cryX509TNAuthListEntryType: the kind of entry. */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY_TYPE cryX509TNAuthListEntryType( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntrySetEntryType: changes only the kind; a value that is not one aborts
   ("CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )"). */
PB_EXPORT void cryX509TNAuthListEntrySetEntryType( CRY_X509_TN_AUTH_LIST_ENTRY **entry, CRY_X509_TN_AUTH_LIST_ENTRY_TYPE et );

/* cryX509TNAuthListEntryServiceProviderCode: the code, a new reference; null if there is none. */
PB_EXPORT PB_STRING *cryX509TNAuthListEntryServiceProviderCode( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntryHasServiceProviderCode: whether there is a code. */
PB_EXPORT PB_BOOL cryX509TNAuthListEntryHasServiceProviderCode( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntrySetServiceProviderCode: sets the code; null aborts ("spc"). */
PB_EXPORT void cryX509TNAuthListEntrySetServiceProviderCode( CRY_X509_TN_AUTH_LIST_ENTRY **entry, PB_STRING *spc );
/* cryX509TNAuthListEntryDelServiceProviderCode: removes the code. */
PB_EXPORT void cryX509TNAuthListEntryDelServiceProviderCode( CRY_X509_TN_AUTH_LIST_ENTRY **entry );

/* cryX509TNAuthListEntryTelephoneNumber: the number, or the first one of a range, a new reference;
   null if there is none. */
PB_EXPORT PB_STRING *cryX509TNAuthListEntryTelephoneNumber( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntryHasTelephoneNumber: whether there is a number. */
PB_EXPORT PB_BOOL cryX509TNAuthListEntryHasTelephoneNumber( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntrySetTelephoneNumber: sets the number; null aborts ("tn"). */
PB_EXPORT void cryX509TNAuthListEntrySetTelephoneNumber( CRY_X509_TN_AUTH_LIST_ENTRY **entry, PB_STRING *tn );
/* cryX509TNAuthListEntryDelTelephoneNumber: removes the number. */
PB_EXPORT void cryX509TNAuthListEntryDelTelephoneNumber( CRY_X509_TN_AUTH_LIST_ENTRY **entry );

/* cryX509TNAuthListEntryCount: how many numbers a range has; -1 if there is no count. */
PB_EXPORT PB_INT cryX509TNAuthListEntryCount( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntryHasCount: whether there is a count. */
PB_EXPORT PB_BOOL cryX509TNAuthListEntryHasCount( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntrySetCount: sets the count; a negative one aborts ("count >= 0"). */
PB_EXPORT void cryX509TNAuthListEntrySetCount( CRY_X509_TN_AUTH_LIST_ENTRY **entry, PB_INT count );
/* cryX509TNAuthListEntryDelCount: removes the count. */
PB_EXPORT void cryX509TNAuthListEntryDelCount( CRY_X509_TN_AUTH_LIST_ENTRY **entry );

/* cryX509TNAuthListEntryStore: a new store with the name of the type under "type", and under
   "telephoneNumber", "serviceProviderCode" and "count" what the entry has. */
PB_EXPORT PB_STORE *cryX509TNAuthListEntryStore( CRY_X509_TN_AUTH_LIST_ENTRY *entry );
/* cryX509TNAuthListEntryTryRestore: the entry of such a store; null if it has no known type. A
   negative count is left out. A null store aborts ("store"). */
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryTryRestore( PB_STORE *store );

/* cryX509TNAuthListEntrySort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). Compare orders by type, count, code and number. */
PB_EXPORT const PB_SORT               *cryX509TNAuthListEntrySort( void );
PB_EXPORT PB_OBJ                      *cryX509TNAuthListEntryObj( CRY_X509_TN_AUTH_LIST_ENTRY *obj );
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryFrom( PB_OBJ *obj );
PB_EXPORT CRY_X509_TN_AUTH_LIST_ENTRY *cryX509TNAuthListEntryRetain( CRY_X509_TN_AUTH_LIST_ENTRY *obj );
PB_EXPORT void                         cryX509TNAuthListEntryRelease( CRY_X509_TN_AUTH_LIST_ENTRY *obj );
PB_EXPORT PB_INT                       cryX509TNAuthListEntryCompare( CRY_X509_TN_AUTH_LIST_ENTRY *objA, CRY_X509_TN_AUTH_LIST_ENTRY *objB );
PB_EXPORT PB_BOOL                      cryX509TNAuthListEntryEquals( CRY_X509_TN_AUTH_LIST_ENTRY *objA, CRY_X509_TN_AUTH_LIST_ENTRY *objB );
PB_EXPORT PB_STRING                   *cryX509TNAuthListEntryToString( CRY_X509_TN_AUTH_LIST_ENTRY *obj );

PB_END_DECLS

#endif
