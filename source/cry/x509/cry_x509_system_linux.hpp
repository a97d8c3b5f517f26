// The platform's trusted roots on Linux.
#pragma once

#include <cry/cry_x509_certificates.h>

#include <span>

namespace cry::x509
{

// The roots of the first of these places (files and directories) that exists; never null.
// Certificates of `known` (may be null) are taken from there and not parsed again.
CRY_X509_CERTIFICATES *loadFirstPlace( std::span<const char *const> places, CRY_X509_CERTIFICATES *known = nullptr );

// The roots of the platform's places.
CRY_X509_CERTIFICATES *loadPlatformRoots( CRY_X509_CERTIFICATES *known );

// For tests: other places, which must stay valid; an empty span stands for the platform's. Not
// while the roots are being loaded.
void setPlaces( std::span<const char *const> places );

}
