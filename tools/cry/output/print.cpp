#include "output/print.hpp"

#include "output/error.hpp"
#include "output/terminal.hpp"
#include "text/printable.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace
{

std::string coloured( std::string_view text, const char *code )
{
    static const bool terminal = tool::takesEscapes( STDOUT_FILENO );
    return terminal ? "\033[" + std::string( code ) + "m" + std::string( text ) + "\033[0m" : std::string( text );
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
    const PB_BYTE *bytes = pbBufferBytes( content );
    for( size_t left = (size_t)pbBufferLength( content ); left; )
    {
        ssize_t count = write( STDOUT_FILENO, bytes, left );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            throw InputError( std::string( "standard output: " ) + std::strerror( errno ) );
        bytes += count;
        left -= (size_t)count;
    }
}

std::string tool::jsonText( const nlohmann::ordered_json &json )
{
    // A file name need not be UTF-8. Text in ASCII cannot play with the terminal.
    return json.dump( 2, ' ', true, nlohmann::ordered_json::error_handler_t::replace ) + "\n";
}

void tool::printJson( const nlohmann::ordered_json &json ) { print( jsonText( json ) ); }

void tool::flushOutput()
{
    if( std::fflush( stdout ) != 0 || std::ferror( stdout ) )
        throw InputError( std::string( "standard output: " ) + std::strerror( errno ) );
}
