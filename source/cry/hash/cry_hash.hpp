// Digests for the module's own files.
#pragma once

#include <pb/pb_buffer.h>

#include <initializer_list>

namespace cry
{

// The digest of buffers one after the other, under a valid algorithm, written to `digest`, which
// has room for it; false when this libcrypto cannot provide it.
bool tryDigest( PB_INT alg, std::initializer_list<PB_BUFFER *> parts, PB_BYTE *digest );

}
