// The texts by which subject alternative names are compared, for the module's own files.
#pragma once

#include <cry/cry_x509_san.h>
#include <pb/containers.hpp>

namespace cry::x509
{

// Two names are equal exactly if their `name` is equal. A wildcard covers a name exactly if its
// `covered` is the `rest` of the name. So a lookup can take the place of a comparison.
struct SanForms
{
    pb::StdString<> name;
    pb::StdString<> rest;    // of the name without its first label; empty if it has only one label
    pb::StdString<> covered; // of the name without "*." at its begin; empty if it does not begin so
};

// Lent while the caller holds the name.
const SanForms &forms( CRY_X509_SAN *san );

}
