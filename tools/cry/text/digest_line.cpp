#include "text/digest_line.hpp"

#include "options/algorithm.hpp"
#include "text/convert.hpp"

#include <algorithm>

namespace
{

std::string escape( const std::string &path )
{
    std::string escaped;
    for( char c : path )
        escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : std::string( 1, c );
    return escaped;
}

bool unescape( std::string_view text, std::string &path )
{
    for( size_t index = 0; index < text.size(); index++ )
    {
        if( text[index] != '\\' )
        {
            path += text[index];
            continue;
        }
        if( ++index == text.size() || ( text[index] != '\\' && text[index] != 'n' && text[index] != 'r' ) )
            return false;
        path += text[index] == 'n' ? '\n' : text[index] == 'r' ? '\r' : '\\';
    }
    return true;
}

size_t digitsOf( CRY_HASH_ALGORITHM algorithm ) { return (size_t)cryHashAlgorithmDigestSizeBits( algorithm ) / 4; }

bool isDigest( std::string_view text, CRY_HASH_ALGORITHM algorithm )
{
    return text.size() == digitsOf( algorithm ) && std::all_of( text.begin(), text.end(), []( char c ) { return tool::hexDigit( c ) >= 0; } );
}

// Takes the front of a text away if the text begins with it.
bool skip( std::string_view &text, std::string_view front )
{
    if( !text.starts_with( front ) )
        return false;
    text.remove_prefix( front.size() );
    return true;
}

struct Parts
{
    std::string_view   digest, path;
    CRY_HASH_ALGORITHM algorithm;
    bool               tagged;
};

std::optional<Parts> plainParts( std::string_view line, CRY_HASH_ALGORITHM algorithm )
{
    // Two blanks, or a blank and an asterisk, stand between the two.
    size_t digits = digitsOf( algorithm );
    if( line.size() < digits + 3 || line[digits] != ' ' || ( line[digits + 1] != ' ' && line[digits + 1] != '*' ) ||
        !isDigest( line.substr( 0, digits ), algorithm ) )
        return {};
    return Parts{ line.substr( 0, digits ), line.substr( digits + 2 ), algorithm, false };
}

// The openssl command leaves out two of the blanks.
std::optional<Parts> taggedParts( std::string_view line )
{
    size_t begin = line.find( '(' ), end = line.rfind( ')' );
    if( begin == line.npos || end == line.npos || end <= begin + 1 )
        return {};
    std::string_view name = line.substr( 0, begin ), digest = line.substr( end + 1 );
    if( name.ends_with( ' ' ) )
        name.remove_suffix( 1 );
    skip( digest, " " );
    if( !skip( digest, "= " ) )
        return {};
    std::optional<CRY_HASH_ALGORITHM> algorithm = tool::findAlgorithm( std::string( name ) );
    if( !algorithm || !isDigest( digest, *algorithm ) )
        return {};
    return Parts{ digest, line.substr( begin + 1, end - begin - 1 ), *algorithm, true };
}

}

std::string tool::digestLine( const std::string &digest, const std::string &path )
{
    std::string escaped = escape( path );
    return ( escaped == path ? "" : "\\" ) + digest + "  " + escaped + "\n";
}

std::string tool::taggedLine( CRY_HASH_ALGORITHM algorithm, const std::string &digest, const std::string &path )
{
    std::string escaped = escape( path ), name = nameOfAlgorithm( algorithm );
    for( char &c : name )
        c = c >= 'a' && c <= 'z' ? (char)( c - 32 ) : c;
    return ( escaped == path ? "" : "\\" ) + name + " (" + escaped + ") = " + digest + "\n";
}

std::optional<tool::DigestLine> tool::parseDigestLine( std::string_view line, CRY_HASH_ALGORITHM algorithm )
{
    bool                 escaped = skip( line, "\\" );
    std::optional<Parts> parts   = plainParts( line, algorithm );
    if( !parts )
        parts = taggedParts( line );
    // No file has a NUL in its name, but another file may have the part before it as its name.
    if( !parts || parts->path.find( '\0' ) != parts->path.npos )
        return {};
    DigestLine entry{ lowerCase( std::string( parts->digest ) ), "", parts->algorithm, parts->tagged };
    if( !escaped )
        entry.path = parts->path;
    else if( !unescape( parts->path, entry.path ) )
        return {};
    return entry;
}
