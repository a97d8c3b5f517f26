// The sinks that are attached.
#pragma once

#include <pb/pb_store.h>

#include <atomic>

namespace tr
{

inline constinit std::atomic<bool> listening{ false };

// Whether a sink is attached. A thread that does not see an attachment yet traces nothing.
inline bool isListening() { return listening.load( std::memory_order_relaxed ); }

// Gives an event to all sinks.
void emit( PB_STORE *event );

// From now on sinks can be attached.
void openSinks();

// Writes what the sinks hold.
void flushSinks();

// Detaches all sinks.
void closeSinks();

}
