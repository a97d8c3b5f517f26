#include "text/digest_line.hpp"

#include "text/convert.hpp"

std::string tool::digestLine( const std::string &digest, const std::string &path )
{
    std::string escaped;
    for( char c : path )
        escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : std::string( 1, c );
    return ( escaped == path ? "" : "\\" ) + digest + "  " + escaped + "\n";
}

std::optional<tool::DigestLine> tool::parseDigestLine( std::string_view line, size_t digits )
{
    bool escaped = line.starts_with( '\\' );
    if( escaped )
        line.remove_prefix( 1 );
    // Two blanks, or a blank and an asterisk, stand between the two.
    if( line.size() < digits + 3 || line[digits] != ' ' || ( line[digits + 1] != ' ' && line[digits + 1] != '*' ) )
        return {};
    DigestLine entry;
    for( char c : line.substr( 0, digits ) )
    {
        if( hexDigit( c ) < 0 )
            return {};
    }
    entry.digest          = lowerCase( std::string( line.substr( 0, digits ) ) );
    std::string_view path = line.substr( digits + 2 );
    if( path.find( '\0' ) != path.npos )
        return {}; // no file has such a name, but another file may have the part before the NUL as its name
    for( size_t index = 0; index < path.size(); index++ )
    {
        if( !escaped || path[index] != '\\' )
        {
            entry.path += path[index];
            continue;
        }
        if( ++index == path.size() || ( path[index] != '\\' && path[index] != 'n' && path[index] != 'r' ) )
            return {};
        entry.path += path[index] == 'n' ? '\n' : path[index] == 'r' ? '\r' : '\\';
    }
    return entry;
}
