/* The vault: the identities of this product that outlive a restart. */
#ifndef CRY_CRY_VAULT_H
#define CRY_CRY_VAULT_H

#include <cry/cry_vault_item.h>
#include <pb/pb_signal.h>
#include <pb/pb_vector.h>

PB_BEGIN_DECLS

/* There is one vault in a process. It is read from its file when the module starts; nothing writes
   the file by itself (cry___VaultSave). When the module is halted, the vault is empty, and changes
   do nothing. Any thread may call these functions. They wait only while another thread is inside
   one of them. */

/* cryVaultItem: the item that is filed under an identifier, a new reference; null if there is none.
   A null identifier aborts ("ident"). */
PB_EXPORT CRY_VAULT_ITEM *cryVaultItem( PB_IDENTIFIER *ident );
/* cryVaultItemsVector: all items in the order of their identifiers, a new vector. */
PB_EXPORT PB_VECTOR *cryVaultItemsVector( void );
/* cryVaultSetItem: files an item under its identifier, in place of one that is there, and tells the
   subscribers. Null aborts ("item"). */
PB_EXPORT void cryVaultSetItem( CRY_VAULT_ITEM *item );
/* cryVaultDelItem: removes the item that is filed under an identifier, if there is one, and tells
   the subscribers in both cases. Null aborts ("ident"). */
PB_EXPORT void cryVaultDelItem( PB_IDENTIFIER *ident );
/* cryVaultUpdateAddSignalable: subscribes to the next change. A signalable is told once; for each
   further change it is added again. Subscribe before you read. Null aborts ("sigb"). */
PB_EXPORT void cryVaultUpdateAddSignalable( PB_SIGNALABLE *sigb );
/* cryVaultUpdateDelSignalable: takes the subscription back. Null aborts ("sigb"). */
PB_EXPORT void cryVaultUpdateDelSignalable( PB_SIGNALABLE *sigb );

PB_END_DECLS

#endif
