// The names that new certificates and requests get.
#pragma once

#include "input/key_file.hpp"

#include <CLI/CLI.hpp>
#include <optional>
#include <pb/pb_string.h>

namespace tool
{

// The options --domain and --common-name of a command, and the key.
struct SubjectOptions
{
    std::string                key;
    std::optional<std::string> domain, commonName;
    PasswordOptions            password;

    void addTo( CLI::App &command );
};

// What they say, looked at before anything is made of it.
struct Subject
{
    Key                key;
    pb::Ref<PB_STRING> domain, commonName; // null when not given

    // Throws InputError when a name is not good, or the key cannot be read or cannot sign.
    explicit Subject( SubjectOptions &options );
};

}
