#include <bn/bn.h>
#include <bn/internal/bn_int.h>

#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

pb::Ref<BN_INT> number( std::string_view decimal ) { return pb::adopt( bnIntTryCreateFromDecimalString( str( decimal ).get() ) ); }

std::string decimal( const pb::Ref<BN_INT> &bn ) { return bn ? text( pb::adopt( bnIntConvertToDecimalString( bn.get() ) ) ) : "(null)"; }

// 2 to the power of 64 and of 256, and 10 to the power of 1000.
const std::string power64  = "18446744073709551616";
const std::string power256 = "115792089237316195423570985008687907853269984665640564039457584007913129639936";
const std::string googols  = "1" + std::string( 1000, '0' );

}

TEST( BnInt, ConvertsValuesToDecimalText )
{
    static const struct
    {
        PB_INT      value;
        const char *text;
    } values[] = { { 0, "0" }, { 1, "1" }, { -1, "-1" }, { 10, "10" }, { -255, "-255" }, { 4294967296, "4294967296" },
        { PB_INT_MAX, "9223372036854775807" }, { PB_INT_MIN, "-9223372036854775808" }, { PB_INT_MIN + 1, "-9223372036854775807" } };
    for( const auto &[value, text] : values )
    {
        pb::Ref<BN_INT> bn = pb::adopt( bnIntCreate( value ) );
        EXPECT_EQ( decimal( bn ), text );
        EXPECT_EQ( support::text( pb::adopt( bnIntToString( bn.get() ) ) ), text );
        EXPECT_TRUE( bnIntEquals( bn.get(), number( text ).get() ) ) << text;
    }
}

TEST( BnInt, ReadsDecimalTextOfAnySize )
{
    for( const std::string &text :
        { std::string( "0" ), std::string( "7" ), std::string( "-7" ), power64, power256, googols, std::string( 5000, '9' ) } )
    {
        EXPECT_EQ( decimal( number( text ) ), text );
        if( text != "0" && text[0] != '-' )
        {
            EXPECT_EQ( decimal( number( "-" + text ) ), "-" + text );
        }
    }
}

TEST( BnInt, HasTheValueThatOpensslHas )
{
    pb::Ref<BN_INT> bn       = number( power256 );
    BIGNUM         *expected = BN_new();
    ASSERT_EQ( BN_set_bit( expected, 256 ), 1 );
    EXPECT_EQ( BN_cmp( bn___IntPeekBignum( bn.get() ), expected ), 0 );
    BN_set_negative( expected, 1 );
    EXPECT_EQ( BN_cmp( bn___IntPeekBignum( number( "-" + power256 ).get() ), expected ), 0 );
    BN_free( expected );
}

TEST( BnInt, ReadsLeadingZerosAndNegativeZeroAsTheirValue )
{
    EXPECT_EQ( decimal( number( "007" ) ), "7" );
    EXPECT_EQ( decimal( number( "-007" ) ), "-7" );
    EXPECT_EQ( decimal( number( "0000" ) ), "0" );
    for( const char *zero : { "-0", "-0000" } )
    {
        pb::Ref<BN_INT> bn = number( zero );
        EXPECT_EQ( decimal( bn ), "0" );
        EXPECT_TRUE( bnIntEquals( bn.get(), number( "0" ).get() ) );
        EXPECT_FALSE( BN_is_negative( bn___IntPeekBignum( bn.get() ) ) );
    }
}

TEST( BnInt, RefusesWhatIsNoDecimalNumber )
{
    for( std::string_view bad : { "", "-", "--1", "+1", " 1", "1 ", "1-", "1 2", "1,000", "1.0", "1e3", "0x10", "0X", "ff", "1a", "a1", "1\n", "-a",
             "\xD9\xA1" /* an Arabic digit */,
             "\xE2\x88\x92"
             "1" /* a minus sign */,
             "\xEF\xBC\x91" /* a full-width digit */ } )
        EXPECT_FALSE( number( bad ) ) << bad;
    EXPECT_FALSE( number( std::string_view( "1\0", 2 ) ) );
    EXPECT_FALSE( number( std::string_view( "1\0002", 3 ) ) );
    EXPECT_FALSE( number( std::string_view( "\0", 1 ) ) );
    for( int byte = 1; byte < 128; byte++ )
    {
        std::string one( 1, (char)byte );
        bool        digit = byte >= '0' && byte <= '9';
        EXPECT_EQ( decimal( number( one ) ), digit ? one : "(null)" ) << byte;
        EXPECT_EQ( (bool)number( "12" + one ), digit ) << byte;
        EXPECT_EQ( (bool)number( one + "12" ), digit || byte == '-' ) << byte;
    }
}

TEST( BnInt, IsOrderedByValue )
{
    std::vector<std::string> order = { "-" + googols, "-" + power256, "-" + power64, "-100", "-9", "-1", "0", "1", "9", "100", power64, power256,
        googols };
    for( size_t a = 0; a < order.size(); a++ )
    {
        for( size_t b = 0; b < order.size(); b++ )
        {
            pb::Ref<BN_INT> bnA = number( order[a] ), bnB = number( order[b] );
            EXPECT_EQ( bnIntCompare( bnA.get(), bnB.get() ), a < b ? -1 : a > b ) << order[a] << " " << order[b];
            EXPECT_EQ( bnIntEquals( bnA.get(), bnB.get() ), a == b );
        }
    }
    EXPECT_FALSE( bnIntEquals( number( "1" ).get(), nullptr ) );
}

TEST( BnInt, TakesOverAndLendsAnOpensslNumber )
{
    BIGNUM *bignum = BN_new();
    ASSERT_EQ( BN_set_word( bignum, 123456789 ), 1 );
    BN_set_negative( bignum, 1 );
    pb::Ref<BN_INT> bn = pb::adopt( bn___IntCreateFromBignumUse( bignum ) );
    EXPECT_EQ( bn___IntPeekBignum( bn.get() ), bignum );
    EXPECT_EQ( decimal( bn ), "-123456789" );
    // Two holders of one object see the same number.
    pb::Ref<BN_INT> other = bn;
    bn                    = {};
    EXPECT_EQ( bn___IntPeekBignum( other.get() ), bignum );
}

TEST( BnInt, LeavesNoObjectBehind )
{
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<BN_INT> bn = number( power256 );
        EXPECT_EQ( pbObjLiveCount(), before + 1 );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

TEST( BnModule, NamesItself )
{
    const PB_MODULE_RECORD *record = pbModuleRecord( bnModule() );
    EXPECT_STREQ( record->moduleName, "bn" );
    EXPECT_STREQ( record->moduleVersion, "0.2" );
    EXPECT_STREQ( record->dependencies, "pb" );
}
