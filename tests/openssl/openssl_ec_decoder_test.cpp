// EC public keys that are made on kept groups are equal to those of OpenSSL's decoder, for every
// curve, and everything else has OpenSSL's results and errors.
#include "openssl_ec_decoder.hpp"

#include <cry/cry_hash_algorithm.h>
#include <openssl_module/internal/openssl_module.h>

#include "common/cry_ossl.hpp"
#include "support/shortcut_tests.hpp"
#include "support/signatures.hpp"
#include "support/text.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/decoder.h>
#include <openssl/ec.h>
#include <openssl/encoder.h>
#include <openssl/err.h>
#include <thread>

using namespace support;
using cry::ossl::Ptr;

namespace
{

std::string spkiOf( EVP_PKEY *key )
{
    unsigned char *der    = nullptr;
    int            length = i2d_PUBKEY( key, &der );
    std::string    out( (char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    return out;
}

OSSL_LIB_CTX *quickContext()
{
    std::string   spki = spkiOf( key( KeyKind::rsa ).get() );
    Ptr<EVP_PKEY> pub( openssl___TryParsePublicKeyFast( (const PB_BYTE *)spki.data(), (PB_INT)spki.size() ) );
    return pub ? openssl___ContextOf( pub.get() ) : nullptr;
}

Ptr<EVP_PKEY> decoded( const std::string &spki )
{
    const unsigned char *at = (const unsigned char *)spki.data();
    return Ptr<EVP_PKEY>( d2i_PUBKEY_ex( nullptr, &at, (long)spki.size(), quickContext(), nullptr ) );
}

// Everything that OpenSSL says about a key.
std::string describe( EVP_PKEY *key )
{
    if( !key )
        return "no key";
    std::string out  = hex( spkiOf( key ) );
    OSSL_PARAM *data = nullptr;
    for( int selection : { EVP_PKEY_KEY_PARAMETERS, EVP_PKEY_PUBLIC_KEY } )
    {
        EXPECT_EQ( EVP_PKEY_todata( key, selection, &data ), 1 );
        for( const OSSL_PARAM *each = data; each->key; each++ )
            out += std::string( "\n" ) + each->key + " " + std::to_string( each->data_type ) + " " +
                hex( std::string( (const char *)each->data, each->data_size ) );
        OSSL_PARAM_free( data );
    }
    for( const OSSL_PARAM *each = EVP_PKEY_gettable_params( key ); each && each->key; each++ )
    {
        unsigned char value[1000] = {};
        OSSL_PARAM    wanted[]    = { { each->key, each->data_type, value, sizeof value, OSSL_PARAM_UNMODIFIED }, OSSL_PARAM_construct_end() };
        if( each->data_type == OSSL_PARAM_INTEGER )
            wanted[0].data_size = sizeof( int );
        int got = EVP_PKEY_get_params( key, wanted );
        out += std::string( "\n" ) + each->key + " " + std::to_string( got ) + " ";
        if( got == 1 && OSSL_PARAM_modified( wanted ) )
            out += hex( std::string( (const char *)value, wanted[0].return_size ) );
    }
    char   group[80] = "";
    size_t length    = 0;
    EVP_PKEY_get_group_name( key, group, sizeof group, &length );
    out += std::string( "\n" ) + group;
    for( int number : { EVP_PKEY_get_id( key ), EVP_PKEY_get_bits( key ), EVP_PKEY_get_security_bits( key ), EVP_PKEY_get_size( key ),
             EVP_PKEY_get_ec_point_conv_form( key ), EVP_PKEY_get_field_type( key ), EVP_PKEY_can_sign( key ), EVP_PKEY_missing_parameters( key ) } )
        out += " " + std::to_string( number );
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    EXPECT_EQ( EVP_PKEY_print_public( bio.get(), key, 0, nullptr ), 1 );
    char *text = nullptr;
    long  size = BIO_get_mem_data( bio.get(), &text );
    out += "\n" + std::string( text, (size_t)size );
    Ptr<EVP_PKEY_CTX> check( EVP_PKEY_CTX_new_from_pkey( quickContext(), key, nullptr ) );
    out += "check " + std::to_string( EVP_PKEY_public_check( check.get() ) ) + std::to_string( EVP_PKEY_param_check( check.get() ) ) +
        std::to_string( EVP_PKEY_pairwise_check( check.get() ) );
    ERR_clear_error();
    return out;
}

int verify( EVP_PKEY *key, const std::string &signature, const std::string &text )
{
    Ptr<EVP_MD_CTX> context( EVP_MD_CTX_new() );
    EXPECT_EQ( EVP_DigestVerifyInit_ex( context.get(), nullptr, "SHA256", quickContext(), nullptr, key, nullptr ), 1 );
    return EVP_DigestVerify(
        context.get(), (const unsigned char *)signature.data(), signature.size(), (const unsigned char *)text.data(), text.size() );
}

// All curves that can be written by their name, except SM2, whose keys are of another kind.
std::vector<std::string> curves()
{
    std::vector<EC_builtin_curve> all( EC_get_builtin_curves( nullptr, 0 ) );
    EC_get_builtin_curves( all.data(), all.size() );
    std::vector<std::string> names;
    for( const EC_builtin_curve &each : all )
    {
        const ASN1_OBJECT *object = OBJ_nid2obj( each.nid );
        if( each.nid != NID_sm2 && object && OBJ_length( object ) > 0 )
            names.emplace_back( OBJ_nid2sn( each.nid ) );
    }
    return names;
}

class EcDecoder : public ShortcutTest
{
};

// The result and the errors with shortcuts off and on; on twice, because the first time may keep
// the group.
std::string sameBothWays( const std::string &spki )
{
    auto attempt = [&] {
        ERR_clear_error();
        Ptr<EVP_PKEY> key    = decoded( spki );
        std::string   errors = takeQueue();
        return describe( key.get() ) + "\n" + errors;
    };
    std::string wanted;
    {
        Shortcuts off( false );
        wanted = attempt();
    }
    for( int time = 0; time < 2; time++ )
        EXPECT_EQ( attempt(), wanted ) << hex( spki );
    return wanted;
}

}

TEST_F( EcDecoder, MakesTheSameKeysForEveryCurve )
{
    std::vector<std::string> all = curves();
    EXPECT_GT( all.size(), 3u );
    for( const std::string &curve : all )
    {
        Pkey          signer    = newEcKey( curve.c_str() );
        std::string   spki      = spkiOf( signer.get() );
        std::string   text      = "text";
        std::string   signature = plainSign( CRY_HASH_ALGORITHM_SHA2_256, signer.get(), text );
        Ptr<EVP_PKEY> original;
        {
            Shortcuts off( false );
            original = decoded( spki );
        }
        ASSERT_TRUE( original ) << curve;
        for( int time = 0; time < 2; time++ )
        {
            size_t        before = openssl::keysOnKeptGroups();
            Ptr<EVP_PKEY> made   = decoded( spki );
            ASSERT_TRUE( made ) << curve;
            if( time > 0 )
            {
                EXPECT_EQ( openssl::keysOnKeptGroups(), before + 1 ) << curve;
            }
            EXPECT_EQ( describe( made.get() ), describe( original.get() ) );
            EXPECT_EQ( spkiOf( made.get() ), spki );
            EXPECT_EQ( EVP_PKEY_eq( made.get(), original.get() ), 1 );
            EXPECT_EQ( EVP_PKEY_eq( original.get(), made.get() ), 1 );
            EXPECT_EQ( EVP_PKEY_eq( made.get(), signer.get() ), 1 );
            EXPECT_EQ( EVP_PKEY_eq( signer.get(), made.get() ), 1 );
            EXPECT_EQ( EVP_PKEY_parameters_eq( signer.get(), made.get() ), 1 );
            Ptr<EVP_PKEY> copy( EVP_PKEY_dup( made.get() ) );
            EXPECT_EQ( describe( copy.get() ), describe( original.get() ) );
            EXPECT_EQ( verify( made.get(), signature, text ), 1 ) << curve;
            EXPECT_EQ( verify( copy.get(), signature, text ), 1 ) << curve;
            EXPECT_EQ( verify( made.get(), signature, "other" ), verify( original.get(), signature, "other" ) );
            ERR_clear_error();
            // A change of the key's form does not reach the next key.
            EXPECT_EQ( EVP_PKEY_set_utf8_string_param( made.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, "compressed" ), 1 );
            EXPECT_NE( spkiOf( made.get() ), spki );
        }
    }
}

TEST_F( EcDecoder, LeavesOtherFormsToOpenssl )
{
    for( const char *format : { "compressed", "hybrid" } )
    {
        for( const char *curve : { "P-256", "P-521", "sect163k1" } )
        {
            Pkey signer = newEcKey( curve );
            sameBothWays( spkiOf( signer.get() ) );
            EXPECT_EQ( EVP_PKEY_set_utf8_string_param( signer.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, format ), 1 );
            size_t before = openssl::keysOnKeptGroups();
            EXPECT_NE( sameBothWays( spkiOf( signer.get() ) ).find( hex( format ) ), std::string::npos );
            EXPECT_EQ( openssl::keysOnKeptGroups(), before );
        }
    }
    sameBothWays( spkiOf( newEcKey( "P-256", "explicit" ).get() ) );
    sameBothWays( spkiOf( newEcKey( "SM2" ).get() ) );
    sameBothWays( spkiOf( key( KeyKind::rsa ).get() ) );
    ERR_clear_error();
}

// Every bit of a key changed once, shorter and longer input, and bytes that are no key.
TEST_F( EcDecoder, AgreesOnChangedKeys )
{
    int refused = 0, all = 0;
    for( const char *curve : { "P-256", "P-384", "P-521", "secp256k1", "brainpoolP320t1", "sect163k1" } )
    {
        std::string spki  = spkiOf( newEcKey( curve ).get() );
        auto        check = [&]( const std::string &input ) {
            all++;
            refused += sameBothWays( input ).starts_with( "no key" );
        };
        check( spki );
        size_t header = 30;
        for( size_t bit = 0; bit < spki.size() * 8; bit += bit < header * 8 ? 1 : 29 )
        {
            std::string changed = spki;
            changed[bit / 8]    = (char)( changed[bit / 8] ^ ( 1 << bit % 8 ) );
            check( changed );
        }
        for( size_t length = 0; length < spki.size(); length += 7 )
            check( spki.substr( 0, length ) );
        check( spki + '\0' );
        check( spki + spki );
        check( std::string( spki.size(), '\0' ) );
        check( std::string( 400, '\x30' ) );
        // The point at infinity, and one that is not on the curve.
        std::string point = spki;
        point.back()      = (char)( point.back() ^ 1 );
        check( point );
        check( std::string( "\x30\x15\x30\x10\x06\x07\x2a\x86\x48\xce\x3d\x02\x01\x06\x05\x2b\x81\x04\x00\x0a\x03\x02\x00\x00", 24 ) );
    }
    EXPECT_GT( all, 1500 );
    EXPECT_GT( refused, 1000 );
    EXPECT_LT( refused, all );
}

// The decoder takes exactly one key from its input.
TEST_F( EcDecoder, LeavesWhatFollowsTheKey )
{
    for( const char *curve : { "P-256", "P-521" } )
    {
        std::string first = spkiOf( newEcKey( curve ).get() ), second = spkiOf( newEcKey( curve ).get() );
        auto        read = [&] {
            std::string out;
            std::string both = first + second + "rest";
            Ptr<BIO>    bio( BIO_new_mem_buf( both.data(), (int)both.size() ) );
            for( int time = 0; time < 3; time++ )
            {
                EVP_PKEY         *key     = nullptr;
                OSSL_DECODER_CTX *context = OSSL_DECODER_CTX_new_for_pkey(
                    &key, "DER", "SubjectPublicKeyInfo", "EC", EVP_PKEY_PUBLIC_KEY, quickContext(), nullptr );
                int result = OSSL_DECODER_from_bio( context, bio.get() );
                out += std::to_string( result ) + " " + std::to_string( BIO_tell( bio.get() ) ) + " " + describe( key );
                OSSL_DECODER_CTX_free( context );
                EVP_PKEY_free( key );
            }
            return out + takeQueue();
        };
        std::string wanted;
        {
            Shortcuts off( false );
            wanted = read();
        }
        EXPECT_NE( wanted.find( hex( second ) ), std::string::npos );
        EXPECT_EQ( read(), wanted );
        EXPECT_EQ( read(), wanted );
    }
}

TEST_F( EcDecoder, WorksInFourThreads )
{
    std::vector<std::string> spkis;
    for( const char *curve : { "P-256", "P-384", "secp224r1", "brainpoolP256r1", "sect233k1" } )
        spkis.push_back( spkiOf( newEcKey( curve ).get() ) );
    std::atomic<int>         wrong = 0;
    std::vector<std::thread> threads;
    for( size_t thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&, thread] {
            for( size_t round = 0; round < 100; round++ )
            {
                const std::string &spki = spkis[( round + thread ) % spkis.size()];
                wrong += spkiOf( decoded( spki ).get() ) != spki;
            }
        } );
    }
    for( std::thread &each : threads )
        each.join();
    EXPECT_EQ( wrong, 0 );
}
