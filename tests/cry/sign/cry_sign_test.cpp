#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_sign.h>
#include <cry/internal/cry_pkey.h>

#include "support/key_decoding.hpp"
#include "support/signatures.hpp"
#include "support/text.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <random>
#include <thread>

using namespace support;

namespace
{

constexpr PB_INT lastAlgorithm = CRY_HASH_ALGORITHM_SHA3_512;
constexpr PB_INT sha256        = CRY_HASH_ALGORITHM_SHA2_256;

// RSA-2048 and the three curves. Each call gives the same keys.
const std::vector<std::pair<std::string, Pkey>> &usualKeys()
{
    static const std::vector<std::pair<std::string, Pkey>> keys = { { "RSA", key( KeyKind::rsa ) }, { "P-256", key( KeyKind::p256 ) },
        { "P-384", key( KeyKind::p384 ) }, { "P-521", newEcKey( "P-521" ) } };
    return keys;
}

Pkey otherKeyOf( const std::string &name ) { return name == "RSA" ? key( KeyKind::rsa, 1 ) : newEcKey( name.c_str() ); }

std::string flipped( std::string text, size_t bit )
{
    text[bit / 8] ^= (char)( 1 << bit % 8 );
    return text;
}

}

TEST( CrySign, SignaturesAreGoodForPlainOpensslAndBackForEveryKeyAndAlgorithm )
{
    std::string data = pattern( 1000 );
    for( const auto &[name, pkey] : usualKeys() )
        for( bool fast : { true, false } )
        {
            PrivateKey priv = privateKey( pkey, fast );
            PublicKey  pub  = publicKey( pkey, fast );
            ASSERT_TRUE( priv && pub ) << name;
            for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
            {
                SCOPED_TRACE( name + " " + digestNames[alg] + ( fast ? " fast" : "" ) );
                std::string signature = sign( alg, priv, data );
                EXPECT_TRUE( plainDigestVerify( alg, pkey.get(), signature, data ) );
                EXPECT_TRUE( verify( alg, pub, signature, data ) );
                std::string plain = plainSign( alg, pkey.get(), data );
                EXPECT_TRUE( verify( alg, pub, plain, data ) );
                EXPECT_FALSE( verify( alg, pub, signature, data + "x" ) );
                EXPECT_FALSE( verify( alg, pub, flipped( signature, signature.size() * 8 - 9 ), data ) );
                // Two RSA signatures of the same data are equal; two ECDSA signatures differ.
                EXPECT_EQ( signature == plain, name == "RSA" );
            }
        }
}

TEST( CrySign, KeysThatSignAreTold )
{
    takeErrors();
    raiseError();
    for( const auto &[name, pkey] : usualKeys() )
        for( bool fast : { true, false } )
        {
            PrivateKey priv = privateKey( pkey, fast );
            for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
                EXPECT_TRUE( crySignCanSign( alg, priv.get() ) ) << name << " " << digestNames[alg];
        }
    // The room that PKCS#1 v1.5 needs (RFC 8017, 9.2): 11 bytes beside the DigestInfo.
    PrivateKey small = privateKey( Pkey( EVP_PKEY_Q_keygen( nullptr, nullptr, "RSA", (size_t)512 ), EVP_PKEY_free ) );
    for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
        EXPECT_EQ( crySignCanSign( alg, small.get() ) == PB_TRUE, cryHashAlgorithmDigestSizeBits( alg ) / 8 + 19 + 11 <= 64 ) << digestNames[alg];
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
}

TEST( CrySign, DataOfEveryLengthIsSigned )
{
    for( size_t length : { (size_t)0, (size_t)1, (size_t)0x100000, (size_t)0x100001 } )
    {
        SCOPED_TRACE( length );
        std::string data = pattern( length );
        for( const auto &[name, pkey] : usualKeys() )
        {
            std::string signature = sign( sha256, privateKey( pkey ), data );
            EXPECT_TRUE( plainDigestVerify( sha256, pkey.get(), signature, data ) ) << name;
            EXPECT_TRUE( verify( sha256, publicKey( pkey ), signature, data ) ) << name;
            EXPECT_FALSE( verify( sha256, publicKey( pkey ), signature, data + '\0' ) ) << name;
        }
    }
}

TEST( CrySign, KeysAreInTheKeyDecodingContextExactlyWhereTheyWereParsedThere )
{
    if( KeyDecoding probe( true ); !openssl___SetKeyDecodingContextUsed( true ) )
        GTEST_SKIP() << "this libcrypto does not pass the self-check";
    for( const auto &[name, pkey] : usualKeys() )
        for( bool fast : { true, false } )
        {
            PrivateKey priv = privateKey( pkey, fast );
            PublicKey  pub  = publicKey( pkey, fast );
            EXPECT_EQ( openssl___ContextOf( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ) != nullptr, fast ) << name;
            EXPECT_EQ( openssl___ContextOf( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ) != nullptr, fast ) << name;
            // Keys that were parsed with one setting can be used with the other setting.
            KeyDecoding turned( !fast );
            std::string signature = sign( sha256, priv, "data" );
            EXPECT_TRUE( plainDigestVerify( sha256, pkey.get(), signature, "data" ) ) << name;
            EXPECT_TRUE( verify( sha256, pub, signature, "data" ) ) << name;
        }
}

TEST( CrySign, SignaturesHaveTheLengthsOfTheirKeys )
{
    PrivateKey rsa = privateKey( key( KeyKind::rsa ) ), p256 = privateKey( key( KeyKind::p256 ) );
    for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
        EXPECT_EQ( sign( alg, rsa, "data" ).size(), 256u ) << alg;
    size_t longest = 0;
    for( int round = 0; round < 100; round++ )
        longest = std::max( longest, sign( sha256, p256, "data" ).size() );
    EXPECT_GE( longest, 71u );
    EXPECT_LE( longest, 72u );
}

TEST( CrySign, WhatIsNotTheSignatureIsRefused )
{
    for( const auto &[name, pkey] : usualKeys() )
    {
        SCOPED_TRACE( name );
        PublicKey   pub  = publicKey( pkey );
        std::string good = sign( sha256, privateKey( pkey ), "data" );
        ASSERT_TRUE( verify( sha256, pub, good, "data" ) );
        EXPECT_FALSE( verify( sha256, pub, good, "Data" ) );
        EXPECT_FALSE( verify( sha256, pub, good, "" ) );
        EXPECT_FALSE( verify( sha256, publicKey( otherKeyOf( name ) ), good, "data" ) );
        for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
            EXPECT_EQ( verify( alg, pub, good, "data" ), alg == sha256 ) << alg;
        EXPECT_FALSE( verify( sha256, pub, "", "data" ) );
        EXPECT_FALSE( verify( sha256, pub, good.substr( 0, good.size() - 1 ), "data" ) );
        EXPECT_FALSE( verify( sha256, pub, good.substr( 1 ), "data" ) );
        EXPECT_FALSE( verify( sha256, pub, std::string( 1, '\0' ) + good, "data" ) );
        EXPECT_FALSE( verify( sha256, pub, std::string( good.size(), '\0' ), "data" ) );
        EXPECT_FALSE( verify( sha256, pub, std::string( good.size(), '\xff' ), "data" ) );
        EXPECT_FALSE( verify( sha256, pub, pattern( 100000 ), "data" ) );
        for( const std::string &tail : { std::string( 1, '\0' ), std::string( "x" ), good } )
        {
            EXPECT_EQ( verify( sha256, pub, good + tail, "data" ), plainVerify( sha256, pkey.get(), good + tail, "data" ) );
            EXPECT_FALSE( verify( sha256, pub, good + tail, "data" ) );
        }
        EXPECT_TRUE( verify( sha256, pub, good, "data" ) );
    }
}

TEST( CrySign, KeysOfEachOtherKindRefuseSignatures )
{
    std::string rsa = sign( sha256, privateKey( key( KeyKind::rsa ) ), "data" ), ec = sign( sha256, privateKey( key( KeyKind::p256 ) ), "data" );
    std::vector<std::pair<std::string, Pkey>> keys = usualKeys();
    keys.emplace_back( "RSA-PSS", key( KeyKind::rsaPss ) );
    for( const char *name : { "ED25519", "ED448", "X25519", "X448" } )
        keys.emplace_back( name, Pkey( EVP_PKEY_Q_keygen( nullptr, nullptr, name ), EVP_PKEY_free ) );
    for( const auto &[name, pkey] : keys )
        for( PB_INT alg : { CRY_HASH_ALGORITHM_SHA1, sha256, CRY_HASH_ALGORITHM_SHA3_512 } )
        {
            SCOPED_TRACE( name );
            PublicKey pub = publicKey( pkey );
            ASSERT_TRUE( pub );
            EXPECT_EQ( verify( alg, pub, rsa, "data" ), name == "RSA" && alg == sha256 );
            EXPECT_EQ( verify( alg, pub, ec, "data" ), name == "P-256" && alg == sha256 );
            EXPECT_FALSE( verify( alg, pub, std::string( 64, 'x' ), "data" ) );
            EXPECT_FALSE( verifyPieces( alg, pub, std::string( 64, 'x' ), "data" ) );
            EXPECT_FALSE( verify( alg, pub, "", "data" ) );
        }
}

// OpenSSL uses the padding of the key.
TEST( CrySign, PssKeysDoWhatPlainOpensslDoes )
{
    Pkey      pkey = key( KeyKind::rsaPss );
    PublicKey pub  = publicKey( pkey );
    for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
    {
        std::string theirs = plainSign( alg, pkey.get(), "data" ), ours = sign( alg, privateKey( pkey ), "data" );
        EXPECT_EQ( theirs.size(), 256u );
        EXPECT_TRUE( verify( alg, pub, theirs, "data" ) ) << alg;
        EXPECT_TRUE( verifyPieces( alg, pub, ours, "data" ) ) << alg;
        EXPECT_TRUE( plainVerify( alg, pkey.get(), ours, "data" ) ) << alg;
        EXPECT_FALSE( verify( alg, pub, theirs, "Data" ) ) << alg;
        EXPECT_FALSE( verify( ( alg + 1 ) % 10, pub, theirs, "data" ) ) << alg;
        EXPECT_FALSE( verify( alg, pub, plainSign( alg, key( KeyKind::rsa ).get(), "data" ), "data" ) ) << alg;
    }
}

TEST( CrySign, SmallRsaKeysSignWhatFits )
{
    int fits = 0, tooSmall = 0;
    for( size_t bits : { 512u, 768u, 1024u } )
    {
        Pkey       pkey = newRsaKey( bits );
        PrivateKey priv = privateKey( pkey );
        PublicKey  pub  = publicKey( pkey );
        ASSERT_TRUE( priv && pub );
        for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
        {
            SCOPED_TRACE( std::to_string( bits ) + " " + digestNames[alg] );
            std::string plain = plainSign( alg, pkey.get(), "data" );
            if( plain.empty() )
            {
                EXPECT_FALSE( verify( alg, pub, std::string( bits / 8, '\1' ), "data" ) );
                tooSmall++;
                continue;
            }
            EXPECT_EQ( hex( sign( alg, priv, "data" ) ), hex( plain ) );
            EXPECT_TRUE( verify( alg, pub, plain, "data" ) );
            fits++;
        }
    }
    EXPECT_EQ( fits + tooSmall, 30 );
    // 11 bytes of padding, 19 bytes for the name of the digest and a digest of 48 or 64 bytes do
    // not fit into 64 bytes.
    EXPECT_EQ( tooSmall, 4 );
}

TEST( CrySign, OneKeyObjectServesAllAlgorithmsOneAfterTheOther )
{
    for( const auto &[name, pkey] : usualKeys() )
    {
        PrivateKey priv = privateKey( pkey );
        PublicKey  pub  = publicKey( pkey );
        for( int round = 0; round < 3; round++ )
            for( PB_INT alg : { 0, 9, 3, 3, 5, 3, 1, 0, 9, 2, 4, 6, 7, 8 } )
            {
                std::string signature = sign( alg, priv, "data" );
                EXPECT_TRUE( plainVerify( alg, pkey.get(), signature, "data" ) ) << name << " " << alg;
                EXPECT_TRUE( verify( alg, pub, signature, "data" ) ) << name << " " << alg;
                EXPECT_FALSE( verify( ( alg + 1 ) % 10, pub, signature, "data" ) ) << name << " " << alg;
                EXPECT_TRUE( verify( alg, pub, signature, "data" ) ) << name << " " << alg;
            }
    }
}

TEST( CrySign, OneKeyObjectServesSeveralThreadsAtOnce )
{
    for( const auto &[name, pkey] : usualKeys() )
        for( bool fast : { true, false } )
        {
            PrivateKey               priv = privateKey( pkey, fast );
            PublicKey                pub  = publicKey( pkey, fast );
            std::atomic<int>         wrong{ 0 };
            std::vector<std::thread> threads;
            for( int thread = 0; thread < 6; thread++ )
                threads.emplace_back( [&, thread] {
                    for( int round = 0; round < 12; round++ )
                    {
                        PB_INT      alg       = ( thread + round / 3 ) % 10;
                        std::string data      = pattern( (size_t)( thread * 100 + round ) );
                        std::string signature = round % 2 ? sign( alg, priv, data ) : signPieces( alg, priv, data );
                        wrong += !plainVerify( alg, pkey.get(), signature, data );
                        wrong += !verify( alg, pub, signature, data );
                        wrong += !verifyPieces( alg, pub, signature, data );
                        wrong += verify( alg, pub, signature, data + "x" );
                    }
                } );
            for( std::thread &thread : threads )
                thread.join();
            EXPECT_EQ( wrong, 0 ) << name;
        }
}

TEST( CrySign, SuccessLeavesTheErrorQueueAsItWas )
{
    for( const auto &[name, pkey] : usualKeys() )
        for( bool fast : { true, false } )
        {
            PrivateKey priv = privateKey( pkey, fast );
            PublicKey  pub  = publicKey( pkey, fast );
            takeErrors();
            for( PB_INT alg = 0; alg <= lastAlgorithm; alg++ )
            {
                std::string signature = sign( alg, priv, "data" );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>() ) << name << " " << alg;
                EXPECT_TRUE( verify( alg, pub, signature, "data" ) );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>() ) << name << " " << alg;
                raiseError();
                signature = signPieces( alg, priv, "data" );
                EXPECT_TRUE( verifyPieces( alg, pub, signature, "data" ) );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name << " " << alg;
            }
        }
}

TEST( CrySign, GeneratedKeysOfEveryCurveDoWhatPlainOpensslDoes )
{
    std::vector<PB_INT> missing, signless, oneWay;
    int                 able = 0;
    for( PB_INT curve = 0; curve <= CRY_PKEY_EC_NAMED_CURVE_SM2; curve++ )
    {
        SCOPED_TRACE( text( pb::adopt( cryPkeyEcNamedCurveToString( curve ) ) ) );
        PrivateKey priv = pb::adopt( cryTryGenerateEcKeyPair( curve ) );
        if( !priv )
        {
            missing.push_back( curve );
            continue;
        }
        PublicKey pub = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
        ASSERT_TRUE( pub );
        EVP_PKEY *secret = cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ), *open = cry___PkeyPublicPeekOpensslEvpPkey( pub.get() );
        // If OpenSSL cannot sign, a call of the library's function would end the process.
        if( plainSign( sha256, secret, "data" ).empty() )
        {
            EXPECT_FALSE( verify( sha256, pub, ecdsaDer( "r", "s" ), "data" ) );
            signless.push_back( curve );
            continue;
        }
        bool good = true;
        for( PB_INT alg : { CRY_HASH_ALGORITHM_SHA1, sha256, CRY_HASH_ALGORITHM_SHA3_512 } )
            for( const std::string &signature : { sign( alg, priv, "data" ), signPieces( alg, priv, "data" ), plainSign( alg, secret, "data" ) } )
            {
                EXPECT_TRUE( plainVerify( alg, secret, signature, "data" ) );
                bool plain = plainVerify( alg, open, signature, "data" );
                EXPECT_EQ( verify( alg, pub, signature, "data" ), plain );
                EXPECT_EQ( verifyPieces( alg, pub, signature, "data" ), plain );
                EXPECT_FALSE( verify( alg, pub, signature, "Data" ) );
                EXPECT_FALSE( verify( alg, pub, signature + "x", "data" ) );
                good = good && plain;
            }
        if( good )
            able++;
        else
            oneWay.push_back( curve );
    }
    EXPECT_EQ( able, 79 );
    EXPECT_EQ( missing, std::vector<PB_INT>() );
    EXPECT_EQ( signless, ( std::vector<PB_INT>{ CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3, CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4 } ) );
    // New keys on this curve are EC keys; parsed keys are SM2 keys.
    EXPECT_EQ( oneWay, std::vector<PB_INT>{ CRY_PKEY_EC_NAMED_CURVE_SM2 } );
}

// Good signatures, changed signatures and random bytes.
TEST( CrySign, VerdictsAreThoseOfPlainOpensslForAnything )
{
    std::mt19937 random( 20240229 );
    auto         number = [&]( size_t below ) { return (size_t)( random() % below ); };
    auto         noise  = [&]( size_t length ) {
        std::string out( length, 0 );
        for( char &c : out )
            c = (char)random();
        return out;
    };
    for( const auto &[name, pkey] : usualKeys() )
    {
        PublicKey  fast = publicKey( pkey, true ), ordinary = publicKey( pkey, false );
        PrivateKey priv = privateKey( pkey );
        int        good = 0, bad = 0;
        for( int round = 0; round < 400; round++ )
        {
            PB_INT      alg       = (PB_INT)number( 10 );
            std::string data      = noise( number( 100 ) );
            std::string signature = sign( alg, priv, data );
            switch( round % 10 )
            {
            case 0: // not changed
            case 1:
                break;
            case 2:
                signature = flipped( signature, number( signature.size() * 8 ) );
                break;
            case 3:
                signature.resize( number( signature.size() ) );
                break;
            case 4:
                signature += noise( 1 + number( 20 ) );
                break;
            case 5:
                signature.erase( number( signature.size() ), 1 );
                break;
            case 6:
                signature.insert( number( signature.size() ), 1, '\0' );
                break;
            case 7:
                signature = noise( number( 300 ) );
                break;
            case 8: // valid DER with other numbers
                signature = ecdsaDer( noise( number( 70 ) ), noise( number( 70 ) ) );
                break;
            case 9:
                data += "x";
                break;
            }
            bool plain = plainVerify( alg, pkey.get(), signature, data );
            EXPECT_EQ( verify( alg, fast, signature, data ), plain ) << name << " " << round << " " << hex( signature );
            EXPECT_EQ( verify( alg, ordinary, signature, data ), plain ) << name << " " << round << " " << hex( signature );
            EXPECT_EQ( verifyPieces( alg, fast, signature, data ), plain ) << name << " " << round << " " << hex( signature );
            ( plain ? good : bad )++;
        }
        EXPECT_GE( good, 80 );
        EXPECT_GE( bad, 250 );
    }
}
