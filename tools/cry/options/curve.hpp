// Curves by the names that people use.
#pragma once

#include <cry/cry_pkey_ec_named_curve.h>

#include <string>
#include <vector>

namespace tool
{

// OpenSSL's short name of a curve, which is the usual one, and the name that NIST gave it, empty if
// there is none.
std::string shortNameOf( CRY_PKEY_EC_NAMED_CURVE curve );
std::string nistNameOf( CRY_PKEY_EC_NAMED_CURVE curve );

// What a curve is, with NIST's name, by OpenSSL's short name; empty for any other name.
std::string curveDescription( const std::string &shortName );

// The names of all curves: that of NIST, or else OpenSSL's.
std::vector<std::string> curveNames();

// The curve of a name as "prime256v1", "P-256", "secp256r1", "nistp256" or
// "CRY_PKEY_EC_NAMED_CURVE_PRIME256V1", in any case. Throws InputError, naming `option`, for any
// other.
CRY_PKEY_EC_NAMED_CURVE curveOf( const std::string &name, const std::string &option );

}
