// Intermediate certificates of chains that verified. Peers send the same ones again and again, so
// their OpenSSL certificates are kept and shared behind new objects. The number of kept
// certificates is bounded.
#pragma once

#include <cry/cry_x509_certificate.h>

#include <openssl/x509.h>

namespace cry::x509
{

// A new reference to the kept certificate with exactly these bytes, or null.
X509 *tryShareKnown( PB_BUFFER *der );

// Keeps a certificate if this is not the first call for its bytes. Only for intermediate
// certificates of a chain that verified.
void keepKnown( CRY_X509_CERTIFICATE *cert );

// Forgets all certificates.
void forgetKnown();

// The number of certificates that are kept, and the most that can be.
PB_INT                  countKnown();
inline constexpr PB_INT mostKnown = 256;

}
