#include "input/pem.hpp"

#include <cry/internal/cry_pem_reader.hpp>

#include "text/convert.hpp"
#include "text/printable.hpp"

#include <cstdio>

namespace
{

// How many labels of other blocks a message names.
constexpr size_t othersNamed = 5;

std::string quoted( char c )
{
    char text[16];
    if( c >= 0x20 && c < 0x7F )
        std::snprintf( text, sizeof text, "'%c'", c );
    else
        std::snprintf( text, sizeof text, "byte 0x%02X", (unsigned char)c );
    return text;
}

// Why the decoder refused a block, in words.
std::string inWords( const cry::pem::Damage &damage )
{
    using enum cry::pem::Problem;
    switch( damage.problem )
    {
    case noBegin:
    case beginOpen:
        return "the BEGIN line does not end with -----";
    case label:
        return tool::shown( damage.label ) + " is not a label";
    case noEnd:
    case endOpen:
        return "the END line does not end with -----";
    case labelsDiffer:
        return "BEGIN says " + tool::shown( damage.label ) + " and END says " + tool::shown( damage.endLabel );
    case headers:
        return "the block has header lines (as encrypted keys in the old form do), which are not read";
    case character:
        return cry::pem::BodyInspection::isBase64( damage.character ) ? "base 64 goes on after its padding"
                                                                      : "base 64 with a wrong character, " + quoted( damage.character );
    case cutOff:
        return "base 64 is cut off: its characters are not a multiple of four";
    case padding:
        return "base 64 is wrongly padded";
    case none:
    case body:
        break;
    }
    return "the block cannot be decoded";
}

void explain( std::string_view text, tool::Block &block )
{
    cry::pem::Damage damage = cry::pem::diagnose( text );
    block.label             = damage.label;
    block.headers           = damage.problem == cry::pem::Problem::headers;
    block.problem           = inWords( damage );
    block.problemLine       = block.line + damage.line - 1;
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
        explain( { (const char *)bytes + found.offset, (size_t)found.length }, block );
    return true;
}

pb::Ref<CRY_PEM> tool::pemOf( const std::string &label, PB_BUFFER *der )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), pb::adopt( pbStringCreateFromCstr( label.data(), (PB_INT)label.size() ) ).get() );
    cryPemSetData( pem.handle(), der );
    return pem;
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
