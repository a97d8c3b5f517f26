// `cry verify --batch`: one verdict for each line.
#pragma once

#include "commands/verify_session.hpp"

#include <string>

namespace tool
{

// Judges the lines of a file or of standard input, and prints the answers in their order. Gives the
// exit code: exitInputError if a line is bad, else exitNegative if a chain is not valid. Throws
// InputError if the file cannot be read; the lines before that are answered.
int verifyBatch( const std::string &path, const TrustOptions &trust );

}
