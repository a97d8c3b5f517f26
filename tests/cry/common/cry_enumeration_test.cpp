#include "common/cry_enumeration.hpp"

#include "support/enumerations.hpp"
#include "support/environment.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <pb/pb_dict.h>
#include <pb/pb_runtime.h>

using namespace support;

extern PB_DICT *cry___PkeyEcNamedCurveDisplayNameByValue;
extern PB_DICT *cry___PkeyEcNamedCurveNidByValue;
extern PB_DICT *cry___PkeyEcNamedCurveSnByValue;
extern PB_DICT *cry___PkeyEcNamedCurveValueByNid;
extern PB_DICT *cry___PkeyEcNamedCurveValueBySn;

namespace
{

std::vector<const void *> moduleGlobals()
{
    std::vector<const void *> globals = { cry___PkeyEcNamedCurveDisplayNameByValue, cry___PkeyEcNamedCurveNidByValue, cry___PkeyEcNamedCurveSnByValue,
        cry___PkeyEcNamedCurveValueByNid, cry___PkeyEcNamedCurveValueBySn };
    for( const Enumeration &each : enumerations() )
        globals.push_back( *each.variable );
    for( const FlagSet &each : flagSets() )
        globals.push_back( *each.variable );
    return globals;
}

constexpr cry::Named names[] = { { 0, "ZERO" }, { 1, "ONE" }, { 2, "TWO" } };
constexpr cry::Named flags[] = { { 1, "FIRST" }, { 2, "SECOND" }, { 4, "THIRD" } };

static_assert( cry::isDense( names ) && !cry::isDense( flags ) );
static_assert( cry::isOneBitEach( flags ) && !cry::isOneBitEach( names ) );
static_assert( cry::maskOf( flags ) == 7 );

}

TEST( CryEnumeration, TablesBecomeEnumerations )
{
    PB_ENUM *variable;
    cry::startEnumeration( variable, names );
    EXPECT_EQ( text( pb::adopt( pbEnumGenerate( variable, 2 ) ) ), "TWO" );
    EXPECT_EQ( pbEnumParse( variable, str( "ONE" ).get() ), 1 );
    EXPECT_EQ( pbEnumParse( variable, str( "THREE" ).get() ), -1 );
    cry::stopModuleGlobal( variable );
    EXPECT_EQ( (uintptr_t)variable, UINTPTR_MAX );
}

TEST( CryEnumeration, TablesBecomeFlagSets )
{
    PB_FLAGSET *variable;
    cry::startFlagset( variable, "variable", flags );
    EXPECT_EQ( text( pb::adopt( pbFlagsetGenerate( variable, 5 ) ) ), "FIRST|THIRD" );
    EXPECT_EQ( pbFlagsetParse( variable, str( "SECOND|THIRD" ).get() ), 6 );
    cry::stopModuleGlobal( variable );
    EXPECT_EQ( (uintptr_t)variable, UINTPTR_MAX );
}

TEST( CryEnumeration, ModuleGlobalsAreThereWhileTheModuleRunsAndAllOnesAfterwards )
{
    for( const void *object : moduleGlobals() )
        ASSERT_TRUE( object && (uintptr_t)object != UINTPTR_MAX );
    pbRuntimeStop();
    std::vector<const void *> after = moduleGlobals();
    startFamily();
    for( size_t index = 0; index < after.size(); index++ )
        EXPECT_EQ( (uintptr_t)after[index], UINTPTR_MAX ) << index;
    for( const void *object : moduleGlobals() )
        EXPECT_TRUE( object && (uintptr_t)object != UINTPTR_MAX );
}

TEST( CryEnumeration, StoppingTheRuntimeReleasesEveryObject )
{
    pbRuntimeStop();
    PB_INT before = pbObjLiveCount();
    startFamily();
    EXPECT_GT( pbObjLiveCount(), before );
    pbRuntimeStop();
    EXPECT_EQ( pbObjLiveCount(), before );
    startFamily();
}
