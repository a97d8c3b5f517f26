// An allocator for the family that looks at every piece of memory when it is given back, for
// remains of secrets.
#pragma once

#include <pb/pb.h>

#include "support/environment.hpp"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace support
{

class WatchingAllocator
{
public:
    // From now on, memory that is freed with `shortest` successive bytes of one of these in it is
    // counted.
    static void watchFor( std::vector<std::string> list )
    {
        secrets = std::move( list );
        leaks   = 0;
    }

    static constexpr size_t shortest = 6;

    static inline std::unordered_map<void *, size_t> blocks;
    static inline std::vector<std::string>           secrets;
    static inline int                                leaks = 0;

private:
    static bool holdsSecret( std::string_view memory )
    {
        for( const std::string &secret : secrets )
        {
            for( size_t from = 0; from + shortest <= secret.size(); from++ )
            {
                if( memory.find( std::string_view( secret ).substr( from, shortest ) ) != memory.npos )
                    return true;
            }
        }
        return false;
    }

    static void *take( size_t size )
    {
        // Filled, so that what an earlier owner left does not count against the next.
        void *memory   = std::memset( std::malloc( size ), 0xA5, size );
        blocks[memory] = size;
        return memory;
    }

    // Always moves, as realloc may.
    static void *move( void *memory, size_t size )
    {
        void *moved = take( size );
        if( memory )
        {
            auto known = blocks.find( memory );
            EXPECT_NE( known, blocks.end() );
            std::memcpy( moved, memory, known->second < size ? known->second : size );
            give( memory );
        }
        return moved;
    }

    static void give( void *memory )
    {
        auto known = blocks.find( memory );
        EXPECT_NE( known, blocks.end() ) << "freed memory that was not taken here";
        if( known != blocks.end() )
        {
            leaks += holdsSecret( { (const char *)memory, known->second } );
            blocks.erase( known );
        }
        std::free( memory );
    }

public:
    static inline const PB_MEM_ALLOCATOR table = { take, move, give };
};

// Stops the family for the tests of a suite and sets the allocator, since no object may live across
// the change.
class WatchedMemory : public testing::Test
{
protected:
    static void SetUpTestSuite()
    {
        pbRuntimeStop();
        ASSERT_EQ( pbObjLiveCount(), 0 );
        pbMemSetAllocator( &WatchingAllocator::table );
    }

    static void TearDownTestSuite()
    {
        EXPECT_EQ( pbObjLiveCount(), 0 );
        EXPECT_EQ( WatchingAllocator::blocks.size(), 0u );
        pbMemSetAllocator( nullptr );
        startFamily();
    }

    void SetUp() override { WatchingAllocator::watchFor( {} ); }

    static int leaks() { return WatchingAllocator::leaks; }
};

}
