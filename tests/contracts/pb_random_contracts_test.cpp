#include <pb/pb_random.h>

#include "support/contract.hpp"

static constexpr char file[] = "source/pb/base/pb_random.cpp";

TEST( PbRandomContracts, Bytes )
{
    PB_BYTE byte = 'a';
    EXPECT_ABORT( file, "bytes || !byteCount", pbRandomBytes( nullptr, 1 ) );
    EXPECT_ABORT( file, "bytes || !byteCount", pbRandomBytes( nullptr, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", pbRandomBytes( &byte, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", pbRandomBytes( &byte, PB_INT_MIN ) );
    pbRandomBytes( &byte, 0 );
    EXPECT_EQ( byte, 'a' );
}
