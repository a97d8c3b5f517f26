// The manual page and the completion of shells, made of the tables that --help is made of.
#pragma once

#include "options/command.hpp"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace pages
{

// A command, or the tool itself, or a group.
struct Entry
{
    std::string     path; // "verify", "key generate"; empty for the tool
    const CLI::App *app;

    std::vector<Entry> members() const; // the commands below it
    bool               isGroup() const { return !members().empty(); }

    std::vector<const CLI::Option *> options() const; // those with names, without --help
    std::vector<const CLI::Option *> arguments() const;
};

// All commands, the groups before their members, without the tool itself.
std::vector<Entry> all( const CLI::App &app );

// Whether an option has a value; whether it may be given several times.
bool takesValue( const CLI::Option *option );
bool isRepeated( const CLI::Option *option );

// The text with each `from` replaced.
std::string replaced( std::string text, const std::string &from, const std::string &to );

// The manual page of a template.
std::string manual( const CLI::App &app, const std::string &source, const std::string &version );

std::string bashCompletion( const CLI::App &app );
std::string zshCompletion( const CLI::App &app );
std::string fishCompletion( const CLI::App &app );

}
