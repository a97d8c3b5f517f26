#include <cry/internal/cry_pem_reader.hpp>

#include <cry/cry_pem.h>

#include "support/text.hpp"

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <set>

using namespace support;
using cry::pem::Damage;
using cry::pem::diagnose;
using cry::pem::Outcome;
using cry::pem::Problem;

namespace
{

pb::Ref<CRY_PEM> decoded( std::string_view text ) { return pb::adopt( cryPemTryDecode( buf( text ).get() ) ); }

// Keeps the text that readLines gives.
struct Parts
{
    std::string labelText, body;

    void label( std::string_view text ) { labelText = text; }
    bool isLabel( std::string_view text ) const { return text == labelText; }
    void line( std::string_view text, PB_INT ) { body += text; }
};

// RFC 4648: whole groups of four, at most two characters of padding, all unused bits zero.
bool isStrictBase64( std::string body )
{
    static constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    if( body.size() % 4 )
        return false;
    size_t padding = 0;
    while( padding < 2 && !body.empty() && body.back() == '=' )
    {
        body.pop_back();
        padding++;
    }
    if( body.find_first_not_of( alphabet ) != body.npos )
        return false;
    return !padding || alphabet.find( body.back() ) % ( padding == 1 ? 4 : 16 ) == 0;
}

// A line and its number.
using Line = std::pair<std::string, PB_INT>;

// The lines that are not empty and no comments, found one byte after the other.
std::vector<Line> linesOf( const std::string &text )
{
    std::vector<std::string> all( 1 );
    for( size_t at = 0; at < text.size(); at++ )
    {
        if( text[at] != '\n' && text[at] != '\r' && text[at] != '\x85' )
        {
            all.back() += text[at];
            continue;
        }
        at += text.substr( at, 2 ) == "\r\n";
        all.emplace_back();
    }
    std::vector<Line> lines;
    for( size_t index = 0; index < all.size(); index++ )
    {
        static constexpr char space[] = " \t\n\v\f\r\x85\xA0";
        size_t                first   = all[index].find_first_not_of( space );
        if( first != std::string::npos && all[index][first] != '#' )
            lines.emplace_back( all[index].substr( first, all[index].find_last_not_of( space ) + 1 - first ), (PB_INT)index + 1 );
    }
    return lines;
}

}

TEST( CryPemReader, FindsTheLinesThatASearchByteByByteFinds )
{
    static const std::string pieces[] = { "\n", "\r", "\r\n", "\x85", "\n\r", " ", "\t", "\v", "\f", "\xA0", "#", "A", "# text", std::string( 1, 0 ),
        "\x0B\x0C\x0E\x8A\x84", std::string( 64, 'A' ), std::string( 300, 'B' ), "\xFF" };
    std::mt19937             random{ 144 };
    for( int round = 0; round < 20000; round++ )
    {
        std::string text;
        for( size_t count = random() % 12; count; count-- )
            text += pieces[random() % std::size( pieces )];
        cry::pem::TextLines lines( text );
        std::vector<Line>   found;
        for( std::string_view line; lines.next( line ); )
            found.emplace_back( line, lines.number() );
        ASSERT_EQ( found, linesOf( text ) ) << hex( text );
    }
}

TEST( CryPemReader, SaysWhatIsWrongAndWhere )
{
    struct
    {
        const char *text;
        Problem     problem;
        PB_INT      line;
        const char *label, *endLabel;
        char        character;
    } cases[] = {
        { "", Problem::noBegin, 0, "", "", 0 },
        { "\n  \n# a comment\n", Problem::noBegin, 0, "", "", 0 },
        { "text", Problem::noBegin, 1, "", "", 0 },
        { "\n# a comment\r\n\rtext\n", Problem::noBegin, 4, "", "", 0 },
        { "----BEGIN A-----\n-----END A-----\n", Problem::noBegin, 1, "", "", 0 },
        { "-----END A-----\n", Problem::noBegin, 1, "", "", 0 },
        { "-----BEGIN A", Problem::beginOpen, 1, "", "", 0 },
        { "\n-----BEGIN A----\nAAAA\n-----END A-----\n", Problem::beginOpen, 2, "", "", 0 },
        { "-----BEGIN ----\n", Problem::beginOpen, 1, "", "", 0 },
        { "-----BEGIN A----- text\n", Problem::beginOpen, 1, "", "", 0 },
        { "-----BEGIN  A-----\n-----END  A-----\n", Problem::label, 1, " A", "", 0 },
        { "-----BEGIN A  B-----\n", Problem::label, 1, "A  B", "", 0 },
        { "-----BEGIN A-------\n", Problem::label, 1, "A--", "", 0 },
        { "-----BEGIN \xC4-----\n", Problem::label, 1, "\xC4", "", 0 },
        { "-----BEGIN A-----", Problem::noEnd, 1, "A", "", 0 },
        { "-----BEGIN A-----\nAAAA\n\nAAAA\n", Problem::noEnd, 4, "A", "", 0 },
        { "-----BEGIN -----\nAAAA\n", Problem::noEnd, 2, "", "", 0 },
        { "-----BEGIN A-----\nAAAA\n-----END A", Problem::endOpen, 3, "A", "", 0 },
        { "-----BEGIN A-----\n-----END ----\n", Problem::endOpen, 2, "A", "", 0 },
        { "-----BEGIN A-----\nAAAA\n-----END B-----\n", Problem::labelsDiffer, 3, "A", "B", 0 },
        { "-----BEGIN A-----\nAAAA\n-----END -----\n", Problem::labelsDiffer, 3, "A", "", 0 },
        { "-----BEGIN A-----\n-----END a-----\n", Problem::labelsDiffer, 2, "A", "a", 0 },
        { "-----BEGIN A-----\nProc-Type: 4,ENCRYPTED\n\nAAAA\n-----END A-----\n", Problem::headers, 2, "A", "", '-' },
        { "-----BEGIN A-----\nAAAA\nNAME:value\n-----END A-----\n", Problem::headers, 3, "A", "", ':' },
        { "-----BEGIN A-----\nAA*A\n-----END A-----\n", Problem::character, 2, "A", "", '*' },
        { "-----BEGIN A-----\nAAAA\nAA A\nA?AA\n-----END A-----\n", Problem::character, 3, "A", "", ' ' },
        { "-----BEGIN A-----\nAA*A\nNAME:value\n-----END A-----\n", Problem::character, 2, "A", "", '*' },
        { "-----BEGIN A-----\nAA==\nBAAA\n-----END A-----\n", Problem::character, 3, "A", "", 'B' },
        { "-----BEGIN A-----\nA=AA\n-----END A-----\n", Problem::character, 2, "A", "", 'A' },
        { "-----BEGIN A-----\nAAAA\n-----END A\n-----END A-----\n", Problem::character, 3, "A", "", '-' },
        { "-----BEGIN A-----\nAAAA\nAAA\n\n-----END A-----\n", Problem::cutOff, 3, "A", "", 0 },
        { "-----BEGIN A-----\nAA=\n-----END A-----\n", Problem::cutOff, 2, "A", "", 0 },
        { "-----BEGIN A-----\nAAAAA==\n-----END A-----\n", Problem::cutOff, 2, "A", "", 0 },
        { "-----BEGIN A-----\nAAAA\nA===\n-----END A-----\n", Problem::padding, 3, "A", "", 0 },
        { "-----BEGIN A-----\nAAAA\n====\n\n-----END A-----\n", Problem::padding, 3, "A", "", 0 },
        { "-----BEGIN A-----\nAA=\n==\n-----END A-----\n", Problem::padding, 2, "A", "", 0 },
        // The last characters have unused bits that are not zero.
        { "-----BEGIN A-----\nAB==\n-----END A-----\n", Problem::padding, 2, "A", "", 0 },
        // The block is good, but other text follows it.
        { "-----BEGIN A-----\nAAAA\n-----END A-----\ntext\n", Problem::body, 1, "A", "", 0 },
    };
    for( const auto &each : cases )
    {
        Damage damage = diagnose( each.text );
        EXPECT_EQ( (int)damage.problem, (int)each.problem ) << each.text;
        EXPECT_EQ( damage.line, each.line ) << each.text;
        EXPECT_EQ( damage.label, each.label ) << each.text;
        EXPECT_EQ( damage.endLabel, each.endLabel ) << each.text;
        EXPECT_EQ( damage.character, each.character ) << each.text;
        EXPECT_FALSE( decoded( each.text ) ) << each.text;
    }
}

TEST( CryPemReader, TellsWhereLinesOfAllEndsAre )
{
    for( const char *end : { "\n", "\r\n", "\r", "\x85" } )
    {
        std::string e      = end;
        Damage      damage = diagnose( "-----BEGIN A-----" + e + e + "#" + e + "AAAA" + e + "AA*A" + e + "-----END A-----" + e );
        EXPECT_EQ( (int)damage.problem, (int)Problem::character ) << hex( e );
        EXPECT_EQ( damage.line, 5 ) << hex( e );
        EXPECT_EQ( damage.character, '*' ) << hex( e );
    }
}

TEST( CryPemReader, AgreesWithTheDecoderOnEveryChange )
{
    static constexpr std::string_view inserted( "\n\r -=#:*A/\x85\xA0\xC4\0", 14 );
    std::vector<std::string>          blocks = { "-----BEGIN A-----\nAAAA\nAAAA\n-----END A-----\n",
                 "-----BEGIN A B-----\r\nAAAB\r\nAA==\r\n-----END A B-----\r\n", "# text\n\n-----BEGIN -----\n  AAA=\n-----END -----",
                 "-----BEGIN C-----\n-----END C-----\n", "-----BEGIN A-----\nA\nA\nAA\n-----END A-----\n\n# text\n" };
    std::set<Problem>                 seen;
    int                               good  = 0;
    auto                              check = [&]( const std::string &text ) {
        cry::pem::TextLines lines( text );
        Parts               parts;
        Damage              found;
        std::string_view    more;
        Outcome             outcome = readLines( lines, parts, found );
        bool                alone   = outcome == Outcome::block && !lines.next( more );
        pb::Ref<CRY_PEM>    block   = decoded( text );
        ASSERT_EQ( (bool)block, alone && isStrictBase64( parts.body ) ) << text;
        good += (bool)block;
        if( block )
        {
            EXPECT_EQ( support::text( pb::adopt( cryPemLabel( block.get() ) ) ), parts.labelText );
            EXPECT_EQ( found.problem, Problem::none );
            return;
        }
        Damage damage = diagnose( text );
        seen.insert( damage.problem );
        ASSERT_NE( damage.problem, Problem::none ) << text;
        ASSERT_LE( damage.line, 1 + std::count_if( text.begin(), text.end(), []( char c ) { return c == '\n' || c == '\r' || c == '\x85'; } ) )
            << text;
        // `body` means that the block itself is good, but other text follows it.
        if( damage.problem == Problem::body )
            ASSERT_TRUE( outcome == Outcome::block && !alone ) << text;
        if( outcome == Outcome::failed )
        {
            ASSERT_EQ( damage.problem, found.problem ) << text;
            ASSERT_EQ( damage.line, found.line ) << text;
        }
    };
    for( const std::string &block : blocks )
    {
        check( block );
        check( block + block );
        for( size_t at = 0; at <= block.size(); at++ )
        {
            check( block.substr( 0, at ) );
            check( block.substr( at ) );
            for( char c : inserted )
            {
                std::string more = block, other = block;
                more.insert( at, 1, c );
                check( more );
                if( at == block.size() )
                    continue;
                other[at] = c;
                check( other );
            }
            // One character or one line is left out or written twice.
            for( size_t length : { (size_t)1, block.find( '\n', at ) - at + 1 } )
            {
                std::string less = block, twice = block;
                less.erase( at, length );
                twice.insert( at, block.substr( at, length ) );
                check( less );
                check( twice );
            }
        }
    }
    EXPECT_GT( good, 200 );
    for( Problem problem : { Problem::noBegin, Problem::beginOpen, Problem::label, Problem::noEnd, Problem::endOpen, Problem::labelsDiffer,
             Problem::headers, Problem::character, Problem::cutOff, Problem::padding, Problem::body } )
        EXPECT_TRUE( seen.contains( problem ) ) << (int)problem;
}
