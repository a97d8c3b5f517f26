#include <openssl_module/internal/openssl_key_limits.h>

#include "cry/pkcs12/files.hpp"
#include "cry/pkey/keys.hpp"

#include <functional>
#include <memory>

using namespace support;

namespace
{

using Algorithm = std::unique_ptr<X509_ALGOR, decltype( &X509_ALGOR_free )>;
using Info      = std::unique_ptr<PKCS8_PRIV_KEY_INFO, decltype( &PKCS8_PRIV_KEY_INFO_free )>;

Algorithm held( X509_ALGOR *algorithm ) { return { algorithm, X509_ALGOR_free }; }
int64_t   roundsOf( X509_ALGOR *algorithm ) { return openssl___DerivationRounds( held( algorithm ).get() ); }
bool      isBounded( X509_ALGOR *algorithm ) { return openssl___DerivationIsBounded( held( algorithm ).get() ); }
int       problemOf( const std::string &der ) { return openssl___KeyProblem( (const PB_BYTE *)der.data(), (PB_INT)der.size() ); }

constexpr int none = OPENSSL___KEY_PROBLEM_NONE, number = OPENSSL___KEY_PROBLEM_NUMBER, form = OPENSSL___KEY_PROBLEM_FORM;

constexpr char rsaOid[] = "1.2.840.113549.1.1.1";

bool keyIsBounded( const std::string &der )
{
    const unsigned char *at = (const unsigned char *)der.data();
    Info                 info( d2i_PKCS8_PRIV_KEY_INFO( nullptr, &at, (long)der.size() ), PKCS8_PRIV_KEY_INFO_free );
    EXPECT_TRUE( info );
    return info && openssl___PrivateKeyIsBounded( info.get() );
}

class OpensslKeyLimits : public testing::Test
{
protected:
    void SetUp() override
    {
        takeErrors();
        raiseError();
    }
    void TearDown() override { EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ); }
};

}

TEST_F( OpensslKeyLimits, RoundsAreThoseOfTheFile )
{
    EXPECT_EQ( roundsOf( sayingRounds( "2048" ) ), 2048 );
    EXPECT_EQ( roundsOf( sayingPbkdf2Rounds( "600000" ) ), 600000 );
    EXPECT_EQ( roundsOf( sayingScrypt( "16384", "8", "3" ) ), 2 * 16384 * 8 * 3 );
    EXPECT_EQ( roundsOf( sayingPbkdf2Rounds( "-1" ) ), 0 );
    // OpenSSL uses the lower 32 bits of a number.
    EXPECT_EQ( roundsOf( sayingPbkdf2Rounds( "-4294967296" ) ), INT64_MAX );
    EXPECT_EQ( roundsOf( sayingPbkdf2Rounds( "18446744073709551617" ) ), INT64_MAX );
    EXPECT_EQ( roundsOf( sayingScrypt( "4294967296", "4294967296", "4294967296" ) ), INT64_MAX );
    // These do not say any.
    EXPECT_EQ( roundsOf( algorithmFromDer( sequence( oidDer( pbes2Oid ) ) ) ), 0 );
    EXPECT_EQ( roundsOf( algorithmFromDer( sequence( oidDer( unknownOid ) ) ) ), 0 );
    EXPECT_EQ( roundsOf( sayingFunction( sequence( oidDer( unknownOid ) ) ) ), 0 );
    EXPECT_EQ( roundsOf( sayingFunction( sequence( oidDer( scryptOid ) ) ) ), 0 );
    EXPECT_EQ( openssl___RoundsOf( nullptr ), 0 );
}

TEST_F( OpensslKeyLimits, DerivationsWithinTheLimitsAreBounded )
{
    EXPECT_TRUE( isBounded( sayingRounds( "10000000" ) ) );
    EXPECT_FALSE( isBounded( sayingRounds( "10000001" ) ) );
    EXPECT_TRUE( isBounded( sayingPbkdf2Rounds( "10000000" ) ) );
    EXPECT_FALSE( isBounded( sayingPbkdf2Rounds( "10000001" ) ) );
    EXPECT_FALSE( isBounded( sayingPbkdf2Rounds( "99999999999999999999" ) ) );
    EXPECT_TRUE( isBounded( algorithmFromDer( sequence( oidDer( unknownOid ) ) ) ) );
    // 1 GiB: 2^20 * 8 * 1 blocks of 128 bytes.
    EXPECT_TRUE( isBounded( sayingScrypt( "1048576", "8", "1" ) ) );
    EXPECT_FALSE( isBounded( sayingScrypt( "2097152", "8", "1" ) ) );
    EXPECT_FALSE( isBounded( sayingScrypt( "1048576", "8", "2" ) ) );
    EXPECT_FALSE( isBounded( sayingScrypt( "1048576", "9", "1" ) ) );
    EXPECT_FALSE( isBounded( sayingScrypt( "4294967296", "4294967296", "4294967296" ) ) );
}

TEST_F( OpensslKeyLimits, NumbersCountWhereverTheyAre )
{
    EXPECT_EQ( problemOf( "" ), none );
    EXPECT_EQ( problemOf( "not DER" ), none );
    for( size_t bits : { (size_t)1, (size_t)16383, (size_t)16384 } )
        EXPECT_EQ( problemOf( sequence( numberOf( bits ) ) ), none ) << bits;
    std::string large = numberOf( 16392 );
    for( const std::string &der : { large, sequence( large ), sequence( integerDer( "1" ) + large ), octets( large ), octets( sequence( large ) ),
             tlv( 0xA0, large ), tlv( 0x03, '\0' + sequence( large ) ), std::string( "\x30\x80", 2 ) + large + std::string( 2, '\0' ),
             std::string( "\x30\x80", 2 ) + std::string( 2, '\0' ) + large } )
        EXPECT_EQ( problemOf( der ), number ) << hex( der.substr( 0, 8 ) );
    // A text that is long is no number, nor is a number that is cut off.
    EXPECT_EQ( problemOf( sequence( tlv( 0x0C, std::string( 5000, 'x' ) ) ) ), none );
    EXPECT_EQ( problemOf( large.substr( 0, large.size() - 1 ) ), none );
}

TEST_F( OpensslKeyLimits, OctetsInPiecesAreAProblem )
{
    std::string half = std::string( 100, 'x' );
    EXPECT_EQ( problemOf( sequence( tlv( 0x24, octets( half ) + octets( half ) ) ) ), form );
    EXPECT_EQ( problemOf( sequence( std::string( "\x24\x80", 2 ) + octets( half ) + std::string( 2, '\0' ) ) ), form );
}

TEST_F( OpensslKeyLimits, OctetsThatLookLikePiecesAreNoProblem )
{
    // Points on curves and private values are random. These begin with an OCTET STRING of three
    // octets, and then with one in pieces.
    std::string point = std::string( "\x04\x03\xCC\x0C\xEC\x24\x21", 7 ) + std::string( 36, 'x' );
    EXPECT_EQ( problemOf( sequence( tlv( 0x03, '\0' + point ) ) ), none );
    EXPECT_EQ( problemOf( sequence( octets( point ) ) ), none );
    EXPECT_EQ( problemOf( sequence( octets( sequence( octets( point ) + tlv( 0xA1, tlv( 0x03, '\0' + point ) ) ) ) ) ), none );
}

TEST_F( OpensslKeyLimits, DeepNestingIsAProblem )
{
    std::string der;
    for( int depth = 0; depth < 16; depth++ )
        der = sequence( der );
    EXPECT_EQ( problemOf( der ), none );
    EXPECT_EQ( problemOf( sequence( sequence( der ) ) ), form );
    std::string open;
    for( int depth = 0; depth < 1000000; depth++ )
        open += std::string( "\x30\x80", 2 );
    EXPECT_EQ( problemOf( open ), form );
}

TEST_F( OpensslKeyLimits, OnlyKeysWhosePublicHalfIsComputedAreLimited )
{
    for( const char *oid : { dsaOid, dhOid, dhxOid } )
    {
        EXPECT_TRUE( keyIsBounded( discreteKey( oid, 16384 ) ) ) << oid;
        EXPECT_FALSE( keyIsBounded( discreteKey( oid, 16392 ) ) ) << oid;
        EXPECT_FALSE( keyIsBounded( discreteKey( oid, 4000000 ) ) ) << oid;
        EXPECT_FALSE( keyIsBounded( privateKeyInfo( oid, sequence( "" ), numberOf( 16392 ) ) ) ) << oid;
    }
    for( const char *oid : { rsaOid, unknownOid } )
        EXPECT_TRUE( keyIsBounded( discreteKey( oid, 100000 ) ) ) << oid;
}

TEST_F( OpensslKeyLimits, UsualKeysAreBounded )
{
    for( KeyKind kind : allKeyKinds )
    {
        std::string body = bodyOf( pkcs8Text( key( kind ).get() ) );
        EXPECT_EQ( problemOf( body ), none ) << nameOf( kind );
        EXPECT_TRUE( keyIsBounded( body ) ) << nameOf( kind );
        for( size_t length = 0; length < body.size(); length++ )
            EXPECT_EQ( problemOf( body.substr( 0, length ) ), none ) << nameOf( kind ) << " " << length;
    }
}
