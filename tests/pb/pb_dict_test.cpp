#include <pb/sort.hpp>

#include "support/text.hpp"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <random>

using namespace support;

PB_OBJECT_TYPE( COUNTED_KEY );

namespace
{

using Lines = std::vector<std::string>;
using Pairs = std::vector<std::pair<std::string, std::string>>;

pb::Ref<PB_BOXED_INT> boxed( PB_INT value ) { return pb::adopt( pbBoxedIntCreate( value ) ); }

pb::Ref<PB_DICT> dict( const Pairs &pairs )
{
    pb::Ref<PB_DICT> made = pb::adopt( pbDictCreate() );
    for( const auto &[key, value] : pairs )
        pbDictSetStringKey( made.handle(), str( key ).get(), str( value ).obj() );
    return made;
}

Pairs pairs( PB_DICT *dict )
{
    pb::Ref<PB_VECTOR> keys   = pb::adopt( pbDictKeysVector( dict ) );
    pb::Ref<PB_VECTOR> values = pb::adopt( pbDictValuesVector( dict ) );
    EXPECT_EQ( pbVectorLength( keys.get() ), pbDictLength( dict ) );
    EXPECT_EQ( pbVectorLength( values.get() ), pbDictLength( dict ) );
    Pairs list;
    for( PB_INT index = 0; index < pbVectorLength( keys.get() ); index++ )
        list.emplace_back( texts( keys.get() )[(size_t)index], texts( values.get() )[(size_t)index] );
    return list;
}

std::string valueOf( const pb::Ref<PB_DICT> &dict, std::string_view key )
{
    pb::Ref<PB_OBJ> value = pb::adopt( pbDictStringKey( dict.get(), str( key ).get() ) );
    return value ? text( pbStringFrom( value.get() ) ) : "none";
}

}

// A key that counts how often it is compared.
struct COUNTED_KEY : PB_OBJ
{
    PB_INT value;
};

static PB_INT comparisons = 0;

static PB_INT compareCounted( PB_OBJ *objA, PB_OBJ *objB )
{
    comparisons++;
    PB_INT a = static_cast<COUNTED_KEY *>( objA )->value;
    PB_INT b = static_cast<COUNTED_KEY *>( objB )->value;
    return a < b ? -1 : a > b;
}

static const PB_SORT countedSort = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), nullptr, "COUNTED_KEY", { .compare = compareCounted } };

static pb::Ref<COUNTED_KEY> countedKey( PB_INT value )
{
    pb::Ref<COUNTED_KEY> key = pb::adopt( (COUNTED_KEY *)pb___ObjCreate( sizeof( COUNTED_KEY ), &countedSort ) );
    key.get()->value         = value;
    return key;
}

TEST( PbDict, SetsAndGivesValues )
{
    pb::Ref<PB_DICT> made = dict( { { "b", "2" }, { "a", "1" } } );
    EXPECT_EQ( pbDictLength( made.get() ), 2 );
    EXPECT_EQ( valueOf( made, "a" ), "1" );
    EXPECT_EQ( valueOf( made, "b" ), "2" );
    EXPECT_EQ( valueOf( made, "c" ), "none" );
    EXPECT_TRUE( pbDictHasStringKey( made.get(), str( "a" ).get() ) );
    EXPECT_FALSE( pbDictHasStringKey( made.get(), str( "A" ).get() ) );
    pbDictSetStringKey( made.handle(), str( "a" ).get(), str( "one" ).obj() );
    EXPECT_EQ( pbDictLength( made.get() ), 2 );
    EXPECT_EQ( valueOf( made, "a" ), "one" );
    pbDictDelStringKey( made.handle(), str( "a" ).get() );
    pbDictDelStringKey( made.handle(), str( "a" ).get() );
    EXPECT_EQ( pairs( made.get() ), ( Pairs{ { "b", "2" } } ) );
    pbDictClear( made.handle() );
    EXPECT_EQ( pbDictLength( made.get() ), 0 );
    EXPECT_FALSE( pbDictHasStringKey( made.get(), str( "b" ).get() ) );
}

TEST( PbDict, TheFormsOfAKeyMeanTheSameKey )
{
    pb::Ref<PB_DICT> made = pb::adopt( pbDictCreate() );
    pbDictSetIntKey( made.handle(), 7, str( "seven" ).obj() );
    EXPECT_TRUE( pbDictHasObjKey( made.get(), boxed( 7 ).obj() ) );
    EXPECT_EQ( text( pbStringFrom( pb::adopt( pbDictObjKey( made.get(), boxed( 7 ).obj() ) ).get() ) ), "seven" );
    pbDictSetObjKey( made.handle(), boxed( 7 ).obj(), str( "7" ).obj() );
    EXPECT_EQ( pbDictLength( made.get() ), 1 );
    EXPECT_EQ( text( pbStringFrom( pb::adopt( pbDictIntKey( made.get(), 7 ) ).get() ) ), "7" );
    pbDictSetObjKey( made.handle(), str( "7" ).obj(), str( "text" ).obj() );
    EXPECT_EQ( pbDictLength( made.get() ), 2 );
    EXPECT_TRUE( pbDictHasStringKey( made.get(), str( "7" ).get() ) );
    pbDictDelObjKey( made.handle(), str( "7" ).obj() );
    EXPECT_FALSE( pbDictHasStringKey( made.get(), str( "7" ).get() ) );
    EXPECT_TRUE( pbDictHasIntKey( made.get(), 7 ) );
    pbDictDelIntKey( made.handle(), 7 );
    EXPECT_EQ( pbDictLength( made.get() ), 0 );
    EXPECT_EQ( pbDictIntKey( made.get(), 7 ), nullptr );
}

TEST( PbDict, AnAbsentOneHasNoKeys )
{
    EXPECT_EQ( pbDictLength( nullptr ), 0 );
    EXPECT_EQ( pbDictIntKey( nullptr, 1 ), nullptr );
    EXPECT_EQ( pbDictStringKey( nullptr, pbStringCreate() ), nullptr );
    EXPECT_EQ( pbDictObjKey( nullptr, boxed( 1 ).obj() ), nullptr );
    EXPECT_FALSE( pbDictHasIntKey( nullptr, 1 ) );
    EXPECT_FALSE( pbDictHasStringKey( nullptr, pbStringCreate() ) );
    EXPECT_FALSE( pbDictHasObjKey( nullptr, boxed( 1 ).obj() ) );
    EXPECT_EQ( pbVectorLength( pb::adopt( pbDictKeysVector( nullptr ) ).get() ), 0 );
    EXPECT_EQ( pbVectorLength( pb::adopt( pbDictValuesVector( nullptr ) ).get() ), 0 );
    pb::Ref<PB_DICT> made = dict( { { "a", "1" } } );
    pbDictInclude( made.handle(), nullptr );
    EXPECT_EQ( pairs( made.get() ), ( Pairs{ { "a", "1" } } ) );
}

TEST( PbDict, KeysAndValuesComeInKeyOrder )
{
    pb::Ref<PB_DICT> made = dict( { { "b", "1" }, { "", "2" }, { "\xE2\x82\xAC", "3" }, { "a", "4" }, { "B", "5" }, { "aa", "6" } } );
    EXPECT_EQ( pairs( made.get() ), ( Pairs{ { "", "2" }, { "B", "5" }, { "a", "4" }, { "aa", "6" }, { "b", "1" }, { "\xE2\x82\xAC", "3" } } ) );

    pb::Ref<PB_DICT> numbers = pb::adopt( pbDictCreate() );
    for( PB_INT key : { (PB_INT)10, (PB_INT)-1, (PB_INT)9, PB_INT_MIN, (PB_INT)0, PB_INT_MAX } )
        pbDictSetIntKey( numbers.handle(), key, str( std::to_string( key ) ).obj() );
    // Strings after integers, in the order of the sorts' names.
    pbDictSetStringKey( numbers.handle(), pbStringCreate(), str( "last" ).obj() );
    EXPECT_EQ( texts( pb::adopt( pbDictValuesVector( numbers.get() ) ).get() ),
        ( Lines{ "-9223372036854775808", "-1", "0", "9", "10", "9223372036854775807", "last" } ) );
}

TEST( PbDict, IncludesAnotherOne )
{
    pb::Ref<PB_DICT> made  = dict( { { "a", "1" }, { "b", "2" } } );
    pb::Ref<PB_DICT> other = dict( { { "b", "two" }, { "c", "three" } } );
    pbDictInclude( made.handle(), other.get() );
    EXPECT_EQ( pairs( made.get() ), ( Pairs{ { "a", "1" }, { "b", "two" }, { "c", "three" } } ) );
    EXPECT_EQ( pairs( other.get() ), ( Pairs{ { "b", "two" }, { "c", "three" } } ) );
    pbDictInclude( made.handle(), made.get() );
    EXPECT_EQ( pbDictLength( made.get() ), 3 );
}

TEST( PbDict, HoldsOneReferenceToKeysAndValues )
{
    PB_INT                before = pbObjLiveCount();
    pb::Ref<PB_BOXED_INT> key    = boxed( 1 );
    pb::Ref<PB_STRING>    value  = str( "value" );
    pb::Ref<PB_DICT>      made   = pb::adopt( pbDictCreate() );
    pbDictSetObjKey( made.handle(), key.obj(), value.obj() );
    EXPECT_EQ( key.obj()->refCount, 2 );
    EXPECT_EQ( value.obj()->refCount, 2 );
    pbDictSetObjKey( made.handle(), key.obj(), value.obj() );
    EXPECT_EQ( key.obj()->refCount, 2 );
    EXPECT_EQ( value.obj()->refCount, 2 );
    pb::Ref<PB_DICT> copy = pb::adopt( pbDictCreateFrom( made.get() ) );
    EXPECT_EQ( value.obj()->refCount, 3 );
    pbDictDelObjKey( made.handle(), key.obj() );
    EXPECT_EQ( key.obj()->refCount, 2 );
    EXPECT_EQ( value.obj()->refCount, 2 );
    pbDictClear( copy.handle() );
    EXPECT_EQ( key.obj()->refCount, 1 );
    EXPECT_EQ( value.obj()->refCount, 1 );
    key   = {};
    value = {};
    made  = {};
    copy  = {};
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbDict, EditsOfASharedDictLeaveTheOtherHolderAlone )
{
    pb::Ref<PB_STRING> x    = str( "x" );
    pb::Ref<PB_STRING> a    = str( "a" );
    pb::Ref<PB_DICT>   more = dict( { { "a", "x" }, { "c", "3" } } );
    struct
    {
        const char                       *name;
        std::function<void( PB_DICT ** )> edit;
        Pairs                             wanted;
    } edits[] = {
        { "set a new key", [&]( PB_DICT **dict ) { pbDictSetStringKey( dict, x.get(), x.obj() ); }, { { "a", "1" }, { "b", "2" }, { "x", "x" } } },
        { "replace", [&]( PB_DICT **dict ) { pbDictSetStringKey( dict, a.get(), x.obj() ); }, { { "a", "x" }, { "b", "2" } } },
        { "set by object", [&]( PB_DICT **dict ) { pbDictSetObjKey( dict, a.obj(), x.obj() ); }, { { "a", "x" }, { "b", "2" } } },
        { "delete", [&]( PB_DICT **dict ) { pbDictDelStringKey( dict, a.get() ); }, { { "b", "2" } } },
        { "delete by object", [&]( PB_DICT **dict ) { pbDictDelObjKey( dict, a.obj() ); }, { { "b", "2" } } },
        { "include", [&]( PB_DICT **dict ) { pbDictInclude( dict, more.get() ); }, { { "a", "x" }, { "b", "2" }, { "c", "3" } } },
        { "clear", []( PB_DICT **dict ) { pbDictClear( dict ); }, {} },
    };
    for( const auto &[name, edit, wanted] : edits )
    {
        SCOPED_TRACE( name );
        pb::Ref<PB_DICT> made  = dict( { { "a", "1" }, { "b", "2" } } );
        pb::Ref<PB_DICT> other = made;
        edit( made.handle() );
        EXPECT_EQ( pairs( made.get() ), wanted );
        EXPECT_EQ( pairs( other.get() ), ( Pairs{ { "a", "1" }, { "b", "2" } } ) );
        EXPECT_NE( made.get(), other.get() );
        EXPECT_FALSE( pbObjIsShared( made.obj() ) );
        EXPECT_FALSE( pbObjIsShared( other.obj() ) );
        // So edits are made in place now.
        PB_DICT *same = made.get();
        pbDictSetIntKey( made.handle(), 1, x.obj() );
        EXPECT_EQ( made.get(), same );
    }

    // The same with integer keys.
    pb::Ref<PB_DICT> made = pb::adopt( pbDictCreate() );
    pbDictSetIntKey( made.handle(), 1, x.obj() );
    pb::Ref<PB_DICT> other = made;
    pbDictSetIntKey( made.handle(), 2, x.obj() );
    EXPECT_FALSE( pbDictHasIntKey( other.get(), 2 ) );
    other = made;
    pbDictDelIntKey( made.handle(), 1 );
    EXPECT_FALSE( pbDictHasIntKey( made.get(), 1 ) );
    EXPECT_TRUE( pbDictHasIntKey( other.get(), 1 ) );
}

TEST( PbDict, VectorsOfKeysAndValuesStayWhenTheDictChanges )
{
    pb::Ref<PB_DICT>   made = dict( { { "a", "1" }, { "b", "2" } } );
    pb::Ref<PB_VECTOR> keys = pb::adopt( pbDictKeysVector( made.get() ) );
    pbDictClear( made.handle() );
    EXPECT_EQ( texts( keys.get() ), ( Lines{ "a", "b" } ) );
}

TEST( PbDict, HoldsWhatItWasWhenItIsSetIntoItself )
{
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<PB_DICT> made = dict( { { "a", "1" } } );
        pbDictSetIntKey( made.handle(), 1, made.obj() );
        pb::Ref<PB_OBJ> value = pb::adopt( pbDictIntKey( made.get(), 1 ) );
        ASSERT_NE( value.get(), made.obj() );
        EXPECT_EQ( pairs( pbDictFrom( value.get() ) ), ( Pairs{ { "a", "1" } } ) );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbDict, ComparesPairByPairThenByLength )
{
    const Pairs inOrder[] = { {}, { { "a", "1" } }, { { "a", "1" }, { "b", "1" } }, { { "a", "1" }, { "c", "0" } }, { { "a", "2" } },
        { { "b", "0" } } };
    for( size_t a = 0; a < std::size( inOrder ); a++ )
    {
        for( size_t b = 0; b < std::size( inOrder ); b++ )
        {
            PB_INT order = pbDictCompare( dict( inOrder[a] ).get(), dict( inOrder[b] ).get() );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
        }
    }
    // The way in which a dictionary was built does not matter.
    EXPECT_TRUE( pbDictEquals( dict( { { "a", "1" }, { "b", "2" } } ).get(), dict( { { "b", "2" }, { "a", "1" } } ).get() ) );
    pb::Ref<PB_DICT> emptied = dict( { { "a", "1" } } );
    pbDictDelStringKey( emptied.handle(), str( "a" ).get() );
    EXPECT_TRUE( pbDictEquals( emptied.get(), pb::adopt( pbDictCreate() ).get() ) );
    EXPECT_FALSE( pbDictEquals( emptied.get(), nullptr ) );
}

TEST( PbDict, RandomEditsGiveWhatAStandardMapGives )
{
    std::mt19937                       random( 2718 );
    pb::Ref<PB_DICT>                   made = pb::adopt( pbDictCreate() );
    std::map<std::string, std::string> model;
    for( int step = 0; step < 5000; step++ )
    {
        std::string key( 1 + random() % 2, (char)( 'a' + random() % 8 ) );
        // In some steps the dictionary is shared.
        pb::Ref<PB_DICT> other = random() % 10 ? pb::Ref<PB_DICT>() : made;
        Pairs            was   = pairs( other.get() );
        if( random() % 3 )
        {
            pbDictSetStringKey( made.handle(), str( key ).get(), str( std::to_string( step ) ).obj() );
            model[key] = std::to_string( step );
        }
        else
        {
            pbDictDelStringKey( made.handle(), str( key ).get() );
            model.erase( key );
        }
        ASSERT_EQ( pairs( made.get() ), Pairs( model.begin(), model.end() ) ) << "step " << step;
        ASSERT_EQ( pairs( other.get() ), was ) << "step " << step;
    }
}

// A balanced tree needs about 20 comparisons for each of a million keys, in any order. A tree that
// is not balanced needs up to a million.
TEST( PbDict, AMillionKeysInAnyOrderNeedFewComparisons )
{
    static constexpr PB_INT million = 1000000;
    static constexpr PB_INT most    = 50;

    std::vector<PB_INT> keys( (size_t)million );
    std::iota( keys.begin(), keys.end(), 0 );
    pb::Ref<PB_STRING> value = str( "value" );
    for( const char *order : { "ascending", "descending", "random" } )
    {
        SCOPED_TRACE( order );
        if( *order == 'd' )
            std::reverse( keys.begin(), keys.end() );
        if( *order == 'r' )
            std::shuffle( keys.begin(), keys.end(), std::mt19937( 1 ) );
        pb::Ref<PB_DICT> made = pb::adopt( pbDictCreate() );
        comparisons           = 0;
        for( PB_INT key : keys )
        {
            pbDictSetObjKey( made.handle(), countedKey( key ).obj(), value.obj() );
            ASSERT_LE( comparisons, most * million );
        }
        EXPECT_EQ( pbDictLength( made.get() ), million );
        comparisons = 0;
        for( PB_INT key = 0; key < million; key += 1000 )
            ASSERT_TRUE( pbDictHasObjKey( made.get(), countedKey( key ).obj() ) ) << key;
        EXPECT_LE( comparisons, most * 1000 );

        pb::Ref<PB_VECTOR> inOrder = pb::adopt( pbDictKeysVector( made.get() ) );
        ASSERT_EQ( pbVectorLength( inOrder.get() ), million );
        for( PB_INT index = 0; index < million; index++ )
            ASSERT_EQ( static_cast<COUNTED_KEY *>( pb___VectorPeekObjAt( inOrder.get(), index ) )->value, index );
    }
}
