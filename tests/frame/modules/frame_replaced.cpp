// A module that a module of the host replaces.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_replacedModule( void );

PB_MODULE_DEFINE( frame_replaced, "Replaced", "1.5", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
