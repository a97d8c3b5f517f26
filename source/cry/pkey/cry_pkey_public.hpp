// Public keys for the module's own files.
#pragma once

#include <cry/cry_pkey_public.h>

#include <openssl/x509.h>

namespace cry::pkey
{

// A public key that shares nothing with what holds it. `spki` is where it was decoded from, whose
// own bytes are its text where OpenSSL would write the same.
CRY_PKEY_PUBLIC *tryCopyPublic( EVP_PKEY *pkey, X509_PUBKEY *spki );

// Whether a signature is that of a digest under a valid algorithm.
bool verify( CRY_PKEY_PUBLIC *pub, PB_INT alg, const PB_BYTE *digest, PB_BUFFER *signature );

}
