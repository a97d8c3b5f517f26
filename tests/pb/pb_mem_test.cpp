#include "pb/watching_allocator.hpp"

#include "support/text.hpp"

#include <cstdint>

using namespace support;

namespace
{

constexpr char secret[] = "kQ7#vmZ2-pW9xR4t";

void *filled( size_t size )
{
    void *memory = pbMemAlloc( size );
    std::memcpy( memory, secret, size );
    return memory;
}

using PbMemWatched = WatchedMemory;

}

TEST( PbMem, GivesMemoryForNothing )
{
    void *memory = pbMemAlloc( 0 );
    ASSERT_NE( memory, nullptr );
    *(char *)memory = 1;
    pbMemFree( memory );
    pbMemFree( nullptr );
    pbMemFreeSensitive( nullptr, 10 );
    pbMemCleanse( nullptr, 0 );
}

TEST( PbMem, ZeroedMemoryIsZero )
{
    for( size_t size : { 1, 7, 64, 5000 } )
    {
        unsigned char *memory = (unsigned char *)pbMemAllocZeroed( size );
        size_t         sum    = 0;
        for( size_t index = 0; index < size; index++ )
            sum += memory[index];
        EXPECT_EQ( sum, 0u );
        pbMemFree( memory );
    }
}

TEST( PbMem, ReallocationKeepsWhatFits )
{
    int64_t *numbers = (int64_t *)pbMemReallocN( nullptr, 4, sizeof( int64_t ) );
    for( int index = 0; index < 4; index++ )
        numbers[index] = index * 11;
    numbers      = (int64_t *)pbMemReallocN( numbers, 1000, sizeof( int64_t ) );
    numbers[999] = 999;
    EXPECT_EQ( numbers[3], 33 );
    numbers = (int64_t *)pbMemReallocN( numbers, 2, sizeof( int64_t ) );
    EXPECT_EQ( numbers[0], 0 );
    EXPECT_EQ( numbers[1], 11 );
    numbers = (int64_t *)pbMemReallocN( numbers, 0, sizeof( int64_t ) );
    EXPECT_NE( numbers, nullptr );
    pbMemFree( numbers );
}

TEST( PbMem, SensitiveReallocationKeepsWhatFits )
{
    char *memory = (char *)filled( sizeof secret );
    memory       = (char *)pbMemReallocSensitive( memory, sizeof secret, 100 );
    EXPECT_STREQ( memory, secret );
    memory = (char *)pbMemReallocSensitive( memory, 100, 5 );
    EXPECT_EQ( std::string( memory, 5 ), "kQ7#v" );
    pbMemFreeSensitive( memory, 5 );
    memory = (char *)pbMemReallocSensitive( nullptr, 0, 5 );
    ASSERT_NE( memory, nullptr );
    pbMemFree( memory );
}

TEST( PbMem, CleansesExactlyTheBytesItIsGiven )
{
    char memory[] = "abcdefgh";
    pbMemCleanse( memory + 2, 3 );
    EXPECT_EQ( std::string( memory, 8 ), std::string( "ab\0\0\0fgh", 8 ) );
    pbMemCleanse( memory, 0 );
    EXPECT_EQ( memory[0], 'a' );
}

TEST_F( PbMemWatched, AllMemoryComesFromTheAllocatorAndGoesBackToIt )
{
    size_t before = WatchingAllocator::blocks.size();
    void  *plain  = pbMemAlloc( 10 );
    void  *zeroed = pbMemAllocZeroed( 20 );
    void  *array  = pbMemReallocN( nullptr, 3, 8 );
    EXPECT_EQ( WatchingAllocator::blocks.size(), before + 3 );
    EXPECT_EQ( WatchingAllocator::blocks.at( plain ), 10u );
    EXPECT_EQ( WatchingAllocator::blocks.at( zeroed ), 20u );
    EXPECT_EQ( WatchingAllocator::blocks.at( array ), 24u );
    {
        pb::Ref<PB_STRING> string = str( "text" );
        EXPECT_EQ( WatchingAllocator::blocks.count( string.get() ), 1u );
    }
    array = pbMemReallocN( array, 5, 8 );
    EXPECT_EQ( WatchingAllocator::blocks.at( array ), 40u );
    pbMemFree( plain );
    pbMemFreeSensitive( zeroed, 20 );
    pbMemFree( array );
    EXPECT_EQ( WatchingAllocator::blocks.size(), before );
}

// Shows that the watch finds content in freed memory. Without this, the tests of cleansing would
// prove nothing.
TEST_F( PbMemWatched, PlainMemoryIsFreedAsItIs )
{
    WatchingAllocator::watchFor( { secret } );
    pbMemFree( filled( sizeof secret ) );
    EXPECT_EQ( leaks(), 1 );
    pbMemFree( pbMemReallocN( filled( sizeof secret ), 100, 1 ) );
    EXPECT_EQ( leaks(), 3 );
}

TEST_F( PbMemWatched, SensitiveMemoryIsCleansedBeforeItIsFreedOrMoved )
{
    WatchingAllocator::watchFor( { secret } );
    pbMemFreeSensitive( filled( sizeof secret ), sizeof secret );
    EXPECT_EQ( leaks(), 0 );
    void *memory = pbMemReallocSensitive( filled( sizeof secret ), sizeof secret, 100 );
    EXPECT_EQ( leaks(), 0 );
    memory = pbMemReallocSensitive( memory, 100, 8 );
    EXPECT_EQ( leaks(), 0 );
    pbMemFreeSensitive( memory, 8 );
    EXPECT_EQ( leaks(), 0 );
}
