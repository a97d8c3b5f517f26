// Threads of the runtime: named, and without signals, so that the host's threads get them all.
#pragma once

#include <pthread.h>

namespace pb
{

// 0, or a number of <errno.h>. `argument` stays valid until the thread has ended.
int startThread( pthread_t *thread, const char *name, void *( *function )(void *), void *argument );

}
