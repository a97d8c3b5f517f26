// The switch for everything that avoids work without a change of the result.
#pragma once

#include <atomic>

namespace openssl
{

inline constinit std::atomic<bool> shortcutsInUse{ true };

inline bool shortcutsUsed() { return shortcutsInUse.load( std::memory_order_relaxed ); }

}
