// PKCS#8 (RFC 5958) of keys that were just generated, written without OpenSSL's encoders, whose
// search for one takes several times as long as making the key.
#pragma once

#include <cry/cry_pem.h>
#include <pb/ref.hpp>

#include <openssl/evp.h>

namespace cry::pkey
{

// The text that OpenSSL would write of a new key on a named curve: RFC 5915 with the public key,
// uncompressed, in PKCS#8. Null if OpenSSL has to write it, with no errors left.
pb::Ref<CRY_PEM> tryWriteNewEcKey( EVP_PKEY *pkey, int curveNid );

}
