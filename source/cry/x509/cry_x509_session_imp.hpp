// The implementation of sessions, for the module's own files.
#pragma once

#include <cry/internal/cry_x509_session_imp.h>

namespace cry::x509
{

// The session's OpenSSL store as verificationStore( CRY_X509_SESSION * ) has it.
X509_STORE *verificationStore( CRY___X509_SESSION_IMP *imp );

}
