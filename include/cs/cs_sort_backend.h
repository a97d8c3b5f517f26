/* Sort backends: how the objects of a sort are made from configurations. */
#ifndef CS_CS_SORT_BACKEND_H
#define CS_CS_SORT_BACKEND_H

#include <pb/pb_obj.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <tr/tr_anchor.h>

PB_OBJECT_TYPE( CS_SORT_BACKEND );
/* A CS_SORT_BACKEND cannot change; any thread may use it. */

/* CS_STORE_PRIVATE: the flag for reading a configuration with its private keys and other secrets.
   With 0 a backend leaves them out. Other values mean what the backend says; for the stacks of
   `cry`, everything but 0 is CS_STORE_PRIVATE. */
#define CS_STORE_PRIVATE ( (PB_INT)1 )

PB_BEGIN_DECLS

/* A configuration is a store. What it holds is the matter of the sort. Usually a backend leaves out
   unknown keys and values that it cannot read.

   The functions of a backend may be called by any thread, and by several threads at a time. They
   are called without a lock of this library. They may use this library, and release the backend. An
   `obj` is an object of the backend's sort. All arguments are lent. */

/* CS_SORT_BACKEND_CREATE: a new object. Without a configuration (null), it has the defaults. An
   object that has a trace stream completes the anchor with it, if there is one (else null). Null if
   no object can be made. */
typedef PB_OBJ *( *CS_SORT_BACKEND_CREATE )( PB_STORE *config, TR_ANCHOR *anchor );
/* CS_SORT_BACKEND_CONFIGURATION: the configuration that the object has now, a new store. If
   `storeDefaults` is false, values that are the default are left out. `flags` is 0 or
   CS_STORE_PRIVATE, and bits of the backend. */
typedef PB_STORE *( *CS_SORT_BACKEND_CONFIGURATION )( PB_OBJ *obj, PB_BOOL storeDefaults, PB_INT flags );
/* CS_SORT_BACKEND_SET_CONFIGURATION: gives the object another configuration while it works. What
   `config` does not hold becomes the default. */
typedef void ( *CS_SORT_BACKEND_SET_CONFIGURATION )( PB_OBJ *obj, PB_STORE *config );
/* CS_SORT_BACKEND_NORMALIZE: the configuration that an object made from `config` would have, a new
   store, without making an object. Unknown keys and values that cannot be read are not in it. If
   the backend needs a configuration, it may refuse null as a broken contract. */
typedef PB_STORE *( *CS_SORT_BACKEND_NORMALIZE )( PB_STORE *config, PB_BOOL storeDefaults, PB_INT flags );
/* CS_SORT_BACKEND_VALIDATE: whether an object may have this configuration. One that is refused
   reaches neither CS_SORT_BACKEND_CREATE nor CS_SORT_BACKEND_SET_CONFIGURATION. A backend that
   takes every store has no such function. */
typedef PB_BOOL ( *CS_SORT_BACKEND_VALIDATE )( PB_STORE *config );
/* CS_SORT_BACKEND_TRACE_COMPLETE_ANCHOR: completes an anchor with the trace stream of the
   object. */
typedef void ( *CS_SORT_BACKEND_TRACE_COMPLETE_ANCHOR )( PB_OBJ *obj, TR_ANCHOR *anchor );
/* CS_SORT_BACKEND_HALT: asks the object to end its work; the object itself stays valid. If the
   objects end their work with their last reference, the backend has no such function. */
typedef void ( *CS_SORT_BACKEND_HALT )( PB_OBJ *obj );

/* csSortBackendCreate: a backend for a sort, which is registered from now on. `create` is needed;
   the other functions may be null. The registry holds no reference: the release of the last
   reference to the backend takes it out again, at any time, also after the module `cs` was shut
   down. A sort may have several backends; the newest one that is left counts. */
PB_EXPORT CS_SORT_BACKEND *csSortBackendCreate( const PB_SORT *sort, CS_SORT_BACKEND_CREATE create, CS_SORT_BACKEND_CONFIGURATION configuration,
    CS_SORT_BACKEND_SET_CONFIGURATION setConfiguration, CS_SORT_BACKEND_NORMALIZE normalize, CS_SORT_BACKEND_VALIDATE validate,
    CS_SORT_BACKEND_TRACE_COMPLETE_ANCHOR traceCompleteAnchor, CS_SORT_BACKEND_HALT halt );

/* csSortBackendLookup: the backend that counts for a sort, a new reference; null if there is none.
   The result need not be the pointer that csSortBackendCreate gave, but the two are equal, and each
   keeps the backend registered. */
PB_EXPORT CS_SORT_BACKEND *csSortBackendLookup( const PB_SORT *sort );
/* csSortBackendLookupName: the same for the name of a sort, as "CRY_X509_STACK". */
PB_EXPORT CS_SORT_BACKEND *csSortBackendLookupName( PB_STRING *name );
/* csSortBackendObjSort: the sort of the objects that the backend makes. (csSortBackendSort is the
   sort of backends.) */
PB_EXPORT const PB_SORT *csSortBackendObjSort( CS_SORT_BACKEND *backend );

/* csSortBackendSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Backends are equal if they come from the same call of
   csSortBackendCreate. */
PB_EXPORT const PB_SORT   *csSortBackendSort( void );
PB_EXPORT PB_OBJ          *csSortBackendObj( CS_SORT_BACKEND *obj );
PB_EXPORT CS_SORT_BACKEND *csSortBackendFrom( PB_OBJ *obj );
PB_EXPORT CS_SORT_BACKEND *csSortBackendRetain( CS_SORT_BACKEND *obj );
PB_EXPORT void             csSortBackendRelease( CS_SORT_BACKEND *obj );
PB_EXPORT PB_INT           csSortBackendCompare( CS_SORT_BACKEND *objA, CS_SORT_BACKEND *objB );
PB_EXPORT PB_BOOL          csSortBackendEquals( CS_SORT_BACKEND *objA, CS_SORT_BACKEND *objB );
PB_EXPORT PB_STRING       *csSortBackendToString( CS_SORT_BACKEND *obj );

PB_END_DECLS

#endif
