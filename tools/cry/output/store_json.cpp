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
    using Object = nlohmann::ordered_json::object_t;
    if( pbStoreIsArray( store ) )
    {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
            list.push_back( entryJson( store, index ) );
        return list;
    }
    // A store has each key once. The map would look through all of them for each new one.
    Object members;
    for( PB_INT index = 0; index < pbStoreLength( store ); index++ )
        members.Object::Container::emplace_back( take( pbStoreKeyAt( store, index ) ), entryJson( store, index ) );
    return members;
}
