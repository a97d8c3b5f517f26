// Error messages and exit codes.
#pragma once

#include <stdexcept>
#include <string_view>

namespace tool
{

// How the tool ends.
enum Exit
{
    exitGood       = 0,
    exitNegative   = 1, // the verdict is negative
    exitInputError = 2, // wrong use, or something cannot be read, made or written
};

// Ends the command with exitInputError and this message, which names the file and the line. It is
// for output that cannot be written, too.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// Writes one line to standard error, which begins with "cry: ": an error or a warning.
void printError( std::string_view text );

}
