// Public keys, for the module's own files.
#pragma once

#include <cry/cry_pkey_public.h>

#include <openssl/x509.h>

namespace cry::pkey
{

// A public key that shares nothing with the object from which it comes. `spki` is the structure
// from which it was decoded; its bytes become the text if OpenSSL would write the same.
CRY_PKEY_PUBLIC *tryCopyPublic( EVP_PKEY *pkey, X509_PUBKEY *spki );

// Whether a signature of a digest is valid. The algorithm must be valid.
bool verify( CRY_PKEY_PUBLIC *pub, PB_INT alg, const PB_BYTE *digest, PB_BUFFER *signature );

}
