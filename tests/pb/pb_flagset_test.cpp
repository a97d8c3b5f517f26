#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

// The names are not in the order of the values.
static pb::Ref<PB_FLAGSET> rights()
{
    pb::Ref<PB_FLAGSET> rights = pb::adopt( pbFlagsetCreate() );
    pbFlagsetSetFlagCstr( rights.handle(), "EXECUTE", -1, 4 );
    pbFlagsetSetFlagCstr( rights.handle(), "READ and more", 4, 1 );
    pbFlagsetSetFlagCstr( rights.handle(), "WRITE", -1, 2 );
    pbFlagsetSetFlagCstr( rights.handle(), "OWN", -1, (PB_INT)1 << 62 );
    return rights;
}

static PB_INT      parse( const pb::Ref<PB_FLAGSET> &names, std::string_view line ) { return pbFlagsetParse( names.get(), str( line ).get() ); }
static std::string generate( const pb::Ref<PB_FLAGSET> &names, PB_INT flags ) { return text( pb::adopt( pbFlagsetGenerate( names.get(), flags ) ) ); }

TEST( PbFlagset, WritesNamesInTheOrderOfTheBits )
{
    pb::Ref<PB_FLAGSET> names = rights();
    EXPECT_EQ( generate( names, 0 ), "" );
    EXPECT_EQ( generate( names, 1 ), "READ" );
    EXPECT_EQ( generate( names, 6 ), "WRITE|EXECUTE" );
    EXPECT_EQ( generate( names, 7 ), "READ|WRITE|EXECUTE" );
    EXPECT_EQ( generate( names, ( (PB_INT)1 << 62 ) | 1 ), "READ|OWN" );
}

TEST( PbFlagset, LeavesBitsWithoutNamesOut )
{
    pb::Ref<PB_FLAGSET> names = rights();
    EXPECT_EQ( generate( names, 8 ), "" );
    EXPECT_EQ( generate( names, 0xF9 ), "READ" );
    EXPECT_EQ( generate( names, -1 ), "READ|WRITE|EXECUTE|OWN" );
    EXPECT_EQ( generate( pb::adopt( pbFlagsetCreate() ), -1 ), "" );
}

TEST( PbFlagset, ParsesTrimmedNamesInAnyOrder )
{
    pb::Ref<PB_FLAGSET> names = rights();
    EXPECT_EQ( parse( names, "" ), 0 );
    EXPECT_EQ( parse( names, "READ" ), 1 );
    EXPECT_EQ( parse( names, "EXECUTE|READ" ), 5 );
    EXPECT_EQ( parse( names, " \tWRITE \n| \xC2\xA0READ " ), 3 );
    EXPECT_EQ( parse( names, "READ|READ||READ|" ), 1 );
    EXPECT_EQ( parse( names, "OWN" ), (PB_INT)1 << 62 );
}

TEST( PbFlagset, SkipsUnknownNames )
{
    pb::Ref<PB_FLAGSET> names = rights();
    EXPECT_EQ( parse( names, "read|FLY|WRITE|8|READ WRITE|EXECUTE,READ" ), 2 );
}

TEST( PbFlagset, EverySetOfFlagsComesBackFromItsText )
{
    pb::Ref<PB_FLAGSET> names = rights();
    for( PB_INT flags = 0; flags < 8; flags++ )
        EXPECT_EQ( parse( names, generate( names, flags ) ), flags );
}

TEST( PbFlagset, KnowsItsNames )
{
    pb::Ref<PB_FLAGSET> names = rights();
    EXPECT_TRUE( pbFlagsetHasFlagCstr( names.get(), "READ", -1 ) );
    EXPECT_TRUE( pbFlagsetHasFlagCstr( names.get(), "READING", 4 ) );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( names.get(), "READING", -1 ) );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( names.get(), "READ", 3 ) );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( names.get(), "", 0 ) );
}

TEST( PbFlagset, AFlagOfSeveralBitsIsWrittenWhenAllAreSet )
{
    pb::Ref<PB_FLAGSET> names = pb::adopt( pbFlagsetCreate() );
    pbFlagsetSetFlagCstr( names.handle(), "BOTH", -1, 3 );
    EXPECT_EQ( generate( names, 1 ), "" );
    EXPECT_EQ( generate( names, 7 ), "BOTH" );
    EXPECT_EQ( parse( names, "BOTH" ), 3 );
}

TEST( PbFlagset, AnEditOfASharedOneLeavesTheOtherHolderAlone )
{
    pb::Ref<PB_FLAGSET> names = rights();
    pb::Ref<PB_FLAGSET> other = names;
    pbFlagsetSetFlagCstr( names.handle(), "DELETE", -1, 8 );
    EXPECT_NE( names.get(), other.get() );
    EXPECT_EQ( generate( names, 9 ), "READ|DELETE" );
    EXPECT_EQ( generate( other, 9 ), "READ" );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( other.get(), "DELETE", -1 ) );

    pb::Ref<PB_FLAGSET> copy = pb::adopt( pbFlagsetCreateFrom( other.get() ) );
    EXPECT_TRUE( pbFlagsetEquals( copy.get(), other.get() ) );
    pbFlagsetSetFlagCstr( other.handle(), "DELETE", -1, 8 );
    EXPECT_EQ( parse( copy, "DELETE" ), 0 );
    EXPECT_FALSE( pbFlagsetEquals( copy.get(), other.get() ) );
    EXPECT_TRUE( pbFlagsetEquals( names.get(), other.get() ) );
}
