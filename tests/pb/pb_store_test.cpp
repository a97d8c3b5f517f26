#include "support/text.hpp"

#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <numeric>
#include <random>

using namespace support;

namespace
{

using Lines = std::vector<std::string>;

// One entry as text: its key, then its value.
std::string described( PB_STORE *store, PB_INT index );

std::string described( PB_STORE *store )
{
    std::string out = pbStoreIsArray( store ) ? "[" : "{";
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
        out += ( index ? "," : "" ) + described( store, index );
    return out + ( pbStoreIsArray( store ) ? "]" : "}" );
}

std::string described( const pb::Ref<PB_STORE> &store ) { return described( store.get() ); }

std::string described( PB_STORE *store, PB_INT index )
{
    pb::Ref<PB_STRING> key     = pb::adopt( pbStoreKeyAt( store, index ) );
    pb::Ref<PB_STRING> string  = pb::adopt( pbStoreValueAt( store, index ) );
    pb::Ref<PB_STORE>  inner   = pb::adopt( pbStoreStoreAt( store, index ) );
    PB_INT             number  = 0;
    PB_BOOL            boolean = 0;
    std::string        out     = key ? text( key ) + ":" : "";
    // Exactly one of the getters gives the value.
    int forms = 0;
    if( string )
        out += "'" + text( string ) + "'", forms++;
    if( inner )
        out += described( inner ), forms++;
    if( pbStoreIntValueAt( store, index, &number ) )
        out += std::to_string( number ), forms++;
    if( pbStoreBoolValueAt( store, index, &boolean ) )
        out += boolean ? "true" : "false", forms++;
    if( pbStoreIsNullAt( store, index ) )
        out += "null", forms++;
    EXPECT_EQ( forms, 1 ) << index;
    return out;
}

pb::Ref<PB_STORE> numbers( const Lines &keys )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    for( size_t index = 0; index < keys.size(); index++ )
        pbStoreSetIntValueCstr( store.handle(), keys[index].data(), (PB_INT)keys[index].size(), (PB_INT)index );
    return store;
}

pb::Ref<PB_STORE> sample()
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( store.handle(), "string", -1, str( "text" ).get() );
    pbStoreSetIntValueCstr( store.handle(), "integer", -1, 42 );
    pbStoreSetBoolValueCstr( store.handle(), "boolean", -1, PB_TRUE );
    pbStoreSetValueNullCstr( store.handle(), "nothing", -1 );
    pbStoreSetStoreCstr( store.handle(), "inner", -1, numbers( { "a", "b" } ).get() );
    return store;
}

pb::Ref<PB_STORE> sampleArray()
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( store.handle(), str( "text" ).get() );
    pbStoreAppendIntValue( store.handle(), -7 );
    pbStoreAppendBoolValue( store.handle(), PB_FALSE );
    pbStoreAppendValueNull( store.handle() );
    pbStoreAppendStore( store.handle(), numbers( { "a" } ).get() );
    return store;
}

}

TEST( PbStore, StartsEmptyAsOneOfTheTwoKinds )
{
    pb::Ref<PB_STORE> keyed = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
    EXPECT_FALSE( pbStoreIsArray( keyed.get() ) );
    EXPECT_TRUE( pbStoreIsArray( array.get() ) );
    EXPECT_EQ( pbStoreLength( keyed.get() ), 0 );
    EXPECT_EQ( pbStoreLength( array.get() ), 0 );
    EXPECT_FALSE( pbStoreEquals( keyed.get(), array.get() ) );
}

TEST( PbStore, KeyedEntriesKeepTheOrderInWhichTheyWereFirstSet )
{
    pb::Ref<PB_STORE> store = numbers( { "z", "a", "m" } );
    EXPECT_EQ( described( store ), "{z:0,a:1,m:2}" );
    pbStoreSetValueCstr( store.handle(), "a", -1, str( "new" ).get() );
    EXPECT_EQ( described( store ), "{z:0,a:'new',m:2}" );
    pbStoreDelCstr( store.handle(), "z", -1 );
    pbStoreDelCstr( store.handle(), "z", -1 );
    EXPECT_EQ( described( store ), "{a:'new',m:2}" );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "m", -1 ), 1 );
    pbStoreSetIntValueCstr( store.handle(), "z", -1, 9 );
    EXPECT_EQ( described( store ), "{a:'new',m:2,z:9}" );
}

TEST( PbStore, HoldsEveryKindOfEntry )
{
    EXPECT_EQ( described( sample() ), "{string:'text',integer:42,boolean:true,nothing:null,inner:{a:0,b:1}}" );
    EXPECT_EQ( described( sampleArray() ), "['text',-7,false,null,{a:0}]" );
}

TEST( PbStore, ReadsByKey )
{
    pb::Ref<PB_STORE> store   = sample();
    PB_INT            number  = -1;
    PB_BOOL           boolean = 5;
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( store.get(), "string", -1 ) ) ), "text" );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( store.get(), "stringent", 6 ) ) ), "text" );
    EXPECT_TRUE( pbStoreIntValueCstr( store.get(), "integer", -1, &number ) );
    EXPECT_EQ( number, 42 );
    EXPECT_TRUE( pbStoreBoolValueCstr( store.get(), "boolean", -1, &boolean ) );
    EXPECT_EQ( boolean, PB_TRUE );
    EXPECT_EQ( described( pb::adopt( pbStoreStoreCstr( store.get(), "inner", -1 ) ) ), "{a:0,b:1}" );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "inner", -1 ), 4 );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "Inner", -1 ), -1 );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "", 0 ), -1 );
    EXPECT_EQ( pbStoreIndexCstr( sampleArray().get(), "text", -1 ), -1 );
    EXPECT_EQ( pbStoreValueCstr( sampleArray().get(), "text", -1 ), nullptr );
    EXPECT_EQ( pbStoreKeyAt( sampleArray().get(), 0 ), nullptr );
}

TEST( PbStore, ConvertsNothingAndLeavesTheResultAlone )
{
    pb::Ref<PB_STORE> store = sample();
    pbStoreSetValueCstr( store.handle(), "digits", -1, str( "42" ).get() );
    for( const char *key : { "string", "digits", "integer", "boolean", "nothing", "inner", "absent" } )
    {
        SCOPED_TRACE( key );
        std::string name    = key;
        PB_INT      number  = -1;
        PB_BOOL     boolean = 5;
        EXPECT_EQ( pb::adopt( pbStoreValueCstr( store.get(), key, -1 ) ).get() != nullptr, name == "string" || name == "digits" );
        EXPECT_EQ( pb::adopt( pbStoreStoreCstr( store.get(), key, -1 ) ).get() != nullptr, name == "inner" );
        EXPECT_EQ( pbStoreIntValueCstr( store.get(), key, -1, &number ), name == "integer" );
        EXPECT_EQ( pbStoreBoolValueCstr( store.get(), key, -1, &boolean ), name == "boolean" );
        EXPECT_EQ( number, name == "integer" ? 42 : -1 );
        EXPECT_EQ( boolean, name == "boolean" ? PB_TRUE : 5 );
    }
}

TEST( PbStore, BooleansAreZeroOrOne )
{
    pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendBoolValue( array.handle(), 256 );
    pb::Ref<PB_STORE> keyed = pb::adopt( pbStoreCreate() );
    pbStoreSetBoolValueCstr( keyed.handle(), "a", -1, -1 );
    PB_BOOL value = 0;
    EXPECT_TRUE( pbStoreBoolValueAt( array.get(), 0, &value ) );
    EXPECT_EQ( value, 1 );
    value = 0;
    EXPECT_TRUE( pbStoreBoolValueCstr( keyed.get(), "a", -1, &value ) );
    EXPECT_EQ( value, 1 );
}

TEST( PbStore, KeysMayHoldAnyCharacter )
{
    std::string       zero( "a\0b", 3 );
    pb::Ref<PB_STORE> store = numbers( { "a", zero, "", "\xE2\x82\xAC" } );
    EXPECT_EQ( pbStoreLength( store.get() ), 4 );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), zero.data(), 3 ), 1 );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), zero.data(), -1 ), 0 );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "", -1 ), 2 );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "\xE2\x82\xAC", -1 ), 3 );
    EXPECT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), 1 ) ) ), zero );
}

// Malformed bytes in a key become U+FFFD, so two such keys can be the same one.
TEST( PbStore, MalformedKeysStayUniqueAndAreFound )
{
    pb::Ref<PB_STORE> store = numbers( { "\xFF", "\xFF", "\xFE" } );
    EXPECT_EQ( described( store ), "{\xEF\xBF\xBD:2}" );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "\xFF", -1 ), 0 );
    pbStoreDelCstr( store.handle(), "\xFF", -1 );
    EXPECT_EQ( pbStoreLength( store.get() ), 0 );
}

TEST( PbStore, EditsOfASharedStoreLeaveTheOtherHolderAlone )
{
    using Edit                 = std::function<void( PB_STORE                 **)>;
    pb::Ref<PB_STRING> x       = str( "x" );
    pb::Ref<PB_STORE>  inner   = pb::adopt( pbStoreCreateArray() );
    const char        *unkeyed = "['text',-7,false,null,{a:0}";
    struct
    {
        const char *name;
        bool        array;
        Edit        edit;
        std::string wanted;
    } edits[] = {
        { "append value", true, [&]( PB_STORE **store ) { pbStoreAppendValue( store, x.get() ); }, std::string( unkeyed ) + ",'x']" },
        { "append store", true, [&]( PB_STORE **store ) { pbStoreAppendStore( store, inner.get() ); }, std::string( unkeyed ) + ",[]]" },
        { "append integer", true, []( PB_STORE **store ) { pbStoreAppendIntValue( store, 1 ); }, std::string( unkeyed ) + ",1]" },
        { "append boolean", true, []( PB_STORE **store ) { pbStoreAppendBoolValue( store, 1 ); }, std::string( unkeyed ) + ",true]" },
        { "append null", true, []( PB_STORE **store ) { pbStoreAppendValueNull( store ); }, std::string( unkeyed ) + ",null]" },
        { "set value", false, [&]( PB_STORE **store ) { pbStoreSetValueCstr( store, "a", -1, x.get() ); }, "{a:'x',b:1}" },
        { "set store", false, [&]( PB_STORE **store ) { pbStoreSetStoreCstr( store, "c", -1, inner.get() ); }, "{a:0,b:1,c:[]}" },
        { "set integer", false, []( PB_STORE **store ) { pbStoreSetIntValueCstr( store, "b", -1, 5 ); }, "{a:0,b:5}" },
        { "set boolean", false, []( PB_STORE **store ) { pbStoreSetBoolValueCstr( store, "a", -1, 0 ); }, "{a:false,b:1}" },
        { "set null", false, []( PB_STORE **store ) { pbStoreSetValueNullCstr( store, "b", -1 ); }, "{a:0,b:null}" },
        { "delete", false, []( PB_STORE **store ) { pbStoreDelCstr( store, "a", -1 ); }, "{b:1}" },
    };
    for( const auto &[name, array, edit, wanted] : edits )
    {
        SCOPED_TRACE( name );
        pb::Ref<PB_STORE> store = array ? sampleArray() : numbers( { "a", "b" } );
        pb::Ref<PB_STORE> other = store;
        std::string       was   = described( other );
        edit( store.handle() );
        EXPECT_EQ( described( store ), wanted );
        EXPECT_EQ( described( other ), was );
        EXPECT_NE( store.get(), other.get() );
        EXPECT_FALSE( pbObjIsShared( store.obj() ) );
        EXPECT_FALSE( pbObjIsShared( other.obj() ) );
        // So edits are made in place now.
        PB_STORE *same = store.get();
        edit( store.handle() );
        EXPECT_EQ( store.get(), same );
    }
    // A copy finds its own keys after the original is gone.
    pb::Ref<PB_STORE> original = numbers( { "a", "b" } );
    pb::Ref<PB_STORE> copy     = pb::adopt( pbStoreCreateFrom( original.get() ) );
    original                   = {};
    EXPECT_EQ( pbStoreIndexCstr( copy.get(), "b", -1 ), 1 );
}

TEST( PbStore, WhatItGivesOutIsEditedWithoutIt )
{
    pb::Ref<PB_STORE>  store = sample();
    pb::Ref<PB_STORE>  inner = pb::adopt( pbStoreStoreCstr( store.get(), "inner", -1 ) );
    pb::Ref<PB_STRING> value = pb::adopt( pbStoreValueCstr( store.get(), "string", -1 ) );
    pb::Ref<PB_STRING> key   = pb::adopt( pbStoreKeyAt( store.get(), 0 ) );
    pbStoreDelCstr( inner.handle(), "a", -1 );
    pbStringAppendCstr( value.handle(), "!", -1 );
    pbStringAppendCstr( key.handle(), "!", -1 );
    EXPECT_EQ( described( store ), described( sample() ) );
    EXPECT_EQ( pbStoreIndexCstr( store.get(), "string", -1 ), 0 );
}

TEST( PbStore, HoldsWhatItWasWhenItIsSetIntoItself )
{
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<PB_STORE> keyed = numbers( { "a" } );
        pbStoreSetStoreCstr( keyed.handle(), "self", -1, keyed.get() );
        pbStoreSetStoreCstr( keyed.handle(), "self", -1, keyed.get() );
        EXPECT_EQ( described( keyed ), "{a:0,self:{a:0,self:{a:0}}}" );
        pb::Ref<PB_STORE> array = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendStore( array.handle(), array.get() );
        pbStoreAppendStore( array.handle(), array.get() );
        EXPECT_EQ( described( array ), "[[],[[]]]" );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( PbStore, ComparesByContentAndOrder )
{
    EXPECT_TRUE( pbStoreEquals( sample().get(), sample().get() ) );
    EXPECT_TRUE( pbStoreEquals( sampleArray().get(), sampleArray().get() ) );
    EXPECT_FALSE( pbStoreEquals( sample().get(), nullptr ) );
    EXPECT_FALSE( pbStoreEquals( numbers( { "a", "b" } ).get(), numbers( { "b", "a" } ).get() ) );

    // All these stores differ, and there is a total order of them.
    std::vector<pb::Ref<PB_STORE>>           list     = { pb::adopt( pbStoreCreate() ), pb::adopt( pbStoreCreateArray() ), sample(), sampleArray(),
                      numbers( { "a" } ), numbers( { "b" } ), numbers( { "a", "b" } ), numbers( { "b", "a" } ) };
    const std::function<void( PB_STORE ** )> values[] = {
        []( PB_STORE **store ) { pbStoreSetIntValueCstr( store, "a", -1, 1 ); },
        []( PB_STORE **store ) { pbStoreSetIntValueCstr( store, "a", -1, -1 ); },
        []( PB_STORE **store ) { pbStoreSetBoolValueCstr( store, "a", -1, 0 ); },
        []( PB_STORE **store ) { pbStoreSetBoolValueCstr( store, "a", -1, 1 ); },
        []( PB_STORE **store ) { pbStoreSetValueNullCstr( store, "a", -1 ); },
        []( PB_STORE **store ) { pbStoreSetValueCstr( store, "a", -1, pbStringCreate() ); },
        []( PB_STORE **store ) { pbStoreSetValueCstr( store, "a", -1, str( "0" ).get() ); },
        []( PB_STORE **store ) { pbStoreSetStoreCstr( store, "a", -1, numbers( {} ).get() ); },
        []( PB_STORE **store ) { pbStoreSetStoreCstr( store, "a", -1, sampleArray().get() ); },
    };
    for( const auto &set : values )
    {
        list.push_back( pb::adopt( pbStoreCreate() ) );
        set( list.back().handle() );
    }
    auto before = []( const pb::Ref<PB_STORE> &a, const pb::Ref<PB_STORE> &b ) { return pbStoreCompare( a.get(), b.get() ) < 0; };
    std::sort( list.begin(), list.end(), before );
    for( size_t a = 0; a < list.size(); a++ )
    {
        for( size_t b = 0; b < list.size(); b++ )
        {
            PB_INT order = pbStoreCompare( list[a].get(), list[b].get() );
            EXPECT_EQ( order < 0, a < b ) << described( list[a] ) << " " << described( list[b] );
            EXPECT_EQ( order > 0, a > b ) << described( list[a] ) << " " << described( list[b] );
        }
    }
}

TEST( PbStore, RandomEditsGiveWhatAListOfPairsGives )
{
    std::mt19937                                random( 1618 );
    pb::Ref<PB_STORE>                           store = pb::adopt( pbStoreCreate() );
    std::vector<std::pair<std::string, PB_INT>> model;
    for( PB_INT step = 0; step < 5000; step++ )
    {
        std::string       key( 1 + random() % 3, (char)( 'a' + random() % 6 ) );
        pb::Ref<PB_STORE> other = random() % 10 ? pb::Ref<PB_STORE>() : store;
        std::string       was   = other ? described( other ) : "";
        auto              found = std::find_if( model.begin(), model.end(), [&]( const auto &pair ) { return pair.first == key; } );
        if( random() % 3 )
        {
            pbStoreSetIntValueCstr( store.handle(), key.c_str(), -1, step );
            if( found != model.end() )
                found->second = step;
            else
                model.emplace_back( key, step );
        }
        else
        {
            pbStoreDelCstr( store.handle(), key.c_str(), -1 );
            if( found != model.end() )
                model.erase( found );
        }
        std::string wanted;
        for( size_t index = 0; index < model.size(); index++ )
        {
            wanted += ( index ? "," : "" ) + model[index].first + ":" + std::to_string( model[index].second );
            ASSERT_EQ( pbStoreIndexCstr( store.get(), model[index].first.c_str(), -1 ), (PB_INT)index );
        }
        ASSERT_EQ( described( store ), "{" + wanted + "}" ) << "step " << step;
        if( other )
            ASSERT_EQ( described( other ), was ) << "step " << step;
    }
}

TEST( PbStore, ManyKeysAreSetAndFoundSoon )
{
    static constexpr PB_INT many  = 300000;
    pb::Ref<PB_STORE>       store = pb::adopt( pbStoreCreate() );
    for( PB_INT number = 0; number < many; number++ )
        pbStoreSetIntValueCstr( store.handle(), std::to_string( number * 7919 % many ).c_str(), -1, number );
    EXPECT_EQ( pbStoreLength( store.get() ), many );
    for( PB_INT number = 0; number < many; number += 100 )
        ASSERT_EQ( pbStoreIndexCstr( store.get(), std::to_string( number * 7919 % many ).c_str(), -1 ), number );
}

// Compared with a list of keys. There are so many keys that gaps stay for a while and are closed
// many times.
TEST( PbStore, ManyRandomDeletionsKeepOrderAndIndexes )
{
    std::mt19937             random( 2718 );
    pb::Ref<PB_STORE>        store = pb::adopt( pbStoreCreate() );
    std::vector<std::string> model;
    for( PB_INT step = 0; step < 20000; step++ )
    {
        // The store grows and shrinks in turns.
        bool grows = random() % 4 ? step / 2000 % 2 == 0 : random() % 2;
        if( grows || model.empty() )
        {
            model.push_back( "key" + std::to_string( step ) );
            pbStoreSetIntValueCstr( store.handle(), model.back().c_str(), -1, step );
        }
        else
        {
            auto gone = model.begin() + (ptrdiff_t)( random() % model.size() );
            pbStoreDelCstr( store.handle(), gone->c_str(), -1 );
            ASSERT_EQ( pbStoreIndexCstr( store.get(), gone->c_str(), -1 ), -1 );
            model.erase( gone );
        }
        ASSERT_EQ( pbStoreLength( store.get() ), (PB_INT)model.size() );
        if( model.empty() )
            continue;
        size_t index = random() % model.size();
        ASSERT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), (PB_INT)index ) ) ), model[index] );
        ASSERT_EQ( pbStoreIndexCstr( store.get(), model[index].c_str(), -1 ), (PB_INT)index );
        if( step % 500 )
            continue;
        pb::Ref<PB_STORE> built = pb::adopt( pbStoreCreate() );
        for( size_t at = 0; at < model.size(); at++ )
        {
            ASSERT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), (PB_INT)at ) ) ), model[at] );
            pbStoreSetIntValueCstr( built.handle(), model[at].c_str(), -1, std::stoll( model[at].substr( 3 ) ) );
        }
        // The gaps do not change a comparison or a copy.
        ASSERT_TRUE( pbStoreEquals( built.get(), store.get() ) );
        ASSERT_EQ( described( pb::adopt( pbStoreCreateFrom( store.get() ) ) ), described( store ) );
    }
}

TEST( PbStore, AKeyOfTheStoreItselfCanNameWhatIsDeleted )
{
    pb::Ref<PB_STORE> store = numbers( { "a key that is long", "b" } );
    const char       *key   = pbStringPeekUtf8( pb::adopt( pbStoreKeyAt( store.get(), 0 ) ).get(), nullptr );
    pbStoreDelCstr( store.handle(), key, -1 );
    EXPECT_EQ( described( store ), "{b:1}" );
}

// The test only checks that it ends. If the time of a deletion grew with the number of keys, this
// would take many minutes.
TEST( PbStore, HundredsOfThousandsOfKeysAreDeletedOneByOne )
{
    static constexpr PB_INT many = 200000;
    std::vector<PB_INT>     keys( (size_t)many );
    std::iota( keys.begin(), keys.end(), 0 );
    for( const char *order : { "first to last", "last to first", "random" } )
    {
        SCOPED_TRACE( order );
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
        for( PB_INT key = 0; key < many; key++ )
            pbStoreSetIntValueCstr( store.handle(), std::to_string( key ).c_str(), -1, key );
        if( *order == 'l' )
            std::reverse( keys.begin(), keys.end() );
        if( *order == 'r' )
            std::shuffle( keys.begin(), keys.end(), std::mt19937( 1 ) );
        // Every tenth key stays.
        for( PB_INT key : keys )
        {
            if( key % 10 )
                pbStoreDelCstr( store.handle(), std::to_string( key ).c_str(), -1 );
        }
        ASSERT_EQ( pbStoreLength( store.get() ), many / 10 );
        for( PB_INT index = 0; index < many / 10; index++ )
        {
            ASSERT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ), std::to_string( index * 10 ) );
            ASSERT_EQ( pbStoreIndexCstr( store.get(), std::to_string( index * 10 ).c_str(), -1 ), index );
        }
        for( PB_INT key : keys )
            pbStoreDelCstr( store.handle(), std::to_string( key ).c_str(), -1 );
        ASSERT_EQ( pbStoreLength( store.get() ), 0 );
    }
}
