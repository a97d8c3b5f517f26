// Digests and HMAC by libcrypto's low-level functions, which the default provider calls too. The
// provider layer takes longer than the digest of a short message.
#pragma once

#include <pb/pb_buffer.h>

#include <initializer_list>

namespace cry
{

// Writes the digest of the buffers, one after the other, to `digest`. The algorithm must be valid.
// False, without errors, if OpenSSL's general interface has to be used: the digest is not the
// built-in default provider's, an engine computes it, it is SHA-3, or shortcuts are not used.
bool tryDigestDirectly( PB_INT alg, std::initializer_list<PB_BUFFER *> parts, PB_BYTE *digest );

// The same for the HMAC (RFC 2104).
bool tryHmacDirectly( PB_INT alg, PB_BUFFER *key, PB_BUFFER *data, PB_BYTE *mac );

}
