#include "support/text.hpp"

#include <chrono>
#include <functional>
#include <gtest/gtest.h>
#include <random>

using namespace support;

namespace
{

using Lines = std::vector<std::string>;

pb::Ref<PB_BOXED_INT> boxed( PB_INT value ) { return pb::adopt( pbBoxedIntCreate( value ) ); }

PB_INT numberAt( const pb::Ref<PB_VECTOR> &vector, PB_INT index )
{
    return pbBoxedIntValue( pbBoxedIntFrom( pb___VectorPeekObjAt( vector.get(), index ) ) );
}

double secondsSince( std::chrono::steady_clock::time_point start )
{
    return std::chrono::duration<double>( std::chrono::steady_clock::now() - start ).count();
}

constexpr PB_INT million = 1000000;

// If the work grew with the square of a million, it would take minutes, even without a sanitizer.
constexpr double soon = 30;

}

TEST( PbVector, KeepsOrderAndTakesOffItsFront )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a", "b", "c" } );
    pb::Ref<PB_OBJ>    first  = pb::adopt( pbVectorTakeFirst( vector.handle() ) );
    EXPECT_EQ( text( pbStringFrom( first.get() ) ), "a" );
    EXPECT_EQ( texts( vector.get() ), ( std::vector<std::string>{ "b", "c" } ) );
}

TEST( PbVector, AddsAtBothEndsAndBetween )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    EXPECT_EQ( pbVectorLength( vector.get() ), 0 );
    pbVectorPrependObj( vector.handle(), str( "c" ).obj() );
    pbVectorAppendObj( vector.handle(), str( "e" ).obj() );
    pbVectorPrependObj( vector.handle(), str( "a" ).obj() );
    pbVectorInsertObj( vector.handle(), 1, str( "b" ).obj() );
    pbVectorInsertObj( vector.handle(), 3, str( "d" ).obj() );
    pbVectorInsertObj( vector.handle(), 5, str( "f" ).obj() );
    pbVectorInsertObj( vector.handle(), 0, str( "_" ).obj() );
    EXPECT_EQ( texts( vector.get() ), ( Lines{ "_", "a", "b", "c", "d", "e", "f" } ) );
}

TEST( PbVector, ReplacesAndRemoves )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a", "b", "c", "d" } );
    pbVectorSetObjAt( vector.handle(), 1, str( "B" ).obj() );
    pbVectorDelObjAt( vector.handle(), 2 );
    EXPECT_EQ( texts( vector.get() ), ( Lines{ "a", "B", "d" } ) );
    pbVectorDelObjAt( vector.handle(), 0 );
    pbVectorDelObjAt( vector.handle(), 1 );
    EXPECT_EQ( texts( vector.get() ), ( Lines{ "B" } ) );
    // An object replaces itself; only the vector holds a reference to it.
    pbVectorSetObjAt( vector.handle(), 0, pb___VectorPeekObjAt( vector.get(), 0 ) );
    EXPECT_EQ( texts( vector.get() ), ( Lines{ "B" } ) );
    pbVectorClear( vector.handle() );
    EXPECT_EQ( pbVectorLength( vector.get() ), 0 );
    pbVectorAppendObj( vector.handle(), str( "x" ).obj() );
    EXPECT_EQ( texts( vector.get() ), ( Lines{ "x" } ) );
}

TEST( PbVector, HoldsOneReferenceToEachObject )
{
    PB_INT                before  = pbObjLiveCount();
    pb::Ref<PB_BOXED_INT> counted = boxed( 1 );
    auto                  holders = [&] { return counted.obj()->refCount; };
    pb::Ref<PB_VECTOR>    vector  = pb::adopt( pbVectorCreate() );
    pbVectorAppendObj( vector.handle(), counted.obj() );
    pbVectorPrependObj( vector.handle(), counted.obj() );
    pbVectorInsertObj( vector.handle(), 1, counted.obj() );
    EXPECT_EQ( holders(), 4 );
    EXPECT_EQ( pb::adopt( pbVectorObjAt( vector.get(), 1 ) ).get(), counted.obj() );
    EXPECT_EQ( pb___VectorPeekObjAt( vector.get(), 1 ), counted.obj() );
    EXPECT_EQ( holders(), 4 );
    pbVectorSetObjAt( vector.handle(), 1, boxed( 2 ).obj() );
    EXPECT_EQ( holders(), 3 );
    pbVectorDelObjAt( vector.handle(), 2 );
    EXPECT_EQ( holders(), 2 );
    PB_OBJ *taken = pbVectorTakeFirst( vector.handle() );
    EXPECT_EQ( taken, counted.obj() );
    EXPECT_EQ( holders(), 2 );
    pbObjRelease( taken );
    EXPECT_EQ( holders(), 1 );
    pbVectorAppendObj( vector.handle(), counted.obj() );
    pb::Ref<PB_VECTOR> copy = pb::adopt( pbVectorCreateFrom( vector.get() ) );
    EXPECT_EQ( holders(), 3 );
    pbVectorClear( vector.handle() );
    EXPECT_EQ( holders(), 2 );
    copy   = {};
    vector = {};
    EXPECT_EQ( holders(), 1 );
    counted = {};
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbVector, InsertsAnotherVector )
{
    for( PB_INT index = 0; index <= 3; index++ )
    {
        pb::Ref<PB_VECTOR> vector = vec( { "a", "b", "c" } );
        pbVectorInsert( vector.handle(), index, vec( { "1", "2" } ).get() );
        Lines wanted{ "a", "b", "c" };
        wanted.insert( wanted.begin() + index, { "1", "2" } );
        EXPECT_EQ( texts( vector.get() ), wanted );
        pbVectorInsert( vector.handle(), index, pb::adopt( pbVectorCreate() ).get() );
        EXPECT_EQ( texts( vector.get() ), wanted );
    }
}

TEST( PbVector, InsertsItself )
{
    for( PB_INT index = 0; index <= 2; index++ )
    {
        pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
        pbVectorInsert( vector.handle(), index, vector.get() );
        Lines wanted{ "a", "b" };
        wanted.insert( wanted.begin() + index, { "a", "b" } );
        EXPECT_EQ( texts( vector.get() ), wanted );

        pb::Ref<PB_VECTOR> other = vector;
        pbVectorInsert( vector.handle(), index, other.get() );
        EXPECT_EQ( pbVectorLength( vector.get() ), 8 );
        EXPECT_EQ( texts( other.get() ), wanted );
    }
}

// If a vector is put into itself, it holds its state from before the edit.
TEST( PbVector, HoldsWhatItWasWhenItIsAddedToItself )
{
    struct
    {
        const char                                   *name;
        std::function<void( PB_VECTOR **, PB_OBJ * )> add;
        PB_INT                                        length, index;
    } cases[] = {
        { "prepend", []( PB_VECTOR **vector, PB_OBJ *obj ) { pbVectorPrependObj( vector, obj ); }, 3, 0 },
        { "insert", []( PB_VECTOR **vector, PB_OBJ *obj ) { pbVectorInsertObj( vector, 1, obj ); }, 3, 1 },
    };
    for( const auto &[name, add, length, index] : cases )
    {
        SCOPED_TRACE( name );
        PB_INT before = pbObjLiveCount();
        {
            pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
            add( vector.handle(), vector.obj() );
            ASSERT_EQ( pbVectorLength( vector.get() ), length );
            EXPECT_EQ( texts( pbVectorFrom( pb___VectorPeekObjAt( vector.get(), index ) ) ), ( Lines{ "a", "b" } ) );
        }
        EXPECT_EQ( pbObjLiveCount(), before );
    }
}

TEST( PbVector, HoldsWhatItWasWhenItIsAppendedToItselfOrSetIntoItself )
{
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
        pbVectorAppendObj( vector.handle(), vector.obj() );
        PB_OBJ *last = pb___VectorPeekObjAt( vector.get(), 2 );
        ASSERT_NE( last, vector.obj() );
        EXPECT_EQ( texts( pbVectorFrom( last ) ), ( Lines{ "a", "b" } ) );
    }
    {
        pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
        pbVectorSetObjAt( vector.handle(), 1, vector.obj() );
        PB_OBJ *last = pb___VectorPeekObjAt( vector.get(), 1 );
        ASSERT_NE( last, vector.obj() );
        EXPECT_EQ( texts( pbVectorFrom( last ) ), ( Lines{ "a", "b" } ) );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbVector, KnowsWhetherItContainsOneSortOnly )
{
    pb::Ref<PB_VECTOR> vector = vec( { "a", "b" } );
    EXPECT_TRUE( pbVectorContainsOnly( vector.get(), pbStringSort() ) );
    EXPECT_FALSE( pbVectorContainsOnly( vector.get(), pbBufferSort() ) );
    pbVectorInsertObj( vector.handle(), 1, buf( "x" ).obj() );
    EXPECT_FALSE( pbVectorContainsOnly( vector.get(), pbStringSort() ) );
    EXPECT_FALSE( pbVectorContainsOnly( vector.get(), pbBufferSort() ) );
    EXPECT_TRUE( pbVectorContainsOnly( pb::adopt( pbVectorCreate() ).get(), pbStringSort() ) );
    EXPECT_FALSE( pbVectorContainsOnly( nullptr, pbStringSort() ) );
}

TEST( PbVector, EditsOfASharedVectorLeaveTheOtherHolderAlone )
{
    pb::Ref<PB_STRING> x    = str( "x" );
    pb::Ref<PB_VECTOR> more = vec( { "y", "z" } );
    struct
    {
        const char                         *name;
        std::function<void( PB_VECTOR ** )> edit;
        Lines                               wanted;
    } edits[] = {
        { "append", [&]( PB_VECTOR **vector ) { pbVectorAppendObj( vector, x.obj() ); }, { "a", "b", "c", "x" } },
        { "prepend", [&]( PB_VECTOR **vector ) { pbVectorPrependObj( vector, x.obj() ); }, { "x", "a", "b", "c" } },
        { "insert object", [&]( PB_VECTOR **vector ) { pbVectorInsertObj( vector, 1, x.obj() ); }, { "a", "x", "b", "c" } },
        { "set", [&]( PB_VECTOR **vector ) { pbVectorSetObjAt( vector, 1, x.obj() ); }, { "a", "x", "c" } },
        { "delete", []( PB_VECTOR **vector ) { pbVectorDelObjAt( vector, 1 ); }, { "a", "c" } },
        { "delete first", []( PB_VECTOR **vector ) { pbVectorDelObjAt( vector, 0 ); }, { "b", "c" } },
        { "take first", []( PB_VECTOR **vector ) { pbObjRelease( pbVectorTakeFirst( vector ) ); }, { "b", "c" } },
        { "insert", [&]( PB_VECTOR **vector ) { pbVectorInsert( vector, 2, more.get() ); }, { "a", "b", "y", "z", "c" } },
        { "clear", []( PB_VECTOR **vector ) { pbVectorClear( vector ); }, {} },
    };
    for( const auto &[name, edit, wanted] : edits )
    {
        SCOPED_TRACE( name );
        pb::Ref<PB_VECTOR> vector = vec( { "a", "b", "c" } );
        pb::Ref<PB_VECTOR> other  = vector;
        edit( vector.handle() );
        EXPECT_EQ( texts( vector.get() ), wanted );
        EXPECT_EQ( texts( other.get() ), ( Lines{ "a", "b", "c" } ) );
        EXPECT_NE( vector.get(), other.get() );
        EXPECT_FALSE( pbObjIsShared( vector.obj() ) );
        EXPECT_FALSE( pbObjIsShared( other.obj() ) );
        // So edits are made in place now.
        PB_VECTOR *same = vector.get();
        pbVectorAppendObj( vector.handle(), x.obj() );
        EXPECT_EQ( vector.get(), same );
    }
}

TEST( PbVector, ComparesObjectByObjectThenByLength )
{
    const Lines inOrder[] = { {}, { "" }, { "", "z" }, { "a" }, { "a", "a" }, { "a", "b" }, { "b" } };
    for( size_t a = 0; a < std::size( inOrder ); a++ )
    {
        for( size_t b = 0; b < std::size( inOrder ); b++ )
        {
            PB_INT order = pbVectorCompare( vec( inOrder[a] ).get(), vec( inOrder[b] ).get() );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
        }
    }
    EXPECT_FALSE( pbVectorEquals( vec( {} ).get(), nullptr ) );
}

TEST( PbVector, RandomEditsGiveWhatAStandardVectorGives )
{
    std::mt19937       random( 31337 );
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    Lines              model;
    auto               below = [&]( size_t limit ) { return (size_t)random() % limit; };
    for( int step = 0; step < 20000; step++ )
    {
        std::string        line   = std::to_string( step );
        pb::Ref<PB_STRING> string = str( line );
        size_t             index  = below( model.size() + 1 );
        // In some steps the vector is shared.
        pb::Ref<PB_VECTOR> other = below( 10 ) ? pb::Ref<PB_VECTOR>() : vector;
        Lines              was   = other ? model : Lines();
        switch( model.size() > 200 ? 3 + below( 3 ) : below( 8 ) )
        {
        case 0:
            pbVectorAppendObj( vector.handle(), string.obj() );
            model.push_back( line );
            break;
        case 1:
            pbVectorPrependObj( vector.handle(), string.obj() );
            model.insert( model.begin(), line );
            break;
        case 2:
            pbVectorInsertObj( vector.handle(), (PB_INT)index, string.obj() );
            model.insert( model.begin() + (ptrdiff_t)index, line );
            break;
        case 3:
            for( size_t count = below( 20 ); count && !model.empty(); count-- )
            {
                pbObjRelease( pbVectorTakeFirst( vector.handle() ) );
                model.erase( model.begin() );
            }
            break;
        case 4:
        case 5:
            if( index < model.size() )
            {
                pbVectorDelObjAt( vector.handle(), (PB_INT)index );
                model.erase( model.begin() + (ptrdiff_t)index );
            }
            break;
        case 6:
            if( index < model.size() )
            {
                pbVectorSetObjAt( vector.handle(), (PB_INT)index, string.obj() );
                model[index] = line;
            }
            break;
        case 7:
            pbVectorInsert( vector.handle(), (PB_INT)index, vec( { line, "x", "y" } ).get() );
            model.insert( model.begin() + (ptrdiff_t)index, { line, "x", "y" } );
            break;
        }
        ASSERT_EQ( texts( vector.get() ), model ) << "step " << step;
        if( other )
            ASSERT_EQ( texts( other.get() ), was ) << "step " << step;
    }
}

TEST( PbVector, AMillionObjectsAreTakenOffTheFrontSoon )
{
    auto               start  = std::chrono::steady_clock::now();
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for( PB_INT value = 0; value < million; value++ )
        pbVectorAppendObj( vector.handle(), boxed( value ).obj() );
    for( PB_INT value = 0; value < million / 2; value++ )
    {
        pb::Ref<PB_OBJ> first = pb::adopt( pbVectorTakeFirst( vector.handle() ) );
        ASSERT_EQ( pbBoxedIntValue( pbBoxedIntFrom( first.get() ) ), value );
    }
    for( PB_INT value = million / 2; value < million; value++ )
    {
        ASSERT_EQ( numberAt( vector, 0 ), value );
        pbVectorDelObjAt( vector.handle(), 0 );
    }
    EXPECT_EQ( pbVectorLength( vector.get() ), 0 );
    EXPECT_LT( secondsSince( start ), soon );
}

TEST( PbVector, AMillionObjectsArePrependedSoon )
{
    auto               start  = std::chrono::steady_clock::now();
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for( PB_INT value = 0; value < million; value++ )
        pbVectorPrependObj( vector.handle(), boxed( value ).obj() );
    EXPECT_EQ( numberAt( vector, 0 ), million - 1 );
    EXPECT_EQ( numberAt( vector, million / 2 ), million / 2 - 1 );
    EXPECT_EQ( numberAt( vector, million - 1 ), 0 );
    EXPECT_LT( secondsSince( start ), soon );
}

TEST( PbVector, AQueueOfManyObjectsMovesOnSoon )
{
    auto               start  = std::chrono::steady_clock::now();
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    for( PB_INT value = 0; value < million / 4; value++ )
        pbVectorAppendObj( vector.handle(), boxed( value ).obj() );
    for( PB_INT value = 0; value < million; value++ )
    {
        pbVectorAppendObj( vector.handle(), boxed( value + million / 4 ).obj() );
        pb::Ref<PB_OBJ> first = pb::adopt( pbVectorTakeFirst( vector.handle() ) );
        ASSERT_EQ( pbBoxedIntValue( pbBoxedIntFrom( first.get() ) ), value );
    }
    EXPECT_EQ( pbVectorLength( vector.get() ), million / 4 );
    // Both ends by turns.
    for( PB_INT value = 0; value < million / 2; value++ )
    {
        pbVectorPrependObj( vector.handle(), boxed( -value ).obj() );
        pbVectorAppendObj( vector.handle(), boxed( value ).obj() );
    }
    EXPECT_EQ( numberAt( vector, 0 ), 1 - million / 2 );
    EXPECT_EQ( numberAt( vector, pbVectorLength( vector.get() ) - 1 ), million / 2 - 1 );
    EXPECT_LT( secondsSince( start ), soon );
}
