// Free slots run one after another, and never while the thread holds a lock.
#pragma once

#include "base/pb_thread_state.hpp"

namespace pb
{

// Frees the objects that this thread put aside, if it may free now.
void freeAside();

// Every monitor and region of the libraries reports when this thread has locked it and when this
// thread has unlocked it. The outermost unlock frees the objects that were put aside.
inline void enterLock() { threadState.heldLocks++; }

inline void leaveLock()
{
    if( --threadState.heldLocks == 0 && threadState.firstAside )
        freeAside();
}

}
