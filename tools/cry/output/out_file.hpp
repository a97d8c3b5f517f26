// Where results go: to standard output, or to a file, whole or not at all.
#pragma once

#include "output/error.hpp"
#include "output/form.hpp"

#include <CLI/CLI.hpp>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace tool
{

enum class Secrecy
{
    open,   // for everybody
    secret, // for the owner only
};

// The permissions of a new file.
unsigned int modeOf( Secrecy secrecy );

// The error for a file that may not be replaced.
InputError inTheWay( const std::string &path );

// The options --out and --force of a command.
struct Output
{
    std::optional<std::string> path;
    bool                       force = false;

    void addTo( CLI::App &command, const std::string &what );
    // Adds the file that was written, if it was one.
    void addTo( nlohmann::ordered_json &json, const char *member = "out" ) const;
    bool toFile() const { return path && *path != "-"; }

    // Throws InputError if the name is empty or a file is in the way, before there is anything to
    // write.
    void check() const;
    // Throws InputError if JSON and the result would both go to standard output.
    void checkBeside( bool json ) const;
    // Throws InputError if it cannot be written, and then nothing has changed.
    void write( PB_BUFFER *content, Secrecy secrecy ) const;
    // The same, unless standard output is for JSON.
    void writeBeside( bool json, PB_BUFFER *content, Secrecy secrecy ) const
    {
        if( toFile() || !json )
            write( content, secrecy );
    }
    // The same of text for everybody.
    void write( const std::string &text ) const;
};

// Throws InputError if raw bytes would go to a terminal.
void checkNotTerminal( const Output &output, Form form );

// Bytes to standard output or a file, text with a line end. Raw bytes are not written to a
// terminal.
void writeBytes( const Output &output, PB_BUFFER *bytes, Form form, Secrecy secrecy );

}
