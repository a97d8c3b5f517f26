// Base 16, 32 and 64: what decodes is exactly what its data encodes to, and every data comes back
// from its text. Both ways of base 64 give the same.
#include "start.hpp"

#include "../source/rfc/rfc_base64.hpp"

#include <string>

using namespace fuzz;

namespace
{

void compareWays( std::string_view input, PB_INT kind )
{
    pb::Ref<PB_BUFFER> whole = buffer( input ), texts[2], datas[2];
    std::string        lines[2], bytes[2];
    PB_BOOL            good[2];
    PB_INT             count = (PB_INT)input.size();
    for( bool vectors : { false, true } )
    {
        rfc::base64::setVectorsUsed( vectors );
        texts[vectors] = pb::adopt( rfcBaseEncode( whole.get(), kind ) );
        datas[vectors] = pb::adopt( rfcBaseTryDecode( whole.get(), kind ) );
        lines[vectors].resize( (size_t)( rfc___BaseEncodedLength( count, RFC_BASE_64 ) + ( count + 47 ) / 48 * 2 ) );
        FUZZ_CHECK( rfc___BaseEncodeLines( (const PB_BYTE *)input.data(), count, lines[vectors].data() ) == (PB_INT)lines[vectors].size() );
        bytes[vectors].resize( input.size() );
        good[vectors] = rfc___BaseTryDecodeLines( input.data(), count, kind == RFC_BASE_64, (PB_BYTE *)bytes[vectors].data() );
    }
    FUZZ_CHECK( pbBufferEquals( texts[0].get(), texts[1].get() ) && pbBufferEquals( datas[0].get(), datas[1].get() ) && lines[0] == lines[1] );
    FUZZ_CHECK( good[0] == good[1] && ( !good[0] || bytes[0] == bytes[1] ) );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    std::string_view input( (const char *)bytes, size );
    PB_INT           kind       = 1 + takeByte( input ) % 4;
    PB_INT           lineLength = takeByte( input );
    uint8_t          layout     = takeByte( input );
    PB_INT           flags = layout & RFC_BASE_FLAGS_MASK, nlf = ( layout >> 2 ) % 5;

    if( kind >= RFC_BASE_64 )
        compareWays( input, kind );

    // As text. It is strict, so a text that decodes is the only one of its data.
    pb::Ref<PB_BUFFER> text = buffer( input );
    if( pb::Ref<PB_BUFFER> data = pb::adopt( rfcBaseTryDecode( text.get(), kind ) ) )
        FUZZ_CHECK( pbBufferEquals( pb::adopt( rfcBaseEncode( data.get(), kind ) ).get(), text.get() ) );

    // As data.
    pb::Ref<PB_BUFFER> data = buffer( input ), encoded = pb::adopt( rfcBaseEncode( data.get(), kind ) );
    FUZZ_CHECK( pbBufferLength( encoded.get() ) == rfc___BaseEncodedLength( pbBufferLength( data.get() ), kind ) );
    FUZZ_CHECK( pbBufferEquals( pb::adopt( rfcBaseTryDecode( encoded.get(), kind ) ).get(), data.get() ) );
    std::string inPlace( view( encoded ) );
    PB_INT      count = rfc___BaseTryDecodeBytes( inPlace.data(), (PB_INT)inPlace.size(), kind, (PB_BYTE *)inPlace.data() );
    FUZZ_CHECK( count == (PB_INT)input.size() && std::string_view( inPlace ).substr( 0, (size_t)count ) == input );

    // Laid out in lines: the same characters, in lines of the same length but the last.
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetFlags( options.handle(), flags );
    rfcBaseOptionsSetOutputLineLength( options.handle(), lineLength );
    rfcBaseOptionsSetOutputNlf( options.handle(), nlf );
    static constexpr std::string_view ends[] = { "", "\n", "\r", "\x85", "\r\n" };
    std::string_view                  end    = ends[nlf];
    std::string                       characters( view( encoded ) );
    if( flags & RFC_BASE_FLAG_NO_PADDING )
        characters.resize( characters.find_last_not_of( '=' ) + 1 );
    std::string expected;
    for( size_t at = 0; at < characters.size(); )
    {
        size_t piece = lineLength ? (size_t)lineLength : characters.size();
        expected += characters.substr( at, piece );
        at += piece;
        if( at < characters.size() || flags & RFC_BASE_FLAG_END_LAST_LINE )
            expected += end;
    }
    FUZZ_CHECK( view( pb::adopt( rfcBaseEncodeWithOptions( data.get(), kind, options.get() ) ) ) == expected );
    return 0;
}
