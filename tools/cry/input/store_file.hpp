// Stores in files: JSON, with the module's header or without one.
#pragma once

#include "input/file.hpp"

#include <pb/pb_buffer.h>
#include <pb/pb_store.h>
#include <pb/ref.hpp>

#include <optional>
#include <string>

namespace tool
{

struct StoreFile
{
    pb::Ref<PB_BUFFER>         content; // of the file
    pb::Ref<PB_STORE>          store;   // a keyed one
    std::optional<std::string> type;    // of the header, if there is one
};

// Throws InputError, which names the place and the reason, if the file cannot be read or does not
// hold a keyed store.
StoreFile readStore( const std::string &path, Content kind = Content::open );

}
