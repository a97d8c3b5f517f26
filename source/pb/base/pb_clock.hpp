// The clock of the libraries. It follows the system until a test makes it manual.
#pragma once

#include <pb/pb_base.h>

#include <atomic>
#include <ctime>

namespace pb::clock
{

struct State
{
    std::atomic<bool>   manual;
    std::atomic<PB_INT> uptime; // of the manual clock
    std::atomic<PB_INT> uptimeToTime;
};

inline constinit State state = {};

inline PB_INT systemNow( clockid_t id )
{
    timespec now;
    clock_gettime( id, &now );
    return (PB_INT)now.tv_sec * 1000000000 + now.tv_nsec;
}

// Nanoseconds since the machine was started. The time in which it was suspended counts.
inline PB_INT uptime() { return state.manual.load() ? state.uptime.load() : systemNow( CLOCK_BOOTTIME ); }

// Nanoseconds since 1970-01-01T00:00:00Z.
inline PB_INT time() { return state.manual.load() ? state.uptime.load() + state.uptimeToTime.load() : systemNow( CLOCK_REALTIME ); }

inline void setManual( bool manual )
{
    state.uptime.store( systemNow( CLOCK_BOOTTIME ) );
    state.uptimeToTime.store( systemNow( CLOCK_REALTIME ) - state.uptime.load() );
    state.manual.store( manual );
}

}
