// Private keys, for the module's own files.
#pragma once

#include <cry/cry_pkey_private.h>
#include <pb/ref.hpp>

#include <openssl/evp.h>

namespace cry::pkey
{

// A key whose canonical text is known; the reference to the OpenSSL key is taken over.
CRY_PKEY_PRIVATE *createPrivateUse( EVP_PKEY *pkey, pb::Ref<CRY_PEM> canonical );

// The most bytes that a signature can have.
size_t signatureRoom( CRY_PKEY_PRIVATE *priv );

// Signs a digest. The algorithm must be valid. `signatureLength` is the room before the call and
// the length after it. False if OpenSSL cannot sign; its errors are taken back.
bool trySign( CRY_PKEY_PRIVATE *priv, PB_INT alg, const PB_BYTE *digest, PB_BYTE *signature, size_t *signatureLength );

}
