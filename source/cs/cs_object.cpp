#include <cs/cs_object.h>
#include <pb/ref.hpp>

#include "cs_callbacks.hpp"

namespace
{

// The backend that counts for a sort, held until the end of the call.
class Held
{
public:
    explicit Held( const PB_SORT *sort ) : backend( pb::adopt( csSortBackendLookup( sort ) ) )
    {
        if( backend )
            functions = cs::callbacksOf( backend.get() );
    }

    bool takes( PB_STORE *config ) const { return backend && ( !functions.validate || functions.validate( config ) ); }

    const cs::Callbacks *operator->() const { return &functions; }

private:
    pb::Ref<CS_SORT_BACKEND> backend;
    cs::Callbacks            functions = {};
};

}

PB_OBJ *csObjectTryCreate( const PB_SORT *sort, PB_STORE *config, TR_ANCHOR *anchor )
{
    PB_CHECK( sort );
    Held backend( sort );
    if( !backend->create || ( config && !backend.takes( config ) ) )
        return nullptr;
    PB_OBJ *obj = backend->create( config, anchor );
    PB_CHECK( !obj || pbObjSort( obj ) == sort );
    return obj;
}

PB_STORE *csObjectTryConfiguration( PB_OBJ *obj, PB_BOOL storeDefaults, PB_INT flags )
{
    PB_CHECK( obj );
    Held backend( pbObjSort( obj ) );
    return backend->configuration ? backend->configuration( obj, storeDefaults, flags ) : nullptr;
}

PB_BOOL csObjectTrySetConfiguration( PB_OBJ *obj, PB_STORE *config )
{
    PB_CHECK( obj );
    PB_CHECK( config );
    Held backend( pbObjSort( obj ) );
    if( !backend->setConfiguration || !backend.takes( config ) )
        return PB_FALSE;
    backend->setConfiguration( obj, config );
    return PB_TRUE;
}

PB_BOOL csObjectTryTraceCompleteAnchor( PB_OBJ *obj, TR_ANCHOR *anchor )
{
    PB_CHECK( obj );
    PB_CHECK( anchor );
    Held backend( pbObjSort( obj ) );
    if( !backend->traceCompleteAnchor )
        return PB_FALSE;
    backend->traceCompleteAnchor( obj, anchor );
    return PB_TRUE;
}

PB_BOOL csObjectTryHalt( PB_OBJ *obj )
{
    PB_CHECK( obj );
    Held backend( pbObjSort( obj ) );
    if( !backend->halt )
        return PB_FALSE;
    backend->halt( obj );
    return PB_TRUE;
}

PB_STORE *csConfigurationTryNormalize( const PB_SORT *sort, PB_STORE *config, PB_BOOL storeDefaults, PB_INT flags )
{
    PB_CHECK( sort );
    Held backend( sort );
    return backend->normalize ? backend->normalize( config, storeDefaults, flags ) : nullptr;
}

PB_BOOL csConfigurationOk( const PB_SORT *sort, PB_STORE *config )
{
    PB_CHECK( sort );
    PB_CHECK( config );
    return Held( sort ).takes( config );
}
