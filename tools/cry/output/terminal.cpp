#include "output/terminal.hpp"

#include <cstdlib>
#include <string_view>
#include <unistd.h>

namespace
{

std::string_view variable( const char *name )
{
    const char *value = std::getenv( name );
    return value ? value : "";
}

}

bool tool::takesEscapes( int stream )
{
    std::string_view terminal = variable( "TERM" );
    return isatty( stream ) && variable( "NO_COLOR" ).empty() && !terminal.empty() && terminal != "dumb";
}
