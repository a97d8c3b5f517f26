#include "support/text.hpp"

#include <cstdio>
#include <gtest/gtest.h>
#include <random>

using namespace support;

namespace
{

template<class... Args>
std::string format( const char *pattern, Args... args )
{
    return text( pb::adopt( pbStringCreateFromFormatCstr( pattern, -1, args... ) ) );
}

PB_INT number( PB_INT value ) { return value; }

std::string formatArgs( const char *pattern, PB_INT length, ... )
{
    va_list args;
    va_start( args, length );
    pb::Ref<PB_STRING> string = pb::adopt( pbStringCreateFromFormatCstrArgs( pattern, length, args ) );
    va_end( args );
    return text( string );
}

}

TEST( PbStringFormat, TextWithoutConversionsIsTakenAsItIs )
{
    EXPECT_EQ( format( "" ), "" );
    EXPECT_EQ( format( "plain \xC3\xA9" ), "plain \xC3\xA9" );
    EXPECT_EQ( format( "100%%" ), "100%" );
    EXPECT_EQ( format( "%%%%i" ), "%%i" );
    EXPECT_EQ( format( "bad \xFF" ), "bad \xEF\xBF\xBD" );
}

TEST( PbStringFormat, TakesAsMuchOfTheFormatAsItsLengthSays )
{
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromFormatCstr( "%i and %i", 2, number( 7 ) ) ) ), "7" );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromFormatCstr( "a\0%i", 4, number( 7 ) ) ) ),
        std::string( "a\0"
                     "7",
            3 ) );
    EXPECT_EQ( formatArgs( "<%i>%i", 4, number( 7 ) ), "<7>" );
    EXPECT_EQ( formatArgs( "<%i>", -1, number( 8 ) ), "<8>" );
}

TEST( PbStringFormat, WritesStrings )
{
    pb::Ref<PB_STRING> string = str( "a\xE2\x82\xAC" );
    EXPECT_EQ( format( "<%s>", string.get() ), "<a\xE2\x82\xAC>" );
    EXPECT_EQ( format( "%s%s", string.get(), pbStringCreate() ), "a\xE2\x82\xAC" );
    // A width counts characters.
    EXPECT_EQ( format( "<%5s>", string.get() ), "<   a\xE2\x82\xAC>" );
    EXPECT_EQ( format( "<%-5s>", string.get() ), "<a\xE2\x82\xAC   >" );
    EXPECT_EQ( format( "<%1s>", string.get() ), "<a\xE2\x82\xAC>" );
    EXPECT_EQ( format( "%s", str( std::string( "x\0y", 3 ) ).get() ), std::string( "x\0y", 3 ) );
    EXPECT_FALSE( pbObjIsShared( string.obj() ) );
}

TEST( PbStringFormat, WritesAnyObjectThroughItsTextForm )
{
    pb::Ref<PB_BOXED_INT> boxed = pb::adopt( pbBoxedIntCreate( -5 ) );
    EXPECT_EQ( format( "<%o>", boxed.obj() ), "<-5>" );
    EXPECT_EQ( format( "<%4o|%-4o>", boxed.obj(), boxed.obj() ), "<  -5|-5  >" );
    EXPECT_EQ( format( "%o", buf( "\x01\xAB" ).obj() ), "01ab" );
    EXPECT_EQ( format( "%o", str( "text" ).obj() ), "text" );
    EXPECT_FALSE( pbObjIsShared( boxed.obj() ) );
}

TEST( PbStringFormat, ConsumesTheReferenceWhereToldTo )
{
    PB_INT                before = pbObjLiveCount();
    pb::Ref<PB_BOXED_INT> boxed  = pb::adopt( pbBoxedIntCreate( 12 ) );
    pb::Ref<PB_BOXED_INT> given  = boxed;
    EXPECT_EQ( format( "<%~o>", pbBoxedIntObj( given.take() ) ), "<12>" );
    EXPECT_FALSE( pbObjIsShared( boxed.obj() ) );
    // The last reference of a number, and of a string, which is its own text form.
    EXPECT_EQ( format( "<%~4o>", pbBoxedIntObj( boxed.take() ) ), "<  12>" );
    EXPECT_EQ( format( "<%~o>", pbStringObj( str( "gone" ).take() ) ), "<gone>" );
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbStringFormat, WritesCText )
{
    EXPECT_EQ( format( "<%lc>", "c\xC3\xA9" ), "<c\xC3\xA9>" );
    EXPECT_EQ( format( "<%4lc|%-4lc>", "c\xC3\xA9", "ab" ), "<  c\xC3\xA9|ab  >" );
    EXPECT_EQ( format( "<%lc>", "a\xFFz" ), "<a\xEF\xBF\xBDz>" );
    EXPECT_EQ( format( "<%#lc>", "there" ), "<there>" );
    EXPECT_EQ( format( "<%#lc>", (const char *)nullptr ), "<>" );
    EXPECT_EQ( format( "<%#3lc>", (const char *)nullptr ), "<   >" );
}

TEST( PbStringFormat, WritesIntegers )
{
    EXPECT_EQ( format( "%i %i %i", number( 0 ), number( 42 ), number( -42 ) ), "0 42 -42" );
    EXPECT_EQ( format( "%i", PB_INT_MAX ), "9223372036854775807" );
    EXPECT_EQ( format( "%i", PB_INT_MIN ), "-9223372036854775808" );
    EXPECT_EQ( format( "<%5i|%-5i|%05i>", number( 42 ), number( 42 ), number( 42 ) ), "<   42|42   |00042>" );
    EXPECT_EQ( format( "<%5i|%-5i|%05i>", number( -42 ), number( -42 ), number( -42 ) ), "<  -42|-42  |-0042>" );
    EXPECT_EQ( format( "<%2i|%02i>", number( 12345 ), number( -12345 ) ), "<12345|-12345>" );
    EXPECT_EQ( format( "%03i", number( -12 ) ), "-12" );
    // With left alignment there are no zeros, in both orders of the flags.
    EXPECT_EQ( format( "<%-05i|%0-5i>", number( 42 ), number( -42 ) ), "<42   |-42  >" );
}

TEST( PbStringFormat, WritesIntegersInOtherBases )
{
    EXPECT_EQ( format( "%08!16i", number( 0xDEAF ) ), "0000deaf" );
    EXPECT_EQ( format( "%08!16i", number( -0xDEAF ) ), "-000deaf" );
    EXPECT_EQ( format( "%!2i", number( 10 ) ), "1010" );
    EXPECT_EQ( format( "%!36i", number( 35 * 36 + 10 ) ), "za" );
    EXPECT_EQ( format( "%6!8i|%-6!8i", number( 8 ), number( 8 ) ), "    10|10    " );
    EXPECT_EQ( format( "%!10i", number( 10 ) ), "10" );
    EXPECT_EQ( format( "%!2i", PB_INT_MIN ), "-1" + std::string( 63, '0' ) );
    EXPECT_EQ( format( "%!16i", PB_INT_MAX ), "7fffffffffffffff" );
    EXPECT_EQ( format( "%070!2i", number( -1 ) ), "-" + std::string( 68, '0' ) + "1" );
    EXPECT_EQ( format( "%100i", number( 1 ) ), std::string( 99, ' ' ) + "1" );
}

TEST( PbStringFormat, PadsIntegersAsCDoes )
{
    std::mt19937_64 random( 99 );
    for( int round = 0; round < 2000; round++ )
    {
        long long   value = (long long)random() >> ( random() % 64 );
        char        pattern[32], wanted[64], cPattern[32];
        const char *flags[] = { "", "0", "-" };
        const char *flag    = flags[random() % 3];
        int         width   = 1 + (int)( random() % 30 );
        std::snprintf( pattern, sizeof pattern, "%%%s%di", flag, width );
        std::snprintf( cPattern, sizeof cPattern, "%%%s%dlld", flag, width );
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
        std::snprintf( wanted, sizeof wanted, cPattern, value );
#pragma GCC diagnostic pop
        ASSERT_EQ( format( pattern, number( value ) ), wanted ) << pattern << " " << value;
    }
}

TEST( PbStringFormat, MixesConversionsInOrder )
{
    EXPECT_EQ(
        format( "%lc=%s (%i%%, %o)", "key", str( "value" ).get(), number( 50 ), pb::adopt( pbBoxedIntCreate( 3 ) ).obj() ), "key=value (50%, 3)" );
}

TEST( PbStringFormat, AppendsToAString )
{
    pb::Ref<PB_STRING> string = str( "at " );
    pbStringAppendFormatCstr( string.handle(), "%02i:%02i", -1, number( 7 ), number( 5 ) );
    EXPECT_EQ( text( string ), "at 07:05" );
    pbStringAppendFormatCstr( string.handle(), "%i and more", 2, number( 9 ) );
    EXPECT_EQ( text( string ), "at 07:059" );
}

TEST( PbStringFormat, AppendsAStringToItself )
{
    pb::Ref<PB_STRING> string = str( "ab" );
    pbStringAppendFormatCstr( string.handle(), "%s", -1, string.get() );
    EXPECT_EQ( text( string ), "abab" );

    // An argument has the value from before the edit, also if it occurs several times and other
    // text comes first.
    pbStringAppendFormatCstr( string.handle(), "<%s|%6s|%-6o>", -1, string.get(), string.get(), string.obj() );
    EXPECT_EQ( text( string ), "abab<abab|  abab|abab  >" );
}
