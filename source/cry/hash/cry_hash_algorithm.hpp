// Fetched digests, for the module's own files.
#pragma once

#include <pb/pb_base.h>

#include <openssl/evp.h>

namespace cry
{

// The fetched digest of a valid algorithm; null as long as this libcrypto does not have it.
const EVP_MD *digestOf( PB_INT alg );

// Whether libcrypto's built-in default provider has this digest. It is decided when the digest is
// fetched; false as long as there is none.
bool digestIsDefaultProviders( PB_INT alg );

}
