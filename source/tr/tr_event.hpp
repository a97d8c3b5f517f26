// Events, as include/tr/tr_sink.h describes them.
#pragma once

#include <pb/pb_buffer.h>
#include <pb/pb_store.h>
#include <pb/pb_string.h>
#include <pb/ref.hpp>

namespace tr
{

// Event: one event in the making.
class Event
{
public:
    // An event without a stream has only a time and a kind.
    explicit Event( const char *kind );
    Event( PB_INT stream, PB_STRING *name, const char *kind );

    Event &set( const char *key, PB_INT value );
    Event &setBool( const char *key, PB_BOOL value );
    Event &set( const char *key, PB_STRING *value );
    Event &set( const char *key, PB_STORE *value );
    // Text as it comes from a caller.
    Event &set( const char *key, const char *text, PB_INT length );

    PB_STORE *get() const { return store.get(); }

    // The event as one line of JSON, with a line feed at the end.
    pb::Ref<PB_BUFFER> line() const { return lineOf( store.get() ); }

    static pb::Ref<PB_BUFFER> lineOf( PB_STORE *event );

private:
    pb::Ref<PB_STORE> store;
};

}
