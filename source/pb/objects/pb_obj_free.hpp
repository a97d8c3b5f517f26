// When free slots may run: one after another, and never while the thread holds a lock.
#pragma once

#include "base/pb_thread_state.hpp"

namespace pb
{

// Frees what this thread put aside, if it may now.
void freeAside();

// Every monitor and region of the libraries says when this thread has it, and, after it is
// unlocked, when no longer. The outermost unlock frees what was put aside.
inline void enterLock() { threadState.heldLocks++; }

inline void leaveLock()
{
    if( --threadState.heldLocks == 0 && threadState.firstAside )
        freeAside();
}

}
