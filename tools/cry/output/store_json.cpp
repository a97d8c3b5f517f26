#include "output/store_json.hpp"

#include "text/convert.hpp"

#include <pb/ref.hpp>

namespace
{

nlohmann::ordered_json entryJson( PB_STORE *store, PB_INT index )
{
    PB_INT  number;
    PB_BOOL truth;
    if( PB_STRING *text = pbStoreValueAt( store, index ) )
        return tool::take( text );
    if( pb::Ref<PB_STORE> inner = pb::adopt( pbStoreStoreAt( store, index ) ) )
        return tool::storeJson( inner.get() );
    if( pbStoreIntValueAt( store, index, &number ) )
        return number;
    if( pbStoreBoolValueAt( store, index, &truth ) )
        return (bool)truth;
    return nullptr;
}

}

nlohmann::ordered_json tool::storeJson( PB_STORE *store )
{
    bool                   isArray = pbStoreIsArray( store );
    nlohmann::ordered_json json    = isArray ? nlohmann::ordered_json::array() : nlohmann::ordered_json::object();
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
    {
        if( isArray )
            json.push_back( entryJson( store, index ) );
        else
            json[take( pbStoreKeyAt( store, index ) )] = entryJson( store, index );
    }
    return json;
}
