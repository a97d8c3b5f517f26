// Messages about what is wrong, and the exit codes.
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
    exitInputError = 2, // wrong use, or input that cannot be read
};

// Ends the command with exitInputError and this message, which names the file and the place.
struct InputError : std::runtime_error
{
    using std::runtime_error::runtime_error;
};

// Writes one line to standard error, which begins with "cry: ": an error or a warning.
void printError( std::string_view text );

}
