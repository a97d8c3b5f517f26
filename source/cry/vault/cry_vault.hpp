// The vault for free slots.
#pragma once

#include <pb/pb_signal.h>

namespace cry::vault
{

// Takes a subscription back. It may be called at any time: after the shut-down it does nothing.
void delSignalableAtAnyTime( PB_SIGNALABLE *sigb );

}
