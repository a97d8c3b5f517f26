/* Objects and their configurations: what a host does with the backends of cs_sort_backend.h. */
#ifndef CS_CS_OBJECT_H
#define CS_CS_OBJECT_H

#include <pb/pb_obj.h>
#include <pb/pb_store.h>
#include <tr/tr_anchor.h>

PB_BEGIN_DECLS

/* Each function uses the backend that counts for the sort at that moment, and keeps it until the
   backend's function has returned. If there is no backend for the sort, or the backend has no such
   function, the result is null or false. Any thread may call them at any time. */

/* csObjectTryCreate: a new object of a sort. Without a configuration (null), it has the defaults.
   `anchor` is null, or the object completes it. Null too if the backend refuses the configuration
   or makes no object. A backend that makes an object of another sort aborts
   ("!obj || pbObjSort( obj ) == sort"). */
PB_EXPORT PB_OBJ *csObjectTryCreate( const PB_SORT *sort, PB_STORE *config, TR_ANCHOR *anchor );
/* csObjectTryConfiguration: the configuration that the object has now, a new store. Values that are
   the default are in it only if `storeDefaults` is true, private keys and other secrets only if
   `flags` has CS_STORE_PRIVATE. An object that is made from it is configured alike, but for what
   was left out. */
PB_EXPORT PB_STORE *csObjectTryConfiguration( PB_OBJ *obj, PB_BOOL storeDefaults, PB_INT flags );
/* csObjectTrySetConfiguration: gives an object another configuration while it works. What `config`
   does not hold becomes the default. False too if the backend refuses the configuration; then the
   object stays as it is. */
PB_EXPORT PB_BOOL csObjectTrySetConfiguration( PB_OBJ *obj, PB_STORE *config );
/* csObjectTryTraceCompleteAnchor: completes an anchor with the trace stream of an object. */
PB_EXPORT PB_BOOL csObjectTryTraceCompleteAnchor( PB_OBJ *obj, TR_ANCHOR *anchor );
/* csObjectTryHalt: asks an object to end its work. If the result is false, the object ends its work
   with its last reference. */
PB_EXPORT PB_BOOL csObjectTryHalt( PB_OBJ *obj );

/* csConfigurationTryNormalize: the configuration that an object of the sort would have if it was
   made from `config`, a new store; no object is made. Unknown keys and values that cannot be read
   are not in it. `storeDefaults` and `flags` are as above. Null as `config` is handed to the
   backend, which may abort. */
PB_EXPORT PB_STORE *csConfigurationTryNormalize( const PB_SORT *sort, PB_STORE *config, PB_BOOL storeDefaults, PB_INT flags );
/* csConfigurationOk: whether there is a backend for the sort and it does not refuse the
   configuration. A backend without a function for it refuses none. */
PB_EXPORT PB_BOOL csConfigurationOk( const PB_SORT *sort, PB_STORE *config );

PB_END_DECLS

#endif
