// The set of a signal against a simple model.
#include "concurrency/pb_signal_set.hpp"

#include <pb/pb.h>

#include <algorithm>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace
{

// The set stores addresses and never reads the objects.
std::vector<PB_OBJ> objects( 3000 );

struct Model
{
    std::vector<PB_OBJ *> entries;

    bool add( PB_OBJ *obj )
    {
        if( std::find( entries.begin(), entries.end(), obj ) != entries.end() )
            return false;
        entries.push_back( obj );
        return true;
    }
    bool remove( PB_OBJ *obj ) { return std::erase( entries, obj ) == 1; }
};

std::vector<PB_OBJ *> entriesOf( const pb::SignalSet &set )
{
    std::vector<PB_OBJ *> all;
    set.each( [&]( PB_OBJ *obj ) { all.push_back( obj ); } );
    return all;
}

// A set and its model, which get the same changes.
struct Both
{
    pb::SignalSet set;
    Model         model;

    ~Both() { set.clear(); }

    void add( size_t number ) { EXPECT_EQ( set.add( &objects[number] ), model.add( &objects[number] ) ) << "add " << number; }
    void remove( size_t number ) { EXPECT_EQ( set.remove( &objects[number] ), model.remove( &objects[number] ) ) << "remove " << number; }
    void expectSame() const
    {
        EXPECT_EQ( set.length(), (PB_INT)model.entries.size() );
        EXPECT_EQ( entriesOf( set ), model.entries );
    }
};

}

TEST( PbSignalSet, OneObject )
{
    Both both;
    both.expectSame();
    both.remove( 0 );
    both.add( 0 );
    both.expectSame();
    both.add( 0 );
    both.expectSame();
    both.remove( 1 );
    both.expectSame();
    both.remove( 0 );
    both.expectSame();
    both.add( 1 );
    both.expectSame();
}

TEST( PbSignalSet, TwoObjectsAndBackToOne )
{
    Both both;
    both.add( 0 );
    both.add( 1 );
    both.add( 0 );
    both.add( 1 );
    both.expectSame();
    both.remove( 0 );
    both.expectSame();
    both.add( 0 );
    both.expectSame();
    both.remove( 1 );
    both.remove( 0 );
    both.expectSame();
    both.add( 2 );
    both.add( 3 );
    both.expectSame();
}

TEST( PbSignalSet, ClearsItself )
{
    for( size_t count : { 0, 1, 2, 600 } )
    {
        pb::SignalSet set;
        for( size_t number = 0; number < count; number++ )
            set.add( &objects[number] );
        set.clear();
        EXPECT_EQ( set.length(), 0 );
        EXPECT_TRUE( entriesOf( set ).empty() );
        EXPECT_TRUE( set.add( &objects[0] ) );
        EXPECT_FALSE( set.add( &objects[0] ) );
        set.clear();
    }
}

// All sizes at which the set changes its form, upwards and downwards.
TEST( PbSignalSet, KeepsTheOrderAtEverySize )
{
    for( size_t count : { 15, 16, 17, 33, 34, 498, 499, 500, 501, 502, 1000, 1100 } )
    {
        for( int way = 0; way < 3; way++ )
        {
            Both both;
            for( size_t number = 0; number < count; number++ )
                both.add( number );
            both.expectSame();
            for( size_t number = 0; number < count; number++ )
            {
                both.add( number );
                // From the front, from the end, and from both in turns.
                both.remove( way == 0 ? number : way == 1 || number % 2 ? count - 1 - number / ( way == 2 ? 2 : 1 ) : number / 2 );
                if( number % 7 == 0 )
                    both.add( count + number );
                if( number % 50 == 0 )
                    both.expectSame();
            }
            both.expectSame();
        }
    }
}

TEST( PbSignalSet, RandomChanges )
{
    // The sizes around which a round moves.
    for( size_t range : { 2, 5, 40, 520, 1100, 3000 } )
    {
        std::mt19937_64 random( range );
        Both            both;
        for( int phase = 0; phase < 8; phase++ )
        {
            // Phases of growth, of shrinking, and of balance.
            size_t adds = phase % 4 == 0 ? 80 : phase % 4 == 2 ? 20 : 50;
            for( size_t step = 0; step < range + 200; step++ )
            {
                size_t number = random() % range;
                random() % 100 < adds ? both.add( number ) : both.remove( number );
                if( step % 16 == 0 )
                    ASSERT_EQ( both.set.length(), (PB_INT)both.model.entries.size() );
                if( step % 128 == 0 )
                    both.expectSame();
                if( testing::Test::HasFailure() )
                    return;
            }
            both.expectSame();
        }
        while( !both.model.entries.empty() )
            both.remove( (size_t)( both.model.entries[random() % both.model.entries.size()] - objects.data() ) );
        both.expectSame();
    }
}
