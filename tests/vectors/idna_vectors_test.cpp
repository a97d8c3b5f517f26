// Names from public corpora: the results of UTS #46, the results of libidn2 for the whole name,
// Punycode, and names of hosts that match or do not.
#include <in/in_dns_idna.h>
#include <in/internal/in_dns_idna.h>

#include "support/exceptions.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/stanzas.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <idn2.h>
#include <sstream>

using namespace support;
using nlohmann::json;

namespace
{

const std::string none = "(null)";

bool        ok( const std::string &name ) { return inDnsIdnaDomainNameOk( str( name ).get() ); }
std::string ascii( const std::string &name ) { return text( pb::adopt( inDnsIdnaDomainNameToAscii( str( name ).get() ) ) ); }
std::string unicode( const std::string &name ) { return text( pb::adopt( inDnsIdnaDomainNameToUnicode( str( name ).get() ) ) ); }
std::string problem( const std::string &name ) { return text( pb::adopt( in___DnsIdnaDomainNameProblem( str( name ).get() ) ) ); }
bool        equals( const std::string &a, const std::string &b ) { return inDnsIdnaDomainNameEquals( str( a ).get(), str( b ).get() ); }

// Replaces lone surrogates by U+FFFD in JSON text and in the lines of IdnaTestV2, since our strings
// cannot hold them.
std::string withoutLoneSurrogates( std::string json )
{
    auto unit = [&]( size_t at ) { return json.compare( at, 2, "\\u" ) == 0 ? std::stoul( json.substr( at + 2, 4 ), nullptr, 16 ) : 0; };
    for( size_t at = 0; ( at = json.find( '\\', at ) ) != json.npos; )
    {
        unsigned long first = unit( at ), second = at + 6 < json.size() ? unit( at + 6 ) : 0;
        bool          pair = first >> 10 == 0xD800 >> 10 && second >> 10 == 0xDC00 >> 10;
        if( !pair && first >> 11 == 0xD800 >> 11 )
            json.replace( at, 6, "\\ufffd" );
        at += pair ? 12 : 2;
    }
    return json;
}

std::vector<json> cases( const std::filesystem::path &folder )
{
    return json::parse( withoutLoneSurrogates( support::read( folder / "idna/cases.json.xz" ) ) );
}

std::vector<std::string> splitAt( const std::string &text, char separator )
{
    std::vector<std::string> parts;
    std::istringstream       in( text );
    for( std::string part; std::getline( in, part, separator ); )
        parts.push_back( part );
    return parts;
}

// A column of IdnaTestV2: blanks around it, "" for nothing, \uXXXX and \x{XXXX}.
std::string column( std::string field )
{
    field.erase( 0, field.find_first_not_of( " \t" ) );
    field.erase( field.find_last_not_of( " \t" ) + 1 );
    field = withoutLoneSurrogates( field );
    for( size_t at; ( at = field.find( "\\u" ) ) != field.npos; )
    {
        pb::Ref<PB_STRING> character = pb::adopt( pbStringCreate() );
        pbStringAppendChar( character.handle(), (PB_CHAR)std::stoul( field.substr( at + 2, 4 ), nullptr, 16 ) );
        field.replace( at, 6, text( character ) );
    }
    EXPECT_EQ( field.find( '\\' ), field.npos ) << field;
    return field == "\"\"" ? "" : field;
}

// libidn2's result for a whole name, with our own rules applied to it: the alphabet, the lengths,
// hyphens, addresses, the full stop at the end.
std::string wholeAscii( const std::string &name, int &verdict )
{
    char *form = nullptr;
    verdict    = idn2_lookup_u8( (const uint8_t *)name.c_str(), (uint8_t **)&form, IDN2_NONTRANSITIONAL );
    if( verdict != IDN2_OK )
        return none;
    std::string ascii = form;
    idn2_free( form );
    if( ascii.ends_with( '.' ) )
        ascii.pop_back();
    if( ascii.size() > 253 || ascii.ends_with( '.' ) )
        return none;
    size_t labels = 0;
    for( const std::string &label : splitAt( ascii, '.' ) )
    {
        labels++;
        if( label.empty() || label.size() > 63 || label.front() == '-' || label.back() == '-' ||
            label.find_first_not_of( "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_*" ) != label.npos )
            return none;
    }
    // The cases have no addresses.
    EXPECT_FALSE( labels == 4 && ascii.find_first_not_of( "0123456789." ) == ascii.npos ) << ascii;
    return labels ? lower( ascii ) : none;
}

// Whether a label in plain ASCII has hyphens as its third and fourth character.
bool hasPlainHyphens( const std::string &name )
{
    for( const std::string &label : splitAt( name, '.' ) )
    {
        if( label.size() > 3 && label.substr( 2, 2 ) == "--" && lower( label.substr( 0, 2 ) ) != "xn" &&
            std::all_of( label.begin(), label.end(), []( char c ) { return (unsigned char)c < 0x80; } ) )
            return true;
    }
    return false;
}

// Whether the status has one of the codes B1 to B6.
bool breaksBidiRule( const json &row ) { return row.at( "status" ).get<std::string>().find( 'B' ) != std::string::npos; }

}

TEST( IdnaVectors, NamesConvertToAscii )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "idna_exceptions.json" );
    int        valid = 0, refused = 0, directions = 0;
    for( const json &row : cases( *folder ) )
    {
        std::string id = row.at( "id" ), name = row.at( "source" );
        const json &form   = row.at( "to_ascii_n" );
        std::string actual = ascii( name );
        EXPECT_EQ( ok( name ), actual != none ) << id;
        EXPECT_EQ( problem( name ) == none, actual != none ) << id;
        // Our result keeps the capital letters of plain labels.
        exceptions.check( id, form.is_null() ? none : form.get<std::string>(), actual == none ? none : lower( actual ) );
        ( actual == none ? refused : valid )++;
        directions += breaksBidiRule( row ) && actual == none;
    }
    exceptions.checkMet( "idna-" );
    EXPECT_EQ( valid, 318 );
    EXPECT_EQ( refused, 3941 );
    EXPECT_EQ( directions, 2406 );
}

TEST( IdnaVectors, NamesConvertToUnicode )
{
    NEED_VECTORS( folder );
    std::istringstream lines( support::read( *folder / "idna/IdnaTestV2-Unicode16.subset.txt" ) );
    Exceptions         exceptions( "idna_exceptions.json" );
    std::vector<json>  rows = cases( *folder );
    size_t             at   = 0;
    int                same = 0;
    for( std::string line; std::getline( lines, line ); )
    {
        if( line.empty() || line[0] == '#' )
            continue;
        std::vector<std::string> columns = splitAt( line, ';' );
        ASSERT_GE( columns.size(), 7u ) << line;
        ASSERT_LT( at, rows.size() );
        const json &row       = rows[at++];
        std::string source    = column( columns[0] ),
                    converted = columns[1].find_first_not_of( ' ' ) == std::string::npos ? source : column( columns[1] );
        ASSERT_EQ( source, row.at( "source" ).get<std::string>() );
        std::string actual = unicode( source );
        EXPECT_EQ( actual != none, ok( source ) ) << line;
        // Only names that both accept. The test above checks the others.
        if( actual == none || row.at( "to_ascii_n" ).is_null() )
            continue;
        exceptions.check( "unicode/" + row.at( "id" ).get<std::string>(), lower( converted ), lower( actual ) );
        EXPECT_TRUE( equals( source, actual ) ) << line;
        same++;
    }
    exceptions.checkMet( "unicode/" );
    EXPECT_EQ( at, rows.size() );
    EXPECT_EQ( same, 276 );
}

TEST( IdnaVectors, LabelsAreJudgedAsTheWholeNameIs )
{
    NEED_VECTORS( folder );
    int plainHyphens = 0, directions = 0;
    for( const json &row : cases( *folder ) )
    {
        std::string name = row.at( "source" ), actual = ascii( name );
        int         verdict;
        std::string whole = wholeAscii( name, verdict );
        // libidn2 refuses these hyphens in a name that is not ASCII. Our check accepts them in
        // plain labels.
        if( verdict == IDN2_2HYPHEN && hasPlainHyphens( name ) )
        {
            plainHyphens += actual != none;
            continue;
        }
        // libidn2 does not apply the whole Bidi rule. The first test checks these cases.
        if( verdict == IDN2_OK && actual == none && breaksBidiRule( row ) )
        {
            directions++;
            continue;
        }
        EXPECT_EQ( actual == none ? none : lower( actual ), whole ) << name << " " << idn2_strerror( verdict );
    }
    EXPECT_EQ( plainHyphens, 7 );
    EXPECT_EQ( directions, 32 );
}

TEST( IdnaVectors, LabelsAreEncodedInPunycode )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "idna_exceptions.json" );
    int        number = 0;
    for( const json &row : json::parse( support::read( *folder / "idna/punycode_tests.json" ) ) )
    {
        // Capital letters are mapped to small ones.
        std::string id = "punycode/" + std::to_string( ++number ), decoded = row.at( "decoded" ),
                    encoded = "xn--" + row.at( "encoded" ).get<std::string>();
        exceptions.check( id + "/ascii", lower( encoded ), lower( ascii( decoded ) ) );
        exceptions.check( id + "/unicode", lower( decoded ), lower( unicode( encoded ) ) );
    }
    exceptions.checkMet( "punycode/" );
    EXPECT_EQ( number, 25 );
}

TEST( IdnaVectors, NamesOfHostsAreNames )
{
    NEED_VECTORS( folder );
    int matching = 0, different = 0;
    for( const json &row : json::parse( support::read( *folder / "hostmatch/hostmatch.json" ) ) )
    {
        std::string presented = row.at( "presented" ), reference = row.at( "reference" ), note = row.at( "note" );
        if( row.at( "consensus" ) != "yes" || note.find( "ip-like" ) != note.npos )
            continue;
        SCOPED_TRACE( row.at( "id" ).get<std::string>() + " " + presented + " " + reference );
        bool pattern = presented.find( '*' ) != presented.npos;
        if( row.at( "upstream" ) == "match" )
        {
            EXPECT_TRUE( ok( presented ) );
            EXPECT_TRUE( ok( reference ) );
            EXPECT_EQ( equals( presented, reference ), !pattern );
            matching++;
        }
        // A full stop at the end makes no difference here.
        else if( !pattern && note.find( "trailing-dot" ) == note.npos )
        {
            EXPECT_FALSE( equals( presented, reference ) );
            different++;
        }
    }
    EXPECT_EQ( matching, 27 );
    EXPECT_EQ( different, 16 );
}
