// Threads that wait for a signal or for the end of a process. They are let go when the runtime
// stops.
#pragma once

#include "base/pb_sync.hpp"

namespace pb::waiters
{

namespace internal
{
struct State
{
    sync::Lock      lock;
    sync::Condition changed;
    bool mayWait    PB_GUARDED_BY( lock ) = false;
};
inline constinit State state = {};
}

// Waits until `happened()`; false if the time is over or the runtime stops. Whoever makes
// `happened()` true calls wake() afterwards.
template<class Happened>
bool wait( Happened happened, PB_INT timeoutMs )
{
    sync::Deadline deadline = sync::Deadline::after( timeoutMs );
    sync::Hold     hold( internal::state.lock );
    while( !happened() )
    {
        if( !internal::state.mayWait || deadline.passed() )
            return false;
        internal::state.changed.wait( internal::state.lock, deadline );
    }
    return true;
}

inline void wake()
{
    sync::Hold hold( internal::state.lock );
    internal::state.changed.wakeAll( internal::state.lock );
}

// While this is false, nobody waits, and those who do are let go.
inline void setMayWait( bool mayWait )
{
    sync::Hold hold( internal::state.lock );
    internal::state.mayWait = mayWait;
    internal::state.changed.wakeAll( internal::state.lock );
}

}
