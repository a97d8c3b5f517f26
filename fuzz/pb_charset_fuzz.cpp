// Bytes to text to lines: reading in pieces gives what converting at once gives, text converts back
// to its bytes, and the lines are those of a plain split.
#include "start.hpp"

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

using namespace fuzz;

namespace
{

struct Pieces
{
    std::string_view left;
    size_t           most;
};

PB_INT readPiece( void *closure, PB_BYTE *to, PB_INT max )
{
    Pieces &pieces = *(Pieces *)closure;
    size_t  count  = std::min( { pieces.most, pieces.left.size(), (size_t)max } );
    if( count )
        std::memcpy( to, pieces.left.data(), count );
    pieces.left.remove_prefix( count );
    return (PB_INT)count;
}

// Of UTF-8 text: LF, CR LF, CR and NEL end a line.
std::vector<std::string_view> split( std::string_view text )
{
    std::vector<std::string_view> lines;
    while( !text.empty() )
    {
        size_t at = 0, end = 0;
        for( ; at < text.size() && !end; at += !end )
            end = text[at] == '\n' ? 1 : text[at] == '\r' ? 1 + ( text.substr( at + 1, 1 ) == "\n" ) : text.substr( at, 2 ) == "\xC2\x85" ? 2 : 0;
        lines.push_back( text.substr( 0, at ) );
        text.remove_prefix( at + end );
    }
    return lines;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string_view input( (const char *)bytes, size );
    uint8_t          options = takeByte( input );
    PB_INT           charset = options & 1 ? PB_CHARSET_UTF8 : PB_CHARSET_LATIN1, flags = options & 2 ? PB_CHARSET_FLAG_STRICT : 0;
    PB_INT           atOnce = 1 + takeByte( input );

    // At once, and back.
    pb::Ref<PB_STRING> whole = pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( buffer( input ).get(), charset, flags ) );
    FUZZ_CHECK( whole || ( charset == PB_CHARSET_UTF8 && flags ) );
    if( whole && charset == PB_CHARSET_LATIN1 )
        FUZZ_CHECK( view( pb::adopt( pbStringConvertToLatin1( whole.get() ) ) ) == input && pbStringLength( whole.get() ) == (PB_INT)input.size() );
    if( whole && charset == PB_CHARSET_UTF8 && flags )
        FUZZ_CHECK( view( whole ) == input );
    if( whole )
        FUZZ_CHECK(
            pbStringEquals( pb::adopt( pbStringTryCreateFromCstr( view( whole ).data(), (PB_INT)view( whole ).size() ) ).get(), whole.get() ) );

    // In pieces: characters, then lines.
    auto characterSource = [&]( Pieces &pieces ) {
        pb::Ref<PB_BYTE_SOURCE> source = pb::adopt( pbCallbackByteSourceCreate( readPiece, nullptr, &pieces ) );
        return pb::adopt( pbCharsetCreateCharSource( source.get(), charset, flags ) );
    };
    Pieces                  forCharacters{ input, (size_t)atOnce };
    pb::Ref<PB_CHAR_SOURCE> characters = characterSource( forCharacters );
    pb::Ref<PB_STRING>      text       = pb::adopt( pbStringCreate() );
    for( PB_INT got; ( got = pbCharSourceRead( characters.get(), text.handle(), atOnce ) ); )
        FUZZ_CHECK( got > 0 && got <= atOnce );
    FUZZ_CHECK( !!pbCharSourceError( characters.get() ) == !whole );
    FUZZ_CHECK( !!pbCharSourceEnd( characters.get() ) == !!whole );
    FUZZ_CHECK( !whole || pbStringEquals( text.get(), whole.get() ) );

    Pieces                  forLines{ input, (size_t)atOnce };
    pb::Ref<PB_LINE_SOURCE> ls    = pb::adopt( pbNlfLineSourceCreate( characterSource( forLines ).get(), atOnce ) );
    pb::Ref<PB_VECTOR>      lines = pb::adopt( pbLineSourceReadLines( ls.get(), PB_INT_MAX ) );
    FUZZ_CHECK( !!pbLineSourceError( ls.get() ) == !whole );
    if( !whole )
        return 0;
    std::vector<std::string_view> expected = split( view( whole ) );
    FUZZ_CHECK( pbVectorLength( lines.get() ) == (PB_INT)expected.size() );
    for( size_t index = 0; index < expected.size(); index++ )
        FUZZ_CHECK( view( pbStringFrom( pb___VectorPeekObjAt( lines.get(), (PB_INT)index ) ) ) == expected[index] );
    return 0;
}
