// Passwords: from a prompt, a file or a descriptor, never from the command line.
#pragma once

#include <CLI/CLI.hpp>
#include <pb/pb_buffer.h>
#include <pb/pb_string.h>
#include <pb/ref.hpp>

#include <optional>
#include <string>

namespace tool
{

// The options --password-file and --password-fd of a command.
struct PasswordOptions
{
    std::optional<std::string> file, descriptor;

    // `prefix` stands before the options' names, as in --key-password-file. Throws InputError for a
    // descriptor that cannot be read, even if no password is needed.
    void addTo( CLI::App &command, const std::string &what, const std::string &prefix = "" );
    bool given() const { return file || descriptor; }

    // The password for a file, sensitive: the first line of the file or descriptor that the options
    // name, else the line that is typed at the terminal, which does not show it. Throws InputError
    // if there is no way to get one. The second time it is the same.
    pb::Ref<PB_BUFFER> get( const std::string &path );
    // The same for a file that is to be made; the terminal asks for it twice. Throws InputError for
    // an empty one, too.
    pb::Ref<PB_BUFFER> getNew( const std::string &path );

private:
    std::string        fileName, descriptorName; // of the options, for messages
    pb::Ref<PB_BUFFER> known;
};

// A password as the text that PKCS#12 needs, sensitive; null for null. Throws InputError if it is
// not such a text.
pb::Ref<PB_STRING> passwordText( const pb::Ref<PB_BUFFER> &password );

}
