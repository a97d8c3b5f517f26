#include <in/in_dns_idna.h>
#include <in/internal/in_dns_idna.h>

#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>

using namespace support;
using namespace std::string_literals;

namespace
{

bool        ok( const std::string &name ) { return inDnsIdnaDomainNameOk( str( name ).get() ); }
std::string ascii( const std::string &name ) { return text( pb::adopt( inDnsIdnaDomainNameToAscii( str( name ).get() ) ) ); }
std::string unicode( const std::string &name ) { return text( pb::adopt( inDnsIdnaDomainNameToUnicode( str( name ).get() ) ) ); }
std::string problem( const std::string &name ) { return text( pb::adopt( in___DnsIdnaDomainNameProblem( str( name ).get() ) ) ); }
bool        equals( const std::string &a, const std::string &b ) { return inDnsIdnaDomainNameEquals( str( a ).get(), str( b ).get() ); }

// The labels that Split returns, with bars between them.
std::string split( const std::string &name )
{
    pb::Ref<PB_VECTOR> labels = pb::adopt( in___DnsIdnaLabelsTrySplit( str( name ).get() ) );
    if( !labels )
        return "(null)";
    std::string joined;
    for( const std::string &label : texts( labels.get() ) )
        joined += ( joined.empty() ? "" : "|" ) + label;
    return joined;
}

std::string compose( const std::vector<std::string> &labels ) { return text( pb::adopt( in___DnsIdnaLabelsCompose( vec( labels ).get() ) ) ); }

const std::string none = "(null)";

void expectName( const std::string &name, const std::string &asciiForm, const std::string &unicodeForm )
{
    SCOPED_TRACE( name );
    EXPECT_TRUE( ok( name ) );
    EXPECT_EQ( problem( name ), none );
    EXPECT_EQ( ascii( name ), asciiForm );
    EXPECT_EQ( unicode( name ), unicodeForm );
    EXPECT_NE( split( name ), none );
    for( const std::string &form : { asciiForm, unicodeForm } )
    {
        EXPECT_EQ( ascii( form ), asciiForm ) << form;
        EXPECT_EQ( unicode( form ), unicodeForm ) << form;
        EXPECT_TRUE( equals( name, form ) ) << form;
        EXPECT_TRUE( equals( form + ".", name ) ) << form;
        EXPECT_FALSE( equals( "x" + form, name ) ) << form;
        EXPECT_FALSE( equals( name, form + ".x" ) ) << form;
    }
}

void expectAscii( const std::string &name ) { expectName( name, name, name ); }

void expectNoName( const std::string &name, const std::string &reason )
{
    SCOPED_TRACE( name.substr( 0, 300 ) );
    EXPECT_FALSE( ok( name ) );
    EXPECT_EQ( ascii( name ), none );
    EXPECT_EQ( unicode( name ), none );
    EXPECT_EQ( split( name ), none );
    std::string why = problem( name );
    EXPECT_NE( why, none );
    EXPECT_NE( why.find( reason ), why.npos ) << why;
    EXPECT_TRUE( equals( name, name ) );
    EXPECT_FALSE( equals( name, name + "." ) );
    EXPECT_FALSE( equals( name + "x", name ) );
    EXPECT_FALSE( equals( name, "example.com" ) );
    EXPECT_FALSE( equals( "example.com", name ) );
}

constexpr char alphabetReason[] = "has a character that is no letter, digit, hyphen, low line or asterisk";
constexpr char emptyReason[]    = "is empty";
constexpr char hyphenReason[]   = "begins or ends with a hyphen";
constexpr char labelReason[]    = "has more than 63 characters in ASCII form";
constexpr char nameReason[]     = "it has more than 253 characters in ASCII form";
constexpr char addressReason[]  = "it is an IP address";
// The rest of the text comes from libidn2.
constexpr char idnaReason[] = "label ";

// A plain ASCII name of this length: labels of 63 characters, then one of the rest.
std::string nameOf( size_t length )
{
    std::string name;
    while( name.size() < length )
        name += name.size() % 64 == 63 ? '.' : 'a';
    return name;
}

std::string repeated( const std::string &text, size_t count )
{
    std::string all;
    for( ; count; count-- )
        all += text;
    return all;
}

}

TEST( InDnsIdna, TakesPlainNames )
{
    for( const char *name : { "a", "0", "com", "example.com", "www.example.com", "EXAMPLE.Com", "a.b.c.d.e.f.g", "x1.y2", "1.com", "com.1", "3com",
             "a-b.c-d", "xn", "xn-a", "x--n", "n--x", "axn--a", "localhost", "0.0.0.0.0", "123" } )
        expectAscii( name );
}

TEST( InDnsIdna, TakesLowLinesAndAsterisksAnywhere )
{
    for( const char *name : { "_", "*", "_.a", "a._", "*.a", "a.*", "_dmarc.example.com", "_sip._tcp.example.com", "a_b.com", "a_.com", "_a", "a_",
             "*.example.com", "www.*.com", "a*b.com", "*a", "a*", "**", "__", "_*_.*_*", "*._", "_-_", "*-*", "a.b_c.*" } )
        expectAscii( name );
}

TEST( InDnsIdna, RefusesHyphensAtTheEndsOfALabelOnly )
{
    for( const char *name : { "a-b", "a--b", "ab--c", "12--34.com", "a---b", "_--_", "x-n--a", "bq--abc.com", "a.b--c--d.e" } )
        expectAscii( name );
    for( const char *name :
        { "-", "--", "---", "-a", "a-", "-a-", "a.-", "-.a", "a.-b", "a-.b", "a.b-", "a.b-.", "-a.", "a.--b", "--b.a", "a--", "a.b--.c" } )
        expectNoName( name, hyphenReason );
}

TEST( InDnsIdna, RefusesEmptyLabels )
{
    for( const char *name : { "", ".", "..", "...", ".a", "..a", "a..", "a..b", "a.b..", ".a.b", "a...b", "a.b...", "\u3002", "\u3002a",
             "a\u3002\u3002", "a.\u3002b", "a\u3002.", "\u00FC..", "\u00FC..\u00FC", ".\u00FC", "xn--tda..", "xn--tda..a", ".xn--tda" } )
        expectNoName( name, emptyReason );
    EXPECT_EQ( problem( "" ), "label 1: is empty" );
    EXPECT_EQ( problem( "a..b" ), "label 2: is empty" );
    EXPECT_EQ( problem( "\u00FC.b.." ), "label 3: is empty" );
}

TEST( InDnsIdna, TakesOneFullStopAtTheEnd )
{
    expectName( "com.", "com", "com" );
    expectName( "www.example.com.", "www.example.com", "www.example.com" );
    expectName( "EXAMPLE.COM.", "EXAMPLE.COM", "EXAMPLE.COM" );
    expectName( "b\u00FCcher.de.", "xn--bcher-kva.de", "b\u00FCcher.de" );
    expectName( "xn--bcher-kva.de.", "xn--bcher-kva.de", "b\u00FCcher.de" );
    expectName( "example.com\u3002", "example.com", "example.com" );
    expectName( "b\u00FCcher.de\uFF0E", "xn--bcher-kva.de", "b\u00FCcher.de" );
    expectName( "*._.", "*._", "*._" );
}

TEST( InDnsIdna, LabelsHaveAtMost63Octets )
{
    for( size_t length : { 1u, 2u, 62u, 63u } )
    {
        std::string label( length, 'a' );
        expectAscii( label );
        expectAscii( label + ".com" );
        expectAscii( "www." + label );
    }
    for( size_t length : { 64u, 65u, 100u, 253u } )
    {
        std::string label( length, 'a' );
        expectNoName( label, labelReason );
        expectNoName( "www." + label + ".", labelReason );
        expectNoName( label + ".\u00FC", labelReason );
    }
    EXPECT_EQ( problem( "a." + std::string( 64, '*' ) ), "label 2: "s + labelReason );
}

TEST( InDnsIdna, LabelsOfIdnaHaveAtMost63OctetsInAsciiForm )
{
    expectName( "\u00FC" + std::string( 54, 'a' ), "xn--" + std::string( 54, 'a' ) + "-4tf", "\u00FC" + std::string( 54, 'a' ) ); // 62
    expectName( "\u00FC" + std::string( 55, 'a' ), "xn--" + std::string( 55, 'a' ) + "-oxf", "\u00FC" + std::string( 55, 'a' ) ); // 63
    expectNoName( "\u00FC" + std::string( 56, 'a' ), idnaReason );
    expectNoName( "xn--" + std::string( 56, 'a' ) + "-70f", idnaReason );
    expectName( repeated( "\u00FC", 57 ), "xn--td" + std::string( 57, 'a' ), repeated( "\u00FC", 57 ) ); // 63
    expectNoName( repeated( "\u00FC", 58 ), idnaReason );
    // The length after the mapping counts.
    expectName( repeated( "\uFF41", 63 ), std::string( 63, 'a' ), std::string( 63, 'a' ) );
    expectName( std::string( 63, 'a' ) + "\u00AD", std::string( 63, 'a' ), std::string( 63, 'a' ) );
    expectNoName( repeated( "\uFF41", 64 ), idnaReason );
    expectName( repeated( "\uFB01", 31 ), repeated( "fi", 31 ), repeated( "fi", 31 ) ); // 62
    expectNoName( repeated( "\uFB01", 32 ), idnaReason );
}

TEST( InDnsIdna, NamesHaveAtMost253Octets )
{
    expectAscii( nameOf( 252 ).substr( 1 ) );
    expectAscii( nameOf( 253 ) );
    EXPECT_TRUE( ok( nameOf( 253 ) + "." ) );
    EXPECT_EQ( ascii( nameOf( 253 ) + "." ), nameOf( 253 ) );
    expectNoName( nameOf( 254 ), nameReason );
    expectNoName( nameOf( 254 ) + ".", nameReason );
    expectNoName( nameOf( 255 ), nameReason );
    expectNoName( nameOf( 10000 ), nameReason );
    EXPECT_FALSE( ok( nameOf( 253 ) + ".." ) );
    EXPECT_EQ( problem( nameOf( 254 ) ), nameReason );
}

TEST( InDnsIdna, NamesOfIdnaHaveAtMost253OctetsInAsciiForm )
{
    // The first label has 13 octets; 239 follow its full stop.
    std::string rest = "." + nameOf( 239 );
    expectName( "b\u00FCcher" + rest, "xn--bcher-kva" + rest, "b\u00FCcher" + rest );
    EXPECT_EQ( ascii( "b\u00FCcher" + rest ).size(), 253u );
    EXPECT_TRUE( ok( "b\u00FCcher" + rest + "." ) );
    EXPECT_TRUE( ok( "xn--bcher-kva" + rest + "\u3002" ) );
    EXPECT_FALSE( ok( "b\u00FCcher" + rest + ".." ) );
    expectNoName( "b\u00FCcher" + rest + "a", nameReason );
    expectNoName( "b\u00FCcher" + rest + "a.", nameReason );
    expectNoName( "xn--bcher-kva" + rest + "a", nameReason );
    // After the mapping, the name is shorter.
    std::string wide = repeated( "\uFF41", 63 );
    EXPECT_EQ( ascii( wide + "." + wide + "." + wide + "." + repeated( "\uFF41", 61 ) ), nameOf( 253 ) );
    expectNoName( wide + "." + wide + "." + wide + "." + repeated( "\uFF41", 62 ), nameReason );
}

TEST( InDnsIdna, RefusesEveryOtherAsciiCharacter )
{
    const std::string good = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_*.";
    for( int c = 0; c < 0x80; c++ )
    {
        std::string character( 1, (char)c );
        bool        taken = good.find( (char)c ) != good.npos;
        for( const std::string &name :
            { "a" + character + "b", "www.a" + character + "b.com", "\u00FC.a" + character + "b", "a" + character + "b.xn--tda" } )
        {
            EXPECT_EQ( ok( name ), taken ) << c;
            if( !taken )
                expectNoName( name, alphabetReason );
        }
        // It is also refused beside a character that is not ASCII.
        if( !taken )
            expectNoName( "a\u00FC" + character + "b", "" );
    }
}

TEST( InDnsIdna, RefusesWhatIsNoNameAtAll )
{
    for( const char *name : { " ", "a b", " a", "a ", "a. b", "a,b", "a.b,c.d", "a:b", "example.com:80", "http://example.com", "example.com/", "/",
             "a/b", "user@example.com", "a;b", "a#b", "a?b", "a%41", "(a)", "a\\b", "a\tb", "a\n", "\ra", "a\x01", "a\x7F", "'a'", "a+b", "a=b",
             "a|b", "<a>", "[::1]", "::1", "2001:db8::1" } )
        expectNoName( name, alphabetReason );
    for( const std::string &name :
        { "\0"s, "a\0"s, "\0a"s, "a\0b"s, "a.\0"s, "a.b\0.c"s, "\u00FC\0"s, "\0\u00FC"s, "xn--tda\0"s, "xn--tda\0x"s, "xn--\0tda"s, "\u00FC.a\0b"s } )
        expectNoName( name, alphabetReason );
}

TEST( InDnsIdna, RefusesIpAddresses )
{
    for( const char *name :
        { "1.2.3.4", "0.0.0.0", "255.255.255.255", "127.0.0.1", "192.168.0.1", "10.20.30.40", "1.2.3.4.", "255.255.255.255.", "9.99.199.249" } )
        expectNoName( name, addressReason );
    for( const char *name : { "1.2.3.4\u3002", "1\u30022\uFF0E3\uFF614", "\uFF11.2.3.4", "\uFF11\uFF12\uFF17.0.0.1", "\u00B9.\u00B2.\u00B3.\u2074",
             "1.2.3.4\u00AD", "1.2\u00AD.3.4.", "\uFF11.\uFF12.\uFF13.\uFF14." } )
        expectNoName( name, addressReason );
    // These are not addresses.
    for( const char *name :
        { "1.2.3", "1.2.3.4.5", "01.2.3.4", "1.2.3.04", "00.0.0.0", "256.1.1.1", "1.1.1.256", "1.2.3.1000", "1.2.3.a", "a.1.2.3.4", "1.2.3.4.a",
            "1.2.3.0x4", "1.2.3.4_", "*.2.3.4", "1.2.3.99999999999999999999", "0x7f000001", "2130706433", "1.2.3.4.in-addr.arpa" } )
        expectAscii( name );
    expectName( "\uFF11.2.3", "1.2.3", "1.2.3" );
    expectName( "\uFF10\uFF11.2.3.4", "01.2.3.4", "01.2.3.4" );
    expectName( "\u00FC.1.2.3.4", "xn--tda.1.2.3.4", "\u00FC.1.2.3.4" );
}

TEST( InDnsIdna, EveryNumberOfAByteMakesAnAddressAndNoOther )
{
    for( unsigned number = 0; number < 1000; number++ )
    {
        std::string digits = std::to_string( number );
        for( const std::string &name : { digits + ".1.2.3", "1." + digits + ".2.3", "1.2.3." + digits, "1.2.3." + digits + "." } )
        {
            EXPECT_EQ( ok( name ), number > 255 ) << name;
            EXPECT_EQ( problem( name ), number > 255 ? none : addressReason ) << name;
        }
    }
}

TEST( InDnsIdna, ConvertsBetweenLabelsOfBothForms )
{
    expectName( "b\u00FCcher.example", "xn--bcher-kva.example", "b\u00FCcher.example" );
    expectName( "xn--bcher-kva.example", "xn--bcher-kva.example", "b\u00FCcher.example" );
    expectName( "www.caf\u00E9.fr", "www.xn--caf-dma.fr", "www.caf\u00E9.fr" );
    expectName( "\u65E5\u672C\u8A9E.jp", "xn--wgv71a119e.jp", "\u65E5\u672C\u8A9E.jp" );
    expectName( "\u4E2D\u56FD", "xn--fiqs8s", "\u4E2D\u56FD" );
    expectName( "\u043F\u0440\u0438\u043C\u0435\u0440.\u0440\u0444", "xn--e1afmkfd.xn--p1ai", "\u043F\u0440\u0438\u043C\u0435\u0440.\u0440\u0444" );
    expectName( "\u0645\u062B\u0627\u0644.com", "xn--mgbh0fb.com", "\u0645\u062B\u0627\u0644.com" );
    expectName( "\uD55C\uAD6D", "xn--3e0b707e", "\uD55C\uAD6D" );
    expectName( "\u00E4.xn--tda.a_b.*", "xn--4ca.xn--tda.a_b.*", "\u00E4.\u00FC.a_b.*" );
    expectName( "\u00E9_", "xn--_-9fa", "\u00E9_" );
}

TEST( InDnsIdna, KeepsPlainLabelsAsTheyAreWritten )
{
    expectName( "WWW.b\u00FCcher.DE", "WWW.xn--bcher-kva.DE", "WWW.b\u00FCcher.DE" );
    expectName( "ab--c.\u00FC", "ab--c.xn--tda", "ab--c.\u00FC" );
    expectName( "_Tcp.*.\u00FC.", "_Tcp.*.xn--tda", "_Tcp.*.\u00FC" );
}

TEST( InDnsIdna, MapsCharacters )
{
    expectName( "B\u00DCCHER.De", "xn--bcher-kva.De", "b\u00FCcher.De" );
    expectName( "\uFF45\uFF58\uFF41\uFF4D\uFF50\uFF4C\uFF45.com", "example.com", "example.com" );
    expectName( "\uFF21\uFF22\uFF23", "abc", "abc" );
    expectName( "\uFB01", "fi", "fi" );
    expectName( "\u212A", "k", "k" );
    expectName( "\u2177", "viii", "viii" );
    expectName( "\uFF3F", "_", "_" );
    expectName( "\uFF0A.com", "*.com", "*.com" );
    expectName( "a\uFF0Db", "a-b", "a-b" );
    expectName( "u\u0308", "xn--tda", "\u00FC" );
    expectName( "U\u0308", "xn--tda", "\u00FC" );
    expectName( "\u0130", "xn--i-9bb", "i\u0307" );
    expectName( "\u337F", "xn--6oqv20b1zgzxr", "\u682A\u5F0F\u4F1A\u793E" );
    expectName( "\U00010400", "xn--hj8c", "\U00010428" );
    // Characters that are mapped to a label that stands for another label.
    expectName( "\uFF58\uFF4E\uFF0D\uFF0D\uFF54\uFF44\uFF41", "xn--tda", "\u00FC" );
    expectName( "\uFF58n--tda", "xn--tda", "\u00FC" );
    expectName( "xn--tda\u00AD", "xn--tda", "\u00FC" );
    // Characters that are mapped to characters that may not be in a name, or not at this place.
    for( const char *name : { "\uFF1B", "\u00A0", "a\u3000b", "\u2100", "a\uFF0Fb", "a\uFF1A", "\uFF08a\uFF09" } )
        expectNoName( name, alphabetReason );
    expectNoName( "\uFF0Da", "" );
    expectNoName( "a\uFF0D", "" );
    expectNoName( "\uFF58\uFF4E\uFF0D\uFF0D", "" );
}

TEST( InDnsIdna, RefusesLabelsThatAreMappedToNothing )
{
    for( const char *name :
        { "\u00AD", "\u200B", "\u2060", "\uFEFF", "\u00AD\u200B", "\u00AD.com", "a.\u00AD.b", "a.\u00AD", "\u00FC.\u00AD.", "\uFE0F" } )
        expectNoName( name, emptyReason );
    expectName( "a\u00ADb.com", "ab.com", "ab.com" );
    expectName( "\u00ADb.c\u200B\u2060", "b.c", "b.c" );
    expectName( "\u00FC\u00AD", "xn--tda", "\u00FC" );
}

TEST( InDnsIdna, TakesTheOtherFullStopsAsSeparators )
{
    for( const char *stop : { "\u3002", "\uFF0E", "\uFF61" } )
    {
        std::string s = stop;
        expectName( "www" + s + "example" + s + "com", "www.example.com", "www.example.com" );
        expectName( "b\u00FCcher" + s + "de" + s, "xn--bcher-kva.de", "b\u00FCcher.de" );
        EXPECT_EQ( split( "a" + s + "b.c" + s ), "a|b|c" );
        expectNoName( s, emptyReason );
        expectNoName( s + "a", emptyReason );
        expectNoName( "a" + s + s, emptyReason );
        expectNoName( "a" + s + ".", emptyReason );
        expectNoName( "a." + s, emptyReason );
    }
}

TEST( InDnsIdna, RefusesCharactersThatLookLikeFullStops )
{
    for( const char *name : { "a\u2024b", "a\u2025b", "a\u2026b", "\u2488", "1\u2489com", "a\uFE52b", "\u33C2", "a\u06D4b", "\u2026" } )
        expectNoName( name, "label 1: " );
}

TEST( InDnsIdna, RefusesBadLabelsInAsciiForm )
{
    for( const char *name : {
             "xn--",     // nothing follows
             "xn---",    // only a hyphen follows
             "xn--abc-", // ASCII only
             "xn--a-",
             "xn--example-",    // the same
             "xn--zzzzzz99999", // too large a number
             "xn--tda-",        // a hyphen last
             "xn--t*a",
             "xn--t_d.com", // not Punycode
             "xn--7ba",     // a capital letter
             "xn--CAF-pia", // another
             "xn--jm6c",    // a ligature
             "xn--kba",
             "xn--kba1n", // a soft hyphen
             "xn--a-ccb", // a combining mark that composes with the letter before it
             "xn----ufa",
             "xn----tfa",    // a hyphen first, last
             "xn--ab---8na", // hyphens third and fourth
             "xn--.com",
             "www.xn--",
             "xn--.",
             "xn--*-9fa",
             "xn--e28h",
             "xn--0ca24w",
             "xn--ab-m1t",
         } )
        expectNoName( name, idnaReason );
    EXPECT_EQ( problem( "www.xn--.com" ).substr( 0, 9 ), "label 2: " );
}

TEST( InDnsIdna, TakesLabelsInAsciiFormInEitherCase )
{
    for( const char *name : { "xn--bcher-kva.de", "XN--bcher-kva.de", "Xn--Bcher-Kva.de", "xN--BCHER-KVA.de" } )
    {
        EXPECT_TRUE( ok( name ) ) << name;
        EXPECT_EQ( ascii( name ), "xn--bcher-kva.de" ) << name;
        EXPECT_EQ( unicode( name ), "b\u00FCcher.de" ) << name;
        EXPECT_TRUE( equals( name, "B\u00DCCHER.DE." ) ) << name;
    }
    for( const char *name : { "XN--", "Xn--", "xN--abc-", "XN--ZZZZZZ99999", "XN--E28H" } )
        expectNoName( name, idnaReason );
}

TEST( InDnsIdna, KeepsSharpSAndFinalSigma )
{
    expectName( "fa\u00DF.de", "xn--fa-hia.de", "fa\u00DF.de" );
    expectName( "stra\u00DFe", "xn--strae-oqa", "stra\u00DFe" );
    expectName( "\u03B2\u03CC\u03BB\u03BF\u03C2.com", "xn--nxasmm1c.com", "\u03B2\u03CC\u03BB\u03BF\u03C2.com" );
    expectName( "\u03B2\u03CC\u03BB\u03BF\u03C3.com", "xn--nxasmq6b.com", "\u03B2\u03CC\u03BB\u03BF\u03C3.com" );
    expectName( "\u0392\u038C\u039B\u039F\u03A3.com", "xn--nxasmq6b.com", "\u03B2\u03CC\u03BB\u03BF\u03C3.com" );
    EXPECT_FALSE( equals( "fa\u00DF.de", "fass.de" ) );
    EXPECT_FALSE( equals( "\u03B2\u03CC\u03BB\u03BF\u03C2.com", "\u03B2\u03CC\u03BB\u03BF\u03C3.com" ) );
}

TEST( InDnsIdna, TakesJoinersWhereTheyBelong )
{
    expectName( "\u0915\u094D\u200D\u0937", "xn--11b2ezcw70k", "\u0915\u094D\u200D\u0937" );
    expectName( "\u0915\u094D\u200C\u0937", "xn--11b2ezcs70k", "\u0915\u094D\u200C\u0937" );
    expectName( "\u0646\u0627\u0645\u0647\u200C\u0627\u06CC", "xn--mgba3gch31f060k", "\u0646\u0627\u0645\u0647\u200C\u0627\u06CC" );
    EXPECT_FALSE( equals( "\u0646\u0627\u0645\u0647\u200C\u0627\u06CC", "\u0646\u0627\u0645\u0647\u0627\u06CC" ) );
    for( const char *name : { "a\u200Db", "a\u200Cb", "\u200D", "\u200C", "a\u200D", "\u200Ca", "\u0915\u200D\u0937" } )
        expectNoName( name, idnaReason );
}

TEST( InDnsIdna, RefusesWhatIdna2008DoesNotTake )
{
    for( const char *name : { "\U0001F600", "\U0001F600.com", "a.\u2615", "\u2665", "\u00A1", "a\uFFFD", "\u0085", "a\u2028b", "\uE000", "\U000E0001",
             "\U0010FFFF", "\u0301", "\u0301a", "\u00FC-", "-\u00FC", "ab--\u00FC", "\u00FC*", "*\u00FC", "\u0378" } )
        expectNoName( name, "label " );
}

TEST( InDnsIdna, MixesScripts )
{
    expectName( "\u0430pple.com", "xn--pple-43d.com", "\u0430pple.com" );
    expectName( "\u4E2Da\u0436", "xn--a-ltb7197c", "\u4E2Da\u0436" );
    EXPECT_FALSE( equals( "\u0430pple.com", "apple.com" ) );
}

TEST( InDnsIdna, TakesNamesThatSatisfyTheBidiRule )
{
    expectName( "\u05D0\u05D1", "xn--4dbc", "\u05D0\u05D1" );
    expectName( "\u05D01", "xn--1-zhc", "\u05D01" );
    // Labels of both directions may have hyphens inside and European digits at the end.
    expectName( "\u05D0-\u05D1.a-b.c1", "xn----zhce.a-b.c1", "\u05D0-\u05D1.a-b.c1" );
    expectName( "\u05D0-1.a--1", "xn---1-uld.a--1", "\u05D0-1.a--1" );
    expectName( "a_b*c.\u05D0", "a_b*c.xn--4db", "a_b*c.\u05D0" );
    // Arabic-Indic digits follow Arabic letters. Extended ones (U+06F0) have the class of European
    // digits.
    expectName( "\u0627\u0660.com", "xn--mgb8i.com", "\u0627\u0660.com" );
    expectName( "\u0627\u06F01.com", "xn--1-ymc71d.com", "\u0627\u06F01.com" );
    // Marks at the end do not count.
    expectName( "\u05D0\u05BC.com", "xn--kdb3b.com", "\u05D0\u05BC.com" );
    expectName( "\u05D01\u05BC.com", "xn--1-vgc2d.com", "\u05D01\u05BC.com" );
    expectName( "a\u05BC\u05B0.\u05D0", "xn--a-6fc0b.xn--4db", "a\u05B0\u05BC.\u05D0" );
    // Each label has letters of one direction.
    expectName( "\u05D0.\u0627.\u00FC.a", "xn--4db.xn--mgb.xn--tda.a", "\u05D0.\u0627.\u00FC.a" );
    expectName( "xn--4db.A1", "xn--4db.A1", "\u05D0.A1" );
}

TEST( InDnsIdna, RefusesNamesThatBreakTheBidiRule )
{
    constexpr char begins[] = "does not begin with a letter, in a name with right-to-left characters";
    constexpr char ends[]   = "does not end with a letter or digit, in a name with right-to-left characters";
    constexpr char endsR[]  = "has right-to-left characters and does not end with a letter or digit";
    constexpr char mixed[]  = "mixes European and Arabic-Indic digits";
    // One label with right-to-left characters is enough, on each side and in each form.
    for( const char *other : { "\u05D0", "xn--4db", "XN--4DB", "\u0627", "xn--mgb", "\u0627\u0660", "a.\u05D0", "\U0001E922" } )
    {
        std::string name = other;
        for( const char *label : { "1", "0a", "123", "_a", "*a", "**", "_", "1-a", "0\u00E0", "xn--0-sfa", "\u02BAa", "\u06F0" } )
        {
            expectNoName( label + ( "." + name ), begins );
            expectNoName( name + "." + label, begins );
        }
        for( const char *label : { "a_", "a*", "a1_", "a\u02BA", "xn--a-v6a", "a\u02BA\u05BC" } )
        {
            expectNoName( label + ( "." + name ), ends );
            expectNoName( name + "." + label + ".", ends );
        }
    }
    for( const char *name : { "\u05D0\u02BA\u05BC", "a.\u0627\u02BA\u05BC" } )
        expectNoName( name, endsR );
    for( const char *name : { "\u06270\u0660", "xn--0-ymc6o", "xn--0-zhc74b", "\u0627\u06F0\u0660", "a.\u0627\u06601", "\u0627\u0660-1.a" } )
        expectNoName( name, mixed );
    // The words are libidn2's.
    for( const char *name : { "1\u05D0", "\u05D0\u05D1a", "a\u05D0", "\u0663", "\u0627a\u0627", "\u05D0\u05D1a.com", "www.\u00E0\u05D0", "\u05D0_",
             "\u05D0\u02BA", "\u0660\u0627", "\u05D0-", "-\u05D0" } )
        expectNoName( name, idnaReason );
    EXPECT_EQ( problem( "a.\u05D0.1.2" ), "label 3: "s + begins );
    EXPECT_EQ( problem( "1.a_.\u05D0" ), "label 1: "s + begins );
}

TEST( InDnsIdna, LeavesOtherNamesToOtherRules )
{
    expectName( "0\u00E0.com", "xn--0-sfa.com", "0\u00E0.com" );
    expectName( "1.xn--tda._a.a_", "1.xn--tda._a.a_", "1.\u00FC._a.a_" );
    expectName( "a\u02BA.1", "xn--a-v6a.1", "a\u02BA.1" );
    expectName( "\u06F0.com", "xn--dmb.com", "\u06F0.com" );
}

TEST( InDnsIdna, LoneAsteriskStandsForALabelOfEitherDirection )
{
    expectName( "*.\u05D0\u05D1", "*.xn--4dbc", "*.\u05D0\u05D1" );
    expectName( "*.xn--4dbc.com", "*.xn--4dbc.com", "*.\u05D0\u05D1.com" );
    expectName( "\u05D0.*.com", "xn--4db.*.com", "\u05D0.*.com" );
}

TEST( InDnsIdna, EqualsNamesInAnyForm )
{
    const std::vector<std::vector<std::string>> same = {
        { "example.com", "EXAMPLE.COM", "Example.com.", "\uFF45xample.com", "example\u3002com", "ex\u00ADample.com", "EXAMPLE.com\uFF61" },
        { "b\u00FCcher.de", "bu\u0308cher.de", "B\u00DCCHER.DE.", "xn--bcher-kva.de", "XN--BCHER-KVA.DE", "Xn--Bcher-kva.dE.",
            "\uFF42\u00FCcher\uFF0Ede" },
        { "bucher.de", "BUCHER.de." },
        { "_a.*.com", "_A.*.COM." },
        { "fa\u00DF.de", "FA\u00DF.de", "xn--fa-hia.de" },
        { "fass.de", "FASS.DE" },
        { "com", "com.", "COM" },
        { "example.com.com", "example.com.com." },
        { "x", "X." },
    };
    for( size_t a = 0; a < same.size(); a++ )
    {
        for( size_t b = 0; b < same.size(); b++ )
        {
            for( const std::string &nameA : same[a] )
            {
                for( const std::string &nameB : same[b] )
                    EXPECT_EQ( equals( nameA, nameB ), a == b ) << nameA << " " << nameB;
            }
        }
    }
}

TEST( InDnsIdna, EqualsWhatIsNoNameByItsCharacters )
{
    for( const std::string &name :
        { ""s, "."s, "a b"s, "A B"s, "a..b"s, "a.b.."s, "1.2.3.4"s, "1.2.3.4."s, "::1"s, "a\0b"s, "a\0"s, "-a"s, "xn--"s, "XN--"s, "\U0001F600"s,
            "\u00FC*"s, "U\u0308*"s, "\u00DC*"s, std::string( 64, 'a' ), std::string( 64, 'A' ), nameOf( 254 ), nameOf( 254 ) + "."s } )
    {
        ASSERT_FALSE( ok( name ) ) << name;
        for( const std::string &other : { ""s, "."s, "a b"s, "A B"s, "a..b"s, "a.b.."s, "1.2.3.4"s, "1.2.3.4."s, "::1"s, "a\0b"s, "a\0"s, "a"s, "-a"s,
                 "-A"s, "xn--"s, "XN--"s, "\U0001F600"s, "\u00FC*"s, "U\u0308*"s, "\u00DC*"s, "example.com"s, "b\u00FCcher.de"s,
                 std::string( 64, 'a' ), std::string( 64, 'A' ), nameOf( 254 ), nameOf( 254 ) + "."s } )
        {
            EXPECT_EQ( equals( name, other ), name == other ) << name << " " << other;
            EXPECT_EQ( equals( other, name ), name == other ) << name << " " << other;
        }
    }
}

TEST( InDnsIdna, SplitsIntoLabelsAsTheyAreWritten )
{
    EXPECT_EQ( split( "com" ), "com" );
    EXPECT_EQ( split( "www.Example.com" ), "www|Example|com" );
    EXPECT_EQ( split( "www.Example.com." ), "www|Example|com" );
    EXPECT_EQ( split( "*._a.x" ), "*|_a|x" );
    EXPECT_EQ( split( "B\u00FCcher.XN--TDA.de" ), "B\u00FCcher|XN--TDA|de" );
    EXPECT_EQ( split( "a\u3002b\uFF0Ec\uFF61" ), "a|b|c" );
    EXPECT_EQ( split( "1.2.3" ), "1|2|3" );
    for( const char *name : { "", ".", "a..b", "1.2.3.4", "a b", "xn--", "\u00AD" } )
        EXPECT_EQ( split( name ), none ) << name;
}

TEST( InDnsIdna, ComposesLabels )
{
    EXPECT_EQ( compose( {} ), "" );
    EXPECT_EQ( compose( { "com" } ), "com" );
    EXPECT_EQ( compose( { "www", "example", "com" } ), "www.example.com" );
    EXPECT_EQ( compose( { "b\u00FCcher", "de" } ), "b\u00FCcher.de" );
    EXPECT_EQ( compose( { "", "" } ), "." );
    EXPECT_EQ( compose( { "a", "", "b." } ), "a..b." );
    EXPECT_EQ( compose( { "a\0b"s, "-" } ), "a\0b.-"s );
    for( const char *name : { "com", "www.example.com", "B\u00FCcher.XN--TDA.de", "*._a.x" } )
    {
        pb::Ref<PB_VECTOR> labels = pb::adopt( in___DnsIdnaLabelsTrySplit( str( name ).get() ) );
        EXPECT_EQ( text( pb::adopt( in___DnsIdnaLabelsCompose( labels.get() ) ) ), name );
    }
}

TEST( InDnsIdna, SaysWhatIsWrong )
{
    EXPECT_EQ( problem( "www.example.com" ), none );
    EXPECT_EQ( problem( "www.b\u00FCcher.com" ), none );
    EXPECT_EQ( problem( "www.a b.com" ), "label 2: "s + alphabetReason );
    EXPECT_EQ( problem( "www.com.-a" ), "label 3: "s + hyphenReason );
    EXPECT_EQ( problem( "1.2.3.4" ), addressReason );
    // The words are libidn2's.
    EXPECT_GT( problem( "\U0001F600.com" ).size(), sizeof "label 1: " );
    EXPECT_EQ( problem( "a.\U0001F600.com" ).substr( 0, 9 ), "label 2: " );
}

// A second implementation of the rules for plain ASCII names, label by label.
static bool plainOk( std::string name )
{
    if( name.ends_with( '.' ) )
        name.pop_back();
    if( name.size() > 253 )
        return false;
    std::vector<std::string> labels( 1 );
    for( char c : name )
    {
        if( c == '.' )
            labels.emplace_back();
        else
            labels.back() += c;
    }
    int bytes = 0;
    for( const std::string &label : labels )
    {
        if( label.empty() || label.size() > 63 || label[0] == '-' || label[label.size() - 1] == '-' )
            return false;
        if( label.find_first_not_of( "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_*" ) != label.npos )
            return false;
        bool digits = label.find_first_not_of( "0123456789" ) == label.npos && label.size() <= 3;
        bytes += digits && std::to_string( std::stoi( label ) ) == label && std::stoi( label ) <= 255;
    }
    return !( labels.size() == 4 && bytes == 4 );
}

// Whether a label begins with xn--. Other tests check such labels.
static bool isIdnaSomewhere( std::string name )
{
    std::transform( name.begin(), name.end(), name.begin(), []( char c ) { return c == 'X' ? 'x' : c == 'N' ? 'n' : c; } );
    return ( "." + name ).find( ".xn--" ) != std::string::npos;
}

static std::string randomName( std::mt19937 &random )
{
    static const std::string pieces[] = { "a", "Z", "b9", "0", "1", "25", "255", "256", "-", "--", "_", "*", ".", ".", ".", ".", "x", "xn", "n-",
        std::string( 20, 'q' ), std::string( 62, 'r' ), std::string( 63, 's' ) + ".", "1.2.3", ".4", "1.2.3.4" };
    static const std::string bad[]    = { " ", ",", ":", "/", "\0"s, "@", "\x7F", "[", "`", "{", "+" };
    std::string              name;
    for( size_t count = random() % 12; count; count-- )
        name += random() % 60 ? pieces[random() % std::size( pieces )] : bad[random() % std::size( bad )];
    return name;
}

TEST( InDnsIdna, FastPathOfPlainNamesAgreesWithTheGeneralOne )
{
    std::mt19937 random( 2008 );
    int          names = 0, addresses = 0, labels = 0;
    for( int round = 0; round < 20000; round++ )
    {
        std::string name = randomName( random ), behind = name.ends_with( '.' ) ? name.substr( 0, name.size() - 1 ) : name;
        if( isIdnaSomewhere( name ) )
            continue;
        SCOPED_TRACE( name );
        bool good = plainOk( name );
        ASSERT_EQ( ok( name ), good );
        ASSERT_EQ( problem( name ) == none, good );
        ASSERT_EQ( ascii( name ), good ? behind : none );
        ASSERT_EQ( unicode( name ), good ? behind : none );
        ASSERT_EQ( split( name ) == none, !good );
        ASSERT_EQ( equals( name, name + "." ), good && name == behind );
        // If one label is not ASCII, the general path checks the whole name. xn--tda. has eight
        // characters.
        bool address = problem( name ) == addressReason;
        ASSERT_EQ( ok( "\u00FC." + name ), name.empty() || ( ( good || address ) && behind.size() + 8 <= 253 ) );
        ASSERT_EQ( ok( name + "\u3002" ), good && name == behind );
        names += good;
        addresses += address;
        labels += good && behind.find( '.' ) != behind.npos;
    }
    EXPECT_GT( names, 2000 );
    EXPECT_GT( labels, 1000 );
    EXPECT_GT( addresses, 20 );
}

TEST( InDnsIdna, AnswersOfAllFunctionsAgreeForAnyText )
{
    static const std::string pieces[] = { "a", "Z9", "-", "_", "*", ".", ".", "xn--", "XN--", "xn--tda", "bcher-kva", "\u00FC", "\u00DF", "\u3002",
        "\uFF0E", "\u00AD", "\u200D", "\u05D0", "\u0661", "\u0308", "u\u0308", "\uFF11", "1.2.3", "\u0915\u094D", "\U0001F600", "\u03C2", "\u03A3",
        "\uFB01", "\u2488", " ", "\0"s, "\uFF58\uFF4E", "\u2100", "--", "\u0130", "\u1E9E" };
    std::mt19937             random( 5890 );
    int                      names = 0, changed = 0;
    for( int round = 0; round < 20000; round++ )
    {
        std::string name;
        for( size_t count = 1 + random() % 5; count; count-- )
            name += pieces[random() % std::size( pieces )];
        SCOPED_TRACE( name + " " + hex( name ) );
        bool        good = ok( name );
        std::string form = ascii( name ), other = unicode( name );
        ASSERT_EQ( problem( name ) == none, good );
        ASSERT_EQ( form == none, !good );
        ASSERT_EQ( other == none, !good );
        ASSERT_EQ( split( name ) == none, !good );
        if( !good )
            continue;
        names++;
        changed += form != name;
        ASSERT_TRUE( plainOk( form ) ) << form;
        ASSERT_FALSE( form.ends_with( '.' ) ) << form;
        ASSERT_EQ( ascii( form ), form );
        ASSERT_EQ( ascii( other ), form );
        ASSERT_EQ( unicode( form ), other );
        ASSERT_TRUE( equals( name, form ) );
        ASSERT_TRUE( equals( other, name ) );
    }
    EXPECT_GT( names, 500 );
    EXPECT_GT( changed, 300 );
}
