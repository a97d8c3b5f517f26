// A module that depends on itself.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_selfModule( void );

PB_MODULE_DEFINE( frame_self, "Self", "1.5", "frame_self pb", pb::startNothing, pb::doNothing, pb::doNothing )
