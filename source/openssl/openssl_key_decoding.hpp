// The key-decoding context.
#pragma once

#include <pb/pb_base.h>

#include <openssl/evp.h>
#include <openssl/x509.h>

namespace openssl
{

// Makes the context, once per process. It is never freed, because an object that was lent may live
// longer than the module. If OpenSSL does not have a part that it needs, the result is null and
// `reason` gives the reason.
OSSL_LIB_CTX *createKeyDecodingContext( const char **reason );

// Whether the provider uses known signatures and kept groups of curves (at first it does not). Its
// own check at the start decides. For versions of OpenSSL that were not reviewed, they stay unused.
void setProviderShortcutsUsed( bool knownSignatures, bool keptGroups );

// Whether this libcrypto is of a version in which it was looked up how the default provider
// represents its keys, which is no public interface, and what its decoders accept. Other versions
// are used without what depends on that.
bool isReviewedVersion();

// Whether this is the key-decoding context's provider.
bool isKeyDecodingProvider( const OSSL_PROVIDER *provider );

// Whether this is libcrypto's built-in default provider, in any library context.
bool isDefaultProvider( const OSSL_PROVIDER *provider );

// These functions parse in the key-decoding context.
X509     *parseCertificateIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length );
EVP_PKEY *parsePrivateKeyIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length );
EVP_PKEY *parsePublicKeyIn( OSSL_LIB_CTX *keyDecoding, const PB_BYTE *der, PB_INT length );

// Parses two built-in certificates in both contexts and compares the results. Null if they are
// equal; otherwise the difference.
const char *selfCheck( OSSL_LIB_CTX *keyDecoding );

// Lets the provider use known signatures and kept groups, each of them only if results for the same
// certificates do not change by it.
void checkProviderShortcuts( OSSL_LIB_CTX *keyDecoding );

}
