// The count of live objects. Each thread owns a cell of its own and changes it without a locked instruction; threads beyond the number of cells
// share the last one.
#pragma once

#include <pb/pb_base.h>

#include <atomic>

namespace pb
{

inline constexpr unsigned liveCells = 256;

struct alignas( 64 ) LiveCell
{
    std::atomic<PB_INT> count;
};

inline constinit LiveCell              live[liveCells];
inline constinit std::atomic<unsigned> liveCellsGiven{ 0 };
inline constinit thread_local unsigned liveCell = liveCells;

inline void countLive( PB_INT change )
{
    if( liveCell == liveCells )
    {
        unsigned given = liveCellsGiven.fetch_add( 1, std::memory_order_relaxed );
        liveCell       = given < liveCells - 1 ? given : liveCells - 1;
    }
    std::atomic<PB_INT> &count = live[liveCell].count;
    if( liveCell != liveCells - 1 )
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
