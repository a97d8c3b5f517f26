#include <cry/cry_uuid.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <openssl/rand.h>
#include <set>

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace support;

namespace
{

using Uuid = pb::Ref<CRY_UUID>;

constexpr char dnsText[] = "6ba7b810-9dad-11d1-80b4-00c04fd430c8";

Uuid        parsed( std::string_view text ) { return pb::adopt( cryUuidTryCreateFromString( str( text ).get() ) ); }
Uuid        binary( std::string_view bytes ) { return pb::adopt( cryUuidTryCreateFromBinary( buf( bytes ).get() ) ); }
std::string bytesOf( const Uuid &uuid ) { return uuid ? bytes( pb::adopt( cryUuidToBinary( uuid.get() ) ) ) : "(null)"; }
std::string hexOf( const Uuid &uuid ) { return uuid ? hex( bytesOf( uuid ) ) : "(null)"; }
std::string textOf( const Uuid &uuid ) { return uuid ? text( pb::adopt( cryUuidToString( uuid.get() ) ) ) : "(null)"; }
std::string textOf( const Uuid &uuid, PB_INT flags ) { return text( pb::adopt( cryUuidToStringWithFlags( uuid.get(), flags ) ) ); }

Uuid named( const Uuid &ns, std::string_view name ) { return pb::adopt( cryUuidTryCreateNameBasedStringName( ns.get(), str( name ).get() ) ); }

// A UUID in which all bytes but one are zero.
Uuid withByte( size_t index, int value )
{
    std::string bytes( 16, '\0' );
    bytes[index] = (char)value;
    return binary( bytes );
}

int  failRandom( unsigned char *, int ) { return 0; }
int  sign( PB_INT order ) { return order < 0 ? -1 : order > 0; }
bool isRandomOne( const std::string &bytes ) { return ( bytes[6] & 0xF0 ) == 0x40 && ( bytes[8] & 0xC0 ) == 0x80; }

}

TEST( CryUuid, ARandomOneHasTheBitsOfItsKindAndNothingElseInCommon )
{
    std::set<std::string> seen;
    std::string           ones( 16, '\0' ), zeros( 16, '\xFF' );
    for( int draw = 0; draw < 2000; draw++ )
    {
        Uuid        uuid  = pb::adopt( cryUuidCreate() );
        std::string bytes = bytesOf( uuid );
        ASSERT_EQ( bytes.size(), 16u );
        EXPECT_TRUE( isRandomOne( bytes ) ) << hex( bytes );
        EXPECT_EQ( cryUuidVariant( uuid.get() ), CRY_UUID_VARIANT_STANDARD );
        EXPECT_EQ( cryUuidVersion( uuid.get() ), 4 );
        seen.insert( bytes );
        for( size_t index = 0; index < 16; index++ )
        {
            ones[index] |= bytes[index];
            zeros[index] &= bytes[index];
        }
    }
    EXPECT_EQ( seen.size(), 2000u );
    // All bits but those of version and variant were set in one UUID and not set in another.
    EXPECT_EQ( hex( ones ), "ffffffffffff4fffbfffffffffffffff" );
    EXPECT_EQ( hex( zeros ), "00000000000040008000000000000000" );
}

TEST( CryUuid, ARandomOneIsMadeWithoutOpensslsGeneratorToo )
{
    static RAND_METHOD method{ nullptr, failRandom, nullptr, nullptr, failRandom, nullptr };
    RAND_set_rand_method( &method );
    Uuid first = pb::adopt( cryUuidCreate() ), second = pb::adopt( cryUuidCreate() );
    RAND_set_rand_method( nullptr );
    EXPECT_TRUE( isRandomOne( bytesOf( first ) ) );
    EXPECT_TRUE( isRandomOne( bytesOf( second ) ) );
    EXPECT_NE( hexOf( first ), hexOf( second ) );
    takeErrors();
}

TEST( CryUuid, TheNilOneIsZerosAndBelowEveryOther )
{
    Uuid nil = pb::adopt( cryUuidCreateNil() );
    EXPECT_EQ( bytesOf( nil ), std::string( 16, '\0' ) );
    EXPECT_EQ( textOf( nil ), "00000000-0000-0000-0000-000000000000" );
    EXPECT_EQ( cryUuidVariant( nil.get() ), CRY_UUID_VARIANT_RESERVED_FOR_NCS );
    EXPECT_EQ( cryUuidVersion( nil.get() ), CRY_UUID_VERSION_TIME_BASED );
    EXPECT_TRUE( cryUuidEquals( nil.get(), parsed( "00000000-0000-0000-0000-000000000000" ).get() ) );
    for( size_t index = 0; index < 16; index++ )
    {
        for( int value : { 1, 0x7F, 0x80, 0xFF } )
        {
            EXPECT_LT( cryUuidCompare( nil.get(), withByte( index, value ).get() ), 0 );
            EXPECT_GT( cryUuidCompare( withByte( index, value ).get(), nil.get() ), 0 );
        }
    }
}

TEST( CryUuid, ACopyIsEqualAndAnotherObject )
{
    Uuid first = pb::adopt( cryUuidCreate() );
    Uuid copy  = pb::adopt( cryUuidCreateFrom( first.get() ) );
    EXPECT_NE( copy.get(), first.get() );
    EXPECT_TRUE( cryUuidEquals( copy.get(), first.get() ) );
    EXPECT_EQ( hexOf( copy ), hexOf( first ) );
    std::string before = hexOf( first );
    first              = {};
    EXPECT_EQ( hexOf( copy ), before );
}

TEST( CryUuid, GoesThroughBinary )
{
    std::string sixteen = unhex( "000102030405060708090a0b0c0d0eff" );
    EXPECT_EQ( bytesOf( binary( sixteen ) ), sixteen );
    EXPECT_EQ( textOf( binary( sixteen ) ), "00010203-0405-0607-0809-0a0b0c0d0eff" );
    Uuid direct = pb::adopt( cryUuidTryCreateFromBinaryBytes( (const PB_BYTE *)sixteen.data(), 16 ) );
    EXPECT_EQ( bytesOf( direct ), sixteen );
    // The caller gets a copy.
    pb::Ref<PB_BUFFER> out = pb::adopt( cryUuidToBinary( direct.get() ) );
    pbBufferAppendBytes( out.handle(), "x", 1 );
    EXPECT_EQ( bytesOf( direct ), sixteen );
}

TEST( CryUuid, TakesExactlySixteenBytes )
{
    std::string long17( 17, 'x' );
    for( PB_INT length : { 0, 1, 15, 17 } )
    {
        EXPECT_EQ( cryUuidTryCreateFromBinaryBytes( (const PB_BYTE *)long17.data(), length ), nullptr ) << length;
        EXPECT_FALSE( binary( std::string_view( long17 ).substr( 0, (size_t)length ) ) ) << length;
    }
    EXPECT_EQ( cryUuidTryCreateFromBinaryBytes( nullptr, 0 ), nullptr );
    EXPECT_FALSE( binary( std::string( 32, 'x' ) ) );
}

TEST( CryUuid, GivesThePublishedNameBasedOnes )
{
    Uuid dns = pb::adopt( cryUuidNamespaceDns() ), url = pb::adopt( cryUuidNamespaceUrl() ), oid = pb::adopt( cryUuidNamespaceOid() );
    Uuid x500 = pb::adopt( cryUuidNamespaceX500() );
    // RFC 9562, appendix A.4, then other published values.
    EXPECT_EQ( textOf( named( dns, "www.example.com" ) ), "2ed6657d-e927-568b-95e1-2665a8aea6a2" );
    EXPECT_EQ( textOf( named( dns, "python.org" ) ), "886313e1-3b8a-5372-9b90-0c9aee199e5d" );
    EXPECT_EQ( textOf( named( url, "http://python.org/" ) ), "4c565f0d-3f5a-5890-b41b-20cf47701c5e" );
    EXPECT_EQ( textOf( named( oid, "1.3.6.1" ) ), "1447fa61-5277-5fef-a9b3-fbc6e44f4af3" );
    EXPECT_EQ( textOf( named( x500, "c=ca" ) ), "cc957dd1-a972-5349-98cd-874190002798" );
}

TEST( CryUuid, ANameBasedOneHasTheBitsOfItsKind )
{
    Uuid ns = pb::adopt( cryUuidNamespaceUrl() );
    for( int draw = 0; draw < 2000; draw++ )
    {
        Uuid        uuid  = named( ns, "name " + std::to_string( draw ) );
        std::string bytes = bytesOf( uuid );
        EXPECT_EQ( bytes[6] & 0xF0, 0x50 ) << draw;
        EXPECT_EQ( bytes[8] & 0xC0, 0x80 ) << draw;
        EXPECT_EQ( cryUuidVariant( uuid.get() ), CRY_UUID_VARIANT_STANDARD );
        EXPECT_EQ( cryUuidVersion( uuid.get() ), -1 );
    }
}

TEST( CryUuid, ANameBasedOneIsTheDigestOfNamespaceAndName )
{
    Uuid          ns   = pb::adopt( cryUuidCreate() );
    std::string   name = std::string( "\0\xFF binary", 9 ), joined = bytesOf( ns ) + name;
    unsigned char digest[EVP_MAX_MD_SIZE];
    ASSERT_EQ( EVP_Digest( joined.data(), joined.size(), digest, nullptr, EVP_sha1(), nullptr ), 1 );
    digest[6]   = (unsigned char)( ( digest[6] & 0x0F ) | 0x50 );
    digest[8]   = (unsigned char)( ( digest[8] & 0x3F ) | 0x80 );
    Uuid first  = pb::adopt( cryUuidTryCreateNameBased( ns.get(), buf( name ).get() ) );
    Uuid second = pb::adopt( cryUuidTryCreateNameBased( ns.get(), buf( name ).get() ) );
    EXPECT_EQ( hexOf( first ), hex( { (char *)digest, 16 } ) );
    EXPECT_TRUE( cryUuidEquals( first.get(), second.get() ) );
    EXPECT_NE( first.get(), second.get() );

    Uuid other = pb::adopt( cryUuidCreateNil() );
    EXPECT_NE( hexOf( pb::adopt( cryUuidTryCreateNameBased( other.get(), buf( name ).get() ) ) ), hexOf( first ) );
    EXPECT_NE( hexOf( pb::adopt( cryUuidTryCreateNameBased( ns.get(), buf( "" ).get() ) ) ), hexOf( first ) );
}

TEST( CryUuid, ANameGivenAsAStringIsItsUtf8 )
{
    Uuid ns = pb::adopt( cryUuidNamespaceDns() );
    for( const char *name : { "", "a",
             "b\xC3\xBC"
             "cher.example",
             "\xE2\x82\xAC\xF0\x9F\x98\x80" } )
        EXPECT_EQ( hexOf( named( ns, name ) ), hexOf( pb::adopt( cryUuidTryCreateNameBased( ns.get(), buf( name ).get() ) ) ) ) << name;
}

TEST( CryUuid, WritesEveryCombinationOfFlags )
{
    Uuid uuid = parsed( "01234567-89ab-cdef-fedc-ba9876543210" );
    for( PB_INT flags = 0; flags < 32; flags++ )
    {
        std::string wanted = flags & 1 ? "01234567-89AB-CDEF-FEDC-BA9876543210" : "01234567-89ab-cdef-fedc-ba9876543210";
        if( flags & 2 )
            std::replace( wanted.begin(), wanted.end(), '-', '_' );
        if( flags & 4 )
            wanted = "{" + wanted + "}";
        if( flags & 8 )
            wanted = "'" + wanted + "'";
        if( flags & 16 )
            wanted = "\"" + wanted + "\"";
        EXPECT_EQ( textOf( uuid, flags ), wanted ) << flags;
        EXPECT_EQ( hexOf( parsed( wanted ) ), "0123456789abcdeffedcba9876543210" ) << wanted;
    }
    EXPECT_EQ( textOf( uuid, 0x1F ), "\"'{01234567_89AB_CDEF_FEDC_BA9876543210}'\"" );
    EXPECT_EQ( textOf( uuid, 0x1F ).size(), 42u );
}

TEST( CryUuid, UndefinedFlagsMeanNothing )
{
    Uuid uuid = pb::adopt( cryUuidCreate() );
    EXPECT_EQ( textOf( uuid, 0x20 ), textOf( uuid, 0 ) );
    EXPECT_EQ( textOf( uuid, -32 ), textOf( uuid, 0 ) );
    EXPECT_EQ( textOf( uuid, -1 ), textOf( uuid, 0x1F ) );
    EXPECT_EQ( textOf( uuid, PB_INT_MAX ), textOf( uuid, 0x1F ) );
    EXPECT_EQ( textOf( uuid, PB_INT_MIN ), textOf( uuid, 0 ) );
    EXPECT_EQ( textOf( uuid, (PB_INT)1 << 40 | CRY_UUID_STRING_FLAG_CURLY_BRACKET ), "{" + textOf( uuid ) + "}" );
}

TEST( CryUuid, ReadsDigitsOfBothCases )
{
    EXPECT_EQ( hexOf( parsed( "ABCDEF01-2345-6789-abcd-ef0123456789" ) ), "abcdef0123456789abcdef0123456789" );
    EXPECT_EQ( hexOf( parsed( "aBcDeF01-2345-6789-AbCd-Ef0123456789" ) ), "abcdef0123456789abcdef0123456789" );
}

TEST( CryUuid, ReadsEachSeparatorOfEitherKind )
{
    for( int kinds = 0; kinds < 16; kinds++ )
    {
        std::string text = dnsText;
        int         bit  = 0;
        for( size_t at : { 8, 13, 18, 23 } )
            text[at] = kinds >> bit++ & 1 ? '_' : '-';
        EXPECT_EQ( textOf( parsed( text ) ), dnsText ) << text;
    }
}

TEST( CryUuid, TakesWrappingsOffInAnyOrder )
{
    // All sequences of up to four of the three pairs.
    static constexpr char opens[] = "{'\"", closes[] = "}'\"";
    int                   taken = 0;
    for( int depth = 0; depth <= 4; depth++ )
    {
        int count = 1;
        for( int level = 0; level < depth; level++ )
            count *= 3;
        for( int choice = 0; choice < count; choice++ )
        {
            std::string text = dnsText;
            for( int level = 0, rest = choice; level < depth; level++, rest /= 3 )
                text = opens[rest % 3] + text + closes[rest % 3];
            EXPECT_EQ( textOf( parsed( text ) ), dnsText ) << text;
            EXPECT_EQ( textOf( parsed( " \t" + text + "\r\n" ) ), dnsText ) << text;
            taken++;
        }
    }
    EXPECT_EQ( taken, 1 + 3 + 9 + 27 + 81 );
    EXPECT_EQ( textOf( parsed( "'{" + std::string( dnsText ) + "}'" ) ), dnsText );
    std::string deep( 100, '{' ), back( 100, '}' );
    EXPECT_EQ( textOf( parsed( deep + dnsText + back ) ), dnsText );
}

TEST( CryUuid, RefusesWrappingsThatDoNotMatch )
{
    for( const char *open : { "{", "'", "\"", "(", "[", "}", "{'", "'{", "" } )
    {
        for( const char *close : { "}", "'", "\"", ")", "]", "{", "}'", "'}", "" } )
        {
            std::string pair  = std::string( open ) + close;
            bool        match = pair.empty() || pair == "{}" || pair == "''" || pair == "\"\"" || pair == "{''}" || pair == "'{}'";
            EXPECT_EQ( (bool)parsed( open + std::string( dnsText ) + close ), match ) << open << " " << close;
        }
    }
    for( const char *text : { "{", "'", "\"", "{}", "''", "\"\"", "{'", "'''", "{\"'}\"", "'{}'" } )
        EXPECT_FALSE( parsed( text ) ) << text;
}

TEST( CryUuid, DropsBlanksAroundEverythingOnly )
{
    EXPECT_EQ( textOf( parsed( "  \t\r\n" + std::string( dnsText ) + " \xC2\xA0\xE3\x80\x80" ) ), dnsText );
    EXPECT_EQ( textOf( parsed( " {" + std::string( dnsText ) + "} " ) ), dnsText );
    EXPECT_FALSE( parsed( "{ " + std::string( dnsText ) + " }" ) );
    EXPECT_FALSE( parsed( "' " + std::string( dnsText ) + "'" ) );
    EXPECT_FALSE( parsed( "\"" + std::string( dnsText ) + "\n\"" ) );
}

TEST( CryUuid, RefusesTextsOfOtherLengths )
{
    std::string dns = dnsText;
    EXPECT_FALSE( parsed( "" ) );
    EXPECT_FALSE( parsed( "6ba7b8109dad11d180b400c04fd430c8" ) );
    EXPECT_FALSE( parsed( "urn:uuid:" + dns ) );
    EXPECT_FALSE( parsed( dns.substr( 1 ) ) );
    EXPECT_FALSE( parsed( dns.substr( 0, 35 ) ) );
    EXPECT_FALSE( parsed( dns + "0" ) );
    EXPECT_FALSE( parsed( "0" + dns ) );
    EXPECT_FALSE( parsed( dns + "-" ) );
    EXPECT_FALSE( parsed( dns + dns ) );
    EXPECT_FALSE( parsed( dns + std::string( 1, '\0' ) ) );
    for( size_t length = 0; length < dns.size(); length++ )
        EXPECT_FALSE( parsed( dns.substr( 0, length ) ) ) << length;
}

TEST( CryUuid, RefusesSeparatorsAnywhereElse )
{
    std::string digits = "6ba7b8109dad11d180b400c04fd430c8";
    EXPECT_FALSE( parsed( "6ba7b8109-dad-11d1-80b4-00c04fd430c8" ) );
    EXPECT_FALSE( parsed( "6ba7b810-9dad11d1-80b4-00c04fd4-30c8" ) );
    EXPECT_FALSE( parsed( "6ba7b81-09dad-11d1-80b4-00c04fd430c8" ) );
    EXPECT_FALSE( parsed( "----" + digits ) );
    EXPECT_FALSE( parsed( digits + "____" ) );
    EXPECT_FALSE( parsed( std::string( 36, '-' ) ) );
    for( size_t at = 0; at < 36; at++ )
    {
        bool separator = at == 8 || at == 13 || at == 18 || at == 23;
        for( char c : { '-', '_', '0', 'f', ' ', '+', '/', ':', '@', 'G', '`', 'g', '.', '\0', '\x7F' } )
        {
            std::string text = dnsText;
            text[at]         = c;
            bool good        = separator ? c == '-' || c == '_' : c == '0' || c == 'f';
            // White space at an end is dropped, so the text becomes too short.
            EXPECT_EQ( (bool)parsed( text ), good ) << at << " " << (int)c;
        }
    }
}

TEST( CryUuid, RefusesSignsBlanksAndPrefixesInDigits )
{
    for( const char *text : { "+ba7b810-9dad-11d1-80b4-00c04fd430c8", "-ba7b810-9dad-11d1-80b4-00c04fd430c8", "6ba7b810-+dad-11d1-80b4-00c04fd430c8",
             "6ba7b810-9dad--1d1-80b4-00c04fd430c8", "6ba7b810-9dad- 1d1-80b4-00c04fd430c8", "6ba7b810-9dad-1 d1-80b4-00c04fd430c8",
             "6ba7b810-9dad-11d1-80b4-0xc04fd430c8", "6ba7b810-9dad-11d1-80b4-00c04fd430 8" } )
        EXPECT_FALSE( parsed( text ) ) << text;
}

TEST( CryUuid, RefusesCharactersThatAreNotAscii )
{
    std::string dns = dnsText;
    // Texts of 36 characters and of 36 bytes, with a character of two, three or four bytes at every
    // place.
    for( std::string wide : { "\xC3\xA9", "\xD9\xA1", "\xEF\xBC\x91", "\xE2\x80\x90", "\xF0\x9D\x9F\x8E" } )
    {
        for( size_t at = 0; at < 36; at++ )
        {
            EXPECT_FALSE( parsed( dns.substr( 0, at ) + wide + dns.substr( at + 1 ) ) ) << at;
            if( at + wide.size() <= 36 )
                EXPECT_FALSE( parsed( dns.substr( 0, at ) + wide + dns.substr( at + wide.size() ) ) ) << at;
        }
        EXPECT_FALSE( parsed( wide + dns + wide ) );
    }
}

TEST( CryUuid, ReadsCAndWideStrings )
{
    Uuid whole = pb::adopt( cryUuidTryCreateFromStringCstr( dnsText, -1 ) );
    EXPECT_EQ( textOf( whole ), dnsText );
    std::string longer = std::string( dnsText ) + "and more";
    EXPECT_EQ( textOf( pb::adopt( cryUuidTryCreateFromStringCstr( longer.c_str(), 36 ) ) ), dnsText );
    EXPECT_EQ( cryUuidTryCreateFromStringCstr( longer.c_str(), -1 ), nullptr );
    EXPECT_EQ( cryUuidTryCreateFromStringCstr( "", 0 ), nullptr );

    Uuid wide = pb::adopt( cryUuidTryCreateFromStringWcstr( L" {6BA7B810_9dad-11d1-80b4-00c04fd430c8}", -1 ) );
    EXPECT_EQ( textOf( wide ), dnsText );
    EXPECT_EQ( textOf( pb::adopt( cryUuidTryCreateFromStringWcstr( L"6ba7b810-9dad-11d1-80b4-00c04fd430c8x", 36 ) ) ), dnsText );
    EXPECT_EQ( cryUuidTryCreateFromStringWcstr( L"6ba7b810-9dad-11d1-80b4-00c04fd430c8x", -1 ), nullptr );
    EXPECT_EQ( cryUuidTryCreateFromStringWcstr( L"6ba7b810-9dad-11d1-80b4-00c04fd430c\uFF18", -1 ), nullptr );
}

TEST( CryUuid, TellsTheVariantOfEveryByte )
{
    for( int value = 0; value < 256; value++ )
    {
        PB_INT wanted = !( value & 0x80 ) ? CRY_UUID_VARIANT_RESERVED_FOR_NCS
            : !( value & 0x40 )           ? CRY_UUID_VARIANT_STANDARD
            : !( value & 0x20 )           ? CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT
                                          : CRY_UUID_VARIANT_RESERVED_FOR_FUTURE;
        EXPECT_EQ( cryUuidVariant( withByte( 8, value ).get() ), wanted ) << value;
    }
}

TEST( CryUuid, TellsTheVersionOfEveryByte )
{
    for( int value = 0; value < 256; value++ )
        EXPECT_EQ( cryUuidVersion( withByte( 6, value ).get() ), value < 0x50 ? value / 16 : -1 ) << value;
}

TEST( CryUuid, OrderIsThatOfTheBytes )
{
    std::vector<std::string> list = { std::string( 16, '\0' ), std::string( 15, '\0' ) + '\1', std::string( 15, '\0' ) + '\x80',
        std::string( 7, '\0' ) + '\xFF' + std::string( 8, '\0' ), '\x7F' + std::string( 15, '\xFF' ), '\x80' + std::string( 15, '\0' ),
        std::string( 16, '\xFF' ) };
    for( const std::string &a : list )
    {
        for( const std::string &b : list )
        {
            int wanted = sign( a.compare( b ) );
            EXPECT_EQ( sign( cryUuidCompare( binary( a ).get(), binary( b ).get() ) ), wanted ) << hex( a ) << " " << hex( b );
            EXPECT_EQ( (bool)cryUuidEquals( binary( a ).get(), binary( b ).get() ), wanted == 0 );
            EXPECT_EQ( sign( pbObjCompare( binary( a ).obj(), binary( b ).obj() ) ), wanted );
        }
        EXPECT_FALSE( cryUuidEquals( binary( a ).get(), nullptr ) );
    }
}

TEST( CryUuid, IsAnObjectWithItsText )
{
    Uuid uuid = parsed( dnsText );
    EXPECT_STREQ( pbSortName( cryUuidSort() ), "CRY_UUID" );
    EXPECT_EQ( cryUuidFrom( cryUuidObj( uuid.get() ) ), uuid.get() );
    EXPECT_EQ( text( pb::adopt( pbObjToString( uuid.obj() ) ) ), dnsText );
    EXPECT_EQ( text( pb::adopt( pbStringCreateFromFormatCstr( "<%o>", -1, uuid.obj() ) ) ), "<" + std::string( dnsText ) + ">" );
    Uuid second = pb::adopt( cryUuidRetain( uuid.get() ) );
    EXPECT_TRUE( pbObjIsShared( uuid.obj() ) );
    cryUuidRelease( second.take() );
    EXPECT_FALSE( pbObjIsShared( uuid.obj() ) );
}
