// A host whose default properties ask for a FIPS provider before the libraries start.
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
    pbRuntimeStop();
}
