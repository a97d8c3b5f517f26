#include <rfc/internal/rfc_line_end.hpp>
#include <rfc/rfc_encapsulation.h>

#include <string_view>

namespace
{

// Reads a text line by line. LF, CR LF and CR end a line.
class Lines
{
public:
    Lines( std::string_view wholeText, size_t offset, PB_INT number ) : line( number ), text( wholeText ) { begin( offset ); }

    bool             more() const { return at < text.size(); }
    size_t           offset() const { return at; }
    std::string_view current() const { return text.substr( at, end - at ); }

    void next()
    {
        if( end == text.size() )
            return begin( end );
        line++;
        begin( end + ( text[end] == '\r' && end + 1 < text.size() && text[end + 1] == '\n' ? 2 : 1 ) );
    }

    PB_INT line;

private:
    void begin( size_t offset )
    {
        at  = offset;
        end = (size_t)( rfc::findLineEnd<'\n', '\r'>( text.data() + at, text.data() + text.size() ) - text.data() );
    }

    std::string_view text;
    size_t           at, end; // of the current line
};

// A boundary may have blanks before it.
bool begins( std::string_view line, std::string_view boundary )
{
    size_t first = line.find_first_not_of( " \t" );
    return first != line.npos && line.substr( first ).starts_with( boundary );
}

}

PB_BOOL rfcEncapsulationFindNext( const PB_BYTE *text, PB_INT length, PB_INT offset, PB_INT line, RFC_ENCAPSULATION *found )
{
    PB_CHECK( text || !length );
    PB_CHECK( length >= 0 );
    PB_CHECK( offset >= 0 );
    PB_CHECK( offset <= length );
    PB_CHECK( found );
    Lines lines( { (const char *)text, (size_t)length }, (size_t)offset, line );
    while( lines.more() && !begins( lines.current(), "-----BEGIN " ) )
        lines.next();
    if( !lines.more() )
        return PB_FALSE;
    *found = { (PB_INT)lines.offset(), (PB_INT)lines.current().size(), lines.line, lines.line, PB_FALSE };
    for( lines.next(); lines.more(); lines.next() )
    {
        std::string_view current = lines.current();
        found->complete          = begins( current, "-----END " );
        // If a block has no END line, the next block must still be found.
        if( !found->complete && begins( current, "-----BEGIN " ) )
            break;
        found->length  = (PB_INT)( lines.offset() + current.size() ) - found->offset;
        found->endLine = lines.line;
        if( found->complete )
            break;
    }
    return PB_TRUE;
}
