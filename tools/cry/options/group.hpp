// Commands that have commands of their own.
#pragma once

#include "options/command.hpp"

#include <memory>

namespace tool
{

template<class Options>
struct Member
{
    CLI::App                *command;
    std::shared_ptr<Options> options;
};

// Adds a command to a group, with --json; when it was given, its exit code is what `run` returns.
template<class Options>
Member<Options> addMember( CLI::App &group, int &exit, const char *name, const char *what, int ( *run )( Options & ), const char *footer )
{
    auto      options = std::make_shared<Options>();
    CLI::App *command = group.add_subcommand( name, what );
    command->add_flag( "--json", options->json, "print the result as JSON" );
    command->footer( footer );
    command->callback( [options, &exit, run] { exit = run( *options ); } );
    return { command, options };
}

inline CLI::App &addGroup( CLI::App &app, const char *name, const char *what )
{
    CLI::App *group = app.add_subcommand( name, what );
    group->require_subcommand( 1 );
    return *group;
}

}
