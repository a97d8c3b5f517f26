// Stores as JSON.
#pragma once

#include <nlohmann/json.hpp>
#include <pb/pb_store.h>

namespace tool
{

// The entries of a store, in their order.
nlohmann::ordered_json storeJson( PB_STORE *store );

}
