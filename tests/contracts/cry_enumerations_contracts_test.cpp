#include "common/cry_enumeration.hpp"
#include "support/contract.hpp"
#include "support/enumerations.hpp"
#include "support/text.hpp"

using namespace support;

TEST( CryEnumerationsContracts, ValuesOutOfRangeHaveNoName )
{
    for( const Enumeration &each : enumerations() )
    {
        for( PB_INT value : { each.count, each.count + 1, (PB_INT)-1, PB_INT_MAX, PB_INT_MIN } )
            EXPECT_ABORT( each.file, each.check, each.toString( value ) );
        EXPECT_FALSE( abortOf( [&] { pb::adopt( each.toString( each.count - 1 ) ); } ).happened ) << each.file;
    }
}

TEST( CryEnumerationsContracts, NullIsNoText )
{
    for( const Enumeration &each : enumerations() )
        EXPECT_ABORT( each.file, "pbs", each.fromString( nullptr ) );
    for( const FlagSet &each : flagSets() )
        EXPECT_ABORT( each.file, "pbs", each.fromString( nullptr ) );
}

TEST( CryEnumerationsContracts, FlagNamesComeOnce )
{
    PB_FLAGSET      *variable = pbFlagsetCreate();
    const cry::Named first{ 1, "NAME" }, again{ 2, "NAME" }, other{ 2, "OTHER" };
    pb::Site         site{ "tests/some/file.cpp", 7 };
    cry::addFlag( &variable, "variable", first, site );
    support::Abort abort = abortOf( [&] { cry::addFlag( &variable, "variable", again, site ); } );
    EXPECT_TRUE( abort.happened );
    EXPECT_EQ( abort.file, "tests/some/file.cpp" );
    EXPECT_EQ( abort.line, 7 );
    EXPECT_EQ( abort.expression, "!pbFlagsetHasFlagCstr( *(&variable), \"NAME\", -1 )" );
    EXPECT_FALSE( abortOf( [&] { cry::addFlag( &variable, "variable", other, site ); } ).happened );
    EXPECT_EQ( pbFlagsetParse( variable, str( "NAME|OTHER" ).get() ), 3 );
    pbFlagsetRelease( variable );
}

TEST( CryEnumerationsContracts, DuplicateInATableIsReportedWithTheVariableAndTheFlag )
{
    static constexpr cry::Named table[] = { { 1, "CRY_SOME_FLAG_A" }, { 2, "CRY_SOME_FLAG_B" }, { 4, "CRY_SOME_FLAG_A" } };
    PB_FLAGSET                 *variable;
    EXPECT_ABORT( "tests/contracts/cry_enumerations_contracts_test.cpp", "!pbFlagsetHasFlagCstr( *(&cry___SomeFlagset), \"CRY_SOME_FLAG_A\", -1 )",
        cry::startFlagset( variable, "cry___SomeFlagset", table ) );
}
