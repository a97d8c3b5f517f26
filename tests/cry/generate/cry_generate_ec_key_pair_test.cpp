#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_pkey.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>

#include "cry/pkey/keys.hpp"
#include "support/environment.hpp"

#include <atomic>
#include <mutex>
#include <openssl/provider.h>
#include <pb/pb_runtime.h>
#include <set>
#include <thread>

using namespace support;

namespace
{

using Private = pb::Ref<CRY_PKEY_PRIVATE>;

constexpr PB_INT curveCount = CRY_PKEY_EC_NAMED_CURVE_SM2 + 1;

Private     generated( PB_INT curve ) { return pb::adopt( cryTryGenerateEcKeyPair( curve ) ); }
std::string canonical( const Private &priv ) { return textOf( pb::adopt( cryPkeyPrivatePem( priv.get() ) ).get() ); }
const char *nameOfCurve( PB_INT curve ) { return OBJ_nid2sn( cry___PkeyEcNamedCurveToOpensslNid( curve ) ); }
bool        isOakley( PB_INT curve ) { return curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 || curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4; }

// "type bits curve"
std::string infoOf( const Private &priv )
{
    pb::Ref<CRY_PKEY_INFO> info = pb::adopt( cryPkeyPrivateInfo( priv.get() ) );
    return std::to_string( cryPkeyInfoType( info.get() ) ) + " " + std::to_string( cryPkeyInfoBits( info.get() ) ) + " " +
        std::to_string( cryPkeyInfoEcNamedCurve( info.get() ) );
}

bool pairFits( EVP_PKEY *pkey )
{
    EVP_PKEY_CTX *ctx  = EVP_PKEY_CTX_new_from_pkey( nullptr, pkey, nullptr );
    bool          fits = EVP_PKEY_pairwise_check( ctx ) == 1;
    EVP_PKEY_CTX_free( ctx );
    return fits;
}

// A library context with one provider; it is this thread's default context while the object lives.
class OwnContext
{
public:
    explicit OwnContext( const char *providerName ) :
        own( OSSL_LIB_CTX_new() ), loaded( OSSL_PROVIDER_load( own, providerName ) ), before( OSSL_LIB_CTX_set0_default( own ) )
    {
    }
    ~OwnContext()
    {
        OSSL_LIB_CTX_set0_default( before );
        OSSL_PROVIDER_unload( loaded );
        OSSL_LIB_CTX_free( own );
    }
    OwnContext( const OwnContext & )            = delete;
    OwnContext &operator=( const OwnContext & ) = delete;

    const OSSL_PROVIDER *provider() const { return loaded; }

private:
    OSSL_LIB_CTX  *own;
    OSSL_PROVIDER *loaded;
    OSSL_LIB_CTX  *before;
};

const OSSL_PROVIDER *providerOf( const Private &priv ) { return EVP_PKEY_get0_provider( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ); }

}

TEST( CryGenerateEcKeyPair, MakesAKeyOnEveryCurve )
{
    for( PB_INT curve = 0; curve < curveCount; curve++ )
    {
        takeErrors();
        raiseError();
        // The same generator makes both keys.
        Private first = generated( curve ), second = generated( curve );
        ASSERT_TRUE( first && second ) << nameOfCurve( curve );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOfCurve( curve );
        EXPECT_FALSE( cryPkeyPrivateEquals( first.get(), second.get() ) ) << nameOfCurve( curve );
        for( const Private &priv : { first, second } )
        {
            EVP_PKEY *pkey = cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() );
            EXPECT_TRUE( EVP_PKEY_is_a( pkey, "EC" ) ) << nameOfCurve( curve );
            EXPECT_EQ( infoOf( priv ), "1 " + std::to_string( EVP_PKEY_get_bits( pkey ) ) + " " + std::to_string( curve ) );
            EXPECT_TRUE( pairFits( pkey ) ) << nameOfCurve( curve );
            takeErrors();
        }
    }
}

TEST( CryGenerateEcKeyPair, TheCanonicalPemIsByteForByteWhatOpensslWrites )
{
    for( PB_INT curve = 0; curve < curveCount; curve++ )
    {
        for( int round = 0; round < 25; round++ )
        {
            Private priv = generated( curve );
            ASSERT_TRUE( priv ) << nameOfCurve( curve );
            EXPECT_EQ( canonical( priv ), pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) ) << nameOfCurve( curve );
        }
    }
}

TEST( CryGenerateEcKeyPair, APrivateNumberThatBeginsWithZerosKeepsThem )
{
    // On this curve, one number in 256 begins with a zero byte.
    PB_INT curve = CRY_PKEY_EC_NAMED_CURVE_SECP112R1;
    size_t seen = 0, whole = 0;
    for( int round = 0; round < 3000 && seen < 3; round++ )
    {
        Private     priv = generated( curve );
        EVP_PKEY   *pkey = cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() );
        std::string text = canonical( priv ), body = bodyOf( text );
        BIGNUM     *secret = nullptr;
        ASSERT_EQ( EVP_PKEY_get_bn_param( pkey, OSSL_PKEY_PARAM_PRIV_KEY, &secret ), 1 );
        bool zeros = BN_num_bytes( secret ) < 14;
        BN_clear_free( secret );
        whole = whole ? whole : body.size();
        EXPECT_EQ( body.size(), whole );
        if( !zeros )
            continue;
        seen++;
        EXPECT_EQ( text, pkcs8Text( pkey ) );
    }
    EXPECT_EQ( seen, 3u );
}

TEST( CryGenerateEcKeyPair, EveryOneComesBackFromItsStore )
{
    for( PB_INT curve = 0; curve < curveCount; curve++ )
    {
        Private           priv  = generated( curve );
        pb::Ref<PB_STORE> store = pb::adopt( cryPkeyPrivateStore( priv.get() ) );
        takeErrors();
        Private restored = pb::adopt( cryPkeyPrivateTryRestore( store.get() ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} ) << nameOfCurve( curve );
        ASSERT_TRUE( restored ) << nameOfCurve( curve );
        EXPECT_TRUE( cryPkeyPrivateEquals( restored.get(), priv.get() ) ) << nameOfCurve( curve );
        EXPECT_EQ( canonical( restored ), canonical( priv ) ) << nameOfCurve( curve );
        // The public keys are equal too.
        pb::Ref<CRY_PKEY_PUBLIC> half  = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) ),
                                 again = pb::adopt( cryPkeyPrivatePublicKey( restored.get() ) );
        ASSERT_TRUE( half && again ) << nameOfCurve( curve );
        EXPECT_TRUE( cryPkeyPublicEquals( half.get(), again.get() ) ) << nameOfCurve( curve );
        EXPECT_EQ( textOf( pb::adopt( cryPkeyPublicPem( half.get() ) ).get() ), spkiText( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) );
    }
}

TEST( CryGenerateEcKeyPair, OneOnAnOakleyCurveIsWrittenWithItsParameters )
{
    for( PB_INT curve : { CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3, CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4 } )
    {
        ASSERT_TRUE( isOakley( curve ) );
        Private     priv = generated( curve );
        std::string bits = curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 ? "154" : "184";
        EXPECT_EQ( infoOf( priv ), "1 " + bits + " " + std::to_string( curve ) );
        // The algorithm holds explicit parameters: here the object identifier of
        // characteristic-two-field.
        EXPECT_NE( bodyOf( canonical( priv ) ).find( unhex( "06072a8648ce3d0102" ) ), std::string::npos );
        Private restored = pb::adopt( cryPkeyPrivateTryRestore( pb::adopt( cryPkeyPrivateStore( priv.get() ) ).get() ) );
        ASSERT_TRUE( restored );
        EXPECT_EQ( infoOf( restored ), "1 " + bits + " " + std::to_string( curve ) );
    }
}

TEST( CryGenerateEcKeyPair, OneOnTheCurveOfSm2IsAnEcKeyUntilItIsRead )
{
    Private priv = generated( CRY_PKEY_EC_NAMED_CURVE_SM2 );
    EXPECT_TRUE( EVP_PKEY_is_a( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ), "EC" ) );
    EXPECT_EQ( infoOf( priv ), "1 256 81" );
    Private restored = pb::adopt( cryPkeyPrivateTryRestore( pb::adopt( cryPkeyPrivateStore( priv.get() ) ).get() ) );
    EXPECT_TRUE( EVP_PKEY_is_a( cry___PkeyPrivatePeekOpensslEvpPkey( restored.get() ), "SM2" ) );
    EXPECT_EQ( infoOf( restored ), "-1 256 81" );
    EXPECT_TRUE( cryPkeyPrivateEquals( restored.get(), priv.get() ) );
}

TEST( CryGenerateEcKeyPair, TheKeyMayBeReplacedNothingElseHoldsIt )
{
    Private   priv = generated( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 );
    FreeWatch watch( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
    EXPECT_FALSE( pbObjIsShared( priv.obj() ) );
    priv = {};
    EXPECT_TRUE( watch.freed() );
}

TEST( CryGenerateEcKeyPair, KeysAreSensitive )
{
    for( PB_INT curve : { CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 } )
    {
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPkeyPrivatePem( generated( curve ).get() ) );
        EXPECT_EQ( text( pb::adopt( cryPemLabel( pem.get() ) ) ), "PRIVATE KEY" );
        EXPECT_TRUE( pbBufferSensitive( pb::adopt( cryPemData( pem.get() ) ).get() ) ) << curve;
    }
}

TEST( CryGenerateEcKeyPair, AThreadsOwnDefaultContextDoesNotMatterToOthers )
{
    // This curve's generator is made while this thread's default context has no algorithms.
    PB_INT  curve = CRY_PKEY_EC_NAMED_CURVE_C2TNB239V3;
    Private there;
    {
        OwnContext nothing( "null" );
        std::thread( [&] { there = generated( curve ); } ).join();
    }
    EXPECT_TRUE( there );
    Private here = generated( curve );
    ASSERT_TRUE( here );
    EXPECT_EQ( infoOf( here ), "1 236 " + std::to_string( curve ) );
}

TEST( CryGenerateEcKeyPair, AThreadsOwnDefaultContextMakesItsKeysAsWithRsa )
{
    PB_INT curve = CRY_PKEY_EC_NAMED_CURVE_C2TNB239V2;
    {
        OwnContext nothing( "null" );
        EXPECT_FALSE( generated( curve ) );
        EXPECT_FALSE( pb::adopt( cryTryGenerateRsaKeyPair( 1024 ) ) );
        takeErrors();
    }
    // No context gets a generator of the other context, in both orders of use.
    const OSSL_PROVIDER *processes = providerOf( generated( curve ) );
    {
        OwnContext own( "default" );
        for( int round = 0; round < 3; round++ )
        {
            Private priv = generated( curve );
            ASSERT_TRUE( priv );
            EXPECT_EQ( providerOf( priv ), own.provider() );
            EXPECT_EQ( canonical( priv ), pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) );
        }
        EXPECT_EQ( providerOf( pb::adopt( cryTryGenerateRsaKeyPair( 1024 ) ) ), own.provider() );
        EXPECT_EQ( providerOf( generated( CRY_PKEY_EC_NAMED_CURVE_C2TNB239V1 ) ), own.provider() );
    }
    for( int round = 0; round < 3; round++ )
    {
        Private priv = generated( curve );
        ASSERT_TRUE( priv );
        EXPECT_EQ( providerOf( priv ), processes );
        EXPECT_TRUE( pairFits( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) );
    }
    EXPECT_EQ( providerOf( generated( CRY_PKEY_EC_NAMED_CURVE_C2TNB239V1 ) ), processes );
}

TEST( CryGenerateEcKeyPair, GeneratorsStayThroughARestart )
{
    PB_INT  curve  = CRY_PKEY_EC_NAMED_CURVE_SECP256K1;
    Private before = generated( curve );
    ASSERT_TRUE( before );
    std::string text = canonical( before );
    before           = {};
    pbRuntimeStop();
    startFamily();
    Private after = generated( curve );
    ASSERT_TRUE( after );
    EXPECT_NE( canonical( after ), text );
    EXPECT_EQ( infoOf( after ), "1 256 " + std::to_string( curve ) );
}

TEST( CryGenerateEcKeyPair, ManyThreadsGenerateAtOnce )
{
    std::mutex               mutex;
    std::set<std::string>    texts;
    std::atomic<int>         good{ 0 };
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 30; round++ )
            {
                PB_INT      curve = round % 2 ? CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 : CRY_PKEY_EC_NAMED_CURVE_SECT163K1;
                Private     priv  = generated( curve );
                std::string text  = canonical( priv );
                good += text == pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
                std::lock_guard lock( mutex );
                texts.insert( text );
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 120 );
    EXPECT_EQ( texts.size(), 120u );
}
