// Passwords: from a prompt, a file or a descriptor, never from the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <pb/pb_buffer.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

// The options --password-file and --password-fd of a command.
struct PasswordOptions
{
    std::string file;
    int         descriptor = -1;

    void addTo( CLI::App &command, const std::string &what );

    // The password for a file, sensitive: the first line of what the options name, else what is typed at the terminal without being shown. Throws Unusable when there
    // is no way to get one. The second time it is the same.
    pb::Ref<PB_BUFFER> get( const std::string &path );

private:
    pb::Ref<PB_BUFFER> known;
};

}
