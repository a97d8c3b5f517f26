// Digests by the names that people use.
#pragma once

#include <cry/cry_hash_algorithm.h>

#include <string>

namespace tool
{

// All names, for help and messages.
std::string algorithmNames();

// The algorithm of a name as "sha256" or "CRY_HASH_ALGORITHM_SHA2_256". Throws InputError for any other.
CRY_HASH_ALGORITHM algorithmOf( const std::string &name );

}
