// Certificate revocation lists in files: PEM with anything around it, or DER.
#pragma once

#include <cry/cry_x509_crl.h>
#include <pb/ref.hpp>

#include <string>
#include <vector>

namespace tool
{

// The lists of a file, in order. Throws InputError, which names file and line, if anything in it is
// damaged or there is none.
std::vector<pb::Ref<CRY_X509_CRL>> readCrls( const std::string &path );

}
