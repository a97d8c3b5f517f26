// Finding blocks in any text: they lie in it one after the other, their line numbers are those of
// counting, each found alone is the same block, and a search without any shortcut finds the same.
#include "start.hpp"

#include <algorithm>

using namespace fuzz;

namespace
{

// The number of line ends in a text; the halves of a CR LF are one.
PB_INT lineEnds( std::string_view text )
{
    PB_INT count = 0;
    for( size_t index = 0; index < text.size(); index++ )
        count += text[index] == '\r' || ( text[index] == '\n' && ( !index || text[index - 1] != '\r' ) );
    return count;
}

bool find( std::string_view text, size_t offset, PB_INT line, RFC_ENCAPSULATION &found )
{
    return rfcEncapsulationFindNext( (const PB_BYTE *)text.data(), (PB_INT)text.size(), (PB_INT)offset, line, &found );
}

bool begins( std::string_view line, std::string_view boundary )
{
    size_t first = line.find_first_not_of( " \t" );
    return first != line.npos && line.substr( first ).starts_with( boundary );
}

// The first block in a text that begins with line 1, from all its lines.
bool findSimply( std::string_view text, RFC_ENCAPSULATION &found )
{
    bool   open = false;
    PB_INT line = 1;
    for( size_t at = 0; at < text.size(); line++ )
    {
        size_t           end     = std::min( text.find_first_of( "\r\n", at ), text.size() );
        std::string_view current = text.substr( at, end - at );
        if( begins( current, "-----BEGIN " ) )
        {
            if( open )
                return true;
            open  = true;
            found = { (PB_INT)at, 0, line, line, PB_FALSE };
        }
        if( open )
        {
            found.length   = (PB_INT)end - found.offset;
            found.endLine  = line;
            found.complete = begins( current, "-----END " );
            if( found.complete )
                return true;
        }
        at = end + ( text.substr( end, 2 ) == "\r\n" ? 2 : 1 );
    }
    return open;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string_view  text( (const char *)bytes, size );
    size_t            offset = 0;
    PB_INT            line   = 1;
    RFC_ENCAPSULATION found;
    while( find( text, offset, line, found ) )
    {
        FUZZ_CHECK( found.offset >= (PB_INT)offset && found.length > 0 && found.offset + found.length <= (PB_INT)size );
        RFC_ENCAPSULATION simple;
        FUZZ_CHECK( findSimply( text.substr( offset ), simple ) );
        FUZZ_CHECK( simple.offset + (PB_INT)offset == found.offset && simple.length == found.length && simple.complete == found.complete );
        FUZZ_CHECK( simple.line + line - 1 == found.line && simple.endLine + line - 1 == found.endLine );
        std::string_view block = text.substr( (size_t)found.offset, (size_t)found.length );
        FUZZ_CHECK( begins( block, "-----BEGIN " ) );
        FUZZ_CHECK(
            found.offset == 0 || text[(size_t)found.offset - 1] == '\n' || text[(size_t)found.offset - 1] == '\r' || found.offset == (PB_INT)offset );
        FUZZ_CHECK( found.line == 1 + lineEnds( text.substr( 0, (size_t)found.offset ) ) );
        FUZZ_CHECK( found.endLine >= found.line );
        FUZZ_CHECK( found.endLine == found.line + lineEnds( block ) );
        if( found.complete )
        {
            size_t last = block.find_last_of( "\r\n" );
            FUZZ_CHECK( last != block.npos && begins( block.substr( last + 1 ), "-----END " ) );
        }
        else
        {
            // Behind its last line, and that line's end, is the end of the text or another block.
            std::string_view rest = text.substr( (size_t)( found.offset + found.length ) );
            rest.remove_prefix( rest.starts_with( "\r\n" ) ? 2 : !rest.empty() );
            FUZZ_CHECK( rest.empty() || begins( rest, "-----BEGIN " ) );
        }

        RFC_ENCAPSULATION alone;
        FUZZ_CHECK( find( block, 0, found.line, alone ) );
        FUZZ_CHECK( alone.offset == 0 && alone.line == found.line && alone.complete == found.complete );
        // The last line of a block that is cut may be empty, which a text of its own does not show.
        FUZZ_CHECK( !found.complete || ( alone.length == found.length && alone.endLine == found.endLine ) );
        offset = (size_t)( found.offset + found.length );
        line   = found.endLine;
    }
    // What is left holds no BEGIN line: a block may only start where a line does.
    for( size_t at = offset; at < size; at++ )
        FUZZ_CHECK( !( at == 0 || text[at - 1] == '\n' || text[at - 1] == '\r' ) ||
            !begins( text.substr( at, text.substr( at ).find_first_of( "\r\n" ) ), "-----BEGIN " ) );
    return 0;
}
