#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/print.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <cry/internal/cry_x509_system.h>
#include <cry/internal/cry_x509_system_places.h>
#include <filesystem>
#include <pb/pb_time.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace
{

struct Options
{
    bool count = false, json = false;
};

// The place of the roots, which is read again for this.
struct Source
{
    std::string                   place;
    std::string                   changed; // the time of the last change; empty if unknown
    PB_INT                        days = 0;
    std::vector<tool::InputError> skipped;
};

void look( const fs::path &file, Source &source )
{
    pb::Ref<PB_BUFFER> content;
    try
    {
        content = tool::readWhole( file.string() );
    }
    catch( const tool::InputError &problem )
    {
        source.skipped.push_back( problem );
        return;
    }
    tool::Blocks blocks( content.get() );
    tool::Block  block;
    while( blocks.next( block ) )
    {
        std::string problem = block.problem;
        PB_INT      line    = block.problemLine;
        if( block.pem && !tool::certificateIn( block.pem.get(), problem ) )
            line = block.line;
        if( !problem.empty() )
            source.skipped.emplace_back( file.string(), problem, line );
    }
}

// The files of a directory whose names are a hash, as 1a2b3c4d.0.
std::vector<fs::path> hashedFiles( const fs::path &directory )
{
    std::vector<fs::path> files;
    std::error_code       ignored;
    for( const fs::directory_entry &entry : fs::directory_iterator( directory, ignored ) )
    {
        std::string name = entry.path().filename().string();
        if( name.size() >= 10 && name[8] == '.' && name.find_first_not_of( "0123456789abcdef" ) == 8 &&
            name.find_first_not_of( "0123456789", 9 ) == name.npos )
            files.push_back( entry.path() );
    }
    std::sort( files.begin(), files.end() );
    return files;
}

Source findSource()
{
    Source source;
    for( const char *place : cry___x509SystemPlaces )
    {
        struct stat status;
        if( stat( place, &status ) != 0 )
            continue;
        source.place = place;
        if( PB_TIME *changed = pbTimeTryCreateFromTimeT( status.st_mtime ) )
        {
            source.changed = tool::take( pbTimeToString( changed ) );
            pbTimeRelease( changed );
        }
        source.days = ( time( nullptr ) - status.st_mtime ) / 86400;
        if( S_ISDIR( status.st_mode ) )
        {
            for( const fs::path &file : hashedFiles( place ) )
                look( file, source );
        }
        else
            look( place, source );
        break;
    }
    return source;
}

std::string ageOf( const Source &source )
{
    if( source.changed.empty() )
        return "of unknown age";
    return "last changed " + source.changed + ", " + ( source.days < 0 ? "in the future" : tool::counted( (size_t)source.days, "day" ) + " ago" );
}

int roots( Options &options )
{
    auto   all    = tool::elements( pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() ).get() );
    size_t length = all.size();
    if( options.count && !options.json )
    {
        tool::print( std::to_string( length ) + "\n" );
        return tool::exitGood;
    }
    Source source = findSource();
    for( size_t index = 0; index < length && !options.json; index++ )
    {
        tool::Facts facts( all[index].get() );
        tool::print( tool::nameOrNone( facts.subject ) + "\n   " + tool::faint( "valid    " ) + facts.validFrom + " to " + facts.validUntil +
            "\n   " + tool::faint( "key      " ) + facts.key.text() + "\n   " + tool::faint( "SHA-256  " ) + tool::orMissing( facts.fingerprint ) +
            "\n" );
    }
    if( options.json )
    {
        nlohmann::ordered_json json{ { "count", length } };
        if( !options.count )
            json["roots"] = tool::factsJson( all );
        if( !source.place.empty() )
            json["source"] = source.place;
        if( !source.changed.empty() )
            json["changed"] = source.changed;
        for( const tool::InputError &each : source.skipped )
            tool::keepProblem( each );
        tool::printJson( json );
        return tool::exitGood;
    }
    if( source.place.empty() )
        tool::print( "0 roots: none of the usual places is there\n" );
    else
        tool::print( "\n" + tool::counted( length, "root" ) + " from " + source.place + ", " + ageOf( source ) + "\n" );
    for( const tool::InputError &each : source.skipped )
        tool::print( "skipped: " + std::string( each.what() ) + "\n" );
    return tool::exitGood;
}

}

void tool::addRoots( CLI::App &command, int &exit )
{
    Options &options = addOptions( command, exit, roots,
        "Ends with where the roots came from, how old that is, and which blocks were skipped and why.\nExit: 0 done; 2 wrong use." );
    command.add_flag( "--count", options.count, "print only how many there are" );
}
