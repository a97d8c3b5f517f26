// A module whose start-up fails.
#include <pb/module.hpp>

extern "C" PB_EXPORT const PB_MODULE *frame_refusesModule( void );

static PB_BOOL startup() { return PB_FALSE; }

PB_MODULE_DEFINE( frame_refuses, "Refuses", "1.5", "frame_plain pb", startup, pb::doNothing, pb::doNothing )
