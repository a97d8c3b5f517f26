// Stores as text, for tests.
#pragma once

#include <pb/pb_store.h>
#include <pb/ref.hpp>

#include "support/text.hpp"

#include <nlohmann/json.hpp>
#include <string>

namespace support
{

// A store in one line, its members in their order.
inline std::string json( PB_STORE *newReference )
{
    pb::Ref<PB_STORE> store = pb::adopt( newReference );
    if( !store )
        return "(null)";
    return nlohmann::ordered_json::parse( bytes( pb::adopt( pbStoreEncode( store.get(), nullptr ) ) ) ).dump();
}

}
