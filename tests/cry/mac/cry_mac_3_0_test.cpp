#include <cry/cry_mac.h>
#include <gtest/gtest.h>
#include <openssl/evp.h>
#include <openssl/hmac.h>
#include <thread>

#include "support/text.hpp"

using namespace support;

namespace
{

constexpr const char *opensslNames[] = { "MD5", "SHA1", "SHA2-224", "SHA2-256", "SHA2-384", "SHA2-512", "SHA3-224", "SHA3-256", "SHA3-384",
    "SHA3-512" };

std::string plainHmac( PB_INT alg, const std::string &key, const std::string &data )
{
    unsigned char out[EVP_MAX_MD_SIZE];
    size_t        length = 0;
    EXPECT_NE( EVP_Q_mac( nullptr, "HMAC", nullptr, opensslNames[alg], nullptr, key.data(), key.size(), (const unsigned char *)data.data(),
                   data.size(), out, sizeof out, &length ),
        nullptr );
    return { (const char *)out, length };
}

std::string finalOf( const pb::Ref<CRY_MAC> &mac ) { return bytes( pb::adopt( cryMacFinal( mac.get() ) ) ); }

std::string pattern( size_t length )
{
    std::string text;
    for( size_t index = 0; index < length; index++ )
        text += (char)( index * 37 + 11 );
    return text;
}

}

TEST( CryMac, IsWhatPlainOpensslGivesForEveryAlgorithmAndLength )
{
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
        for( size_t keyLength : { 0u, 1u, 20u, 64u, 65u, 128u, 129u, 144u, 145u, 1000u } )
            for( size_t length : { 0u, 1u, 63u, 64u, 1000u } )
            {
                std::string        key = pattern( keyLength ), data = pattern( length );
                pb::Ref<PB_BUFFER> mac = pb::adopt( cryMacTryComputeHmac( alg, buf( key ).get(), buf( data ).get() ) );
                ASSERT_TRUE( mac );
                EXPECT_EQ( hex( bytes( mac ) ), hex( plainHmac( alg, key, data ) ) ) << alg << " " << keyLength << " " << length;
                EXPECT_EQ( pbBufferBitLength( mac.get() ), cryHashAlgorithmDigestSizeBits( alg ) );
            }
}

TEST( CryMac, TakesRangesAndBytes )
{
    std::string        key = "key", text = pattern( 300 );
    pb::Ref<PB_BUFFER> keyBuf = buf( key ), data = buf( text );
    PB_INT             alg  = CRY_HASH_ALGORITHM_SHA2_256;
    auto               made = [&] { return pb::adopt( cryMacTryCreateHmac( alg, keyBuf.get() ) ); };

    pb::Ref<CRY_MAC> mac = made();
    cryMacUpdateInner( mac.get(), data.get(), 10, 20 );
    EXPECT_EQ( finalOf( mac ), plainHmac( alg, key, text.substr( 10, 20 ) ) );
    mac = made();
    cryMacUpdateOuter( mac.get(), data.get(), 10, 20 );
    EXPECT_EQ( finalOf( mac ), plainHmac( alg, key, text.substr( 0, 10 ) + text.substr( 30 ) ) );
    mac = made();
    cryMacUpdateOuter( mac.get(), data.get(), 0, 300 );
    EXPECT_EQ( finalOf( mac ), plainHmac( alg, key, "" ) );
    mac = made();
    cryMacUpdateLeading( mac.get(), data.get(), 5 );
    cryMacUpdateTrailing( mac.get(), data.get(), 7 );
    EXPECT_EQ( finalOf( mac ), plainHmac( alg, key, text.substr( 0, 5 ) + text.substr( 293 ) ) );
    mac = made();
    for( char c : text )
        cryMacUpdateByte( mac.get(), (PB_BYTE)c );
    EXPECT_EQ( finalOf( mac ), plainHmac( alg, key, text ) );
}

// The MAC of a message in pieces. The pieces end at each of `ends` and at the end of the message.
static std::string macOfPieces( PB_INT alg, const std::string &key, const std::string &message, const std::vector<size_t> &ends )
{
    pb::Ref<CRY_MAC> mac   = pb::adopt( cryMacTryCreateHmac( alg, buf( key ).get() ) );
    size_t           begin = 0;
    for( size_t end : ends )
    {
        cryMacUpdate( mac.get(), buf( message.substr( begin, end - begin ) ).get() );
        begin = end;
    }
    cryMacUpdateBytes( mac.get(), (const PB_BYTE *)message.data() + begin, (PB_INT)( message.size() - begin ) );
    return finalOf( mac );
}

TEST( CryMac, IsTheSameForEverySplittingOfAMessage )
{
    std::string key = pattern( 20 ), message = pattern( 9 );
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        std::string wanted = plainHmac( alg, key, message );
        // Each bit stands for a place between two bytes.
        for( unsigned splitting = 0; splitting < 1u << ( message.size() - 1 ); splitting++ )
        {
            std::vector<size_t> ends;
            for( size_t place = 1; place < message.size(); place++ )
            {
                if( splitting >> ( place - 1 ) & 1 )
                    ends.push_back( place );
            }
            ASSERT_EQ( hex( macOfPieces( alg, key, message, ends ) ), hex( wanted ) ) << alg << " " << splitting;
        }
    }
}

TEST( CryMac, IsTheSameWhereverALongerMessageIsSplit )
{
    // More than two blocks of every algorithm.
    std::string key = pattern( 200 ), message = pattern( 300 );
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        std::string wanted = plainHmac( alg, key, message );
        for( size_t end = 0; end <= message.size(); end++ )
            ASSERT_EQ( hex( macOfPieces( alg, key, message, { end, ( end + message.size() ) / 2 } ) ), hex( wanted ) ) << alg << " " << end;
    }
}

TEST( CryMac, FeedsLongDataInPieces )
{
    std::string key = "key", text = pattern( 2097153 );
    EXPECT_EQ( bytes( pb::adopt( cryMacTryComputeHmac( CRY_HASH_ALGORITHM_SHA2_512, buf( key ).get(), buf( text ).get() ) ) ),
        plainHmac( CRY_HASH_ALGORITHM_SHA2_512, key, text ) );
}

TEST( CryMac, ObjectsDoNotDisturbEachOther )
{
    pb::Ref<CRY_MAC> a = pb::adopt( cryMacTryCreateHmac( CRY_HASH_ALGORITHM_SHA1, buf( "a" ).get() ) );
    pb::Ref<CRY_MAC> b = pb::adopt( cryMacTryCreateHmac( CRY_HASH_ALGORITHM_SHA1, buf( "b" ).get() ) );
    cryMacUpdate( a.get(), buf( "x" ).get() );
    cryMacUpdate( b.get(), buf( "y" ).get() );
    EXPECT_EQ( finalOf( a ), plainHmac( CRY_HASH_ALGORITHM_SHA1, "a", "x" ) );
    EXPECT_EQ( finalOf( b ), plainHmac( CRY_HASH_ALGORITHM_SHA1, "b", "y" ) );
}

TEST( CryMac, IsComputedOnSeveralThreadsAtOnce )
{
    std::vector<std::thread> threads;
    std::atomic<int>         wrong{ 0 };
    for( int thread = 0; thread < 4; thread++ )
        threads.emplace_back( [&wrong, thread] {
            std::string key = pattern( (size_t)thread + 1 ), wanted = plainHmac( thread, key, "data" );
            for( int round = 0; round < 200; round++ )
                wrong += bytes( pb::adopt( cryMacTryComputeHmac( thread, buf( key ).get(), buf( "data" ).get() ) ) ) != wanted;
        } );
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( wrong, 0 );
}
