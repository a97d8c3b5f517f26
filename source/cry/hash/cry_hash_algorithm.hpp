// What the module's own files need to know of a digest.
#pragma once

#include <pb/pb_base.h>

#include <openssl/evp.h>

namespace cry
{

// The fetched digest of a valid algorithm; null while this libcrypto does not have it.
const EVP_MD *digestOf( PB_INT alg );

}
