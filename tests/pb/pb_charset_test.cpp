#include <gtest/gtest.h>

#include "support/sources.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

constexpr PB_INT strict = PB_CHARSET_FLAG_STRICT;

std::string convert( std::string_view data, PB_INT charset, PB_INT flags )
{
    return text( pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( buf( data ).get(), charset, flags ) ) );
}

struct Outcome
{
    std::string text;
    bool        end   = false;
    bool        error = false;

    bool operator==( const Outcome & ) const = default;
};

std::ostream &operator<<( std::ostream &out, const Outcome &outcome )
{
    return out << hex( outcome.text ) << ( outcome.end ? " end" : "" ) << ( outcome.error ? " error" : "" );
}

// Reads to the end, `atOnce` characters in each read.
Outcome readAll( const pb::Ref<PB_CHAR_SOURCE> &from, PB_INT atOnce )
{
    pb::Ref<PB_STRING> str   = pb::adopt( pbStringCreate() );
    PB_INT             total = 0;
    while( PB_INT count = pbCharSourceRead( from.get(), str.handle(), atOnce ) )
    {
        EXPECT_GT( count, 0 );
        EXPECT_LE( count, atOnce );
        total += count;
    }
    EXPECT_EQ( total, pbStringLength( str.get() ) );
    return { text( str ), (bool)pbCharSourceEnd( from.get() ), (bool)pbCharSourceError( from.get() ) };
}

// A reference for UTF-8, after the table of well-formed sequences in the Unicode Standard (3-7):
// the number of bytes at the front that form a character, 0 if there is no such character.
size_t wellFormed( std::string_view bytes )
{
    auto in = [&]( size_t index, unsigned least, unsigned most ) {
        return index < bytes.size() && (unsigned char)bytes[index] >= least && (unsigned char)bytes[index] <= most;
    };
    auto tail = [&]( size_t index ) { return in( index, 0x80, 0xBF ); };
    if( in( 0, 0x00, 0x7F ) )
        return 1;
    if( in( 0, 0xC2, 0xDF ) )
        return tail( 1 ) ? 2 : 0;
    if( in( 0, 0xE0, 0xE0 ) ? in( 1, 0xA0, 0xBF ) : in( 0, 0xED, 0xED ) ? in( 1, 0x80, 0x9F ) : in( 0, 0xE1, 0xEF ) && tail( 1 ) )
        return tail( 2 ) ? 3 : 0;
    if( in( 0, 0xF0, 0xF0 ) ? in( 1, 0x90, 0xBF ) : in( 0, 0xF4, 0xF4 ) ? in( 1, 0x80, 0x8F ) : in( 0, 0xF1, 0xF3 ) && tail( 1 ) )
        return tail( 2 ) && tail( 3 ) ? 4 : 0;
    return 0;
}

bool wellFormedText( std::string_view bytes )
{
    while( !bytes.empty() )
    {
        size_t length = wellFormed( bytes );
        if( !length )
            return false;
        bytes.remove_prefix( length );
    }
    return true;
}

// Every text of `length` of these bytes, which represent all classes of bytes in UTF-8.
template<class Each>
void forEachText( size_t length, Each each )
{
    static constexpr unsigned char classes[] = { 'a', 0x80, 0x9F, 0xBF, 0xC0, 0xC2, 0xE0, 0xE2, 0xED, 0xF0, 0xF1, 0xF4, 0xF5 };
    constexpr size_t               count     = sizeof classes;
    size_t                         all       = 1;
    for( size_t index = 0; index < length; index++ )
        all *= count;
    for( size_t number = 0; number < all; number++ )
    {
        std::string text;
        for( size_t rest = number, index = 0; index < length; index++, rest /= count )
            text += (char)classes[rest % count];
        each( text );
    }
}

}

TEST( PbCharset, ReadsEveryByteAsItsCharacterInLatin1 )
{
    std::string all, utf8;
    for( int byte = 0; byte < 256; byte++ )
    {
        all += (char)byte;
        if( byte >= 0x80 )
            utf8 += (char)( 0xC0 | byte >> 6 );
        utf8 += (char)( byte < 0x80 ? byte : 0x80 | ( byte & 0x3F ) );
    }
    for( PB_INT flags : { (PB_INT)0, strict } )
    {
        EXPECT_EQ( hex( convert( all, PB_CHARSET_LATIN1, flags ) ), hex( utf8 ) );
        pb::Ref<PB_STRING> str = pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( buf( all ).get(), PB_CHARSET_LATIN1, flags ) );
        EXPECT_EQ( pbStringLength( str.get() ), 256 );
        EXPECT_EQ( bytes( pb::adopt( pbStringConvertToLatin1( str.get() ) ) ), all );
    }
}

TEST( PbCharset, GivesTextWhoseCharactersAreFoundByIndexBehindAZeroCharacter )
{
    pb::Ref<PB_STRING> str = pb::adopt(
        pbCharsetTryConvertBufferToStringWithFlags( buf( std::string_view( "a\0b\xE4z", 5 ) ).get(), PB_CHARSET_LATIN1, strict ) );
    ASSERT_EQ( pbStringLength( str.get() ), 5 );
    static constexpr PB_CHAR wanted[] = { 'a', 0, 'b', 0xE4, 'z' };
    for( PB_INT index = 0; index < 5; index++ )
        EXPECT_EQ( pbStringCharAt( str.get(), index ), wanted[index] ) << index;
    EXPECT_EQ( pbStringIndexOfChar( str.get(), 'z', 2 ), 4 );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromInner( str.get(), 2, 2 ) ) ), "b\xC3\xA4" );
}

TEST( PbCharset, ReadsUtf8OfEveryLength )
{
    std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";
    for( PB_INT flags : { (PB_INT)0, strict } )
    {
        EXPECT_EQ( convert( text, PB_CHARSET_UTF8, flags ), text );
        EXPECT_EQ( convert( "", PB_CHARSET_UTF8, flags ), "" );
        EXPECT_EQ( convert( std::string_view( "a\0b", 3 ), PB_CHARSET_UTF8, flags ), std::string( "a\0b", 3 ) );
    }
}

TEST( PbCharset, StrictUtf8RefusesWhatTheStandardDoes )
{
    size_t refused = 0;
    for( size_t length : { 1, 2, 3, 4 } )
    {
        forEachText( length, [&]( const std::string &each ) {
            bool good = wellFormedText( each );
            EXPECT_EQ( convert( each, PB_CHARSET_UTF8, strict ), good ? each : "(null)" ) << hex( each );
            refused += !good;
        } );
    }
    EXPECT_GT( refused, 20000u );
}

TEST( PbCharset, LenientUtf8WritesReplacementsForWhatIsMalformed )
{
    EXPECT_EQ( convert( "a\xFFz", PB_CHARSET_UTF8, 0 ), "a\xEF\xBF\xBDz" );
    EXPECT_EQ( convert( "a\x80z", PB_CHARSET_UTF8, 0 ), "a\xEF\xBF\xBDz" );
    EXPECT_EQ( convert( "\xC3", PB_CHARSET_UTF8, 0 ), "\xEF\xBF\xBD" );
    EXPECT_EQ( convert( "\xC3z", PB_CHARSET_UTF8, 0 ), "\xEF\xBF\xBDz" );
    // Good characters before and after it stay.
    forEachText( 3, []( const std::string &each ) {
        std::string got = convert( "\xC3\xA4" + each + "z", PB_CHARSET_UTF8, 0 );
        EXPECT_TRUE( wellFormedText( got ) ) << hex( each );
        EXPECT_TRUE( got.starts_with( "\xC3\xA4" ) ) << hex( each );
        EXPECT_TRUE( got.ends_with( "z" ) ) << hex( each );
        EXPECT_EQ( got.find( "\xEF\xBF\xBD" ) == got.npos, wellFormedText( each ) ) << hex( each );
    } );
}

TEST( PbCharset, ConversionKeepsTheSensitiveMark )
{
    pb::Ref<PB_BUFFER> secret = buf( "secret" );
    pbBufferSetSensitive( secret.handle() );
    for( PB_INT charset : { PB_CHARSET_LATIN1, PB_CHARSET_UTF8 } )
    {
        pb::Ref<PB_STRING> str = pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( secret.get(), charset, strict ) );
        EXPECT_TRUE( pbStringSensitive( str.get() ) );
        EXPECT_FALSE( pbStringSensitive( pb::adopt( pbCharsetTryConvertBufferToStringWithFlags( buf( "open" ).get(), charset, strict ) ).get() ) );
    }
}

TEST( PbCharSource, GivesTheSameTextWhateverThePieces )
{
    std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80\xC2\x85z";
    for( PB_INT piece : { 1, 2, 3, 4, 5, 100 } )
    {
        for( PB_INT atOnce : { 1, 2, 3, 100 } )
        {
            for( PB_INT flags : { (PB_INT)0, strict } )
                EXPECT_EQ( readAll( characters( source( text, piece ), PB_CHARSET_UTF8, flags ), atOnce ), ( Outcome{ text, true, false } ) )
                    << piece << " " << atOnce;
            EXPECT_EQ( readAll( characters( source( "a\xE4\xFF", piece ), PB_CHARSET_LATIN1, strict ), atOnce ),
                ( Outcome{ "a\xC3\xA4\xC3\xBF", true, false } ) );
        }
    }
}

TEST( PbCharSource, ReplacesTheSameWayAsTheWholeConversion )
{
    for( size_t length : { 1, 2, 3, 4 } )
    {
        forEachText( length, []( const std::string &each ) {
            Outcome whole{ convert( each, PB_CHARSET_UTF8, 0 ), true, false };
            EXPECT_EQ( readAll( characters( source( each, 1 ), PB_CHARSET_UTF8, 0 ), 100 ), whole ) << hex( each );
            EXPECT_EQ( readAll( characters( source( each, 100 ), PB_CHARSET_UTF8, 0 ), 1 ), whole ) << hex( each );
        } );
    }
}

TEST( PbCharSource, FailsOnMalformedTextOnlyWhenStrict )
{
    for( size_t length : { 1, 2, 3 } )
    {
        forEachText( length, []( const std::string &each ) {
            bool good = wellFormedText( each );
            for( PB_INT piece : { 1, 100 } )
            {
                Outcome outcome = readAll( characters( source( each, piece ), PB_CHARSET_UTF8, strict ), 1 );
                EXPECT_EQ( outcome.error, !good ) << hex( each );
                EXPECT_EQ( outcome.end, good ) << hex( each );
                EXPECT_TRUE( each.starts_with( outcome.text ) ) << hex( each );
            }
        } );
    }
}

TEST( PbCharSource, DeliversWhatStandsBeforeAnErrorAndStaysFailed )
{
    pb::Ref<PB_CHAR_SOURCE> from = characters( source( "ab\xFF"
                                                       "cd",
                                                   1 ),
        PB_CHARSET_UTF8, strict );
    EXPECT_EQ( readAll( from, 1 ), ( Outcome{ "ab", false, true } ) );
    EXPECT_EQ( readAll( from, 1 ), ( Outcome{ "", false, true } ) );
}

TEST( PbCharSource, PassesOnAReadErrorOfTheBytes )
{
    for( PB_INT charset : { PB_CHARSET_LATIN1, PB_CHARSET_UTF8 } )
    {
        pb::Ref<PB_CHAR_SOURCE> from = characters( source( "ab", 1, true ), charset, 0 );
        EXPECT_EQ( readAll( from, 10 ), ( Outcome{ "ab", false, true } ) );
        EXPECT_EQ( readAll( from, 10 ), ( Outcome{ "", false, true } ) );
    }
    // Only the error is reported, not the unfinished last character.
    EXPECT_EQ( readAll( characters( source( "a\xC3", 1, true ), PB_CHARSET_UTF8, 0 ), 10 ), ( Outcome{ "a", false, true } ) );
}

TEST( PbCharSource, AskingForNothingReadsNothing )
{
    pb::Ref<PB_CHAR_SOURCE> from = characters( source( "", 1 ), PB_CHARSET_UTF8, 0 );
    pb::Ref<PB_STRING>      str  = pb::adopt( pbStringCreate() );
    EXPECT_EQ( pbCharSourceRead( from.get(), str.handle(), 0 ), 0 );
    EXPECT_FALSE( pbCharSourceEnd( from.get() ) );
    EXPECT_EQ( pbCharSourceRead( from.get(), str.handle(), 1 ), 0 );
    EXPECT_TRUE( pbCharSourceEnd( from.get() ) );
}

TEST( PbCharSource, AppendsBehindWhatIsThere )
{
    pb::Ref<PB_CHAR_SOURCE> from = characters( source( "\xC3\xA4z", 1 ), PB_CHARSET_UTF8, 0 );
    pb::Ref<PB_STRING>      mine = str( "x" ), theirs = mine;
    EXPECT_EQ( pbCharSourceRead( from.get(), mine.handle(), 1 ), 1 );
    EXPECT_EQ( text( mine ), "x\xC3\xA4" );
    EXPECT_EQ( text( theirs ), "x" );
}
