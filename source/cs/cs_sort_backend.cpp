#include <cs/cs_sort_backend.h>
#include <pb/containers.hpp>
#include <pb/locks.hpp>
#include <pb/pb_thread_safety.h>
#include <pb/sort.hpp>

#include <string_view>

#include "cs_callbacks.hpp"

namespace
{

struct Backend;

struct Backends
{
    pb::PlainLock  lock;
    Backend *first PB_GUARDED_BY( lock ) = nullptr; // the newest one
};

// They are there before the first start and after the last stop, since objects may be released at
// any time.
constinit Backends backends = {};

// A backend that is registered. Several objects may stand for it, since a look-up cannot retain an
// object whose last reference another thread may be releasing.
struct Backend
{
    const PB_SORT *const sort;
    const cs::Callbacks  callbacks;
    PB_INT objects       PB_GUARDED_BY( backends.lock ) = 1; // how many stand for it
    Backend *next        PB_GUARDED_BY( backends.lock ) = nullptr;
};

void add( Backend *backend )
{
    pb::InPlainLock hold( backends.lock );
    backend->next  = backends.first;
    backends.first = backend;
}

// Counts one object more for the newest backend that fits. Null if there is none.
template<class Fits>
Backend *find( Fits fits )
{
    pb::InPlainLock hold( backends.lock );
    for( Backend *each = backends.first; each; each = each->next )
    {
        if( fits( each->sort ) )
        {
            each->objects++;
            return each;
        }
    }
    return nullptr;
}

// Counts one object less. True if it was the last one; then the backend is out of the list.
bool leave( Backend *backend )
{
    pb::InPlainLock hold( backends.lock );
    if( --backend->objects > 0 )
        return false;
    Backend **link = &backends.first;
    while( *link != backend )
        link = &( *link )->next;
    *link = backend->next;
    return true;
}

}

struct CS_SORT_BACKEND : PB_OBJ
{
    Backend *backend;
};

static void freeBackend( CS_SORT_BACKEND *backend )
{
    PB_CHECK( backend );
    if( leave( backend->backend ) )
        pb::destroy( backend->backend );
    pb::setPoison( backend->backend );
}

static PB_INT compareBackends( CS_SORT_BACKEND *backendA, CS_SORT_BACKEND *backendB )
{
    PB_CHECK( backendA );
    PB_CHECK( backendB );
    auto a = (uintptr_t)backendA->backend, b = (uintptr_t)backendB->backend;
    return a < b ? -1 : a > b;
}

PB_SORT_DEFINE( cs, SortBackend, CS_SORT_BACKEND, .free = pb::slot<freeBackend>, .compare = pb::slot<compareBackends> )

static CS_SORT_BACKEND *objectFor( Backend *counted )
{
    if( !counted )
        return nullptr;
    CS_SORT_BACKEND *backend = pb::create<CS_SORT_BACKEND>();
    backend->backend         = counted;
    return backend;
}

CS_SORT_BACKEND *csSortBackendCreate( const PB_SORT *sort, CS_SORT_BACKEND_CREATE create, CS_SORT_BACKEND_CONFIGURATION configuration,
    CS_SORT_BACKEND_SET_CONFIGURATION setConfiguration, CS_SORT_BACKEND_NORMALIZE normalize, CS_SORT_BACKEND_VALIDATE validate,
    CS_SORT_BACKEND_TRACE_COMPLETE_ANCHOR traceCompleteAnchor, CS_SORT_BACKEND_HALT halt )
{
    PB_CHECK( sort );
    PB_CHECK( create );
    cs::Callbacks callbacks = { create, configuration, setConfiguration, normalize, validate, traceCompleteAnchor, halt };
    auto         *added     = pb::make<Backend>( Backend{ sort, callbacks } );
    add( added );
    return objectFor( added );
}

CS_SORT_BACKEND *csSortBackendLookup( const PB_SORT *sort )
{
    PB_CHECK( sort );
    return objectFor( find( [sort]( const PB_SORT *each ) { return each == sort; } ) );
}

CS_SORT_BACKEND *csSortBackendLookupName( PB_STRING *name )
{
    PB_CHECK( name );
    PB_INT           length;
    const char      *bytes = pbStringPeekUtf8( name, &length );
    std::string_view wanted( bytes, (size_t)length );
    return objectFor( find( [wanted]( const PB_SORT *each ) { return wanted == each->name; } ) );
}

const PB_SORT *csSortBackendObjSort( CS_SORT_BACKEND *backend ) { return PB_CHECK( backend ), backend->backend->sort; }

const cs::Callbacks &cs::callbacksOf( CS_SORT_BACKEND *backend ) { return backend->backend->callbacks; }
