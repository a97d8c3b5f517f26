// Sessions, for the module's own files.
#pragma once

#include <cry/cry_x509_session.h>

#include <openssl/x509.h>

namespace cry::x509
{

// The OpenSSL store of the trusted certificates, lent. It finds certificates that it does not hold
// yet, so it is only for verifications.
X509_STORE *verificationStore( CRY_X509_SESSION *sess );

}
