#include <rfc/rfc.h>

#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

namespace
{

struct Block
{
    std::string text;
    PB_INT      offset, line, endLine;
    bool        complete = true;

    bool operator==( const Block & ) const = default;
};

std::ostream &operator<<( std::ostream &out, const Block &block )
{
    return out << testing::PrintToString( block.text ) << " at " << block.offset << ", lines " << block.line << " to " << block.endLine
               << ( block.complete ? "" : ", cut" );
}

// All blocks from a place on. Each search begins at the end of the block before.
std::vector<Block> blocksOf( std::string_view text, PB_INT offset = 0, PB_INT line = 1 )
{
    std::vector<Block> blocks;
    RFC_ENCAPSULATION  found;
    while( rfcEncapsulationFindNext( (const PB_BYTE *)text.data(), (PB_INT)text.size(), offset, line, &found ) )
    {
        EXPECT_GE( found.offset, offset );
        EXPECT_GT( found.length, 0 );
        if( found.length <= 0 || found.offset + found.length > (PB_INT)text.size() )
        {
            ADD_FAILURE() << "the block does not lie in the text";
            break;
        }
        blocks.push_back( { std::string( text.substr( (size_t)found.offset, (size_t)found.length ) ), found.offset, found.line, found.endLine,
            found.complete == PB_TRUE } );
        offset = found.offset + found.length;
        line   = found.endLine;
    }
    return blocks;
}

using Blocks = std::vector<Block>;

// A text with its LF line ends replaced by others.
std::string withEnds( std::string text, const std::string &end )
{
    for( size_t at = 0; ( at = text.find( '\n', at ) ) != text.npos; at += end.size() )
        text.replace( at, 1, end );
    return text;
}

const std::string one = "-----BEGIN A-----\nAAAA\n-----END A-----";
const std::string two = "-----BEGIN B-----\nBBBB\nBBBB\n-----END B-----";

}

TEST( RfcEncapsulation, FindsABlockThatIsTheWholeText )
{
    EXPECT_EQ( blocksOf( one ), ( Blocks{ { one, 0, 1, 3 } } ) );
    // The line end of the last line does not belong to the block.
    EXPECT_EQ( blocksOf( one + "\n" ), ( Blocks{ { one, 0, 1, 3 } } ) );
}

TEST( RfcEncapsulation, FindsNothingWhereNothingIs )
{
    RFC_ENCAPSULATION found{ 7, 7, 7, 7, 7 };
    EXPECT_FALSE( rfcEncapsulationFindNext( nullptr, 0, 0, 1, &found ) );
    for( std::string_view text : { "", "\n", "text\nmore text\n", "-----END A-----\n", "-----BEGIN", "----BEGIN A-----\n", "-----begin A-----\n",
             "-----BEGIN\tA-----\n", "x-----BEGIN A-----\n-----END A-----\n" } )
        EXPECT_EQ( blocksOf( text ), Blocks{} ) << text;
}

TEST( RfcEncapsulation, PassesOverTextAroundBlocks )
{
    std::string text = "subject\n\n-----END Z-----\n" + one + "\nbetween\n\nwords\n" + two + "\nafter\n";
    EXPECT_EQ( blocksOf( text ), ( Blocks{ { one, 25, 4, 6 }, { two, 25 + (PB_INT)one.size() + 16, 10, 13 } } ) );
    EXPECT_EQ( text.substr( 25, one.size() ), one );
}

TEST( RfcEncapsulation, FindsBlocksWithoutTextBetween )
{
    EXPECT_EQ( blocksOf( one + "\n" + two + "\n" + one ),
        ( Blocks{ { one, 0, 1, 3 }, { two, (PB_INT)one.size() + 1, 4, 7 }, { one, (PB_INT)( one.size() + two.size() ) + 2, 8, 10 } } ) );
}

TEST( RfcEncapsulation, CountsLinesWithEveryLineEnd )
{
    for( const std::string end : { "\n", "\r\n", "\r" } )
    {
        std::string first = withEnds( one, end ), second = withEnds( two, end );
        std::string text = "a" + end + end + first + end + end + end + second + end;
        EXPECT_EQ( blocksOf( text ),
            ( Blocks{ { first, (PB_INT)( 1 + 2 * end.size() ), 3, 5 }, { second, (PB_INT)( 1 + first.size() + 5 * end.size() ), 8, 11 } } ) );
    }
    // LF CR are two ends, CR LF is one.
    EXPECT_EQ( blocksOf( "\n\r" + one ), ( Blocks{ { one, 2, 3, 5 } } ) );
    EXPECT_EQ( blocksOf( "\r\n\r\n" + one ), ( Blocks{ { one, 4, 3, 5 } } ) );
    EXPECT_EQ( blocksOf( "\r\r\n\n" + one ), ( Blocks{ { one, 4, 4, 6 } } ) );
}

TEST( RfcEncapsulation, DoesNotLookAtLabelsOrContent )
{
    std::string odd = "-----BEGIN \n\nProc-Type: 4\n\x80\xFF*#\n-----END something else";
    EXPECT_EQ( blocksOf( odd + "\n" ), ( Blocks{ { odd, 0, 1, 5 } } ) );
    std::string zeros( "-----BEGIN A\0-----\n\0\0\n-----END \0", 33 );
    EXPECT_EQ( blocksOf( zeros ), ( Blocks{ { zeros, 0, 1, 3 } } ) );
    std::string empty = "-----BEGIN A-----\n-----END A-----";
    EXPECT_EQ( blocksOf( empty ), ( Blocks{ { empty, 0, 1, 2 } } ) );
}

TEST( RfcEncapsulation, TakesWhatStandsBehindTheBoundariesWithThem )
{
    std::string trailing = "-----BEGIN A-----  \nAAAA\n-----END A----- \t";
    EXPECT_EQ( blocksOf( trailing + "\n" + two ), ( Blocks{ { trailing, 0, 1, 3 }, { two, (PB_INT)trailing.size() + 1, 4, 7 } } ) );
}

TEST( RfcEncapsulation, SeesBoundariesBehindBlanks )
{
    std::string indented = "  -----BEGIN A-----\n  AAAA\n\t-----END A-----";
    EXPECT_EQ( blocksOf( "x\n" + indented + "\n" ), ( Blocks{ { indented, 2, 2, 4 } } ) );
}

TEST( RfcEncapsulation, TellsABlockThatTheEndOfTheTextCuts )
{
    for( std::string text : { "-----BEGIN A-----", "-----BEGIN A-----\n", "-----BEGIN A-----\r\n" } )
        EXPECT_EQ( blocksOf( text ), ( Blocks{ { "-----BEGIN A-----", 0, 1, 1, false } } ) );
    EXPECT_EQ( blocksOf( "-----BEGIN A-----\nAAAA" ), ( Blocks{ { "-----BEGIN A-----\nAAAA", 0, 1, 2, false } } ) );
    EXPECT_EQ( blocksOf( "-----BEGIN A-----\nAAAA\n-----END" ), ( Blocks{ { "-----BEGIN A-----\nAAAA\n-----END", 0, 1, 3, false } } ) );
    std::string cut = "-----BEGIN A-----\nAAAA\n\n-----end A-----";
    EXPECT_EQ( blocksOf( one + "\n" + cut + "\n" ), ( Blocks{ { one, 0, 1, 3 }, { cut, (PB_INT)one.size() + 1, 4, 7, false } } ) );
}

TEST( RfcEncapsulation, DoesNotLetABlockWithoutAnEndSwallowTheNext )
{
    std::string       text = "-----BEGIN A-----\nAAAA\n" + two + "\n" + one;
    RFC_ENCAPSULATION found;
    ASSERT_TRUE( rfcEncapsulationFindNext( (const PB_BYTE *)text.data(), (PB_INT)text.size(), 0, 1, &found ) );
    EXPECT_EQ( found.offset, 0 );
    EXPECT_EQ( found.line, 1 );
    EXPECT_EQ( found.endLine, 2 );
    EXPECT_FALSE( found.complete );
    EXPECT_EQ( found.length, 22 );
    std::vector<Block> blocks = blocksOf( text );
    ASSERT_EQ( blocks.size(), 3u );
    EXPECT_EQ( blocks[1].text, two );
    EXPECT_TRUE( blocks[1].complete );
    EXPECT_EQ( blocks[1].offset, 23 );
    EXPECT_EQ( blocks[2].text, one );
}

TEST( RfcEncapsulation, CountsLinesBehindABlockWithoutAnEnd )
{
    std::string        text   = "-----BEGIN A-----\nAAAA\n" + two + "\n" + one;
    std::vector<Block> blocks = blocksOf( text );
    ASSERT_EQ( blocks.size(), 3u );
    EXPECT_EQ( blocks[1].line, 3 );
    EXPECT_EQ( blocks[1].endLine, 6 );
    EXPECT_EQ( blocks[2].line, 7 );
    EXPECT_EQ( blocks[2].endLine, 9 );

    blocks = blocksOf( "-----BEGIN A-----\n-----BEGIN B-----\n-----BEGIN C-----\n" );
    ASSERT_EQ( blocks.size(), 3u );
    for( size_t index = 0; index < 3; index++ )
    {
        EXPECT_EQ( blocks[index].line, (PB_INT)index + 1 );
        EXPECT_EQ( blocks[index].endLine, (PB_INT)index + 1 );
        EXPECT_FALSE( blocks[index].complete );
    }
}

TEST( RfcEncapsulation, BeginsAtTheOffsetWithTheLineItIsTold )
{
    std::string text  = one + "\n" + two;
    PB_INT      place = (PB_INT)one.size() + 1;
    EXPECT_EQ( blocksOf( text, place, 100 ), ( Blocks{ { two, place, 100, 103 } } ) );
    // An offset inside the first BEGIN line sees only the rest of this line.
    EXPECT_EQ( blocksOf( text, 1, 1 ), ( Blocks{ { two, place, 4, 7 } } ) );
    EXPECT_EQ( blocksOf( text, place - 1, 3 ), ( Blocks{ { two, place, 4, 7 } } ) );
    EXPECT_EQ( blocksOf( text, place + 1, 4 ), Blocks{} );
    EXPECT_EQ( blocksOf( text, (PB_INT)text.size(), 7 ), Blocks{} );
}

TEST( RfcEncapsulation, LooksNotBehindTheLengthItIsTold )
{
    RFC_ENCAPSULATION found;
    const PB_BYTE    *text = (const PB_BYTE *)one.data();
    for( PB_INT length = 0; length <= (PB_INT)one.size(); length++ )
    {
        bool begun = length >= 11, complete = length >= 32;
        ASSERT_EQ( rfcEncapsulationFindNext( text, length, 0, 1, &found ), begun ) << length;
        if( !begun )
            continue;
        EXPECT_EQ( found.complete, complete ) << length;
        // If the last character is a line end, it ends the last line and is not part of the block.
        EXPECT_EQ( found.length, one[(size_t)length - 1] == '\n' ? length - 1 : length );
        EXPECT_EQ( found.endLine, length > 23 ? 3 : length > 18 ? 2 : 1 ) << length;
    }
}
