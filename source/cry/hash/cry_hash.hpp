// Digests, for the module's own files.
#pragma once

#include <pb/pb_buffer.h>

#include <initializer_list>

namespace cry
{

// Writes the digest of the buffers, one after the other, to `digest`, which must have room for it.
// The algorithm must be valid. False if this libcrypto cannot provide it.
bool tryDigest( PB_INT alg, std::initializer_list<PB_BUFFER *> parts, PB_BYTE *digest );

}
