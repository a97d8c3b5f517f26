// Keys of unusual kinds, and the results of plain OpenSSL for texts of keys.
#pragma once

#include "support/certificates.hpp"
#include "support/signatures.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/err.h>
#include <openssl/param_build.h>
#include <openssl/pem.h>

namespace support
{

inline std::string written( auto write )
{
    BIO        *bio    = BIO_new( BIO_s_mem() );
    int         done   = write( bio );
    char       *text   = nullptr;
    long        length = BIO_get_mem_data( bio, &text );
    std::string out( done == 1 ? text : "", done == 1 ? (size_t)length : 0 );
    BIO_free( bio );
    return out;
}

// Empty if it cannot be written.
inline std::string spkiText( EVP_PKEY *pkey )
{
    return written( [&]( BIO *bio ) { return PEM_write_bio_PUBKEY( bio, pkey ); } );
}

// The bytes in the one block of a text.
inline std::string bodyOf( const std::string &text )
{
    pb::Ref<CRY_PEM> block = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
    EXPECT_TRUE( block ) << text;
    return block ? bytes( pb::adopt( cryPemData( block.get() ) ) ) : std::string();
}

inline std::string spkiOf( EVP_PKEY *pkey ) { return bodyOf( spkiText( pkey ) ); }

// The text of a block with LF for CR LF, as OpenSSL writes it.
inline std::string textOf( CRY_PEM *pem )
{
    std::string text;
    for( char c : bytes( pb::adopt( cryPemEncode( pem ) ) ) )
    {
        if( c != '\r' )
            text += c;
    }
    return text;
}

inline Pkey readBy( EVP_PKEY *( *read )(BIO *, EVP_PKEY **, pem_password_cb *, void *), const std::string &text )
{
    BIO *bio = BIO_new_mem_buf( text.data(), (int)text.size() );
    Pkey pkey( read(
                   bio, nullptr, []( char *, int, int, void * ) { return 0; }, nullptr ),
        EVP_PKEY_free );
    BIO_free( bio );
    return pkey;
}

// The text that OpenSSL writes for the key that it reads from a text, and the errors that it
// leaves. Empty if it cannot read or write the key.
inline std::string publicByOpenssl( const std::string &text, std::vector<unsigned long> &errors )
{
    Pkey        pkey = readBy( PEM_read_bio_PUBKEY, text );
    std::string out  = pkey ? spkiText( pkey.get() ) : std::string();
    errors           = takeErrors();
    return out;
}

inline std::string privateByOpenssl( const std::string &text, std::vector<unsigned long> &errors )
{
    Pkey        pkey = readBy( PEM_read_bio_PrivateKey, text );
    std::string out  = pkey ? pkcs8Text( pkey.get() ) : std::string();
    errors           = takeErrors();
    return out;
}

inline Pkey newKey( const char *type ) { return { EVP_PKEY_Q_keygen( nullptr, nullptr, type ), EVP_PKEY_free }; }

inline Pkey newSm2Key() { return newKey( "SM2" ); }

// A key on a curve that has no name: P-256 with another generator.
inline Pkey newUnnamedCurveKey()
{
    EC_GROUP *named = EC_GROUP_new_by_curve_name( NID_X9_62_prime256v1 );
    EC_POINT *twice = EC_POINT_new( named );
    BIGNUM   *p = BN_new(), *a = BN_new(), *b = BN_new(), *one = BN_new();
    BN_one( one );
    EXPECT_EQ( EC_GROUP_get_curve( named, p, a, b, nullptr ), 1 );
    EXPECT_EQ( EC_POINT_dbl( named, twice, EC_GROUP_get0_generator( named ), nullptr ), 1 );
    unsigned char   generator[65];
    OSSL_PARAM_BLD *build = OSSL_PARAM_BLD_new();
    EXPECT_EQ( EC_POINT_point2oct( named, twice, POINT_CONVERSION_UNCOMPRESSED, generator, sizeof generator, nullptr ), sizeof generator );
    OSSL_PARAM_BLD_push_utf8_string( build, OSSL_PKEY_PARAM_EC_FIELD_TYPE, SN_X9_62_prime_field, 0 );
    OSSL_PARAM_BLD_push_BN( build, OSSL_PKEY_PARAM_EC_P, p );
    OSSL_PARAM_BLD_push_BN( build, OSSL_PKEY_PARAM_EC_A, a );
    OSSL_PARAM_BLD_push_BN( build, OSSL_PKEY_PARAM_EC_B, b );
    OSSL_PARAM_BLD_push_BN( build, OSSL_PKEY_PARAM_EC_ORDER, EC_GROUP_get0_order( named ) );
    OSSL_PARAM_BLD_push_BN( build, OSSL_PKEY_PARAM_EC_COFACTOR, one );
    OSSL_PARAM_BLD_push_octet_string( build, OSSL_PKEY_PARAM_EC_GENERATOR, generator, sizeof generator );
    OSSL_PARAM   *params = OSSL_PARAM_BLD_to_param( build );
    EVP_PKEY_CTX *ctx    = EVP_PKEY_CTX_new_from_name( nullptr, "EC", nullptr );
    EVP_PKEY     *group = nullptr, *pkey = nullptr;
    EXPECT_EQ( EVP_PKEY_fromdata_init( ctx ), 1 );
    EXPECT_EQ( EVP_PKEY_fromdata( ctx, &group, EVP_PKEY_KEY_PARAMETERS, params ), 1 );
    EVP_PKEY_CTX *generate = EVP_PKEY_CTX_new_from_pkey( nullptr, group, nullptr );
    EXPECT_EQ( EVP_PKEY_keygen_init( generate ), 1 );
    EXPECT_EQ( EVP_PKEY_generate( generate, &pkey ), 1 );
    EVP_PKEY_CTX_free( generate );
    EVP_PKEY_CTX_free( ctx );
    EVP_PKEY_free( group );
    OSSL_PARAM_free( params );
    OSSL_PARAM_BLD_free( build );
    for( BIGNUM *number : { p, a, b, one } )
        BN_free( number );
    EC_POINT_free( twice );
    EC_GROUP_free( named );
    return { pkey, EVP_PKEY_free };
}

}
