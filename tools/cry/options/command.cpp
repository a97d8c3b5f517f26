#include "options/command.hpp"

#include "input/file.hpp"
#include "output/error.hpp"

#include <cstdlib>
#include <map>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

struct Input
{
    std::string name;
    struct stat status;
};

bool isRegular( int result, const struct stat &status ) { return result == 0 && S_ISREG( status.st_mode ); }

bool look( const std::string &path, struct stat &status )
{
    return isRegular( path == "-" ? fstat( STDIN_FILENO, &status ) : stat( path.c_str(), &status ), status );
}

// The regular files that a command reads.
std::vector<Input> inputsOf( const CLI::App &command )
{
    std::vector<Input> inputs;
    for( const CLI::Option *option : command.get_options() )
    {
        tool::Values::Kind       kind   = tool::valuesOf( option ).kind;
        std::vector<std::string> values = option->results();
        // Arguments that may be left out are standard input then.
        if( values.empty() && option->get_positional() && !option->get_required() )
            values.push_back( "-" );
        for( const std::string &each : values )
        {
            std::string value = tool::plain( each );
            Input       input{ tool::nameOf( value ), {} };
            if( kind == tool::Values::descriptor )
                input.name = "descriptor " + value;
            if( kind == tool::Values::descriptor ? isRegular( fstat( std::atoi( value.c_str() ), &input.status ), input.status )
                                                 : kind == tool::Values::input && look( value, input.status ) )
                inputs.push_back( input );
        }
    }
    return inputs;
}

}

tool::Values &tool::valuesOf( const CLI::Option *option )
{
    static std::map<const CLI::Option *, Values> all;
    return all[option];
}

void tool::checkInputsStay( const CLI::App &command )
{
    const CLI::Option *force    = command.get_option_no_throw( "--force" );
    bool               replaces = force && force->count();
    for( const CLI::Option *option : command.get_options() )
    {
        Values::Kind kind    = valuesOf( option ).kind;
        bool         changes = kind == Values::appended || ( kind == Values::output && replaces );
        if( !changes || !option->count() )
            continue;
        std::vector<Input> inputs = inputsOf( command );
        for( const std::string &each : option->results() )
        {
            std::string path = plain( each );
            struct stat status;
            if( path == "-" || !look( path, status ) )
                continue;
            for( const Input &input : inputs )
            {
                if( input.status.st_dev == status.st_dev && input.status.st_ino == status.st_ino )
                    throw InputError( path, "is the same file as " + input.name + ", which is an input; it was not changed" );
            }
        }
    }
}
