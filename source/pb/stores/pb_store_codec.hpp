// The codec of stores with bounds that the caller chooses.
#pragma once

#include <pb/pb_store_codec.h>

namespace pb
{

// StoreBounds: how large a text may be.
struct StoreBounds
{
    PB_INT bytes, entries, depth;
};

inline constexpr StoreBounds storeBounds = { PB_STORE_BYTES_MAX, PB_STORE_ENTRIES_MAX, PB_STORE_DEPTH_MAX };

// encodeStore: as pbStoreTryEncode; without bounds (null), as pbStoreEncode.
PB_BUFFER *encodeStore( PB_STORE *store, PB_STORE_HEADER *header, const StoreBounds *bounds );

// tryDecodeStore: as pbStoreTryDecode.
PB_STORE *tryDecodeStore( PB_BUFFER *buffer, PB_STORE_HEADER **header, const StoreBounds &bounds );

}
