// The service that fires timers, as the runtime starts and stops it.
#pragma once

namespace pb::timers
{

// 0, or a number of <errno.h>.
int start();

// No timer fires after it. Timers that are scheduled stay so.
void finish();

// Ends the thread.
void stopThread();

}
