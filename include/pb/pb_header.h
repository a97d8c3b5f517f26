/* Headers of streams: which kind of stream it is, who wrote it, and a store for its reader. */
#ifndef PB_PB_HEADER_H
#define PB_PB_HEADER_H

#include <pb/pb_buffer.h>
#include <pb/pb_store.h>

PB_OBJECT_TYPE( PB_HEADER );
/* Many threads may read a PB_HEADER; edit it only while one thread holds it. */

PB_BEGIN_DECLS

/* A stream with a header has 8 bytes that mark it (89 50 42 48 44 31 0D 0A), the length of the
   header in 4 bytes, the highest byte first, the header as the JSON text of a keyed store, and then
   the body up to the end of the stream. The store has "type", "moduleVersion" if the header has
   one, and "store". */

/* PB_HEADER_BYTES_MAX: the longest JSON text of a header. */
#define PB_HEADER_BYTES_MAX ( (PB_INT)16 * 1024 * 1024 )

/* pbHeaderCreate: a header of a type, for example "CRY_TRUST_BUNDLE", without a module version and
   with an empty keyed store; null aborts ("type"). */
PB_EXPORT PB_HEADER *pbHeaderCreate( PB_STRING *type );
/* pbHeaderCreateCstr: the same; `length` -1 means zero-terminated. */
PB_EXPORT PB_HEADER *pbHeaderCreateCstr( const char *type, PB_INT length );
/* pbHeaderCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_HEADER *pbHeaderCreateFrom( PB_HEADER *source );

/* pbHeaderType: the type, a new reference; null aborts ("header"). */
PB_EXPORT PB_STRING *pbHeaderType( PB_HEADER *header );
/* pbHeaderIsType: whether the header has exactly this type. */
PB_EXPORT PB_BOOL pbHeaderIsType( PB_HEADER *header, PB_STRING *type );
/* pbHeaderIsTypeCstr: the same; `length` -1 means zero-terminated. */
PB_EXPORT PB_BOOL pbHeaderIsTypeCstr( PB_HEADER *header, const char *type, PB_INT length );
/* pbHeaderModuleVersion: the version of the module that writes the stream, a new reference, or
   null. */
PB_EXPORT PB_STRING *pbHeaderModuleVersion( PB_HEADER *header );
/* pbHeaderStore: the store, a new reference. */
PB_EXPORT PB_STORE *pbHeaderStore( PB_HEADER *header );

/* pbHeaderSetModuleVersion: sets the version (pbModuleVersion); null aborts ("version"). */
PB_EXPORT void pbHeaderSetModuleVersion( PB_HEADER **header, PB_STRING *version );
/* pbHeaderSetStore: sets the store; null aborts ("store"). */
PB_EXPORT void pbHeaderSetStore( PB_HEADER **header, PB_STORE *store );

/* pb___HeaderTryEncode: the bytes that stand before the body. Null if the JSON text is longer than
   PB_HEADER_BYTES_MAX, or if pbStoreTryDecode could not read it. The buffer is sensitive if a
   string in the header is sensitive. */
PB_EXPORT PB_BUFFER *pb___HeaderTryEncode( PB_HEADER *header );
/* pb___HeaderTryDecode: the header of a JSON text. Null if pbStoreTryDecode gives null, or if
   "type" is not a string. Without "store", the store is empty. */
PB_EXPORT PB_HEADER *pb___HeaderTryDecode( PB_BUFFER *text );

/* pbHeaderSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). Compare orders by the type, the module version, then the store. */
PB_EXPORT const PB_SORT *pbHeaderSort( void );
PB_EXPORT PB_OBJ        *pbHeaderObj( PB_HEADER *obj );
PB_EXPORT PB_HEADER     *pbHeaderFrom( PB_OBJ *obj );
PB_EXPORT PB_HEADER     *pbHeaderRetain( PB_HEADER *obj );
PB_EXPORT void           pbHeaderRelease( PB_HEADER *obj );
PB_EXPORT PB_INT         pbHeaderCompare( PB_HEADER *objA, PB_HEADER *objB );
PB_EXPORT PB_BOOL        pbHeaderEquals( PB_HEADER *objA, PB_HEADER *objB );
PB_EXPORT PB_STRING     *pbHeaderToString( PB_HEADER *obj );

PB_END_DECLS

#endif
