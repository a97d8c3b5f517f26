// The platform's roots for free slots.
#pragma once

#include <pb/pb_signal.h>

namespace cry::x509
{

// Takes a subscription back. It may be called at any time: after the shut-down it does nothing.
void delSystemSignalableAtAnyTime( PB_SIGNALABLE *sigb );

}
