#include "objects/pb_obj_count.hpp"

#include <pthread.h>

namespace
{

// One bit for each cell that a thread owns. The shared cell is never given to one thread.
constinit std::atomic<uint64_t> owned[pb::liveCells / 64] = { 0, 0, 0, uint64_t{ 1 } << 63 };

pthread_key_t key;
bool          hasKey = false;

// The next owner continues from the count in the cell, so it must see this thread's last count.
void giveBack( void *cellPlus )
{
    unsigned cell                = (unsigned)(uintptr_t)cellPlus - 1;
    pb::threadState.liveCellPlus = pb::sharedCell + 1;
    owned[cell / 64].fetch_and( ~( uint64_t{ 1 } << cell % 64 ), std::memory_order_release );
}

// The library is never unloaded, so the address of the function stays valid.
void makeKey() { hasKey = pthread_key_create( &key, giveBack ) == 0; }

unsigned findCell()
{
    for( unsigned word = 0; word < pb::liveCells / 64; word++ )
    {
        uint64_t bits = owned[word].load( std::memory_order_relaxed );
        while( ~bits )
        {
            unsigned bit = (unsigned)__builtin_ctzll( ~bits );
            if( owned[word].compare_exchange_weak( bits, bits | uint64_t{ 1 } << bit, std::memory_order_acquire, std::memory_order_relaxed ) )
                return word * 64 + bit;
        }
    }
    return pb::sharedCell;
}

}

unsigned pb::takeLiveCell()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once( &once, makeKey );
    unsigned cell = hasKey ? findCell() : sharedCell;
    // pthread_setspecific may need memory. If it fails, the end of the thread would not be noticed.
    if( cell != sharedCell && pthread_setspecific( key, (void *)(uintptr_t)( cell + 1 ) ) != 0 )
    {
        owned[cell / 64].fetch_and( ~( uint64_t{ 1 } << cell % 64 ), std::memory_order_release );
        cell = sharedCell;
    }
    threadState.liveCellPlus = cell + 1;
    return cell;
}
