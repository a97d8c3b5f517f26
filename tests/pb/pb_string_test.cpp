#include "pb/watching_allocator.hpp"

#include "support/files.hpp"
#include "support/text.hpp"

#include <fstream>
#include <functional>
#include <random>
#include <sstream>
#include <unicase.h>
#include <unistr.h>

using namespace support;

namespace
{

constexpr std::string_view secret = "kQ7#vmZ2-pW9xR4t+Lb8!cYn5*Hd3@Fs6";

pb::Ref<PB_STRING> secretString( std::string_view content = secret )
{
    pb::Ref<PB_STRING> string = str( content );
    pbStringSetSensitive( string.handle() );
    return string;
}

std::vector<PB_CHAR> characters( const pb::Ref<PB_STRING> &string )
{
    std::vector<PB_CHAR> list;
    for( PB_INT index = 0; index < pbStringLength( string.get() ); index++ )
        list.push_back( pbStringCharAt( string.get(), index ) );
    return list;
}

pb::Ref<PB_STRING> ofCharacters( const std::vector<PB_CHAR> &list )
{
    pb::Ref<PB_STRING> string = pb::adopt( pbStringCreate() );
    for( PB_CHAR character : list )
        pbStringAppendChar( string.handle(), character );
    return string;
}

std::string trimmed( std::string_view content ) { return text( pb::adopt( pbStringTrim( str( content ).get() ) ) ); }
std::string folded( std::string_view content ) { return text( pb::adopt( pbStringToCaseFold( str( content ).get() ) ) ); }

std::vector<std::string> split( std::string_view content, PB_CHAR separator )
{
    return texts( pb::adopt( pbStringSplitChar( str( content ).get(), separator ) ).get() );
}

const std::string nul( 1, 0 );

// One of each length in UTF-8: U+0041, U+00E9, U+20AC, U+1F600.
constexpr char mixed[] = "A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";

using PbStringWatched = WatchedMemory;

}

TEST( PbString, CountsCodePoints )
{
    pb::Ref<PB_STRING> string = str( mixed );
    EXPECT_EQ( pbStringLength( string.get() ), 4 );
    EXPECT_EQ( characters( string ), ( std::vector<PB_CHAR>{ 0x41, 0xE9, 0x20AC, 0x1F600 } ) );
    PB_INT      byteLength = -1;
    const char *utf8       = pbStringPeekUtf8( string.get(), &byteLength );
    EXPECT_EQ( byteLength, 10 );
    EXPECT_STREQ( utf8, mixed );
    EXPECT_EQ( pbStringPeekUtf8( string.get(), nullptr ), utf8 );
}

TEST( PbString, TheEmptyStringIsOneObject )
{
    EXPECT_EQ( pbStringCreate(), pbStringCreate() );
    EXPECT_EQ( pbStringLength( pbStringCreate() ), 0 );
    EXPECT_STREQ( pbStringPeekUtf8( pbStringCreate(), nullptr ), "" );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromCstr( nullptr, 0 ) ) ), "" );
    EXPECT_EQ( text( pb::adopt( pbStringTryCreateFromCstr( nullptr, 0 ) ) ), "" );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromWcstr( nullptr, 0 ) ) ), "" );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromCstr( "", -1 ) ) ), "" );

    // Edits never change the empty string itself.
    pb::Ref<PB_STRING> mine = pb::adopt( pbStringCreate() );
    pbStringAppendCstr( mine.handle(), "mine", -1 );
    pb::Ref<PB_STRING> marked = pb::adopt( pbStringCreate() );
    pbStringSetSensitive( marked.handle() );
    EXPECT_EQ( text( mine ), "mine" );
    EXPECT_TRUE( pbStringSensitive( marked.get() ) );
    EXPECT_EQ( pbStringLength( pbStringCreate() ), 0 );
    EXPECT_FALSE( pbStringSensitive( pbStringCreate() ) );
}

TEST( PbString, LengthMinusOneStopsAtTheZeroByteAndACountDoesNot )
{
    std::string content = "ab" + nul + "cd";
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromCstr( content.data(), -1 ) ) ), "ab" );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromCstr( content.data(), 5 ) ) ), content );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromCstr( content.data(), 1 ) ) ), "a" );
}

TEST( PbString, ZeroIsACharacterLikeAnyOther )
{
    std::string        content = "a" + nul + "b" + nul;
    pb::Ref<PB_STRING> string  = str( content );
    EXPECT_EQ( characters( string ), ( std::vector<PB_CHAR>{ 'a', 0, 'b', 0 } ) );
    EXPECT_EQ( text( string ), content );
    EXPECT_FALSE( pbStringEquals( string.get(), str( "a" ).get() ) );
    EXPECT_FALSE( pbStringEqualsCstr( string.get(), "a", -1 ) );
    EXPECT_TRUE( pbStringEqualsCstr( string.get(), content.data(), 4 ) );
    EXPECT_TRUE( pbStringEndsWithCstr( string.get(), nul.data(), 1 ) );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0, 0 ), 1 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0, 2 ), 3 );
    EXPECT_EQ( split( content, 0 ), ( std::vector<std::string>{ "a", "b", "" } ) );
    EXPECT_EQ( trimmed( content ), content );
    EXPECT_EQ( folded( "A" + nul + "B" ), "a" + nul + "b" );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToUtf8( string.get() ) ) ), content );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToAscii( string.get() ) ) ), content );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToLatin1( string.get() ) ) ), content );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromInner( string.get(), 1, 2 ) ) ), nul + "b" );
    pbStringAppendChar( string.handle(), 0 );
    pbStringAppendCstr( string.handle(), "x", -1 );
    EXPECT_EQ( text( string ), content + nul + "x" );
}

TEST( PbString, IsNoCTextWithAZeroInIt )
{
    EXPECT_STREQ( pbStringTryPeekCstr( str( mixed ).get() ), mixed );
    EXPECT_STREQ( pbStringTryPeekCstr( pbStringCreate() ), "" );
    EXPECT_EQ( pbStringTryPeekCstr( str( "a" + nul ).get() ), nullptr );
    EXPECT_EQ( pbStringTryPeekCstr( str( nul + "a" ).get() ), nullptr );
}

TEST( PbString, IsZeroTerminatedAfterEveryEdit )
{
    pb::Ref<PB_STRING> string = pb::adopt( pbStringCreate() );
    std::string        wanted;
    for( int time = 0; time < 200; time++ )
    {
        pbStringAppendCstr( string.handle(), "xyz", time % 4 );
        wanted += std::string( "xyz" ).substr( 0, (size_t)time % 4 );
        ASSERT_STREQ( pbStringPeekUtf8( string.get(), nullptr ), wanted.c_str() );
    }
}

TEST( PbString, MalformedUtf8BecomesReplacementCharacters )
{
    const std::string bad = "\xEF\xBF\xBD";
    struct
    {
        std::string input, wanted;
    } cases[] = {
        { "\x80", bad },                                                                            // a continuation byte alone
        { "a\xFFz", "a" + bad + "z" },                                                              // a byte that no sequence has
        { "a\xFEz", "a" + bad + "z" }, { "a\xC3", "a" + bad },                                      // cut off at the end
        { "a\xE2\x82", "a" + bad }, { "a\xF0\x9F\x98", "a" + bad }, { "a\xC3z", "a" + bad + "z" },  // cut off by the next character
        { "\xE2\x82z", bad + "z" }, { mixed + std::string( "\xE9" ) + mixed, mixed + bad + mixed }, // ISO 8859-1 among UTF-8
    };
    for( const auto &[input, wanted] : cases )
    {
        SCOPED_TRACE( hex( input ) );
        pb::Ref<PB_STRING> string = str( input );
        EXPECT_EQ( text( string ), wanted );
        EXPECT_FALSE( pb::adopt( pbStringTryCreateFromCstr( input.data(), (PB_INT)input.size() ) ) );

        pb::Ref<PB_STRING> appended = str( "before " );
        pbStringAppendCstr( appended.handle(), input.data(), (PB_INT)input.size() );
        EXPECT_EQ( text( appended ), "before " + wanted );
    }
}

TEST( PbString, OverlongAndImpossibleSequencesAreMalformed )
{
    // Overlong forms, surrogates, beyond U+10FFFF, five and six bytes.
    for( const char *input : { "\xC0\x80", "\xC1\xBF", "\xE0\x80\x80", "\xE0\x9F\xBF", "\xF0\x80\x80\x80", "\xF0\x8F\xBF\xBF", "\xED\xA0\x80",
             "\xED\xBF\xBF", "\xF4\x90\x80\x80", "\xF5\x80\x80\x80", "\xF8\x88\x80\x80\x80", "\xFC\x84\x80\x80\x80\x80" } )
    {
        SCOPED_TRACE( hex( input ) );
        EXPECT_FALSE( pb::adopt( pbStringTryCreateFromCstr( input, (PB_INT)std::strlen( input ) ) ) );
        pb::Ref<PB_STRING>   string = str( "<" + std::string( input ) + ">" );
        std::vector<PB_CHAR> list   = characters( string );
        ASSERT_GE( list.size(), 3u );
        EXPECT_EQ( list.front(), (PB_CHAR)'<' );
        EXPECT_EQ( list.back(), (PB_CHAR)'>' );
        for( size_t index = 1; index + 1 < list.size(); index++ )
            EXPECT_EQ( list[index], 0xFFFDu );
    }
}

TEST( PbString, WellFormedUtf8IsTakenUnchanged )
{
    for( const char *input : { mixed, "\x7F", "\xC2\x80", "\xDF\xBF", "\xE0\xA0\x80", "\xED\x9F\xBF", "\xEE\x80\x80", "\xEF\xBF\xBD", "\xEF\xBF\xBF",
             "\xF0\x90\x80\x80", "\xF4\x8F\xBF\xBF" } )
    {
        EXPECT_EQ( text( pb::adopt( pbStringTryCreateFromCstr( input, -1 ) ) ), input );
        EXPECT_EQ( text( str( input ) ), input );
    }
}

TEST( PbString, RandomBytesGiveValidText )
{
    std::mt19937 random( 4711 );
    for( int round = 0; round < 5000; round++ )
    {
        std::string input( random() % 12, 0 );
        for( char &byte : input )
            byte = (char)( random() % 4 ? 0x80 | random() : random() );
        pb::Ref<PB_STRING> string = str( input );
        pb::Ref<PB_STRING> tried  = pb::adopt( pbStringTryCreateFromCstr( input.data(), (PB_INT)input.size() ) );
        // The string is well-formed. It differs from the input if and only if the input is
        // malformed.
        ASSERT_TRUE( pb::adopt( pbStringTryCreateFromCstr( text( string ).data(), (PB_INT)text( string ).size() ) ) ) << hex( input );
        ASSERT_EQ( (bool)tried, text( string ) == input ) << hex( input );
        ASSERT_EQ( (size_t)pbStringLength( string.get() ), characters( string ).size() );
    }
}

TEST( PbString, IsMadeFromWideCharacters )
{
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromWcstr( L"A\u00E9\u20AC\U0001F600", -1 ) ) ), mixed );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromWcstr( L"abc", 2 ) ) ), "ab" );
    const wchar_t        odd[]  = { 'a', 0, (wchar_t)0xD800, (wchar_t)0xDFFF, (wchar_t)0x110000, (wchar_t)-1, 'b' };
    std::vector<PB_CHAR> wanted = { 'a', 0, 0xFFFD, 0xFFFD, 0xFFFD, 0xFFFD, 'b' };
    EXPECT_EQ( characters( pb::adopt( pbStringCreateFromWcstr( odd, 7 ) ) ), wanted );
}

TEST( PbString, AppendsCharacters )
{
    EXPECT_EQ( text( ofCharacters( { 0x41, 0xE9, 0x20AC, 0x1F600 } ) ), mixed );
    EXPECT_EQ( characters( ofCharacters( { 0xD7FF, 0xD800, 0xDFFF, 0xE000, 0x10FFFF, 0x110000, UINT32_MAX } ) ),
        ( std::vector<PB_CHAR>{ 0xD7FF, 0xFFFD, 0xFFFD, 0xE000, 0x10FFFF, 0xFFFD, 0xFFFD } ) );
}

TEST( PbString, AppendsToItself )
{
    pb::Ref<PB_STRING> string = str( mixed );
    std::string        wanted = mixed;
    for( int time = 0; time < 8; time++ )
    {
        pbStringAppend( string.handle(), string.get() );
        wanted += std::string( wanted );
        ASSERT_EQ( text( string ), wanted );
    }
    EXPECT_EQ( pbStringLength( string.get() ), 4 * 256 );

    pb::Ref<PB_STRING> empty = pb::adopt( pbStringCreate() );
    pbStringAppend( empty.handle(), empty.get() );
    EXPECT_EQ( text( empty ), "" );
}

TEST( PbString, EditsOfASharedStringLeaveTheOtherHolderAlone )
{
    pb::Ref<PB_STRING> more = str( "more" );
    struct
    {
        const char                         *name;
        std::function<void( PB_STRING ** )> edit;
        std::string                         wanted;
    } edits[] = {
        { "append", [&]( PB_STRING **string ) { pbStringAppend( string, more.get() ); }, "contentmore" },
        { "append text", []( PB_STRING **string ) { pbStringAppendCstr( string, "xy", 2 ); }, "contentxy" },
        { "append character", []( PB_STRING **string ) { pbStringAppendChar( string, 0xE9 ); }, "content\xC3\xA9" },
        { "append format", []( PB_STRING **string ) { pbStringAppendFormatCstr( string, "%i", -1, (PB_INT)7 ); }, "content7" },
        { "set sensitive", []( PB_STRING **string ) { pbStringSetSensitive( string ); }, "content" },
    };
    for( const auto &[name, edit, wanted] : edits )
    {
        SCOPED_TRACE( name );
        pb::Ref<PB_STRING> string = str( "content" );
        pb::Ref<PB_STRING> other  = string;
        edit( string.handle() );
        EXPECT_EQ( text( string ), wanted );
        EXPECT_EQ( text( other ), "content" );
        EXPECT_EQ( pbStringLength( other.get() ), 7 );
        EXPECT_FALSE( pbStringSensitive( other.get() ) );
        EXPECT_NE( string.get(), other.get() );
        EXPECT_FALSE( pbObjIsShared( string.obj() ) );
        EXPECT_FALSE( pbObjIsShared( other.obj() ) );
        // So edits are made in place now.
        PB_STRING *same = string.get();
        pbStringAppendChar( string.handle(), 'x' );
        EXPECT_EQ( string.get(), same );
    }
}

TEST( PbString, AppendsItselfWhileShared )
{
    pb::Ref<PB_STRING> string = str( "abc" );
    pb::Ref<PB_STRING> other  = string;
    pbStringAppend( string.handle(), other.get() );
    EXPECT_EQ( text( string ), "abcabc" );
    EXPECT_EQ( text( other ), "abc" );
}

TEST( PbString, ImmortalStringsAreNeverEditedInPlace )
{
    static PB_STRING *const immortal = pb___StringCreateImmortal( "for ever" );
    pb::Ref<PB_STRING>      mine     = pb::share( immortal );
    pbStringAppendCstr( mine.handle(), " and ever", -1 );
    EXPECT_EQ( text( mine ), "for ever and ever" );
    EXPECT_EQ( text( immortal ), "for ever" );
    EXPECT_TRUE( pbObjIsShared( pbStringObj( immortal ) ) );
}

TEST( PbString, RangesCountCodePoints )
{
    pb::Ref<PB_STRING> string = str( mixed );
    auto inner = [&]( PB_INT offset, PB_INT count ) { return text( pb::adopt( pbStringCreateFromInner( string.get(), offset, count ) ) ); };
    EXPECT_EQ( inner( 0, 4 ), mixed );
    EXPECT_EQ( inner( 1, 2 ), "\xC3\xA9\xE2\x82\xAC" );
    EXPECT_EQ( inner( 3, 1 ), "\xF0\x9F\x98\x80" );
    EXPECT_EQ( inner( 4, 0 ), "" );
    string = str( "plain" );
    EXPECT_EQ( inner( 1, 3 ), "lai" );
}

TEST( PbString, ComparesWithCText )
{
    pb::Ref<PB_STRING> string = str( mixed );
    EXPECT_TRUE( pbStringEqualsCstr( string.get(), mixed, -1 ) );
    EXPECT_FALSE( pbStringEqualsCstr( string.get(), mixed, 9 ) );
    EXPECT_FALSE( pbStringEqualsCstr( string.get(), "", 0 ) );
    EXPECT_TRUE( pbStringEqualsCstr( pbStringCreate(), nullptr, 0 ) );
    EXPECT_TRUE( pbStringBeginsWithCstr( string.get(), "A\xC3\xA9", -1 ) );
    EXPECT_TRUE( pbStringBeginsWithCstr( string.get(), mixed, -1 ) );
    EXPECT_TRUE( pbStringBeginsWithCstr( string.get(), nullptr, 0 ) );
    EXPECT_FALSE( pbStringBeginsWithCstr( string.get(), "a", -1 ) );
    EXPECT_FALSE( pbStringBeginsWithCstr( str( "ab" ).get(), "abc", -1 ) );
    EXPECT_TRUE( pbStringEndsWithCstr( string.get(), "\xF0\x9F\x98\x80", -1 ) );
    EXPECT_TRUE( pbStringEndsWithCstr( string.get(), "", -1 ) );
    EXPECT_FALSE( pbStringEndsWithCstr( string.get(), "A", -1 ) );
    EXPECT_FALSE( pbStringEndsWithCstr( str( "bc" ).get(), "abc", -1 ) );
}

// Malformed text compares like the string that is made from it; "\xC3" is the first byte of
// "\u00E9".
TEST( PbString, ComparesWithMalformedTextAsWithWhatItIsReadAs )
{
    for( const std::string &malformed : { std::string( "\xFF" ), std::string( "a\xC3" ), std::string( "\xA9" ), std::string( "x\xF0\x9F\x98" ) } )
    {
        SCOPED_TRACE( hex( malformed ) );
        pb::Ref<PB_STRING> read = pb::adopt( pbStringCreateFromCstr( malformed.data(), (PB_INT)malformed.size() ) );
        EXPECT_TRUE( pbStringEqualsCstr( read.get(), malformed.data(), (PB_INT)malformed.size() ) );
        EXPECT_TRUE( pbStringEqualsCstr( read.get(), malformed.c_str(), -1 ) );
        EXPECT_TRUE( pbStringBeginsWithCstr( str( text( read ) + "more" ).get(), malformed.c_str(), -1 ) );
        EXPECT_TRUE( pbStringEndsWithCstr( str( "more" + text( read ) ).get(), malformed.c_str(), -1 ) );
        EXPECT_FALSE( pbStringEqualsCstr( str( text( read ) + "more" ).get(), malformed.c_str(), -1 ) );
    }
    // The bytes are the same, but not the characters.
    EXPECT_FALSE( pbStringBeginsWithCstr( str( "\xC3\xA9" ).get(), "\xC3", -1 ) );
    EXPECT_FALSE( pbStringEndsWithCstr( str( "\xC3\xA9" ).get(), "\xA9", -1 ) );
}

TEST( PbString, AppendsTextThatLiesInItself )
{
    std::string content = "0123456789 A\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80 abcdefghijklmnop";
    for( bool sensitive : { false, true } )
    {
        pb::Ref<PB_STRING> string = str( content );
        if( sensitive )
            pbStringSetSensitive( string.handle() );
        std::string model = content;
        for( int time = 0; time < 8; time++ )
        {
            pb::Ref<PB_STRING> other = time < 6 ? pb::Ref<PB_STRING>() : string;
            size_t             from  = (size_t)time;
            // By turns with the length and up to the zero byte.
            pbStringAppendCstr( string.handle(), pbStringPeekUtf8( string.get(), nullptr ) + from, time % 2 ? -1 : (PB_INT)( model.size() - from ) );
            std::string was = model;
            model += model.substr( from );
            ASSERT_EQ( text( string ), model ) << time;
            if( other )
                ASSERT_EQ( text( other ), was );
            EXPECT_EQ( pbStringLength( string.get() ), pbStringLength( str( model ).get() ) );
            EXPECT_EQ( pbStringSensitive( string.get() ), (PB_BOOL)sensitive );
        }
        // A range that cuts characters.
        pbStringAppendCstr( string.handle(), pbStringPeekUtf8( string.get(), nullptr ) + 13, 2 );
        EXPECT_EQ( text( string ), model + "\xEF\xBF\xBD\xEF\xBF\xBD" );
        pbStringAppendFormatCstr( string.handle(), pbStringPeekUtf8( string.get(), nullptr ), 10 );
        EXPECT_EQ( text( string ), model + "\xEF\xBF\xBD\xEF\xBF\xBD" + content.substr( 0, 10 ) );
    }
    pb::Ref<PB_STRING> empty = pb::adopt( pbStringCreate() );
    pbStringAppendCstr( empty.handle(), pbStringPeekUtf8( empty.get(), nullptr ), -1 );
    EXPECT_EQ( text( empty ), "" );
}

TEST( PbString, FindsCharacters )
{
    pb::Ref<PB_STRING> string = str( std::string( mixed ) + mixed );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 'A', 0 ), 0 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 'A', 1 ), 4 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0x1F600, 0 ), 3 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0x1F600, 4 ), 7 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0x20AC, 7 ), -1 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 'A', 8 ), -1 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0xD800, 0 ), -1 );
    EXPECT_EQ( pbStringIndexOfChar( string.get(), 0x110000, 0 ), -1 );
    EXPECT_EQ( pbStringIndexOfChar( pbStringCreate(), 'A', 0 ), -1 );
}

TEST( PbString, TrimsUnicodeWhiteSpace )
{
    // The 25 characters of the White_Space property.
    const std::vector<PB_CHAR> white = { 0x09, 0x0A, 0x0B, 0x0C, 0x0D, 0x20, 0x85, 0xA0, 0x1680, 0x2000, 0x2001, 0x2002, 0x2003, 0x2004, 0x2005,
        0x2006, 0x2007, 0x2008, 0x2009, 0x200A, 0x2028, 0x2029, 0x202F, 0x205F, 0x3000 };
    std::string                all   = text( ofCharacters( white ) );
    EXPECT_EQ( trimmed( all + "a" + all + "b" + all ), "a" + all + "b" );
    EXPECT_EQ( trimmed( all ), "" );
    EXPECT_EQ( trimmed( "" ), "" );
    EXPECT_EQ( trimmed( " a" ), "a" );
    EXPECT_EQ( trimmed( "a " ), "a" );
    for( PB_CHAR character : white )
        EXPECT_EQ( trimmed( text( ofCharacters( { character, 0xE9, character } ) ) ), "\xC3\xA9" ) << character;

    // Zero width space, word joiner, byte order mark, Mongolian vowel separator and the information
    // separators are not white.
    for( PB_CHAR character : { 0x200B, 0x2060, 0xFEFF, 0x180E, 0x1C, 0x1F, 0 } )
    {
        std::string kept = text( ofCharacters( { character, 'a', character } ) );
        EXPECT_EQ( trimmed( kept ), kept ) << character;
    }
}

TEST( PbString, SplitsAtEveryOccurrence )
{
    using Parts = std::vector<std::string>;
    EXPECT_EQ( split( "a,b,c", ',' ), ( Parts{ "a", "b", "c" } ) );
    EXPECT_EQ( split( "", ',' ), ( Parts{ "" } ) );
    EXPECT_EQ( split( "abc", ',' ), ( Parts{ "abc" } ) );
    EXPECT_EQ( split( ",", ',' ), ( Parts{ "", "" } ) );
    EXPECT_EQ( split( ",a,,b,", ',' ), ( Parts{ "", "a", "", "b", "" } ) );
    EXPECT_EQ( split( "x\xE2\x82\xACy\xE2\x82\xAC", 0x20AC ), ( Parts{ "x", "y", "" } ) );
    EXPECT_EQ( split( "a,b", 0x110000 ), ( Parts{ "a,b" } ) );
}

TEST( PbString, FoldsCaseFully )
{
    EXPECT_EQ( folded( "" ), "" );
    EXPECT_EQ( folded( "Hello, WORLD 42" ), "hello, world 42" );
    EXPECT_EQ( folded( "Stra\xC3\x9F"
                       "e" ),
        "strasse" );
    EXPECT_EQ( folded( "\xEF\xAC\x80" ), "ff" );                                   // U+FB00
    EXPECT_EQ( folded( "\xCE\xA3\xCF\x83\xCF\x82" ), "\xCF\x83\xCF\x83\xCF\x83" ); // the three sigmas
    EXPECT_EQ( folded( "\xC4\xB0" ), "i\xCC\x87" );                                // U+0130
    EXPECT_EQ( folded( "\xC4\xB1" ), "\xC4\xB1" );                                 // dotless i stays, no Turkish rules
    EXPECT_EQ( folded( "\xF0\x90\x90\x80" ), "\xF0\x90\x90\xA8" );                 // beyond the first plane
    EXPECT_EQ( folded( "e\xCC\x81\xC3\x89" ), "e\xCC\x81\xC3\xA9" );               // nothing is normalized
    EXPECT_EQ( folded( "\xCE\x90" ), "\xCE\xB9\xCC\x88\xCC\x81" );                 // two bytes become six
}

// Every ASCII text of one or two characters, and random longer ones, also with a character outside
// ASCII, against the library's own folding.
TEST( PbString, FoldsAsciiAsTheLibraryDoes )
{
    auto check = []( const std::string &content ) {
        size_t   length = 0;
        uint8_t *wanted = u8_casefold( (const uint8_t *)content.data(), content.size(), nullptr, nullptr, nullptr, &length );
        ASSERT_EQ( folded( content ), std::string( (const char *)wanted, length ) );
        std::free( wanted );
    };
    for( int a = 0; a < 128; a++ )
    {
        check( { (char)a } );
        for( int b = 0; b < 128; b++ )
            check( { (char)a, (char)b } );
    }
    std::mt19937 random( 1 );
    for( int time = 0; time < 2000; time++ )
    {
        std::string content( random() % 40, 0 );
        for( char &c : content )
            c = (char)( random() % 128 );
        check( content );
        check( content + "\u00C9" + content );
    }
}

TEST( PbString, FoldingLeavesOtherHoldersAlone )
{
    for( std::string_view content : { "Ab", "ab" } )
    {
        pb::Ref<PB_STRING> string = str( content ), fold = pb::adopt( pbStringToCaseFold( string.get() ) );
        pbStringAppendChar( fold.handle(), '!' );
        EXPECT_EQ( text( string ), content );
        EXPECT_EQ( text( fold ), "ab!" );
    }
}

// A byte of each class at each place, so that a check of several bytes at once misses none of them.
TEST( PbString, EveryPlaceOfAShortTextIsCheckedForUtf8 )
{
    for( size_t length = 1; length < 30; length++ )
    {
        for( size_t place = 0; place < length; place++ )
        {
            for( const char *part : { "\x7F", "\x80", "\xC0", "\xC3", "\xC3\xA9", "\xE2\x82\xAC", "\xF0\x9F\x98\x80", "\xFF" } )
            {
                std::string        content = std::string( place, 'a' ) + part + std::string( length - place - 1, 'b' );
                bool               valid   = !u8_check( (const uint8_t *)content.data(), content.size() );
                pb::Ref<PB_STRING> string  = pb::adopt( pbStringTryCreateFromCstr( content.data(), (PB_INT)content.size() ) );
                ASSERT_EQ( (bool)string, valid ) << hex( content );
                if( valid )
                    ASSERT_EQ( pbStringLength( string.get() ), (PB_INT)length ) << hex( content );
            }
        }
    }
}

// Every line of the Unicode Character Database's CaseFolding.txt that full folding uses, if that
// file is installed.
TEST( PbString, FoldsAsTheUnicodeCharacterDatabaseSays )
{
    std::ifstream file;
    for( const std::filesystem::path &path : packageFiles( "unicode-data" ) )
    {
        if( path.filename() == "CaseFolding.txt" )
            file.open( path );
    }
    if( !file.is_open() )
        GTEST_SKIP() << "CaseFolding.txt is not on this machine (package unicode-data)";
    int         checked = 0;
    std::string line;
    while( std::getline( file, line ) )
    {
        std::istringstream fields( line.substr( 0, line.find( '#' ) ) );
        std::string        code, status, mapping;
        if( !std::getline( fields, code, ';' ) || !std::getline( fields, status, ';' ) || !std::getline( fields, mapping, ';' ) )
            continue;
        if( status != " C" && status != " F" )
            continue;
        std::vector<PB_CHAR> wanted;
        std::istringstream   numbers( mapping );
        for( PB_CHAR number; numbers >> std::hex >> number; )
            wanted.push_back( number );
        EXPECT_EQ( folded( text( ofCharacters( { (PB_CHAR)std::stoul( code, nullptr, 16 ) } ) ) ), text( ofCharacters( wanted ) ) ) << line;
        checked++;
    }
    EXPECT_GT( checked, 1000 );
}

TEST( PbString, ConvertsToBytesWithQuestionMarksForWhatDoesNotFit )
{
    pb::Ref<PB_STRING> string = ofCharacters( { 'A', 0x7F, 0x80, 0xFF, 0x100, 0x20AC, 0x1F600, 'z' } );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToAscii( string.get() ) ) ), "A\x7F?????z" );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToLatin1( string.get() ) ) ), "A\x7F\x80\xFF???z" );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToUtf8( string.get() ) ) ), text( string ) );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToUtf8( pbStringCreate() ) ) ), "" );
    EXPECT_EQ( bytes( pb::adopt( pbStringConvertToAscii( pbStringCreate() ) ) ), "" );
}

TEST( PbString, OrdersByCodePoints )
{
    // In UTF-16, U+FF5E would come after U+10000.
    const std::vector<std::vector<PB_CHAR>> inOrder = { {}, { 0 }, { 0, 0 }, { 'A' }, { 'A', 'B' }, { 'a' }, { 0x7F }, { 0x80 }, { 0x7FF }, { 0x800 },
        { 0xD7FF }, { 0xE000 }, { 0xFF5E }, { 0xFFFF }, { 0x10000 }, { 0x10FFFF } };
    for( size_t a = 0; a < inOrder.size(); a++ )
    {
        for( size_t b = 0; b < inOrder.size(); b++ )
        {
            PB_INT order = pbStringCompare( ofCharacters( inOrder[a] ).get(), ofCharacters( inOrder[b] ).get() );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
        }
    }
    EXPECT_FALSE( pbStringEquals( pbStringCreate(), nullptr ) );
}

TEST( PbString, TheTextFormIsTheStringItself )
{
    EXPECT_EQ( text( pb::adopt( pbStringToString( str( mixed ).get() ) ) ), mixed );
    EXPECT_EQ( text( pb::adopt( pbObjToString( str( "x" + nul ).obj() ) ) ), "x" + nul );
}

TEST( PbString, TheSensitiveMarkGoesAlong )
{
    pb::Ref<PB_STRING> marked = secretString( " a,SECRET " );
    EXPECT_TRUE( pbStringSensitive( marked.get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringCreateFrom( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringCreateFromInner( marked.get(), 3, 4 ) ).get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringTrim( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringToCaseFold( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringToString( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbStringConvertToUtf8( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbStringConvertToAscii( marked.get() ) ).get() ) );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbStringConvertToLatin1( marked.get() ) ).get() ) );
    pb::Ref<PB_VECTOR> parts = pb::adopt( pbStringSplitChar( marked.get(), ',' ) );
    for( PB_INT index = 0; index < 2; index++ )
        EXPECT_TRUE( pbStringSensitive( pbStringFrom( pb___VectorPeekObjAt( parts.get(), index ) ) ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringCreateFromFormatCstr( "<%s>", -1, marked.get() ) ).get() ) );
    EXPECT_TRUE( pbStringSensitive( pb::adopt( pbStringCreateFromFormatCstr( "<%o>", -1, marked.obj() ) ).get() ) );

    pb::Ref<PB_STRING> taker = str( "plain" );
    pbStringAppend( taker.handle(), marked.get() );
    EXPECT_TRUE( pbStringSensitive( taker.get() ) );
    pbStringAppend( taker.handle(), str( "plain" ).get() );
    pbStringAppendCstr( taker.handle(), "plain", -1 );
    EXPECT_TRUE( pbStringSensitive( taker.get() ) );

    EXPECT_FALSE( pbStringSensitive( str( "plain" ).get() ) );
    EXPECT_FALSE( pbBufferSensitive( pb::adopt( pbStringConvertToUtf8( str( "plain" ).get() ) ).get() ) );
}

// The watch finds the content that a string without the mark leaves in freed memory.
TEST_F( PbStringWatched, APlainStringIsFreedAsItIs )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    str( secret );
    EXPECT_EQ( leaks(), 1 );
}

TEST_F( PbStringWatched, ASensitiveStringIsCleansedWhenFreedOrGrown )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    secretString();
    EXPECT_EQ( leaks(), 0 );

    pb::Ref<PB_STRING> string = secretString();
    for( int time = 0; time < 500; time++ )
        pbStringAppendCstr( string.handle(), ".....", 5 );
    EXPECT_TRUE( pbStringBeginsWithCstr( string.get(), secret.data(), (PB_INT)secret.size() ) );
    EXPECT_EQ( leaks(), 0 );
    string = {};
    EXPECT_EQ( leaks(), 0 );

    pb::Ref<PB_STRING> typed = pb::adopt( pbStringCreate() );
    pbStringSetSensitive( typed.handle() );
    for( char character : secret )
        pbStringAppendChar( typed.handle(), (PB_CHAR)character );
    for( int time = 0; time < 5; time++ )
        pbStringAppend( typed.handle(), typed.get() );
    EXPECT_EQ( pbStringLength( typed.get() ), (PB_INT)secret.size() * 32 );
    typed = {};
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbStringWatched, ASensitiveStringIsCleansedWhenItIsAppendedToItself )
{
    WatchingAllocator::watchFor( { std::string( secret ) } );
    pb::Ref<PB_STRING> string = secretString();
    for( int time = 0; time < 8; time++ )
        pbStringAppendCstr( string.handle(), pbStringPeekUtf8( string.get(), nullptr ), -1 );
    // To compare malformed text, it is converted into new memory.
    EXPECT_FALSE( pbStringEqualsCstr( string.get(), ( std::string( secret ) + "\xFF" ).c_str(), -1 ) );
    EXPECT_EQ( leaks(), 0 );
    string = {};
    EXPECT_EQ( leaks(), 0 );
}

TEST_F( PbStringWatched, WhatIsMadeFromASensitiveStringIsCleansed )
{
    std::string lower( secret );
    for( char &character : lower )
        character = character >= 'A' && character <= 'Z' ? (char)( character + 32 ) : character;
    WatchingAllocator::watchFor( { std::string( secret ), lower } );

    pb::Ref<PB_STRING> start = secretString( "  " + std::string( secret ) + ":" + std::string( secret ) + "\xE2\x82\xAC  " );
    EXPECT_EQ( text( pb::adopt( pbStringTrim( start.get() ) ) ).substr( 0, secret.size() ), secret );
    EXPECT_EQ( leaks(), 0 ) << "trim";
    pb::adopt( pbStringCreateFrom( start.get() ) );
    EXPECT_EQ( leaks(), 0 ) << "copy";
    pb::adopt( pbStringCreateFromInner( start.get(), 5, 20 ) );
    EXPECT_EQ( leaks(), 0 ) << "inner";
    EXPECT_EQ( pbVectorLength( pb::adopt( pbStringSplitChar( start.get(), ':' ) ).get() ), 2 );
    EXPECT_EQ( leaks(), 0 ) << "split";
    EXPECT_NE( text( pb::adopt( pbStringToCaseFold( start.get() ) ) ).find( lower ), std::string::npos );
    EXPECT_EQ( leaks(), 0 ) << "case fold";
    pb::adopt( pbStringConvertToUtf8( start.get() ) );
    EXPECT_EQ( leaks(), 0 ) << "UTF-8";
    pb::adopt( pbStringConvertToAscii( start.get() ) );
    EXPECT_EQ( leaks(), 0 ) << "ASCII";
    pb::adopt( pbStringConvertToLatin1( start.get() ) );
    EXPECT_EQ( leaks(), 0 ) << "ISO 8859-1";
    pb::adopt( pbStringCreateFromFormatCstr( "%s and %-60o and %60s", -1, start.get(), start.obj(), start.get() ) );
    EXPECT_EQ( leaks(), 0 ) << "format";

    pb::Ref<PB_STRING> taker = str( "plain" );
    pbStringAppend( taker.handle(), start.get() );
    pbStringAppendCstr( taker.handle(), std::string( 1000, '.' ).data(), 1000 );
    taker = {};
    EXPECT_EQ( leaks(), 0 ) << "append";

    // A shared string is copied before the edit.
    pb::Ref<PB_STRING> copied = start;
    pbStringAppendChar( copied.handle(), '!' );
    EXPECT_NE( copied.get(), start.get() );
    copied = {};
    start  = {};
    EXPECT_EQ( leaks(), 0 );
}

// A library does the folding, with memory that the watch does not see.
TEST( PbString, FoldingASensitiveStringLeavesNothingInTheHeap )
{
    // The secret is masked, so that only the strings hold it in memory.
    constexpr char          mask     = 0x5A;
    static volatile char    masked[] = { 'q' ^ mask, 'x' ^ mask, 'k' ^ mask, 'v' ^ mask, 'w' ^ mask, 'z' ^ mask, 'j' ^ mask, 'f' ^ mask, 'p' ^ mask,
           'b' ^ mask, 'm' ^ mask, 'g' ^ mask };
    static constexpr size_t window   = sizeof masked;

    auto remains = [] {
        size_t        found = 0;
        std::ifstream maps( "/proc/self/maps" );
        for( std::string line; std::getline( maps, line ); )
        {
            uintptr_t begin, end;
            if( line.find( "[heap]" ) == line.npos || std::sscanf( line.c_str(), "%lx-%lx", &begin, &end ) != 2 )
                continue;
            for( uintptr_t at = begin; at + window <= end; at++ )
            {
                size_t same = 0;
                while( same < window && ( ( (const volatile char *)at )[same] ^ mask ) == masked[same] )
                    same++;
                found += same == window;
            }
        }
        return found;
    };

    pb::Ref<PB_STRING> string = pb::adopt( pbStringCreate() );
    pbStringSetSensitive( string.handle() );
    for( int time = 0; time < 20; time++ )
    {
        for( volatile char &character : masked )
            pbStringAppendChar( string.handle(), (PB_CHAR)( character ^ mask ) );
    }
    // The library does not fold ASCII texts.
    pbStringAppendChar( string.handle(), 0xE9 );
    // The search finds the strings, unless a tool replaced the heap.
    if( remains() != 20u )
        GTEST_SKIP() << "strings are not in the heap that is searched";
    // Holes between used memory, so that growing content has to move.
    std::vector<std::string> used;
    {
        std::vector<std::string> holes;
        for( size_t size = 24; size < 4000; size += 16 )
        {
            holes.emplace_back( size, '.' );
            used.emplace_back( size, '.' );
        }
    }
    pb::Ref<PB_STRING> folded = pb::adopt( pbStringToCaseFold( string.get() ) );
    EXPECT_TRUE( pbStringEquals( folded.get(), string.get() ) );
    string = {};
    folded = {};
    EXPECT_EQ( remains(), 0u );
}
