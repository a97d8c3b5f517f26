// Stores in files: JSON, with the module's header or without one.
#pragma once

#include <pb/pb_store.h>
#include <pb/ref.hpp>

#include <optional>
#include <string>

namespace tool
{

struct StoreFile
{
    pb::Ref<PB_STORE>          store; // a keyed one
    std::optional<std::string> type;  // of the header, if there is one
};

// Throws InputError, which says the line or the member, if the file cannot be read or does not hold
// a keyed store.
StoreFile readStore( const std::string &path );

}
