#include <cry/cry_hash.h>
#include <cry/internal/cry_hash.h>

#include "support/text.hpp"

#include <atomic>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <thread>

using namespace support;

namespace
{

constexpr PB_INT algorithms = CRY_HASH_ALGORITHM_SHA3_512 + 1;

// libcrypto's own digests, found in another way than the module finds them.
const EVP_MD *evp( PB_INT alg )
{
    const EVP_MD *mds[] = { EVP_md5(), EVP_sha1(), EVP_sha224(), EVP_sha256(), EVP_sha384(), EVP_sha512(), EVP_sha3_224(), EVP_sha3_256(),
        EVP_sha3_384(), EVP_sha3_512() };
    return mds[alg];
}

std::string evpDigest( PB_INT alg, const std::string &data )
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int  length = 0;
    EXPECT_TRUE( EVP_Digest( data.data(), data.size(), digest, &length, evp( alg ), nullptr ) );
    return { (const char *)digest, length };
}

std::string pattern( size_t size )
{
    std::string data( size, 0 );
    uint32_t    state = 12345;
    for( char &byte : data )
        byte = (char)( ( state = state * 1664525u + 1013904223u ) >> 24 );
    return data;
}

std::string computed( PB_INT alg, const std::string &data ) { return bytes( pb::adopt( cryHashTryCompute( alg, buf( data ).get() ) ) ); }

pb::Ref<CRY_HASH> started( PB_INT alg ) { return pb::adopt( cryHashTryCreate( alg ) ); }
std::string       finished( const pb::Ref<CRY_HASH> &hash ) { return bytes( pb::adopt( cryHashFinal( hash.get() ) ) ); }

// The digest after one update.
template<class Update>
std::string updated( PB_INT alg, Update update )
{
    pb::Ref<CRY_HASH> hash = started( alg );
    update( hash.get() );
    return finished( hash );
}

}

TEST( CryHash, KnowsThePublishedDigestsOfAbc )
{
    const char *digests[algorithms] = { "900150983cd24fb0d6963f7d28e17f72", "a9993e364706816aba3e25717850c26c9cd0d89d",
        "23097d223405d8228642a477bda255b32aadbce4bda0b3f7e36c9da7", "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad",
        "cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7",
        "ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d4423643ce80e2a9ac94fa54ca49f",
        "e642824c3f8cf24ad09234ee7d3c766fc9a3a5168d0c94ad73b46fdf", "3a985da74fe225b2045c172d6bd390bd855f086e3e9d525b46bfe24511431532",
        "ec01498288516fc926459f58e2c6ad8df9b473cb0fc08c2596da7cf0e49be4b298d88cea927ac7f539f1edf228376d25",
        "b751850b1a57168a5693cd924b6b096e08f621827444f70d884f5d0240d2712e10e116e9192af3c91a7ec57647e3934057340b4cf408d5a56592f8274eec53f0" };
    for( PB_INT alg = 0; alg < algorithms; alg++ )
        EXPECT_EQ( hex( computed( alg, "abc" ) ), digests[alg] ) << alg;
}

TEST( CryHash, OneShotIncrementalAndLibcryptoAgreeAtEverySize )
{
    std::vector<size_t> sizes;
    for( size_t size = 0; size <= 300; size++ )
        sizes.push_back( size );
    for( size_t size : { 1023, 1024, 1025, 4096, 65535, 65536, 1048575, 1048576, 1048577, 2097152, 2097153 } )
        sizes.push_back( size );
    const std::string all = pattern( sizes.back() );
    for( PB_INT alg = 0; alg < algorithms; alg++ )
    {
        for( size_t size : sizes )
        {
            std::string       data     = all.substr( 0, size );
            std::string       expected = evpDigest( alg, data );
            pb::Ref<CRY_HASH> hash     = started( alg );
            // Pieces that reach the ends of blocks at many different places.
            for( size_t at = 0, piece = 1; at < size; at += piece, piece = piece * 3 % 9973 + 1 )
                cryHashUpdateBytes( hash.get(), (const PB_BYTE *)data.data() + at, (PB_INT)std::min( piece, size - at ) );
            ASSERT_EQ( hex( finished( hash ) ), hex( expected ) ) << alg << " " << size;
            ASSERT_EQ( hex( computed( alg, data ) ), hex( expected ) ) << alg << " " << size;
            ASSERT_EQ( (PB_INT)expected.size() * 8, cryHashAlgorithmDigestSizeBits( alg ) );
        }
    }
}

TEST( CryHash, BufferOverTwoMegabytesIsFedInPiecesWithTheSameDigest )
{
    std::string data = pattern( 2097153 );
    for( PB_INT alg = 0; alg < algorithms; alg++ )
        EXPECT_EQ( hex( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdate( hash, buf( data ).get() ); } ) ), hex( evpDigest( alg, data ) ) ) << alg;
}

TEST( CryHash, EmptyMessageHasItsDigestWithAndWithoutUpdates )
{
    constexpr char empty[] = "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855";
    EXPECT_EQ( hex( computed( CRY_HASH_ALGORITHM_SHA2_256, "" ) ), empty );
    EXPECT_EQ( hex( updated( CRY_HASH_ALGORITHM_SHA2_256, []( CRY_HASH * ) {} ) ), empty );
    EXPECT_EQ( hex( updated( CRY_HASH_ALGORITHM_SHA2_256, []( CRY_HASH *hash ) { cryHashUpdateBytes( hash, nullptr, 0 ); } ) ), empty );
    EXPECT_EQ( hex( updated( CRY_HASH_ALGORITHM_SHA2_256, []( CRY_HASH *hash ) { cryHashUpdate( hash, buf( "" ).get() ); } ) ), empty );
}

TEST( CryHash, ByteByByteIsTheSameMessage )
{
    std::string data = pattern( 700 );
    for( PB_INT alg = 0; alg < algorithms; alg++ )
    {
        std::string digest = updated( alg, [&]( CRY_HASH *hash ) {
            for( char byte : data )
                cryHashUpdateByte( hash, (PB_BYTE)byte );
        } );
        EXPECT_EQ( hex( digest ), hex( evpDigest( alg, data ) ) ) << alg;
    }
}

TEST( CryHash, RangesFeedWhatTheirNamesSay )
{
    const std::string  text = "0123456789";
    pb::Ref<PB_BUFFER> data = buf( text );
    constexpr PB_INT   alg  = CRY_HASH_ALGORITHM_SHA1;
    for( PB_INT offset = 0; offset <= 10; offset++ )
    {
        for( PB_INT count = 0; offset + count <= 10; count++ )
        {
            std::string inner = text.substr( (size_t)offset, (size_t)count );
            std::string outer = text.substr( 0, (size_t)offset ) + text.substr( (size_t)( offset + count ) );
            EXPECT_EQ( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateInner( hash, data.get(), offset, count ); } ), evpDigest( alg, inner ) );
            EXPECT_EQ( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateOuter( hash, data.get(), offset, count ); } ), evpDigest( alg, outer ) );
        }
        std::string leading = text.substr( 0, (size_t)offset ), trailing = text.substr( 10 - (size_t)offset );
        EXPECT_EQ( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateLeading( hash, data.get(), offset ); } ), evpDigest( alg, leading ) );
        EXPECT_EQ( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateTrailing( hash, data.get(), offset ); } ), evpDigest( alg, trailing ) );
    }
}

TEST( CryHash, OuterOfEverythingHashesNothingAndOfNothingHashesAll )
{
    pb::Ref<PB_BUFFER> data = buf( "message digest" );
    constexpr PB_INT   alg  = CRY_HASH_ALGORITHM_MD5;
    EXPECT_EQ( hex( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateOuter( hash, data.get(), 0, 14 ); } ) ), "d41d8cd98f00b204e9800998ecf8427e" );
    EXPECT_EQ( hex( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateOuter( hash, data.get(), 5, 0 ); } ) ), "f96b697d7cb7938d525a2f31aaf161d0" );
    EXPECT_EQ( hex( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateTrailing( hash, data.get(), 14 ); } ) ), "f96b697d7cb7938d525a2f31aaf161d0" );
    EXPECT_EQ( hex( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdateTrailing( hash, data.get(), 0 ); } ) ), "d41d8cd98f00b204e9800998ecf8427e" );
}

TEST( CryHash, UpdatesLeaveTheBufferToItsOtherHolders )
{
    pb::Ref<PB_BUFFER> data = buf( "shared" );
    updated( CRY_HASH_ALGORITHM_SHA1, [&]( CRY_HASH *hash ) { cryHashUpdate( hash, data.get() ); } );
    EXPECT_FALSE( pbObjIsShared( data.obj() ) );
    EXPECT_EQ( bytes( data ), "shared" );
}

TEST( CryHash, FinalIsRememberedAndYieldsAFreshBuffer )
{
    pb::Ref<CRY_HASH> hash = started( CRY_HASH_ALGORITHM_SHA3_384 );
    EXPECT_FALSE( cry___HashIsFinal( hash.get() ) );
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashFinal( hash.get() ) );
    EXPECT_TRUE( cry___HashIsFinal( hash.get() ) );
    EXPECT_EQ( pbBufferLength( digest.get() ), 48 );
    EXPECT_FALSE( pbObjIsShared( digest.obj() ) );
}

TEST( CryHash, HashesAreComparedByAddress )
{
    pb::Ref<CRY_HASH> a = started( CRY_HASH_ALGORITHM_MD5 ), b = started( CRY_HASH_ALGORITHM_MD5 );
    EXPECT_TRUE( cryHashEquals( a.get(), a.get() ) );
    EXPECT_FALSE( cryHashEquals( a.get(), b.get() ) );
    EXPECT_EQ( cryHashCompare( a.get(), b.get() ) < 0, cryHashCompare( b.get(), a.get() ) > 0 );
    EXPECT_NE( cryHashCompare( a.get(), b.get() ), 0 );
    std::string text = support::text( pb::adopt( cryHashToString( a.get() ) ) );
    EXPECT_EQ( text.substr( 0, 11 ), "CRY_HASH(0x" ) << text;
    EXPECT_STREQ( pbSortName( cryHashSort() ), "CRY_HASH" );
    EXPECT_EQ( cryHashFrom( a.obj() ), a.get() );
    EXPECT_EQ( cryHashFrom( nullptr ), nullptr );
    EXPECT_EQ( cryHashObj( a.get() ), a.obj() );
}

TEST( CryHash, DigestsOfSecretsAreTheSameAndDoNotDisturbOthers )
{
    pb::Ref<PB_BUFFER> open = buf( "a secret" ), secret = buf( "a secret" );
    pbBufferSetSensitive( secret.handle() );
    for( PB_INT alg = 0; alg < algorithms; alg++ )
    {
        std::string expected = hex( evpDigest( alg, "a secret" ) );
        EXPECT_EQ( hex( bytes( pb::adopt( cryHashTryCompute( alg, open.get() ) ) ) ), expected );
        EXPECT_EQ( hex( bytes( pb::adopt( cryHashTryCompute( alg, secret.get() ) ) ) ), expected );
        EXPECT_EQ( hex( bytes( pb::adopt( cryHashTryCompute( alg, open.get() ) ) ) ), expected );
        EXPECT_EQ( hex( updated( alg, [&]( CRY_HASH *hash ) { cryHashUpdate( hash, secret.get() ); } ) ), expected );
    }
    EXPECT_TRUE( pbBufferSensitive( secret.get() ) );
    EXPECT_FALSE( pbBufferSensitive( open.get() ) );
}

TEST( CryHash, OneShotDigestsOnManyThreadsDoNotMix )
{
    constexpr unsigned       threads = 24; // more than there are places for spare contexts
    std::atomic<unsigned>    wrong{ 0 };
    std::vector<std::thread> running;
    for( unsigned number = 0; number < threads; number++ )
    {
        running.emplace_back( [number, &wrong] {
            std::string data = pattern( 100 + 37 * number );
            std::string expected[algorithms];
            for( PB_INT alg = 0; alg < algorithms; alg++ )
                expected[alg] = evpDigest( alg, data );
            for( int round = 0; round < 200; round++ )
            {
                PB_INT alg = ( round + number ) % algorithms;
                wrong += computed( alg, data ) != expected[alg];
            }
        } );
    }
    for( std::thread &thread : running )
        thread.join();
    EXPECT_EQ( wrong.load(), 0u );
}
