#include <in/in_address.h>

#include "support/text.hpp"

#include <algorithm>
#include <array>
#include <gtest/gtest.h>
#include <random>

using namespace support;

namespace
{

using Address = pb::Ref<IN_ADDRESS>;
using Groups  = std::array<unsigned, 8>;

Address parse( std::string_view text ) { return pb::adopt( inAddressTryCreateFromString( str( text ).get() ) ); }
Address parseHost( std::string_view text ) { return pb::adopt( inAddressTryCreateFromHost( str( text ).get() ) ); }

Address v4( const std::string &bytes ) { return pb::adopt( inAddressCreateV4( (const PB_BYTE *)bytes.data() ) ); }
Address v6( const std::string &bytes ) { return pb::adopt( inAddressCreateV6( (const PB_BYTE *)bytes.data() ) ); }

// The bytes of an address as hexadecimal digits; empty if there is no address.
std::string content( const Address &ina ) { return ina ? hex( bytes( pb::adopt( inAddressToBinary( ina.get() ) ) ) ) : ""; }

std::string written( const Address &ina ) { return ina ? text( pb::adopt( inAddressToString( ina.get() ) ) ) : "(null)"; }

std::string bytesOf( const Groups &groups )
{
    std::string bytes;
    for( unsigned group : groups )
    {
        bytes += (char)( group >> 8 );
        bytes += (char)group;
    }
    return bytes;
}

std::string hexGroup( unsigned group )
{
    char text[8];
    std::snprintf( text, sizeof text, "%x", group );
    return text;
}

// The groups, of which `count` are replaced by "::".
std::string compressed( const Groups &groups, size_t first, size_t count )
{
    std::string before, after;
    for( size_t index = 0; index < first; index++ )
        before += ( before.empty() ? "" : ":" ) + hexGroup( groups[index] );
    for( size_t index = first + count; index < 8; index++ )
        after += ( after.empty() ? "" : ":" ) + hexGroup( groups[index] );
    return count ? before + "::" + after : before;
}

// RFC 5952, 4.2, by trial of every run that may be left out: at least two zero groups, the longest
// run, the first of equal ones.
std::string expectedText( const Groups &groups )
{
    std::string best = compressed( groups, 8, 0 );
    size_t      most = 1;
    for( size_t first = 0; first < 8; first++ )
    {
        for( size_t count = 1; first + count <= 8; count++ )
        {
            bool zero = std::all_of( &groups[first], &groups[first] + count, []( unsigned group ) { return group == 0; } );
            if( zero && count > most )
            {
                best = compressed( groups, first, count );
                most = count;
            }
        }
    }
    return best;
}

bool isMapped( const Groups &groups )
{
    return std::all_of( groups.begin(), groups.begin() + 5, []( unsigned group ) { return group == 0; } ) && groups[5] == 0xFFFF;
}

}

TEST( InAddress, ReadsFourDecimalNumbers )
{
    EXPECT_EQ( content( parse( "192.0.2.1" ) ), "c0000201" );
    EXPECT_EQ( content( parse( "0.0.0.0" ) ), "00000000" );
    EXPECT_EQ( content( parse( "255.255.255.255" ) ), "ffffffff" );
    EXPECT_EQ( content( parse( "1.20.100.249" ) ), "011464f9" );
    EXPECT_TRUE( inAddressIsV4( parse( "192.0.2.1" ).get() ) );
    EXPECT_FALSE( inAddressIsV6( parse( "192.0.2.1" ).get() ) );
}

TEST( InAddress, ReadsEveryNumberOfAByteAndNoOther )
{
    for( unsigned number = 0; number < 1000; number++ )
    {
        std::string digits = std::to_string( number );
        for( const std::string &text : { digits + ".1.2.3", "1." + digits + ".2.3", "1.2." + digits + ".3", "1.2.3." + digits } )
        {
            Address ina = parse( text );
            ASSERT_EQ( (bool)ina, number <= 255 ) << text;
            EXPECT_TRUE( !ina || written( ina ) == text ) << text;
        }
    }
}

TEST( InAddress, RefusesOtherTextOfVersion4 )
{
    for( const char *text :
        { "", ".", "...", "1", "1.2", "1.2.3", "1.2.3.", ".1.2.3", "1.2.3.4.", ".1.2.3.4", "1..2.3", "1.2..3.4", "1.2.3.4.5", "01.2.3.4", "1.02.3.4",
            "1.2.003.4", "1.2.3.04", "00.0.0.0", "0.0.0.00", "256.1.1.1", "1.256.1.1", "1.1.1.256", "1.1.1.1000", "999.1.1.1", "4294967297.1.1.1",
            "18446744073709551617.1.1.1", "1.2.3.0x4", "0x01020304", "16909060", "1.2.3.a", "a.b.c.d", "-1.2.3.4", "+1.2.3.4", "1.2.3.-4", " 1.2.3.4",
            "1.2.3.4 ", "1. 2.3.4", "1.2.3 .4", "\t1.2.3.4", "1.2.3.4\n", "1.2.3.4/32", "1.2.3.4%1", "1.2.3.4:80", "1,2,3,4", "1:2:3:4",
            "\uFF11.2.3.4", "1.2.3.\u0664", "1\u30022.3.4", "1.2.3\uFF0E4", "\u00B9.2.3.4", "\uFEFF1.2.3.4", "1.2.3.4\uFFFD", "example.com" } )
    {
        EXPECT_FALSE( parse( text ) ) << text;
        EXPECT_FALSE( parseHost( text ) ) << text;
    }
}

TEST( InAddress, ReadsEveryFormOfVersion6 )
{
    struct
    {
        const char *text, *content;
    } cases[] = {
        // All groups are written.
        { "ABCD:EF01:2345:6789:ABCD:EF01:2345:6789", "abcdef0123456789abcdef0123456789" },
        { "abcd:ef01:2345:6789:abcd:ef01:2345:6789", "abcdef0123456789abcdef0123456789" },
        { "2001:DB8:0:0:8:800:200C:417A", "20010db80000000000080800200c417a" },
        { "2001:0db8:0000:0000:0008:0800:200c:417a", "20010db80000000000080800200c417a" },
        { "FF01:0:0:0:0:0:0:101", "ff010000000000000000000000000101" },
        { "0:0:0:0:0:0:0:1", "00000000000000000000000000000001" },
        { "0:0:0:0:0:0:0:0", "00000000000000000000000000000000" },
        // With "::".
        { "2001:DB8::8:800:200C:417A", "20010db80000000000080800200c417a" },
        { "FF01::101", "ff010000000000000000000000000101" },
        { "::1", "00000000000000000000000000000001" },
        { "::", "00000000000000000000000000000000" },
        { "1::", "00010000000000000000000000000000" },
        { "1:2:3:4:5:6::", "00010002000300040005000600000000" },
        { "::3:4:5:6:7:8", "00000000000300040005000600070008" },
        { "1:2:3:4:5:6:7::", "00010002000300040005000600070000" },
        { "::2:3:4:5:6:7:8", "00000002000300040005000600070008" },
        { "1:2:3::5:6:7:8", "00010002000300000005000600070008" },
        { "1::0:0:8", "00010000000000000000000000000008" },
        // With an IPv4 address at the end.
        { "0:0:0:0:0:0:13.1.68.3", "0000000000000000000000000d014403" },
        { "0:0:0:0:0:FFFF:129.144.52.38", "00000000000000000000ffff81903426" },
        { "::13.1.68.3", "0000000000000000000000000d014403" },
        { "::FFFF:129.144.52.38", "00000000000000000000ffff81903426" },
        { "64:ff9b::192.0.2.33", "0064ff9b0000000000000000c0000221" },
        { "1:2:3:4:5:6:255.255.255.255", "000100020003000400050006ffffffff" },
        { "1:2:3:4::0.0.0.0", "00010002000300040000000000000000" },
    };
    for( const auto &[input, bytes] : cases )
    {
        Address ina = parse( input );
        EXPECT_EQ( content( ina ), bytes ) << input;
        EXPECT_EQ( content( parseHost( input ) ), bytes ) << input;
        EXPECT_EQ( content( parseHost( "[" + std::string( input ) + "]" ) ), bytes ) << input;
        ASSERT_TRUE( ina ) << input;
        EXPECT_TRUE( inAddressIsV6( ina.get() ) ) << input;
        EXPECT_FALSE( inAddressIsV4( ina.get() ) ) << input;
    }
}

TEST( InAddress, RefusesOtherTextOfVersion6 )
{
    for( const char *text : { ":", ":::", "::::", "1", "1:", ":1", "1:2:3:4:5:6:7", "1:2:3:4:5:6:7:", ":1:2:3:4:5:6:7",
             "1:2:3:4:5:6:7:8:", ":1:2:3:4:5:6:7:8", "1:2:3:4:5:6:7:8:9", "1:2:3:4:5:6:7:8::", "::1:2:3:4:5:6:7:8", "1:2:3:4::5:6:7:8", "1::2::3",
             "::1::", "1:::2", "::1:", ":1::", "12345::", "00001::", "1:2:3:4:5:6:7:00008", "g::", "::0x1", "::-1", "::+1", " ::1", "::1 ", ":: 1",
             "::1\n", "1: 2::", "::1%lo", "fe80::1%1", "fe80::1%", "fe80::%25eth0", "::1/128", "::/0", "::.", "::1.2.3", "::1.2.3.4.5", "::1.2.3.256",
             "::01.2.3.4", "::1.2.3.04", "::1.2.3.4:5", "1.2.3.4::", "1.2.3.4:5:6:7:8:9:a", "1:2:3:4:5:6:7:1.2.3.4", "1:2:3:4:5:1.2.3.4",
             "::1:2:3:4:5:6:7:1.2.3.4", "::1.2.3.4.", "::\uFF11", "\uFF1A\uFF1A", "::\u0661", "v1.fe80::1", "::1#", "::1?", "::ffff:1.2.3.4%1" } )
    {
        EXPECT_FALSE( parse( text ) ) << text;
        EXPECT_FALSE( parseHost( text ) ) << text;
        EXPECT_FALSE( parseHost( "[" + std::string( text ) + "]" ) ) << text;
    }
}

TEST( InAddress, TakesBracketsOfHostsAndOfVersion6Only )
{
    EXPECT_EQ( content( parseHost( "[2001:db8::1]" ) ), "20010db8000000000000000000000001" );
    EXPECT_EQ( content( parseHost( "[::ffff:192.0.2.1]" ) ), "00000000000000000000ffffc0000201" );
    EXPECT_EQ( content( parseHost( "2001:db8::1" ) ), "20010db8000000000000000000000001" );
    EXPECT_EQ( content( parseHost( "192.0.2.1" ) ), "c0000201" );
    for( const char *text : { "[", "]", "[]", "][", "[[", "]]", "[::1", "::1]", "[[::1]]", "[::1]]", "[[::1]", "][::1", "[::1[", "]::1[",
             "[192.0.2.1]", "[192.0.2.1", "192.0.2.1]", "[::1]:443", "[::1]/", " [::1]", "[::1] ", "[ ::1]", "[::1 ]", "[fe80::1%25eth0]",
             "[fe80::1%eth0]", "[v1.x:y]", "(::1)", "{::1}", "\uFF3B::1\uFF3D", "[example.com]" } )
    {
        EXPECT_FALSE( parseHost( text ) ) << text;
        EXPECT_FALSE( parse( text ) ) << text;
    }
    EXPECT_FALSE( parse( "[::1]" ) );
    EXPECT_FALSE( parse( "[2001:db8::1]" ) );
}

TEST( InAddress, RefusesTextWithUZero )
{
    using namespace std::string_view_literals;
    for( std::string_view text : { "\0"sv, "1.2.3.4\0"sv, "\0001.2.3.4"sv, "1.2.3.4\0x"sv, "1.2\0.3.4"sv, "::1\0"sv, "::1\0::1"sv, "[::1\0]"sv,
             "[::1]\0"sv, "[\0::1]"sv, "[::1\0x]"sv, "\0[::1]"sv } )
    {
        EXPECT_FALSE( parse( text ) ) << hex( text );
        EXPECT_FALSE( parseHost( text ) ) << hex( text );
    }
}

TEST( InAddress, RefusesLongText )
{
    for( const std::string &text :
        { std::string( 100000, '1' ), std::string( 100000, ':' ), std::string( 100000, '.' ), std::string( 100000, '0' ) + "1.2.3.4",
            std::string( 100000, '0' ) + "::1", "::" + std::string( 100000, '0' ), "[" + std::string( 100000, ':' ) + "]" } )
    {
        EXPECT_FALSE( parse( text ) ) << text.substr( 0, 10 );
        EXPECT_FALSE( parseHost( text ) ) << text.substr( 0, 10 );
    }
}

TEST( InAddress, WritesDottedDecimalNumbers )
{
    EXPECT_EQ( written( v4( unhex( "c0000201" ) ) ), "192.0.2.1" );
    EXPECT_EQ( written( v4( unhex( "00000000" ) ) ), "0.0.0.0" );
    EXPECT_EQ( written( v4( unhex( "ffffffff" ) ) ), "255.255.255.255" );
    EXPECT_EQ( written( v4( unhex( "010a6409" ) ) ), "1.10.100.9" );
}

TEST( InAddress, WritesTheRecommendedForm )
{
    struct
    {
        const char *text, *recommended;
    } cases[] = {
        // RFC 5952, 1 and 2.
        { "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1" },
        { "2001:0db8:0:0:1:0:0:1", "2001:db8::1:0:0:1" },
        { "2001:db8::1:0:0:1", "2001:db8::1:0:0:1" },
        { "2001:db8::0:1:0:0:1", "2001:db8::1:0:0:1" },
        { "2001:0db8::1:0:0:1", "2001:db8::1:0:0:1" },
        { "2001:db8:0:0:1::1", "2001:db8::1:0:0:1" },
        { "2001:db8:0000:0:1::1", "2001:db8::1:0:0:1" },
        { "2001:DB8:0:0:1::1", "2001:db8::1:0:0:1" },
        { "2001:db8:aaaa:bbbb:cccc:dddd:eeee:0001", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:1" },
        { "2001:db8:aaaa:bbbb:cccc:dddd::1", "2001:db8:aaaa:bbbb:cccc:dddd:0:1" },
        { "2001:db8:aaaa:bbbb:cccc:dddd:0:1", "2001:db8:aaaa:bbbb:cccc:dddd:0:1" },
        { "2001:db8:0:0:0::1", "2001:db8::1" },
        { "2001:db8:0:0::1", "2001:db8::1" },
        { "2001:db8:0::1", "2001:db8::1" },
        { "2001:db8::1", "2001:db8::1" },
        { "2001:db8::aaaa:0:0:1", "2001:db8::aaaa:0:0:1" },
        { "2001:db8:0:0:aaaa::1", "2001:db8::aaaa:0:0:1" },
        { "2001:DB8:AAAA:BBBB:CCCC:DDDD:EEEE:AaAa", "2001:db8:aaaa:bbbb:cccc:dddd:eeee:aaaa" },
        // 4.
        { "2001:0db8::0001", "2001:db8::1" },
        { "2001:db8:0:0:0:0:2:1", "2001:db8::2:1" },
        { "2001:db8::0:1", "2001:db8::1" },
        { "2001:db8::1:1:1:1:1", "2001:db8:0:1:1:1:1:1" },
        { "2001:0:0:1:0:0:0:1", "2001:0:0:1::1" },
        { "2001:db8:0:0:1:0:0:1", "2001:db8::1:0:0:1" },
        // 5, and similar addresses.
        { "::ffff:c000:201", "::ffff:192.0.2.1" },
        { "0:0:0:0:0:FFFF:192.0.2.1", "::ffff:192.0.2.1" },
        { "::ffff:0:0", "::ffff:0.0.0.0" },
        { "::ffff:255.255.255.255", "::ffff:255.255.255.255" },
        { "::192.0.2.1", "::c000:201" },
        { "::ffff:0:192.0.2.1", "::ffff:0:c000:201" },
        { "64:ff9b::192.0.2.1", "64:ff9b::c000:201" },
        { "::1:ffff:192.0.2.1", "::1:ffff:c000:201" },
        { "1::ffff:192.0.2.1", "1::ffff:c000:201" },
        { "::fffe:192.0.2.1", "::fffe:c000:201" },
        { "::", "::" },
        { "::1", "::1" },
        { "1::", "1::" },
        { "0:1::", "0:1::" },
        { "::1:0", "::1:0" },
        { "1::1", "1::1" },
        { "0:1:0:1:0:1:0:1", "0:1:0:1:0:1:0:1" },
        { "1:0:1:0:1:0:1:0", "1:0:1:0:1:0:1:0" },
        { "0:0:1:1:0:0:1:1", "::1:1:0:0:1:1" },
        { "1:1:0:0:1:1:0:0", "1:1::1:1:0:0" },
        { "0:0:1:0:0:0:1:1", "0:0:1::1:1" },
        { "abcd:ef01:2345:6789:abcd:ef01:2345:6789", "abcd:ef01:2345:6789:abcd:ef01:2345:6789" },
    };
    for( const auto &[input, recommended] : cases )
        EXPECT_EQ( written( parse( input ) ), recommended ) << input;
}

TEST( InAddress, CompressesTheLongestRunOfZerosInEveryPattern )
{
    for( unsigned pattern = 0; pattern < 256; pattern++ )
    {
        for( unsigned value : { 1u, 0xA0u, 0xFFFEu } )
        {
            Groups groups;
            for( unsigned index = 0; index < 8; index++ )
                groups[index] = pattern >> index & 1 ? value : 0;
            Address ina = v6( bytesOf( groups ) );
            EXPECT_EQ( written( ina ), expectedText( groups ) ) << pattern;
            EXPECT_TRUE( inAddressEquals( parse( written( ina ) ).get(), ina.get() ) ) << pattern;
        }
    }
}

TEST( InAddress, ReadsEveryCompressionOfEveryPattern )
{
    for( unsigned pattern = 0; pattern < 256; pattern++ )
    {
        Groups groups;
        for( unsigned index = 0; index < 8; index++ )
            groups[index] = pattern >> index & 1 ? index + 0xA0 : 0;
        std::string bytes = bytesOf( groups );
        EXPECT_EQ( content( parse( compressed( groups, 8, 0 ) ) ), hex( bytes ) );
        for( size_t first = 0; first < 8; first++ )
        {
            for( size_t count = 1; first + count <= 8 && groups[first + count - 1] == 0; count++ )
                EXPECT_EQ( content( parse( compressed( groups, first, count ) ) ), hex( bytes ) ) << compressed( groups, first, count );
        }
    }
}

TEST( InAddress, TextOfRandomAddressesReadsBack )
{
    std::mt19937 random( 5952 );
    for( int round = 0; round < 3000; round++ )
    {
        Groups groups;
        for( unsigned &group : groups )
        {
            static constexpr unsigned masks[] = { 0, 0xF, 0xFF, 0xFFF, 0xFFFF };
            group                             = (unsigned)random() & masks[random() % 5];
        }
        std::string bytes = bytesOf( groups );
        Address     ina   = v6( bytes );
        EXPECT_EQ( content( ina ), hex( bytes ) );
        if( !isMapped( groups ) )
            EXPECT_EQ( written( ina ), expectedText( groups ) );
        Address again = parse( written( ina ) );
        ASSERT_TRUE( again ) << written( ina );
        EXPECT_TRUE( inAddressEquals( again.get(), ina.get() ) ) << written( ina );
        EXPECT_EQ( content( parseHost( "[" + written( ina ) + "]" ) ), hex( bytes ) );

        std::string four  = bytes.substr( 0, 4 );
        Address     older = v4( four );
        EXPECT_EQ( content( parse( written( older ) ) ), hex( four ) );
        EXPECT_EQ( content( parse( "::ffff:" + written( older ) ) ), "00000000000000000000ffff" + hex( four ) );
        EXPECT_EQ( written( parse( "::ffff:" + written( older ) ) ), "::ffff:" + written( older ) );
    }
}

TEST( InAddress, OrdersVersion4FirstAndThenByBytes )
{
    std::vector<std::string> ascending = { "0.0.0.0", "0.0.0.1", "0.0.1.0", "1.2.3.4", "127.255.255.255", "128.0.0.0", "255.255.255.255", "::", "::1",
        "::100", "::1:0", "::ffff:0.0.0.0", "::ffff:1.2.3.4", "1::", "7fff::", "8000::", "ff00::", "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff" };
    for( size_t a = 0; a < ascending.size(); a++ )
    {
        for( size_t b = 0; b < ascending.size(); b++ )
        {
            Address inaA = parse( ascending[a] ), inaB = parse( ascending[b] );
            PB_INT  order = inAddressCompare( inaA.get(), inaB.get() );
            EXPECT_EQ( order < 0, a < b ) << ascending[a] << " " << ascending[b];
            EXPECT_EQ( order > 0, a > b ) << ascending[a] << " " << ascending[b];
            EXPECT_EQ( !!inAddressEquals( inaA.get(), inaB.get() ), a == b ) << ascending[a] << " " << ascending[b];
        }
    }
}

TEST( InAddress, EqualsWhatHasTheSameBytes )
{
    Address ina = parse( "2001:db8::1" );
    EXPECT_TRUE( inAddressEquals( ina.get(), parse( "2001:DB8:0:0:0:0:0:1" ).get() ) );
    EXPECT_TRUE( inAddressEquals( ina.get(), parseHost( "[2001:db8::0.0.0.1]" ).get() ) );
    EXPECT_TRUE( inAddressEquals( ina.get(), v6( unhex( "20010db8000000000000000000000001" ) ).get() ) );
    EXPECT_FALSE( inAddressEquals( ina.get(), parse( "2001:db8::2" ).get() ) );
    EXPECT_TRUE( inAddressEquals( parse( "192.0.2.1" ).get(), v4( unhex( "c0000201" ) ).get() ) );
    EXPECT_FALSE( inAddressEquals( parse( "192.0.2.1" ).get(), parse( "192.0.2.2" ).get() ) );
}

TEST( InAddress, MappedAddressIsNotTheVersion4Address )
{
    Address mapped = parse( "::ffff:192.0.2.1" ), plain = parse( "192.0.2.1" );
    EXPECT_TRUE( inAddressIsV6( mapped.get() ) );
    EXPECT_FALSE( inAddressIsV4( mapped.get() ) );
    EXPECT_FALSE( inAddressEquals( mapped.get(), plain.get() ) );
    EXPECT_GT( inAddressCompare( mapped.get(), plain.get() ), 0 );
    EXPECT_EQ( content( mapped ), "00000000000000000000ffffc0000201" );
    EXPECT_EQ( content( plain ), "c0000201" );
    // The four bytes with zeros before or after them are not the same either.
    EXPECT_FALSE( inAddressEquals( parse( "::192.0.2.1" ).get(), plain.get() ) );
    EXPECT_FALSE( inAddressEquals( parse( "c000:201::" ).get(), plain.get() ) );
}

TEST( InAddress, BinaryFormIsACopy )
{
    std::string bytes = unhex( "c0000201" );
    Address     ina   = v4( bytes );
    bytes[3]          = 9;
    EXPECT_EQ( content( ina ), "c0000201" );
    pb::Ref<PB_BUFFER> binary = pb::adopt( inAddressToBinary( ina.get() ) );
    EXPECT_EQ( pbBufferLength( binary.get() ), 4 );
    EXPECT_EQ( pbBufferLength( pb::adopt( inAddressToBinary( parse( "::" ).get() ) ).get() ), 16 );
}
