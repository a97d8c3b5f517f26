/* The vault as a whole, and its file. */
#ifndef CRY_INTERNAL_CRY_VAULT_H
#define CRY_INTERNAL_CRY_VAULT_H

#include <cry/cry_vault.h>

PB_BEGIN_DECLS

/* The file is cry_vault.qmstore in the runtime's state directory; beside it, there can be a backup,
   cry_vault-backup.qmstore. Its content is JSON, with the private keys as they are; only its owner
   can read it. If the runtime has no state directory, nothing is loaded and nothing is saved.

   Several processes may use one directory. A process that changes the file holds the lock of
   cry_vault.lock (pbFileLockTryCreate) while it saves. To change the vault of a process that runs
   now without losing anything, hold that lock while you load, change and save. */

/* cry___VaultStore: a new keyed store with the array "items", which has the store of each item,
   with its private key. When the module is halted, it is empty. */
PB_EXPORT PB_STORE *cry___VaultStore( void );
/* cry___VaultTryRestore: replaces all items by those of such a store. Entries that cannot be
   restored are skipped; of two with the same identifier, the later one counts. False if the module
   is halted. It tells the subscribers in both cases. A null store aborts ("store"). */
PB_EXPORT PB_BOOL cry___VaultTryRestore( PB_STORE *store );
/* cry___VaultLoad: reads the file, or the backup if the file cannot be used. False if neither can
   be used; then the vault stays as it is. Blocks while it reads. */
PB_EXPORT PB_BOOL cry___VaultLoad( void );
/* cry___VaultSave: writes the file. At every moment there is a complete file or backup, also if the
   process is killed or the disk is full. It makes the state directory (0700) if that is missing.
   False if it cannot be written, or if another process does not give the lock back within ten
   seconds. Blocks until the content is on the disk. If a save is killed, a file .new-... with the
   new content can be left in the directory. A later save removes it when it is an hour old. */
PB_EXPORT PB_BOOL cry___VaultSave( void );

/* cry___VaultHalt: empties the vault for good; only the module's own hook calls it. */
PB_EXPORT void cry___VaultHalt( void );

PB_END_DECLS

#endif
