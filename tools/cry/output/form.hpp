// Bytes as they are, or as text.
#pragma once

#include <CLI/CLI.hpp>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

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
std::string        textInForm( PB_BUFFER *bytes, Form form );

}
