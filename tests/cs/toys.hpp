// A sort that can be configured, for the tests of backends.
#pragma once

#include <cs/cs.h>
#include <pb/pb.h>
#include <pb/sort.hpp>
#include <pb/stored.hpp>
#include <tr/tr.h>

#include "support/stores.hpp"
#include "support/text.hpp"

PB_OBJECT_TYPE( TOY );

struct TOY : PB_OBJ
{
    PB_INT     number; // 7 by default
    PB_STRING *secret;
    TR_STREAM *stream;
    PB_BOOL    halted;
};

namespace toys
{

inline constexpr auto fields = pb::fields<&TOY::number, &TOY::secret, &TOY::stream, &TOY::halted>;

inline void freeToy( PB_OBJ *obj ) { fields.release( static_cast<TOY *>( obj ) ); }

inline const PB_SORT sort      = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), nullptr, "TOY", { .free = freeToy } };
inline const PB_SORT otherSort = { PB_OBJ_STATIC( &pb___sort_PB_SORT ), nullptr, "OTHER_TOY", { .free = freeToy } };

inline TOY *toy( PB_OBJ *obj ) { return static_cast<TOY *>( obj ); }

inline void setConfiguration( PB_OBJ *obj, PB_STORE *config )
{
    toy( obj )->number = 7;
    if( config )
        pbStoreIntValueCstr( config, "number", -1, &toy( obj )->number );
    pb::assign( toy( obj )->secret, pb::adopt( config ? pbStoreValueCstr( config, "secret", -1 ) : nullptr ).get() );
}

inline void traceCompleteAnchor( PB_OBJ *obj, TR_ANCHOR *anchor ) { trAnchorComplete( anchor, toy( obj )->stream ); }

inline PB_OBJ *createOf( const PB_SORT *sort, PB_STORE *config, TR_ANCHOR *anchor )
{
    PB_OBJ *obj        = pb___ObjCreate( sizeof( TOY ), sort );
    toy( obj )->stream = trStreamCreateCstr( "TOY", -1 );
    setConfiguration( obj, config );
    if( anchor )
        traceCompleteAnchor( obj, anchor );
    return obj;
}
inline PB_OBJ *create( PB_STORE *config, TR_ANCHOR *anchor ) { return createOf( &sort, config, anchor ); }
inline PB_OBJ *createOther( PB_STORE *config, TR_ANCHOR *anchor ) { return createOf( &otherSort, config, anchor ); }

inline PB_STORE *configuration( PB_OBJ *obj, PB_BOOL storeDefaults, PB_INT flags )
{
    pb::StoreWriter store;
    if( storeDefaults || toy( obj )->number != 7 )
        store.integer( "number", toy( obj )->number );
    if( flags & CS_STORE_PRIVATE )
        store.value( "secret", toy( obj )->secret );
    return store.take();
}

inline PB_STORE *normalize( PB_STORE *config, PB_BOOL storeDefaults, PB_INT flags )
{
    return configuration( pb::adopt( create( config, nullptr ) ).get(), storeDefaults, flags );
}

inline PB_BOOL validate( PB_STORE *config )
{
    PB_INT number = 0;
    pbStoreIntValueCstr( config, "number", -1, &number );
    return number >= 0;
}

inline void halt( PB_OBJ *obj ) { toy( obj )->halted = PB_TRUE; }

// A backend with all functions, and one that can only create.
inline pb::Ref<CS_SORT_BACKEND> backend()
{
    return pb::adopt( csSortBackendCreate( &sort, create, configuration, setConfiguration, normalize, validate, traceCompleteAnchor, halt ) );
}
inline pb::Ref<CS_SORT_BACKEND> creatingBackend( const PB_SORT *sort, CS_SORT_BACKEND_CREATE create )
{
    return pb::adopt( csSortBackendCreate( sort, create, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr ) );
}

inline pb::Ref<CS_SORT_BACKEND> lookup( const PB_SORT *of = &sort ) { return pb::adopt( csSortBackendLookup( of ) ); }

inline pb::Ref<PB_STORE> config( PB_INT number ) { return pb::adopt( pb::StoreWriter().integer( "number", number ).take() ); }

using support::json;

}
