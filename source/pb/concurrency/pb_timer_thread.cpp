#include "concurrency/pb_timer_thread.hpp"

#include <atomic>
#include <cerrno>
#include <sys/timerfd.h>
#include <unistd.h>

#include "concurrency/pb_thread.hpp"

namespace
{

struct State
{
    int               descriptor = -1;
    pthread_t         thread     = {};
    std::atomic<bool> stops      = false;
    void ( *due )()              = nullptr;
};

constinit State state = {};

void *waitForDeadlines( void * )
{
    for( ;; )
    {
        uint64_t times;
        ssize_t  count = read( state.descriptor, &times, sizeof times );
        if( state.stops.load() )
            return nullptr;
        // ECANCELED and EINTR change nothing.
        if( count == sizeof times )
            state.due();
    }
}

}

int pb::timerThread::start( void ( *due )() )
{
    state.descriptor = timerfd_create( CLOCK_BOOTTIME, TFD_CLOEXEC );
    if( state.descriptor < 0 )
        return errno;
    state.due   = due;
    state.stops = false;
    int problem = startThread( &state.thread, "pb-timer", waitForDeadlines, nullptr );
    if( problem )
    {
        close( state.descriptor );
        state.descriptor = -1;
    }
    return problem;
}

void pb::timerThread::setDeadline( PB_INT uptime )
{
    // A value of zero would switch the descriptor off.
    PB_INT     time = uptime == 0 ? 1 : uptime;
    itimerspec deadline{};
    if( uptime >= 0 )
        deadline.it_value = { .tv_sec = time / 1000000000, .tv_nsec = time % 1000000000 };
    timerfd_settime( state.descriptor, TFD_TIMER_ABSTIME, &deadline, nullptr );
}

void pb::timerThread::stop()
{
    if( state.descriptor < 0 )
        return;
    state.stops = true;
    setDeadline( 0 );
    pthread_join( state.thread, nullptr );
    close( state.descriptor );
    state.descriptor = -1;
}
