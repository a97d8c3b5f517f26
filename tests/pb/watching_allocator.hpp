// An allocator for the libraries that searches every piece of memory for secrets when it is given
// back.
#pragma once

#include <pb/pb.h>

#include "support/environment.hpp"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace support
{

class WatchingAllocator
{
public:
    // From now on, freed memory is counted if it holds `shortest` successive bytes of one of these
    // secrets.
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
    // The threads of a started runtime take and give memory, too.
    static inline std::mutex mutex;

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
        // The memory is filled, so that older content is not counted for the next owner.
        void           *memory = std::memset( std::malloc( size ), 0xA5, size );
        std::lock_guard hold( mutex );
        blocks[memory] = size;
        return memory;
    }

    // Always moves, as realloc may.
    static void *move( void *memory, size_t size )
    {
        void *moved = take( size );
        if( memory )
        {
            {
                std::lock_guard hold( mutex );
                auto            known = blocks.find( memory );
                EXPECT_NE( known, blocks.end() );
                std::memcpy( moved, memory, known->second < size ? known->second : size );
            }
            give( memory );
        }
        return moved;
    }

    static void give( void *memory )
    {
        std::lock_guard hold( mutex );
        auto            known = blocks.find( memory );
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

// Stops the libraries for the tests of a suite and sets the allocator, since no object may exist
// during the change.
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
