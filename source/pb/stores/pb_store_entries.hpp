// The entries of stores, for the files that write and read whole stores.
#pragma once

#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/ref.hpp>

#include <string_view>

namespace pb
{

enum class StoreKind : PB_INT
{
    null,
    boolean,
    integer,
    string,
    store,
    gap // an entry that was deleted; only the store itself sees it
};

// StoreEntry: one entry, lent by its store.
struct StoreEntry
{
    PB_STRING *key; // null in an array store
    StoreKind  kind;
    PB_INT     number; // of an integer, and of a boolean
    PB_OBJ    *object; // the string or the store, else null
};

// viewOf: the UTF-8 bytes of a string, lent.
inline std::string_view viewOf( PB_STRING *str )
{
    PB_INT      length;
    const char *text = pbStringPeekUtf8( str, &length );
    return { text, (size_t)length };
}

// nextStoreEntry: the entries in order. `place` is 0 at first and moves behind the entry. False if
// there are no more.
bool nextStoreEntry( PB_STORE *store, size_t &place, StoreEntry &entry );

// addStoreEntry: adds an entry behind all others to a store that nobody else holds. False if the
// key is already there.
bool addStoreEntry( PB_STORE *store, Ref<PB_STRING> key, StoreKind kind, PB_INT number, Ref<PB_OBJ> object );

}
