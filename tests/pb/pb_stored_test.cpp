#include <pb/stored.hpp>

#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Boxed = pb::Ref<PB_BOXED_INT>;
using Store = pb::Ref<PB_STORE>;

Boxed boxed( PB_INT value ) { return pb::adopt( pbBoxedIntCreate( value ) ); }

// A number as a text, "seven" for 7. Others are refused.
PB_STRING    *toText( PB_BOXED_INT *number ) { return str( pbBoxedIntValue( number ) == 7 ? "seven" : "other" ).take(); }
PB_BOXED_INT *tryFromText( PB_STRING *name ) { return text( name ) == "seven" ? pbBoxedIntCreate( 7 ) : nullptr; }

// A number as a store with one entry.
PB_STORE     *toStore( PB_BOXED_INT *number ) { return pb::StoreWriter().integer( "n", pbBoxedIntValue( number ) ).take(); }
PB_BOXED_INT *tryFromStore( PB_STORE *store )
{
    PB_INT value;
    return pbStoreIntValueCstr( store, "n", -1, &value ) ? pbBoxedIntCreate( value ) : nullptr;
}

PB_INT fromName( PB_STRING *name ) { return text( name ) == "ZERO" ? 0 : text( name ) == "FIVE" ? 5 : -1; }

// A store with one entry of each kind, and an array.
Store oneOfEachKind()
{
    Store store = pb::adopt( pb::StoreWriter().value( "text", str( "a" ) ).integer( "integer", 3 ).boolean( "boolean", PB_TRUE ).take() );
    pbStoreSetValueNullCstr( store.handle(), "null", -1 );
    pbStoreSetStoreCstr( store.handle(), "store", -1, pb::adopt( pbStoreCreate() ).get() );
    pbStoreSetStoreCstr( store.handle(), "array", -1, pb::adopt( pbStoreCreateArray() ).get() );
    return store;
}

// The keys of that store without the one of a kind, and a key that it does not have.
std::vector<const char *> keysBut( std::string_view kind )
{
    std::vector<const char *> keys;
    for( const char *key : { "text", "integer", "boolean", "null", "store", "array", "absent", "" } )
    {
        if( key != kind )
            keys.push_back( key );
    }
    return keys;
}

std::string keysOf( const Store &store )
{
    std::string keys;
    for( PB_INT index = 0; index < pbStoreLength( store.get() ); index++ )
        keys += text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ) + " ";
    return keys;
}

class PbStored : public testing::Test
{
protected:
    void   TearDown() override { EXPECT_EQ( pbObjLiveCount(), before ); }
    PB_INT before = pbObjLiveCount();
};

}

TEST_F( PbStored, TheWriterKeepsTheOrderOfTheCalls )
{
    Boxed seven = boxed( 7 );
    Store store = pb::adopt( pb::StoreWriter()
                                 .value( "z", str( "text" ) )
                                 .integer( "y", -3 )
                                 .boolean( "x", PB_FALSE )
                                 .value( "w", seven.get(), toText )
                                 .sub( "v", pb::adopt( pbStoreCreateArray() ) )
                                 .sub( "u", seven.get(), toStore )
                                 .take() );
    EXPECT_FALSE( pbStoreIsArray( store.get() ) );
    EXPECT_EQ( keysOf( store ), "z y x w v u " );
    PB_INT  number = 0;
    PB_BOOL flag   = PB_TRUE;
    EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), 0 ) ) ), "text" );
    EXPECT_TRUE( pbStoreIntValueAt( store.get(), 1, &number ) );
    EXPECT_EQ( number, -3 );
    EXPECT_TRUE( pbStoreBoolValueAt( store.get(), 2, &flag ) );
    EXPECT_FALSE( flag );
    EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), 3 ) ) ), "seven" );
    EXPECT_TRUE( pbStoreIsArray( pb::adopt( pbStoreStoreAt( store.get(), 4 ) ).get() ) );
    EXPECT_TRUE( pbStoreEquals( pb::adopt( pbStoreStoreAt( store.get(), 5 ) ).get(), pb::adopt( toStore( seven.get() ) ).get() ) );
}

TEST_F( PbStored, AbsentValuesAreNotWritten )
{
    Store store = pb::adopt( pb::StoreWriter()
                                 .value( "a", (PB_STRING *)nullptr )
                                 .value( "b", pb::Ref<PB_STRING>() )
                                 .value( "c", (PB_BOXED_INT *)nullptr, toText )
                                 .sub( "d", (PB_STORE *)nullptr )
                                 .sub( "e", Store() )
                                 .sub( "f", (PB_BOXED_INT *)nullptr, toStore )
                                 .take() );
    EXPECT_EQ( keysOf( store ), "" );
    // An empty text and an empty store are not absent.
    Store empty = pb::adopt( pb::StoreWriter().value( "a", str( "" ) ).sub( "b", pb::adopt( pbStoreCreate() ) ).take() );
    EXPECT_EQ( keysOf( empty ), "a b " );
}

TEST_F( PbStored, TheWriterSharesWhatItIsGiven )
{
    pb::Ref<PB_STRING> given = str( "text" );
    Store              part  = oneOfEachKind();
    Store              store = pb::adopt( pb::StoreWriter().value( "a", given.get() ).sub( "b", part.get() ).take() );
    EXPECT_EQ( pb::adopt( pbStoreValueAt( store.get(), 0 ) ).get(), given.get() );
    EXPECT_EQ( pb::adopt( pbStoreStoreAt( store.get(), 1 ) ).get(), part.get() );
}

TEST_F( PbStored, ReadsBackWhatWasWritten )
{
    Boxed              seven = boxed( 7 ), nine = boxed( 9 ), number, part;
    pb::Ref<PB_STRING> name;
    PB_INT             integer = 0, value = 0;
    PB_BOOL            flag  = PB_FALSE;
    Store              store = pb::adopt( pb::StoreWriter()
                                              .value( "name", str( "text" ) )
                                              .value( "number", seven.get(), toText )
                                              .value( "value", str( "FIVE" ) )
                                              .integer( "integer", PB_INT_MIN )
                                              .boolean( "flag", PB_TRUE )
                                              .sub( "part", nine.get(), toStore )
                                              .take() );
    pb::StoreReader( store.get() )
        .value( "name", *name.handle() )
        .value( "number", *number.handle(), tryFromText )
        .value( "value", value, fromName )
        .integer( "integer", integer )
        .boolean( "flag", flag )
        .sub( "part", *part.handle(), tryFromStore );
    EXPECT_EQ( text( name ), "text" );
    EXPECT_TRUE( pbBoxedIntEquals( number.get(), seven.get() ) );
    EXPECT_EQ( value, 5 );
    EXPECT_EQ( integer, PB_INT_MIN );
    EXPECT_TRUE( flag );
    EXPECT_TRUE( pbBoxedIntEquals( part.get(), nine.get() ) );
}

TEST_F( PbStored, AnEntryTakesThePlaceOfTheFormerValue )
{
    Store              store  = pb::adopt( pb::StoreWriter().value( "a", str( "seven" ) ).sub( "b", boxed( 9 ).get(), toStore ).take() );
    Boxed              number = boxed( 1 ), part = boxed( 2 );
    pb::Ref<PB_STRING> name = str( "former" );
    pb::StoreReader( store.get() ).value( "a", *name.handle() ).value( "a", *number.handle(), tryFromText ).sub( "b", *part.handle(), tryFromStore );
    EXPECT_EQ( text( name ), "seven" );
    EXPECT_EQ( pbBoxedIntValue( number.get() ), 7 );
    EXPECT_EQ( pbBoxedIntValue( part.get() ), 9 );
}

TEST_F( PbStored, AbsentKeysAndOtherKindsLeaveTheFieldAlone )
{
    Store              keyed = oneOfEachKind(), array = pb::adopt( pbStoreCreateArray() );
    Boxed              number = boxed( 1 ), part = boxed( 2 );
    pb::Ref<PB_STRING> name    = str( "former" );
    PB_INT             integer = 4, value = 5;
    PB_BOOL            flag = PB_FALSE;
    for( const Store &store : { keyed, array } )
    {
        pb::StoreReader reader( store.get() );
        for( const char *key : keysBut( "text" ) )
            reader.value( key, *name.handle() ).value( key, *number.handle(), tryFromText ).value( key, value, fromName );
        for( const char *key : keysBut( "integer" ) )
            reader.integer( key, integer );
        for( const char *key : keysBut( "boolean" ) )
            reader.boolean( key, flag );
        for( const char *key : keysBut( "" ) )
            reader.sub( key, *part.handle(), tryFromStore );
    }
    EXPECT_EQ( text( name ), "former" );
    EXPECT_EQ( pbBoxedIntValue( number.get() ), 1 );
    EXPECT_EQ( pbBoxedIntValue( part.get() ), 2 );
    EXPECT_EQ( integer, 4 );
    EXPECT_EQ( value, 5 );
    EXPECT_FALSE( flag );
}

TEST_F( PbStored, RefusedValuesLeaveTheFieldAlone )
{
    Store store = pb::adopt(
        pb::StoreWriter().value( "unknown", str( "eight" ) ).value( "zero", str( "ZERO" ) ).sub( "empty", pb::adopt( pbStoreCreate() ) ).take() );
    Boxed  number = boxed( 1 );
    PB_INT value  = 5;
    pb::StoreReader( store.get() )
        .value( "unknown", *number.handle(), tryFromText )
        .sub( "empty", *number.handle(), tryFromStore )
        .value( "unknown", value, fromName );
    EXPECT_EQ( pbBoxedIntValue( number.get() ), 1 );
    EXPECT_EQ( value, 5 );
    // Zero is a value. The other field stays null.
    Boxed none;
    pb::StoreReader( store.get() ).value( "zero", value, fromName ).value( "unknown", *none.handle(), tryFromText );
    EXPECT_EQ( value, 0 );
    EXPECT_FALSE( none );
}

TEST_F( PbStored, StoreOfEachIsAnArrayInTheOrderOfTheVector )
{
    pb::Ref<PB_VECTOR> vec = pb::adopt( pbVectorCreate() );
    for( PB_INT value : { 3, 1, 2 } )
        pbVectorAppendObj( vec.handle(), boxed( value ).obj() );
    Store store = pb::adopt( pb::storeOfEach( vec.get(), toStore ) );
    EXPECT_TRUE( pbStoreIsArray( store.get() ) );
    EXPECT_EQ( pbStoreLength( store.get() ), 3 );
    pb::Ref<PB_VECTOR> again = pb::adopt( pb::restoreEach( store.get(), tryFromStore ) );
    EXPECT_TRUE( pbVectorEquals( vec.get(), again.get() ) );
    Store none = pb::adopt( pb::storeOfEach( pb::adopt( pbVectorCreate() ).get(), toStore ) );
    EXPECT_TRUE( pbStoreIsArray( none.get() ) );
    EXPECT_EQ( pbStoreLength( none.get() ), 0 );
}

TEST_F( PbStored, RestoreEachSkipsOtherEntries )
{
    Store store = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( store.handle(), str( "seven" ).get() );
    pbStoreAppendStore( store.handle(), pb::adopt( toStore( boxed( 1 ).get() ) ).get() );
    pbStoreAppendIntValue( store.handle(), 5 );
    pbStoreAppendBoolValue( store.handle(), PB_TRUE );
    pbStoreAppendValueNull( store.handle() );
    pbStoreAppendStore( store.handle(), pb::adopt( pbStoreCreate() ).get() );
    pbStoreAppendStore( store.handle(), pb::adopt( toStore( boxed( 2 ).get() ) ).get() );
    pb::Ref<PB_VECTOR> vec = pb::adopt( pb::restoreEach( store.get(), tryFromStore ) );
    ASSERT_EQ( pbVectorLength( vec.get() ), 2 );
    EXPECT_EQ( pbBoxedIntValue( pb::peekAt<PB_BOXED_INT>( vec.get(), 0 ) ), 1 );
    EXPECT_EQ( pbBoxedIntValue( pb::peekAt<PB_BOXED_INT>( vec.get(), 1 ) ), 2 );
    // The values of a keyed store are read.
    Store keyed = pb::adopt( pb::StoreWriter().sub( "a", boxed( 4 ).get(), toStore ).integer( "b", 1 ).take() );
    EXPECT_EQ( pbVectorLength( pb::adopt( pb::restoreEach( keyed.get(), tryFromStore ) ).get() ), 1 );
    EXPECT_EQ( pbVectorLength( pb::adopt( pb::restoreEach( pb::adopt( pbStoreCreateArray() ).get(), tryFromStore ) ).get() ), 0 );
}
