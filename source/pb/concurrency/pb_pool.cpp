// The only file that knows Asio, and the only one of this library that is compiled with exceptions.
#include "concurrency/pb_pool.hpp"

#include <pb/containers.hpp>

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <cerrno>
#include <cstdio>
#include <optional>

#include "concurrency/pb_thread.hpp"

namespace
{

// Threads that take functions from one queue.
class Threads
{
public:
    int start( const char *name, PB_INT count )
    {
        try
        {
            context.emplace( (int)count );
            guard.emplace( context->get_executor() );
        }
        catch( ... )
        {
            return ENOMEM;
        }
        for( PB_INT index = 0; index < count; index++ )
        {
            char      full[16];
            pthread_t thread;
            std::snprintf( full, sizeof full, count > 1 ? "%s-%d" : "%s", name, (int)index + 1 );
            if( int problem = pb::startThread( &thread, full, work, this ) )
            {
                stop();
                return problem;
            }
            threads.push_back( thread );
        }
        return 0;
    }

    void post( pb::pool::Function function, void *argument )
    {
        bool memory = true;
        try
        {
            asio::post( *context, [function, argument] { function( argument ); } );
        }
        catch( ... )
        {
            memory = false;
        }
        PB_CHECK( memory );
    }

    void stop()
    {
        if( !context )
            return;
        context->stop();
        for( pthread_t thread : threads )
            pthread_join( thread, nullptr );
        pb::StdVector<pthread_t, pb::ProcessMemory>().swap( threads );
        guard.reset();
        context.reset();
    }

private:
    static void *work( void *self )
    {
        bool memory = true;
        try
        {
            ( (Threads *)self )->context->run();
        }
        catch( ... )
        {
            // Runs throw nothing; only Asio itself can.
            memory = false;
        }
        PB_CHECK( memory );
        return nullptr;
    }

    std::optional<asio::io_context>                                           context;
    std::optional<asio::executor_work_guard<asio::io_context::executor_type>> guard;
    pb::StdVector<pthread_t, pb::ProcessMemory>                               threads;
};

struct State
{
    Threads     workers;
    Threads     background;
    PB_EXECUTOR executor = nullptr;
    void       *context  = nullptr;
};

State &state()
{
    static State *only = pb::make<State, pb::ProcessMemory>();
    return *only;
}

}

int pb::pool::start( PB_INT workers, PB_EXECUTOR executor, void *context )
{
    state().executor = executor;
    state().context  = context;
    if( int problem = state().background.start( "pb-background", 1 ) )
        return problem;
    int problem = executor ? 0 : state().workers.start( "pb-worker", workers );
    if( problem )
        state().background.stop();
    return problem;
}

void pb::pool::post( PB_PROCESS_CLASS processClass, Function function, void *argument )
{
    if( processClass == PB_PROCESS_CLASS_BACKGROUND )
        state().background.post( function, argument );
    else if( state().executor )
        state().executor( state().context, function, argument );
    else
        state().workers.post( function, argument );
}

void pb::pool::stop()
{
    state().workers.stop();
    state().background.stop();
}
