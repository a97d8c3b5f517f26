#include <openssl_module/internal/openssl_module.h>

#include "support/environment.hpp"
#include "support/text.hpp"

#include <cstdio>
#include <cstdlib>
#include <openssl/crypto.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/provider.h>
#include <openssl/x509v3.h>
#include <pb/pb_runtime.h>
#include <thread>

using namespace support;

namespace
{

std::string state() { return text( pb::adopt( opensslKeyDecodingContextState() ) ); }

const char *providerOf( const EVP_PKEY *pkey ) { return OSSL_PROVIDER_get0_name( EVP_PKEY_get0_provider( pkey ) ); }

std::string spkiOf( EVP_PKEY *pkey )
{
    unsigned char *der    = nullptr;
    int            length = i2d_PUBKEY( pkey, &der );
    std::string    out( (char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    return out;
}

std::string p256Spki()
{
    EVP_PKEY   *pkey = EVP_EC_gen( "P-256" );
    std::string spki = spkiOf( pkey );
    EVP_PKEY_free( pkey );
    return spki;
}

EVP_PKEY *fastPathPublic( const std::string &spki ) { return openssl___TryParsePublicKeyFast( (const PB_BYTE *)spki.data(), (PB_INT)spki.size() ); }

int addName( OSSL_PROVIDER *provider, void *names )
{
    *(std::string *)names += OSSL_PROVIDER_get0_name( provider );
    *(std::string *)names += ';';
    return 1;
}

// Runs in a process of its own, in which only the start of the libraries has used libcrypto.
[[noreturn]] void tellOfDefaultContext()
{
    std::string providers;
    OSSL_PROVIDER_do_all( nullptr, addName, &providers );
    std::fprintf( stderr, "before: %s\n", providers.c_str() );

    EVP_PKEY *pkey = fastPathPublic( p256Spki() );
    std::fprintf( stderr, "fast: %s\n", pkey ? providerOf( pkey ) : "none" );
    EVP_PKEY_free( pkey );

    providers.clear();
    OSSL_PROVIDER_do_all( nullptr, addName, &providers );
    std::fprintf( stderr, "after: %s\n", providers.c_str() );

    EVP_MD *md = EVP_MD_fetch( nullptr, "SHA2-256", nullptr );
    std::fprintf( stderr, "digest: %s\n", md ? OSSL_PROVIDER_get0_name( EVP_MD_get0_provider( md ) ) : "none" );
    EVP_MD_free( md );
    std::fprintf( stderr, "key-decoding provider in it: %d\n", OSSL_PROVIDER_available( nullptr, "cry-key-decoding" ) );
    std::fprintf( stderr, "fips: %d\n", EVP_default_properties_is_fips_enabled( nullptr ) );
    std::fprintf( stderr, "global: %d\n", OSSL_LIB_CTX_set0_default( nullptr ) == OSSL_LIB_CTX_get0_global_default() );
    std::fprintf( stderr, "errors: %lu\n", ERR_peek_error() );
    std::_Exit( 0 );
}

}

TEST( OpensslModule, NamesItself )
{
    const PB_MODULE_RECORD *record = pbModuleRecord( opensslModule() );
    EXPECT_STREQ( record->moduleName, "openssl" );
    EXPECT_STREQ( record->moduleDescription, "OpenSSL" );
    EXPECT_STREQ( record->moduleVersion, "0.2" );
    EXPECT_STREQ( record->dependencies, "pb" );
    EXPECT_EQ( text( pb::adopt( pbModuleVersion( opensslModule() ) ) ), "0.2" );
}

TEST( OpensslModule, TellsTheVersionOfTheLoadedLibrary )
{
    std::string version = text( pb::adopt( opensslVersion() ) );
    EXPECT_EQ( version, OpenSSL_version( OPENSSL_VERSION ) );
    EXPECT_TRUE( version.starts_with( "OpenSSL 3." ) ) << version;
}

TEST( OpensslModule, PassesItsSelfCheckAtTheStart )
{
    EXPECT_TRUE( opensslKeyDecodingContextUsed() );
    EXPECT_EQ( state(), "used" );
}

TEST( OpensslModule, SwitchesTheKeyDecodingContextOffAndOn )
{
    std::string spki = p256Spki();

    EVP_PKEY *pkey = fastPathPublic( spki );
    ASSERT_NE( pkey, nullptr );
    EXPECT_STREQ( providerOf( pkey ), "cry-key-decoding" );
    EVP_PKEY_free( pkey );

    EXPECT_TRUE( openssl___SetKeyDecodingContextUsed( PB_FALSE ) );
    EXPECT_FALSE( openssl___SetKeyDecodingContextUsed( PB_FALSE ) );
    EXPECT_FALSE( opensslKeyDecodingContextUsed() );
    EXPECT_EQ( state(), "not used: switched off" );
    EXPECT_EQ( fastPathPublic( spki ), nullptr );

    EXPECT_FALSE( openssl___SetKeyDecodingContextUsed( PB_TRUE ) );
    EXPECT_TRUE( openssl___SetKeyDecodingContextUsed( PB_TRUE ) );
    EXPECT_EQ( state(), "used" );
    pkey = fastPathPublic( spki );
    EXPECT_NE( pkey, nullptr );
    EVP_PKEY_free( pkey );
}

TEST( OpensslModule, ParsesInTheDefaultContextWhenSwitchedOff )
{
    EVP_PKEY *key  = EVP_EC_gen( "P-256" );
    X509     *x509 = X509_new();
    X509_set_version( x509, X509_VERSION_3 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509 ), 1 );
    X509_gmtime_adj( X509_getm_notBefore( x509 ), 0 );
    X509_gmtime_adj( X509_getm_notAfter( x509 ), 3600 );
    X509_set_pubkey( x509, key );
    ASSERT_GT( X509_sign( x509, key, EVP_sha256() ), 0 );
    unsigned char *der    = nullptr;
    int            length = i2d_X509( x509, &der );

    for( PB_BOOL used : { PB_TRUE, PB_FALSE } )
    {
        openssl___SetKeyDecodingContextUsed( used );
        X509 *parsed = openssl___TryParseCertificate( der, length );
        openssl___SetKeyDecodingContextUsed( PB_TRUE );
        ASSERT_NE( parsed, nullptr );
        EXPECT_STREQ( providerOf( X509_get0_pubkey( parsed ) ), used ? "cry-key-decoding" : "default" );
        EXPECT_EQ( X509_cmp( parsed, x509 ), 0 );
        X509_free( parsed );
    }
    OPENSSL_free( der );
    X509_free( x509 );
    EVP_PKEY_free( key );
}

TEST( OpensslModule, FetchesADigestOnce )
{
    const EVP_MD *first = openssl___Digest( "SHA2-256" );
    ASSERT_NE( first, nullptr );
    EXPECT_TRUE( EVP_MD_is_a( first, "SHA256" ) );
    EXPECT_STREQ( OSSL_PROVIDER_get0_name( EVP_MD_get0_provider( first ) ), "default" );
    EXPECT_EQ( openssl___Digest( "SHA2-256" ), first );
    EXPECT_NE( openssl___Digest( "SHA2-512" ), first );

    const EVP_MD            *seen[4] = {};
    std::vector<std::thread> threads;
    for( const EVP_MD *&each : seen )
        threads.emplace_back( [&each] { each = openssl___Digest( "SHA3-384" ); } );
    for( std::thread &thread : threads )
        thread.join();
    ASSERT_NE( seen[0], nullptr );
    for( const EVP_MD *each : seen )
        EXPECT_EQ( each, seen[0] );
}

TEST( OpensslModule, GivesNullForAnUnknownDigestWithoutTouchingTheErrors )
{
    ERR_clear_error();
    EXPECT_EQ( openssl___Digest( "no-such-digest" ), nullptr );
    EXPECT_EQ( ERR_peek_error(), 0u );
    EXPECT_EQ( openssl___Digest( "no-such-digest" ), nullptr );
    EXPECT_EQ( openssl___Digest( "" ), nullptr );
    EXPECT_EQ( ERR_peek_error(), 0u );

    ERR_raise( ERR_LIB_USER, 77 );
    EXPECT_EQ( openssl___Digest( "no-such-digest-either" ), nullptr );
    EXPECT_EQ( ERR_GET_REASON( ERR_get_error() ), 77 );
    EXPECT_EQ( ERR_get_error(), 0u );
}

// The digests are for the whole process. The default context of the first thread that asks must not
// change them. No other test uses this digest.
TEST( OpensslModule, FetchesADigestInTheProcessesDefaultContext )
{
    OSSL_LIB_CTX  *own      = OSSL_LIB_CTX_new();
    OSSL_PROVIDER *provider = OSSL_PROVIDER_load( own, "null" );
    OSSL_LIB_CTX  *before   = OSSL_LIB_CTX_set0_default( own );
    const EVP_MD  *first    = openssl___Digest( "BLAKE2S-256" );
    OSSL_LIB_CTX_set0_default( before );
    OSSL_PROVIDER_unload( provider );
    OSSL_LIB_CTX_free( own );
    EXPECT_NE( first, nullptr );
    EXPECT_NE( openssl___Digest( "BLAKE2S-256" ), nullptr );
    EXPECT_EQ( openssl___Digest( "BLAKE2S-256" ), first );
}

TEST( OpensslModule, KeepsTheCallersErrorsOnEveryFastPath )
{
    std::string spki = p256Spki();
    std::string bad  = spki;
    bad.back() ^= 1; // not on the curve
    for( const std::string &each : { spki, bad, std::string( "garbage" ) } )
    {
        ERR_clear_error();
        ERR_raise( ERR_LIB_USER, 78 );
        EVP_PKEY *pkey = fastPathPublic( each );
        EXPECT_EQ( pkey != nullptr, each == spki );
        EVP_PKEY_free( pkey );
        EXPECT_EQ( openssl___TryParsePrivateKeyFast( (const PB_BYTE *)each.data(), (PB_INT)each.size() ), nullptr );
        EXPECT_EQ( ERR_GET_REASON( ERR_get_error() ), 78 );
        EXPECT_EQ( ERR_get_error(), 0u );
    }
}

TEST( OpensslModule, KeepsDigestsAndContextThroughARestart )
{
    const EVP_MD *before = openssl___Digest( "SHA2-384" );
    std::string   spki   = p256Spki();
    EVP_PKEY     *pkey   = fastPathPublic( spki );
    ASSERT_NE( pkey, nullptr );
    pbRuntimeStop();
    EXPECT_EQ( spkiOf( pkey ), spki );
    startFamily();
    EXPECT_EQ( openssl___Digest( "SHA2-384" ), before );
    EXPECT_EQ( state(), "used" );
    EVP_PKEY *again = fastPathPublic( spki );
    ASSERT_NE( again, nullptr );
    EXPECT_EQ( EVP_PKEY_eq( pkey, again ), 1 );
    EXPECT_EQ( EVP_PKEY_get0_provider( pkey ), EVP_PKEY_get0_provider( again ) );
    EVP_PKEY_free( again );
    EVP_PKEY_free( pkey );
}

TEST( OpensslModule, LeavesTheDefaultContextAsItIs )
{
    GTEST_FLAG_SET( death_test_style, "threadsafe" );
    EXPECT_EXIT( tellOfDefaultContext(), testing::ExitedWithCode( 0 ),
        "before: default;\nfast: cry-key-decoding\nafter: default;\ndigest: default\n"
        "key-decoding provider in it: 0\nfips: 0\nglobal: 1\nerrors: 0\n" );
}

TEST( OpensslModule, OperationsWithAKeyBelongInTheContextItWasParsedIn )
{
    std::string spki  = p256Spki();
    EVP_PKEY   *fast  = fastPathPublic( spki );
    const auto *at    = (const unsigned char *)spki.data();
    EVP_PKEY   *plain = d2i_PUBKEY( nullptr, &at, (long)spki.size() ), *made = EVP_EC_gen( "P-256" ), *copy = EVP_PKEY_dup( fast );
    EVP_PKEY   *other = EVP_PKEY_Q_keygen( nullptr, nullptr, "ED25519" ), *empty = EVP_PKEY_new();
    ASSERT_NE( fast, nullptr );
    OSSL_LIB_CTX *context = openssl___ContextOf( fast );
    ASSERT_NE( context, nullptr );
    EXPECT_EQ( OSSL_PROVIDER_available( context, "cry-key-decoding" ), 1 );
    EXPECT_EQ( openssl___ContextOf( copy ), context );
    for( EVP_PKEY *each : { plain, made, other, empty } )
        EXPECT_EQ( openssl___ContextOf( each ), nullptr );

    // A key keeps its context if the fast paths are switched off.
    openssl___SetKeyDecodingContextUsed( PB_FALSE );
    EXPECT_EQ( openssl___ContextOf( fast ), context );
    openssl___SetKeyDecodingContextUsed( PB_TRUE );

    // It can be used in that context.
    EVP_PKEY_CTX *verify = EVP_PKEY_CTX_new_from_pkey( context, fast, nullptr );
    ASSERT_NE( verify, nullptr );
    EXPECT_EQ( EVP_PKEY_verify_init( verify ), 1 );
    EVP_PKEY_CTX_free( verify );
    for( EVP_PKEY *each : { fast, plain, made, copy, other, empty } )
        EVP_PKEY_free( each );
}

TEST( OpensslModule, TellsWhetherAPublicKeyIsCanonical )
{
    std::string spki = p256Spki();
    auto        is   = []( const std::string &der ) { return openssl___IsCanonicalPublicKey( (const PB_BYTE *)der.data(), (PB_INT)der.size() ); };
    EXPECT_TRUE( is( spki ) );
    EXPECT_FALSE( is( spki + "x" ) );
    EXPECT_FALSE( is( spki.substr( 0, spki.size() - 1 ) ) );
    EXPECT_FALSE( is( "" ) );
    std::string longer = spki;
    longer.insert( 1, 1, '\x81' );
    EXPECT_FALSE( is( longer ) );
    // The bytes decide, not the context.
    openssl___SetKeyDecodingContextUsed( PB_FALSE );
    EXPECT_TRUE( is( spki ) );
    openssl___SetKeyDecodingContextUsed( PB_TRUE );
}
