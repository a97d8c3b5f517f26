#include "input/pem.hpp"

#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cstdio>

namespace
{

// How many labels of other blocks a message names.
constexpr size_t othersNamed = 5;

constexpr std::string_view begin = "-----BEGIN ", end = "-----END ", dashes = "-----", blanks = " \t\v\f";

std::string_view trim( std::string_view line )
{
    size_t first = line.find_first_not_of( blanks );
    if( first == line.npos )
        return {};
    return line.substr( first, line.find_last_not_of( blanks ) - first + 1 );
}

// Goes through the lines of a block, without blanks around them.
class Lines
{
public:
    Lines( std::string_view block, PB_INT firstLine ) : rest( block ), following( firstLine ) {}

    bool next()
    {
        if( rest.empty() )
            return false;
        size_t cut = rest.find_first_of( "\r\n" );
        number     = following++;
        text       = trim( rest.substr( 0, cut ) );
        rest.remove_prefix( cut == rest.npos ? rest.size() : cut + ( rest.substr( cut ).starts_with( "\r\n" ) ? 2 : 1 ) );
        return true;
    }
    bool isLast() const { return rest.empty(); }

    std::string_view text;
    PB_INT           number = 0;

private:
    std::string_view rest;
    PB_INT           following;
};

// The label between the dashes; false when the line is not such a line.
bool labelIn( std::string_view line, std::string_view start, std::string_view &label )
{
    if( line.size() < start.size() + dashes.size() || !line.starts_with( start ) || !line.ends_with( dashes ) )
        return false;
    label = line.substr( start.size(), line.size() - start.size() - dashes.size() );
    return true;
}

bool isBase64( char c ) { return ( c >= 'A' && c <= 'Z' ) || ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '+' || c == '/'; }

std::string quoted( char c )
{
    char text[16];
    if( c >= 0x20 && c < 0x7F )
        std::snprintf( text, sizeof text, "'%c'", c );
    else
        std::snprintf( text, sizeof text, "byte 0x%02X", (unsigned char)c );
    return text;
}

// What stands between BEGIN and END.
struct Body
{
    size_t      characters = 0, padding = 0;
    PB_INT      padded = 0, headers = 0, last = 0; // lines; 0 for none
    PB_INT      wrongLine = 0;                     // of the first thing that is wrong
    std::string wrong;

    void add( std::string_view line, PB_INT number )
    {
        if( line.empty() || line.starts_with( '#' ) || wrongLine )
            return;
        last = number;
        if( !headers && line.find( ':' ) != line.npos )
            headers = number;
        for( char c : line )
        {
            characters++;
            if( c == '=' )
            {
                padding++;
                padded = padded ? padded : number;
            }
            else if( !isBase64( c ) || padding )
            {
                wrongLine = number;
                wrong     = isBase64( c ) ? "base 64 goes on after its padding" : "base 64 with a wrong character, " + quoted( c );
                return;
            }
        }
    }
};

// Finds out what is wrong with a block that the decoder refused.
void diagnose( std::string_view block, tool::Block &result )
{
    auto say = [&result]( PB_INT line, std::string problem ) {
        result.problemLine = line;
        result.problem     = std::move( problem );
    };
    std::string_view label, endLabel;
    Lines            lines( block, result.line );
    lines.next();
    if( !labelIn( lines.text, begin, label ) )
        return say( result.line, "the BEGIN line does not end with -----" );
    result.label = label;
    if( !cryPemLabelOk( pb::adopt( pbStringCreateFromCstr( label.data(), (PB_INT)label.size() ) ).get() ) )
        return say( result.line, tool::shown( label ) + " is not a label" );
    Body body;
    while( lines.next() && !lines.isLast() )
        body.add( lines.text, lines.number );
    if( !labelIn( lines.text, end, endLabel ) )
        return say( lines.number, "the END line does not end with -----" );
    if( label != endLabel )
        return say( lines.number, "BEGIN says " + tool::shown( label ) + " and END says " + tool::shown( endLabel ) );
    result.headers = body.headers;
    if( body.headers )
        return say( body.headers, "the block has header lines (as encrypted keys in the old form do), which are not read" );
    if( body.wrongLine )
        return say( body.wrongLine, body.wrong );
    if( body.characters % 4 && body.padding <= 2 )
        return say( body.last, "base 64 is cut off: its characters are not a multiple of four" );
    say( body.padded ? body.padded : result.line, body.padded ? "base 64 is wrongly padded" : "the block cannot be decoded" );
}

}

void tool::OtherLabels::add( const std::string &label )
{
    if( labels.size() < othersNamed )
        labels.insert( label.empty() ? "a block without label" : shown( label ) );
}

std::string tool::OtherLabels::list() const
{
    std::string list;
    for( const std::string &each : labels )
        list += ( list.empty() ? "" : ", " ) + each;
    return list;
}

// A byte order mark, which some editors write, must not hide the first block.
tool::Blocks::Blocks( PB_BUFFER *text ) : whole( text ), found{ startsWith( text, "\xEF\xBB\xBF" ) ? 3 : 0, 0, 1, 1, PB_FALSE } {}

bool tool::Blocks::next( Block &block )
{
    const PB_BYTE *bytes = pbBufferBytes( whole );
    if( !rfcEncapsulationFindNext( bytes, pbBufferLength( whole ), found.offset + found.length, found.endLine, &found ) )
        return false;
    block        = {};
    block.line   = found.line;
    block.offset = found.offset;
    block.length = found.length;
    if( !found.complete )
    {
        block.problem     = "the block that begins here has no END line";
        block.problemLine = found.line;
        return true;
    }
    block.pem = pb::adopt( cryPemTryDecode( pb::adopt( pbBufferCreateFromInner( whole, found.offset, found.length ) ).get() ) );
    if( block.pem )
        block.label = take( cryPemLabel( block.pem.get() ) );
    else
        diagnose( { (const char *)bytes + found.offset, (size_t)found.length }, block );
    return true;
}

pb::Ref<PB_BUFFER> tool::pemText( CRY_PEM *pem )
{
    pb::Ref<PB_BUFFER> encoded = pb::adopt( cryPemEncode( pem ) );
    const PB_BYTE     *bytes   = pbBufferBytes( encoded.get() );
    PB_INT             length  = pbBufferLength( encoded.get() );
    pb::Ref<PB_BUFFER> text    = pb::adopt( pbBufferCreate() );
    if( pbBufferSensitive( encoded.get() ) )
        pbBufferSetSensitive( text.handle() );
    for( PB_INT from = 0; from < length; )
    {
        PB_INT to = from;
        while( to < length && bytes[to] != '\r' )
            to++;
        pbBufferAppendBytes( text.handle(), bytes + from, to - from );
        from = to + 1;
    }
    return text;
}
