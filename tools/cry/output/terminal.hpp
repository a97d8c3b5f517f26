// Text for people: colour, safety of the terminal, progress.
#pragma once

#include <pb/pb_buffer.h>

#include <cstdint>
#include <ctime>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

namespace tool
{

// Colours only where standard output is a terminal.
std::string green( std::string_view text );
std::string red( std::string_view text );
std::string faint( std::string_view text );

// Text that came from a certificate or a file name, made so that it cannot play with the terminal: control, invisible and direction characters are
// written as \u{...}, bytes that are not UTF-8 as \x{...}.
std::string printable( std::string_view text );

// A to Z as a to z.
std::string lowerCase( std::string text );

// Writes to standard output. JSON comes indented, with a line end.
void        print( std::string_view text );
std::string jsonText( const nlohmann::ordered_json &json );
void        printJson( const nlohmann::ordered_json &json );

// Writes to standard output without a copy that stays in memory.
void printSecret( PB_BUFFER *content );

// Writes one line to standard error, beginning with "cry: ".
void printError( std::string_view text );

// Standard output is written out; InputError when it cannot take what was printed (a full disk).
void flushOutput();

// A sign of life on standard error while there is nothing to measure: on a terminal the seconds, else one line at the start.
class Waiting
{
public:
    explicit Waiting( std::string what );
    ~Waiting();
    void show();

private:
    std::string what;
    time_t      began;
    bool        terminal;
};

// A bar on standard error, when that is a terminal and there is much to do.
class Progress
{
public:
    Progress( std::string what, uint64_t total );
    ~Progress();
    void advance( uint64_t bytes );

private:
    std::string what;
    uint64_t    total;
    uint64_t    done  = 0;
    int         shown = -1;
    bool        visible;
};

}
