#include "openssl_der.hpp"

#include <cry/internal/cry_x509_certificate.h>

#include "common/cry_ossl.hpp"
#include "support/text.hpp"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <openssl/x509v3.h>
#include <sys/mman.h>
#include <unistd.h>

using namespace support;
using cry::ossl::Ptr;

namespace
{

openssl::Bytes view( std::string_view bytes ) { return { (const PB_BYTE *)bytes.data(), bytes.size() }; }

std::string text( openssl::Bytes bytes ) { return { (const char *)bytes.data(), bytes.size() }; }

// "content|rest" in hexadecimal; "none" if no element was removed.
std::string taken( std::string_view hexadecimal, PB_BYTE tag )
{
    std::string    bytes   = unhex( hexadecimal );
    openssl::Bytes rest    = view( bytes );
    openssl::Bytes content = openssl::take( rest, tag );
    if( !content.data() )
        return rest == view( bytes ) ? "none" : "none, but moved";
    return hex( text( content ) ) + "|" + hex( text( rest ) );
}

std::string element( PB_BYTE tag, std::string_view content )
{
    std::string out( 1, (char)tag );
    if( content.size() >= 0x100 )
        out += { (char)0x82, (char)( content.size() >> 8 ) };
    else if( content.size() >= 0x80 )
        out += (char)0x81;
    out += (char)content.size();
    return out + std::string( content );
}

// The same with the length in this many bytes.
std::string longElement( PB_BYTE tag, std::string_view content, int bytes )
{
    std::string out = { (char)tag, (char)( 0x80 | bytes ) };
    while( bytes-- > 0 )
        out += bytes < 8 ? (char)( content.size() >> ( 8 * bytes ) ) : (char)0;
    return out + std::string( content );
}

const std::string nullElement( "\x05\x00", 2 );
const std::string rsa      = element( 0x06, unhex( "2a864886f70d010101" ) );
const std::string rsaPss   = element( 0x06, unhex( "2a864886f70d01010a" ) );
const std::string ec       = element( 0x06, unhex( "2a8648ce3d0201" ) );
const std::string p256     = element( 0x06, unhex( "2a8648ce3d030107" ) );
const std::string sm2      = element( 0x06, unhex( "2a811ccf5501822d" ) );
const std::string ed25519  = element( 0x06, unhex( "2b6570" ) );
const std::string dsa      = element( 0x06, unhex( "2a8648ce380401" ) );
const std::string keyBits  = element( 0x03, unhex( "00040102" ) );
const std::string keyOctet = element( 0x04, unhex( "3000" ) );
const std::string version0 = unhex( "020100" );

std::string sequence( std::string_view content ) { return element( 0x30, content ); }
std::string spkiOf( const std::string &algorithm ) { return sequence( sequence( algorithm ) + keyBits ); }

bool fastPathAlgorithm( const std::string &algorithm ) { return openssl::isFastPathAlgorithm( view( algorithm ) ); }
bool fastPathPublic( const std::string &spki ) { return openssl::isFastPathPublicKey( view( spki ) ); }
bool fastPathPrivate( const std::string &info ) { return openssl::isFastPathPrivateKey( view( info ) ); }
bool fastPathCertificate( const std::string &certificate ) { return openssl::isFastPathCertificate( view( certificate ) ); }

struct CertificateParts
{
    std::string version   = element( 0xA0, unhex( "020102" ) );
    std::string serial    = unhex( "020101" );
    std::string signature = sequence( rsa + nullElement );
    std::string issuer    = sequence( "" );
    std::string validity  = sequence( element( 0x17, "200101000000Z" ) + element( 0x17, "300101000000Z" ) );
    std::string subject   = sequence( "" );
    std::string spki      = spkiOf( ec + p256 );
    std::string rest      = element( 0xA3, sequence( "" ) );

    std::string join() const
    {
        return sequence( sequence( version + serial + signature + issuer + validity + subject + spki + rest ) + signature + keyBits );
    }
};

// A real certificate.
std::string certificateOf( EVP_PKEY *key )
{
    Ptr<X509> x509( X509_new() );
    X509_set_version( x509.get(), X509_VERSION_3 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509.get() ), 1 );
    X509_gmtime_adj( X509_getm_notBefore( x509.get() ), 0 );
    X509_gmtime_adj( X509_getm_notAfter( x509.get() ), 3600 );
    X509_NAME_add_entry_by_txt( X509_get_subject_name( x509.get() ), "CN", MBSTRING_ASC, (const unsigned char *)"test", -1, -1, 0 );
    X509_set_pubkey( x509.get(), key );
    bool plain = EVP_PKEY_is_a( key, "ED25519" );
    EXPECT_GT( X509_sign( x509.get(), key, plain ? nullptr : EVP_sha256() ), 0 );
    unsigned char *der    = nullptr;
    int            length = i2d_X509( x509.get(), &der );
    std::string    out( (char *)der, (size_t)length );
    OPENSSL_free( der );
    return out;
}

std::string privateOf( EVP_PKEY *key )
{
    PKCS8_PRIV_KEY_INFO *info   = EVP_PKEY2PKCS8( key );
    unsigned char       *der    = nullptr;
    int                  length = i2d_PKCS8_PRIV_KEY_INFO( info, &der );
    std::string          out( (char *)der, (size_t)length );
    OPENSSL_free( der );
    PKCS8_PRIV_KEY_INFO_free( info );
    return out;
}

std::string publicOf( EVP_PKEY *key )
{
    unsigned char *der    = nullptr;
    int            length = i2d_PUBKEY( key, &der );
    std::string    out( (char *)der, (size_t)length );
    OPENSSL_free( der );
    return out;
}

// The bytes end at the end of a memory page, so a read after them is a fault in every build.
class Guarded
{
public:
    explicit Guarded( size_t most ) : page( (size_t)sysconf( _SC_PAGESIZE ) ), size( ( most + page - 1 ) / page * page )
    {
        memory = (PB_BYTE *)mmap( nullptr, size + page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
        EXPECT_NE( memory, MAP_FAILED );
        EXPECT_EQ( mprotect( memory + size, page, PROT_NONE ), 0 );
    }
    ~Guarded() { munmap( memory, size + page ); }
    Guarded( const Guarded & )            = delete;
    Guarded &operator=( const Guarded & ) = delete;

    openssl::Bytes put( std::string_view bytes )
    {
        PB_BYTE *at = memory + size - bytes.size();
        std::memcpy( at, bytes.data(), bytes.size() );
        return { at, bytes.size() };
    }

private:
    size_t   page;
    size_t   size;
    PB_BYTE *memory;
};

}

TEST( OpensslDer, TakesShortForm )
{
    EXPECT_EQ( taken( "0201ff", 0x02 ), "ff|" );
    EXPECT_EQ( taken( "0201ff0500", 0x02 ), "ff|0500" );
    EXPECT_EQ( taken( "0500", 0x05 ), "|" );
    EXPECT_EQ( taken( "047f" + hex( std::string( 127, 'x' ) ) + "01", 0x04 ), hex( std::string( 127, 'x' ) ) + "|01" );
}

TEST( OpensslDer, TakesLongForm )
{
    EXPECT_EQ( taken( "048102aabbcc", 0x04 ), "aabb|cc" );
    EXPECT_EQ( taken( "04820002aabbcc", 0x04 ), "aabb|cc" );
    EXPECT_EQ( taken( "0483000002aabbcc", 0x04 ), "aabb|cc" );
    EXPECT_EQ( taken( "048400000002aabbcc", 0x04 ), "aabb|cc" );
    EXPECT_EQ( taken( "048400000000", 0x04 ), "|" );
    std::string big( 0x10203, 'y' );
    EXPECT_EQ( taken( "0483010203" + hex( big ), 0x04 ), hex( big ) + "|" );
}

TEST( OpensslDer, RefusesIndefiniteAndOverlongLengths )
{
    EXPECT_EQ( taken( "30800000", 0x30 ), "none" );
    EXPECT_EQ( taken( "04850000000002aabb", 0x04 ), "none" );
    EXPECT_EQ( taken( "04880000000000000002aabb", 0x04 ), "none" );
    EXPECT_EQ( taken( "04ff" + hex( std::string( 200, '\0' ) ), 0x04 ), "none" );
}

TEST( OpensslDer, RefusesWhatEndsTooEarly )
{
    for( const char *each : { "", "04", "0401", "0402aa", "0481", "048101", "0482", "048201", "048200", "04820001", "048380", "04840000",
             "0484000000", "0484ffffffff", "0484ffffffffaa", "04847fffffffaa", "0484fffffffaaa" } )
        EXPECT_EQ( taken( each, 0x04 ), "none" ) << each;
}

TEST( OpensslDer, RefusesAnotherTag )
{
    EXPECT_EQ( taken( "0401aa", 0x02 ), "none" );
    EXPECT_EQ( taken( "2401aa", 0x04 ), "none" );
    EXPECT_EQ( taken( "1f0401aa", 0x04 ), "none" );
}

TEST( OpensslDer, KnowsTheAlgorithmsOfTheFastPath )
{
    EXPECT_TRUE( fastPathAlgorithm( rsa + nullElement ) );
    EXPECT_TRUE( fastPathAlgorithm( ec + p256 ) );
    // Any named curve except SM2, also if this libcrypto does not know it.
    EXPECT_TRUE( fastPathAlgorithm( ec + element( 0x06, unhex( "2b8104000a" ) ) ) );
    EXPECT_TRUE( fastPathAlgorithm( ec + element( 0x06, unhex( "2a0304" ) ) ) );

    EXPECT_FALSE( fastPathAlgorithm( "" ) );
    EXPECT_FALSE( fastPathAlgorithm( rsa ) );
    EXPECT_FALSE( fastPathAlgorithm( rsa + nullElement + nullElement ) );
    EXPECT_FALSE( fastPathAlgorithm( rsa + unhex( "058100" ) ) );
    EXPECT_FALSE( fastPathAlgorithm( rsa + unhex( "050100" ) ) );
    EXPECT_FALSE( fastPathAlgorithm( rsa + p256 ) );
    EXPECT_FALSE( fastPathAlgorithm( rsaPss ) );
    EXPECT_FALSE( fastPathAlgorithm( rsaPss + nullElement ) );
    EXPECT_FALSE( fastPathAlgorithm( rsaPss + sequence( "" ) ) );
    EXPECT_FALSE( fastPathAlgorithm( ec ) );
    EXPECT_FALSE( fastPathAlgorithm( ec + nullElement ) );
    EXPECT_FALSE( fastPathAlgorithm( ec + sequence( unhex( "020101" ) ) ) );
    EXPECT_FALSE( fastPathAlgorithm( ec + unhex( "0600" ) ) );
    EXPECT_FALSE( fastPathAlgorithm( ec + sm2 ) );
    EXPECT_FALSE( fastPathAlgorithm( ec + longElement( 0x06, unhex( "2a811ccf5501822d" ), 1 ) ) );
    EXPECT_FALSE( fastPathAlgorithm( ec + p256 + nullElement ) );
    EXPECT_FALSE( fastPathAlgorithm( ed25519 ) );
    EXPECT_FALSE( fastPathAlgorithm( dsa + sequence( "" ) ) );
}

TEST( OpensslDer, KnowsPublicKeysOfTheFastPath )
{
    EXPECT_TRUE( fastPathPublic( spkiOf( rsa + nullElement ) ) );
    EXPECT_TRUE( fastPathPublic( spkiOf( ec + p256 ) ) );

    EXPECT_FALSE( fastPathPublic( spkiOf( ec + sm2 ) ) );
    EXPECT_FALSE( fastPathPublic( spkiOf( ed25519 ) ) );
    EXPECT_FALSE( fastPathPublic( spkiOf( ec + p256 ) + nullElement ) );
    EXPECT_FALSE( fastPathPublic( sequence( sequence( ec + p256 ) + keyBits + nullElement ) ) );
    EXPECT_FALSE( fastPathPublic( sequence( sequence( ec + p256 ) ) ) );
    EXPECT_FALSE( fastPathPublic( sequence( sequence( ec + p256 ) + unhex( "0300" ) ) ) );
    EXPECT_FALSE( fastPathPublic( sequence( sequence( ec + p256 ) + keyOctet ) ) );
    EXPECT_FALSE( fastPathPublic( sequence( keyBits ) ) );
    EXPECT_FALSE( fastPathPublic( "" ) );
    std::string indefinite = unhex( "3080" ) + sequence( ec + p256 ) + keyBits + unhex( "0000" );
    EXPECT_FALSE( fastPathPublic( indefinite ) );
}

TEST( OpensslDer, KnowsPrivateKeysOfTheFastPath )
{
    std::string algorithm = sequence( ec + p256 );
    EXPECT_TRUE( fastPathPrivate( sequence( version0 + sequence( rsa + nullElement ) + keyOctet ) ) );
    EXPECT_TRUE( fastPathPrivate( sequence( version0 + algorithm + keyOctet ) ) );

    EXPECT_FALSE( fastPathPrivate( sequence( unhex( "020101" ) + algorithm + keyOctet ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( unhex( "02020000" ) + algorithm + keyOctet ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( unhex( "0200" ) + algorithm + keyOctet ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( algorithm + keyOctet ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( version0 + sequence( ec + sm2 ) + keyOctet ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( version0 + algorithm + keyBits ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( version0 + algorithm + unhex( "0400" ) ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( version0 + algorithm + keyOctet + unhex( "a000" ) ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( version0 + algorithm + keyOctet + unhex( "810100" ) ) ) );
    EXPECT_FALSE( fastPathPrivate( sequence( version0 + algorithm + keyOctet ) + unhex( "00" ) ) );
    EXPECT_FALSE( fastPathPrivate( "" ) );
}

TEST( OpensslDer, KnowsCertificatesOfTheFastPath )
{
    CertificateParts good;
    EXPECT_TRUE( fastPathCertificate( good.join() ) );
    EXPECT_TRUE( fastPathCertificate( good.join() + "behind it" ) );

    auto with = []( auto change ) {
        CertificateParts parts;
        change( parts );
        return fastPathCertificate( parts.join() );
    };
    EXPECT_TRUE( with( []( CertificateParts &parts ) { parts.version = ""; } ) );
    EXPECT_TRUE( with( []( CertificateParts &parts ) { parts.rest = ""; } ) );
    EXPECT_TRUE( with( []( CertificateParts &parts ) { parts.spki = spkiOf( rsa + nullElement ); } ) );

    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.spki = spkiOf( ec + sm2 ); } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.spki = spkiOf( ed25519 ); } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.spki = ""; } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.serial = ""; } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.signature = ""; } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.subject = ""; } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.version = element( 0x80, unhex( "02" ) ); } ) );
    EXPECT_FALSE( with( []( CertificateParts &parts ) { parts.subject = unhex( "30800000" ); } ) );
    EXPECT_FALSE( fastPathCertificate( "" ) );
    EXPECT_FALSE( fastPathCertificate( sequence( "" ) ) );
    EXPECT_FALSE( fastPathCertificate( sequence( sequence( "" ) ) ) );
}

TEST( OpensslDer, AgreesWithWhatOpensslWrites )
{
    struct Case
    {
        EVP_PKEY *key;
        bool      isFastPath;
    };
    Case cases[] = { { EVP_RSA_gen( 1024 ), true }, { EVP_EC_gen( "P-256" ), true }, { EVP_EC_gen( "brainpoolP256r1" ), true },
        { EVP_EC_gen( "sect163k1" ), true }, { EVP_PKEY_Q_keygen( nullptr, nullptr, "ED25519" ), false } };
    for( const Case &each : cases )
    {
        Ptr<EVP_PKEY> key( each.key );
        ASSERT_TRUE( key );
        EXPECT_EQ( fastPathPublic( publicOf( each.key ) ), each.isFastPath );
        EXPECT_EQ( fastPathPrivate( privateOf( each.key ) ), each.isFastPath );
        EXPECT_EQ( fastPathCertificate( certificateOf( each.key ) ), each.isFastPath );
    }
    Ptr<EVP_PKEY> sm2Key( EVP_PKEY_Q_keygen( nullptr, nullptr, "SM2" ) );
    ASSERT_TRUE( sm2Key );
    EXPECT_FALSE( fastPathPublic( publicOf( sm2Key.get() ) ) );
    EXPECT_FALSE( fastPathPrivate( privateOf( sm2Key.get() ) ) );
}

namespace
{

bool canonicalPublic( const std::string &spki ) { return openssl::isCanonicalPublicKey( view( spki ) ); }

std::string bitsOf( const std::string &key, int unused = 0 ) { return element( 0x03, std::string( 1, (char)unused ) + key ); }

const std::string modulus  = element( 0x02, unhex( "00c1" ) + std::string( 127, '\x55' ) );
const std::string exponent = unhex( "0203010001" );

std::string rsaOf( const std::string &numbers ) { return sequence( sequence( rsa + nullElement ) + bitsOf( sequence( numbers ) ) ); }
std::string ecOf( const std::string &point ) { return sequence( sequence( ec + p256 ) + bitsOf( point ) ); }

}

TEST( OpensslDer, KnowsCanonicalPublicKeys )
{
    EXPECT_TRUE( canonicalPublic( rsaOf( modulus + exponent ) ) );
    EXPECT_TRUE( canonicalPublic( rsaOf( unhex( "020103" ) + unhex( "02020080" ) ) ) );
    EXPECT_TRUE( canonicalPublic( rsaOf( element( 0x02, std::string( 300, '\x7F' ) ) + exponent ) ) );
    EXPECT_TRUE( canonicalPublic( ecOf( "\4" + std::string( 64, 'x' ) ) ) );
    EXPECT_TRUE( canonicalPublic( ecOf( "\4" + std::string( 132, 'x' ) ) ) );
}

TEST( OpensslDer, RsaNumbersAreCanonicalInTheirShortestFormOnly )
{
    std::string one = std::string( 1, '\1' ), high( 1, '\x80' ), zero( 1, '\0' );
    struct
    {
        std::string number;
        bool        good;
    } numbers[] = { { one, true }, { "\x7F", true }, { zero + high, true }, { zero + "\xFF" + zero, true }, { one + zero, true }, { high, false },
        { "\xFF", false }, { "\xFF\1", false }, { zero + "\x7F", false }, { zero + one, false }, { zero + zero + high, false }, { zero, false },
        { zero + zero, false }, { "", false } };
    for( const auto &each : numbers )
    {
        std::string number = element( 0x02, each.number );
        EXPECT_EQ( canonicalPublic( rsaOf( number + exponent ) ), each.good ) << hex( each.number );
        EXPECT_EQ( canonicalPublic( rsaOf( modulus + number ) ), each.good ) << hex( each.number );
        EXPECT_FALSE( canonicalPublic( rsaOf( longElement( 0x02, each.number, 1 ) + exponent ) ) ) << hex( each.number );
        EXPECT_FALSE( canonicalPublic( rsaOf( modulus + longElement( 0x02, each.number, 2 ) ) ) ) << hex( each.number );
    }
}

TEST( OpensslDer, OtherShapesOfRsaKeysAreNotCanonical )
{
    EXPECT_FALSE( canonicalPublic( rsaOf( "" ) ) );
    EXPECT_FALSE( canonicalPublic( rsaOf( modulus ) ) );
    EXPECT_FALSE( canonicalPublic( rsaOf( modulus + exponent + exponent ) ) );
    EXPECT_FALSE( canonicalPublic( rsaOf( modulus + exponent + '\0' ) ) );
    EXPECT_FALSE( canonicalPublic( rsaOf( element( 0x04, "x" ) + exponent ) ) );
    std::string numbers = sequence( modulus + exponent ), algorithm = sequence( rsa + nullElement );
    ASSERT_TRUE( canonicalPublic( sequence( algorithm + bitsOf( numbers ) ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( algorithm + bitsOf( numbers + '\0' ) ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( algorithm + bitsOf( element( 0x31, modulus + exponent ) ) ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( algorithm + bitsOf( longElement( 0x30, modulus + exponent, 2 ) ) ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( rsa ) + bitsOf( numbers ) ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( rsa + unhex( "058100" ) ) + bitsOf( numbers ) ) ) );
}

TEST( OpensslDer, PointsAreCanonicalUncompressedOnly )
{
    for( int form = 0; form < 256; form++ )
        EXPECT_EQ( canonicalPublic( ecOf( (char)form + std::string( 64, 'x' ) ) ), form == 4 ) << form;
    EXPECT_FALSE( canonicalPublic( ecOf( "" ) ) );
}

TEST( OpensslDer, LongerLengthsThanNeededAreNotCanonical )
{
    std::string rsaId = sequence( rsa + nullElement ), rsaBits = bitsOf( sequence( modulus + exponent ) );
    std::string ecId = sequence( ec + p256 ), ecBits = bitsOf( "\4" + std::string( 64, 'x' ) );
    for( const auto &[id, bits] : { std::pair( rsaId, rsaBits ), std::pair( ecId, ecBits ) } )
    {
        std::string idContent = id.substr( 2 ), bitsContent = bits.substr( bits.size() < 0x80 ? 2 : 3 );
        ASSERT_TRUE( canonicalPublic( sequence( id + bits ) ) );
        for( int length = 1; length <= 4; length++ )
        {
            // With RSA, each content has at least 128 bytes; with the curve, fewer. So one length
            // byte is the shortest form of some of them.
            bool needed = length == 1 && id == rsaId;
            EXPECT_EQ( canonicalPublic( longElement( 0x30, id + bits, length ) ), needed && ( id + bits ).size() < 0x100 ) << length;
            EXPECT_EQ( canonicalPublic( sequence( id + longElement( 0x03, bitsContent, length ) ) ), needed ) << length;
            EXPECT_FALSE( canonicalPublic( sequence( longElement( 0x30, idContent, length ) + bits ) ) ) << length;
        }
    }
    EXPECT_FALSE( canonicalPublic( sequence( sequence( longElement( 0x06, rsa.substr( 2 ), 1 ) + nullElement ) + rsaBits ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( longElement( 0x06, ec.substr( 2 ), 2 ) + p256 ) + ecBits ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( ec + longElement( 0x06, p256.substr( 2 ), 1 ) ) + ecBits ) ) );
    EXPECT_FALSE( canonicalPublic( unhex( "3080" ) + ecId + ecBits + unhex( "0000" ) ) );
}

TEST( OpensslDer, WhatStandsBehindOrIsMissingIsNotCanonical )
{
    std::string id = sequence( ec + p256 ), bits = bitsOf( "\4" + std::string( 64, 'x' ) );
    EXPECT_FALSE( canonicalPublic( "" ) );
    EXPECT_FALSE( canonicalPublic( sequence( "" ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( id ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( bits ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( id + unhex( "0300" ) ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( id + bits + nullElement ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( id + bits ) + '\0' ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( ec + p256 + nullElement ) + bits ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( p256 ) + bits ) ) );
    EXPECT_FALSE( canonicalPublic( sequence( sequence( "" ) + bits ) ) );
    for( int unused = 1; unused < 256; unused++ )
        EXPECT_FALSE( canonicalPublic( sequence( id + bitsOf( "\4" + std::string( 64, '\0' ), unused ) ) ) ) << unused;
}

TEST( OpensslDer, WhatOpensslWritesIsCanonical )
{
    for( EVP_PKEY *made : { EVP_RSA_gen( 1024 ), EVP_RSA_gen( 1031 ), EVP_EC_gen( "P-256" ), EVP_EC_gen( "P-521" ), EVP_EC_gen( "sect571k1" ),
             EVP_EC_gen( "secp112r1" ), EVP_EC_gen( "brainpoolP512r1" ) } )
    {
        Ptr<EVP_PKEY> key( made );
        ASSERT_TRUE( key );
        EXPECT_TRUE( canonicalPublic( publicOf( made ) ) ) << EVP_PKEY_get_bits( made );
    }
    Ptr<EVP_PKEY> ed25519Key( EVP_PKEY_Q_keygen( nullptr, nullptr, "ED25519" ) );
    EXPECT_FALSE( canonicalPublic( publicOf( ed25519Key.get() ) ) );
}

TEST( OpensslDer, StaysInsideOfEveryPrefix )
{
    Ptr<EVP_PKEY>            rsaKey( EVP_RSA_gen( 1024 ) ), ecKey( EVP_EC_gen( "P-384" ) );
    std::vector<std::string> inputs;
    for( EVP_PKEY *key : { rsaKey.get(), ecKey.get() } )
        inputs.insert( inputs.end(), { certificateOf( key ), privateOf( key ), publicOf( key ) } );
    // Every nested length is greater than the content.
    inputs.push_back( unhex( "3084ffffffff3084ffffffff0284ffffffff3084ffffffff0684ffffffff" ) );

    Guarded guarded( 4096 );
    for( const std::string &input : inputs )
    {
        for( size_t length = 0; length <= input.size(); length++ )
        {
            std::unique_ptr<PB_BYTE[]> exact( new PB_BYTE[length] );
            std::memcpy( exact.get(), input.data(), length );
            openssl::Bytes onHeap( exact.get(), length ), atTheEnd = guarded.put( std::string_view( input ).substr( 0, length ) );
            bool           whole                              = length == input.size();
            decltype( &openssl::isFastPathPublicKey ) looks[] = { openssl::isFastPathAlgorithm, openssl::isFastPathPublicKey,
                openssl::isFastPathPrivateKey, openssl::isFastPathCertificate, openssl::isCanonicalPublicKey };
            for( auto look : looks )
            {
                EXPECT_EQ( look( onHeap ), look( atTheEnd ) );
                // A prefix of a key or certificate is never that key or certificate.
                EXPECT_FALSE( !whole && look( onHeap ) ) << length;
            }
        }
    }
}

TEST( OpensslDer, StaysInsideWithEveryLengthByte )
{
    Ptr<EVP_PKEY> key( EVP_EC_gen( "P-256" ) );
    Guarded       guarded( 4096 );
    PB_INT        refused = 0;
    for( const std::string &input : { certificateOf( key.get() ), privateOf( key.get() ), publicOf( key.get() ) } )
    {
        for( size_t at = 0; at < input.size(); at++ )
        {
            for( int value : { 0x00, 0x01, 0x7F, 0x80, 0x81, 0x82, 0x83, 0x84, 0x85, 0xFF } )
            {
                std::string changed              = input;
                changed[at]                      = (char)value;
                openssl::Bytes             bytes = guarded.put( changed );
                std::unique_ptr<PB_BYTE[]> exact( new PB_BYTE[changed.size()] );
                std::memcpy( exact.get(), changed.data(), changed.size() );
                openssl::Bytes onHeap( exact.get(), changed.size() );
                EXPECT_EQ( openssl::isFastPathCertificate( bytes ), openssl::isFastPathCertificate( onHeap ) );
                EXPECT_EQ( openssl::isFastPathPrivateKey( bytes ), openssl::isFastPathPrivateKey( onHeap ) );
                EXPECT_EQ( openssl::isFastPathPublicKey( bytes ), openssl::isFastPathPublicKey( onHeap ) );
                EXPECT_EQ( openssl::isCanonicalPublicKey( bytes ), openssl::isCanonicalPublicKey( onHeap ) );
                refused += !openssl::isFastPathCertificate( bytes ) && !openssl::isFastPathPrivateKey( bytes ) &&
                    !openssl::isFastPathPublicKey( bytes );
            }
        }
    }
    EXPECT_GT( refused, 100 );
}
