// The other half of the cycle.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_pongModule( void );

PB_MODULE_DEFINE( frame_pong, "Pong", "1.5", "frame_ping pb", pb::startNothing, pb::doNothing, pb::doNothing )
