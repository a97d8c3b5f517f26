// `cry verify --batch`: one verdict for each line.
#pragma once

#include "commands/verify_session.hpp"

#include <string>
#include <vector>

namespace tool
{

// Judges the lines of the only file, or of standard input if there is none, and prints the answers
// in their order. Gives the exit code: exitInputError if a line is bad, else exitNegative if a
// chain is not valid. Throws InputError if there are more files, or it cannot be read; the lines
// before that are answered.
int verifyBatch( const std::vector<std::string> &files, const TrustOptions &trust );

}
