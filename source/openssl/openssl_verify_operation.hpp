// The signature operations of the key-decoding context: those of the default provider, behind
// wrappers that do not compute a known signature again.
#pragma once

#include "openssl_known_signatures.hpp"

#include <openssl/core.h>

namespace openssl
{

// The functions of the default provider for keys of this kind, wrapped. The result is valid for the
// life of the process. Functions with an unknown number stay as they are: the result is the
// argument.
const OSSL_DISPATCH *wrapSignatureFunctions( KeyKind kind, const OSSL_DISPATCH *functions );

// Whether the wrappers use known signatures, while shortcuts are used. At first they do not.
void setKnownSignaturesUsed( bool used );

}
