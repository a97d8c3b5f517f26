// Collections of certificates, for the module's own files.
#pragma once

#include <cry/cry_x509_certificates.h>
#include <pb/each.hpp>

#include <openssl/x509.h>

namespace cry::x509
{

// The OpenSSL store of the collection, which is made at the first use and kept. It is lent while
// the caller holds the collection, and only for verifications.
X509_STORE *cachedStore( CRY_X509_CERTIFICATES *certs );

// Lent.
PB_VECTOR *peekVector( CRY_X509_CERTIFICATES *certs );

// The certificates one after another, lent; null counts as an empty collection.
inline pb::Each<CRY_X509_CERTIFICATE> each( CRY_X509_CERTIFICATES *certs )
{
    return pb::each<CRY_X509_CERTIFICATE>( certs ? peekVector( certs ) : nullptr );
}

}
