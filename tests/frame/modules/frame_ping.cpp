// One half of a cycle.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_pingModule( void );

PB_MODULE_DEFINE( frame_ping, "Ping", "1.5", "frame_pong pb", pb::startNothing, pb::doNothing, pb::doNothing )
