#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

static pb::Ref<PB_ENUM> colours()
{
    pb::Ref<PB_ENUM> colours = pb::adopt( pbEnumCreate() );
    pbEnumSetEnumerantCstr( colours.handle(), "RED", -1, 0 );
    pbEnumSetEnumerantCstr( colours.handle(), "GREEN and more", 5, 1 );
    pbEnumSetEnumerantCstr( colours.handle(), "BLUE", -1, 7 );
    return colours;
}

static PB_INT      parse( const pb::Ref<PB_ENUM> &names, std::string_view name ) { return pbEnumParse( names.get(), str( name ).get() ); }
static std::string generate( const pb::Ref<PB_ENUM> &names, PB_INT value ) { return text( pb::adopt( pbEnumGenerate( names.get(), value ) ) ); }

TEST( PbEnum, GoesFromNamesToValuesAndBack )
{
    pb::Ref<PB_ENUM> names = colours();
    EXPECT_EQ( parse( names, "RED" ), 0 );
    EXPECT_EQ( parse( names, "GREEN" ), 1 );
    EXPECT_EQ( parse( names, "BLUE" ), 7 );
    EXPECT_EQ( generate( names, 0 ), "RED" );
    EXPECT_EQ( generate( names, 1 ), "GREEN" );
    EXPECT_EQ( generate( names, 7 ), "BLUE" );
}

TEST( PbEnum, ParsesExactNamesOnly )
{
    pb::Ref<PB_ENUM> names = colours();
    for( const char *name : { "", "red", "Red", "RED ", " RED", "RE", "REDS", "GREEN and more", "0" } )
        EXPECT_EQ( parse( names, name ), -1 ) << name;
    EXPECT_EQ( parse( names, std::string_view( "RED\0", 4 ) ), -1 );
    EXPECT_EQ( parse( pb::adopt( pbEnumCreate() ), "RED" ), -1 );
}

TEST( PbEnum, ALaterNameOrValueTakesThePlaceOfTheOlder )
{
    pb::Ref<PB_ENUM> names = colours();
    pbEnumSetEnumerantCstr( names.handle(), "CRIMSON", -1, 0 );
    EXPECT_EQ( generate( names, 0 ), "CRIMSON" );
    EXPECT_EQ( parse( names, "CRIMSON" ), 0 );
    EXPECT_EQ( parse( names, "RED" ), -1 );

    pbEnumSetEnumerantCstr( names.handle(), "BLUE", -1, 9 );
    EXPECT_EQ( parse( names, "BLUE" ), 9 );
    EXPECT_EQ( generate( names, 9 ), "BLUE" );

    // Value 7 has no name now, so it can get one, and the other pairs stay.
    pbEnumSetEnumerantCstr( names.handle(), "GREEN", -1, 7 );
    EXPECT_EQ( generate( names, 7 ), "GREEN" );
    EXPECT_EQ( parse( names, "GREEN" ), 7 );
    EXPECT_EQ( generate( names, 9 ), "BLUE" );

    pbEnumSetEnumerantCstr( names.handle(), "GREEN", -1, 7 );
    EXPECT_EQ( generate( names, 7 ), "GREEN" );
    EXPECT_EQ( parse( names, "GREEN" ), 7 );
}

TEST( PbEnum, AnEditOfASharedOneLeavesTheOtherHolderAlone )
{
    pb::Ref<PB_ENUM> names = colours();
    pb::Ref<PB_ENUM> other = names;
    pbEnumSetEnumerantCstr( names.handle(), "CRIMSON", -1, 0 );
    pbEnumSetEnumerantCstr( names.handle(), "WHITE", -1, 3 );
    EXPECT_NE( names.get(), other.get() );
    EXPECT_EQ( parse( names, "WHITE" ), 3 );
    EXPECT_EQ( generate( other, 0 ), "RED" );
    EXPECT_EQ( parse( other, "RED" ), 0 );
    EXPECT_EQ( parse( other, "CRIMSON" ), -1 );
    EXPECT_EQ( parse( other, "WHITE" ), -1 );

    // A copy shares its content until one of the two is edited.
    pb::Ref<PB_ENUM> copy = pb::adopt( pbEnumCreateFrom( other.get() ) );
    pbEnumSetEnumerantCstr( other.handle(), "WHITE", -1, 3 );
    EXPECT_EQ( parse( other, "WHITE" ), 3 );
    EXPECT_EQ( parse( copy, "WHITE" ), -1 );
}

TEST( PbEnum, ComparesByContent )
{
    pb::Ref<PB_ENUM> a = colours();
    pb::Ref<PB_ENUM> b = colours();
    EXPECT_TRUE( pbEnumEquals( a.get(), b.get() ) );
    pbEnumSetEnumerantCstr( b.handle(), "WHITE", -1, 3 );
    EXPECT_FALSE( pbEnumEquals( a.get(), b.get() ) );
    EXPECT_EQ( pbEnumCompare( a.get(), b.get() ) < 0, pbEnumCompare( b.get(), a.get() ) > 0 );
    EXPECT_NE( pbEnumCompare( a.get(), b.get() ), 0 );
}
