#include <cry/cry_mac.h>
#include <openssl_module/internal/openssl_module.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/cry/mac/cry_mac_3_0.cpp";

static pb::Ref<CRY_MAC> created() { return pb::adopt( cryMacTryCreateHmac( CRY_HASH_ALGORITHM_SHA2_256, buf( "key" ).get() ) ); }

TEST( CryMacContracts, Create )
{
    pb::Ref<PB_BUFFER> some = buf( "abc" );
    for( PB_INT alg : { (PB_INT)-1, (PB_INT)10, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryMacTryCreateHmac( alg, some.get() ) );
        EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryMacTryComputeHmac( alg, some.get(), some.get() ) );
    }
    EXPECT_ABORT( file, "key", cryMacTryCreateHmac( CRY_HASH_ALGORITHM_SHA1, nullptr ) );
    EXPECT_ABORT( file, "key", cryMacTryComputeHmac( CRY_HASH_ALGORITHM_SHA1, nullptr, some.get() ) );
    EXPECT_ABORT( file, "data", cryMacTryComputeHmac( CRY_HASH_ALGORITHM_SHA1, some.get(), nullptr ) );
    // The first broken contract is reported.
    EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryMacTryComputeHmac( 10, nullptr, nullptr ) );
    EXPECT_ABORT( file, "CRY_HASH_ALGORITHM_OK( alg )", cryMacTryCreateHmac( 10, nullptr ) );
    EXPECT_ABORT( file, "key", cryMacTryComputeHmac( CRY_HASH_ALGORITHM_SHA1, nullptr, nullptr ) );
    EXPECT_TRUE( pb::adopt( cryMacTryCreateHmac( CRY_HASH_ALGORITHM_MD5, some.get() ) ) );
    EXPECT_TRUE( pb::adopt( cryMacTryCreateHmac( CRY_HASH_ALGORITHM_SHA3_512, some.get() ) ) );
}

TEST( CryMacContracts, PreparedContextsNeedADigest ) { EXPECT_ABORT( "source/openssl/openssl_module.cpp", "digestName", openssl___Hmac( nullptr ) ); }

TEST( CryMacContracts, StandardFunctions )
{
    pb::Ref<CRY_MAC> mac = created();
    EXPECT_STANDARD_CHECKS( file, cry, Mac, CRY_MAC, "mac", mac.get() );
}

TEST( CryMacContracts, Updates )
{
    pb::Ref<CRY_MAC>   mac  = created();
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( file, "mac", cryMacUpdate( nullptr, data.get() ) );
    EXPECT_ABORT( file, "mac", cryMacUpdate( nullptr, nullptr ) );
    EXPECT_ABORT( file, "data", cryMacUpdate( mac.get(), nullptr ) );
    EXPECT_ABORT( file, "mac", cryMacUpdateByte( nullptr, 0 ) );
    EXPECT_ABORT( file, "mac", cryMacUpdateBytes( nullptr, nullptr, 0 ) );
    EXPECT_ABORT( file, "data || !byteCount", cryMacUpdateBytes( mac.get(), nullptr, 1 ) );
    EXPECT_ABORT( file, "data || !byteCount", cryMacUpdateBytes( mac.get(), nullptr, -1 ) );
    EXPECT_ABORT( file, "byteCount >= 0", cryMacUpdateBytes( mac.get(), (const PB_BYTE *)"x", -1 ) );
    using Ranged = void ( * )( CRY_MAC *, PB_BUFFER *, PB_INT, PB_INT );
    for( Ranged update : { &cryMacUpdateInner, &cryMacUpdateOuter } )
    {
        EXPECT_ABORT( file, "mac", update( nullptr, data.get(), 0, 0 ) );
        EXPECT_ABORT( file, "data", update( mac.get(), nullptr, 0, 0 ) );
        EXPECT_ABORT( file, "byteOffset >= 0", update( mac.get(), data.get(), -1, 0 ) );
        EXPECT_ABORT( file, "byteCount >= 0", update( mac.get(), data.get(), 0, -1 ) );
        EXPECT_ABORT( file, "PB_INT_ADD_OK( byteOffset, byteCount )", update( mac.get(), data.get(), 1, PB_INT_MAX ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteOffset + byteCount", update( mac.get(), data.get(), 2, 2 ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteOffset + byteCount", update( mac.get(), data.get(), 4, 0 ) );
    }
    using Counted = void ( * )( CRY_MAC *, PB_BUFFER *, PB_INT );
    for( Counted update : { &cryMacUpdateLeading, &cryMacUpdateTrailing } )
    {
        EXPECT_ABORT( file, "mac", update( nullptr, data.get(), 0 ) );
        EXPECT_ABORT( file, "data", update( mac.get(), nullptr, 0 ) );
        EXPECT_ABORT( file, "byteCount >= 0", update( mac.get(), data.get(), -1 ) );
        EXPECT_ABORT( file, "pbBufferLength( data ) >= byteCount", update( mac.get(), data.get(), 4 ) );
    }
    // The refused calls took nothing, and ranges that just fit are not refused.
    cryMacUpdateBytes( mac.get(), nullptr, 0 );
    cryMacUpdateInner( mac.get(), data.get(), 3, 0 );
    cryMacUpdateOuter( mac.get(), data.get(), 0, 3 );
    cryMacUpdateLeading( mac.get(), data.get(), 3 );
    pb::Ref<PB_BUFFER> fed   = pb::adopt( cryMacFinal( mac.get() ) );
    pb::Ref<PB_BUFFER> whole = pb::adopt( cryMacTryComputeHmac( CRY_HASH_ALGORITHM_SHA2_256, buf( "key" ).get(), data.get() ) );
    EXPECT_EQ( hex( bytes( fed ) ), hex( bytes( whole ) ) );
}

TEST( CryMacContracts, Final )
{
    pb::Ref<CRY_MAC>   mac  = created();
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( file, "mac", cryMacFinal( nullptr ) );
    pb::Ref<PB_BUFFER> value = pb::adopt( cryMacFinal( mac.get() ) );
    EXPECT_EQ( pbBufferLength( value.get() ), 32 );
    EXPECT_ABORT( file, "!mac->final", cryMacFinal( mac.get() ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdate( mac.get(), data.get() ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdateByte( mac.get(), 0 ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdateBytes( mac.get(), nullptr, 0 ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdateInner( mac.get(), data.get(), 0, 0 ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdateOuter( mac.get(), data.get(), 0, 3 ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdateLeading( mac.get(), data.get(), 0 ) );
    EXPECT_ABORT( file, "!mac->final", cryMacUpdateTrailing( mac.get(), data.get(), 0 ) );
}
