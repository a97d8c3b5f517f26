// A module that is loaded into the process twice.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_twiceModule( void );

PB_MODULE_DEFINE( frame_twice, "Twice", "1.5", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
