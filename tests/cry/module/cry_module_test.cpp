#include "module/cry_module.hpp"

#include "support/enumerations.hpp"

#include <cry/cry_module.h>

#include <gtest/gtest.h>
#include <map>
#include <string>
#include <utility>
#include <vector>

// A function that is not part of this build yet has no address.
extern "C" __attribute__( ( weak ) ) void cry___VaultStartup( void );
extern "C" __attribute__( ( weak ) ) void cry___VaultShutdown( void );
extern "C" __attribute__( ( weak ) ) void cry___X509SystemStartup( void );
extern "C" __attribute__( ( weak ) ) void cry___X509SystemShutdown( void );
extern "C" __attribute__( ( weak ) ) void cry___X509StackCsStartup( void );
extern "C" __attribute__( ( weak ) ) void cry___X509StackCsShutdown( void );

namespace
{

using Function = void ( * )();

// A table that uses another table comes after it.
const char *const order[] = { "AesMode", "AesOperation", "HashAlgorithm", "PkeyEcNamedCurve", "PkeyType", "UuidStringFlags", "UuidVariant",
    "UuidVersion", "VaultItemType", "Vault", "X509System", "X509StackIdentityMode", "X509StackTrustMode", "X509PolicyFlags", "X509ExtendedKeyUsage",
    "X509KeyUsage", "X509NetscapeCertType", "X509SanType", "X509TNAuthListEntryType", "X509StackCs" };

// The start-up and the shut-down function of each thing by its name; null for those that are not
// part of this build.
std::map<std::string, std::pair<Function, Function>> functions()
{
    std::map<std::string, std::pair<Function, Function>> all = { { "Vault", { cry___VaultStartup, cry___VaultShutdown } },
        { "X509System", { cry___X509SystemStartup, cry___X509SystemShutdown } },
        { "X509StackCs", { cry___X509StackCsStartup, cry___X509StackCsShutdown } } };
    for( const support::Enumeration &each : support::enumerations() )
        all[each.name] = { each.startup, each.shutdown };
    for( const support::FlagSet &each : support::flagSets() )
        all[each.name] = { each.startup, each.shutdown };
    return all;
}

std::string nameOf( Function function, bool startup )
{
    for( const auto &[name, pair] : functions() )
    {
        if( function && ( startup ? pair.first : pair.second ) == function )
            return name;
    }
    return "(unknown)";
}

}

TEST( CryModule, StartsItsTablesInTheFixedOrder )
{
    std::vector<std::string> wanted;
    for( const char *name : order )
    {
        if( functions().at( name ).first )
            wanted.push_back( name );
    }
    std::vector<std::string> started;
    for( const cry::ModuleGlobal &each : cry::moduleGlobals() )
        started.push_back( nameOf( each.startup, true ) );
    EXPECT_EQ( started, wanted );
}

TEST( CryModule, PairsEachStartupWithItsShutdown )
{
    for( const cry::ModuleGlobal &each : cry::moduleGlobals() )
        EXPECT_EQ( nameOf( each.startup, true ), nameOf( each.shutdown, false ) );
}

TEST( CryModule, IsAStaticObjectWithAllHooks )
{
    const PB_MODULE *module = cryModule();
    EXPECT_EQ( module->header.refCount, PB_OBJ_STATIC_REF_COUNT );
    EXPECT_STREQ( pbSortName( module->header.sort ), "PB_MODULE" );
    EXPECT_STREQ( module->record->moduleName, "cry" );
    EXPECT_NE( module->startup, nullptr );
    EXPECT_NE( module->halt, nullptr );
    EXPECT_NE( module->fourth, nullptr );
    EXPECT_NE( module->shutdown, nullptr );
}
