// The command line.
#pragma once

#include "commands/commands.hpp"

#include <string>
#include <vector>

namespace tool
{

// The arguments as CLI11 takes them, and the command that they give.
struct Arguments
{
    std::vector<std::string> reversed;
    const Command           *command = nullptr; // null if there is none, or only a group

    // Throws InputError for a word in the place of a command that is none.
    Arguments( int argc, char **argv );
};

// Whether --json stands among the arguments, before "--". It counts if they are wrong, too.
bool asksForJson( int argc, char **argv );

// The message for wrong arguments, with the help that fits.
std::string messageFor( CLI::App &app, const CLI::ParseError &problem );

}
