#include "commands/commands.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "output/certificate_facts.hpp"
#include "output/error.hpp"
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

struct Skipped
{
    std::string file;
    PB_INT      line;
    std::string reason;
};

// The place of the roots, which is read again for this.
struct Source
{
    std::string          place;
    std::string          changed; // the time of the last change; empty if unknown
    PB_INT               days = 0;
    std::vector<Skipped> skipped;
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
        source.skipped.push_back( { file.string(), 0, problem.what() } );
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
            source.skipped.push_back( { file.string(), line, problem } );
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
    Source                 source = findSource();
    nlohmann::ordered_json list   = nlohmann::ordered_json::array();
    for( size_t index = 0; index < length && !options.count; index++ )
    {
        tool::Facts facts( all[index].get() );
        if( options.json )
            list.push_back( facts.json() );
        else
            tool::print( tool::nameOrNone( facts.subject ) + "\n   " + tool::faint( "valid    " ) + facts.validFrom + " to " + facts.validUntil +
                "\n   " + tool::faint( "key      " ) + facts.key + "\n   " + tool::faint( "SHA-256  " ) + facts.fingerprint + "\n" );
    }
    if( options.json )
    {
        nlohmann::ordered_json json{ { "format", 1 }, { "count", length } };
        if( !options.count )
            json["roots"] = list;
        json["source"]  = source.place;
        json["changed"] = source.changed;
        json["skipped"] = nlohmann::ordered_json::array();
        for( const Skipped &each : source.skipped )
            json["skipped"].push_back( { { "file", each.file }, { "line", each.line }, { "reason", each.reason } } );
        tool::printJson( json );
        return tool::exitGood;
    }
    if( source.place.empty() )
        tool::print( "0 roots: none of the usual places is there\n" );
    else
        tool::print( "\n" + tool::counted( length, "root" ) + " from " + source.place + ", " + ageOf( source ) + "\n" );
    for( const Skipped &each : source.skipped )
        tool::print(
            "skipped: " + ( each.line ? tool::printable( each.file ) + ":" + std::to_string( each.line ) + ": " : "" ) + each.reason + "\n" );
    return tool::exitGood;
}

}

void tool::addRoots( CLI::App &command, int &exit )
{
    Options &options = addOptions(
        command, exit, roots, "Ends with where the roots came from, how old that is, and what in it was skipped.\nExit: 0 done; 2 wrong use." );
    command.add_flag( "--count", options.count, "print only how many there are" );
}
