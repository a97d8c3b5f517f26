// Digests by the names that people use.
#pragma once

#include "output/error.hpp"

#include <cry/cry_hash_algorithm.h>

#include <CLI/CLI.hpp>
#include <optional>
#include <string>

namespace tool
{

// Adds the option --algorithm; `what` stands before the list of names in the help.
void addAlgorithm( CLI::App &command, std::string &name, const std::string &what = "" );

// The algorithm of a name as "sha256", "SHA-256", "SHA2-256" or "CRY_HASH_ALGORITHM_SHA2_256", in
// any case. Throws InputError for any other; findAlgorithm gives nothing then.
CRY_HASH_ALGORITHM                algorithmOf( const std::string &name );
std::optional<CRY_HASH_ALGORITHM> findAlgorithm( const std::string &name );

// The usual name of an algorithm: "sha256", "sha3-256".
std::string nameOfAlgorithm( CRY_HASH_ALGORITHM algorithm );

// The error for an algorithm that this libcrypto was built without.
InputError algorithmMissing();

}
