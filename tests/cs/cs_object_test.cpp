#include <cs/cs_object.h>

#include "cs/toys.hpp"
#include "tr/traces.hpp"

#include <gtest/gtest.h>

using namespace support;
using toys::config;
using toys::json;
using toys::toy;

static pb::Ref<PB_OBJ> make( PB_STORE *config = nullptr, TR_ANCHOR *anchor = nullptr )
{
    return pb::adopt( csObjectTryCreate( &toys::sort, config, anchor ) );
}

static pb::Ref<PB_STORE> secretConfig()
{
    return pb::adopt( pb::StoreWriter().integer( "number", 3 ).value( "secret", str( "hush" ) ).integer( "unknown", 1 ).take() );
}

TEST( CsObject, IsMadeFromAConfiguration )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<PB_OBJ>          plain   = make();
    ASSERT_TRUE( plain );
    EXPECT_EQ( pbObjSort( plain.get() ), &toys::sort );
    EXPECT_EQ( toy( plain.get() )->number, 7 );
    EXPECT_FALSE( pbObjIsShared( plain.get() ) );
    pb::Ref<PB_OBJ> configured = make( config( 12 ).get() );
    ASSERT_TRUE( configured );
    EXPECT_EQ( toy( configured.get() )->number, 12 );
}

TEST( CsObject, GivesItsConfigurationBack )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<PB_OBJ>          plain   = make();
    EXPECT_EQ( json( csObjectTryConfiguration( plain.get(), PB_FALSE, 0 ) ), "{}" );
    EXPECT_EQ( json( csObjectTryConfiguration( plain.get(), PB_TRUE, 0 ) ), R"({"number":7})" );
    pb::Ref<PB_OBJ> configured = make( secretConfig().get() );
    EXPECT_EQ( json( csObjectTryConfiguration( configured.get(), PB_FALSE, 0 ) ), R"({"number":3})" );
    EXPECT_EQ( json( csObjectTryConfiguration( configured.get(), PB_FALSE, CS_STORE_PRIVATE ) ), R"({"number":3,"secret":"hush"})" );
}

TEST( CsObject, IsReconfiguredWhileItWorks )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<PB_OBJ>          obj     = make( secretConfig().get() );
    EXPECT_TRUE( csObjectTrySetConfiguration( obj.get(), config( 5 ).get() ) );
    EXPECT_EQ( json( csObjectTryConfiguration( obj.get(), PB_TRUE, CS_STORE_PRIVATE ) ), R"({"number":5})" );
}

TEST( CsObject, ARefusedConfigurationReachesNoObject )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    EXPECT_TRUE( csConfigurationOk( &toys::sort, config( 0 ).get() ) );
    EXPECT_FALSE( csConfigurationOk( &toys::sort, config( -1 ).get() ) );
    EXPECT_FALSE( make( config( -1 ).get() ) );
    pb::Ref<PB_OBJ> obj = make( config( 5 ).get() );
    EXPECT_FALSE( csObjectTrySetConfiguration( obj.get(), config( -1 ).get() ) );
    EXPECT_EQ( toy( obj.get() )->number, 5 );
}

TEST( CsObject, NormalizesAConfigurationWithoutAnObject )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<PB_STORE>        given   = secretConfig();
    EXPECT_EQ( json( csConfigurationTryNormalize( &toys::sort, given.get(), PB_FALSE, 0 ) ), R"({"number":3})" );
    EXPECT_EQ( json( csConfigurationTryNormalize( &toys::sort, given.get(), PB_FALSE, CS_STORE_PRIVATE ) ), R"({"number":3,"secret":"hush"})" );
    EXPECT_EQ( json( csConfigurationTryNormalize( &toys::sort, config( 7 ).get(), PB_FALSE, 0 ) ), "{}" );
    EXPECT_EQ( json( csConfigurationTryNormalize( &toys::sort, config( 7 ).get(), PB_TRUE, 0 ) ), R"({"number":7})" );
    // Null reaches the backend.
    EXPECT_EQ( json( csConfigurationTryNormalize( &toys::sort, nullptr, PB_TRUE, 0 ) ), R"({"number":7})" );
}

TEST( CsObject, CompletesTheAnchorOfItsMakerAndLaterOnes )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<TR_STREAM>       owner   = traces::stream( "OWNER" );
    pb::Ref<TR_ANCHOR>       first   = pb::adopt( trAnchorCreate( owner.get(), 9 ) );
    pb::Ref<TR_ANCHOR>       second  = pb::adopt( trAnchorCreate( owner.get(), 10 ) );
    traces::Attached         sink( trSinkCreateMemory() );
    pb::Ref<PB_OBJ>          obj = make( nullptr, first.get() );
    EXPECT_TRUE( csObjectTryTraceCompleteAnchor( obj.get(), second.get() ) );
    std::vector<nlohmann::ordered_json> wanted;
    for( PB_INT kind : { 9, 10 } )
        wanted.push_back( traces::with( traces::head( owner, "link" ),
            { { "kind", kind }, { "otherStream", trStreamNumber( toy( obj.get() )->stream ) }, { "otherName", "TOY" } } ) );
    EXPECT_EQ( traces::events( sink ), wanted );
}

TEST( CsObject, IsHaltedAndStaysValid )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    pb::Ref<PB_OBJ>          obj     = make();
    EXPECT_FALSE( toy( obj.get() )->halted );
    EXPECT_TRUE( csObjectTryHalt( obj.get() ) );
    EXPECT_TRUE( toy( obj.get() )->halted );
    EXPECT_EQ( json( csObjectTryConfiguration( obj.get(), PB_TRUE, 0 ) ), R"({"number":7})" );
}

// All functions give null or false, and the object stays as it is.
static void expectNothing( PB_OBJ *obj )
{
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( traces::stream().get(), 9 ) );
    EXPECT_EQ( json( csObjectTryConfiguration( obj, PB_TRUE, 0 ) ), "(null)" );
    EXPECT_FALSE( csObjectTrySetConfiguration( obj, config( 12 ).get() ) );
    EXPECT_EQ( json( csConfigurationTryNormalize( &toys::sort, config( 12 ).get(), PB_TRUE, 0 ) ), "(null)" );
    EXPECT_FALSE( csObjectTryTraceCompleteAnchor( obj, anchor.get() ) );
    EXPECT_FALSE( csObjectTryHalt( obj ) );
    EXPECT_EQ( toy( obj )->number, 7 );
}

TEST( CsObject, WithoutABackendNothingHappens )
{
    pb::Ref<PB_OBJ> obj = pb::adopt( toys::create( nullptr, nullptr ) );
    EXPECT_FALSE( make() );
    EXPECT_FALSE( csConfigurationOk( &toys::sort, config( 0 ).get() ) );
    expectNothing( obj.get() );
}

TEST( CsObject, ABackendMayBeAbleToCreateOnly )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::creatingBackend( &toys::sort, toys::create );
    EXPECT_TRUE( make( config( -1 ).get() ) );
    EXPECT_TRUE( csConfigurationOk( &toys::sort, config( -1 ).get() ) );
    expectNothing( make().get() );
}

TEST( CsObject, ABackendMayMakeNone )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::creatingBackend( &toys::sort, []( PB_STORE *, TR_ANCHOR * ) -> PB_OBJ * { return nullptr; } );
    EXPECT_FALSE( make() );
}

namespace
{

pb::Ref<CS_SORT_BACKEND> own;

// Uses the library, and releases its own backend.
PB_OBJ *createLast( PB_STORE *config, TR_ANCHOR *anchor )
{
    own = {};
    EXPECT_TRUE( toys::lookup() ) << "the call holds it";
    return toys::create( config, anchor );
}

}

TEST( CsObject, ABackendMayReleaseItselfInACall )
{
    own = toys::creatingBackend( &toys::sort, createLast );
    EXPECT_TRUE( make() );
    EXPECT_FALSE( toys::lookup() );
    EXPECT_FALSE( make() );
}
