#include "support/canonical.hpp"
#include "support/certificates.hpp"
#include "support/der_tree.hpp"
#include "support/text.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <thread>

using namespace support;

namespace
{

std::string sequence( std::string_view content ) { return element( 0x30, content ); }
std::string oid( std::string_view hexadecimal ) { return element( 0x06, unhex( hexadecimal ) ); }
std::string number( std::string_view bytes ) { return element( 0x02, bytes ); }
std::string filled( size_t size, char byte ) { return std::string( size, byte ); }

const std::string version0 = unhex( "020100" ), version1 = unhex( "020101" ), nothing = unhex( "0500" );
const std::string rsa = oid( "2a864886f70d010101" ), ec = oid( "2a8648ce3d0201" ), p256 = oid( "2a8648ce3d030107" );

void expectAccepted( const std::string &der )
{
    EXPECT_TRUE( isCanonicalPrivateKey( der ) ) << hex( der );
    EXPECT_EQ( problemOfPrivateKey( der ), "" ) << hex( der );
}

void expectRefused( const std::string &der )
{
    EXPECT_FALSE( isCanonicalPrivateKey( der ) ) << hex( der );
    EXPECT_EQ( ERR_peek_error(), 0u );
}

// PrivateKeyInfo around a key.
struct Info
{
    std::string version    = version0;
    std::string algorithm  = sequence( rsa + nothing );
    std::string key        = "";
    std::string attributes = "";

    std::string der() const { return sequence( version + algorithm + element( 0x04, key ) + attributes ); }
};

// The numbers fit together in no way; OpenSSL does not look.
struct RsaKey
{
    std::string version  = version0;
    std::string modulus  = number( filled( 64, 0x51 ) );
    std::string exponent = number( unhex( "010001" ) );
    std::string others   = number( "\x03" ) + number( "\x05" ) + number( "\x07" ) + number( unhex( "0080" ) ) + number( "\x01" );
    std::string last     = number( "\x0B" );
    std::string more     = "";

    std::string key() const { return sequence( version + modulus + exponent + others + last + more ); }
    std::string der() const { return Info{ .key = key() }.der(); }
};

// The generator of P-256, the key 1.
const std::string generator = unhex(
    "046b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c2964fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6"
    "406837bf51f5" );
const std::string order = unhex( "ffffffff00000000ffffffffffffffffbce6faada7179e84f3b9cac2fc632551" );
const std::string field = unhex( "ffffffff00000001000000000000000000000000ffffffffffffffffffffffff" );

struct EcKey
{
    std::string algorithm  = sequence( ec + p256 );
    std::string version    = version1;
    std::string number     = filled( 31, 0 ) + "\x01";
    std::string parameters = "";
    std::string point      = std::string( 1, '\0' ) + generator;
    std::string more       = "";

    std::string tagged() const { return element( 0xA1, element( 0x03, point ) ); }
    std::string key() const { return sequence( version + element( 0x04, number ) + parameters + tagged() + more ); }
    std::string der() const { return Info{ .algorithm = algorithm, .key = key() }.der(); }
};

template<class Key>
std::string with( std::string Key::*part, const std::string &value )
{
    Key key;
    key.*part = value;
    return key.der();
}

// The number before the first of the same size, which must not be zero.
std::string before( std::string value )
{
    value.back()--;
    return value;
}

std::string pkcs8Of( EVP_PKEY *pkey )
{
    PKCS8_PRIV_KEY_INFO *info   = EVP_PKEY2PKCS8( pkey );
    unsigned char       *der    = nullptr;
    int                  length = i2d_PKCS8_PRIV_KEY_INFO( info, &der );
    std::string          out( (char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    PKCS8_PRIV_KEY_INFO_free( info );
    return out;
}

}

// It is the first test, so that the groups are made at that moment.
TEST( OpensslCanonicalPrivateKey, MakesGroupsOnceForAllThreads )
{
    std::vector<std::string> ders;
    for( const char *curve : { "brainpoolP192r1", "brainpoolP224r1", "sect233r1", "secp160k1" } )
    {
        Pkey made( EVP_EC_gen( curve ), EVP_PKEY_free );
        ders.push_back( pkcs8Of( made.get() ) );
    }
    std::atomic<int>         accepted = 0;
    std::vector<std::thread> threads;
    for( int index = 0; index < 4; index++ )
        threads.emplace_back( [&] {
            for( const std::string &der : ders )
                accepted += isCanonicalPrivateKey( der );
        } );
    for( std::thread &each : threads )
        each.join();
    EXPECT_EQ( accepted, 16 );
}

TEST( OpensslCanonicalPrivateKey, AcceptsUsualKeys )
{
    expectAccepted( RsaKey().der() );
    expectAccepted( EcKey().der() );
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
        expectAccepted( pkcs8Of( key( kind ).get() ) );
    for( KeyKind kind : { KeyKind::rsaPss, KeyKind::ed25519 } )
        expectRefused( pkcs8Of( key( kind ).get() ) );
}

TEST( OpensslCanonicalPrivateKey, AcceptsKeysOnAllNamedCurvesExceptSm2 )
{
    std::vector<EC_builtin_curve> curves( EC_get_builtin_curves( nullptr, 0 ) );
    EC_get_builtin_curves( curves.data(), curves.size() );
    size_t accepted = 0;
    for( const EC_builtin_curve &each : curves )
    {
        Pkey        made( EVP_EC_gen( OBJ_nid2sn( each.nid ) ), EVP_PKEY_free );
        std::string der = pkcs8Of( made.get() );
        if( each.nid == NID_sm2 || OBJ_length( OBJ_nid2obj( each.nid ) ) == 0 )
            expectRefused( der );
        else
            expectAccepted( der ), accepted++;
    }
    EXPECT_GE( accepted, 5u );
    // An identifier that is no curve's.
    expectRefused( with( &EcKey::algorithm, sequence( ec + oid( "2a8648ce3d030108ff" ) ) ) );
    expectRefused( with( &EcKey::algorithm, sequence( ec + oid( "" ) ) ) );
}

TEST( OpensslCanonicalPrivateKey, TakesPlainPkcs8Only )
{
    for( const std::string &key : { RsaKey().key(), EcKey().key() } )
    {
        const Info usual = key == RsaKey().key() ? Info{ .key = key } : Info{ .algorithm = EcKey().algorithm, .key = key };
        expectAccepted( usual.der() );
        for( const std::string &version : { version1, number( "" ), unhex( "02020000" ), unhex( "0a0100" ) } )
        {
            Info info    = usual;
            info.version = version;
            expectRefused( info.der() );
        }
        for( const std::string &attributes : { unhex( "a000" ), nothing, unhex( "8100" ) } )
        {
            Info info       = usual;
            info.attributes = attributes;
            expectRefused( info.der() );
        }
        Info longer = usual;
        longer.key += nothing;
        expectRefused( longer.der() );
        expectRefused( usual.der() + nothing );
        expectRefused( key );
        for( size_t length = 0; length < usual.der().size(); length++ )
            expectRefused( usual.der().substr( 0, length ) );
    }
    for( const std::string &algorithm : { rsa, rsa + nothing + nothing, rsa + unhex( "050100" ), rsa + p256, ec, ec + nothing, ec + p256 + nothing,
             oid( "2a864886f70d01010a" ), p256 + ec, nothing, std::string() } )
    {
        expectRefused( Info{ .algorithm = sequence( algorithm ), .key = RsaKey().key() }.der() );
        expectRefused( Info{ .algorithm = sequence( algorithm ), .key = EcKey().key() }.der() );
    }
}

TEST( OpensslCanonicalPrivateKey, TakesRsaKeysOfTwoPrimes )
{
    for( const std::string &version : { version1, number( "\x02" ), number( "" ), unhex( "02020000" ) } )
        expectRefused( with( &RsaKey::version, version ) );
    expectRefused( with( &RsaKey::more, sequence( "" ) ) );
    expectRefused( with( &RsaKey::more, number( "\x01" ) ) );
    expectRefused( with( &RsaKey::last, std::string() ) );
}

TEST( OpensslCanonicalPrivateKey, TakesPositiveRsaNumbersInFewestBytes )
{
    for( const std::string &bytes : { unhex( "01" ), unhex( "7f" ), unhex( "0080" ), unhex( "00ff" ) } )
        expectAccepted( with( &RsaKey::last, number( bytes ) ) );
    for( const std::string &bytes :
        { unhex( "" ), unhex( "00" ), unhex( "80" ), unhex( "ff" ), unhex( "0001" ), unhex( "007f" ), unhex( "000080" ) } )
    {
        expectRefused( with( &RsaKey::last, number( bytes ) ) );
        expectRefused( with( &RsaKey::exponent, number( bytes ) ) );
        expectRefused( with( &RsaKey::modulus, number( bytes + filled( bytes.empty() ? 0 : 64, 0x51 ) ) ) );
    }
    expectRefused( with( &RsaKey::last, element( 0x0A, "\x01" ) ) );
    expectRefused( with( &RsaKey::last, unhex( "02810101" ) ) );
    expectRefused( with( &RsaKey::modulus, number( filled( 63, 0x51 ) ) ) );
}

TEST( OpensslCanonicalPrivateKey, TakesRsaNumbersOfAtMost16384Bits )
{
    std::string zero( 1, '\0' );
    expectAccepted( with( &RsaKey::modulus, number( filled( 2048, 0x51 ) ) ) );
    expectAccepted( with( &RsaKey::modulus, number( zero + filled( 2048, '\x81' ) ) ) );
    expectRefused( with( &RsaKey::modulus, number( filled( 2049, 0x01 ) ) ) );
    expectRefused( with( &RsaKey::modulus, number( zero + filled( 2049, '\x81' ) ) ) );
    expectRefused( with( &RsaKey::last, number( filled( 2049, 0x01 ) ) ) );
}

TEST( OpensslCanonicalPrivateKey, TakesEcKeysInTheFormThatOpensslWrites )
{
    for( const std::string &version : { version0, number( "\x02" ), number( "" ), unhex( "02020001" ) } )
        expectRefused( with( &EcKey::version, version ) );
    expectRefused( with( &EcKey::parameters, element( 0xA0, p256 ) ) );
    expectRefused( with( &EcKey::more, nothing ) );
    // No public key.
    expectRefused( Info{ .algorithm = sequence( ec + p256 ), .key = sequence( version1 + element( 0x04, EcKey().number ) ) }.der() );
}

TEST( OpensslCanonicalPrivateKey, TakesEcNumbersBelowTheOrder )
{
    for( const std::string &good : { before( order ), filled( 32, 0x01 ), "\x01" + filled( 31, 0 ) } )
        expectAccepted( with( &EcKey::number, good ) );
    for( const std::string &bad : { filled( 32, 0 ), order, "\xff" + order.substr( 1 ).replace( 3, 1, "\x01" ), filled( 32, '\xff' ), filled( 31, 1 ),
             std::string( "\x01" ), std::string( 1, '\0' ) + filled( 32, 1 ), std::string() } )
        expectRefused( with( &EcKey::number, bad ) );
}

TEST( OpensslCanonicalPrivateKey, TakesUncompressedPointsOnTheCurve )
{
    const std::string zero( 1, '\0' ), x = generator.substr( 1, 32 ), y = generator.substr( 33 );
    std::string       another = generator;
    another.back() ^= 1;
    for( const std::string &bad : { zero + another, zero + "\x07" + x + y, zero + "\x06" + x + y, zero + "\x03" + x, zero + "\x02" + x, zero + zero,
             zero + generator + zero, zero + generator.substr( 0, 64 ), "\x01" + generator, generator, zero, std::string(),
             zero + "\x04" + filled( 64, 0 ), zero + "\x04" + field + filled( 32, 0 ), zero + "\x04" + y + x, zero + "\x04" + filled( 64, '\xff' ) } )
        expectRefused( with( &EcKey::point, bad ) );
    // The same point with a coordinate that is not reduced: x + p still has 32 bytes for a small x.
    std::string small = unhex( "0000000000000000000000000000000000000000000000000000000000000005"
                               "459243b9aa581806fe913bce99817ade11ca503c64d9a3c533415c083248fbcc" );
    expectAccepted( with( &EcKey::point, zero + "\x04" + small ) );
    std::string unreduced = unhex( "ffffffff00000001000000000000000000000001000000000000000000000004" ) + small.substr( 32 );
    expectRefused( with( &EcKey::point, zero + "\x04" + unreduced ) );
}
