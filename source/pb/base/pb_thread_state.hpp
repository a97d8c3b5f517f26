// The state that the base library keeps for the current thread.
#pragma once

#include <pb/pb_base.h>

struct PB_OBJ;

namespace pb
{

struct ThreadState
{
    PB_OBJ  *firstAside; // objects that wait to be freed, linked through their counts
    PB_OBJ  *lastAside;
    unsigned heldLocks;    // monitors and regions of the libraries that this thread holds
    unsigned runs;         // runs of processes on this thread's stack
    bool     frees;        // a free slot of this thread runs
    unsigned liveCellPlus; // the thread's cell of the live count, plus one; 0: it has no cell yet
};

// One access takes one load. For that, the library needs a few bytes of static thread memory.
inline constinit thread_local ThreadState threadState __attribute__( ( tls_model( "initial-exec" ) ) ) = {};

}
