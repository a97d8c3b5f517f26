// Standard output: text, colour, JSON.
#pragma once

#include <pb/pb_buffer.h>

#include <exception>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tool
{

// Colours only if standard output is a terminal that takes them.
std::string green( std::string_view text );
std::string red( std::string_view text );
std::string faint( std::string_view text );

// A line with the name of a file: as it is, or harmless if standard output is a terminal.
void printNameLine( std::string_view line );

void print( std::string_view text );

// The result of a command as JSON, indented, with a line end. The format, warnings and problems are
// put in here.
std::string jsonText( nlohmann::ordered_json result );
void        printJson( nlohmann::ordered_json result );
// The same in one line, for commands that print several results.
void printJsonLine( nlohmann::ordered_json result );

// Prints the error that ends the command, to standard error and, if JSON is asked for, as JSON.
void printFailure( const std::exception &problem, bool json );

// Writes to standard output without a copy that stays in memory.
void printSecret( PB_BUFFER *content );

// Writes everything printed so far to standard output; throws InputError if that fails (a full
// disk).
void flushOutput();

}
