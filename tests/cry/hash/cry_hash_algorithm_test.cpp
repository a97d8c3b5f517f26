#include <cry/cry_hash_algorithm.h>
#include <cry/internal/cry_hash.h>

#include "hash/cry_hash_algorithm.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

TEST( CryHashAlgorithm, HasTheSizesAndOpensslNamesOfEveryDigest )
{
    const struct
    {
        PB_INT      alg;
        const char *opensslName;
        PB_INT      block, digest;
    } rows[] = { { 0, "MD5", 512, 128 }, { 1, "SHA1", 512, 160 }, { 2, "SHA2-224", 512, 224 }, { 3, "SHA2-256", 512, 256 },
        { 4, "SHA2-384", 1024, 384 }, { 5, "SHA2-512", 1024, 512 }, { 6, "SHA3-224", 1152, 224 }, { 7, "SHA3-256", 1088, 256 },
        { 8, "SHA3-384", 832, 384 }, { 9, "SHA3-512", 576, 512 } };
    for( const auto &row : rows )
    {
        EXPECT_STREQ( cry___HashAlgorithmOpensslDigestName( row.alg ), row.opensslName );
        EXPECT_EQ( cryHashAlgorithmBlockSizeBits( row.alg ), row.block ) << row.alg;
        EXPECT_EQ( cryHashAlgorithmDigestSizeBits( row.alg ), row.digest ) << row.alg;
    }
}

TEST( CryHashAlgorithm, FetchedDigestsAreTheOnesOpensslKnowsByThatName )
{
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        const EVP_MD *md = cry::digestOf( alg );
        ASSERT_NE( md, nullptr );
        EXPECT_TRUE( EVP_MD_is_a( md, cry___HashAlgorithmOpensslDigestName( alg ) ) );
        EXPECT_EQ( EVP_MD_get_size( md ) * 8, cryHashAlgorithmDigestSizeBits( alg ) );
        EXPECT_EQ( EVP_MD_get_block_size( md ) * 8, cryHashAlgorithmBlockSizeBits( alg ) );
    }
}

TEST( CryHashAlgorithm, BoundsOfTheRange )
{
    EXPECT_TRUE( CRY_HASH_ALGORITHM_OK( 0 ) );
    EXPECT_TRUE( CRY_HASH_ALGORITHM_OK( 9 ) );
    EXPECT_FALSE( CRY_HASH_ALGORITHM_OK( 10 ) );
    EXPECT_FALSE( CRY_HASH_ALGORITHM_OK( -1 ) );
}
