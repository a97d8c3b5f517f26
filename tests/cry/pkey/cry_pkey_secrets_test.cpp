// The memory that the libraries free holds no part of a private key.
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_pkey_private.h>

#include "cry/pkey/keys.hpp"
#include "pb/watching_allocator.hpp"

#include <algorithm>
#include <openssl/rand.h>
#include <pb/pb_runtime.h>
#include <random>

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace support;

namespace
{

using Private = pb::Ref<CRY_PKEY_PRIVATE>;

// A generator in the place of OpenSSL's. After each restart it gives the same bytes, so that a key
// can be made twice.
std::mt19937 numbers;

int give( unsigned char *to, int count )
{
    for( int index = 0; index < count; index++ )
        to[index] = (unsigned char)( numbers() >> 8 );
    return 1;
}

class SameNumbers
{
public:
    explicit SameNumbers( unsigned seed )
    {
        static RAND_METHOD method{ nullptr, give, nullptr, nullptr, give, nullptr };
        numbers.seed( seed );
        RAND_set_rand_method( &method );
    }
    ~SameNumbers() { RAND_set_rand_method( nullptr ); }
};

std::string numberOf( EVP_PKEY *pkey, const char *name )
{
    BIGNUM *number = nullptr;
    EXPECT_EQ( EVP_PKEY_get_bn_param( pkey, name, &number ), 1 ) << name;
    std::string bytes( (size_t)BN_num_bytes( number ), '\0' );
    BN_bn2bin( number, (unsigned char *)bytes.data() );
    BN_clear_free( number );
    return bytes;
}

// The private numbers, in both orders of their bytes, and the parts of base 64 lines that hold only
// these numbers.
std::vector<std::string> tracesOf( EVP_PKEY *pkey )
{
    std::vector<std::string> list;
    std::string              text = pkcs8Text( pkey ), body = bodyOf( text ), encoded;
    for( size_t at = text.find( '\n' ) + 1; text[at] != '-'; at++ )
    {
        if( text[at] != '\n' )
            encoded += text[at];
    }
    std::vector<const char *> names = { OSSL_PKEY_PARAM_PRIV_KEY };
    if( EVP_PKEY_is_a( pkey, "RSA" ) )
    {
        names = { OSSL_PKEY_PARAM_RSA_D, OSSL_PKEY_PARAM_RSA_FACTOR1, OSSL_PKEY_PARAM_RSA_FACTOR2, OSSL_PKEY_PARAM_RSA_EXPONENT1,
            OSSL_PKEY_PARAM_RSA_EXPONENT2, OSSL_PKEY_PARAM_RSA_COEFFICIENT1 };
    }
    for( const char *name : names )
    {
        std::string number = numberOf( pkey, name );
        size_t      from   = body.find( number );
        EXPECT_NE( from, body.npos ) << name;
        list.push_back( number );
        std::reverse( number.begin(), number.end() );
        list.push_back( number );
        size_t first = ( from + 2 ) / 3 * 4, last = ( from + number.size() ) / 3 * 4;
        while( first < last )
        {
            size_t end = std::min( last, ( first / 64 + 1 ) * 64 );
            list.push_back( encoded.substr( first, end - first ) );
            first = end;
        }
    }
    return list;
}

// The test's own buffers are sensitive, so that they are not found as leaks.
pb::Ref<PB_BUFFER> sensitive( const std::string &bytes )
{
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pbBufferCreate() );
    pbBufferSetSensitive( buffer.handle() );
    pbBufferAppendBytes( buffer.handle(), bytes.data(), (PB_INT)bytes.size() );
    return buffer;
}

class CryPkeySecrets : public WatchedMemory
{
protected:
    static void SetUpTestSuite()
    {
        WatchedMemory::SetUpTestSuite();
        startFamily();
    }

    static void TearDownTestSuite()
    {
        pbRuntimeStop();
        WatchedMemory::TearDownTestSuite();
    }

    void TearDown() override { WatchingAllocator::watchFor( {} ); }

    // Uses a key object in every possible way.
    static void useAll( Private priv )
    {
        pb::Ref<CRY_PEM>   pem     = pb::adopt( cryPkeyPrivatePem( priv.get() ) );
        pb::Ref<PB_BUFFER> text    = pb::adopt( cryPemEncode( pem.get() ) );
        pb::Ref<PB_VECTOR> lines   = pb::adopt( cryPemEncodeToStringVector( pem.get() ) );
        pb::Ref<PB_STORE>  store   = pb::adopt( cryPkeyPrivateStore( priv.get() ) );
        Private            again   = pb::adopt( cryPkeyPrivateTryRestore( store.get() ) );
        pb::Ref<CRY_PEM>   decoded = pb::adopt( cryPemTryDecode( text.get() ) );
        Private            read    = pb::adopt( cryPkeyPrivateTryCreateFromPem( decoded.get() ) );
        Private            copy = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) );
        pb::Ref<CRY_PKEY_PUBLIC> pub   = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
        pb::Ref<CRY_PKEY_INFO>   info  = pb::adopt( cryPkeyPrivateInfo( priv.get() ) );
        pb::Ref<PB_STRING>       shown = pb::adopt( cryPkeyPrivateToString( priv.get() ) );
        ASSERT_TRUE( again && read && copy && pub && info );
        EXPECT_TRUE( cryPkeyPrivateEquals( priv.get(), again.get() ) );
        EXPECT_TRUE( cryPkeyPrivateEquals( priv.get(), read.get() ) );
        EXPECT_EQ( cryPkeyPrivateCompare( priv.get(), copy.get() ), 0 );
    }

    // Makes the same key twice. The first key gives the traces for which the second run is watched.
    template<class Generate>
    static void expectNothingLeft( Generate generate, const char *name )
    {
        WatchingAllocator::watchFor( {} );
        std::vector<std::string> traces;
        std::string              text;
        {
            SameNumbers same( 7 );
            Private     first = generate();
            ASSERT_TRUE( first ) << name;
            traces = tracesOf( cry___PkeyPrivatePeekOpensslEvpPkey( first.get() ) );
            text   = pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( first.get() ) );
        }
        ASSERT_GE( traces.size(), 3u ) << name;
        for( const std::string &trace : traces )
            ASSERT_FALSE( trace.empty() ) << name;
        WatchingAllocator::watchFor( traces );
        {
            SameNumbers same( 7 );
            Private     second = generate();
            ASSERT_TRUE( second ) << name;
            ASSERT_EQ( pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( second.get() ) ), text ) << name;
            EXPECT_EQ( leaks(), 0 ) << name << ", making it";
        }
        EXPECT_EQ( leaks(), 0 ) << name << ", releasing it";
        {
            SameNumbers same( 7 );
            useAll( generate() );
        }
        EXPECT_EQ( leaks(), 0 ) << name << ", using it";
        // The watch finds both kinds of traces in memory that is not overwritten.
        std::string body = bodyOf( text );
        WatchingAllocator::watchFor( traces );
        buf( text );
        EXPECT_EQ( leaks(), 1 ) << name;
        buf( body );
        EXPECT_EQ( leaks(), 2 ) << name;
    }
};

}

TEST_F( CryPkeySecrets, AnEcKeyThatIsMadeLeavesNothing )
{
    for( auto [curve, name] : { std::pair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, "P-256" ), std::pair( CRY_PKEY_EC_NAMED_CURVE_SECP521R1, "P-521" ),
             std::pair( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4, "Oakley" ), std::pair( CRY_PKEY_EC_NAMED_CURVE_SM2, "SM2" ) } )
        expectNothingLeft( [curve = curve] { return pb::adopt( cryTryGenerateEcKeyPair( curve ) ); }, name );
}

TEST_F( CryPkeySecrets, AnRsaKeyThatIsMadeLeavesNothing )
{
    expectNothingLeft( [] { return pb::adopt( cryTryGenerateRsaKeyPair( 1024 ) ); }, "RSA" );
}

TEST_F( CryPkeySecrets, AKeyThatIsReadLeavesNothing )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
    {
        EVP_PKEY   *pkey        = key( kind ).get();
        std::string pkcs8       = pkcs8Text( pkey );
        std::string traditional = written(
            [&]( BIO *bio ) { return PEM_write_bio_PrivateKey_traditional( bio, pkey, nullptr, nullptr, 0, nullptr, nullptr ); } );
        std::vector<std::string> traces = tracesOf( pkey );
        for( const std::string &text : { pkcs8, traditional } )
        {
            WatchingAllocator::watchFor( traces );
            {
                pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( sensitive( text ).get() ) );
                ASSERT_TRUE( pem );
                Private priv = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) );
                ASSERT_TRUE( priv ) << nameOf( kind );
                EXPECT_EQ( leaks(), 0 ) << nameOf( kind ) << ", reading it";
                useAll( std::move( priv ) );
            }
            EXPECT_EQ( leaks(), 0 ) << nameOf( kind ) << ", releasing it";
        }
    }
}

TEST_F( CryPkeySecrets, ATextThatIsRefusedLeavesNothing )
{
    EVP_PKEY   *pkey  = key( KeyKind::p256 ).get();
    std::string pkcs8 = bodyOf( pkcs8Text( pkey ) );
    WatchingAllocator::watchFor( tracesOf( pkey ) );
    for( const char *label : { "PRIVATE KEY", "RSA PRIVATE KEY", "ENCRYPTED PRIVATE KEY" } )
    {
        pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
        cryPemSetLabel( pem.handle(), str( label ).get() );
        // The data ends soon after the private number.
        cryPemSetData( pem.handle(), sensitive( pkcs8.substr( 0, pkcs8.size() - 10 ) ).get() );
        EXPECT_EQ( cryPkeyPrivateTryCreateFromPem( pem.get() ), nullptr ) << label;
        pb::Ref<PB_STORE> store = pb::adopt( cryPemStore( pem.get() ) );
        EXPECT_EQ( cryPkeyPrivateTryRestore( store.get() ), nullptr ) << label;
    }
    EXPECT_EQ( leaks(), 0 );
    takeErrors();
}
