// Signatures that were verified once are not computed again. The results, the errors and the state
// of the contexts stay those of OpenSSL.
#include "openssl_known_signatures.hpp"

#include <openssl_module/internal/openssl_module.h>

#include "common/cry_ossl.hpp"
#include "support/certificates.hpp"
#include "support/shortcut_tests.hpp"
#include "support/signatures.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/err.h>
#include <openssl/rsa.h>
#include <thread>

using namespace support;
using cry::ossl::Ptr;

namespace
{

// A certificate in the key-decoding context.
Ptr<X509> quick( const std::string &der )
{
    Ptr<X509> x509( openssl___TryParseCertificate( (const PB_BYTE *)der.data(), (PB_INT)der.size() ) );
    EXPECT_TRUE( x509 );
    if( x509 && X509_get0_pubkey( x509.get() ) )
    {
        EXPECT_NE( openssl___ContextOf( X509_get0_pubkey( x509.get() ) ), nullptr );
    }
    return x509;
}

Ptr<EVP_PKEY> quickKey( EVP_PKEY *key )
{
    unsigned char *der    = nullptr;
    int            length = i2d_PUBKEY( key, &der );
    Ptr<EVP_PKEY>  made( openssl___TryParsePublicKeyFast( der, length ) );
    OPENSSL_free( der );
    EXPECT_TRUE( made );
    return made;
}

OSSL_LIB_CTX *quickContext() { return openssl___ContextOf( quickKey( key( KeyKind::p256 ).get() ).get() ); }

// A result with the errors behind it.
struct Outcome
{
    int         result;
    std::string errors;
    bool        operator==( const Outcome        &) const = default;
};

std::ostream &operator<<( std::ostream &out, const Outcome &outcome ) { return out << outcome.result << "\n" << outcome.errors; }

template<class Verify>
Outcome outcomeOf( Verify verify )
{
    ERR_clear_error();
    int result = verify();
    return { result, takeQueue() };
}

// The results with shortcuts off and on; the first time and when it may be known. All are equal.
template<class Verify>
Outcome sameOutcome( Verify verify )
{
    Outcome wanted;
    {
        Shortcuts off( false );
        wanted = outcomeOf( verify );
        EXPECT_EQ( outcomeOf( verify ), wanted );
    }
    Shortcuts on( true );
    for( int time = 0; time < 3; time++ )
        EXPECT_EQ( outcomeOf( verify ), wanted ) << time;
    return wanted;
}

// A message that has the form of the signed part of a certificate, which is what is kept.
std::string message( const std::string &text )
{
    std::string content = std::string( "\xA0\x03\x02\x01\x02\x04", 6 ) + (char)text.size() + text;
    return std::string( "\x30", 1 ) + (char)content.size() + content;
}

std::string signatureOf( EVP_PKEY *key, const char *digest, const std::string &text )
{
    Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
    size_t          size = 0;
    EXPECT_EQ( EVP_DigestSignInit_ex( context.get(), nullptr, digest, nullptr, nullptr, key, nullptr ), 1 );
    EXPECT_EQ( EVP_DigestSign( context.get(), nullptr, &size, (const unsigned char *)text.data(), text.size() ), 1 );
    std::string signature( size, '\0' );
    EXPECT_EQ( EVP_DigestSign( context.get(), (unsigned char *)signature.data(), &size, (const unsigned char *)text.data(), text.size() ), 1 );
    signature.resize( size );
    return signature;
}

int start( EVP_MD_CTX *context, EVP_PKEY *key, const char *digest )
{
    return EVP_DigestVerifyInit_ex( context, nullptr, digest, quickContext(), nullptr, key, nullptr );
}

int verifyIn( EVP_MD_CTX *context, const std::string &signature, const std::string &text )
{
    return EVP_DigestVerify( context, (const unsigned char *)signature.data(), signature.size(), (const unsigned char *)text.data(), text.size() );
}

int verifyOnce( EVP_PKEY *key, const char *digest, const std::string &signature, const std::string &text )
{
    Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
    int             started = start( context.get(), key, digest );
    return started == 1 ? verifyIn( context.get(), signature, text ) : started - 10;
}

constexpr KeyKind kinds[] = { KeyKind::rsa, KeyKind::p256, KeyKind::p384 };

openssl::Bytes view( const std::string &text ) { return { (const PB_BYTE *)text.data(), text.size() }; }

// The same key in another object, which has the form of the default provider's key data.
openssl::SignedBytes signedBytes( KeyKind kind, PB_BYTE digest, const std::string &signature, const std::string &text )
{
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
    bool        rsa  = kind == KeyKind::rsa;
    EVP_PKEY   *pkey = key( kind ).get();
    const void *data = rsa ? (const void *)EVP_PKEY_get0_RSA( pkey ) : EVP_PKEY_get0_EC_KEY( pkey );
#pragma GCC diagnostic pop
    return { rsa ? openssl::KeyKind::Rsa : openssl::KeyKind::Ec, const_cast<void *>( data ), digest, view( signature ), view( text ) };
}

bool isKnown( KeyKind kind, const std::string &signature, const std::string &text )
{
    for( PB_BYTE digest = 0; digest < 16; digest++ )
    {
        if( openssl::isKnownSignature( signedBytes( kind, digest, signature, text ) ) )
            return true;
    }
    return false;
}

// Each test begins with an empty table.
class KnownSignatures : public ShortcutTest
{
protected:
    void SetUp() override
    {
        ShortcutTest::SetUp();
        openssl::forgetKnownSignatures();
    }
    void TearDown() override { openssl::forgetKnownSignatures(); }
};

}

TEST_F( KnownSignatures, AreKeptAfterTheFirstSuccess )
{
    for( KeyKind kind : kinds )
    {
        openssl::forgetKnownSignatures();
        Chain     chain = chainOf( kind );
        Ptr<X509> leaf = quick( der( chain.leaf ) ), intermediate = quick( der( chain.intermediate ) ), root = quick( der( chain.root ) );
        EXPECT_EQ( X509_verify( leaf.get(), X509_get0_pubkey( intermediate.get() ) ), 1 );
        EXPECT_EQ( openssl::countKnownSignatures(), 1u ) << nameOf( kind );
        EXPECT_EQ( X509_verify( leaf.get(), X509_get0_pubkey( intermediate.get() ) ), 1 );
        EXPECT_EQ( openssl::countKnownSignatures(), 1u );
        // The same key and certificate in other objects.
        Ptr<X509> again = quick( der( chain.leaf ) ), other = quick( der( chain.intermediate ) );
        EXPECT_EQ( X509_verify( again.get(), X509_get0_pubkey( other.get() ) ), 1 );
        EXPECT_EQ( openssl::countKnownSignatures(), 1u );
        EXPECT_EQ( X509_verify( intermediate.get(), X509_get0_pubkey( root.get() ) ), 1 );
        EXPECT_EQ( openssl::countKnownSignatures(), 2u );
        EXPECT_EQ( takeQueue(), "" );
    }
}

TEST_F( KnownSignatures, AreNeitherReadNorKeptWithoutShortcuts )
{
    Chain     chain = chainOf( KeyKind::rsa );
    Ptr<X509> leaf = quick( der( chain.leaf ) ), intermediate = quick( der( chain.intermediate ) );
    Shortcuts off( false );
    EXPECT_EQ( X509_verify( leaf.get(), X509_get0_pubkey( intermediate.get() ) ), 1 );
    EXPECT_EQ( openssl::countKnownSignatures(), 0u );
}

// What is kept here was never verified, and the key did not sign it. So the result shows that
// nothing is computed.
TEST_F( KnownSignatures, AreNotComputedAgain )
{
    for( KeyKind kind : kinds )
    {
        std::string   text = message( nameOf( kind ) ), madeUp = "no signature";
        Ptr<EVP_PKEY> pub = quickKey( key( kind ).get() );
        // The first one makes the digest known to the provider.
        EXPECT_EQ( verifyOnce( pub.get(), "SHA256", signatureOf( key( kind ).get(), "SHA256", text ), text ), 1 );
        EXPECT_LE( verifyOnce( pub.get(), "SHA256", madeUp, text ), 0 );
        for( PB_BYTE digest = 0; digest < 16; digest++ )
            openssl::keepKnownSignature( signedBytes( kind, digest, madeUp, text ) );
        EXPECT_EQ( verifyOnce( pub.get(), "SHA256", madeUp, text ), 1 );
        Shortcuts off( false );
        EXPECT_LE( verifyOnce( pub.get(), "SHA256", madeUp, text ), 0 );
    }
    ERR_clear_error();
}

TEST_F( KnownSignatures, AreNeverKeptAfterAFailure )
{
    for( KeyKind kind : kinds )
    {
        Chain     chain = chainOf( kind );
        Ptr<X509> leaf = quick( der( chain.leaf ) ), root = quick( der( chain.root ) );
        for( int time = 0; time < 2; time++ )
        {
            EXPECT_EQ( X509_verify( leaf.get(), X509_get0_pubkey( root.get() ) ), 0 );
            EXPECT_EQ( openssl::countKnownSignatures(), 0u );
        }
    }
    ERR_clear_error();
}

// One bit of the certificate is changed after the true one is known: the signature is not that of
// the changed one. The last bits of the lengths may give bytes that do not parse.
TEST_F( KnownSignatures, DoNotHelpAChangedCertificate )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        Chain       chain        = chainOf( kind );
        std::string good         = der( chain.leaf );
        Ptr<X509>   leaf         = quick( good );
        Ptr<X509>   intermediate = quick( der( chain.intermediate ) );
        EVP_PKEY   *pkey         = X509_get0_pubkey( intermediate.get() );
        EXPECT_EQ( X509_verify( leaf.get(), pkey ), 1 );
        size_t verified = 0;
        for( size_t bit = 0; bit < good.size() * 8; bit += kind == KeyKind::rsa ? 3 : 5 )
        {
            std::string changed = good;
            changed[bit / 8]    = (char)( changed[bit / 8] ^ ( 1 << bit % 8 ) );
            Ptr<X509> parsed( openssl___TryParseCertificate( (const PB_BYTE *)changed.data(), (PB_INT)changed.size() ) );
            if( !parsed )
                continue;
            Outcome   with = outcomeOf( [&] { return X509_verify( parsed.get(), pkey ); } );
            Shortcuts off( false );
            EXPECT_EQ( with, outcomeOf( [&] { return X509_verify( parsed.get(), pkey ); } ) ) << bit;
            EXPECT_LE( with.result, 0 ) << bit;
            verified++;
        }
        EXPECT_GT( verified, 300u );
        EXPECT_EQ( openssl::countKnownSignatures(), 1u );
        openssl::forgetKnownSignatures();
        ERR_clear_error();
    }
}

TEST_F( KnownSignatures, BelongToOneKeyOneDigestAndOneMessage )
{
    for( KeyKind kind : kinds )
    {
        std::string   text = message( "text" ), otherText = message( "test" );
        Ptr<EVP_PKEY> pub = quickKey( key( kind ).get() ), otherPub = quickKey( key( kind, 1 ).get() );
        std::string   good = signatureOf( key( kind ).get(), "SHA256", text ), otherDigest = signatureOf( key( kind ).get(), "SHA384", text );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", good, text ); } ).result, 1 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( otherPub.get(), "SHA256", good, text ); } ).result, 0 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA384", good, text ); } ).result, 0 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", good, otherText ); } ).result, 0 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", otherDigest, text ); } ).result, 0 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA384", otherDigest, text ); } ).result, 1 );
        // Two names of one digest.
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA2-256", good, text ); } ).result, 1 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "sha256", good, text ); } ).result, 1 );
    }
}

// P-256 and secp256k1 have numbers of the same size. A point of one is not on the other, so the
// same message and signature are tried with keys of both.
TEST_F( KnownSignatures, BelongToOneCurve )
{
    std::string text = message( "text" );
    for( const char *first : { "P-256", "secp256k1", "brainpoolP256r1" } )
    {
        Pkey        signer = newEcKey( first );
        std::string good   = signatureOf( signer.get(), "SHA256", text );
        EXPECT_EQ( verifyOnce( quickKey( signer.get() ).get(), "SHA256", good, text ), 1 );
        for( const char *second : { "P-256", "secp256k1", "brainpoolP256r1" } )
        {
            Ptr<EVP_PKEY> other = quickKey( newEcKey( second ).get() );
            EXPECT_EQ( sameOutcome( [&] { return verifyOnce( other.get(), "SHA256", good, text ); } ).result, 0 ) << first << second;
        }
        Ptr<EVP_PKEY> rsa = quickKey( key( KeyKind::rsa ).get() );
        EXPECT_LE( sameOutcome( [&] { return verifyOnce( rsa.get(), "SHA256", good, text ); } ).result, 0 );
    }
}

// Empty, short, long, with bytes after the end, with numbers that are zero or too large.
TEST_F( KnownSignatures, MalformedSignaturesHaveTheSameErrors )
{
    for( KeyKind kind : kinds )
    {
        std::string   text = message( "text" );
        Ptr<EVP_PKEY> pub  = quickKey( key( kind ).get() );
        std::string   good = signatureOf( key( kind ).get(), "SHA256", text );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", good, text ); } ).result, 1 );
        for( const std::string &bad : { std::string(), std::string( "x" ), good.substr( 1 ), good.substr( 0, good.size() - 1 ), good + '\0',
                 good + good, std::string( good.size(), '\0' ), std::string( good.size(), '\xff' ), std::string( 2000, '\1' ),
                 std::string( "\x30\x06\x02\x01\x00\x02\x01\x00", 8 ), std::string( "\x30\x06\x02\x01\x01\x02\x01\x01", 8 ) } )
            EXPECT_LE( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", bad, text ); } ).result, 0 );
        for( const char *digest : { "MD5", "SHA1", "SHA3-256", "no digest", "SHAKE128", "" } )
            sameOutcome( [&] { return verifyOnce( pub.get(), digest, good, text ); } );
    }
    EXPECT_EQ( openssl::countKnownSignatures(), std::size( kinds ) );
}

TEST_F( KnownSignatures, OtherMessagesAreNotKept )
{
    Ptr<EVP_PKEY> pub = quickKey( key( KeyKind::rsa ).get() );
    std::string   large( 9000, 'x' );
    large = std::string( "\x30\x82", 2 ) + (char)( ( large.size() + 5 ) >> 8 ) + (char)( large.size() + 5 ) + "\xA0\x03\x02\x01\x02" + large;
    for( const std::string &text : { std::string( "a secret text" ), std::string(), message( "x" ) + "y", message( "x" ).substr( 1 ),
             std::string( "\x30\x05\xA0\x03\x02\x01\x01", 7 ), std::string( "\x30\x81\x05\xA0\x03\x02\x01\x02", 8 ), large } )
    {
        std::string good = signatureOf( key( KeyKind::rsa ).get(), "SHA256", text );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", good, text ); } ).result, 1 );
        EXPECT_EQ( openssl::countKnownSignatures(), 0u );
    }
}

// Other settings of the context go the real way, before and after the plain one is known.
TEST_F( KnownSignatures, OtherSettingsAreNotKnown )
{
    std::string   text = message( "text" );
    Ptr<EVP_PKEY> pub  = quickKey( key( KeyKind::rsa ).get() );
    std::string   good = signatureOf( key( KeyKind::rsa ).get(), "SHA256", text );
    auto          pss  = [&] {
        Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
        EVP_PKEY_CTX   *settings = nullptr;
        EXPECT_EQ( EVP_DigestVerifyInit_ex( context.get(), &settings, "SHA256", quickContext(), nullptr, pub.get(), nullptr ), 1 );
        EXPECT_EQ( EVP_PKEY_CTX_set_rsa_padding( settings, RSA_PKCS1_PSS_PADDING ), 1 );
        return verifyIn( context.get(), good, text );
    };
    auto withParameters = [&] {
        Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
        OSSL_PARAM      parameters[] = { OSSL_PARAM_construct_utf8_string( OSSL_SIGNATURE_PARAM_PAD_MODE, const_cast<char *>( "pss" ), 0 ),
                 OSSL_PARAM_construct_end() };
        EXPECT_EQ( EVP_DigestVerifyInit_ex( context.get(), nullptr, "SHA256", quickContext(), nullptr, pub.get(), parameters ), 1 );
        return verifyIn( context.get(), good, text );
    };
    EXPECT_EQ( sameOutcome( pss ).result, 0 );
    EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", good, text ); } ).result, 1 );
    EXPECT_EQ( sameOutcome( pss ).result, 0 );
    EXPECT_EQ( sameOutcome( withParameters ).result, 0 );
    EXPECT_EQ( openssl::countKnownSignatures(), 1u );
}

// Values that the context gives, before and after a verification that was known.
TEST_F( KnownSignatures, TheContextGivesTheSameValues )
{
    for( KeyKind kind : kinds )
    {
        std::string   text = message( "text" );
        Ptr<EVP_PKEY> pub  = quickKey( key( kind ).get() );
        std::string   good = signatureOf( key( kind ).get(), "SHA256", text );
        std::string   values;
        auto          describe = [&] {
            values.clear();
            Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
            EVP_PKEY_CTX   *settings = nullptr;
            for( int step = 0; step < 2; step++ )
            {
                if( step == 0 )
                {
                    EXPECT_EQ( EVP_DigestVerifyInit_ex( context.get(), &settings, "SHA256", quickContext(), nullptr, pub.get(), nullptr ), 1 );
                }
                unsigned char identifier[200];
                char          name[100] = "";
                OSSL_PARAM    wanted[] = { OSSL_PARAM_construct_octet_string( OSSL_SIGNATURE_PARAM_ALGORITHM_ID, identifier, sizeof identifier ),
                       OSSL_PARAM_construct_utf8_string( OSSL_SIGNATURE_PARAM_DIGEST, name, sizeof name ), OSSL_PARAM_construct_end() };
                EXPECT_EQ( EVP_PKEY_CTX_get_params( settings, wanted ), 1 );
                values += std::string( (char *)identifier, wanted[0].return_size ) + name;
                for( const OSSL_PARAM *each = EVP_PKEY_CTX_settable_params( settings ); each && each->key; each++ )
                    values += each->key;
                values += std::to_string( verifyIn( context.get(), good, text ) );
            }
            return 1;
        };
        std::string wanted;
        {
            Shortcuts off( false );
            describe();
            wanted = values;
        }
        for( int time = 0; time < 3; time++ )
        {
            describe();
            EXPECT_EQ( values, wanted );
        }
    }
    ERR_clear_error();
}

// After a known signature, the context has the state in which the message is part of it.
TEST_F( KnownSignatures, TheContextCanBeUsedFurther )
{
    for( KeyKind kind : kinds )
    {
        std::string   first = message( "first" ), second = message( "second" );
        Ptr<EVP_PKEY> pub  = quickKey( key( kind ).get() );
        std::string   good = signatureOf( key( kind ).get(), "SHA256", first ), both = signatureOf( key( kind ).get(), "SHA256", first + second );
        auto          run = [&]( auto work ) {
            return sameOutcome( [&] {
                Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
                EXPECT_EQ( start( context.get(), pub.get(), "SHA256" ), 1 );
                return work( context.get() );
            } ).result;
        };
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) { return verifyIn( context, good, first ) + 2 * verifyIn( context, both, second ); } ), 3 );
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) { return verifyIn( context, good, first ) + 2 * verifyIn( context, good, first ); } ), 1 );
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) {
            int result = verifyIn( context, good, first );
            EXPECT_EQ( EVP_DigestVerifyUpdate( context, second.data(), second.size() ), 1 );
            return result + 2 * EVP_DigestVerifyFinal( context, (const unsigned char *)both.data(), both.size() );
        } ),
            3 );
        // A copy between the start and the verification, and one after it.
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) {
            Ptr<EVP_MD_CTX> copy( EVP_MD_CTX_new() );
            EXPECT_EQ( EVP_MD_CTX_copy_ex( copy.get(), context ), 1 );
            return verifyIn( copy.get(), good, first ) + 2 * verifyIn( context, good, first );
        } ),
            3 );
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) {
            Ptr<EVP_MD_CTX> copy( EVP_MD_CTX_new() );
            int             result = verifyIn( context, good, first );
            EXPECT_EQ( EVP_MD_CTX_copy_ex( copy.get(), context ), 1 );
            return result + 2 * verifyIn( copy.get(), both, second ) + 4 * verifyIn( context, both, second );
        } ),
            7 );
        // In pieces.
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) {
            EXPECT_EQ( EVP_DigestVerifyUpdate( context, first.data(), 5 ), 1 );
            EXPECT_EQ( EVP_DigestVerifyUpdate( context, first.data() + 5, first.size() - 5 ), 1 );
            return EVP_DigestVerifyFinal( context, (const unsigned char *)good.data(), good.size() );
        } ),
            1 );
        // The same context again, without a key: the digest begins again.
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) {
            int result = verifyIn( context, good, first );
            EXPECT_EQ( EVP_DigestVerifyInit_ex( context, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr ), 1 );
            return result + 2 * verifyIn( context, good, first );
        } ),
            3 );
        EXPECT_EQ( run( [&]( EVP_MD_CTX *context ) {
            EXPECT_EQ( EVP_DigestVerifyInit_ex( context, nullptr, "SHA384", quickContext(), nullptr, pub.get(), nullptr ), 1 );
            return verifyIn( context, good, first );
        } ),
            0 );
    }
    ERR_clear_error();
}

TEST_F( KnownSignatures, OtherOperationsAreThoseOfOpenssl )
{
    for( KeyKind kind : kinds )
    {
        std::string   text = message( "text" );
        Ptr<EVP_PKEY> pub  = quickKey( key( kind ).get() );
        std::string   good = signatureOf( key( kind ).get(), "SHA256", text );
        unsigned char digest[EVP_MAX_MD_SIZE];
        size_t        size = 0;
        EXPECT_EQ( EVP_Q_digest( nullptr, "SHA256", nullptr, text.data(), text.size(), digest, &size ), 1 );
        auto withContext = [&]( auto work ) {
            return sameOutcome( [&] {
                Ptr<EVP_PKEY_CTX> context( EVP_PKEY_CTX_new_from_pkey( quickContext(), pub.get(), nullptr ) );
                return work( context.get() );
            } ).result;
        };
        EXPECT_EQ( withContext( [&]( EVP_PKEY_CTX *context ) {
            EXPECT_EQ( EVP_PKEY_verify_init( context ), 1 );
            EXPECT_EQ( EVP_PKEY_CTX_set_signature_md( context, EVP_sha256() ), 1 );
            return EVP_PKEY_verify( context, (const unsigned char *)good.data(), good.size(), digest, size );
        } ),
            1 );
        // A public key cannot sign.
        withContext( [&]( EVP_PKEY_CTX *context ) {
            unsigned char out[1000];
            size_t        length = sizeof out;
            return EVP_PKEY_sign_init( context ) == 1 ? EVP_PKEY_sign( context, out, &length, digest, size ) : -20;
        } );
        int recovered = withContext( [&]( EVP_PKEY_CTX *context ) {
            unsigned char out[1000];
            size_t        length = sizeof out;
            if( EVP_PKEY_verify_recover_init( context ) != 1 )
                return -20;
            EVP_PKEY_CTX_set_signature_md( context, EVP_sha256() );
            int result = EVP_PKEY_verify_recover( context, out, &length, (const unsigned char *)good.data(), good.size() );
            return result == 1 ? (int)length : result;
        } );
        EXPECT_EQ( recovered > 0, kind == KeyKind::rsa );
    }
    EXPECT_EQ( openssl::countKnownSignatures(), 0u );
    ERR_clear_error();
}

// Keys of the same size are freed and made again, so that they often have the same address. The
// certificate's true signature is known, and only its own key verifies it.
TEST_F( KnownSignatures, DoNotDependOnTheAddressOfAKey )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        std::string text = message( "text" );
        std::string good = signatureOf( key( kind ).get(), "SHA256", text );
        for( int time = 0; time < 50; time++ )
        {
            EXPECT_EQ( verifyOnce( quickKey( key( kind ).get() ).get(), "SHA256", good, text ), 1 );
            EXPECT_EQ( verifyOnce( quickKey( key( kind, 1 ).get() ).get(), "SHA256", good, text ), 0 );
        }
        EXPECT_EQ( openssl::countKnownSignatures(), 1u );
        openssl::forgetKnownSignatures();
    }
    ERR_clear_error();
}

TEST_F( KnownSignatures, FollowAChangeOfTheKey )
{
    std::string   text = message( "text" );
    Ptr<EVP_PKEY> pub = quickKey( key( KeyKind::p256 ).get() ), other = quickKey( key( KeyKind::p256, 1 ).get() );
    std::string   good = signatureOf( key( KeyKind::p256 ).get(), "SHA256", text );
    EXPECT_EQ( verifyOnce( pub.get(), "SHA256", good, text ), 1 );
    unsigned char point[200];
    size_t        size = 0;
    EXPECT_EQ( EVP_PKEY_get_octet_string_param( other.get(), OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, point, sizeof point, &size ), 1 );
    EXPECT_EQ( EVP_PKEY_set_octet_string_param( pub.get(), OSSL_PKEY_PARAM_ENCODED_PUBLIC_KEY, point, size ), 1 );
    EXPECT_EQ( EVP_PKEY_eq( pub.get(), other.get() ), 1 );
    EXPECT_EQ( sameOutcome( [&] { return verifyOnce( pub.get(), "SHA256", good, text ); } ).result, 0 );
    ERR_clear_error();
}

TEST_F( KnownSignatures, WorkWithADuplicateOfAKey )
{
    for( KeyKind kind : kinds )
    {
        std::string   text = message( "text" );
        Ptr<EVP_PKEY> pub  = quickKey( key( kind ).get() );
        Ptr<EVP_PKEY> copy( EVP_PKEY_dup( pub.get() ) );
        ASSERT_TRUE( copy );
        std::string good = signatureOf( key( kind ).get(), "SHA256", text );
        pub.reset();
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( copy.get(), "SHA256", good, text ); } ).result, 1 );
        EXPECT_EQ( sameOutcome( [&] { return verifyOnce( copy.get(), "SHA256", good, message( "test" ) ); } ).result, 0 );
    }
}

TEST_F( KnownSignatures, RequestsAndRevocationListsVerifyAsBefore )
{
    for( KeyKind kind : kinds )
    {
        Ptr<X509_REQ> request( X509_REQ_new() );
        X509_REQ_set_pubkey( request.get(), key( kind ).get() );
        EXPECT_GT( X509_REQ_sign( request.get(), key( kind ).get(), EVP_sha256() ), 0 );
        Ptr<X509_CRL> crl( X509_CRL_new() );
        Ptr<X509>     issuer( X509_dup( chainOf( kind ).root.get() ) );
        X509_CRL_set_issuer_name( crl.get(), X509_get_subject_name( issuer.get() ) );
        X509_CRL_set1_lastUpdate( crl.get(), X509_get0_notBefore( issuer.get() ) );
        EXPECT_GT( X509_CRL_sign( crl.get(), key( kind ).get(), EVP_sha256() ), 0 );
        Ptr<EVP_PKEY> pub = quickKey( key( kind ).get() ), other = quickKey( key( kind, 1 ).get() );
        EXPECT_EQ( sameOutcome( [&] { return X509_REQ_verify( request.get(), pub.get() ); } ).result, 1 );
        EXPECT_LE( sameOutcome( [&] { return X509_REQ_verify( request.get(), other.get() ); } ).result, 0 );
        EXPECT_EQ( sameOutcome( [&] { return X509_CRL_verify( crl.get(), pub.get() ); } ).result, 1 );
        EXPECT_LE( sameOutcome( [&] { return X509_CRL_verify( crl.get(), other.get() ); } ).result, 0 );
    }
    EXPECT_EQ( openssl::countKnownSignatures(), 0u );
}

TEST_F( KnownSignatures, TwoIssuersWithOneNameAreToldApart )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        auto issuerWith = [&]( int number ) {
            return makeCertificate(
                { .subject = "CN=Issuer", .subjectKey = key( kind, number ), .extensions = { { "basicConstraints", "CA:TRUE" } } } );
        };
        Cert      first = issuerWith( 0 ), second = issuerWith( 1 );
        Cert      leaf    = makeCertificate( { .subject = "CN=Leaf", .subjectKey = key( kind, 2 ), .issuer = first, .issuerKey = key( kind, 0 ) } );
        Ptr<X509> theLeaf = quick( der( leaf ) ), theFirst = quick( der( first ) ), theSecond = quick( der( second ) );
        for( int time = 0; time < 2; time++ )
        {
            EXPECT_EQ( X509_verify( theLeaf.get(), X509_get0_pubkey( theFirst.get() ) ), 1 );
            EXPECT_EQ( X509_verify( theLeaf.get(), X509_get0_pubkey( theSecond.get() ) ), 0 );
        }
    }
    ERR_clear_error();
}

// Many valid signatures that come once, with one in between that comes again and again. If it does
// not come for a long time, it is forgotten, and known again after it came once.
TEST_F( KnownSignatures, AreBoundedAndAHotOneStays )
{
    Pkey          signer = key( KeyKind::p256 );
    Ptr<EVP_PKEY> pub    = quickKey( signer.get() );
    std::string   hot    = message( "hot" );
    std::string   good   = signatureOf( signer.get(), "SHA256", hot );
    int           number = 0;
    auto          flood  = [&]( int count ) {
        for( int end = number + count; number < end; number++ )
        {
            std::string text = message( std::to_string( number ) );
            EXPECT_EQ( verifyOnce( pub.get(), "SHA256", signatureOf( signer.get(), "SHA256", text ), text ), 1 );
        }
    };
    EXPECT_EQ( verifyOnce( pub.get(), "SHA256", good, hot ), 1 );
    EXPECT_EQ( openssl::countKnownSignatures(), 1u );
    for( int round = 0; round < 50; round++ )
    {
        flood( (int)openssl::mostKnownSignatures / 16 );
        EXPECT_TRUE( isKnown( KeyKind::p256, good, hot ) ) << round;
        EXPECT_LE( openssl::countKnownSignatures(), openssl::mostKnownSignatures );
    }
    EXPECT_GT( openssl::countKnownSignatures(), openssl::mostKnownSignatures * 9 / 10 );
    flood( 4 * (int)openssl::mostKnownSignatures );
    EXPECT_FALSE( isKnown( KeyKind::p256, good, hot ) );
    EXPECT_EQ( verifyOnce( pub.get(), "SHA256", good, hot ), 1 );
    EXPECT_TRUE( isKnown( KeyKind::p256, good, hot ) );
}

TEST_F( KnownSignatures, WorkInFourThreads )
{
    struct Case
    {
        Ptr<EVP_PKEY> pub, wrong;
        std::string   text, good;
    };
    std::vector<Case> cases;
    for( KeyKind kind : kinds )
    {
        for( int number = 0; number < 20; number++ )
        {
            std::string text = message( std::to_string( number ) );
            cases.push_back(
                { quickKey( key( kind ).get() ), quickKey( key( kind, 1 ).get() ), text, signatureOf( key( kind ).get(), "SHA256", text ) } );
        }
    }
    std::atomic<int>         wrong = 0;
    std::vector<std::thread> threads;
    for( unsigned thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&, thread] {
            for( unsigned round = 0; round < 200; round++ )
            {
                const Case &each = cases[( round * 7 + thread * 13 ) % cases.size()];
                wrong += verifyOnce( each.pub.get(), "SHA256", each.good, each.text ) != 1;
                if( round % 10 == thread )
                    wrong += verifyOnce( each.wrong.get(), "SHA256", each.good, each.text ) == 1;
                if( round % 50 == 49 && thread == 0 )
                    openssl::forgetKnownSignatures();
            }
            ERR_clear_error();
        } );
    }
    for( std::thread &each : threads )
        each.join();
    EXPECT_EQ( wrong, 0 );
}
