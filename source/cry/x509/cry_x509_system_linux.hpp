// The platform's trusted roots on Linux.
#pragma once

#include <cry/cry_x509_certificates.h>

#include <span>

namespace cry::x509
{

// The roots of the first of these places (files and directories) that exists.
CRY_X509_CERTIFICATES *loadFirstPlace( std::span<const char *const> places );

}
