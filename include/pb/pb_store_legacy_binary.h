/* Stores as bytes that are signed. */
#ifndef PB_PB_STORE_LEGACY_BINARY_H
#define PB_PB_STORE_LEGACY_BINARY_H

#include <pb/pb_buffer.h>
#include <pb/pb_store.h>

PB_BEGIN_DECLS

/* pbStoreLegacyBinaryEncodeToBuffer: a store as deterministic CBOR (RFC 8949 4.2.1). Keyed stores
   with the same entries give the same bytes, in whatever order the keys were set. The buffer is
   sensitive if a string in the store is sensitive; null aborts ("store"). */
PB_EXPORT PB_BUFFER *pbStoreLegacyBinaryEncodeToBuffer( PB_STORE *store );

PB_END_DECLS

#endif
