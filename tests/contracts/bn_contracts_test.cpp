#include <bn/bn.h>
#include <bn/internal/bn_int.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/bn/bn_int.cpp";

TEST( BnContracts, StandardFunctions )
{
    pb::Ref<BN_INT> bn = pb::adopt( bnIntCreate( 1 ) );
    EXPECT_STANDARD_CHECKS( file, bn, Int, BN_INT, "bn", bn.get() );
}

TEST( BnContracts, Conversions )
{
    EXPECT_ABORT( file, "text", bnIntTryCreateFromDecimalString( nullptr ) );
    EXPECT_ABORT( file, "bn", bnIntConvertToDecimalString( nullptr ) );
    EXPECT_ABORT( file, "bignum", bn___IntCreateFromBignumUse( nullptr ) );
    EXPECT_ABORT( file, "bn", bn___IntPeekBignum( nullptr ) );
}
