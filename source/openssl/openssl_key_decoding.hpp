// The key-decoding context.
#pragma once

#include <pb/pb_base.h>

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace openssl
{

// Makes the context, once per process; it is never freed, since an object that was lent out may outlive everything. Null with a reason when OpenSSL does not
// have what it needs.
OSSL_LIB_CTX *createKeyDecodingContext( const char **reason );

// Whether this is the key-decoding context's provider.
bool isKeyDecodingProvider( const OSSL_PROVIDER *provider );

// The two ways; `keyDecoding` as made above.
X509     *parseCertificateIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length );
EVP_PKEY *parsePrivateKeyIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length );
EVP_PKEY *parsePublicKeyIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length );

// Parses two built-in certificates in both contexts and compares what comes out; null when all is the same, else what differs.
const char *selfCheck( OSSL_LIB_CTX *keyDecoding );

}
