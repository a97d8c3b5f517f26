#include "text/printable.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <utility>

namespace
{

// The code point at the front of a text and how many bytes it has; no bytes if they are not UTF-8.
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

// The text with \u{...} for the characters of a kind, and \x{...} for bytes that are not UTF-8.
std::string withEscapes( std::string_view text, auto isEscaped )
{
    std::string out;
    while( !text.empty() )
    {
        auto [c, count] = decode( text );
        if( !count || isEscaped( c ) )
        {
            char escape[16];
            if( count )
                std::snprintf( escape, sizeof escape, c == '\\' ? "\\\\" : "\\u{%X}", c );
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

}

std::string tool::printable( std::string_view text ) { return withEscapes( text, isDangerous ); }

std::string tool::escaped( std::string_view text )
{
    return withEscapes( text, []( uint32_t c ) { return c == '\\' || isDangerous( c ); } );
}

std::string tool::escapedName( std::string_view text )
{
    return withEscapes( text, []( uint32_t c ) { return c <= ' ' || c >= 0x7F || c == '\\' || c == ','; } );
}

bool tool::isUtf8( std::string_view text )
{
    while( !text.empty() )
    {
        size_t count = decode( text ).second;
        if( !count )
            return false;
        text.remove_prefix( count );
    }
    return true;
}

std::string tool::shown( std::string_view text )
{
    constexpr size_t most = 60;
    size_t           end  = 0;
    while( end < text.size() )
    {
        size_t next = end + std::max<size_t>( decode( text.substr( end ) ).second, 1 );
        if( next > most )
            return "'" + printable( text.substr( 0, end ) ) + "...'";
        end = next;
    }
    return "'" + printable( text ) + "'";
}
