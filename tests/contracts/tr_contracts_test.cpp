#include <tr/tr.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char streamFile[] = "source/tr/tr_stream.cpp";
static constexpr char anchorFile[] = "source/tr/tr_anchor.cpp";
static constexpr char sinkFile[]   = "source/tr/tr_sink.cpp";

static pb::Ref<TR_STREAM> stream() { return pb::adopt( trStreamCreateCstr( "A_NAME", -1 ) ); }

TEST( TrContracts, StandardFunctions )
{
    pb::Ref<TR_STREAM> owner  = stream();
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 9 ) );
    pb::Ref<TR_SINK>   sink   = pb::adopt( trSinkCreateMemory() );
    EXPECT_STANDARD_CHECKS( streamFile, tr, Stream, TR_STREAM, "stream", owner.get() );
    EXPECT_STANDARD_CHECKS( anchorFile, tr, Anchor, TR_ANCHOR, "anchor", anchor.get() );
    EXPECT_STANDARD_CHECKS( sinkFile, tr, Sink, TR_SINK, "sink", sink.get() );
}

// The same with and without a sink.
static void expectStreamChecks()
{
    pb::Ref<TR_STREAM> held  = stream();
    TR_STREAM         *owner = held.get();
    pb::Ref<PB_STRING> value = str( "value" );
    pb::Ref<PB_STORE>  store = pb::adopt( pbStoreCreate() );
    EXPECT_ABORT( streamFile, "stream", trStreamActive( nullptr ) );
    EXPECT_ABORT( streamFile, "stream", trStreamTextCstr( nullptr, "text", -1 ) );
    EXPECT_ABORT( streamFile, "text", trStreamTextCstr( owner, nullptr, 0 ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamTextCstr( owner, "text", -2 ) );
    EXPECT_ABORT( streamFile, "stream", trStreamTextFormatCstr( nullptr, "text", -1 ) );
    EXPECT_ABORT( streamFile, "format", trStreamTextFormatCstr( owner, nullptr, 0 ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamTextFormatCstr( owner, "text", -2 ) );
    EXPECT_ABORT( streamFile, "stream", trStreamSetNotable( nullptr ) );
    EXPECT_ABORT( streamFile, "stream", trStreamSetConfiguration( nullptr, store.get() ) );
    EXPECT_ABORT( streamFile, "store", trStreamSetConfiguration( owner, nullptr ) );
    EXPECT_ABORT( streamFile, "stream", trStreamSetPropertyCstrString( nullptr, "key", -1, value.get() ) );
    EXPECT_ABORT( streamFile, "key", trStreamSetPropertyCstrString( owner, nullptr, 0, value.get() ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamSetPropertyCstrString( owner, "key", -2, value.get() ) );
    EXPECT_ABORT( streamFile, "value", trStreamSetPropertyCstrString( owner, "key", -1, nullptr ) );
    EXPECT_ABORT( streamFile, "stream", trStreamSetPropertyCstrBool( nullptr, "key", -1, PB_TRUE ) );
    EXPECT_ABORT( streamFile, "key", trStreamSetPropertyCstrBool( owner, nullptr, 0, PB_TRUE ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamSetPropertyCstrBool( owner, "key", -2, PB_TRUE ) );
    EXPECT_ABORT( streamFile, "stream", trStreamSetPropertyCstrStore( nullptr, "key", -1, store.get() ) );
    EXPECT_ABORT( streamFile, "key", trStreamSetPropertyCstrStore( owner, nullptr, 0, store.get() ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamSetPropertyCstrStore( owner, "key", -2, store.get() ) );
    EXPECT_ABORT( streamFile, "value", trStreamSetPropertyCstrStore( owner, "key", -1, nullptr ) );
    EXPECT_ABORT( streamFile, "stream", trStreamDelPropertyCstr( nullptr, "key", -1 ) );
    EXPECT_ABORT( streamFile, "key", trStreamDelPropertyCstr( owner, nullptr, 0 ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamDelPropertyCstr( owner, "key", -2 ) );
}

TEST( TrContracts, Streams )
{
    EXPECT_ABORT( streamFile, "name", trStreamCreateCstr( nullptr, 0 ) );
    EXPECT_ABORT( streamFile, "length >= -1", trStreamCreateCstr( "A_NAME", -2 ) );
    EXPECT_ABORT( streamFile, "stream", trStreamName( nullptr ) );
    EXPECT_ABORT( streamFile, "stream", trStreamNumber( nullptr ) );
    expectStreamChecks();
}

TEST( TrContracts, StreamsWithASink )
{
    pb::Ref<TR_STREAM> owner = stream();
    pb::Ref<TR_SINK>   sink  = pb::adopt( trSinkCreateMemory() );
    ASSERT_TRUE( trSinkAttach( sink.get() ) );
    expectStreamChecks();
    for( const char *format : { "%~o", "a %s %-~8o", "%%%0~o" } )
        EXPECT_ABORT( streamFile, "!consumes", trStreamTextFormatCstr( owner.get(), format, -1, nullptr ) );
    trStreamTextFormatCstr( owner.get(), "%%~o ~ %i %~o", 10, PB_INT{ 1 } );
    trSinkDetach( sink.get() );
    EXPECT_EQ( pbVectorLength( pb::adopt( trSinkEvents( sink.get() ) ).get() ), 1 );
}

TEST( TrContracts, Anchors )
{
    pb::Ref<TR_STREAM> owner  = stream();
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 9 ) );
    EXPECT_ABORT( anchorFile, "ownerStream", trAnchorCreate( nullptr, 9 ) );
    EXPECT_ABORT( anchorFile, "anchor", trAnchorKind( nullptr ) );
    EXPECT_ABORT( anchorFile, "anchor", trAnchorComplete( nullptr, owner.get() ) );
    EXPECT_ABORT( anchorFile, "stream", trAnchorComplete( anchor.get(), nullptr ) );
}

TEST( TrContracts, Sinks )
{
    EXPECT_ABORT( sinkFile, "capacity > 0", trSinkCreateRing( 0 ) );
    EXPECT_ABORT( sinkFile, "capacity > 0", trSinkCreateRing( -1 ) );
    EXPECT_ABORT( sinkFile, "path", trSinkTryCreateJsonLines( nullptr ) );
    EXPECT_ABORT( sinkFile, "write", trSinkCreateJsonLinesWriter( nullptr, nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", trSinkAttach( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", trSinkDetach( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", trSinkFlush( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", trSinkEvents( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", trSinkTakeEvents( nullptr ) );
    EXPECT_ABORT( sinkFile, "sink", trSinkDropped( nullptr ) );
}
