// An allocator that runs out of memory, for tests of that case.
#pragma once

#include <pb/pb_mem.h>

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

#include "support/contract.hpp"

namespace support
{

// After its creation, this number of allocations still succeed. Memory from before can still be
// freed.
class NoMemory
{
public:
    explicit NoMemory( size_t pieces = 0 )
    {
        static constexpr PB_MEM_ALLOCATOR table = { []( size_t size ) { return take( nullptr, size ); }, take, std::free };
        left                                    = pieces;
        pbMemSetAllocator( &table );
    }
    ~NoMemory() { pbMemSetAllocator( nullptr ); }
    NoMemory( const NoMemory & ) = delete;

private:
    static void *take( void *memory, size_t size ) { return left && left-- ? std::realloc( memory, size ) : nullptr; }

    static inline size_t left;
};

// Runs work that makes all its objects itself: without memory, then with one piece, with two and so
// on, until it has enough. With too little memory it must abort as pbMemAlloc does. Returns the
// number of pieces that it needs.
inline size_t expectAbortWhereverMemoryEnds( const std::function<void()> &work )
{
    for( size_t pieces = 0;; pieces++ )
    {
        NoMemory scarce( pieces );
        Abort    abort = abortOf( work );
        if( !abort.happened )
            return pieces;
        EXPECT_EQ( abort.file, "source/pb/base/pb_mem.cpp" ) << pieces;
        EXPECT_EQ( abort.expression, "memory" ) << pieces;
        if( testing::Test::HasFailure() )
            return pieces;
    }
}

}
