#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

static pb::Ref<PB_BOXED_INT> boxed( PB_INT value ) { return pb::adopt( pbBoxedIntCreate( value ) ); }

static constexpr PB_INT inOrder[] = { PB_INT_MIN, PB_INT_MIN + 1, -256, -1, 0, 1, 255, (PB_INT)1 << 32, PB_INT_MAX - 1, PB_INT_MAX };

TEST( PbBoxedInt, GivesItsValueBack )
{
    for( PB_INT value : inOrder )
        EXPECT_EQ( pbBoxedIntValue( boxed( value ).get() ), value );
}

TEST( PbBoxedInt, OrdersByValue )
{
    for( PB_INT a : inOrder )
    {
        for( PB_INT b : inOrder )
        {
            PB_INT order = pbBoxedIntCompare( boxed( a ).get(), boxed( b ).get() );
            EXPECT_EQ( order < 0, a < b ) << a << " " << b;
            EXPECT_EQ( order > 0, a > b ) << a << " " << b;
            EXPECT_EQ( pbBoxedIntEquals( boxed( a ).get(), boxed( b ).get() ), a == b );
        }
    }
    EXPECT_FALSE( pbBoxedIntEquals( boxed( 0 ).get(), nullptr ) );
}

TEST( PbBoxedInt, TextFormIsDecimal )
{
    EXPECT_EQ( text( pb::adopt( pbBoxedIntToString( boxed( 0 ).get() ) ) ), "0" );
    EXPECT_EQ( text( pb::adopt( pbBoxedIntToString( boxed( -42 ).get() ) ) ), "-42" );
    EXPECT_EQ( text( pb::adopt( pbBoxedIntToString( boxed( PB_INT_MAX ).get() ) ) ), "9223372036854775807" );
    EXPECT_EQ( text( pb::adopt( pbBoxedIntToString( boxed( PB_INT_MIN ).get() ) ) ), "-9223372036854775808" );
}
