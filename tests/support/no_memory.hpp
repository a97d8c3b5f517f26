// Memory that is exhausted, for tests of what then happens.
#pragma once

#include <pb/pb_mem.h>

#include <cstdlib>
#include <functional>
#include <gtest/gtest.h>

#include "support/contract.hpp"

namespace support
{

// From its creation on, this many pieces of memory can still be had. What exists already can still
// be freed.
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

// Runs a piece of work that makes all its objects itself, with no memory at all, with one piece,
// with two and so on until it has enough. Each time before, it must end as pbMemAlloc ends it.
// Returns how many pieces it needs.
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
