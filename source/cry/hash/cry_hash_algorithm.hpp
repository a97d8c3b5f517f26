// Fetched digests, for the module's own files.
#pragma once

#include <pb/pb_base.h>

#include <openssl/evp.h>

namespace cry
{

// The fetched digest of a valid algorithm; null as long as this libcrypto does not have it.
const EVP_MD *digestOf( PB_INT alg );

// The NID of a valid algorithm, if the fetched digest is that of libcrypto's built-in default
// provider. It is decided when the digest is fetched. 0 for all others, and before that.
int defaultProvidersDigest( PB_INT alg );

}
