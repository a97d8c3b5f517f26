#include "output/print.hpp"

#include "input/descriptor.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/terminal.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cstdio>
#include <unistd.h>

namespace
{

std::string coloured( std::string_view text, const char *code )
{
    static const bool terminal = tool::takesEscapes( STDOUT_FILENO );
    return terminal ? "\033[" + std::string( code ) + "m" + std::string( text ) + "\033[0m" : std::string( text );
}

// JSON is UTF-8, and file names and arguments need not be: of those that are not, the bytes are
// given, too.
void makeUtf8( nlohmann::ordered_json &json )
{
    if( json.is_array() )
    {
        for( nlohmann::ordered_json &each : json )
            makeUtf8( each );
    }
    if( !json.is_object() )
        return;
    std::vector<std::string> others;
    for( auto &each : json.items() )
    {
        makeUtf8( each.value() );
        if( each.value().is_string() && !tool::isUtf8( each.value().get_ref<const std::string &>() ) )
            others.push_back( each.key() );
    }
    for( const std::string &name : others )
    {
        std::string bytes  = json[name];
        json[name + "Hex"] = tool::hexText( bytes );
        json[name]         = tool::escaped( bytes );
    }
}

}

std::string tool::green( std::string_view text ) { return coloured( text, "32" ); }
std::string tool::red( std::string_view text ) { return coloured( text, "31" ); }
std::string tool::faint( std::string_view text ) { return coloured( text, "2" ); }

void tool::print( std::string_view text ) { std::fwrite( text.data(), 1, text.size(), stdout ); }

void tool::printNameLine( std::string_view line )
{
    if( !isatty( STDOUT_FILENO ) )
        return print( line );
    print( printable( line.substr( 0, line.size() - 1 ) ) + "\n" );
}

void tool::printSecret( PB_BUFFER *content )
{
    flushOutput();
    if( int problem = writeAll( STDOUT_FILENO, pbBufferBytes( content ), (size_t)pbBufferLength( content ) ) )
        throw OutputError( problem );
}

static std::string dumped( nlohmann::ordered_json result, int indent, void ( *addNotices )( nlohmann::ordered_json & ) )
{
    nlohmann::ordered_json json{ { "format", 1 } };
    for( auto &each : result.items() )
        json[each.key()] = std::move( each.value() );
    addNotices( json );
    makeUtf8( json );
    // Text in ASCII cannot play with the terminal.
    return json.dump( indent, ' ', true ) + "\n";
}

std::string tool::jsonText( nlohmann::ordered_json result ) { return dumped( std::move( result ), 2, addNotices ); }

void tool::printJsonLine( nlohmann::ordered_json result ) { print( dumped( std::move( result ), -1, moveNotices ) ); }

void tool::printJson( nlohmann::ordered_json result ) { print( jsonText( std::move( result ) ) ); }

void tool::printFailure( const std::exception &problem, bool json )
{
    printError( problem.what() );
    if( !json || dynamic_cast<const OutputError *>( &problem ) )
        return;
    auto input = dynamic_cast<const InputError *>( &problem );
    printJson( { { "error", problemJson( input ? *input : InputError( problem.what() ) ) } } );
    std::fflush( stdout ); // standard error and the exit code tell of the error, too
}

void tool::flushOutput()
{
    if( std::fflush( stdout ) != 0 || std::ferror( stdout ) )
        throw OutputError( errno );
}
