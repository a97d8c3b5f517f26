#include "output/trace.hpp"

#include "input/descriptor.hpp"
#include "input/file.hpp"
#include "options/command.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <atomic>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <pb/ref.hpp>
#include <sstream>
#include <tr/tr_sink.h>
#include <unistd.h>

struct tool::Trace::File
{
    std::string      path;
    bool             asText;
    Descriptor       descriptor;
    std::atomic<int> problem = 0; // of <errno.h>, the first one
    pb::Ref<TR_SINK> sink;

    File( const std::string &name, bool text ) :
        path( name ), asText( text ), descriptor( open( name.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY, 0600 ) )
    {
        if( descriptor.number < 0 )
            throw InputError( path, std::strerror( errno ) );
    }

    // False if it cannot be written.
    bool writeAll( std::string_view text )
    {
        while( !text.empty() )
        {
            ssize_t count = write( descriptor.number, text.data(), text.size() );
            if( count < 0 && errno == EINTR )
                continue;
            if( count < 0 )
            {
                int none = 0;
                problem.compare_exchange_strong( none, errno );
                return false;
            }
            text.remove_prefix( (size_t)count );
        }
        return true;
    }
};

namespace
{

std::string valueText( const nlohmann::ordered_json &value )
{
    return tool::printable( value.is_string() ? value.get<std::string>() : value.dump() );
}

// An event of tr_sink.h as a line for people.
std::string lineOf( const nlohmann::ordered_json &event )
{
    auto member = [&event]( const char *name ) { return event.contains( name ) ? valueText( event[name] ) : std::string(); };

    std::string kind = member( "event" ), text;
    if( kind == "text" )
        text = member( "text" );
    else if( kind == "dropped" )
        return member( "time" ) + " " + member( "count" ) + " events were dropped\n";
    else if( kind == "property" )
        text = member( "key" ) + " = " + member( "value" );
    else if( kind == "propertyDeleted" )
        text = member( "key" ) + " has no value any more";
    else if( kind == "link" )
        text = member( "kind" ) + " " + member( "otherName" ) + " " + member( "otherStream" );
    else
        text = kind + ( event.contains( "value" ) ? " " + member( "value" ) : "" );
    return member( "time" ) + " " + member( "name" ) + " " + member( "stream" ) + ": " + text + "\n";
}

std::string linesOf( const std::string &jsonLines )
{
    std::istringstream lines( jsonLines );
    std::string        line, text;
    while( std::getline( lines, line ) )
    {
        auto event = nlohmann::ordered_json::parse( line, nullptr, false );
        text += event.is_object() ? lineOf( event ) : tool::printable( line ) + "\n";
    }
    return text;
}

}

void tool::TraceOptions::addTo( CLI::App &command )
{
    CLI::Option *trace     = addOption( command, "--trace", path, "FILE", "append what the libraries trace to this file" );
    valuesOf( trace ).kind = Values::appended;
    addOption( command, "--trace-format", format, "FORMAT", "with --trace: text, a line for people, or jsonl, an object in JSON; text if left out" )
        ->needs( trace );
    addKnown( command, "--trace-format", { "text", "jsonl" } );
}

tool::Trace::Trace( const TraceOptions &options )
{
    if( options.format != "text" && options.format != "jsonl" )
        throw InputError( "--trace-format: " + shown( options.format ) + " is neither text nor jsonl" );
    if( !options.path )
        return;
    if( options.path->empty() || *options.path == "-" )
        throw InputError( "--trace: " + shown( *options.path ) + " is not the name of a file; traces go to files only" );
    file       = std::make_unique<File>( *options.path, options.format == "text" );
    auto write = []( void *context, const char *text, PB_INT length ) -> PB_BOOL {
        File       *to = (File *)context;
        std::string lines( text, (size_t)length );
        return to->writeAll( to->asText ? linesOf( lines ) : lines );
    };
    file->sink = pb::adopt( trSinkCreateJsonLinesWriter( write, file.get() ) );
    if( !trSinkAttach( file->sink.get() ) )
        throw InputError( *options.path, "the traces cannot be had" );
}

tool::Trace::~Trace()
{
    std::string path = file ? file->path : "";
    if( int problem = end() )
        warn( { nameOf( path ) + ": " + std::strerror( problem ) + "; traces are missing", path, {} } );
}

void tool::Trace::finish()
{
    std::string path = file ? file->path : "";
    if( int problem = end() )
        throw OutputError( path, problem );
}

int tool::Trace::end()
{
    if( !file )
        return 0;
    trSinkDetach( file->sink.get() );
    // A file system may say only now that there is no room.
    int closed              = close( file->descriptor.number ) == 0 ? 0 : errno;
    int problem             = file->problem ? file->problem.load() : closed;
    file->descriptor.number = -1;
    file.reset();
    return problem;
}
