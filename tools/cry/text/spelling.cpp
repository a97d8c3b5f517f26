#include "text/spelling.hpp"

#include "text/convert.hpp"

namespace
{

std::string normalised( std::string_view name )
{
    auto isDigit = []( char c ) { return c >= '0' && c <= '9'; };
    auto isPart  = [isDigit]( char c ) { return isDigit( c ) || ( c >= 'a' && c <= 'z' ); };

    std::string text = tool::lowerCase( std::string( name ) ), out;
    for( size_t index = 0; index < text.size(); index++ )
    {
        char c         = text[index];
        bool separator = c == '-' || c == '_' || c == ' ';
        if( !separator || index == 0 || index + 1 == text.size() || !isPart( text[index - 1] ) || !isPart( text[index + 1] ) )
            out += c;
        else if( isDigit( text[index - 1] ) && isDigit( text[index + 1] ) )
            out += '-';
    }
    return out;
}

}

bool tool::isSameName( std::string_view a, std::string_view b ) { return normalised( a ) == normalised( b ); }
