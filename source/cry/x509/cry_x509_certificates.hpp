// What the module's own files need of collections.
#pragma once

#include <cry/cry_x509_certificates.h>

#include <openssl/x509.h>

namespace cry::x509
{

// The OpenSSL store of the collection, made at the first use and remembered: lent, for verifications only, while the caller holds the collection.
X509_STORE *cachedStore( CRY_X509_CERTIFICATES *certs );

// Lent.
CRY_X509_CERTIFICATE *peekAt( CRY_X509_CERTIFICATES *certs, PB_INT index );

}
