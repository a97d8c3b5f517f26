// Standard output: text, colour, JSON.
#pragma once

#include <pb/pb_buffer.h>

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

// JSON comes indented, with a line end.
void        print( std::string_view text );
std::string jsonText( const nlohmann::ordered_json &json );
void        printJson( const nlohmann::ordered_json &json );

// Writes to standard output without a copy that stays in memory.
void printSecret( PB_BUFFER *content );

// Writes everything printed so far to standard output; throws InputError if that fails (a full
// disk).
void flushOutput();

}
