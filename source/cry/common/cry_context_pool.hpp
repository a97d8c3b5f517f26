// OpenSSL objects that cost as much to make as to use, kept between uses. Threads begin at
// different places, so they seldom meet; a thread that finds its place empty makes one of its own.
// All of it is zero at the start, so that it can stand in static memory and in objects.
#pragma once

#include "common/cry_ossl.hpp"

#include <atomic>

namespace cry
{

// A number that is this thread's, from 0 on in the order of the first use.
unsigned threadNumber();

template<ossl::Freed T, unsigned Places>
class ContextPool
{
public:
    // One that was kept, or null.
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
