// The root that trust tokens lead to.
#pragma once

#include <cry/cry_x509_certificate.h>

namespace cry::trust
{

// A new reference to the built-in root; null if it does not parse, which the build excludes.
CRY_X509_CERTIFICATE *tryCreateRoot();

}
