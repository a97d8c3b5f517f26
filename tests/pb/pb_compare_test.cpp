#include "support/text.hpp"

#include <functional>
#include <gtest/gtest.h>

using namespace support;

namespace
{

// More levels than fit on a stack if each level needs a few calls.
constexpr size_t million = 1000000, many = 300000;

using Object = pb::Ref<PB_OBJ>;
using Wrap   = std::function<Object( PB_OBJ *inner, size_t level )>;

Object inVector( PB_OBJ *inner, size_t )
{
    pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
    pbVectorAppendObj( vector.handle(), inner );
    return pb::share( vector.obj() );
}

Object inDictAsValue( PB_OBJ *inner, size_t )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    pbDictSetIntKey( dict.handle(), 1, inner );
    return pb::share( dict.obj() );
}

Object inDictAsKey( PB_OBJ *inner, size_t )
{
    pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
    pbDictSetObjKey( dict.handle(), inner, pbStringObj( pbStringCreate() ) );
    return pb::share( dict.obj() );
}

Object inStore( PB_OBJ *inner, size_t level )
{
    pb::Ref<PB_STORE> store = pb::adopt( level % 2 ? pbStoreCreateArray() : pbStoreCreate() );
    if( level % 2 )
        pbStoreAppendStore( store.handle(), pbStoreFrom( inner ) );
    else
        pbStoreSetStoreCstr( store.handle(), "inner", -1, pbStoreFrom( inner ) );
    return pb::share( store.obj() );
}

Object inTurns( PB_OBJ *inner, size_t level )
{
    return level % 3 == 0 ? inVector( inner, level ) : level % 3 == 1 ? inDictAsValue( inner, level ) : inDictAsKey( inner, level );
}

// Nested containers. Every level is held, so that the levels can be freed one by one, from the
// outermost.
class Nest
{
public:
    Nest( Object innermost, size_t depth, const Wrap &wrap )
    {
        levels.push_back( std::move( innermost ) );
        for( size_t level = 0; level < depth; level++ )
            levels.push_back( wrap( levels.back().get(), level ) );
    }
    ~Nest()
    {
        while( !levels.empty() )
            levels.pop_back();
    }
    Nest( const Nest & ) = delete;

    PB_OBJ *outermost() const { return levels.back().get(); }

private:
    std::vector<Object> levels;
};

void expectOrder( const Nest &less, const Nest &same, const Nest &greater )
{
    EXPECT_EQ( pbObjCompare( less.outermost(), same.outermost() ), 0 );
    EXPECT_TRUE( pbObjEquals( same.outermost(), less.outermost() ) );
    EXPECT_LT( pbObjCompare( less.outermost(), greater.outermost() ), 0 );
    EXPECT_GT( pbObjCompare( greater.outermost(), less.outermost() ), 0 );
}

Object text( const char *content ) { return pb::share( str( content ).obj() ); }

Object storeOf( PB_INT number )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendIntValue( store.handle(), number );
    return pb::share( store.obj() );
}

}

TEST( PbCompare, AMillionVectorsInOneAnother )
{
    expectOrder( { text( "a" ), million, inVector }, { text( "a" ), million, inVector }, { text( "b" ), million, inVector } );
}

TEST( PbCompare, AMillionStoresInOneAnother )
{
    expectOrder( { storeOf( 1 ), million, inStore }, { storeOf( 1 ), million, inStore }, { storeOf( 2 ), million, inStore } );
}

TEST( PbCompare, ManyDictionariesInOneAnother )
{
    expectOrder( { text( "a" ), many, inDictAsValue }, { text( "a" ), many, inDictAsValue }, { text( "b" ), many, inDictAsValue } );
}

TEST( PbCompare, ManyContainersOfDifferentKindsInOneAnother )
{
    expectOrder( { text( "a" ), many, inTurns }, { text( "a" ), many, inTurns }, { text( "b" ), many, inTurns } );
}

TEST( PbCompare, GoesOnBehindAContainerThatIsEqual )
{
    auto make = []( const char *inner, const char *last ) {
        pb::Ref<PB_VECTOR> vector = pb::adopt( pbVectorCreate() );
        for( int time = 0; time < 3; time++ )
            pbVectorAppendObj( vector.handle(), inTurns( inVector( text( inner ).get(), 0 ).get(), (size_t)time ).get() );
        pbVectorAppendObj( vector.handle(), text( last ).get() );
        return vector;
    };
    EXPECT_EQ( pbVectorCompare( make( "x", "a" ).get(), make( "x", "a" ).get() ), 0 );
    EXPECT_LT( pbVectorCompare( make( "x", "a" ).get(), make( "x", "b" ).get() ), 0 );
    EXPECT_GT( pbVectorCompare( make( "y", "a" ).get(), make( "x", "b" ).get() ), 0 );
}

TEST( PbCompare, AnObjectOfAnotherSortIsOrderedByTheNameOfItsSort )
{
    // PB_DICT, PB_STRING, PB_VECTOR.
    Object dict = inVector( inDictAsKey( text( "z" ).get(), 0 ).get(), 0 ), string = inVector( text( "a" ).get(), 0 ),
           vector = inVector( inVector( text( "a" ).get(), 0 ).get(), 0 );
    EXPECT_LT( pbObjCompare( dict.get(), string.get() ), 0 );
    EXPECT_LT( pbObjCompare( string.get(), vector.get() ), 0 );
    EXPECT_GT( pbObjCompare( vector.get(), dict.get() ), 0 );
}
