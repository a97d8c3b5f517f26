#include "input/input.hpp"
#include "options/command.hpp"
#include "output/terminal.hpp"

#include <algorithm>
#include <exception>
#include <fcntl.h>
#include <pb/runtime.hpp>
#include <unistd.h>

namespace
{

// Commands that have commands of their own.
bool hasCommands( std::string_view name )
{
    return name == "key" || name == "signature" || name == "certificate" || name == "request" || name == "pkcs12" || name == "name";
}

// CLI11 would split a file name as "[a,b]", swallow "++", and leave what stands behind "--" to nobody. A NUL, which no argument holds, hides what is
// no option; tool::plain takes it away.
std::vector<std::string> hideNames( int argc, char **argv )
{
    const std::string        hidden( 1, '\0' );
    std::vector<std::string> arguments;
    bool                     command = false, names = false; // whether the command, or all options, are behind us
    for( int index = 1; index < argc; index++ )
    {
        std::string text   = argv[index];
        bool        option = text.size() > 1 && text.starts_with( '-' );
        if( !names && text == "--" )
        {
            names = command;
            continue;
        }
        bool name = command && ( names || !option );
        // "--time=" has a value, which is empty; CLI11 would take the next argument.
        bool empty = option && !name && text.starts_with( "--" ) && text.find( '=' ) == text.size() - 1;
        if( empty )
            text.pop_back();
        arguments.push_back( name ? hidden + text : text );
        if( empty )
            arguments.push_back( hidden );
        if( !option && !name )
            command = !hasCommands( argv[index] );
    }
    std::reverse( arguments.begin(), arguments.end() ); // as CLI11 takes them
    return arguments;
}

// What is wrong with the arguments, and the help that fits.
std::string explained( CLI::App &app, const CLI::ParseError &problem )
{
    std::string text = problem.what(), help = "cry";
    CLI::App   *deepest = &app;
    while( !deepest->get_subcommands().empty() )
    {
        deepest = deepest->get_subcommands().front();
        help += " " + deepest->get_name();
    }
    std::vector<std::string> extras = app.remaining( true );
    std::string              first  = extras.empty() ? "" : tool::plain( extras.front() );
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

int run( int argc, char **argv )
{
    pb::Runtime runtime{ "cry" };
    if( !runtime.started() )
        throw tool::InputError( tool::take( pbRuntimeStartError() ) );
    CLI::App app( "Certificates, keys, signatures, digests and the platform's trust, by the cry module" );
    app.name( "cry" );
    bool         version = false, json = false;
    int          exit        = tool::exitGood;
    CLI::Option *versionFlag = app.add_flag( "--version", version, "print what the module says of itself" );
    app.add_flag( "--json", json, "with --version: print it as JSON" )->needs( versionFlag );
    app.require_subcommand( 0, 1 );
    tool::addVerify( app, exit );
    tool::addHash( app, exit );
    tool::addRoots( app, exit );
    tool::addHmac( app, exit );
    tool::addRandom( app, exit );
    tool::addUuid( app, exit );
    tool::addKey( app, exit );
    tool::addSignature( app, exit );
    tool::addCertificate( app, exit );
    tool::addRequest( app, exit );
    tool::addPkcs12( app, exit );
    tool::addName( app, exit );
    try
    {
        app.parse( hideNames( argc, argv ) );
    }
    catch( const CLI::ParseError &problem )
    {
        if( problem.get_exit_code() == 0 )
            return app.exit( problem );
        throw tool::InputError( explained( app, problem ) );
    }
    if( version )
        tool::printVersion( json );
    else if( app.get_subcommands().empty() )
        tool::print( app.help() );
    return exit;
}

// A file that is opened must not be taken for one of the standard streams. Where those are closed, using them is an error.
void occupyStandardStreams()
{
    for( int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } )
    {
        if( fcntl( stream, F_GETFD ) < 0 )
            open( "/dev/null", stream == STDIN_FILENO ? O_WRONLY : O_RDONLY );
    }
}

}

int main( int argc, char **argv )
{
    occupyStandardStreams();
    try
    {
        int exit = run( argc, argv );
        tool::flushOutput();
        return exit;
    }
    catch( const std::exception &problem )
    {
        tool::printError( problem.what() );
        return tool::exitInputError;
    }
}
