#include <cs/cs.h>

#include "cs/toys.hpp"
#include "support/standard_functions.hpp"

using namespace support;

static constexpr char backendFile[] = "source/cs/cs_sort_backend.cpp";
static constexpr char objectFile[]  = "source/cs/cs_object.cpp";

TEST( CsContracts, SortBackends )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    EXPECT_STANDARD_CHECKS( backendFile, cs, SortBackend, CS_SORT_BACKEND, "backend", backend.get() );
    EXPECT_ABORT( backendFile, "sort", csSortBackendCreate( nullptr, toys::create, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( backendFile, "create", csSortBackendCreate( &toys::sort, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( backendFile, "sort", csSortBackendLookup( nullptr ) );
    EXPECT_ABORT( backendFile, "name", csSortBackendLookupName( nullptr ) );
    EXPECT_ABORT( backendFile, "backend", csSortBackendObjSort( nullptr ) );
}

// The same with and without a backend.
static void expectObjectChecks()
{
    pb::Ref<PB_OBJ>    held   = pb::adopt( toys::create( nullptr, nullptr ) );
    PB_OBJ            *obj    = held.get();
    pb::Ref<PB_STORE>  config = toys::config( 1 );
    pb::Ref<TR_STREAM> owner  = pb::adopt( trStreamCreateCstr( "OWNER", -1 ) );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 9 ) );
    EXPECT_ABORT( objectFile, "sort", csObjectTryCreate( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( objectFile, "obj", csObjectTryConfiguration( nullptr, PB_TRUE, 0 ) );
    EXPECT_ABORT( objectFile, "obj", csObjectTrySetConfiguration( nullptr, config.get() ) );
    EXPECT_ABORT( objectFile, "config", csObjectTrySetConfiguration( obj, nullptr ) );
    EXPECT_ABORT( objectFile, "obj", csObjectTryTraceCompleteAnchor( nullptr, anchor.get() ) );
    EXPECT_ABORT( objectFile, "anchor", csObjectTryTraceCompleteAnchor( obj, nullptr ) );
    EXPECT_ABORT( objectFile, "obj", csObjectTryHalt( nullptr ) );
    EXPECT_ABORT( objectFile, "sort", csConfigurationTryNormalize( nullptr, config.get(), PB_TRUE, 0 ) );
    EXPECT_ABORT( objectFile, "sort", csConfigurationOk( nullptr, config.get() ) );
    EXPECT_ABORT( objectFile, "config", csConfigurationOk( &toys::sort, nullptr ) );
}

TEST( CsContracts, Objects ) { expectObjectChecks(); }

TEST( CsContracts, ObjectsWithABackend )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::backend();
    expectObjectChecks();
}

TEST( CsContracts, ABackendMakesObjectsOfItsSort )
{
    pb::Ref<CS_SORT_BACKEND> backend = toys::creatingBackend( &toys::sort, toys::createOther );
    EXPECT_ABORT( objectFile, "!obj || pbObjSort( obj ) == sort", csObjectTryCreate( &toys::sort, nullptr, nullptr ) );
}
