#include "pkey/cry_pkey_pkcs8.hpp"

#include <cry/internal/cry_pkey.h>

#include "cry/pkey/keys.hpp"

#include <set>

using namespace support;

namespace
{

constexpr PB_INT curveCount = CRY_PKEY_EC_NAMED_CURVE_SM2 + 1;

// The text without OpenSSL's encoders; empty if OpenSSL has to write it. OpenSSL's queue has one
// error before the call, and must have only this error after it.
std::string byHand( EVP_PKEY *pkey, int nid )
{
    takeErrors();
    raiseError();
    pb::Ref<CRY_PEM> made = cry::pkey::tryWriteNewEcKey( pkey, nid );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    return made ? textOf( made.get() ) : std::string();
}

// These curves have no object identifier, so OpenSSL writes their keys with explicit parameters.
bool isOakley( PB_INT curve ) { return curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 || curve == CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4; }

// The key with a private number on a curve. For a negative number the order is added.
Pkey keyOf( int nid, long number )
{
    EC_GROUP *group  = EC_GROUP_new_by_curve_name( nid );
    EC_POINT *point  = EC_POINT_new( group );
    BIGNUM   *secret = number < 0 ? BN_dup( EC_GROUP_get0_order( group ) ) : BN_new();
    EXPECT_EQ( number < 0 ? BN_sub_word( secret, (BN_ULONG)-number ) : BN_set_word( secret, (BN_ULONG)number ), 1 );
    EXPECT_EQ( EC_POINT_mul( group, point, secret, nullptr, nullptr, nullptr ), 1 );
    unsigned char   encoded[256];
    size_t          length = EC_POINT_point2oct( group, point, POINT_CONVERSION_UNCOMPRESSED, encoded, sizeof encoded, nullptr );
    OSSL_PARAM_BLD *build  = OSSL_PARAM_BLD_new();
    OSSL_PARAM_BLD_push_utf8_string( build, OSSL_PKEY_PARAM_GROUP_NAME, OBJ_nid2sn( nid ), 0 );
    OSSL_PARAM_BLD_push_BN( build, OSSL_PKEY_PARAM_PRIV_KEY, secret );
    OSSL_PARAM_BLD_push_octet_string( build, OSSL_PKEY_PARAM_PUB_KEY, encoded, length );
    OSSL_PARAM *params = OSSL_PARAM_BLD_to_param( build );
    // OpenSSL generates EC keys on SM2's curve, but does not make them from parameters.
    EVP_PKEY_CTX *ctx  = EVP_PKEY_CTX_new_from_name( nullptr, nid == NID_sm2 ? "SM2" : "EC", nullptr );
    EVP_PKEY     *pkey = nullptr;
    EXPECT_EQ( EVP_PKEY_fromdata_init( ctx ), 1 );
    EXPECT_EQ( EVP_PKEY_fromdata( ctx, &pkey, EVP_PKEY_KEYPAIR, params ), 1 ) << OBJ_nid2sn( nid ) << " " << number;
    EVP_PKEY_CTX_free( ctx );
    OSSL_PARAM_free( params );
    OSSL_PARAM_BLD_free( build );
    BN_free( secret );
    EC_POINT_free( point );
    EC_GROUP_free( group );
    return { pkey, EVP_PKEY_free };
}

}

TEST( CryPkeyPkcs8, WritesNewKeysOnEveryCurveByteForByteAsOpensslDoes )
{
    for( PB_INT curve = 0; curve < curveCount; curve++ )
    {
        int                   nid = cry___PkeyEcNamedCurveToOpensslNid( curve );
        std::set<std::string> seen;
        for( int round = 0; round < 25; round++ )
        {
            Pkey        pkey   = newEcKey( OBJ_nid2sn( nid ) );
            std::string wanted = pkcs8Text( pkey.get() );
            ASSERT_FALSE( wanted.empty() );
            EXPECT_EQ( byHand( pkey.get(), nid ), isOakley( curve ) ? "" : wanted ) << OBJ_nid2sn( nid );
            EXPECT_TRUE( seen.insert( wanted ).second ) << OBJ_nid2sn( nid );
        }
    }
}

TEST( CryPkeyPkcs8, WritesLeadingZerosOfThePrivateNumberAsOpensslDoes )
{
    for( PB_INT curve = 0; curve < curveCount; curve++ )
    {
        int nid = cry___PkeyEcNamedCurveToOpensslNid( curve );
        for( long number : { 1L, 2L, 0x7FL, 0x80L, 0xFFL, 0x100L, 0x010203L, 0x8000000000L, -1L, -2L, -0x10000L } )
        {
            Pkey pkey = keyOf( nid, number );
            ASSERT_TRUE( pkey );
            std::string wanted = pkcs8Text( pkey.get() );
            ASSERT_FALSE( wanted.empty() ) << OBJ_nid2sn( nid ) << " " << number;
            EXPECT_EQ( byHand( pkey.get(), nid ), isOakley( curve ) ? "" : wanted ) << OBJ_nid2sn( nid ) << " " << number;
        }
    }
}

TEST( CryPkeyPkcs8, TheNumberIsAsLongAsTheOrder )
{
    // P-256 with the private number 1: a sequence with the version, 32 bytes and the generator.
    std::string body = bodyOf( byHand( keyOf( NID_X9_62_prime256v1, 1 ).get(), NID_X9_62_prime256v1 ) );
    EXPECT_EQ( hex( body ),
        "308187020100301306072a8648ce3d020106082a8648ce3d030107046d306b0201010420" + std::string( 62, '0' ) +
            "01a14403420004"
            "6b17d1f2e12c4247f8bce6e563a440f277037d812deb33a0f4a13945d898c296"
            "4fe342e2fe1a7f9b8ee7eb4a7c0f9e162bce33576b315ececbb6406837bf51f5" );
}

TEST( CryPkeyPkcs8, ItsPemIsSensitiveAndIsReadAgain )
{
    for( const char *name : { "prime256v1", "secp112r1", "sect571r1", "brainpoolP512t1", "wap-wsg-idm-ecid-wtls1" } )
    {
        int              nid  = OBJ_sn2nid( name );
        Pkey             pkey = newEcKey( name );
        pb::Ref<CRY_PEM> made = cry::pkey::tryWriteNewEcKey( pkey.get(), nid );
        ASSERT_TRUE( made ) << name;
        EXPECT_EQ( text( pb::adopt( cryPemLabel( made.get() ) ) ), "PRIVATE KEY" );
        EXPECT_TRUE( pbBufferSensitive( pb::adopt( cryPemData( made.get() ) ).get() ) ) << name;
        EXPECT_TRUE( pbBufferSensitive( pb::adopt( cryPemEncode( made.get() ) ).get() ) ) << name;
        Pkey read = readBy( PEM_read_bio_PrivateKey, textOf( made.get() ) );
        ASSERT_TRUE( read ) << name;
        EXPECT_EQ( EVP_PKEY_eq( read.get(), pkey.get() ), 1 ) << name;
    }
}

TEST( CryPkeyPkcs8, WhatItCannotWriteIsLeftToOpenssl )
{
    // No identifier for the curve, no private number, no EC key, an empty key.
    Pkey p256 = newEcKey( "P-256" ), half = readBy( PEM_read_bio_PUBKEY, spkiText( p256.get() ) ), empty( EVP_PKEY_new(), EVP_PKEY_free );
    EXPECT_EQ( byHand( p256.get(), NID_undef ), "" );
    EXPECT_EQ( byHand( p256.get(), NID_ipsec3 ), "" );
    EXPECT_EQ( byHand( p256.get(), 1 << 30 ), "" );
    EXPECT_EQ( byHand( half.get(), NID_X9_62_prime256v1 ), "" );
    EXPECT_EQ( byHand( key( KeyKind::rsa ).get(), NID_X9_62_prime256v1 ), "" );
    EXPECT_EQ( byHand( key( KeyKind::ed25519 ).get(), NID_X9_62_prime256v1 ), "" );
    EXPECT_EQ( byHand( empty.get(), NID_X9_62_prime256v1 ), "" );
}

TEST( CryPkeyPkcs8, APointThatIsNotUncompressedIsLeftToOpenssl )
{
    for( const char *form : { "compressed", "hybrid" } )
    {
        Pkey pkey = newEcKey( "P-256" );
        ASSERT_EQ( EVP_PKEY_set_utf8_string_param( pkey.get(), OSSL_PKEY_PARAM_EC_POINT_CONVERSION_FORMAT, form ), 1 ) << form;
        EXPECT_EQ( byHand( pkey.get(), NID_X9_62_prime256v1 ), "" ) << form;
    }
}
