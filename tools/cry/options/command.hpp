// The options of a command, and its function.
#pragma once

#include "libcrypto.hpp"
#include "module.hpp"
#include "output/trace.hpp"

#include <CLI/CLI.hpp>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace tool
{

// A value as it was given, without the mark that arguments.cpp puts before it.
inline std::string plain( const std::string &value ) { return value.starts_with( '\0' ) ? value.substr( 1 ) : value; }

// The values of an option, for shells, which complete them, and for the check of outputs.
struct Values
{
    enum Kind
    {
        text,
        input,    // a file that is read; - is standard input
        output,   // a file that is written; - is standard output
        appended, // a file that gets more lines
        descriptor,
    } kind = text;
    std::function<std::vector<std::string>()> known; // gives the texts that are taken; may need the module
};

// What is known of the values of an option of any command; it may be changed.
Values &valuesOf( const CLI::Option *option );

// Throws InputError if a file that would be changed is one that the command reads, too.
void checkInputsStay( const CLI::App &command );

// Adds an option with a value; `type` is how the help calls the value. A FILE is an input.
template<class Value>
CLI::Option *addOption( CLI::App &command, const std::string &name, Value &value, const std::string &type, const std::string &what )
{
    CLI::Option *option = command.add_option( name, value, what )->type_name( type )->transform( plain );
    if( type == "FILE" || name == "FILE" )
        valuesOf( option ).kind = Values::input;
    return option;
}

// Says which texts an option takes, for shells.
inline void addKnown( CLI::App &command, const std::string &name, std::vector<std::string> known )
{
    valuesOf( command.get_option( name ) ).known = [known = std::move( known )] { return known; };
}

// Adds an option whose values are files that the command writes.
template<class Value>
CLI::Option *addOutput( CLI::App &command, const std::string &name, Value &value, const std::string &what )
{
    CLI::Option *option     = addOption( command, name, value, "FILE", what );
    valuesOf( option ).kind = Values::output;
    return option;
}

// Adds a value that stands without an option before it; the help has its name only.
template<class Value>
CLI::Option *addArgument( CLI::App &command, const std::string &name, Value &value, const std::string &what )
{
    return addOption( command, name, value, "", what );
}

// Adds an option that may be given several times, with one value each.
inline CLI::Option *addRepeated(
    CLI::App &command, const std::string &name, std::vector<std::string> &values, const std::string &type, const std::string &what )
{
    return addOption( command, name, values, type, what )->allow_extra_args( false );
}

// Adds the files that a command reads one after the other.
inline void addFiles( CLI::App &command, std::vector<std::string> &files )
{
    addArgument( command, "FILE", files, "files to read; - and none at all are standard input" )->expected( 0, -1 );
}

// Options of a command that are for the start of the module.
template<class Options>
concept StartsItself = requires( Options &options, pb::Ref<PB_RUNTIME_OPTIONS> &start ) { options.prepare( start ); };

// Makes the options of a command and adds --json and --trace. If the command is given, the module
// is started, and the exit code is the result of `run`.
template<class Options>
Options &addOptions( CLI::App &command, int &exit, int ( *run )( Options & ), const char *footer )
{
    auto options = std::make_shared<Options>();
    auto traces  = std::make_shared<TraceOptions>();
    command.add_flag( "--json", options->json, "print the result as JSON" );
    traces->addTo( command );
    command.footer( footer );
    command.callback( [options, traces, &command, &exit, run] {
        pb::Ref<PB_RUNTIME_OPTIONS> start = moduleOptions();
        if constexpr( StartsItself<Options> )
            options->prepare( start );
        Module module( start.get() );
        requireAlgorithms();
        checkInputsStay( command );
        Trace trace( *traces );
        exit = run( *options );
        trace.finish();
    } );
    return *options;
}

}
