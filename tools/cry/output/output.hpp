// Where results go: to standard output, or to a file, whole or not at all.
#pragma once

#include <CLI/CLI.hpp>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>

#include <optional>
#include <string>

namespace tool
{

enum class Secrecy
{
    open,   // for everybody
    secret, // for the owner only
};

// The options --out and --force of a command.
struct Output
{
    std::optional<std::string> path;
    bool                       force = false;

    void addTo( CLI::App &command, const std::string &what );
    bool toFile() const { return path && *path != "-"; }

    // Throws InputError when the name is no name or a file is in the way, before there is anything to write.
    void check() const;
    // Throws InputError when it cannot be written, and then nothing has changed.
    void write( PB_BUFFER *content, Secrecy secrecy ) const;
    // The same where there is JSON, too: standard output is for that then.
    void writeBeside( bool json, PB_BUFFER *content, Secrecy secrecy ) const
    {
        if( toFile() || !json )
            write( content, secrecy );
    }
    // The same of text for everybody.
    void write( const std::string &text ) const;
};

// How bytes are written: as they are, or as text.
enum class Form
{
    raw,
    hex,
    base64,
};

// The options --hex and --base64 of a command.
struct FormOptions
{
    bool hex = false, base64 = false;

    void addTo( CLI::App &command, const std::string &what );
    Form form() const { return hex ? Form::hex : base64 ? Form::base64 : Form::raw; }
};

// Bytes in a form; text has no line end.
pb::Ref<PB_BUFFER> inForm( PB_BUFFER *bytes, Form form );
std::string        textOf( PB_BUFFER *bytes );
std::string        textInForm( PB_BUFFER *bytes, Form form );

// Bytes to standard output or a file, text with a line end. Raw bytes do not go to a terminal.
void writeBytes( const Output &output, PB_BUFFER *bytes, Form form, Secrecy secrecy );

}
