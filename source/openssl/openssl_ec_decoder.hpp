// The decoder of EC public keys of the key-decoding context. The default provider's decoder makes
// the group of the curve again for each key, which takes a third of the time of a certificate.
#pragma once

#include <cstddef>
#include <openssl/core.h>
#include <openssl/types.h>

namespace openssl
{

// The functions of the default provider's decoder of EC keys in a SubjectPublicKeyInfo, with a
// decoding function that uses kept groups. `library` is the context of the default provider.
// Functions that are not as expected stay as they are: the result is the argument. The result is
// valid for the life of the process.
const OSSL_DISPATCH *wrapEcDecoder( const OSSL_DISPATCH *functions, OSSL_LIB_CTX *library, const OSSL_DISPATCH *core );

// Whether the decoder uses kept groups, while shortcuts are used. At first it does not.
void setKeptGroupsUsed( bool used );

// How many keys this thread made on kept groups, for tests.
size_t keysOnKeptGroups();

}
