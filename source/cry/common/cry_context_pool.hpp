// Keeps OpenSSL objects between uses, since making one takes as long as using it. Different threads
// use different places, so they seldom use the same one. A thread whose place is empty makes an
// object of its own. An empty pool is all zeros, so it can be in static memory and in objects.
#pragma once

#include "common/cry_ossl.hpp"

#include <atomic>

namespace cry
{

// The number of this thread. Threads are numbered from 0, in the order of their first calls.
unsigned threadNumber();

template<ossl::Freed T, unsigned Places>
class ContextPool
{
public:
    // An object that was kept, or null.
    ossl::Ptr<T> acquire() { return ossl::Ptr<T>( own().exchange( nullptr, std::memory_order_acquire ) ); }

    void release( ossl::Ptr<T> context ) { ossl::Ptr<T>( own().exchange( context.release(), std::memory_order_acq_rel ) ); }

    void clear()
    {
        for( std::atomic<T *> &each : places )
            ossl::Ptr<T>( each.exchange( nullptr, std::memory_order_acquire ) );
    }

private:
    std::atomic<T *> &own() { return places[threadNumber() % Places]; }

    std::atomic<T *> places[Places];
};

}

template<class T, unsigned Places>
struct pb::Field<cry::ContextPool<T, Places>>
{
    static void release( cry::ContextPool<T, Places> &field ) { field.clear(); }
};
