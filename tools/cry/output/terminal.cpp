#include "output/terminal.hpp"

#include "options/command.hpp"

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

// The code point at the front of a text and how many bytes it has; no bytes when they are not UTF-8.
std::pair<uint32_t, size_t> decode( std::string_view text )
{
    static constexpr uint32_t least[] = { 0, 0, 0x80, 0x800, 0x10000 };

    unsigned char first = (unsigned char)text[0];
    if( first < 0x80 )
        return { first, 1 };
    size_t count = first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4;
    if( first < 0xC0 || first >= 0xF8 || count > text.size() )
        return { 0, 0 };
    uint32_t value = first & ( 0xFFu >> ( count + 1 ) );
    for( size_t index = 1; index < count; index++ )
    {
        unsigned char next = (unsigned char)text[index];
        if( ( next & 0xC0 ) != 0x80 )
            return { 0, 0 };
        value = value << 6 | ( next & 0x3F );
    }
    bool surrogate = value >= 0xD800 && value < 0xE000;
    return { value, value < least[count] || value > 0x10FFFF || surrogate ? 0 : count };
}

// Control characters, and those that cannot be seen or turn the direction.
bool isDangerous( uint32_t c )
{
    return c < 0x20 || ( c >= 0x7F && c < 0xA0 ) || c == 0x061C || ( c >= 0x200B && c <= 0x200F ) || ( c >= 0x2028 && c <= 0x202E ) ||
        ( c >= 0x2060 && c <= 0x206F ) || c == 0xFEFF || ( c >= 0xFFF9 && c <= 0xFFFB ) || ( c >= 0xE0000 && c <= 0xE0FFF );
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
        if( !count || isDangerous( c ) )
        {
            char escape[16];
            if( count )
                std::snprintf( escape, sizeof escape, "\\u{%X}", c );
            else
                std::snprintf( escape, sizeof escape, "\\x{%02X}", (unsigned char)text[0] );
            out += escape;
        }
        else
            out += text.substr( 0, count );
        text.remove_prefix( count ? count : 1 );
    }
    return out;
}

std::string tool::lowerCase( std::string text )
{
    for( char &c : text )
        c = c >= 'A' && c <= 'Z' ? (char)( c + 32 ) : c;
    return text;
}

void tool::print( std::string_view text ) { std::fwrite( text.data(), 1, text.size(), stdout ); }

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

void tool::printError( std::string_view text )
{
    std::fflush( stdout );
    // Most of it is printable already; a second time changes nothing.
    std::string line = "cry: " + printable( text ) + "\n";
    std::fwrite( line.data(), 1, line.size(), stderr );
}

void tool::flushOutput()
{
    if( std::fflush( stdout ) != 0 || std::ferror( stdout ) )
        throw InputError( std::string( "standard output: " ) + std::strerror( errno ) );
}

tool::Waiting::Waiting( std::string whatFor ) : what( std::move( whatFor ) ), began( time( nullptr ) ), terminal( isatty( STDERR_FILENO ) )
{
    if( !terminal )
        printError( what + ", which may take minutes" );
}

tool::Waiting::~Waiting()
{
    if( terminal )
        std::fprintf( stderr, "\r\033[K" );
}

void tool::Waiting::show()
{
    if( !terminal )
        return;
    std::fprintf( stderr, "\r\033[K%s: %lld s", what.c_str(), (long long)( time( nullptr ) - began ) );
    std::fflush( stderr );
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
