// Writes the PKCS#8 (RFC 5958) of new keys without OpenSSL's encoders: the search for an encoder
// takes several times as long as making the key.
#pragma once

#include <cry/cry_pem.h>
#include <pb/ref.hpp>

#include <openssl/evp.h>

namespace cry::pkey
{

// The text that OpenSSL would write for a new key on a named curve: RFC 5915 with the uncompressed
// public key, in PKCS#8. Null if OpenSSL has to write it; no errors are left then.
pb::Ref<CRY_PEM> tryWriteNewEcKey( EVP_PKEY *pkey, int curveNid );

}
