#include "commands/commands.hpp"
#include "pages/pages.hpp"

#include <fstream>
#include <iostream>
#include <pb/runtime.hpp>
#include <sstream>

namespace
{

bool write( const std::string &path, const std::string &text )
{
    std::ofstream file( path, std::ios::binary );
    file << text << std::flush;
    if( !file )
        std::cerr << path << ": cannot be written\n";
    return (bool)file;
}

}

std::vector<pages::Entry> pages::Entry::members() const
{
    std::vector<Entry> found;
    for( const CLI::App *each : app->get_subcommands( []( const CLI::App * ) { return true; } ) )
        found.push_back( { path.empty() ? each->get_name() : path + " " + each->get_name(), each } );
    return found;
}

std::vector<const CLI::Option *> pages::Entry::options() const
{
    return app->get_options( []( const CLI::Option *each ) { return !each->get_lnames().empty() && each->get_lnames()[0] != "help"; } );
}

std::vector<const CLI::Option *> pages::Entry::arguments() const
{
    return app->get_options( []( const CLI::Option *each ) { return each->get_positional(); } );
}

std::vector<pages::Entry> pages::all( const CLI::App &app )
{
    std::vector<Entry> found;
    for( const Entry &each : Entry{ "", &app }.members() )
    {
        found.push_back( each );
        for( const Entry &member : each.members() )
            found.push_back( member );
    }
    return found;
}

bool pages::takesValue( const CLI::Option *option ) { return option->get_expected_min() > 0; }

bool pages::isRepeated( const CLI::Option *option ) { return option->get_items_expected_max() > 1; }

std::string pages::replaced( std::string text, const std::string &from, const std::string &to )
{
    for( size_t at = text.find( from ); at != text.npos; at = text.find( from, at + to.size() ) )
        text.replace( at, from.size(), to );
    return text;
}

int main( int argc, char **argv )
{
    if( argc != 4 )
    {
        std::cerr << "usage: cry_pages VERSION TEMPLATE FOLDER\n";
        return 2;
    }
    pb::Runtime                        runtime{ "cry" };
    CLI::App                           app;
    std::vector<const tool::Command *> used;
    bool                               version = false, json = false;
    int                                exit = 0;
    for( const tool::Command &each : tool::commands() )
        used.push_back( &each );
    tool::addTool( app, version, json );
    tool::addCommands( app, used, exit );

    std::ifstream     file( argv[2], std::ios::binary );
    std::stringstream source;
    source << file.rdbuf();
    if( !file )
    {
        std::cerr << argv[2] << ": cannot be read\n";
        return 2;
    }
    std::string folder = std::string( argv[3] ) + "/";
    bool        good   = write( folder + "cry.1", pages::manual( app, source.str(), argv[1] ) );
    good               = write( folder + "cry.bash", pages::bashCompletion( app ) ) && good;
    good               = write( folder + "_cry", pages::zshCompletion( app ) ) && good;
    good               = write( folder + "cry.fish", pages::fishCompletion( app ) ) && good;
    return good ? 0 : 2;
}
