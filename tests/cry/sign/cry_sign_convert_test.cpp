#include <cry/cry_sign_convert.h>

#include "support/signatures.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/ec.h>
#include <random>

using namespace support;

namespace
{

struct Curve
{
    PB_INT      curve;
    size_t      width; // of one number
    const char *group;
};

constexpr Curve curves[] = { { CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, 32, "P-256" }, { CRY_PKEY_EC_NAMED_CURVE_SECP384R1, 48, "P-384" },
    { CRY_PKEY_EC_NAMED_CURVE_SECP521R1, 66, "P-521" } };

// "(null)" for null.
std::string toRaw( const std::string &der, PB_INT curve ) { return bytes( pb::adopt( crySignConvertDerToRaw( buf( der ).get(), curve ) ) ); }
std::string toDer( const std::string &raw, PB_INT curve ) { return bytes( pb::adopt( crySignConvertRawToDer( buf( raw ).get(), curve ) ) ); }

const std::string none = "(null)";

std::string zeros( size_t count ) { return std::string( count, '\0' ); }

std::string padded( const std::string &number, size_t width ) { return zeros( width - number.size() ) + number; }

}

TEST( CrySignConvert, RealSignaturesGoThereAndBack )
{
    for( const Curve &each : curves )
    {
        SCOPED_TRACE( each.group );
        Pkey       pkey = newEcKey( each.group );
        PrivateKey priv = privateKey( pkey );
        for( int round = 0; round < 150; round++ )
        {
            std::string der = sign( CRY_HASH_ALGORITHM_SHA2_256, priv, "data" ), raw = toRaw( der, each.curve );
            ASSERT_EQ( raw.size(), 2 * each.width ) << hex( der );
            ASSERT_EQ( hex( toDer( raw, each.curve ) ), hex( der ) );
            ASSERT_EQ( hex( ecdsaDer( raw.substr( 0, each.width ), raw.substr( each.width ) ) ), hex( der ) );
        }
    }
}

TEST( CrySignConvert, NumbersOfAllLengthsAreFilledUpOnTheLeft )
{
    for( const Curve &each : curves )
        for( size_t length = 1; length <= each.width; length++ )
            for( const char *first : { "\x01", "\x7f", "\x80", "\xff" } )
            {
                std::string r = first + std::string( length - 1, '\x55' ), s = first + pattern( each.width - length );
                std::string der = ecdsaDer( r, s ), raw = padded( r, each.width ) + padded( s, each.width );
                EXPECT_EQ( hex( toRaw( der, each.curve ) ), hex( raw ) );
                EXPECT_EQ( hex( toDer( raw, each.curve ) ), hex( der ) );
            }
}

TEST( CrySignConvert, KnownSignaturesHaveKnownForms )
{
    PB_INT      p256 = CRY_PKEY_EC_NAMED_CURVE_PRIME256V1;
    std::string raw  = zeros( 31 ) + "\x7f" + zeros( 31 ) + "\x80";
    EXPECT_EQ( hex( toDer( raw, p256 ) ), "300702017f02020080" );
    EXPECT_EQ( hex( toRaw( unhex( "300702017f02020080" ), p256 ) ), hex( raw ) );
    EXPECT_EQ( hex( toDer( zeros( 64 ), p256 ) ), "3006020100020100" );
    EXPECT_EQ( hex( toRaw( unhex( "3006020100020100" ), p256 ) ), hex( zeros( 64 ) ) );
    EXPECT_EQ( hex( toDer( std::string( 64, '\xff' ), p256 ) ),
        "3046022100" + hex( std::string( 32, '\xff' ) ) + "022100" + hex( std::string( 32, '\xff' ) ) );
    // A length of 128 or more takes one more byte.
    EXPECT_EQ( hex( toDer( std::string( 132, '\x11' ), CRY_PKEY_EC_NAMED_CURVE_SECP521R1 ) ),
        "308188"
        "0242" +
            hex( std::string( 66, '\x11' ) ) + "0242" + hex( std::string( 66, '\x11' ) ) );
}

TEST( CrySignConvert, ZerosStay )
{
    for( const Curve &each : curves )
    {
        std::string one = zeros( each.width - 1 ) + '\1', zero = zeros( each.width );
        for( const std::string &raw : { one + zero, zero + one, zero + zero } )
        {
            std::string der = toDer( raw, each.curve );
            EXPECT_EQ( hex( der ), hex( ecdsaDer( raw.substr( 0, each.width ), raw.substr( each.width ) ) ) );
            EXPECT_EQ( hex( toRaw( der, each.curve ) ), hex( raw ) );
        }
    }
}

TEST( CrySignConvert, NumbersThatAreTooLargeForTheCurveGiveNull )
{
    for( const Curve &each : curves )
    {
        std::string fits( each.width, '\xff' ), tooLarge = '\1' + zeros( each.width );
        EXPECT_EQ( hex( toRaw( ecdsaDer( fits, fits ), each.curve ) ), hex( fits + fits ) );
        EXPECT_EQ( toRaw( ecdsaDer( tooLarge, fits ), each.curve ), none );
        EXPECT_EQ( toRaw( ecdsaDer( fits, tooLarge ), each.curve ), none );
        EXPECT_EQ( toRaw( ecdsaDer( std::string( 200, 'x' ), "s" ), each.curve ), none );
    }
    // A signature of a larger curve does not fit a smaller curve.
    std::string wide = ecdsaDer( std::string( 48, '\x11' ), std::string( 48, '\x22' ) );
    EXPECT_EQ( toRaw( wide, CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ), none );
    EXPECT_EQ( hex( toRaw( wide, CRY_PKEY_EC_NAMED_CURVE_SECP521R1 ) ),
        hex( zeros( 18 ) + std::string( 48, '\x11' ) + zeros( 18 ) + std::string( 48, '\x22' ) ) );
}

TEST( CrySignConvert, BytesBehindAreDropped )
{
    for( const Curve &each : curves )
    {
        std::string raw = pattern( 2 * each.width ), der = toDer( raw, each.curve );
        for( const std::string &tail : { zeros( 1 ), std::string( "x" ), der, raw } )
        {
            EXPECT_EQ( hex( toRaw( der + tail, each.curve ) ), hex( raw ) );
            EXPECT_EQ( hex( toDer( raw + tail, each.curve ) ), hex( der ) );
        }
    }
}

TEST( CrySignConvert, TooFewBytesGiveNull )
{
    for( const Curve &each : curves )
    {
        std::string raw = pattern( 2 * each.width ), der = toDer( raw, each.curve );
        ASSERT_NE( der, none );
        for( size_t length = 0; length < raw.size(); length++ )
            EXPECT_EQ( toDer( raw.substr( 0, length ), each.curve ), none ) << length;
        for( size_t length = 0; length < der.size(); length++ )
            EXPECT_EQ( toRaw( der.substr( 0, length ), each.curve ), none ) << length;
    }
}

TEST( CrySignConvert, OtherCurvesGiveNull )
{
    std::string raw = pattern( 300 ), der = ecdsaDer( "r", "s" );
    for( PB_INT curve = -2; curve <= CRY_PKEY_EC_NAMED_CURVE_SM2 + 2; curve++ )
    {
        bool known = curve == CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 || curve == CRY_PKEY_EC_NAMED_CURVE_SECP384R1 ||
            curve == CRY_PKEY_EC_NAMED_CURVE_SECP521R1;
        EXPECT_EQ( toRaw( der, curve ) != none, known ) << curve;
        EXPECT_EQ( toDer( raw, curve ) != none, known ) << curve;
    }
}

TEST( CrySignConvert, DerThatIsNoSignatureGivesNull )
{
    for( const char *der : {
             "", "00", "30", "3000",
             "3003020101",             // one number
             "3109020101020101",       // a set
             "3006020101040101",       // an octet string for s
             "3006030101020101",       // a bit string for r
             "3009020101020101020101", // three numbers
             "3004020102010100",       // a wrong length
             "3005020101020101",       // a length that is too short
             "3007020101020101",       // a length that is too long
             "30060201ff020101",       // negative r
             "3006020101020180",       // negative s
             "3005020002010100",       // an empty number
         } )
        EXPECT_EQ( toRaw( unhex( der ), CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ), none ) << der;
}

// If OpenSSL reads a signature, it is converted with the numbers that OpenSSL reads; else it is
// refused.
TEST( CrySignConvert, AgreesWithOpensslOnChangedDer )
{
    std::mt19937 random( 7 );
    int          converted = 0, refused = 0;
    for( int round = 0; round < 3000; round++ )
    {
        const Curve &each = curves[round % 3];
        std::string  r    = pattern( 1 + random() % each.width ), s( 1 + random() % each.width, (char)random() );
        std::string  der  = ecdsaDer( r, s );
        for( size_t changes = random() % 3; changes; changes-- )
            der[random() % std::min( der.size(), (size_t)12 )] = (char)random();
        const unsigned char *at        = (const unsigned char *)der.data();
        ECDSA_SIG           *signature = d2i_ECDSA_SIG( nullptr, &at, (long)der.size() );
        std::string          wanted( 2 * each.width, 0 );
        int                  width = (int)each.width;
        if( !signature || BN_bn2binpad( ECDSA_SIG_get0_r( signature ), (unsigned char *)wanted.data(), width ) < 0 ||
            BN_bn2binpad( ECDSA_SIG_get0_s( signature ), (unsigned char *)wanted.data() + width, width ) < 0 )
            wanted = none;
        ECDSA_SIG_free( signature );
        EXPECT_EQ( hex( toRaw( der, each.curve ) ), hex( wanted ) ) << hex( der );
        ( wanted == none ? refused : converted )++;
    }
    EXPECT_GT( converted, 900 );
    EXPECT_GT( refused, 900 );
}

TEST( CrySignConvert, ConvertedSignaturesVerify )
{
    for( const Curve &each : curves )
    {
        Pkey        pkey      = newEcKey( each.group );
        std::string signature = sign( CRY_HASH_ALGORITHM_SHA2_256, privateKey( pkey ), "data" );
        std::string raw       = toRaw( signature, each.curve );
        EXPECT_TRUE( plainDigestVerify( CRY_HASH_ALGORITHM_SHA2_256, pkey.get(), toDer( raw, each.curve ), "data" ) );
        raw.back() ^= 1;
        EXPECT_FALSE( plainDigestVerify( CRY_HASH_ALGORITHM_SHA2_256, pkey.get(), toDer( raw, each.curve ), "data" ) );
    }
}
