// The count of live objects. Each thread owns a cell and changes it without a locked instruction; a
// thread that ends gives its cell back. Threads that find no cell free share the last one.
#pragma once

#include <pb/pb_base.h>

#include <atomic>

#include "base/pb_thread_state.hpp"

namespace pb
{

inline constexpr unsigned liveCells  = 256;
inline constexpr unsigned sharedCell = liveCells - 1;

struct alignas( 64 ) LiveCell
{
    std::atomic<PB_INT> count;
};

inline constinit LiveCell live[liveCells];

// A cell for this thread until it ends. Puts it into the thread's state.
unsigned takeLiveCell();

inline void countLive( PB_INT change )
{
    unsigned             cell  = threadState.liveCellPlus ? threadState.liveCellPlus - 1 : takeLiveCell();
    std::atomic<PB_INT> &count = live[cell].count;
    if( cell != sharedCell )
        count.store( count.load( std::memory_order_relaxed ) + change, std::memory_order_relaxed );
    else
        count.fetch_add( change, std::memory_order_relaxed );
}

inline PB_INT liveCount()
{
    PB_INT sum = 0;
    for( const LiveCell &cell : live )
        sum += cell.count.load( std::memory_order_relaxed );
    return sum;
}

}
