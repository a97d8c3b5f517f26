#include "commands/commands.hpp"
#include "end_signals.hpp"
#include "input/certificate_file.hpp"
#include "input/file.hpp"
#include "input/pem.hpp"
#include "options/command.hpp"
#include "options/value.hpp"
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
#include <optional>
#include <pb/pb_time.h>
#include <sys/stat.h>

namespace fs = std::filesystem;

namespace
{

struct Options
{
    bool                       count = false, watch = false, json = false;
    std::optional<std::string> interval; // a minute if not given
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

// The place that the module uses; null if there is none.
const char *findPlace( struct stat &status )
{
    for( const char *place : cry___x509SystemPlaces )
    {
        if( stat( place, &status ) == 0 )
            return place;
    }
    return nullptr;
}

Source findSource()
{
    Source      source;
    struct stat status;
    const char *place = findPlace( status );
    if( !place )
        return source;
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
    return source;
}

std::string ageOf( const Source &source )
{
    if( source.changed.empty() )
        return "of unknown age";
    return "last changed " + source.changed + ", " + ( source.days < 0 ? "in the future" : tool::counted( (size_t)source.days, "day" ) + " ago" );
}

// ---- watch

tool::Certificates rootsNow() { return tool::elements( pb::adopt( cryX509SystemTrustedCertificates() ).get() ); }

void printChange( const Options &options, size_t count, const tool::Certificates &added, const tool::Certificates &removed )
{
    std::string now  = tool::take( pbTimeToString( tool::timeValue( {} ).get() ) );
    auto        line = [&now]( const std::string &sign, CRY_X509_CERTIFICATE *each ) {
        tool::Facts facts( each );
        tool::print( sign + " " + now + " " + tool::nameOrNone( facts.subject ) + ", until " + facts.validUntil + ", SHA-256 " +
                   tool::orMissing( facts.fingerprint ) + "\n" );
    };
    if( options.json )
        tool::printJsonLine(
            { { "time", now }, { "count", count }, { "added", tool::factsJson( added ) }, { "removed", tool::factsJson( removed ) } } );
    for( size_t index = 0; index < added.size() && !options.json; index++ )
        line( tool::green( "+" ), added[index].get() );
    for( size_t index = 0; index < removed.size() && !options.json; index++ )
        line( tool::red( "-" ), removed[index].get() );
    tool::flushOutput();
}

void printBegin( const Options &options, size_t count, PB_INT seconds )
{
    struct stat status;
    const char *place = findPlace( status );
    if( options.json )
        return printChange( options, count, {}, {} );
    tool::print( tool::counted( count, "root" ) + ( place ? " from " + std::string( place ) : "" ) + " now; they are read again every " +
        tool::counted( (size_t)seconds, "second" ) + "\n" );
    tool::flushOutput();
}

int watch( Options &options )
{
    PB_INT             seconds = tool::number( options.interval.value_or( "60" ), "--interval", 1, 86400 );
    tool::EndSignals   signals;
    tool::Certificates known = rootsNow();
    printBegin( options, known.size(), seconds );
    while( !pbSignalAsserted( signals.end() ) )
    {
        pb::Ref<PB_SIGNAL>     wake   = pb::adopt( pbSignalCreate() );
        pb::Ref<PB_SIGNALABLE> change = pb::adopt( pbSignalableCreateSignal( wake.get() ) );
        pbSignalAddSignal( signals.end(), wake.get() );
        cryX509SystemTrustedCertificatesAddSignalable( change.get() );
        tool::Certificates now = rootsNow(), added = tool::without( now, known ), removed = tool::without( known, now );
        if( !added.empty() || !removed.empty() )
            printChange( options, now.size(), added, removed );
        known = now;
        // The module itself reads them again after twelve hours only.
        if( !pbSignalWait( wake.get(), seconds * 1000 ) )
            cry___X509SystemTrustedCertificatesReload();
        cryX509SystemTrustedCertificatesDelSignalable( change.get() );
        pbSignalDelSignal( signals.end(), wake.get() );
    }
    return tool::exitGood;
}

// ---- list

int roots( Options &options )
{
    if( options.watch )
        return watch( options );
    auto   all    = rootsNow();
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
    Options     &options = addOptions( command, exit, roots,
            "Ends with where the roots came from, how old that is, and which blocks were skipped and why.\n"
                "With --watch: prints a line for each root that is new (+) or gone (-), until SIGINT (Ctrl-C) or SIGTERM ends it.\n"
                "Exit: 0 done; 2 wrong use." );
    CLI::Option *count   = command.add_flag( "--count", options.count, "print only how many there are" );
    CLI::Option *watch   = command.add_flag( "--watch", options.watch, "print changes as they come" )->excludes( count );
    addOption( command, "--interval", options.interval, "SECONDS", "with --watch: read the roots again after so many seconds; 60 if left out" )
        ->needs( watch );
}
