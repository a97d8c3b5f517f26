// A process in which OpenSSL's default context has no algorithm, until a host loads a provider.
#include <cry/cry.h>
#include <cry/internal/cry_pkey_private.h>

#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/provider.h>

using namespace support;

namespace
{

// It is set up before the libraries start, since it is registered before main. If a host loads a
// provider, OpenSSL does not load the default provider. This provider has only encoders.
class OnlyBase : public testing::Environment
{
public:
    void SetUp() override
    {
        // At the exit, libcrypto would free its tables under the providers, which stay loaded.
        ASSERT_EQ( OPENSSL_init_crypto( OPENSSL_INIT_NO_LOAD_CONFIG | OPENSSL_INIT_NO_ATEXIT, nullptr ), 1 );
        ASSERT_NE( OSSL_PROVIDER_load( nullptr, "base" ), nullptr );
    }
};

testing::Environment *const onlyBase = testing::AddGlobalTestEnvironment( new OnlyBase );

// A key from a context of its own, which has algorithms. That context is never freed.
pb::Ref<CRY_PKEY_PRIVATE> privateKey()
{
    static OSSL_LIB_CTX *own  = OSSL_LIB_CTX_new();
    EVP_PKEY            *pkey = EVP_PKEY_Q_keygen( own, nullptr, "EC", "P-256" );
    EXPECT_NE( pkey, nullptr );
    return pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) );
}

class NoAlgorithms : public testing::Test
{
protected:
    void TearDown() override { ERR_clear_error(); }

    pb::Ref<PB_BUFFER> data = buf( "abc" ), key = buf( std::string( 16, 'k' ) );
};

}

TEST_F( NoAlgorithms, ThereIsNoDigest )
{
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        EXPECT_FALSE( pb::adopt( cryHashTryCreate( alg ) ) ) << alg;
        EXPECT_FALSE( pb::adopt( cryHashTryCompute( alg, data.get() ) ) ) << alg;
    }
}

TEST_F( NoAlgorithms, ThereIsNoMac )
{
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        EXPECT_FALSE( pb::adopt( cryMacTryCreateHmac( alg, key.get() ) ) ) << alg;
        EXPECT_FALSE( pb::adopt( cryMacTryComputeHmac( alg, key.get(), data.get() ) ) ) << alg;
    }
}

TEST_F( NoAlgorithms, ThereIsNoCipher )
{
    for( PB_INT op : { CRY_AES_OPERATION_ENCRYPT, CRY_AES_OPERATION_DECRYPT } )
        for( size_t length : { 16u, 24u, 32u } )
            EXPECT_FALSE( pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, op, buf( std::string( length, 'k' ) ).get() ) ) ) << length;
}

TEST_F( NoAlgorithms, NothingIsSignedAndNothingIsVerified )
{
    pb::Ref<CRY_PKEY_PRIVATE> priv = privateKey();
    ASSERT_TRUE( priv );
    pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
    ASSERT_TRUE( pub );
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        EXPECT_FALSE( pb::adopt( crySignSignerTryCreate( alg, priv.get() ) ) ) << alg;
        EXPECT_FALSE( pb::adopt( crySignTrySign( alg, priv.get(), data.get() ) ) ) << alg;
        EXPECT_FALSE( crySignCanSign( alg, priv.get() ) ) << alg;
        EXPECT_FALSE( pb::adopt( crySignVerifierTryCreate( alg, pub.get(), data.get() ) ) ) << alg;
        EXPECT_FALSE( crySignVerify( alg, pub.get(), data.get(), data.get() ) ) << alg;
    }
}

TEST_F( NoAlgorithms, NoKeyIsGenerated )
{
    EXPECT_FALSE( pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) ) );
    EXPECT_FALSE( pb::adopt( cryTryGenerateRsaKeyPair( 1024 ) ) );
}

TEST_F( NoAlgorithms, RandomDataComesFromTheSystemOrNotAtAll )
{
    EXPECT_FALSE( pb::adopt( cryTryRandomData( 16, PB_TRUE ) ) );
    pb::Ref<PB_BUFFER> appended = pb::adopt( pbBufferCreate() ), other = pb::adopt( pbBufferCreate() );
    cryRandom( appended.handle(), 32 );
    cryRandom( other.handle(), 32 );
    EXPECT_EQ( pbBufferLength( appended.get() ), 32 );
    EXPECT_NE( bytes( appended ), bytes( other ) );
}

// This is the last test, since the process has algorithms after it.
TEST_F( NoAlgorithms, UntilAHostLoadsAProvider )
{
    pb::Ref<CRY_PKEY_PRIVATE> priv = privateKey();
    pb::Ref<CRY_PKEY_PUBLIC>  pub  = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
    PB_INT                    alg  = CRY_HASH_ALGORITHM_SHA2_256;
    ASSERT_FALSE( pb::adopt( cryHashTryCompute( alg, data.get() ) ) );
    ASSERT_NE( OSSL_PROVIDER_load( nullptr, "default" ), nullptr );

    static constexpr char digest[] = "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad";
    EXPECT_EQ( hex( bytes( pb::adopt( cryHashTryCompute( alg, data.get() ) ) ) ), digest );
    pb::Ref<CRY_HASH> hash = pb::adopt( cryHashTryCreate( alg ) );
    ASSERT_TRUE( hash );
    cryHashUpdate( hash.get(), data.get() );
    EXPECT_EQ( hex( bytes( pb::adopt( cryHashFinal( hash.get() ) ) ) ), digest );

    for( alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        EXPECT_TRUE( pb::adopt( cryHashTryCreate( alg ) ) ) << alg;
        pb::Ref<PB_BUFFER> atOnce = pb::adopt( cryMacTryComputeHmac( alg, key.get(), data.get() ) );
        pb::Ref<CRY_MAC>   mac    = pb::adopt( cryMacTryCreateHmac( alg, key.get() ) );
        ASSERT_TRUE( mac ) << alg;
        cryMacUpdate( mac.get(), data.get() );
        EXPECT_EQ( hex( bytes( atOnce ) ), hex( bytes( pb::adopt( cryMacFinal( mac.get() ) ) ) ) ) << alg;
        EXPECT_TRUE( pb::adopt( crySignSignerTryCreate( alg, priv.get() ) ) ) << alg;
        pb::Ref<PB_BUFFER> signature = pb::adopt( crySignTrySign( alg, priv.get(), data.get() ) );
        ASSERT_TRUE( signature ) << alg;
        EXPECT_TRUE( crySignVerify( alg, pub.get(), signature.get(), data.get() ) ) << alg;
        EXPECT_TRUE( crySignCanSign( alg, priv.get() ) ) << alg;
        EXPECT_FALSE( crySignVerify( alg, pub.get(), signature.get(), key.get() ) ) << alg;
    }
    EXPECT_TRUE( pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_ENCRYPT, key.get() ) ) );
    EXPECT_TRUE( pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) ) );
    EXPECT_TRUE( pb::adopt( cryTryRandomData( 16, PB_TRUE ) ) );
}
