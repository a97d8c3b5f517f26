// The tests of contracts notice an abort whose file and line are not those of its check.
#include <cry/cry_hash.h>
#include <pb/pb_store.h>

#include "support/contract.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

// Expects that the place of an abort is right, and that another line, text or file is wrong.
void expectOnlyRightAt( Abort abort, PB_INT wrongLine )
{
    ASSERT_TRUE( abort.happened );
    EXPECT_EQ( wrongPlaceOf( abort ), "" );
    Abort other = abort;
    other.line  = wrongLine;
    EXPECT_NE( wrongPlaceOf( other ), "" ) << abort.file << ":" << wrongLine;
    other            = abort;
    other.expression = abort.expression + "x";
    EXPECT_NE( wrongPlaceOf( other ), "" );
    other      = abort;
    other.file = "source/cry/no_such_file.cpp";
    EXPECT_NE( wrongPlaceOf( other ), "" );
    other      = abort;
    other.line = 1;
    EXPECT_NE( wrongPlaceOf( other ), "" );
    other.line = 1000000;
    EXPECT_NE( wrongPlaceOf( other ), "" );
}

}

TEST( CheckSites, AreTheLinesOfPlainChecks )
{
    Abort abort = abortOf( [] { cryHashUpdate( nullptr, nullptr ); } );
    EXPECT_EQ( abort.expression, "hash" );
    // The check of the other parameter is below it.
    expectOnlyRightAt( abort, abort.line + 1 );
}

TEST( CheckSites, AreTheLinesOfMacrosThatHoldChecks )
{
    Abort abort = abortOf( [] { cryHashRetain( nullptr ); } );
    EXPECT_EQ( abort.expression, "obj" );
    expectOnlyRightAt( abort, abort.line - 1 );
    abort = abortOf( [] { cryHashFrom( str( "text" ).obj() ); } );
    EXPECT_EQ( abort.expression, "!obj || pbObjSort(obj)==&cry___sort_CRY_HASH" );
    expectOnlyRightAt( abort, abort.line - 1 );
}

TEST( CheckSites, AreTheLinesOfCallsOfWhatChecksForItsCaller )
{
    pb::Ref<CRY_HASH> hash  = pb::adopt( cryHashTryCreate( CRY_HASH_ALGORITHM_SHA1 ) );
    Abort             abort = abortOf( [&] { cryHashUpdateInner( hash.get(), nullptr, 0, 0 ); } );
    EXPECT_EQ( abort.expression, "data" );
    EXPECT_EQ( abort.file, "source/cry/hash/cry_hash.cpp" );
    expectOnlyRightAt( abort, abort.line - 1 );
}

TEST( CheckSites, AreTheLinesOfBothChecksOfAHandle )
{
    pb::Ref<PB_STRING> text  = str( "x" );
    PB_STORE          *store = nullptr;
    Abort              abort = abortOf( [&] { pbStoreAppendValue( nullptr, text.get() ); } );
    EXPECT_EQ( abort.expression, "store" );
    expectOnlyRightAt( abort, abort.line - 1 );
    abort = abortOf( [&] { pbStoreAppendValue( &store, text.get() ); } );
    EXPECT_EQ( abort.expression, "*store" );
    expectOnlyRightAt( abort, abort.line - 1 );
}
