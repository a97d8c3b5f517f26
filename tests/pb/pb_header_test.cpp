#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

pb::Ref<PB_STORE> decoded( std::string_view text ) { return pb::adopt( pbStoreTryDecode( buf( text ).get(), nullptr ) ); }

pb::Ref<PB_HEADER> fromText( std::string_view text ) { return pb::adopt( pb___HeaderTryDecode( buf( text ).get() ) ); }

std::string versionOf( const pb::Ref<PB_HEADER> &header ) { return text( pb::adopt( pbHeaderModuleVersion( header.get() ) ) ); }

bool storeIs( const pb::Ref<PB_HEADER> &header, const pb::Ref<PB_STORE> &store )
{
    return pbStoreEquals( pb::adopt( pbHeaderStore( header.get() ) ).get(), store.get() );
}

}

TEST( PbHeader, HasATypeAndAnEmptyStoreAtFirst )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreate( str( "TYPE" ).get() ) );
    EXPECT_EQ( text( pb::adopt( pbHeaderType( header.get() ) ) ), "TYPE" );
    EXPECT_EQ( versionOf( header ), "(null)" );
    EXPECT_TRUE( storeIs( header, decoded( "{}" ) ) );
    EXPECT_TRUE( pbHeaderEquals( header.get(), pb::adopt( pbHeaderCreateCstr( "TYPES", 4 ) ).get() ) );
}

TEST( PbHeader, IsOfExactlyItsType )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "TYPE", -1 ) );
    EXPECT_TRUE( pbHeaderIsType( header.get(), str( "TYPE" ).get() ) );
    EXPECT_TRUE( pbHeaderIsTypeCstr( header.get(), "TYPE", -1 ) );
    EXPECT_TRUE( pbHeaderIsTypeCstr( header.get(), "TYPES", 4 ) );
    for( const char *other : { "", "type", "TYP", "TYPES", " TYPE" } )
    {
        EXPECT_FALSE( pbHeaderIsType( header.get(), str( other ).get() ) ) << other;
        EXPECT_FALSE( pbHeaderIsTypeCstr( header.get(), other, -1 ) ) << other;
    }
}

TEST( PbHeader, AnEditOfASharedOneLeavesTheOtherHolderAlone )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "TYPE", -1 ) );
    pb::Ref<PB_HEADER> other = header, copy = pb::adopt( pbHeaderCreateFrom( header.get() ) );
    pbHeaderSetModuleVersion( header.handle(), str( "0.2" ).get() );
    pbHeaderSetStore( header.handle(), decoded( "[1]" ).get() );
    EXPECT_NE( header.get(), other.get() );
    EXPECT_EQ( versionOf( header ), "0.2" );
    EXPECT_TRUE( storeIs( header, decoded( "[1]" ) ) );
    EXPECT_EQ( versionOf( other ), "(null)" );
    EXPECT_TRUE( pbHeaderEquals( other.get(), copy.get() ) );
    EXPECT_FALSE( pbHeaderEquals( header.get(), copy.get() ) );
}

// These bytes are the format; they must never change.
TEST( PbHeader, HasTheseBytes )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    EXPECT_EQ( bytes( pb::adopt( pb___HeaderTryEncode( header.get() ) ) ),
        std::string( "\x89PBHD1\r\n\0\0\0\x21", 12 ) + "{\n  \"type\": \"T\",\n  \"store\": {}\n}\n" );
    pbHeaderSetModuleVersion( header.handle(), str( "0.2" ).get() );
    pbHeaderSetStore( header.handle(), decoded( "{\"a\":[1]}" ).get() );
    EXPECT_EQ( bytes( pb::adopt( pb___HeaderTryEncode( header.get() ) ) ),
        std::string( "\x89PBHD1\r\n\0\0\0\x57", 12 ) +
            "{\n  \"type\": \"T\",\n  \"moduleVersion\": \"0.2\",\n  \"store\": {\n    \"a\": [\n      1\n    ]\n  }\n}\n" );
}

TEST( PbHeader, ComesBackFromItsText )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    for( int round = 0; round < 3; round++ )
    {
        pb::Ref<PB_BUFFER> encoded = pb::adopt( pb___HeaderTryEncode( header.get() ) );
        EXPECT_TRUE( pbHeaderEquals( fromText( bytes( encoded ).substr( 12 ) ).get(), header.get() ) );
        if( round == 0 )
            pbHeaderSetModuleVersion( header.handle(), str( "0.2" ).get() );
        else
            pbHeaderSetStore( header.handle(), decoded( "[1,{}]" ).get() );
    }
    // Entries that are unknown or have another type are ignored.
    pb::Ref<PB_HEADER> read = fromText( "{\"later\":1,\"store\":2,\"moduleVersion\":3,\"type\":\"T\"}" );
    EXPECT_TRUE( pbHeaderEquals( read.get(), pb::adopt( pbHeaderCreateCstr( "T", -1 ) ).get() ) );
    for( const char *bad : { "", "{}", "[]", "{\"type\":1}", "{\"type\":\"T\"", "[\"T\"]", "\"T\"", "{\"type\":\"T\",\"type\":\"T\"}" } )
        EXPECT_FALSE( fromText( bad ) ) << bad;
}

TEST( PbHeader, KeepsTheSensitiveMark )
{
    pb::Ref<PB_STRING> secret = str( "secret" );
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    EXPECT_FALSE( pbBufferSensitive( pb::adopt( pb___HeaderTryEncode( header.get() ) ).get() ) );
    pbStringSetSensitive( secret.handle() );
    pbHeaderSetModuleVersion( header.handle(), secret.get() );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( pb___HeaderTryEncode( header.get() ) ).get() ) );
}

TEST( PbHeader, IsNotWrittenIfItCouldNotBeRead )
{
    pb::Ref<PB_HEADER> header = pb::adopt( pbHeaderCreateCstr( "T", -1 ) );
    pbHeaderSetStore( header.handle(), decoded( std::string( 127, '[' ) + std::string( 127, ']' ) ).get() );
    EXPECT_TRUE( pb::adopt( pb___HeaderTryEncode( header.get() ) ) );
    pbHeaderSetStore( header.handle(), decoded( std::string( 128, '[' ) + std::string( 128, ']' ) ).get() );
    EXPECT_FALSE( pb::adopt( pb___HeaderTryEncode( header.get() ) ) );
}
