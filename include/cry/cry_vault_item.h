/* Vault items: what the vault files under an identifier. */
#ifndef CRY_CRY_VAULT_ITEM_H
#define CRY_CRY_VAULT_ITEM_H

#include <cry/cry_vault_item_type.h>
#include <cry/cry_x509_identity.h>
#include <pb/pb_identifier.h>

/* CRY_VAULT_ITEM: an identifier, a type, and the object that it holds. The only type is the
   identity. An item never changes, so many threads may use it at once. */
PB_OBJECT_TYPE( CRY_VAULT_ITEM );

PB_BEGIN_DECLS

/* The functions abort on null items ("item"). */

/* cryVaultItemCreateIdentity: an item that holds an identity; null aborts ("identity", "ident"). */
PB_EXPORT CRY_VAULT_ITEM *cryVaultItemCreateIdentity( PB_IDENTIFIER *ident, CRY_X509_IDENTITY *identity );
/* cryVaultItemIdentifier: the identifier, a new reference. */
PB_EXPORT PB_IDENTIFIER *cryVaultItemIdentifier( CRY_VAULT_ITEM *item );
/* cryVaultItemType: the type. */
PB_EXPORT CRY_VAULT_ITEM_TYPE cryVaultItemType( CRY_VAULT_ITEM *item );
/* cryVaultItemIsIdentity: whether the item holds an identity. */
PB_EXPORT PB_BOOL cryVaultItemIsIdentity( CRY_VAULT_ITEM *item );
/* cryVaultItemIdentity: the identity, a new reference; null if the item has another type. */
PB_EXPORT CRY_X509_IDENTITY *cryVaultItemIdentity( CRY_VAULT_ITEM *item );

/* cryVaultItemStore: a new keyed store with the strings "identifier" and "type" and the store
   "identity" (cryX509IdentityStore, with the private key if `includePrivateKey` is true). */
PB_EXPORT PB_STORE *cryVaultItemStore( CRY_VAULT_ITEM *item, PB_BOOL includePrivateKey );
/* cryVaultItemTryRestore: the item in such a store. Null if "identifier" is missing or is not an
   identifier, if "type" names no type, or if "identity" is missing. If there is no string "type",
   it aborts ("pbs"); that is intended. A null store aborts ("store"). */
PB_EXPORT CRY_VAULT_ITEM *cryVaultItemTryRestore( PB_STORE *store );

/* cryVaultItemSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). An item equals only itself. */
PB_EXPORT const PB_SORT  *cryVaultItemSort( void );
PB_EXPORT PB_OBJ         *cryVaultItemObj( CRY_VAULT_ITEM *obj );
PB_EXPORT CRY_VAULT_ITEM *cryVaultItemFrom( PB_OBJ *obj );
PB_EXPORT CRY_VAULT_ITEM *cryVaultItemRetain( CRY_VAULT_ITEM *obj );
PB_EXPORT void            cryVaultItemRelease( CRY_VAULT_ITEM *obj );
PB_EXPORT PB_INT          cryVaultItemCompare( CRY_VAULT_ITEM *objA, CRY_VAULT_ITEM *objB );
PB_EXPORT PB_BOOL         cryVaultItemEquals( CRY_VAULT_ITEM *objA, CRY_VAULT_ITEM *objB );
PB_EXPORT PB_STRING      *cryVaultItemToString( CRY_VAULT_ITEM *obj );

PB_END_DECLS

#endif
