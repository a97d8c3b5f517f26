// The runs of processes, as the runtime starts and stops them.
#pragma once

#include <pb/pb_process.h>

namespace pb::runs
{

// From now on processes run. 0, or a number of <errno.h>.
int start( PB_INT workers, PB_EXECUTOR executor, void *context );

// The stop begins: background runs that wait are not begun any more.
void refuseBackground();

// From now on nothing is scheduled. Returns when the ordinary runs that waited, and all runs in
// progress, have ended. This thread helps with the runs.
void finish();

// Ends the threads.
void stopThreads();

// The shut-down begins: inline runs are no longer allowed. Returns when the last one has ended.
void refuseInline();

}
