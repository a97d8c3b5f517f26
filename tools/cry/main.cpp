#include "arguments.hpp"
#include "memory.hpp"
#include "module.hpp"
#include "output/error.hpp"
#include "output/print.hpp"

#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <unistd.h>

namespace
{

int run( int argc, char **argv )
{
    CLI::App        app;
    bool            version = false, json = false;
    int             exit = tool::exitGood;
    tool::Arguments arguments( argc, argv );
    tool::addTool( app, version, json );
    tool::addCommands( app, { arguments.command }, exit );
    try
    {
        app.parse( arguments.reversed );
    }
    catch( const CLI::ParseError &problem )
    {
        if( problem.get_exit_code() == 0 )
            return app.exit( problem );
        throw tool::InputError( tool::messageFor( app, problem ) );
    }
    if( version )
    {
        tool::Module module( tool::moduleOptions().get() );
        tool::printVersion( json );
    }
    else if( app.get_subcommands().empty() )
        tool::print( app.help() );
    return exit;
}

// A file that is opened must not be taken for a standard stream that is closed. To use such a
// stream stays an error.
void occupyStandardStreams()
{
    for( int stream : { STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO } )
    {
        if( fcntl( stream, F_GETFD ) < 0 )
            open( "/dev/null", ( stream == STDIN_FILENO ? O_WRONLY : O_RDONLY ) | O_CLOEXEC );
    }
}

// What is printed may be secret, so that the buffer is overwritten, too.
struct OutputBuffer
{
    char bytes[BUFSIZ];

    OutputBuffer() { std::setvbuf( stdout, bytes, isatty( STDOUT_FILENO ) ? _IOLBF : _IOFBF, sizeof bytes ); }
    ~OutputBuffer()
    {
        std::fflush( stdout );
        std::setvbuf( stdout, nullptr, _IONBF, 0 );
        explicit_bzero( bytes, sizeof bytes );
    }
};

}

int main( int argc, char **argv )
{
    occupyStandardStreams();
    tool::keepMemorySecret();
    OutputBuffer buffer;
    const bool   json = tool::asksForJson( argc, argv );
    if( json )
        tool::reportAsJson();
    try
    {
        tool::cleanseMemory();
        int exit = run( argc, argv );
        tool::flushOutput();
        return exit;
    }
    catch( const std::exception &problem )
    {
        tool::printFailure( problem, json );
        return tool::exitInputError;
    }
}
