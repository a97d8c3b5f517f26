#include <pb/known_table.hpp>

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace
{

// Counted: a value that counts how many of it live.
struct Counted
{
    int number;
};

std::atomic<int> alive;

Counted *counted( int number ) { return alive++, new Counted{ number }; }

}

template<>
struct pb::Field<Counted *>
{
    static void release( Counted *&field )
    {
        alive--;
        delete field;
    }
};

namespace
{

using Table = pb::KnownTable<Counted, 2>;
using Bytes = std::basic_string_view<PB_BYTE>;

Bytes bytes( const std::string &text ) { return { (const PB_BYTE *)text.data(), text.size() }; }

int numberOf( Table &table, const std::string &text )
{
    int   number = -1;
    auto *found  = table.find( bytes( text ), [&]( Counted *value ) { return number = value->number, value; } );
    EXPECT_EQ( found != nullptr, number != -1 );
    return number;
}

void keep( Table &table, const std::string &text, int number )
{
    table.keep( bytes( text ), [number] { return counted( number ); } );
}

constinit Table shared;

}

TEST( PbKnownTable, GivesWhatIsKeptForExactlyTheseBytes )
{
    {
        static constinit Table table;
        EXPECT_EQ( numberOf( table, "one" ), -1 );
        keep( table, "one", 1 );
        keep( table, "", 0 );
        keep( table, std::string( 1000, 'x' ), 1000 );
        EXPECT_EQ( numberOf( table, "one" ), 1 );
        EXPECT_EQ( numberOf( table, "" ), 0 );
        EXPECT_EQ( numberOf( table, std::string( 1000, 'x' ) ), 1000 );
        EXPECT_EQ( numberOf( table, std::string( 999, 'x' ) ), -1 );
        EXPECT_EQ( numberOf( table, "One" ), -1 );
        // The first value stays.
        keep( table, "one", 2 );
        EXPECT_EQ( numberOf( table, "one" ), 1 );
        table.keep( bytes( "null" ), []() -> Counted * { return nullptr; } );
        EXPECT_EQ( numberOf( table, "null" ), -1 );
        EXPECT_EQ( table.count(), 3u );
        EXPECT_EQ( alive, 3 );
        table.clear();
        EXPECT_EQ( table.count(), 0u );
        EXPECT_EQ( numberOf( table, "one" ), -1 );
        EXPECT_EQ( alive, 0 );
    }
}

TEST( PbKnownTable, IsBoundedAndKeepsWhatIsFoundOften )
{
    static constinit Table table;
    keep( table, "often", 7 );
    for( int number = 0; number < 1000; number++ )
    {
        keep( table, "once " + std::to_string( number ), number );
        EXPECT_EQ( numberOf( table, "often" ), 7 ) << number;
        ASSERT_LE( table.count(), Table::most );
    }
    EXPECT_EQ( table.count(), Table::most );
    EXPECT_EQ( alive, (int)Table::most );
    // What nobody asks for goes in the end.
    for( int number = 0; number < 1000; number++ )
        keep( table, "more " + std::to_string( number ), number );
    EXPECT_EQ( numberOf( table, "often" ), -1 );
    table.clear();
    EXPECT_EQ( alive, 0 );
}

TEST( PbKnownTable, NotesWhatCameLately )
{
    static constinit Table table;
    EXPECT_FALSE( table.isNoted( bytes( "one" ) ) );
    EXPECT_TRUE( table.isNoted( bytes( "one" ) ) );
    EXPECT_FALSE( table.isNoted( bytes( "two" ) ) );
    EXPECT_EQ( table.count(), 0u );
    for( int number = 0; number < 10000; number++ )
        table.isNoted( bytes( std::to_string( number ) ) );
    EXPECT_FALSE( table.isNoted( bytes( "one" ) ) );
    table.isNoted( bytes( "two" ) );
    table.clear();
    EXPECT_FALSE( table.isNoted( bytes( "two" ) ) );
}

TEST( PbKnownTable, ManyThreadsUseIt )
{
    std::vector<std::thread> threads;
    std::atomic<int>         wrong = 0;
    for( int thread = 0; thread < 4; thread++ )
        threads.emplace_back( [&, thread] {
            for( int round = 0; round < 3000; round++ )
            {
                int         number = ( round * 7 + thread ) % 20;
                std::string text   = "value " + std::to_string( number );
                keep( shared, text, number );
                int found = numberOf( shared, text );
                wrong += found != -1 && found != number;
                if( round % 1000 == 999 )
                    shared.clear();
            }
        } );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( wrong, 0 );
    shared.clear();
    EXPECT_EQ( alive, 0 );
}

TEST( PbSeededHash, DependsOnEachByteTheLengthAndTheSeed )
{
    for( size_t length : { 0, 1, 7, 8, 31, 32, 33, 64, 100, 1000 } )
    {
        std::string text( length, 'a' );
        uint64_t    hash = pb::seededHash( bytes( text ), 1 );
        EXPECT_EQ( pb::seededHash( bytes( std::string( text ) ), 1 ), hash );
        EXPECT_NE( pb::seededHash( bytes( text ), 2 ), hash );
        EXPECT_NE( pb::seededHash( bytes( text + '\0' ), 1 ), hash );
        for( size_t index = 0; index < length; index++ )
        {
            std::string other = text;
            other[index]      = 'b';
            EXPECT_NE( pb::seededHash( bytes( other ), 1 ), hash ) << length << " " << index;
        }
    }
}

// Words that would be zero behind a mask that is known to everybody.
TEST( PbSeededHash, NoChosenWordsHideTheOthers )
{
    std::vector<uint64_t> hashes;
    for( int number = 0; number < 1000; number++ )
    {
        uint64_t    words[] = { 0xC2B2AE3D27D4EB4F, 0, 0xD6E8FEB86659FD93, 0 };
        std::string text    = std::to_string( number );
        text.resize( 32 );
        text.append( (const char *)words, sizeof words );
        hashes.push_back( pb::seededHash( bytes( text.substr( 0, 24 + 32 ) ), 12345 ) );
    }
    std::sort( hashes.begin(), hashes.end() );
    EXPECT_EQ( std::unique( hashes.begin(), hashes.end() ) - hashes.begin(), 1000 );
}

TEST( PbSeededHash, SpreadsSimilarTexts )
{
    int places[64] = {};
    for( int number = 0; number < 64000; number++ )
        places[pb::seededHash( bytes( "certificate " + std::to_string( number ) ), 12345 ) % 64]++;
    for( int count : places )
    {
        EXPECT_GT( count, 800 );
        EXPECT_LT( count, 1200 );
    }
}
