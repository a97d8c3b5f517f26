#include <tr/tr_stream.h>

#include "support/no_memory.hpp"
#include "tr/traces.hpp"

using namespace support;
using traces::Attached;
using traces::head;
using traces::with;
using Json = nlohmann::ordered_json;

TEST( TrStream, HasItsNameAndANumberOfItsOwn )
{
    pb::Ref<TR_STREAM> a = traces::stream( "CRY_X509_STACK" );
    pb::Ref<TR_STREAM> b = pb::adopt( trStreamCreateCstr( "CRY_X509_STACK and more", 14 ) );
    EXPECT_EQ( text( pb::adopt( trStreamName( a.get() ) ) ), "CRY_X509_STACK" );
    EXPECT_EQ( text( pb::adopt( trStreamName( b.get() ) ) ), "CRY_X509_STACK" );
    EXPECT_GT( trStreamNumber( a.get() ), 0 );
    EXPECT_GT( trStreamNumber( b.get() ), trStreamNumber( a.get() ) );
    PB_INT before = trStreamNumber( b.get() );
    b             = {};
    EXPECT_GT( trStreamNumber( traces::stream().get() ), before );
    EXPECT_EQ( text( pb::adopt( trStreamToString( a.get() ) ) ), "CRY_X509_STACK " + std::to_string( trStreamNumber( a.get() ) ) );
}

TEST( TrStream, EqualsOnlyItself )
{
    pb::Ref<TR_STREAM> a = traces::stream();
    pb::Ref<TR_STREAM> b = traces::stream();
    EXPECT_TRUE( trStreamEquals( a.get(), a.get() ) );
    EXPECT_FALSE( trStreamEquals( a.get(), b.get() ) );
}

TEST( TrStream, IsActiveWhileASinkIsAttached )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    EXPECT_FALSE( trStreamActive( stream.get() ) );
    {
        Attached first( trSinkCreateMemory() );
        EXPECT_TRUE( trStreamActive( stream.get() ) );
        {
            Attached second( trSinkCreateMemory() );
        }
        EXPECT_TRUE( trStreamActive( stream.get() ) );
    }
    EXPECT_FALSE( trStreamActive( stream.get() ) );
}

TEST( TrStream, TracesText )
{
    pb::Ref<TR_STREAM> stream = traces::stream( "CRY_X509_STACK" );
    Attached           sink( trSinkCreateMemory() );
    trStreamTextCstr( stream.get(), "[cry___X509StackImpStateCommit()] identityChanged: true", -1 );
    trStreamTextCstr( stream.get(), "[f()] and more", 5 );
    trStreamTextCstr( stream.get(), "", -1 );
    trStreamTextCstr( stream.get(), "a\xFF\n\"b\"", -1 );
    EXPECT_EQ( traces::events( sink ),
        ( std::vector<Json>{ with( head( stream, "text" ), { { "text", "[cry___X509StackImpStateCommit()] identityChanged: true" } } ),
            with( head( stream, "text" ), { { "text", "[f()]" } } ), with( head( stream, "text" ), { { "text", "" } } ),
            with( head( stream, "text" ), { { "text", "a\uFFFD\n\"b\"" } } ) } ) );
}

TEST( TrStream, TracesFormattedText )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateMemory() );
    trStreamTextFormatCstr( stream.get(), "[%lc()] X509_verify_cert(): failed (error %i at depth %i)", -1, "f", PB_INT{ 20 }, PB_INT{ 0 } );
    trStreamTextFormatCstr( stream.get(), "100%% of ~%s, cut off", 12, str( "it" ).get() );
    EXPECT_EQ( traces::events( sink ),
        ( std::vector<Json>{ with( head( stream, "text" ), { { "text", "[f()] X509_verify_cert(): failed (error 20 at depth 0)" } } ),
            with( head( stream, "text" ), { { "text", "100% of ~it" } } ) } ) );
}

TEST( TrStream, TracesPropertiesAndTheirEnd )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<PB_STORE>  store  = pb::adopt( pbStoreCreate() );
    pbStoreSetIntValueCstr( store.handle(), "version", -1, 3 );
    Attached sink( trSinkCreateMemory() );
    trStreamSetPropertyCstrStore( stream.get(), "cryIdentity", -1, store.get() );
    trStreamSetPropertyCstrString( stream.get(), "cryEffectivePolicyFlags", -1, str( "A|B" ).get() );
    trStreamSetPropertyCstrBool( stream.get(), "crySuccessful", 10, 7 );
    trStreamSetPropertyCstrBool( stream.get(), "crySuccess", -1, PB_FALSE );
    trStreamDelPropertyCstr( stream.get(), "cryIdentity", -1 );
    Json property = head( stream, "property" );
    EXPECT_EQ( traces::events( sink ),
        ( std::vector<Json>{ with( property, { { "key", "cryIdentity" }, { "value", { { "version", 3 } } } } ),
            with( property, { { "key", "cryEffectivePolicyFlags" }, { "value", "A|B" } } ),
            with( property, { { "key", "crySuccess" }, { "value", true } } ), with( property, { { "key", "crySuccess" }, { "value", false } } ),
            with( head( stream, "propertyDeleted" ), { { "key", "cryIdentity" } } ) } ) );
}

TEST( TrStream, TracesTheNotableMarkBeforeTheTextOfAFailure )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateMemory() );
    trStreamSetNotable( stream.get() );
    trStreamTextCstr( stream.get(), "failed", -1 );
    EXPECT_EQ( traces::events( sink ), ( std::vector<Json>{ head( stream, "notable" ), with( head( stream, "text" ), { { "text", "failed" } } ) } ) );
}

TEST( TrStream, TracesAConfiguration )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<PB_STORE>  store  = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendBoolValue( store.handle(), PB_TRUE );
    Attached sink( trSinkCreateMemory() );
    trStreamSetConfiguration( stream.get(), store.get() );
    EXPECT_EQ( traces::events( sink ), ( std::vector<Json>{ with( head( stream, "configuration" ), { { "value", { true } } } ) } ) );
}

TEST( TrStream, AnEventKeepsAStoreAsItWas )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<PB_STORE>  store  = pb::adopt( pbStoreCreate() );
    Attached           sink( trSinkCreateMemory() );
    trStreamSetPropertyCstrStore( stream.get(), "p", -1, store.get() );
    pbStoreSetIntValueCstr( store.handle(), "later", -1, 1 );
    EXPECT_EQ( traces::events( sink ).at( 0 ).at( "value" ), Json::object() );
}

TEST( TrStream, WhatWasTracedWithoutASinkIsNotReplayed )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    trStreamSetPropertyCstrBool( stream.get(), "crySuccess", -1, PB_TRUE );
    Attached sink( trSinkCreateMemory() );
    EXPECT_TRUE( traces::events( sink ).empty() );
}

TEST( TrStream, AllocatesNothingWithoutASink )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<TR_STREAM> other  = traces::stream();
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( other.get(), 9 ) );
    pb::Ref<PB_STRING> string = str( "value" );
    pb::Ref<PB_STORE>  store  = pb::adopt( pbStoreCreate() );
    NoMemory           none;
    EXPECT_FALSE( trStreamActive( stream.get() ) );
    trStreamTextCstr( stream.get(), "text", -1 );
    trStreamTextFormatCstr( stream.get(), "text %s", -1, string.get() );
    trStreamSetNotable( stream.get() );
    trStreamSetConfiguration( stream.get(), store.get() );
    trStreamSetPropertyCstrString( stream.get(), "key", -1, string.get() );
    trStreamSetPropertyCstrBool( stream.get(), "key", -1, PB_TRUE );
    trStreamSetPropertyCstrStore( stream.get(), "key", -1, store.get() );
    trStreamDelPropertyCstr( stream.get(), "key", -1 );
    trAnchorComplete( anchor.get(), stream.get() );
}

// The value of the only event.
static Json valueOf( const Attached &sink, const char *member ) { return traces::events( trSinkTakeEvents( sink.get() ) ).at( 0 ).at( member ); }

TEST( TrStream, WritesNoSecrets )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<PB_STRING> secret = str( "hunter2" );
    pbStringSetSensitive( secret.handle() );
    Attached sink( trSinkCreateMemory() );

    trStreamSetPropertyCstrString( stream.get(), "p", -1, secret.get() );
    EXPECT_EQ( valueOf( sink, "value" ), "(secret)" );
    trStreamTextFormatCstr( stream.get(), "the password is %s", -1, secret.get() );
    EXPECT_EQ( valueOf( sink, "text" ), "(secret)" );
    trStreamTextFormatCstr( stream.get(), "the password is %o", -1, pbStringObj( secret.get() ) );
    EXPECT_EQ( valueOf( sink, "text" ), "(secret)" );

    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( store.handle(), str( "public" ).get() );
    trStreamSetPropertyCstrStore( stream.get(), "p", -1, store.get() );
    EXPECT_EQ( valueOf( sink, "value" ), Json::array( { "public" } ) );
    pbStoreAppendValue( store.handle(), secret.get() );
    trStreamSetPropertyCstrStore( stream.get(), "p", -1, store.get() );
    EXPECT_EQ( valueOf( sink, "value" ), "(secret)" );
    // Far inside, beside stores without a secret.
    for( int depth = 0; depth < 1000; depth++ )
    {
        pb::Ref<PB_STORE> outer = pb::adopt( pbStoreCreate() );
        pbStoreSetStoreCstr( outer.handle(), "a", -1, store.get() );
        pbStoreSetStoreCstr( outer.handle(), "b", -1, pb::adopt( pbStoreCreate() ).get() );
        store = outer;
    }
    trStreamSetConfiguration( stream.get(), store.get() );
    EXPECT_EQ( valueOf( sink, "value" ), "(secret)" );

    // A store that was read from a secret text has secret keys.
    pb::Ref<PB_BUFFER> json = buf( "{\"key\":true}" );
    pbBufferSetSensitive( json.handle() );
    trStreamSetConfiguration( stream.get(), pb::adopt( pbStoreTryDecode( json.get(), nullptr ) ).get() );
    EXPECT_EQ( valueOf( sink, "value" ), "(secret)" );
}
