#include "concurrency/pb_thread.hpp"

#include <csignal>

int pb::startThread( pthread_t *thread, const char *name, void *( *function )(void *), void *argument )
{
    sigset_t all, before;
    sigfillset( &all );
    // A thread begins with the signals that its maker blocks.
    pthread_sigmask( SIG_SETMASK, &all, &before );
    int problem = pthread_create( thread, nullptr, function, argument );
    pthread_sigmask( SIG_SETMASK, &before, nullptr );
    if( !problem )
        pthread_setname_np( *thread, name );
    return problem;
}
