#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>

#include "cry/pkey/keys.hpp"

#include <openssl/provider.h>
#include <set>
#include <thread>

using namespace support;

namespace
{

using Private = pb::Ref<CRY_PKEY_PRIVATE>;

Private     generated( PB_INT bits ) { return pb::adopt( cryTryGenerateRsaKeyPair( bits ) ); }
std::string canonical( const Private &priv ) { return textOf( pb::adopt( cryPkeyPrivatePem( priv.get() ) ).get() ); }

void expectGood( const Private &priv, PB_INT bits )
{
    ASSERT_TRUE( priv ) << bits;
    EVP_PKEY *pkey = cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() );
    EXPECT_TRUE( EVP_PKEY_is_a( pkey, "RSA" ) );
    EXPECT_EQ( canonical( priv ), pkcs8Text( pkey ) );
    pb::Ref<CRY_PKEY_INFO> info = pb::adopt( cryPkeyPrivateInfo( priv.get() ) );
    EXPECT_EQ( cryPkeyInfoType( info.get() ), CRY_PKEY_TYPE_RSA );
    EXPECT_EQ( cryPkeyInfoBits( info.get() ), bits );
    EXPECT_FALSE( cryPkeyInfoHasEcNamedCurve( info.get() ) );

    BIGNUM *modulus = nullptr, *exponent = nullptr;
    ASSERT_EQ( EVP_PKEY_get_bn_param( pkey, OSSL_PKEY_PARAM_RSA_N, &modulus ), 1 );
    ASSERT_EQ( EVP_PKEY_get_bn_param( pkey, OSSL_PKEY_PARAM_RSA_E, &exponent ), 1 );
    EXPECT_EQ( BN_num_bits( modulus ), bits );
    EXPECT_TRUE( BN_is_word( exponent, 65537 ) );
    BN_free( modulus );
    BN_free( exponent );
    EVP_PKEY_CTX *ctx = EVP_PKEY_CTX_new_from_pkey( nullptr, pkey, nullptr );
    EXPECT_EQ( EVP_PKEY_pairwise_check( ctx ), 1 );
    EVP_PKEY_CTX_free( ctx );
}

}

TEST( CryGenerateRsaKeyPair, MakesKeysOfTheSizeThatIsAskedFor )
{
    for( PB_INT bits : { 1024, 1025, 1031, 2048, 3072 } )
    {
        takeErrors();
        raiseError();
        Private priv = generated( bits );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << bits;
        expectGood( priv, bits );
    }
}

TEST( CryGenerateRsaKeyPair, EveryKeyIsAnotherOne )
{
    std::set<std::string> seen;
    for( int round = 0; round < 5; round++ )
        EXPECT_TRUE( seen.insert( canonical( generated( 1024 ) ) ).second );
}

TEST( CryGenerateRsaKeyPair, ComesBackFromItsStore )
{
    Private           priv     = generated( 1024 );
    pb::Ref<PB_STORE> store    = pb::adopt( cryPkeyPrivateStore( priv.get() ) );
    Private           restored = pb::adopt( cryPkeyPrivateTryRestore( store.get() ) );
    ASSERT_TRUE( restored );
    EXPECT_TRUE( cryPkeyPrivateEquals( restored.get(), priv.get() ) );
    pb::Ref<CRY_PKEY_PUBLIC> half  = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) ),
                             again = pb::adopt( cryPkeyPrivatePublicKey( restored.get() ) );
    ASSERT_TRUE( half && again );
    EXPECT_TRUE( cryPkeyPublicEquals( half.get(), again.get() ) );
    EXPECT_EQ( textOf( pb::adopt( cryPkeyPublicPem( half.get() ) ).get() ), spkiText( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) );
}

TEST( CryGenerateRsaKeyPair, NothingElseHoldsTheKey )
{
    Private   priv = generated( 1024 );
    FreeWatch watch( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
    EXPECT_FALSE( pbObjIsShared( priv.obj() ) );
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPkeyPrivatePem( priv.get() ) );
    EXPECT_TRUE( pbBufferSensitive( pb::adopt( cryPemData( pem.get() ) ).get() ) );
    priv = {};
    EXPECT_TRUE( watch.freed() );
}

TEST( CryGenerateRsaKeyPair, AnotherThreadsDefaultContextDoesNotMatter )
{
    OSSL_LIB_CTX  *own      = OSSL_LIB_CTX_new();
    OSSL_PROVIDER *provider = OSSL_PROVIDER_load( own, "null" );
    OSSL_LIB_CTX  *before   = OSSL_LIB_CTX_set0_default( own );
    Private        there;
    std::thread( [&] { there = generated( 1024 ); } ).join();
    OSSL_LIB_CTX_set0_default( before );
    expectGood( there, 1024 );
    there = {};
    OSSL_PROVIDER_unload( provider );
    OSSL_LIB_CTX_free( own );
}

TEST( CryGenerateRsaKeyPair, ManyThreadsGenerateAtOnce )
{
    std::vector<Private>     keys( 4 );
    std::vector<std::thread> threads;
    for( Private &each : keys )
        threads.emplace_back( [&each] { each = generated( 1024 ); } );
    for( std::thread &thread : threads )
        thread.join();
    std::set<std::string> seen;
    for( const Private &each : keys )
    {
        expectGood( each, 1024 );
        EXPECT_TRUE( seen.insert( canonical( each ) ).second );
    }
}
