#include "arguments.hpp"

#include "options/command.hpp"

#include <algorithm>

// CLI11 would split a file name as "[a,b]", swallow "++", and leave the arguments after "--" to
// nobody. No argument holds a NUL, so one before a value hides it from CLI11; tool::plain takes it
// away.
tool::Arguments::Arguments( int argc, char **argv )
{
    const std::string hidden( 1, '\0' );
    const Command    *group      = nullptr;
    bool              isCommand  = false; // the command stands before
    bool              onlyValues = false; // a "--" stands before, after the command
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
        if( option || value )
            continue;
        const Command *found            = findCommand( text, group ? group->name : "" );
        isCommand                       = !found || !found->isGroup();
        ( isCommand ? command : group ) = found;
    }
    std::reverse( reversed.begin(), reversed.end() );
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
    std::string              first  = extras.empty() ? "" : plain( extras.front() );
    std::string              known;
    for( const CLI::App *each : deepest->get_subcommands( []( CLI::App * ) { return true; } ) )
        known += ( known.empty() ? "" : ", " ) + each->get_name();
    bool option = first.size() > 1 && first.starts_with( '-' );
    if( !known.empty() && deepest != &app && problem.get_exit_code() == (int)CLI::ExitCodes::RequiredError )
        text = ( first.empty()  ? "a command is missing"
                       : option ? "unknown option '" + first + "'"
                                : "'" + first + "' is not a command" ) +
            "; '" + help + "' has " + known;
    else if( !extras.empty() && problem.get_exit_code() == (int)CLI::ExitCodes::ExtrasError )
        text = option         ? "unknown option '" + first + "'"
            : deepest == &app ? "'" + first + "' is not a command"
                              : "one argument too many, '" + first + "'";
    return text + "; '" + help + " --help' tells more";
}
