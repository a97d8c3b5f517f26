#include "options/state.hpp"

#include "options/command.hpp"
#include "options/value.hpp"
#include "output/error.hpp"

#include <cstdlib>

namespace
{

// The value of a variable if it is an absolute path; any other value is as none, as the rules for
// XDG base directories have it.
std::string absolutePath( const char *name )
{
    const char *value = std::getenv( name );
    return value && *value == '/' ? value : "";
}

std::string usualDirectory()
{
    if( std::string state = absolutePath( "XDG_STATE_HOME" ); !state.empty() )
        return state + "/cry";
    std::string home = absolutePath( "HOME" );
    if( home.empty() )
        throw tool::InputError( "the vault has no directory: HOME and XDG_STATE_HOME are no absolute paths; give --state-dir" );
    return home + "/.local/state/cry";
}

}

void tool::StateOptions::addTo( CLI::App &command )
{
    addOption( command, "--state-dir", given, "DIR", "the directory of the vault; $XDG_STATE_HOME/cry or ~/.local/state/cry if left out" );
    valuesOf( command.get_option( "--state-dir" ) ).kind = Values::input;
}

void tool::StateOptions::prepare( pb::Ref<PB_RUNTIME_OPTIONS> &start )
{
    directory = given ? *given : usualDirectory();
    if( directory.empty() )
        throw InputError( "--state-dir: the name is empty" );
    // The module takes paths as text.
    utf8Value( directory, given ? "--state-dir" : "the directory of the vault" );
    pbRuntimeOptionsSetStateDirectoryCstr( start.handle(), directory.data(), (PB_INT)directory.size() );
}
