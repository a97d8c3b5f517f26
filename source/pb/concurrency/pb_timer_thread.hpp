// The thread that waits for the first deadline of all timers.
#pragma once

#include <pb/pb_base.h>

namespace pb::timerThread
{

// Starts the thread. It calls `due` when the deadline has come. 0, or a number of <errno.h>.
int start( void ( *due )() );

// The deadline, as nanoseconds of the machine's uptime; below zero means none. May be called while
// locks are held.
void setDeadline( PB_INT uptime );

// Ends the thread.
void stop();

}
