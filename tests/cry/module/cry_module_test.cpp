#include "module/cry_module.hpp"

#include <cry/cry_module.h>
#include <cry/internal/cry_module.h>

#include <gtest/gtest.h>
#include <string>
#include <vector>

// What is not part of this build yet has no address.
extern "C" __attribute__( ( weak ) ) void cry___VaultStartup( void );
extern "C" __attribute__( ( weak ) ) void cry___VaultShutdown( void );
extern "C" __attribute__( ( weak ) ) void cry___X509SystemStartup( void );
extern "C" __attribute__( ( weak ) ) void cry___X509SystemShutdown( void );
extern "C" __attribute__( ( weak ) ) void cry___X509StackCsStartup( void );
extern "C" __attribute__( ( weak ) ) void cry___X509StackCsShutdown( void );

namespace
{

struct Wanted
{
    const char *name;
    void ( *startup )();
    void ( *shutdown )();
};

#define WANTED( name )                                       \
    {                                                        \
        #name, cry___##name##Startup, cry___##name##Shutdown \
    }

// A table that uses another one stands after it.
const Wanted wantedOrder[] = {
    WANTED( AesMode ),
    WANTED( AesOperation ),
    WANTED( HashAlgorithm ),
    WANTED( PkeyEcNamedCurve ),
    WANTED( PkeyType ),
    WANTED( UuidStringFlags ),
    WANTED( UuidVariant ),
    WANTED( UuidVersion ),
    WANTED( VaultItemType ),
    WANTED( Vault ),
    WANTED( X509System ),
    WANTED( X509StackIdentityMode ),
    WANTED( X509StackTrustMode ),
    WANTED( X509PolicyFlags ),
    WANTED( X509ExtendedKeyUsage ),
    WANTED( X509KeyUsage ),
    WANTED( X509NetscapeCertType ),
    WANTED( X509SanType ),
    WANTED( X509TNAuthListEntryType ),
    WANTED( X509StackCs ),
};

std::string nameOf( void ( *function )(), bool startup )
{
    for( const Wanted &each : wantedOrder )
    {
        if( function && ( startup ? each.startup : each.shutdown ) == function )
            return each.name;
    }
    return "(unknown)";
}

}

TEST( CryModule, StartsItsTablesInTheFixedOrder )
{
    std::vector<std::string> wanted;
    for( const Wanted &each : wantedOrder )
    {
        if( each.startup )
            wanted.push_back( each.name );
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
