#include <cry/cry_aes.h>
#include <gtest/gtest.h>

#include "support/text.hpp"

using namespace support;

static std::string process( CRY_AES *aes, const std::string &block )
{
    std::string out( 16, 0 );
    cryAesProcessBlock( aes, (PB_BYTE *)out.data(), (const PB_BYTE *)block.data() );
    return out;
}

static pb::Ref<CRY_AES> create( PB_INT op, const std::string &key ) { return pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, op, buf( key ).get() ) ); }

TEST( CryAes, KnowsThreeKeyLengths )
{
    for( PB_INT bits = -1024; bits <= 1024; bits++ )
        EXPECT_EQ( cryAesValidateKeyLength( bits ), bits == 128 || bits == 192 || bits == 256 ) << bits;
    EXPECT_FALSE( cryAesValidateKeyLength( PB_INT_MIN ) );
    EXPECT_FALSE( cryAesValidateKeyLength( PB_INT_MAX ) );
    EXPECT_TRUE( cryAesValidateKey( buf( std::string( 24, 'k' ) ).get() ) );
    EXPECT_FALSE( cryAesValidateKey( buf( std::string( 25, 'k' ) ).get() ) );
}

TEST( CryAes, EncryptsAndDecryptsTheBlocksOfTheStandard )
{
    // FIPS 197, appendix C.
    std::string plain = unhex( "00112233445566778899aabbccddeeff" );
    struct
    {
        const char *key, *cipher;
    } examples[] = {
        { "000102030405060708090a0b0c0d0e0f", "69c4e0d86a7b0430d8cdb78070b4c55a" },
        { "000102030405060708090a0b0c0d0e0f1011121314151617", "dda97ca4864cdfe06eaf70a0ec0d7191" },
        { "000102030405060708090a0b0c0d0e0f101112131415161718191a1b1c1d1e1f", "8ea2b7ca516745bfeafc49904b496089" },
    };
    for( auto &[key, cipher] : examples )
    {
        EXPECT_EQ( hex( process( create( CRY_AES_OPERATION_ENCRYPT, unhex( key ) ).get(), plain ) ), cipher );
        EXPECT_EQ( process( create( CRY_AES_OPERATION_DECRYPT, unhex( key ) ).get(), unhex( cipher ) ), plain );
    }
}

TEST( CryAes, ChainsNothingAndHoldsNoBlockBack )
{
    pb::Ref<CRY_AES> encrypt = create( CRY_AES_OPERATION_ENCRYPT, std::string( 16, 'k' ) );
    pb::Ref<CRY_AES> decrypt = create( CRY_AES_OPERATION_DECRYPT, std::string( 16, 'k' ) );
    std::string      a( 16, 'a' ), b( 16, 'b' );
    std::string      first = process( encrypt.get(), a );
    EXPECT_NE( process( encrypt.get(), b ), first );
    EXPECT_EQ( process( encrypt.get(), a ), first );
    for( int round = 0; round < 3; round++ )
        EXPECT_EQ( process( decrypt.get(), first ), a );
}

TEST( CryAes, ProcessesBlocksThatOverlap )
{
    const std::string block = unhex( "00112233445566778899aabbccddeeff" );
    for( size_t bits : { 128, 192, 256 } )
    {
        for( PB_INT op : { CRY_AES_OPERATION_ENCRYPT, CRY_AES_OPERATION_DECRYPT } )
        {
            pb::Ref<CRY_AES> aes      = create( op, std::string( bits / 8, 'k' ) );
            std::string      expected = process( aes.get(), block );
            for( int distance = -15; distance <= 15; distance++ )
            {
                if( distance == 0 ) // a broken contract
                    continue;
                std::string memory( 46, '\0' );
                PB_BYTE    *source = (PB_BYTE *)memory.data() + 15, *dest = source + distance;
                memory.replace( 15, 16, block );
                cryAesProcessBlock( aes.get(), dest, source );
                EXPECT_EQ( memory.substr( (size_t)( 15 + distance ), 16 ), expected ) << bits << " " << op << " " << distance;
            }
        }
    }
}

TEST( CryAes, TellsWhatItWasCreatedWith )
{
    for( bool sensitive : { false, true } )
    {
        std::string        key( 32, 'k' );
        pb::Ref<PB_BUFFER> mine = buf( key );
        if( sensitive )
            pbBufferSetSensitive( mine.handle() );
        pb::Ref<CRY_AES> aes = pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_DECRYPT, mine.get() ) );
        EXPECT_EQ( cryAesMode( aes.get() ), CRY_AES_MODE_ECB );
        EXPECT_EQ( cryAesOperation( aes.get() ), CRY_AES_OPERATION_DECRYPT );
        // The key is the caller's own buffer, not a copy, with the mark that the caller set.
        pb::Ref<PB_BUFFER> kept = pb::adopt( cryAesKey( aes.get() ) );
        EXPECT_EQ( kept.get(), mine.get() );
        EXPECT_EQ( bytes( kept ), key );
        EXPECT_EQ( pbBufferSensitive( kept.get() ), sensitive );
        // A later edit by the caller does not change the object's key.
        pbBufferAppendBytes( mine.handle(), (const PB_BYTE *)"x", 1 );
        EXPECT_EQ( bytes( pb::adopt( cryAesKey( aes.get() ) ) ), key );
    }
}
