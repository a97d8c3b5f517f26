// A module in the folder of the base library.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_besideModule( void );

PB_MODULE_DEFINE( frame_beside, "Beside", "1.5", "pb", pb::startNothing, pb::doNothing, pb::doNothing )
