#include "cry/x509/stacks.hpp"
#include "tr/traces.hpp"

#include <cs/cs.h>

using namespace support;
using traces::Attached;

namespace
{

pb::Ref<PB_STORE> configOf( const Options &opt, PB_INT identityStoreFlags = CS_STORE_PRIVATE )
{
    return pb::adopt( cryX509StackOptionsStore( opt.get(), PB_FALSE, identityStoreFlags ) );
}

pb::Ref<PB_STORE> with( pb::Ref<PB_STORE> store, const char *key, const char *value )
{
    pbStoreSetValueCstr( store.handle(), key, -1, str( value ).get() );
    return store;
}

pb::Ref<PB_OBJ> make( const pb::Ref<PB_STORE> &config, TR_ANCHOR *anchor = nullptr )
{
    return pb::adopt( csObjectTryCreate( cryX509StackSort(), config.get(), anchor ) );
}

Stack stackIn( const pb::Ref<PB_OBJ> &obj ) { return pb::share( cryX509StackFrom( obj.get() ) ); }

std::string normalized( const pb::Ref<PB_STORE> &config, PB_BOOL storeDefaults = PB_FALSE, PB_INT flags = 0 )
{
    return json( csConfigurationTryNormalize( cryX509StackSort(), config.get(), storeDefaults, flags ) );
}

Options some() { return options( fixedIdentity( 1 ), trusting( { selfSigned( "CN=A" ) } ), trustingIdentity( PB_TRUE ) ); }

const std::string defaults =
    R"({"identityMode":"CRY_X509_STACK_IDENTITY_MODE_FIXED","trustMode":"CRY_X509_STACK_TRUST_MODE_FIXED","trustIdentity":false,"policyFlags":""})";

}

TEST( CryX509StackCs, IsFoundByTheNameOfTheSort )
{
    pb::Ref<CS_SORT_BACKEND> backend = pb::adopt( csSortBackendLookupName( str( "CRY_X509_STACK" ).get() ) );
    ASSERT_TRUE( backend );
    EXPECT_EQ( csSortBackendObjSort( backend.get() ), cryX509StackSort() );
}

TEST( CryX509StackCs, MakesAStackFromAConfiguration )
{
    pb::Ref<PB_OBJ> obj = make( configOf( some() ) );
    ASSERT_TRUE( obj );
    ASSERT_EQ( pbObjSort( obj.get() ), cryX509StackSort() );
    EXPECT_FALSE( pbObjIsShared( obj.get() ) );
    Options opt = pb::adopt( cryX509StackOptions( cryX509StackFrom( obj.get() ) ) );
    EXPECT_TRUE( cryX509StackOptionsEquals( opt.get(), some().get() ) );
    EXPECT_TRUE( cryX509IdentityEquals( identityOf( sessionOf( stackIn( obj ) ) ).get(), identity( 1 ).get() ) );
    // Without a configuration it has the defaults.
    opt = pb::adopt( cryX509StackOptions( stackIn( make( {} ) ).get() ) );
    EXPECT_TRUE( cryX509StackOptionsEquals( opt.get(), options().get() ) );
}

TEST( CryX509StackCs, GivesTheConfigurationBack )
{
    pb::Ref<PB_OBJ> obj = make( configOf( some() ) );
    for( PB_INT flags : { (PB_INT)0, CS_STORE_PRIVATE } )
    {
        std::string config = json( csObjectTryConfiguration( obj.get(), PB_FALSE, flags ) );
        EXPECT_EQ( config, json( configOf( some(), flags ).take() ) );
        EXPECT_EQ( config.find( "privateKey" ) != std::string::npos, flags == CS_STORE_PRIVATE );
    }
    EXPECT_EQ( json( csObjectTryConfiguration( make( {} ).get(), PB_FALSE, 0 ) ), "{}" );
    EXPECT_EQ( json( csObjectTryConfiguration( make( {} ).get(), PB_TRUE, 0 ) ), defaults );
}

TEST( CryX509StackCs, GivesAStackAnotherConfiguration )
{
    pb::Ref<PB_OBJ> obj  = make( configOf( some() ) );
    Session         sess = sessionOf( stackIn( obj ) );
    EXPECT_TRUE( csObjectTrySetConfiguration( obj.get(), configOf( options( fixedIdentity( 2 ) ) ).get() ) );
    settle();
    EXPECT_TRUE( cryX509SessionIdentityChanged( sess.get() ) );
    EXPECT_TRUE( cryX509IdentityEquals( identityOf( sessionOf( stackIn( obj ) ) ).get(), identity( 2 ).get() ) );
    EXPECT_EQ( trustOf( sessionOf( stackIn( obj ) ) ), Names{} );
}

TEST( CryX509StackCs, TheSameConfigurationStillMakesAPass )
{
    pb::Ref<PB_OBJ>   obj    = make( configOf( some() ) );
    pb::Ref<PB_STORE> config = pb::adopt( csObjectTryConfiguration( obj.get(), PB_FALSE, CS_STORE_PRIVATE ) );
    Session           sess   = sessionOf( stackIn( obj ) );
    ToldOfUpdate      told( stackIn( obj ) );
    Attached          sink( trSinkCreateMemory() );
    EXPECT_TRUE( csObjectTrySetConfiguration( obj.get(), config.get() ) );
    EXPECT_TRUE( told.now() );
    settle();
    // The pass traces its properties, but no other configuration and no change.
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ).size(), 3u );
    EXPECT_FALSE( cryX509SessionIdentityChanged( sess.get() ) );
    EXPECT_FALSE( cryX509SessionTrustChanged( sess.get() ) );
}

TEST( CryX509StackCs, NormalizesAConfiguration )
{
    pb::Ref<PB_STORE> unknown = with( pb::adopt( pbStoreCreate() ), "identityMode", "CRY_X509_STACK_IDENTITY_MODE_OTHER" );
    EXPECT_EQ( normalized( unknown ), "{}" );
    EXPECT_EQ( normalized( unknown, PB_TRUE ), defaults );
    EXPECT_EQ(
        normalized( with( unknown, "trustMode", "CRY_X509_STACK_TRUST_MODE_SYSTEM" ) ), R"({"trustMode":"CRY_X509_STACK_TRUST_MODE_SYSTEM"})" );
    EXPECT_EQ( normalized( with( configOf( some() ), "comment", "text" ), PB_FALSE, CS_STORE_PRIVATE ), json( configOf( some() ).take() ) );
    EXPECT_EQ( normalized( configOf( some() ) ), json( configOf( some(), 0 ).take() ) );
    EXPECT_TRUE( csConfigurationOk( cryX509StackSort(), unknown.get() ) );
}

TEST( CryX509StackCs, CompletesAnchors )
{
    pb::Ref<TR_STREAM> owner  = traces::stream( "OWNER" );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 6 ) );
    Attached           sink( trSinkCreateMemory() );
    pb::Ref<PB_OBJ>    obj = make( {}, anchor.get() );
    EXPECT_TRUE( csObjectTryTraceCompleteAnchor( obj.get(), anchor.get() ) );
    EXPECT_EQ( linesOf( sink.get(), "OWNER" ), ( Lines{ "link 6 CRY_X509_STACK", "link 6 CRY_X509_STACK" } ) );
    // A stack ends with its last reference.
    EXPECT_FALSE( csObjectTryHalt( obj.get() ) );
}
