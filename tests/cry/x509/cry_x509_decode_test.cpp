#include <bn/bn_int.h>
#include <cry/internal/cry_x509_decode.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/asn1.h>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <random>

using namespace support;

namespace
{

struct Part
{
    const char      *field;
    std::string_view value;
    int              type = MBSTRING_UTF8;
    int              set  = 0; // -1 joins the part to the one before
};

// The decoded name; "(null)" if it does not decode.
std::string decodedName( std::initializer_list<Part> parts )
{
    X509_NAME *name = X509_NAME_new();
    for( const Part &part : parts )
        EXPECT_EQ(
            X509_NAME_add_entry_by_txt( name, part.field, part.type, (const unsigned char *)part.value.data(), (int)part.value.size(), -1, part.set ),
            1 )
            << part.field;
    std::string out = text( pb::adopt( cry___X509TryDecodeX509Name( name ) ) );
    X509_NAME_free( name );
    return out;
}

std::string decodedInteger( const char *decimal )
{
    BIGNUM *number = nullptr;
    EXPECT_GT( BN_dec2bn( &number, decimal ), 0 );
    ASN1_INTEGER   *integer = BN_to_ASN1_INTEGER( number, nullptr );
    pb::Ref<BN_INT> decoded = pb::adopt( cry___X509TryDecodeAsn1Integer( integer ) );
    ASN1_INTEGER_free( integer );
    BN_free( number );
    return decoded ? text( pb::adopt( bnIntConvertToDecimalString( decoded.get() ) ) ) : "(null)";
}

std::string decodedString( int type, std::string_view value )
{
    ASN1_STRING *string = ASN1_STRING_type_new( type );
    EXPECT_EQ( ASN1_STRING_set( string, value.data(), (int)value.size() ), 1 );
    std::string out = text( pb::adopt( cry___X509TryDecodeAsn1String( string ) ) );
    ASN1_STRING_free( string );
    return out;
}

std::string decodedTime( int type, std::string_view value )
{
    ASN1_TIME *time = ASN1_STRING_type_new( type );
    EXPECT_EQ( ASN1_STRING_set( time, value.data(), (int)value.size() ), 1 );
    pb::Ref<PB_TIME> decoded = pb::adopt( cry___X509TryDecodeAsn1Time( time ) );
    ASN1_STRING_free( time );
    return decoded ? text( pb::adopt( pbTimeToString( decoded.get() ) ) ) : "(null)";
}

std::string utc( std::string_view value ) { return decodedTime( V_ASN1_UTCTIME, value ); }
std::string general( std::string_view value ) { return decodedTime( V_ASN1_GENERALIZEDTIME, value ); }

}

TEST( CryX509DecodeName, MostSpecificPartComesFirst )
{
    EXPECT_EQ( decodedName( { { "C", "DE" }, { "O", "Example" }, { "CN", "host" } } ), "CN=host, O=Example, C=DE" );
    EXPECT_EQ( decodedName( { { "CN", "host" } } ), "CN=host" );
    EXPECT_EQ( decodedName( { { "DC", "org" }, { "DC", "example" }, { "UID", "me" } } ), "UID=me, DC=example, DC=org" );
}

TEST( CryX509DecodeName, EmptyNameIsTheEmptyString ) { EXPECT_EQ( decodedName( {} ), "" ); }

TEST( CryX509DecodeName, PartsOfOneSetAreJoinedByPlus )
{
    EXPECT_EQ( decodedName( { { "C", "DE" }, { "O", "Example" }, { "OU", "Tests", MBSTRING_UTF8, -1 }, { "CN", "host" } } ),
        "CN=host, OU=Tests + O=Example, C=DE" );
}

TEST( CryX509DecodeName, SpecialCharactersAreQuoted )
{
    EXPECT_EQ( decodedName( { { "O", "Example, Inc." } } ), "O=\"Example, Inc.\"" );
    EXPECT_EQ( decodedName( { { "O", "a+b" } } ), "O=\"a+b\"" );
    EXPECT_EQ( decodedName( { { "O", "a<b;c>d" } } ), "O=\"a<b;c>d\"" );
    EXPECT_EQ( decodedName( { { "O", " a" } } ), "O=\" a\"" );
    EXPECT_EQ( decodedName( { { "O", "a " } } ), "O=\"a \"" );
    EXPECT_EQ( decodedName( { { "O", "#a" } } ), "O=\"#a\"" );
    EXPECT_EQ( decodedName( { { "O", "a#b c=d" } } ), "O=a#b c=d" );
    EXPECT_EQ( decodedName( { { "O", "a\"b" } } ), "O=a\\\"b" );
    EXPECT_EQ( decodedName( { { "O", "a\\b" } } ), "O=a\\\\b" );
    EXPECT_EQ( decodedName( { { "O", "a\nb\x7F" } } ), "O=a\\0Ab\\7F" );
}

TEST( CryX509DecodeName, CharactersOutsideAsciiStayAsTheyAre )
{
    EXPECT_EQ( decodedName( { { "O", "Größe 中 😀" } } ), "O=Größe 中 😀" );
    EXPECT_EQ( decodedName( { { "O", std::string_view( "\x00\xC4\x4E\x2D", 4 ), V_ASN1_BMPSTRING } } ), "O=Ä中" );
    EXPECT_EQ( decodedName( { { "O", std::string_view( "\x00\x01\xF6\x00", 4 ), V_ASN1_UNIVERSALSTRING } } ), "O=😀" );
    EXPECT_EQ( decodedName( { { "O",
                   "Gr\xF6\xDF"
                   "e",
                   V_ASN1_T61STRING } } ),
        "O=Größe" );
}

TEST( CryX509DecodeName, UnknownTypesAreDumpedAsDer )
{
    EXPECT_EQ( decodedName( { { "O", "ab", V_ASN1_BIT_STRING } } ), "O=#0303016162" );
    EXPECT_EQ( decodedName( { { "1.2.3.4", "ab" } } ), "1.2.3.4=ab" );
}

TEST( CryX509DecodeName, MalformedUtf8IsNoName )
{
    EXPECT_EQ( decodedName( { { "O", "good" },
                   { "CN",
                       "a\xFF"
                       "b",
                       V_ASN1_UTF8STRING } } ),
        "(null)" );
    EXPECT_EQ( decodedName( { { "CN", "\xC3", V_ASN1_UTF8STRING } } ), "(null)" );
}

TEST( CryX509DecodeName, LongNamesComeWhole )
{
    std::string      value( 5000, 'x' );
    X509_NAME       *name  = X509_NAME_new();
    X509_NAME_ENTRY *entry = X509_NAME_ENTRY_create_by_NID(
        nullptr, NID_commonName, V_ASN1_UTF8STRING, (const unsigned char *)value.data(), (int)value.size() );
    ASSERT_EQ( X509_NAME_add_entry( name, entry, -1, 0 ), 1 );
    EXPECT_EQ( text( pb::adopt( cry___X509TryDecodeX509Name( name ) ) ), "CN=" + value );
    X509_NAME_ENTRY_free( entry );
    X509_NAME_free( name );
}

namespace
{

constexpr int characterTypes[] = { V_ASN1_UTF8STRING, V_ASN1_PRINTABLESTRING, V_ASN1_IA5STRING, V_ASN1_T61STRING, V_ASN1_VISIBLESTRING,
    V_ASN1_NUMERICSTRING, V_ASN1_BMPSTRING, V_ASN1_UNIVERSALSTRING, V_ASN1_GENERALSTRING, V_ASN1_OCTET_STRING };

using Name = std::unique_ptr<X509_NAME, decltype( &X509_NAME_free )>;

// Sets the value of a part without any check.
void setValue( X509_NAME *name, int index, int type, std::string_view value )
{
    ASN1_STRING *data = X509_NAME_ENTRY_get_data( X509_NAME_get_entry( name, index ) );
    ASN1_STRING_set( data, value.data(), (int)value.size() );
    data->type = type;
}

// OpenSSL's text, if it is UTF-8.
std::string printedName( const X509_NAME *name )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    X509_NAME_print_ex( bio, name, 0,
        ASN1_STRFLGS_ESC_2253 | ASN1_STRFLGS_ESC_CTRL | ASN1_STRFLGS_ESC_QUOTE | ASN1_STRFLGS_UTF8_CONVERT | ASN1_STRFLGS_DUMP_UNKNOWN |
            ASN1_STRFLGS_DUMP_DER | XN_FLAG_SEP_CPLUS_SPC | XN_FLAG_DN_REV );
    char       *printed = nullptr;
    long        length  = BIO_get_mem_data( bio, &printed );
    std::string out     = text( pb::adopt( pbStringTryCreateFromCstr( printed ? printed : "", length ) ) );
    BIO_free( bio );
    ERR_clear_error();
    return out;
}

void expectPrinted( X509_NAME *name ) { ASSERT_EQ( text( pb::adopt( cry___X509TryDecodeX509Name( name ) ) ), printedName( name ) ); }

}

// Texts outside ASCII, well-formed or not.
TEST( CryX509DecodeName, OtherCharactersAreWrittenAsOpensslWritesThem )
{
    Name name( X509_NAME_new(), X509_NAME_free );
    ASSERT_EQ( X509_NAME_add_entry_by_txt( name.get(), "CN", MBSTRING_ASC, (const unsigned char *)"x", 1, -1, 0 ), 1 );
    auto check = [&]( const std::string &value ) {
        for( int type : { V_ASN1_UTF8STRING, V_ASN1_PRINTABLESTRING, V_ASN1_IA5STRING } )
        {
            setValue( name.get(), 0, type, value );
            expectPrinted( name.get() );
            ASSERT_FALSE( HasFatalFailure() ) << type << " " << hex( value );
        }
    };
    for( PB_CHAR character : { 0x80, 0x7FF, 0x800, 0xD7FF, 0xD800, 0xDFFF, 0xE000, 0xFFFD, 0xFFFE, 0xFFFF, 0x10000, 0x10FFFF, 0x110000, 0x1FFFFF } )
    {
        // Also what is no character.
        std::string value = character < 0x800 ? std::string{ (char)( 0xC0 | character >> 6 ) }
            : character < 0x10000             ? std::string{ (char)( 0xE0 | character >> 12 ), (char)( 0x80 | ( character >> 6 & 0x3F ) ) }
                                              : std::string{ (char)( 0xF0 | character >> 18 ), (char)( 0x80 | ( character >> 12 & 0x3F ) ),
                                        (char)( 0x80 | ( character >> 6 & 0x3F ) ) };
        value += (char)( 0x80 | ( character & 0x3F ) );
        check( value );
        check( "a, " + value + " " );
        check( value.substr( 0, value.size() - 1 ) );
    }
    std::mt19937               random( 1 );
    constexpr std::string_view bytes = "ab ,#\x80\xBF\xC0\xC3\xA9\xE0\xE2\x82\xAC\xED\xA0\xEF\xF0\x9F\x98\xF4\xF8\xFC\xFF";
    for( int time = 0; time < 50000; time++ )
    {
        std::string value( 1 + random() % 6, 0 );
        for( char &c : value )
            c = bytes[random() % bytes.size()];
        check( value );
    }
}

// Every value of one and two bytes, also at the ends and in the middle of a longer value; of the
// types that are not UTF-8 every eleventh.
TEST( CryX509DecodeName, ShortValuesAreWrittenAsOpensslWritesThem )
{
    Name name( X509_NAME_new(), X509_NAME_free );
    ASSERT_EQ( X509_NAME_add_entry_by_txt( name.get(), "CN", MBSTRING_ASC, (const unsigned char *)"x", 1, -1, 0 ), 1 );
    for( int type : characterTypes )
    {
        for( int pair = 0; pair < 0x10000; pair += type == V_ASN1_UTF8STRING ? 1 : 11 )
        {
            const char first = (char)( pair >> 8 ), last = (char)pair;
            for( const std::string &value :
                { std::string( 1, last ), std::string{ first, last }, std::string{ first, 'x', ' ', last }, std::string{ 'x', first, last, 'y' } } )
            {
                setValue( name.get(), 0, type, value );
                expectPrinted( name.get() );
                if( HasFatalFailure() )
                    FAIL() << type << " " << hex( value );
            }
        }
    }
}

TEST( CryX509DecodeName, LongerNamesAreWrittenAsOpensslWritesThem )
{
    std::mt19937               random( 1 );
    constexpr const char      *fields[] = { "CN", "O", "OU", "C", "DC", "emailAddress", "1.2.3.4" };
    constexpr std::string_view common = "abcXYZ019 .-@/:=?'()*_&#,+<>;~!$%[]{}|^`", rare = "\"\\\n\x7F\xC3\xA9";
    for( int time = 0; time < 20000; time++ )
    {
        Name name( X509_NAME_new(), X509_NAME_free );
        int  parts = (int)( random() % 6 );
        for( int part = 0; part < parts; part++ )
        {
            std::string value( random() % 12, 0 );
            for( char &c : value )
                c = random() % 40 ? common[random() % common.size()] : rare[random() % rare.size()];
            const char *field = fields[random() % ( random() % 5 ? 6 : 7 )];
            int         set   = random() % 3 ? 0 : -1;
            ASSERT_EQ( X509_NAME_add_entry_by_txt( name.get(), field, V_ASN1_UTF8STRING, (const unsigned char *)"x", 1, -1, set ), 1 ) << field;
            setValue( name.get(), part, characterTypes[random() % ( random() % 5 ? 3 : 10 )], value );
        }
        expectPrinted( name.get() );
        if( HasFatalFailure() )
            FAIL() << time;
    }
}

TEST( CryX509DecodeInteger, KeepsSizeAndSign )
{
    for( const char *decimal :
        { "0", "1", "-1", "127", "128", "-128", "-129", "9223372036854775807", "9223372036854775808", "-9223372036854775808", "-9223372036854775809",
            "18446744073709551616", "1461501637330902918203684832716283019655932542975", "-1461501637330902918203684832716283019655932542975" } )
        EXPECT_EQ( decodedInteger( decimal ), decimal );
}

TEST( CryX509DecodeInteger, AnotherTypeIsNone )
{
    ASN1_STRING *string = ASN1_STRING_type_new( V_ASN1_OCTET_STRING );
    ASN1_STRING_set( string, "\x01", 1 );
    EXPECT_EQ( cry___X509TryDecodeAsn1Integer( string ), nullptr );
    ASN1_STRING_free( string );
    ERR_clear_error();
}

TEST( CryX509DecodeString, EveryCharacterTypeBecomesUnicode )
{
    EXPECT_EQ( decodedString( V_ASN1_UTF8STRING, "Größe" ), "Größe" );
    EXPECT_EQ( decodedString( V_ASN1_PRINTABLESTRING, "Example" ), "Example" );
    EXPECT_EQ( decodedString( V_ASN1_IA5STRING, "me@example" ), "me@example" );
    EXPECT_EQ( decodedString( V_ASN1_VISIBLESTRING, "abc" ), "abc" );
    EXPECT_EQ( decodedString( V_ASN1_NUMERICSTRING, "0 1" ), "0 1" );
    EXPECT_EQ( decodedString( V_ASN1_T61STRING, "\xC4" ), "Ä" );
    EXPECT_EQ( decodedString( V_ASN1_BMPSTRING, std::string_view( "\x00\xC4\x4E\x2D", 4 ) ), "Ä中" );
    EXPECT_EQ( decodedString( V_ASN1_UNIVERSALSTRING, std::string_view( "\x00\x01\xF6\x00", 4 ) ), "😀" );
    EXPECT_EQ( decodedString( V_ASN1_UTF8STRING, std::string_view( "a\0b", 3 ) ), std::string( "a\0b", 3 ) );
}

TEST( CryX509DecodeString, EmptyIsNone )
{
    for( int type : { V_ASN1_UTF8STRING, V_ASN1_PRINTABLESTRING, V_ASN1_IA5STRING, V_ASN1_BMPSTRING, V_ASN1_UNIVERSALSTRING } )
        EXPECT_EQ( decodedString( type, "" ), "(null)" ) << type;
}

TEST( CryX509DecodeString, MalformedAndOtherTypesAreNone )
{
    EXPECT_EQ( decodedString( V_ASN1_UTF8STRING, "\xFF" ), "(null)" );
    EXPECT_EQ( decodedString( V_ASN1_BMPSTRING, "abc" ), "(null)" );
    EXPECT_EQ( decodedString( V_ASN1_UNIVERSALSTRING, "abcde" ), "(null)" );
    EXPECT_EQ( decodedString( V_ASN1_OCTET_STRING, "abc" ), "(null)" );
    EXPECT_EQ( decodedString( V_ASN1_INTEGER, "abc" ), "(null)" );
    ERR_clear_error();
}

TEST( CryX509DecodeString, IsTheTextThatOpensslMakes )
{
    auto check = []( int type, std::string_view value ) {
        ASN1_STRING *string = ASN1_STRING_type_new( type );
        ASN1_STRING_set( string, value.data(), (int)value.size() );
        unsigned char *wanted = nullptr;
        int            length = ASN1_STRING_to_UTF8( &wanted, string );
        EXPECT_EQ(
            text( pb::adopt( cry___X509TryDecodeAsn1String( string ) ) ), length > 0 ? std::string( (char *)wanted, (size_t)length ) : "(null)" )
            << type << " " << hex( value );
        OPENSSL_free( wanted );
        ASN1_STRING_free( string );
        ERR_clear_error();
    };
    for( int type : characterTypes )
    {
        for( int a = 0; a < 256; a++ )
        {
            check( type, std::string( 1, (char)a ) );
            for( int b = 0; b < 256; b += 5 )
                check( type, std::string{ (char)a, (char)b } );
            check( type, std::string( 11, 'a' ) + (char)a + std::string( 4, 'b' ) );
        }
    }
}

TEST( CryX509DecodeTime, TwoDigitYearsAre1950To2049 )
{
    EXPECT_EQ( utc( "491231235959Z" ), "2049-12-31T23:59:59Z" );
    EXPECT_EQ( utc( "500101000000Z" ), "1950-01-01T00:00:00Z" );
    EXPECT_EQ( utc( "000101000000Z" ), "2000-01-01T00:00:00Z" );
    EXPECT_EQ( utc( "991231235959Z" ), "1999-12-31T23:59:59Z" );
}

TEST( CryX509DecodeTime, FourDigitYearsAreTakenAsTheyAre )
{
    EXPECT_EQ( general( "20250102030405Z" ), "2025-01-02T03:04:05Z" );
    EXPECT_EQ( general( "00000101000000Z" ), "0000-01-01T00:00:00Z" );
    EXPECT_EQ( general( "99991231235959Z" ), "9999-12-31T23:59:59Z" );
    EXPECT_EQ( general( "19490101000000Z" ), "1949-01-01T00:00:00Z" );
}

TEST( CryX509DecodeTime, FractionsAreDropped )
{
    EXPECT_EQ( general( "20250101120000.123Z" ), "2025-01-01T12:00:00Z" );
    EXPECT_EQ( general( "20250101120000.0Z" ), "2025-01-01T12:00:00Z" );
    EXPECT_EQ( general( "20250101120000.999999999999999999Z" ), "2025-01-01T12:00:00Z" );
    EXPECT_EQ( general( "20250101120000.9223372036854775807Z" ), "2025-01-01T12:00:00Z" );
    EXPECT_EQ( general( "20250101120000.0000000000000000000000000000001Z" ), "2025-01-01T12:00:00Z" );
}

TEST( CryX509DecodeTime, MalformedFractionsAreNone )
{
    for( const char *value : { "20250101120000.Z", "20250101120000.", "20250101120000.1", "20250101120000..1Z", "20250101120000.1.Z",
             "20250101120000.-1Z", "20250101120000.+1Z", "20250101120000.1 Z", "20250101120000.1ZZ", "20250101120000.9223372036854775808Z",
             "20250101120000,5Z", "20250101120000.1+0100" } )
        EXPECT_EQ( general( value ), "(null)" ) << value;
    EXPECT_EQ( utc( "250101120000.1Z" ), "(null)" );
}

TEST( CryX509DecodeTime, FieldsAreChecked )
{
    for( const char *value :
        { "250001000000Z", "251301000000Z", "250100000000Z", "250132000000Z", "250101240000Z", "250101006000Z", "250101000062Z" } )
    {
        EXPECT_EQ( utc( value ), "(null)" ) << value;
        EXPECT_EQ( general( std::string( "20" ) + value ), "(null)" ) << value;
    }
    EXPECT_EQ( utc( "250101000060Z" ), "2025-01-01T00:00:60Z" );
    EXPECT_EQ( utc( "250101000061Z" ), "2025-01-01T00:00:61Z" );
    EXPECT_EQ( general( "20251231235960Z" ), "2025-12-31T23:59:60Z" );
    // The decoder does not check that the month has the day.
    EXPECT_EQ( utc( "250230000000Z" ), "2025-02-30T00:00:00Z" );
    EXPECT_EQ( general( "20250431000000Z" ), "2025-04-31T00:00:00Z" );
}

TEST( CryX509DecodeTime, OnlyUniversalTimeWithSecondsIsTaken )
{
    for( const char *value : { "2501010000Z", "250101000000", "250101000000+0000", "250101000000-0500", "2501010000+0000", "250101000000z",
             "250101000000ZZ", "250101000000 Z", "250101000000Z ", " 250101000000Z", "20250101000000Z", "25010100000Z", "2501010000000Z", "", "Z" } )
        EXPECT_EQ( utc( value ), "(null)" ) << value;
    for( const char *value : { "202501010000Z", "20250101000000", "20250101120000+0100", "20250101000000-0500", "2025010100Z", "20250101000000z",
             "20250101000000ZZ", "250101000000Z", "2025010100000Z", "202501010000000Z", "", "Z" } )
        EXPECT_EQ( general( value ), "(null)" ) << value;
}

TEST( CryX509DecodeTime, EveryPlaceMustBeADigit )
{
    for( const std::string &good : { std::string( "250101000000Z" ), std::string( "20250101000000Z" ) } )
    {
        for( size_t index = 0; index < good.size(); index++ )
        {
            for( char bad : { '/', ':', ' ', '-', '+', 'a', '\0', '\xB2' } )
            {
                std::string value = good;
                value[index]      = bad;
                EXPECT_EQ( good.size() == 13 ? utc( value ) : general( value ), "(null)" ) << index << ": " << (int)bad;
            }
        }
    }
}

TEST( CryX509DecodeTime, AnotherTypeOrNoDataIsNone )
{
    EXPECT_EQ( decodedTime( V_ASN1_OCTET_STRING, "250101000000Z" ), "(null)" );
    EXPECT_EQ( decodedTime( V_ASN1_UTF8STRING, "20250101000000Z" ), "(null)" );
    for( int type : { V_ASN1_UTCTIME, V_ASN1_GENERALIZEDTIME } )
    {
        ASN1_TIME *time = ASN1_STRING_type_new( type );
        EXPECT_EQ( cry___X509TryDecodeAsn1Time( time ), nullptr );
        ASN1_STRING_free( time );
    }
}

TEST( CryX509DecodeTime, ANegativeLengthIsNone )
{
    for( int type : { V_ASN1_UTCTIME, V_ASN1_GENERALIZEDTIME } )
    {
        ASN1_TIME *time = ASN1_STRING_type_new( type );
        ASSERT_EQ( ASN1_STRING_set( time, "20250101000000Z", -1 ), 1 );
        time->length = -1;
        EXPECT_EQ( cry___X509TryDecodeAsn1Time( time ), nullptr );
        ASN1_STRING_free( time );
    }
}

// From 1950 to 9999, in steps of about 40 days.
TEST( CryX509DecodeTime, WhatOpensslMakesOfADateDecodesToIt )
{
    int count = 0;
    for( time_t at = -631152000; at <= 253402300799; at += 3464153 )
    {
        ASN1_TIME *own = ASN1_TIME_set( nullptr, at ), *general = ASN1_GENERALIZEDTIME_set( nullptr, at );
        struct tm  parts;
        ASSERT_TRUE( own && general && gmtime_r( &at, &parts ) );
        char wanted[32];
        strftime( wanted, sizeof wanted, "%Y-%m-%dT%H:%M:%SZ", &parts );
        for( const ASN1_TIME *time : { own, general } )
        {
            pb::Ref<PB_TIME> decoded = pb::adopt( cry___X509TryDecodeAsn1Time( time ) );
            ASSERT_TRUE( decoded ) << wanted;
            ASSERT_EQ( text( pb::adopt( pbTimeToString( decoded.get() ) ) ), wanted );
        }
        count += ASN1_STRING_type( own ) == V_ASN1_UTCTIME;
        ASN1_STRING_free( own );
        ASN1_STRING_free( general );
    }
    EXPECT_GT( count, 900 ) << "the years to 2049 are UTC times";
}

TEST( CryX509DecodeTime, EveryKindOfCertificateTimeDecodes )
{
    for( auto [written, wanted] : { std::pair( "19500101000000Z", "1950-01-01T00:00:00Z" ), std::pair( "20491231235959Z", "2049-12-31T23:59:59Z" ),
             std::pair( "20500101000000Z", "2050-01-01T00:00:00Z" ), std::pair( "99991231235959Z", "9999-12-31T23:59:59Z" ) } )
    {
        Cert             cert    = makeCertificate( { .subject = "CN=a", .subjectKey = key( KeyKind::p256 ), .notAfter = written } );
        pb::Ref<PB_TIME> decoded = pb::adopt( cry___X509TryDecodeAsn1Time( X509_get0_notAfter( cert.get() ) ) );
        ASSERT_TRUE( decoded ) << written;
        EXPECT_EQ( text( pb::adopt( pbTimeToString( decoded.get() ) ) ), wanted );
    }
}
