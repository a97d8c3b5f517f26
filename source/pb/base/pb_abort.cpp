#include <pb/pb_abort.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include "base/pb_thread_state.hpp"

static std::atomic<PB_ABORT_HANDLER>   currentHandler{ nullptr };
static std::atomic<void ( * )( void )> currentFlush{ nullptr };

PB_ABORT_HANDLER pbAbortSetHandler( PB_ABORT_HANDLER handler ) { return currentHandler.exchange( handler ); }

void pb___AbortSetFlush( void ( *flush )( void ) ) { currentFlush.store( flush ); }

void pb___Abort( const char *context, const char *file, PB_INT line, const char *expression )
{
    // A handler may leave by longjmp. Then this thread is no longer in its locks, its runs and its
    // free slot.
    pb::threadState.heldLocks = 0;
    pb::threadState.runs      = 0;
    pb::threadState.frees     = false;
    if( PB_ABORT_HANDLER handler = currentHandler.load() )
        handler( context, file, line, expression );

    // One write, so that lines of several threads do not mix.
    char text[1024];
    int  length = std::snprintf(
        text, sizeof text, "abort: %s%s%s:%lld: %s\n", context ? context : "", context ? ": " : "", file, (long long)line, expression );
    if( length > 0 )
    {
        size_t size = (size_t)length < sizeof text ? (size_t)length : sizeof text - 1;
        if( write( STDERR_FILENO, text, size ) < 0 )
        {
            // A failed write cannot be reported.
        }
    }

    if( void ( *flush )( void ) = currentFlush.load() )
        flush();
    std::abort();
}
