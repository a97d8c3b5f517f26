// Sinks and events, for the tests of traces.
#pragma once

#include <pb/each.hpp>
#include <pb/pb.h>
#include <pb/ref.hpp>
#include <tr/tr.h>

#include "support/text.hpp"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace traces
{

// A sink that is attached until the end of the test.
class Attached
{
public:
    explicit Attached( TR_SINK *newReference ) : sink( pb::adopt( newReference ) ) { EXPECT_TRUE( trSinkAttach( sink.get() ) ); }
    ~Attached() { trSinkDetach( sink.get() ); }
    Attached( const Attached & ) = delete;

    TR_SINK *get() const { return sink.get(); }

private:
    pb::Ref<TR_SINK> sink;
};

inline pb::Ref<TR_STREAM> stream( const char *name = "A_NAME" ) { return pb::adopt( trStreamCreateCstr( name, -1 ) ); }

// An event without its time, which must be one.
inline nlohmann::ordered_json withoutTime( nlohmann::ordered_json event )
{
    pb::Ref<PB_TIME> time = pb::adopt( pbTimeTryCreateFromString( support::str( event.at( "time" ).get<std::string>() ).get() ) );
    EXPECT_TRUE( time ) << event;
    event.erase( "time" );
    return event;
}

// The events as JSON, in the order of their members, without the times.
inline std::vector<nlohmann::ordered_json> events( PB_VECTOR *newReference )
{
    pb::Ref<PB_VECTOR>                  vector = pb::adopt( newReference );
    std::vector<nlohmann::ordered_json> list;
    for( PB_STORE *event : pb::each<PB_STORE>( vector ) )
        list.push_back( withoutTime( nlohmann::ordered_json::parse( support::bytes( pb::adopt( pbStoreEncode( event, nullptr ) ) ) ) ) );
    return list;
}
inline std::vector<nlohmann::ordered_json> events( const Attached &sink ) { return events( trSinkEvents( sink.get() ) ); }

// The beginning of every event.
inline nlohmann::ordered_json head( const pb::Ref<TR_STREAM> &stream, const char *event )
{
    return { { "stream", trStreamNumber( stream.get() ) }, { "name", support::text( pb::adopt( trStreamName( stream.get() ) ) ) },
        { "event", event } };
}

inline nlohmann::ordered_json with( nlohmann::ordered_json event, const nlohmann::ordered_json &more )
{
    event.update( more );
    return event;
}

}
