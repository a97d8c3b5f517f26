/* Headers of store files: which kind of store a file holds, and who wrote it. */
#ifndef PB_PB_STORE_HEADER_H
#define PB_PB_STORE_HEADER_H

#include <pb/pb_store.h>

PB_OBJECT_TYPE( PB_STORE_HEADER );
/* Many threads may read a PB_STORE_HEADER; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* pbStoreHeaderCreate: a header of a type, for example "CRY_VAULT", without a module version and
   without information; null aborts ("type"). */
PB_EXPORT PB_STORE_HEADER *pbStoreHeaderCreate( PB_STRING *type );
/* pbStoreHeaderCreateCstr: the same; `length` -1 means zero-terminated. */
PB_EXPORT PB_STORE_HEADER *pbStoreHeaderCreateCstr( const char *type, PB_INT length );
/* pbStoreHeaderCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_STORE_HEADER *pbStoreHeaderCreateFrom( PB_STORE_HEADER *source );

/* pbStoreHeaderType: the type, a new reference; null aborts ("header"). */
PB_EXPORT PB_STRING *pbStoreHeaderType( PB_STORE_HEADER *header );
/* pbStoreHeaderIsType: whether the header has exactly this type. */
PB_EXPORT PB_BOOL pbStoreHeaderIsType( PB_STORE_HEADER *header, PB_STRING *type );
/* pbStoreHeaderIsTypeCstr: the same; `length` -1 means zero-terminated. */
PB_EXPORT PB_BOOL pbStoreHeaderIsTypeCstr( PB_STORE_HEADER *header, const char *type, PB_INT length );
/* pbStoreHeaderModuleVersion, pbStoreHeaderInfo: new references, or null if the header has none. */
PB_EXPORT PB_STRING *pbStoreHeaderModuleVersion( PB_STORE_HEADER *header );
PB_EXPORT PB_STORE  *pbStoreHeaderInfo( PB_STORE_HEADER *header );

/* pbStoreHeaderSetModuleVersion: sets the version of the module that writes the store
   (pbModuleVersion); null aborts ("version"). */
PB_EXPORT void pbStoreHeaderSetModuleVersion( PB_STORE_HEADER **header, PB_STRING *version );
/* pbStoreHeaderSetInfo: sets the information; null aborts ("info"). */
PB_EXPORT void pbStoreHeaderSetInfo( PB_STORE_HEADER **header, PB_STORE *info );
/* pbStoreHeaderGenerateInfo: sets the information of this moment (pbHeaderInfoGenerate). */
PB_EXPORT void pbStoreHeaderGenerateInfo( PB_STORE_HEADER **header );

/* pbStoreHeaderStore: a new keyed store with "type", and "moduleVersion" and "info" if the header
   has them. */
PB_EXPORT PB_STORE *pbStoreHeaderStore( PB_STORE_HEADER *header );
/* pbStoreHeaderTryRestore: a header from such a store; null if "type" is not a string. Other
   entries are ignored if they are unknown or have another type. */
PB_EXPORT PB_STORE_HEADER *pbStoreHeaderTryRestore( PB_STORE *store );

/* pbStoreHeaderSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the type, the module version, then the information. */
PB_EXPORT const PB_SORT   *pbStoreHeaderSort( void );
PB_EXPORT PB_OBJ          *pbStoreHeaderObj( PB_STORE_HEADER *obj );
PB_EXPORT PB_STORE_HEADER *pbStoreHeaderFrom( PB_OBJ *obj );
PB_EXPORT PB_STORE_HEADER *pbStoreHeaderRetain( PB_STORE_HEADER *obj );
PB_EXPORT void             pbStoreHeaderRelease( PB_STORE_HEADER *obj );
PB_EXPORT PB_INT           pbStoreHeaderCompare( PB_STORE_HEADER *objA, PB_STORE_HEADER *objB );
PB_EXPORT PB_BOOL          pbStoreHeaderEquals( PB_STORE_HEADER *objA, PB_STORE_HEADER *objB );
PB_EXPORT PB_STRING       *pbStoreHeaderToString( PB_STORE_HEADER *obj );

PB_END_DECLS

#endif
