// Error messages and exit codes.
#pragma once

#include <pb/pb_base.h>

#include <optional>
#include <stdexcept>
#include <string>
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

// Ends the command with exitInputError and this message. It is for output that cannot be written,
// too.
struct InputError : std::runtime_error
{
    std::optional<std::string> file; // the one that it speaks of, as it was given
    PB_INT                     line = 0;

    using std::runtime_error::runtime_error;
    // The message is "name: problem", or "name:line: problem" for a line that is not 0.
    InputError( const std::string &path, const std::string &problem, PB_INT lineNumber = 0 );
    // The same with more text at its end.
    InputError( const InputError &other, const std::string &more );
};

// Standard output, or a file beside it, cannot be written; the code is one of <errno.h>. The result
// is printed already, so this error cannot take its place in JSON.
struct OutputError : InputError
{
    explicit OutputError( int code );
    OutputError( const std::string &path, int code );
};

// Writes one line to standard error, which begins with "cry: ": an error or a warning.
void printError( std::string_view text );

}
