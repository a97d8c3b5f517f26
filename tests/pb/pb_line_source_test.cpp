#include <gtest/gtest.h>

#include "support/sources.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

using Lines = std::vector<std::string>;

pb::Ref<PB_LINE_SOURCE> lineSource( const pb::Ref<PB_CHAR_SOURCE> &from, PB_INT limit )
{
    return pb::adopt( pbNlfLineSourceCreate( from.get(), limit ) );
}

Lines readAll( const pb::Ref<PB_LINE_SOURCE> &from ) { return texts( pb::adopt( pbLineSourceReadLines( from.get(), PB_INT_MAX ) ).get() ); }

// Reads the same text in every way: in pieces of several sizes, with several limits, line by line
// and in one call.
void expectLines( const std::string &text, const Lines &lines, PB_INT charset = PB_CHARSET_UTF8 )
{
    for( PB_INT piece : { 1, 2, 3, 7, 100000 } )
    {
        for( PB_INT limit : { 1, 2, 255, 100000 } )
        {
            pb::Ref<PB_LINE_SOURCE> from = lineSource( characters( source( text, piece ), charset, 0 ), limit );
            EXPECT_EQ( readAll( from ), lines ) << hex( text ) << " in pieces of " << piece << ", limit " << limit;
            EXPECT_FALSE( pbLineSourceError( from.get() ) );
            EXPECT_EQ( pbLineSourceTryReadLine( from.get() ), nullptr );
        }
    }
}

const std::string ends[] = { "\n", "\r\n", "\r", "\xC2\x85" };

}

TEST( PbLineSource, SplitsAtEveryLineEnd )
{
    for( const std::string &end : ends )
    {
        expectLines( "one" + end + "two" + end + "three" + end, { "one", "two", "three" } );
        expectLines( "one" + end + "two" + end + "three", { "one", "two", "three" } );
        expectLines( "one" + end, { "one" } );
        expectLines( end, { "" } );
        expectLines( "one" + end + end + "three", { "one", "", "three" } );
        expectLines( end + "two", { "", "two" } );
    }
}

TEST( PbLineSource, TakesLineEndsMixed )
{
    // CR LF is one end; LF CR are two.
    expectLines( "a\r\nb\n\rc\r\r\nd\xC2\x85\ne\r\xC2\x85"
                 "f",
        { "a", "b", "", "c", "", "d", "", "e", "", "f" } );
    for( const std::string &first : ends )
    {
        for( const std::string &second : ends )
        {
            bool one = first == "\r" && second == "\n";
            expectLines( "a" + first + second + "b", one ? Lines{ "a", "b" } : Lines{ "a", "", "b" } );
            expectLines( "a" + first + second, one ? Lines{ "a" } : Lines{ "a", "" } );
        }
    }
}

TEST( PbLineSource, GivesNoLineForNoText )
{
    expectLines( "", {} );
    expectLines( "a", { "a" } );
}

TEST( PbLineSource, DeliversLinesLongerThanTheLimitWhole )
{
    std::string longer( 254, 'a' );
    for( const char *more : { "", "b", "bc", "bcd" } )
    {
        longer += more;
        expectLines( longer + "\nnext\n" + longer, { longer, "next", longer } );
    }
    // Lines that are longer than one read, with characters of several bytes.
    std::string wide;
    for( int count = 0; count < 3001; count++ )
        wide += "\xC3\xA4\xE2\x82\xAC";
    expectLines( wide + "\r\n" + wide + "\r\n", { wide, wide } );
}

TEST( PbLineSource, TakesACarriageReturnAtTheEdgeOfAReadForOneEnd )
{
    // 4,096 characters are read at once: the CR is the last of them, the LF the first of the next.
    for( size_t length : { 4094u, 4095u, 4096u, 4097u, 8190u, 8191u } )
    {
        std::string line( length, 'x' );
        for( PB_INT limit : { 255, 4096, 5000 } )
        {
            EXPECT_EQ( readAll( lineSource( characters( source( line + "\r\n" + line + "\r" + line, 100000 ), PB_CHARSET_LATIN1, 0 ), limit ) ),
                ( Lines{ line, line, line } ) )
                << length;
        }
    }
}

TEST( PbLineSource, KeepsWhatIsNoLineEnd )
{
    // Vertical tab, form feed, U+2028 and U+2029 do not end a line, nor does half of a NEL.
    std::string text = "a\vb\fc\xE2\x80\xA8"
                       "d\xE2\x80\xA9"
                       "e\xC2\xA0 \t";
    expectLines( text + "\n", { text } );
    expectLines( std::string( "a\0b\nc\0", 6 ), { std::string( "a\0b", 3 ), std::string( "c\0", 2 ) } );
}

TEST( PbLineSource, TakesTheByte85ForAnEndInLatin1 )
{
    expectLines( "a\x85"
                 "b\xC2\x85"
                 "c",
        { "a", "b\xC3\x82", "c" }, PB_CHARSET_LATIN1 );
}

TEST( PbLineSource, ReadsAtMostTheLinesAskedFor )
{
    pb::Ref<PB_LINE_SOURCE> from = lineSource( characters( source( "a\nb\nc\nd", 1 ), PB_CHARSET_UTF8, 0 ), 255 );
    EXPECT_EQ( texts( pb::adopt( pbLineSourceReadLines( from.get(), 0 ) ).get() ), Lines{} );
    EXPECT_EQ( texts( pb::adopt( pbLineSourceReadLines( from.get(), 2 ) ).get() ), ( Lines{ "a", "b" } ) );
    EXPECT_EQ( text( pb::adopt( pbLineSourceTryReadLine( from.get() ) ) ), "c" );
    EXPECT_EQ( texts( pb::adopt( pbLineSourceReadLines( from.get(), 2 ) ).get() ), ( Lines{ "d" } ) );
    EXPECT_EQ( texts( pb::adopt( pbLineSourceReadLines( from.get(), 2 ) ).get() ), Lines{} );
}

TEST( PbLineSource, GivesWholeLinesBeforeAReadErrorAndNoneAfterIt )
{
    for( PB_INT piece : { 1, 100 } )
    {
        for( const std::string &end : ends )
        {
            pb::Ref<PB_LINE_SOURCE> from = lineSource( characters( source( "a" + end + "b" + end + "cut", piece, true ), PB_CHARSET_UTF8, 0 ), 255 );
            EXPECT_EQ( readAll( from ), ( Lines{ "a", "b" } ) ) << hex( end );
            EXPECT_TRUE( pbLineSourceError( from.get() ) );
            EXPECT_EQ( pbLineSourceTryReadLine( from.get() ), nullptr );
        }
    }
    pb::Ref<PB_LINE_SOURCE> from = lineSource( characters( source( "", 1, true ), PB_CHARSET_UTF8, 0 ), 255 );
    EXPECT_EQ( pbLineSourceTryReadLine( from.get() ), nullptr );
    EXPECT_TRUE( pbLineSourceError( from.get() ) );
}

TEST( PbLineSource, FailsOnMalformedTextWhenTheCharactersAreStrict )
{
    std::string             bad  = "a\nb\xFF\nc\n";
    pb::Ref<PB_LINE_SOURCE> from = lineSource( characters( source( bad, 1 ), PB_CHARSET_UTF8, PB_CHARSET_FLAG_STRICT ), 255 );
    EXPECT_EQ( readAll( from ), ( Lines{ "a" } ) );
    EXPECT_TRUE( pbLineSourceError( from.get() ) );
    expectLines( bad, { "a", "b\xEF\xBF\xBD", "c" } );
}

TEST( PbLineSource, PassesTheSensitiveMarkOnToEveryLine )
{
    pb::Ref<PB_BUFFER> secret = buf( "one\ntwo\r\nthree" );
    pbBufferSetSensitive( secret.handle() );
    pb::Ref<PB_BYTE_SOURCE> bytes = pb::adopt( pbBufferByteSourceCreate( secret.get() ) );
    pb::Ref<PB_VECTOR> lines = pb::adopt( pbLineSourceReadLines( lineSource( characters( bytes, PB_CHARSET_LATIN1, 0 ), 1 ).get(), PB_INT_MAX ) );
    ASSERT_EQ( pbVectorLength( lines.get() ), 3 );
    for( PB_INT index = 0; index < 3; index++ )
        EXPECT_TRUE( pbStringSensitive( pbStringFrom( pb___VectorPeekObjAt( lines.get(), index ) ) ) ) << index;
}

TEST( PbLineSource, SplitsEveryShortTextLikeAPlainScan )
{
    // All texts of up to six of these characters, compared with a simple way to split them.
    static const std::string letters[] = { "a", "\n", "\r", "\xC2\x85" };
    for( size_t length = 0; length <= 6; length++ )
    {
        for( size_t number = 0; number < (size_t)1 << 2 * length; number++ )
        {
            std::string text;
            for( size_t index = 0; index < length; index++ )
                text += letters[number >> 2 * index & 3];
            Lines       lines;
            std::string line;
            bool        open = false;
            for( size_t at = 0; at < text.size(); at++ )
            {
                std::string_view rest = std::string_view( text ).substr( at );
                open                  = !( rest.starts_with( "\n" ) || rest.starts_with( "\r" ) || rest.starts_with( "\xC2\x85" ) );
                if( open )
                {
                    line += text[at];
                    continue;
                }
                lines.push_back( line );
                line.clear();
                at += rest.starts_with( "\r\n" ) || rest.starts_with( "\xC2\x85" );
            }
            if( open )
                lines.push_back( line );
            for( PB_INT piece : { 1, 100 } )
                EXPECT_EQ( readAll( lineSource( characters( source( text, piece ), PB_CHARSET_UTF8, 0 ), 1 ) ), lines ) << hex( text );
        }
    }
}
