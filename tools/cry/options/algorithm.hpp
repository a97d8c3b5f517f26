// Digests by the names that people use.
#pragma once

#include "output/error.hpp"

#include <cry/cry_hash_algorithm.h>

#include <CLI/CLI.hpp>
#include <string>

namespace tool
{

// Adds the option --algorithm; `what` stands before the list of names in the help.
void addAlgorithm( CLI::App &command, std::string &name, const std::string &what = "" );

// The algorithm of a name as "sha256" or "CRY_HASH_ALGORITHM_SHA2_256". Throws InputError for any
// other.
CRY_HASH_ALGORITHM algorithmOf( const std::string &name );

// The error for an algorithm that this libcrypto was built without.
InputError algorithmMissing();

}
