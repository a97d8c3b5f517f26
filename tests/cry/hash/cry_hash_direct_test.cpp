#include "hash/cry_hash_direct.hpp"

#include <cry/cry_hash.h>
#include <cry/cry_mac.h>

#include "hash/cry_hash_algorithm.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/evp.h>

using namespace support;

namespace
{

constexpr PB_INT algorithms = CRY_HASH_ALGORITHM_SHA3_512 + 1;

bool hasLowLevelFunctions( PB_INT alg ) { return alg <= CRY_HASH_ALGORITHM_SHA2_512; }

const EVP_MD *evp( PB_INT alg )
{
    const EVP_MD *mds[] = { EVP_md5(), EVP_sha1(), EVP_sha224(), EVP_sha256(), EVP_sha384(), EVP_sha512(), EVP_sha3_224(), EVP_sha3_256(),
        EVP_sha3_384(), EVP_sha3_512() };
    return mds[alg];
}

std::string evpDigest( PB_INT alg, std::string_view data )
{
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int  length = 0;
    EXPECT_TRUE( EVP_Digest( data.data(), data.size(), digest, &length, evp( alg ), nullptr ) );
    return { (const char *)digest, length };
}

// HMAC as RFC 2104 writes it, with OpenSSL's digests only.
std::string evpHmac( PB_INT alg, std::string key, std::string_view data )
{
    size_t block = (size_t)cryHashAlgorithmBlockSizeBits( alg ) / 8;
    if( key.size() > block )
        key = evpDigest( alg, key );
    key.resize( block );
    std::string inner = key, outer = key;
    for( char &c : inner )
        c ^= 0x36;
    for( char &c : outer )
        c ^= 0x5C;
    return evpDigest( alg, outer + evpDigest( alg, inner.append( data ) ) );
}

std::string pattern( size_t length )
{
    std::string text;
    for( size_t index = 0; index < length; index++ )
        text += (char)( index * 37 + ( index >> 8 ) + 11 );
    return text;
}

// The result of one of the functions; "(refused)" if it gives false.
template<class Compute>
std::string direct( PB_INT alg, Compute compute )
{
    PB_BYTE result[EVP_MAX_MD_SIZE];
    return compute( result ) ? std::string( (const char *)result, (size_t)cryHashAlgorithmDigestSizeBits( alg ) / 8 ) : "(refused)";
}

std::string directDigest( PB_INT alg, std::initializer_list<PB_BUFFER *> parts )
{
    return direct( alg, [&]( PB_BYTE *to ) { return cry::tryDigestDirectly( alg, parts, to ); } );
}

std::string directHmac( PB_INT alg, const std::string &key, const std::string &data )
{
    return direct( alg, [&]( PB_BYTE *to ) { return cry::tryHmacDirectly( alg, buf( key ).get(), buf( data ).get(), to ); } );
}

}

TEST( CryHashDirect, IsUsedForAllDigestsOfTheDefaultProviderThatHaveLowLevelFunctions )
{
    for( PB_INT alg = 0; alg < algorithms; alg++ )
    {
        Shortcuts on( true );
        EXPECT_TRUE( cry::defaultProvidersDigest( alg ) ) << alg;
        EXPECT_EQ( directDigest( alg, {} ) != "(refused)", hasLowLevelFunctions( alg ) ) << alg;
        EXPECT_EQ( directHmac( alg, "key", "data" ) != "(refused)", hasLowLevelFunctions( alg ) ) << alg;
        Shortcuts off( false );
        EXPECT_EQ( directDigest( alg, {} ), "(refused)" );
        EXPECT_EQ( directHmac( alg, "key", "data" ), "(refused)" );
    }
}

TEST( CryHashDirect, GivesTheDigestOfOpensslForEveryLength )
{
    Shortcuts           on( true );
    const std::string   all = pattern( 1 << 20 );
    std::vector<size_t> sizes{ 1023, 1024, 1025, 4095, 4096, 4097, 65535, 65536, 65537, ( 1 << 20 ) - 1, 1 << 20 };
    for( size_t size = 0; size <= 300; size++ )
        sizes.push_back( size );
    for( PB_INT alg = 0; hasLowLevelFunctions( alg ); alg++ )
    {
        for( size_t size : sizes )
        {
            std::string_view data   = std::string_view( all ).substr( 0, size );
            std::string      wanted = hex( evpDigest( alg, data ) );
            ASSERT_EQ( hex( directDigest( alg, { buf( data ).get() } ) ), wanted ) << alg << " " << size;
            pb::Ref<PB_BUFFER> first = buf( data.substr( 0, size / 3 ) ), second = buf( data.substr( size / 3 ) ), none = buf( "" );
            ASSERT_EQ( hex( directDigest( alg, { first.get(), none.get(), second.get() } ) ), wanted ) << alg << " " << size;
            ASSERT_EQ( hex( bytes( pb::adopt( cryHashTryCompute( alg, buf( data ).get() ) ) ) ), wanted ) << alg << " " << size;
        }
    }
}

TEST( CryHashDirect, GivesTheHmacOfOpensslForEveryKey )
{
    Shortcuts         on( true );
    const std::string all = pattern( 5000 );
    for( PB_INT alg = 0; hasLowLevelFunctions( alg ); alg++ )
    {
        for( size_t keyLength = 0; keyLength <= 300; keyLength++ )
        {
            for( size_t length : { 0, 1, 16, 55, 56, 63, 64, 65, 111, 112, 127, 128, 129, 300 } )
            {
                std::string key = all.substr( 0, keyLength ), data = all.substr( 1000, length );
                ASSERT_EQ( hex( directHmac( alg, key, data ) ), hex( evpHmac( alg, key, data ) ) ) << alg << " " << keyLength << " " << length;
            }
        }
        for( size_t length = 0; length <= 300; length++ )
        {
            std::string key = all.substr( 0, 20 ), data = all.substr( 0, length );
            ASSERT_EQ( hex( directHmac( alg, key, data ) ), hex( evpHmac( alg, key, data ) ) ) << alg << " " << length;
        }
        EXPECT_EQ( hex( directHmac( alg, all, all + all ) ), hex( evpHmac( alg, all, all + all ) ) );
    }
}

TEST( CryHashDirect, ResultsMarksAndErrorsAreTheSameWithoutIt )
{
    for( PB_INT alg = 0; alg < algorithms; alg++ )
    {
        for( bool sensitive : { false, true } )
        {
            pb::Ref<PB_BUFFER> digests[2], macs[2], data = buf( pattern( 100 ) ), key = buf( pattern( 150 ) );
            if( sensitive )
            {
                pbBufferSetSensitive( data.handle() );
                pbBufferSetSensitive( key.handle() );
            }
            for( bool used : { false, true } )
            {
                Shortcuts now( used );
                digests[used] = pb::adopt( cryHashTryCompute( alg, data.get() ) );
                macs[used]    = pb::adopt( cryMacTryComputeHmac( alg, key.get(), data.get() ) );
                EXPECT_EQ( ERR_peek_error(), 0u );
            }
            EXPECT_EQ( hex( bytes( digests[0] ) ), hex( bytes( digests[1] ) ) ) << alg;
            EXPECT_EQ( hex( bytes( macs[0] ) ), hex( bytes( macs[1] ) ) ) << alg;
            EXPECT_EQ( pbBufferSensitive( digests[0].get() ), pbBufferSensitive( digests[1].get() ) ) << alg;
            EXPECT_EQ( pbBufferSensitive( macs[0].get() ), pbBufferSensitive( macs[1].get() ) ) << alg;
        }
    }
}
