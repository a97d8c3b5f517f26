#include <cry/cry_random.h>

#include "support/contract.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/cry/base/cry_random.cpp";

TEST( CryRandomContracts, Bytes )
{
    PB_BYTE bytes[2] = { 'a', 'b' };
    EXPECT_ABORT( file, "bytes || !byteCount", cryRandomBytes( nullptr, 1 ) );
    EXPECT_ABORT( file, "bytes || !byteCount", cryRandomBytes( nullptr, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", cryRandomBytes( bytes, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", cryRandomBytes( bytes, PB_INT_MIN ) );
    cryRandomBytes( bytes, 0 );
    EXPECT_EQ( bytes[0], 'a' );
    EXPECT_EQ( bytes[1], 'b' );
}

TEST( CryRandomContracts, Append )
{
    PB_BUFFER         *none = nullptr;
    pb::Ref<PB_BUFFER> some = buf( "abc" );
    EXPECT_ABORT( file, "buffer", cryRandom( nullptr, 0 ) );
    EXPECT_ABORT( file, "*buffer || !byteCount", cryRandom( &none, 1 ) );
    EXPECT_ABORT( file, "*buffer || !byteCount", cryRandom( &none, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", cryRandom( some.handle(), -1 ) );
    cryRandom( some.handle(), 0 );
    EXPECT_EQ( bytes( some ), "abc" );
}

TEST( CryRandomContracts, FreshBuffer )
{
    for( PB_BOOL strict : { PB_FALSE, PB_TRUE } )
    {
        EXPECT_ABORT( file, "bytes > 0", cryTryRandomData( 0, strict ) );
        EXPECT_ABORT( file, "bytes > 0", cryTryRandomData( -1, strict ) );
        EXPECT_EQ( pbBufferLength( pb::adopt( cryTryRandomData( 1, strict ) ).get() ), 1 );
    }
}
