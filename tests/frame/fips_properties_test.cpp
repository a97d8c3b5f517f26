// A host whose default properties ask for a FIPS provider before the libraries start.
#include <cry/cry_hash.h>
#include <cry/cry_mac.h>
#include <openssl_module/openssl_module.h>
#include <pb/pb.h>
#include <pb/ref.hpp>

#include <gtest/gtest.h>
#include <openssl/evp.h>

TEST( FipsProperties, KeysAreNotDecodedInTheCopyOfTheDefaultProvider )
{
    ASSERT_EQ( EVP_default_properties_enable_fips( nullptr, 1 ), 1 );
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
    ASSERT_TRUE( pbRuntimeStart( options.get() ) );
    EXPECT_FALSE( opensslKeyDecodingContextUsed() );
    pb::Ref<PB_STRING> state = pb::adopt( opensslKeyDecodingContextState() );
    EXPECT_STREQ( pbStringPeekUtf8( state.get(), nullptr ), "not used: the default properties ask for a FIPS provider" );
    // No provider satisfies the properties here, so nothing may compute a digest instead.
    pb::Ref<PB_BUFFER> data = pb::adopt( pbBufferCreateFromBytes( "abc", 3 ) );
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        EXPECT_FALSE( pb::adopt( cryHashTryCompute( alg, data.get() ) ) ) << alg;
        EXPECT_FALSE( pb::adopt( cryMacTryComputeHmac( alg, data.get(), data.get() ) ) ) << alg;
    }
    pbRuntimeStop();
}
