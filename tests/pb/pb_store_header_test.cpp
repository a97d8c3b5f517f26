#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

pb::Ref<PB_STORE_HEADER> header( std::string_view type ) { return pb::adopt( pbStoreHeaderCreate( str( type ).get() ) ); }

pb::Ref<PB_STORE> store( const char *key, const char *value )
{
    pb::Ref<PB_STORE> made = pb::adopt( pbStoreCreate() );
    pbStoreSetValueCstr( made.handle(), key, -1, str( value ).get() );
    return made;
}

std::string versionOf( const pb::Ref<PB_STORE_HEADER> &of ) { return text( pb::adopt( pbStoreHeaderModuleVersion( of.get() ) ) ); }

}

TEST( PbStoreHeader, HasATypeAndNothingElseAtFirst )
{
    pb::Ref<PB_STORE_HEADER> made = header( "TYPE" );
    EXPECT_EQ( text( pb::adopt( pbStoreHeaderType( made.get() ) ) ), "TYPE" );
    EXPECT_EQ( versionOf( made ), "(null)" );
    EXPECT_FALSE( pb::adopt( pbStoreHeaderInfo( made.get() ) ) );
    EXPECT_TRUE( pbStoreHeaderEquals( made.get(), pb::adopt( pbStoreHeaderCreateCstr( "TYPES", 4 ) ).get() ) );
}

TEST( PbStoreHeader, IsOfExactlyItsType )
{
    pb::Ref<PB_STORE_HEADER> made = header( "TYPE" );
    EXPECT_TRUE( pbStoreHeaderIsType( made.get(), str( "TYPE" ).get() ) );
    EXPECT_TRUE( pbStoreHeaderIsTypeCstr( made.get(), "TYPE", -1 ) );
    EXPECT_TRUE( pbStoreHeaderIsTypeCstr( made.get(), "TYPES", 4 ) );
    for( const char *other : { "", "type", "TYP", "TYPES", " TYPE" } )
    {
        EXPECT_FALSE( pbStoreHeaderIsType( made.get(), str( other ).get() ) ) << other;
        EXPECT_FALSE( pbStoreHeaderIsTypeCstr( made.get(), other, -1 ) ) << other;
    }
}

TEST( PbStoreHeader, AnEditOfASharedOneLeavesTheOtherHolderAlone )
{
    pb::Ref<PB_STORE_HEADER> made  = header( "TYPE" );
    pb::Ref<PB_STORE_HEADER> other = made, copy = pb::adopt( pbStoreHeaderCreateFrom( made.get() ) );
    pbStoreHeaderSetModuleVersion( made.handle(), str( "0.2" ).get() );
    pbStoreHeaderSetInfo( made.handle(), store( "a", "b" ).get() );
    EXPECT_NE( made.get(), other.get() );
    EXPECT_EQ( versionOf( made ), "0.2" );
    EXPECT_TRUE( pbStoreEquals( pb::adopt( pbStoreHeaderInfo( made.get() ) ).get(), store( "a", "b" ).get() ) );
    EXPECT_EQ( versionOf( other ), "(null)" );
    EXPECT_TRUE( pbStoreHeaderEquals( other.get(), copy.get() ) );
    EXPECT_FALSE( pbStoreHeaderEquals( made.get(), copy.get() ) );
}

TEST( PbStoreHeader, SaysWhenAndByWhatItWasWritten )
{
    pb::Ref<PB_STORE_HEADER> made   = header( "TYPE" );
    pb::Ref<PB_TIME>         before = pb::adopt( pbTimeNow() );
    pbStoreHeaderGenerateInfo( made.handle() );
    pb::Ref<PB_TIME>  after = pb::adopt( pbTimeNow() );
    pb::Ref<PB_STORE> info  = pb::adopt( pbStoreHeaderInfo( made.get() ) );
    EXPECT_EQ( pbStoreLength( info.get() ), 3 );
    pb::Ref<PB_STRING> created = pb::adopt( pbStoreValueCstr( info.get(), "created", -1 ) );
    pb::Ref<PB_TIME>   time    = pb::adopt( pbTimeTryCreateFromString( created.get() ) );
    ASSERT_TRUE( time ) << text( created );
    EXPECT_LE( pbTimeCompare( before.get(), time.get() ), 0 );
    EXPECT_LE( pbTimeCompare( time.get(), after.get() ), 0 );
    const PB_MODULE_RECORD *record = pbModuleRecord( pbModule() );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( info.get(), "product", -1 ) ) ), record->productTag );
    EXPECT_EQ( text( pb::adopt( pbStoreValueCstr( info.get(), "productVersion", -1 ) ) ),
        std::to_string( record->productVersionMajor ) + "." + std::to_string( record->productVersionMinor ) + "." +
            std::to_string( record->productVersionBuild ) );
}

TEST( PbStoreHeader, ComesBackFromItsStore )
{
    pb::Ref<PB_STORE_HEADER> made = header( "TYPE" );
    for( int round = 0; round < 3; round++ )
    {
        pb::Ref<PB_STORE> stored = pb::adopt( pbStoreHeaderStore( made.get() ) );
        EXPECT_EQ( pbStoreLength( stored.get() ), 1 + round );
        EXPECT_TRUE( pbStoreHeaderEquals( pb::adopt( pbStoreHeaderTryRestore( stored.get() ) ).get(), made.get() ) );
        if( round == 0 )
            pbStoreHeaderSetModuleVersion( made.handle(), str( "0.2" ).get() );
        else
            pbStoreHeaderSetInfo( made.handle(), store( "a", "b" ).get() );
    }
    EXPECT_FALSE( pb::adopt( pbStoreHeaderTryRestore( store( "Type", "TYPE" ).get() ) ) );
    EXPECT_FALSE( pb::adopt( pbStoreHeaderTryRestore( pb::adopt( pbStoreCreateArray() ).get() ) ) );
}
