#include "command.hpp"
#include "input.hpp"
#include "terminal.hpp"

#include <exception>
#include <pb/runtime.hpp>

namespace
{

int run( int argc, char **argv )
{
    pb::Runtime runtime{ "cry" };
    if( !runtime.started() )
        throw tool::Unusable( tool::take( pbRuntimeStartError() ) );
    CLI::App app( "Certificates, digests and the platform's trust, by the cry module" );
    app.name( "cry" );
    bool version = false, json = false;
    int  exit = tool::exitGood;
    app.add_flag( "--version", version, "print what the module says of itself" );
    app.add_flag( "--json", json, "print the version as JSON" );
    app.require_subcommand( 0, 1 );
    tool::addVerify( app, exit );
    tool::addHash( app, exit );
    tool::addRoots( app, exit );
    try
    {
        app.parse( argc, argv );
    }
    catch( const CLI::ParseError &problem )
    {
        if( problem.get_exit_code() == 0 )
            return app.exit( problem );
        throw tool::Unusable( std::string( problem.what() ) + "; 'cry --help' tells more" );
    }
    if( version )
        tool::printVersion( json );
    else if( app.get_subcommands().empty() )
        tool::print( app.help() );
    return exit;
}

}

int main( int argc, char **argv )
{
    try
    {
        int exit = run( argc, argv );
        tool::flushOutput();
        return exit;
    }
    catch( const std::exception &problem )
    {
        tool::complain( problem.what() );
        return tool::exitUnusable;
    }
}
