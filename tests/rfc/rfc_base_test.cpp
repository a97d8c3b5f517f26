#include <rfc/rfc.h>

#include "support/files.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <sstream>

using namespace support;

namespace
{

constexpr PB_INT allKinds[] = { RFC_BASE_16, RFC_BASE_32, RFC_BASE_64, RFC_BASE_64_URL };

std::string encode( std::string_view data, PB_INT kind ) { return bytes( pb::adopt( rfcBaseEncode( buf( data ).get(), kind ) ) ); }
// "(null)" if it does not decode. No text of these tests decodes to "(null)".
std::string decode( std::string_view text, PB_INT kind ) { return bytes( pb::adopt( rfcBaseTryDecode( buf( text ).get(), kind ) ) ); }

// A second implementation that works bit by bit.

struct Alphabet
{
    std::string characters;
    size_t      bits, group;
};

const Alphabet &alphabetOf( PB_INT kind )
{
    static const std::string letters     = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";
    static const std::string small       = "abcdefghijklmnopqrstuvwxyz";
    static const std::string digits      = "0123456789";
    static const Alphabet    alphabets[] = { { digits + "ABCDEF", 4, 2 }, { letters + "234567", 5, 8 }, { letters + small + digits + "+/", 6, 4 },
           { letters + small + digits + "-_", 6, 4 } };
    return alphabets[kind - 1];
}

std::string referenceEncode( std::string_view data, PB_INT kind )
{
    const Alphabet &alphabet = alphabetOf( kind );
    std::string     bits, text;
    for( unsigned char byte : data )
    {
        for( int bit = 7; bit >= 0; bit-- )
            bits += byte >> bit & 1 ? '1' : '0';
    }
    while( bits.size() % alphabet.bits )
        bits += '0';
    for( size_t at = 0; at < bits.size(); at += alphabet.bits )
        text += alphabet.characters[std::stoul( bits.substr( at, alphabet.bits ), nullptr, 2 )];
    while( text.size() % alphabet.group )
        text += '=';
    return text;
}

// A text is good if encoding its data gives the same text.
std::string referenceDecode( std::string_view text, PB_INT kind )
{
    const Alphabet &alphabet = alphabetOf( kind );
    std::string     bits, data;
    for( char character : text )
    {
        size_t value = alphabet.characters.find( character );
        if( value == std::string::npos )
            break;
        for( size_t bit = alphabet.bits; bit-- > 0; )
            bits += value >> bit & 1 ? '1' : '0';
    }
    for( size_t at = 0; at + 8 <= bits.size(); at += 8 )
        data += (char)std::stoul( bits.substr( at, 8 ), nullptr, 2 );
    return referenceEncode( data, kind ) == text ? data : "(null)";
}

// Compares the decoder with the reference for every text of `length` of these characters. Returns
// how many of them decode.
size_t compareAll( PB_INT kind, std::string_view characters, size_t length )
{
    size_t all = 1, good = 0;
    for( size_t index = 0; index < length; index++ )
        all *= characters.size();
    for( size_t number = 0; number < all; number++ )
    {
        std::string text;
        for( size_t rest = number, index = 0; index < length; index++, rest /= characters.size() )
            text += characters[rest % characters.size()];
        std::string expected = referenceDecode( text, kind );
        EXPECT_EQ( hex( decode( text, kind ) ), hex( expected ) ) << kind << ": " << text;
        good += expected != "(null)";
    }
    return good;
}

std::string pattern( size_t size )
{
    std::string data;
    for( size_t index = 0; index < size; index++ )
        data += (char)( index * 197 + ( index >> 3 ) * 31 + size );
    return data;
}

// A second, simple implementation of the layout.
std::string layOut( std::string text, PB_INT flags, size_t lineLength, const std::string &end )
{
    if( flags & RFC_BASE_FLAG_NO_PADDING )
        text = text.substr( 0, text.find( '=' ) );
    std::string out;
    for( size_t at = 0; at < text.size(); )
    {
        std::string line = lineLength && !end.empty() ? text.substr( at, lineLength ) : text.substr( at );
        at += line.size();
        out += line;
        if( at < text.size() || ( flags & RFC_BASE_FLAG_END_LAST_LINE ) )
            out += end;
    }
    return out;
}

pb::Ref<RFC_BASE_OPTIONS> options( PB_INT flags, PB_INT lineLength, PB_INT nlf )
{
    pb::Ref<RFC_BASE_OPTIONS> made = pb::adopt( rfcBaseOptionsCreate() );
    rfcBaseOptionsSetFlags( made.handle(), flags );
    rfcBaseOptionsSetOutputLineLength( made.handle(), lineLength );
    rfcBaseOptionsSetOutputNlf( made.handle(), nlf );
    return made;
}

std::string encodeWith( std::string_view data, PB_INT kind, const pb::Ref<RFC_BASE_OPTIONS> &how )
{
    return bytes( pb::adopt( rfcBaseEncodeWithOptions( buf( data ).get(), kind, how.get() ) ) );
}

}

TEST( RfcBase, EncodesAndDecodesTheVectorsOfRfc4648 )
{
    static const struct
    {
        PB_INT      kind;
        const char *data, *text;
    } vectors[] = {
        { RFC_BASE_64, "", "" },
        { RFC_BASE_64, "f", "Zg==" },
        { RFC_BASE_64, "fo", "Zm8=" },
        { RFC_BASE_64, "foo", "Zm9v" },
        { RFC_BASE_64, "foob", "Zm9vYg==" },
        { RFC_BASE_64, "fooba", "Zm9vYmE=" },
        { RFC_BASE_64, "foobar", "Zm9vYmFy" },
        { RFC_BASE_64_URL, "foobar", "Zm9vYmFy" },
        { RFC_BASE_64_URL, "\xFB\xFF\xFE", "-__-" },
        { RFC_BASE_64, "\xFB\xFF\xFE", "+//+" },
        { RFC_BASE_64_URL, "\xFB", "-w==" },
        { RFC_BASE_32, "", "" },
        { RFC_BASE_32, "f", "MY======" },
        { RFC_BASE_32, "fo", "MZXQ====" },
        { RFC_BASE_32, "foo", "MZXW6===" },
        { RFC_BASE_32, "foob", "MZXW6YQ=" },
        { RFC_BASE_32, "fooba", "MZXW6YTB" },
        { RFC_BASE_32, "foobar", "MZXW6YTBOI======" },
        { RFC_BASE_16, "", "" },
        { RFC_BASE_16, "f", "66" },
        { RFC_BASE_16, "fo", "666F" },
        { RFC_BASE_16, "foo", "666F6F" },
        { RFC_BASE_16, "foob", "666F6F62" },
        { RFC_BASE_16, "fooba", "666F6F6261" },
        { RFC_BASE_16, "foobar", "666F6F626172" },
    };
    for( const auto &[kind, data, text] : vectors )
    {
        EXPECT_EQ( encode( data, kind ), text );
        EXPECT_EQ( decode( text, kind ), data ) << text;
    }
}

TEST( RfcBase, EncodesLikeOpensslInBase64 )
{
    for( size_t size = 0; size <= 300; size++ )
    {
        std::string data = pattern( size );
        std::string wanted( 4 * ( ( size + 2 ) / 3 ) + 1, 0 );
        int         length = EVP_EncodeBlock( (unsigned char *)wanted.data(), (const unsigned char *)data.data(), (int)size );
        wanted.resize( (size_t)length );
        EXPECT_EQ( encode( data, RFC_BASE_64 ), wanted ) << size;
        EXPECT_EQ( hex( decode( wanted, RFC_BASE_64 ) ), hex( data ) ) << size;
    }
}

TEST( RfcBase, EncodesEveryKindLikeBitsInARow )
{
    for( PB_INT kind : allKinds )
    {
        for( size_t size = 0; size <= 100; size++ )
        {
            std::string data = pattern( size ), text = encode( data, kind );
            EXPECT_EQ( text, referenceEncode( data, kind ) );
            EXPECT_EQ( rfc___BaseEncodedLength( (PB_INT)size, kind ), (PB_INT)text.size() );
            EXPECT_EQ( hex( decode( text, kind ) ), hex( data ) );
        }
        for( int byte = 0; byte < 256; byte++ )
        {
            std::string data( 1, (char)byte ), text = encode( data, kind );
            EXPECT_EQ( text, referenceEncode( data, kind ) );
            EXPECT_EQ( hex( decode( text, kind ) ), hex( data ) );
        }
    }
}

TEST( RfcBase, WritesAndReadsBytesInTheCallersMemory )
{
    for( PB_INT kind : allKinds )
    {
        for( size_t size = 0; size <= 40; size++ )
        {
            std::string data = pattern( size ), wanted = referenceEncode( data, kind );
            std::string text( wanted.size() + 1, '#' );
            rfc___BaseEncodeBytes( (const PB_BYTE *)data.data(), (PB_INT)size, kind, text.data() );
            EXPECT_EQ( text, wanted + '#' );

            // The output overwrites the text itself. The end of the text does not change.
            EXPECT_EQ( rfc___BaseTryDecodeBytes( text.data(), (PB_INT)wanted.size(), kind, (PB_BYTE *)text.data() ), (PB_INT)size );
            EXPECT_EQ( hex( text.substr( 0, size ) ), hex( data ) );
            EXPECT_EQ( text.back(), '#' );
        }
        EXPECT_EQ( rfc___BaseTryDecodeBytes( nullptr, 0, kind, nullptr ), 0 );
        rfc___BaseEncodeBytes( nullptr, 0, kind, nullptr );
    }
}

TEST( RfcBase, DecodesEveryPairInBase16OrRefusesIt )
{
    std::string all;
    for( int byte = 0; byte < 256; byte++ )
        all += (char)byte;
    EXPECT_EQ( compareAll( RFC_BASE_16, all, 2 ), 256u );
    EXPECT_EQ( compareAll( RFC_BASE_16, all, 1 ), 0u );
    EXPECT_EQ( compareAll( RFC_BASE_16, "0Fa= \n", 3 ), 0u );
    EXPECT_EQ( compareAll( RFC_BASE_16, "0Fa= \n", 4 ), 16u );
    EXPECT_EQ( decode( "0a", RFC_BASE_16 ), "(null)" );
}

TEST( RfcBase, DecodesEveryShortTextInBase64OrRefusesIt )
{
    // A has no bits set. Q, g, w and I have one or two of the bits that may be left over. Then the
    // last two characters of both kinds, padding, blanks, and characters outside the alphabets.
    static constexpr std::string_view some = "AQgwI9+/-_= \n\r!\x80";
    for( PB_INT kind : { RFC_BASE_64, RFC_BASE_64_URL } )
    {
        for( size_t length : { 1, 2, 3, 5 } )
            EXPECT_EQ( compareAll( kind, length == 5 ? some.substr( 0, 5 ) : some, length ), 0u );
        // Eight of them are in the alphabet. Four of these leave no bits over as the second
        // character of a last group, five as the third.
        EXPECT_EQ( compareAll( kind, some, 4 ), 8u * 8 * 8 * 8 + 8u * 8 * 5 + 8u * 4 );
        EXPECT_GT( compareAll( kind, "AQ=", 8 ), 0u );
        EXPECT_EQ( compareAll( kind, "A=", 6 ), 0u );
    }
}

TEST( RfcBase, RefusesEveryLeftoverBitInBase64 )
{
    const std::string &characters = alphabetOf( RFC_BASE_64 ).characters;
    for( size_t value = 0; value < 64; value++ )
    {
        std::string last( 1, characters[value] );
        EXPECT_EQ( decode( "A" + last + "==", RFC_BASE_64 ) != "(null)", value % 16 == 0 ) << last;
        EXPECT_EQ( decode( "AA" + last + "=", RFC_BASE_64 ) != "(null)", value % 4 == 0 ) << last;
        EXPECT_EQ( decode( "AAAAA" + last + "==", RFC_BASE_64 ) != "(null)", value % 16 == 0 ) << last;
    }
}

TEST( RfcBase, DecodesEveryShortTextInBase32OrRefusesIt )
{
    for( size_t length = 1; length <= 7; length++ )
        EXPECT_EQ( compareAll( RFC_BASE_32, "AE7=", length ), 0u );
    // A has no bits set. E has one that may be left over in a group of four or seven. Q has one
    // that must not be left over.
    EXPECT_GT( compareAll( RFC_BASE_32, "AEQ=", 8 ), 6561u );
    EXPECT_EQ( compareAll( RFC_BASE_32, "a018= \n-", 4 ), 0u );
    EXPECT_EQ( decode( "mzxw6===", RFC_BASE_32 ), "(null)" );
    EXPECT_EQ( decode( "MZXW6=== ", RFC_BASE_32 ), "(null)" );
    // One, three or six characters never hold whole bytes.
    for( const char *text : { "AAAAAA==", "A=======", "AAA=====", "========", "AAAAAAAA========" } )
        EXPECT_EQ( decode( text, RFC_BASE_32 ), "(null)" ) << text;
}

TEST( RfcBase, RefusesBlanksLineEndsAndPaddingInTheMiddle )
{
    for( const char *text : { " Zm9v", "Zm9v ", "Zm9v\n", "Zm9v\r\n", "Zm 9v", "Zm9v\nZm9v", "Zg==Zm9v", "Zg==\n", "Zm9vZg=", "Zm9vZg",
             "Zm9vZg===", "====", "Z===", "=Zg=", "Zg=a", "Zm9v====", "\xC3\xA4==" } )
    {
        EXPECT_EQ( decode( text, RFC_BASE_64 ), "(null)" ) << text;
        EXPECT_EQ( decode( text, RFC_BASE_64_URL ), "(null)" ) << text;
    }
    EXPECT_EQ( decode( "-w==", RFC_BASE_64 ), "(null)" );
    EXPECT_EQ( decode( "+w==", RFC_BASE_64_URL ), "(null)" );
    EXPECT_EQ( decode( std::string_view( "Zm9v\0", 5 ), RFC_BASE_64 ), "(null)" );
    EXPECT_EQ( decode( std::string_view( "Zm9\0", 4 ), RFC_BASE_64 ), "(null)" );
}

TEST( RfcBase, RefusesAWrongCharacterWhereverItStands )
{
    for( PB_INT kind : allKinds )
    {
        std::string good = encode( pattern( 60 ), kind );
        ASSERT_NE( decode( good, kind ), "(null)" );
        for( size_t at = 0; at < good.size(); at++ )
        {
            for( char wrong : { ' ', '=', '\n', '.', '\x80', '\xFF', '\0', '`' } )
            {
                std::string bad = good;
                bad[at]         = wrong;
                EXPECT_EQ( decode( bad, kind ), referenceDecode( bad, kind ) );
                if( wrong != '=' )
                {
                    EXPECT_EQ( decode( bad, kind ), "(null)" ) << kind << ": " << bad;
                }
            }
        }
    }
}

TEST( RfcBase, AgreesWithPublicVectors )
{
    NEED_VECTORS( folder );
    std::istringstream lines( read( *folder / "botan" / "base64.vec" ) );
    std::string        line, binary;
    bool               valid = false;
    int                good = 0, bad = 0;
    auto               valueOf = []( const std::string &from ) {
        size_t begin = from.find( '=' ) + 1;
        begin        = std::min( from.find_first_not_of( " \r", begin ), from.size() );
        return from.substr( begin, from.find_last_not_of( " \r" ) + 1 - begin );
    };
    while( std::getline( lines, line ) )
    {
        if( line.starts_with( "[" ) )
            valid = line.starts_with( "[valid]" );
        else if( line.starts_with( "Binary" ) )
            binary = unhex( valueOf( line ) );
        else if( line.starts_with( "Base64" ) )
        {
            std::string text = valueOf( line );
            EXPECT_EQ( hex( decode( text, RFC_BASE_64 ) ), hex( valid ? binary : "(null)" ) ) << text;
            if( valid )
            {
                EXPECT_EQ( encode( binary, RFC_BASE_64 ), text );
            }
            ( valid ? good : bad )++;
        }
    }
    EXPECT_GE( good, 20 );
    EXPECT_EQ( bad, 2 );
}

TEST( RfcBase, KeepsTheSensitiveMark )
{
    pb::Ref<PB_BUFFER> secret = buf( "secret" );
    pbBufferSetSensitive( secret.handle() );
    for( PB_INT kind : allKinds )
    {
        pb::Ref<PB_BUFFER> text = pb::adopt( rfcBaseEncode( secret.get(), kind ) );
        EXPECT_TRUE( pbBufferSensitive( text.get() ) );
        EXPECT_TRUE( pbBufferSensitive( pb::adopt( rfcBaseTryDecode( text.get(), kind ) ).get() ) );
        for( PB_INT flags = 0; flags <= RFC_BASE_FLAGS_MASK; flags++ )
        {
            pb::Ref<RFC_BASE_OPTIONS> how = options( flags, 2, RFC_BASE_NLF_CRLF );
            EXPECT_TRUE( pbBufferSensitive( pb::adopt( rfcBaseEncodeWithOptions( secret.get(), kind, how.get() ) ).get() ) );
            EXPECT_FALSE( pbBufferSensitive( pb::adopt( rfcBaseEncodeWithOptions( buf( "open" ).get(), kind, how.get() ) ).get() ) );
        }
        EXPECT_FALSE( pbBufferSensitive( pb::adopt( rfcBaseEncode( buf( "open" ).get(), kind ) ).get() ) );
    }
}

TEST( RfcBase, GivesNewBuffersAndLeavesItsInputAlone )
{
    pb::Ref<PB_BUFFER> data = buf( "foobar" ), text = pb::adopt( rfcBaseEncode( data.get(), RFC_BASE_64 ) );
    pb::Ref<PB_BUFFER> again = pb::adopt( rfcBaseTryDecode( text.get(), RFC_BASE_64 ) );
    EXPECT_NE( again.get(), data.get() );
    EXPECT_FALSE( pbObjIsShared( text.obj() ) );
    EXPECT_EQ( bytes( data ), "foobar" );
    EXPECT_EQ( bytes( text ), "Zm9vYmFy" );
}

TEST( RfcBaseLayout, EncodesFortyEightBytesAsOneLine )
{
    pb::Ref<RFC_BASE_OPTIONS> how  = options( RFC_BASE_FLAG_END_LAST_LINE, 64, RFC_BASE_NLF_CRLF );
    std::string               line = "YWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFhYWFh";
    EXPECT_EQ( encodeWith( std::string( 47, 'a' ), RFC_BASE_64, how ), line.substr( 0, 62 ) + "E=\r\n" );
    EXPECT_EQ( encodeWith( std::string( 48, 'a' ), RFC_BASE_64, how ), line + "\r\n" );
    EXPECT_EQ( encodeWith( std::string( 49, 'a' ), RFC_BASE_64, how ), line + "\r\nYQ==\r\n" );
    EXPECT_EQ( encodeWith( std::string( 96, 'a' ), RFC_BASE_64, how ), line + "\r\n" + line + "\r\n" );
    EXPECT_EQ( encodeWith( "", RFC_BASE_64, how ), "" );
}

TEST( RfcBaseLayout, EndsLinesInEveryForm )
{
    static const std::string ends[] = { "", "\n", "\r", "\x85", "\r\n" };
    for( PB_INT nlf = RFC_BASE_NLF_NONE; nlf <= RFC_BASE_NLF_CRLF; nlf++ )
    {
        const std::string &end = ends[nlf];
        EXPECT_EQ( encodeWith( "foobar", RFC_BASE_16, options( 0, 5, nlf ) ), "666F6" + end + "F6261" + end + "72" );
        EXPECT_EQ( encodeWith( "foobar", RFC_BASE_16, options( RFC_BASE_FLAG_END_LAST_LINE, 5, nlf ) ), "666F6" + end + "F6261" + end + "72" + end );
    }
}

TEST( RfcBaseLayout, LaysOutAsTheOptionsSay )
{
    static const std::string ends[] = { "", "\n", "\r", "\x85", "\r\n" };
    for( PB_INT kind : allKinds )
    {
        for( size_t size : { 0, 1, 2, 3, 4, 5, 6, 9, 10, 31, 32, 33, 47, 48, 49, 96, 97 } )
        {
            std::string data = pattern( size ), text = referenceEncode( data, kind );
            for( PB_INT flags = 0; flags <= RFC_BASE_FLAGS_MASK; flags++ )
            {
                for( PB_INT lineLength : { 0, 1, 2, 3, 4, 7, 8, 63, 64, 65, 1000 } )
                {
                    for( PB_INT nlf = RFC_BASE_NLF_NONE; nlf <= RFC_BASE_NLF_CRLF; nlf++ )
                        EXPECT_EQ( encodeWith( data, kind, options( flags, lineLength, nlf ) ), layOut( text, flags, (size_t)lineLength, ends[nlf] ) )
                            << kind << " " << size << " " << flags << " " << lineLength << " " << nlf;
                }
            }
        }
    }
}

TEST( RfcBaseLayout, LeavesOutPadding )
{
    EXPECT_EQ( encodeWith( "f", RFC_BASE_64, options( RFC_BASE_FLAG_NO_PADDING, 0, RFC_BASE_NLF_NONE ) ), "Zg" );
    EXPECT_EQ( encodeWith( "fo", RFC_BASE_64_URL, options( RFC_BASE_FLAG_NO_PADDING, 0, RFC_BASE_NLF_NONE ) ), "Zm8" );
    EXPECT_EQ( encodeWith( "f", RFC_BASE_32, options( RFC_BASE_FLAG_NO_PADDING, 0, RFC_BASE_NLF_NONE ) ), "MY" );
    // There is no line that has padding only.
    EXPECT_EQ( encodeWith( "f", RFC_BASE_64, options( RFC_BASE_FLAG_NO_PADDING | RFC_BASE_FLAG_END_LAST_LINE, 2, RFC_BASE_NLF_LF ) ), "Zg\n" );
}

TEST( RfcBaseLayout, HoldsLinesWithoutAnEndInOneLine )
{
    EXPECT_EQ( encodeWith( "foobar", RFC_BASE_64, options( RFC_BASE_FLAG_END_LAST_LINE, 4, RFC_BASE_NLF_NONE ) ), "Zm9vYmFy" );
    EXPECT_EQ( encodeWith( "foobar", RFC_BASE_64, options( RFC_BASE_FLAG_END_LAST_LINE, 0, RFC_BASE_NLF_LF ) ), "Zm9vYmFy\n" );
    EXPECT_EQ( encodeWith( "foobar", RFC_BASE_64, options( 0, 0, RFC_BASE_NLF_LF ) ), "Zm9vYmFy" );
    EXPECT_EQ( encodeWith( "foobar", RFC_BASE_64, options( RFC_BASE_FLAG_END_LAST_LINE, PB_INT_MAX, RFC_BASE_NLF_LF ) ), "Zm9vYmFy\n" );
}
