// The threads that run processes.
#pragma once

#include <pb/pb_process.h>

namespace pb::pool
{

using Function = void ( * )( void *argument );

// Starts the workers and the thread for background runs. With an executor of the host, that one
// takes the place of the workers. 0, or a number of <errno.h>; then nothing was started.
int start( PB_INT workers, PB_EXECUTOR executor, void *context );

// Lets a thread call the function soon. Never calls it itself, so locks may be held. Only between
// start and stop.
void post( PB_PROCESS_CLASS processClass, Function function, void *argument );

// Ends the threads. What has been posted and not begun is forgotten.
void stop();

}
