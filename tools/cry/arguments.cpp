#include "arguments.hpp"

#include "options/command.hpp"

#include "output/error.hpp"
#include "text/nearest.hpp"
#include "text/printable.hpp"

#include <algorithm>

namespace
{

// An argument, as CLI11 gives it back, that is not a value.
bool isOption( const std::string &argument ) { return argument.size() > 1 && argument.starts_with( '-' ); }

bool anyCommand( const CLI::App * ) { return true; }

std::vector<std::string> namesIn( std::string_view group )
{
    std::vector<std::string> names;
    for( const tool::Command &each : tool::commands() )
    {
        if( each.group == group )
            names.emplace_back( each.name );
    }
    if( group.empty() )
        names.emplace_back( "help" );
    return names;
}

// The commands of a group for a message; empty if the name is not a group's.
std::string members( const std::string &group )
{
    std::string text;
    for( const std::string &each : group.empty() ? std::vector<std::string>() : namesIn( group ) )
        text += ( text.empty() ? "; 'cry " + group + "' has " : ", " ) + each;
    return text;
}

std::string meant( const std::string &word ) { return word.empty() ? "" : " (did you mean '" + word + "'?)"; }

// Whether CLI11 takes the value of a flag for "no". Values that it does not know are not.
bool isOff( std::string value )
{
    try
    {
        return CLI::detail::to_flag_value( std::move( value ) ) <= 0;
    }
    catch( const std::exception & )
    {
        return false;
    }
}

// Only values of flags are converted.
std::string valueOfFlag( const CLI::App &command )
{
    for( const CLI::Option *each : command.get_options() )
    {
        if( each->get_expected_min() == 0 && !each->get_lnames().empty() && each->count() && each->results().front() != "true" )
            return each->get_name() + " takes no value; " + tool::shown( each->results().front() ) + " is one";
    }
    return "an option has a value and takes none";
}

tool::InputError unknownCommand( const std::string &word, const tool::Command *group )
{
    std::string name( group ? group->name : "" );
    return tool::InputError( tool::shown( word ) + " is not a command" + meant( tool::nearest( word, namesIn( name ) ) ) + members( name ) + "; '" +
        ( group ? "cry " + name : "cry" ) + " --help' tells more" );
}

}

// CLI11 would split a file name as "[a,b]", swallow "++", and leave the arguments after "--" to
// nobody. No argument holds a NUL, so one before a value hides it from CLI11; tool::plain takes it
// away.
tool::Arguments::Arguments( int argc, char **argv )
{
    const std::string hidden( 1, '\0' );
    const Command    *group      = nullptr;
    bool              isCommand  = false; // the command stands before
    bool              onlyValues = false; // a "--" stands before, after the command
    bool              help       = false; // --help, which is for the arguments before it
    bool              asked      = false; // "help" stands before
    for( int index = 1; index < argc; index++ )
    {
        std::string text   = argv[index];
        bool        option = text.size() > 1 && text.starts_with( '-' );
        if( !onlyValues && text == "--" )
        {
            onlyValues = isCommand;
            continue;
        }
        bool value = isCommand && ( onlyValues || !option );
        // "--time=" has a value, which is empty; CLI11 would take the next argument.
        bool empty = option && !value && text.starts_with( "--" ) && text.find( '=' ) == text.size() - 1;
        if( empty )
            text.pop_back();
        reversed.push_back( value ? hidden + text : text );
        if( empty )
            reversed.push_back( hidden );
        help = help || text == "--help" || text == "-h";
        if( asked && value )
            throw InputError( "one argument too many, " + shown( plain( reversed.back() ) ) + "; 'cry help' takes a command" );
        if( option || value )
            continue;
        if( !group && text == "help" )
        {
            // "help verify" is "verify --help".
            asked = true;
            reversed.pop_back();
            continue;
        }
        const Command *found = findCommand( text, group ? group->name : "" );
        if( !found && !help )
            throw unknownCommand( text, group );
        isCommand                       = !found || !found->isGroup();
        ( isCommand ? command : group ) = found;
    }
    if( asked )
        reversed.push_back( "--help" );
    std::reverse( reversed.begin(), reversed.end() );
}

bool tool::asksForJson( int argc, char **argv )
{
    bool asked = false;
    for( int index = 1; index < argc && argv[index] != std::string_view( "--" ); index++ )
    {
        std::string_view text = argv[index];
        if( text == "--json" )
            asked = true;
        else if( text.starts_with( "--json=" ) )
            asked = !isOff( std::string( text.substr( text.find( '=' ) + 1 ) ) );
    }
    return asked;
}

std::string tool::messageFor( CLI::App &app, const CLI::ParseError &problem )
{
    std::string text = problem.what(), help = "cry";
    CLI::App   *deepest = &app;
    while( !deepest->get_subcommands().empty() )
    {
        deepest = deepest->get_subcommands().front();
        help += " " + deepest->get_name();
    }
    std::vector<std::string> extras = app.remaining( true );
    auto                     option = std::find_if( extras.begin(), extras.end(), isOption );
    if( option != extras.end() )
    {
        std::vector<std::string> known;
        for( const CLI::Option *each : deepest->get_options() )
        {
            for( const std::string &name : each->get_lnames() )
                known.push_back( "--" + name );
        }
        // A single letter is not like any name.
        bool hasName = option->starts_with( "--" );
        text         = "unknown option " + shown( *option ) + meant( hasName ? nearest( option->substr( 0, option->find( '=' ) ), known ) : "" );
    }
    else if( !extras.empty() && problem.get_exit_code() == (int)CLI::ExitCodes::ExtrasError )
        text = "one argument too many, " + shown( plain( extras.front() ) );
    else if( extras.empty() && deepest != &app && !deepest->get_subcommands( anyCommand ).empty() )
        text = "a command is missing";
    else if( problem.get_exit_code() == (int)CLI::ExitCodes::ConversionError )
        text = valueOfFlag( *deepest );
    return text + members( deepest->get_name() ) + "; '" + help + " --help' tells more";
}
