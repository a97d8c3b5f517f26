#include "end_signals.hpp"

namespace
{

bool isIgnored( int number )
{
    struct sigaction action;
    return sigaction( number, nullptr, &action ) == 0 && action.sa_handler == SIG_IGN;
}

}

tool::EndSignals::EndSignals() : asserted( pb::adopt( pbSignalCreate() ) )
{
    sigemptyset( &signals );
    for( int number : { SIGINT, SIGTERM } )
    {
        if( !isIgnored( number ) )
            sigaddset( &signals, number );
    }
    // The destructor's own.
    sigaddset( &signals, SIGUSR1 );
    // All other threads have them blocked, so only the new one takes them.
    pthread_sigmask( SIG_BLOCK, &signals, nullptr );
    waiter = std::thread( [this] {
        int number;
        // Somebody else may send the destructor's signal.
        do
        {
            if( sigwait( &signals, &number ) != 0 )
                number = SIGUSR1;
        }
        while( number == SIGUSR1 && !over );
        pbSignalAssert( asserted.get() );
    } );
}

tool::EndSignals::~EndSignals()
{
    over = true;
    if( !pbSignalAsserted( asserted.get() ) )
        pthread_kill( waiter.native_handle(), SIGUSR1 );
    waiter.join();
}
