#include "common/cry_context_pool.hpp"

unsigned cry::threadNumber()
{
    static constinit std::atomic<unsigned> threadsSeen{ 0 };
    static constinit thread_local unsigned own = 0; // plus one

    if( !own )
        own = threadsSeen.fetch_add( 1, std::memory_order_relaxed ) + 1;
    return own - 1;
}
