#include "terminal.hpp"

#include "command.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <unistd.h>

namespace
{

std::string coloured( std::string_view text, const char *code )
{
    static const bool terminal = isatty( STDOUT_FILENO );
    return terminal ? "\033[" + std::string( code ) + "m" + std::string( text ) + "\033[0m" : std::string( text );
}

// The code point at the front of valid UTF-8, and how many bytes it has.
std::pair<uint32_t, size_t> decode( std::string_view text )
{
    unsigned char first = (unsigned char)text[0];
    size_t        count = first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if( first < 0x80 || first < 0xC0 || count > text.size() )
        return { first < 0x80 ? first : 0xFFFD, 1 };
    uint32_t value = first & ( 0xFFu >> ( count + 1 ) );
    for( size_t index = 1; index < count; index++ )
        value = value << 6 | ( (unsigned char)text[index] & 0x3F );
    return { value, count };
}

bool isDangerous( uint32_t c )
{
    return c < 0x20 || ( c >= 0x7F && c < 0xA0 ) || c == 0x061C || ( c >= 0x200E && c <= 0x200F ) || ( c >= 0x2028 && c <= 0x202E ) ||
        ( c >= 0x2066 && c <= 0x2069 ) || c == 0xFEFF;
}

}

std::string tool::green( std::string_view text ) { return coloured( text, "32" ); }
std::string tool::red( std::string_view text ) { return coloured( text, "31" ); }
std::string tool::faint( std::string_view text ) { return coloured( text, "2" ); }

std::string tool::printable( std::string_view text )
{
    std::string out;
    while( !text.empty() )
    {
        auto [c, count] = decode( text );
        if( isDangerous( c ) )
        {
            char escape[16];
            std::snprintf( escape, sizeof escape, "\\u{%X}", c );
            out += escape;
        }
        else
            out += text.substr( 0, count );
        text.remove_prefix( count );
    }
    return out;
}

void tool::print( std::string_view text ) { std::fwrite( text.data(), 1, text.size(), stdout ); }

void tool::printJson( const nlohmann::ordered_json &json )
{
    // A file name need not be UTF-8.
    print( json.dump( 2, ' ', false, nlohmann::ordered_json::error_handler_t::replace ) + "\n" );
}

void tool::complain( std::string_view text )
{
    std::fflush( stdout );
    std::string line = "cry: " + std::string( text ) + "\n";
    std::fwrite( line.data(), 1, line.size(), stderr );
}

void tool::flushOutput()
{
    if( std::fflush( stdout ) != 0 || std::ferror( stdout ) )
        throw Unusable( std::string( "standard output: " ) + std::strerror( errno ) );
}

tool::Progress::Progress( std::string whatFor, uint64_t totalBytes ) : what( std::move( whatFor ) ), total( totalBytes )
{
    static constexpr uint64_t worthShowing = 64u << 20;

    visible = total > worthShowing && isatty( STDERR_FILENO );
}

tool::Progress::~Progress()
{
    if( visible )
        std::fprintf( stderr, "\r\033[K" );
}

void tool::Progress::advance( uint64_t bytes )
{
    done += bytes;
    int percent = (int)( done >= total ? 100 : done * 100 / total );
    if( !visible || percent == shown )
        return;
    shown = percent;
    std::string bar( (size_t)percent / 4, '#' );
    std::fprintf( stderr, "\r\033[K[%-25s] %3d%% %s", bar.c_str(), percent, printable( what ).c_str() );
    std::fflush( stderr );
}
