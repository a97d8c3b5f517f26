// Certificates, for the module's own files.
#pragma once

#include <cry/cry_x509_certificate.h>

#include <openssl/x509.h>

namespace cry::x509
{

// The OpenSSL certificate if it was made before, else null; lent.
X509 *peekIfMade( CRY_X509_CERTIFICATE *cert );

// Whether the OpenSSL certificate is made at its first use, from exactly the canonical DER. Else it
// came from somewhere else.
bool isDeferred( CRY_X509_CERTIFICATE *cert );

// The canonical DER, lent.
PB_BUFFER *peekDer( CRY_X509_CERTIFICATE *cert );

}
