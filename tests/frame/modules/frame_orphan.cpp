// A module that depends on a module that does not exist.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_orphanModule( void );

PB_MODULE_DEFINE( frame_orphan, "Orphan", "1.5", "frame_absent pb", pb::startNothing, pb::doNothing, pb::doNothing )
