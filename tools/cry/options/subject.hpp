// The key and the names that new certificates and requests get.
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

// Key and names of a new certificate or request, checked before it is made.
struct Subject
{
    Key                key;
    pb::Ref<PB_STRING> domain, commonName; // null if not given

    // Throws InputError if a name is not good, or the key cannot be read or cannot sign.
    explicit Subject( SubjectOptions &options );
};

}
