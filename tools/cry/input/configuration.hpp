// Configurations of stacks in files: stores in JSON.
#pragma once

#include <pb/pb_buffer.h>
#include <pb/pb_store.h>
#include <pb/ref.hpp>

#include <string>

namespace tool
{

struct Configuration
{
    pb::Ref<PB_BUFFER> content; // of the file
    pb::Ref<PB_STORE>  store;
};

// The configuration in a file; it may hold a private key. Throws InputError, which names the place
// and the reason, if the file is not such a store. The module need not be started.
Configuration readConfiguration( const std::string &path );

// Whether a configuration has this entry, and the entry is this text.
bool hasValue( PB_STORE *configuration, const char *key, const std::string &value );

// Warns of entries that a stack does not use, because they are unknown or cannot be read, and of a
// private key that others can read.
void warnOfEntries( const std::string &path, PB_STORE *configuration );

}
