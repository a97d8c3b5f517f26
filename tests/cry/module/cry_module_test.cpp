#include "module/cry_module.hpp"

#include "cry/vault/vaults.hpp"
#include "support/enumerations.hpp"
#include "support/environment.hpp"
#include "support/files.hpp"
#include "support/sanitizers.hpp"
#include "x509/cry_x509_system_linux.hpp"

#include <cry/cry_module.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_x509_system.h>

#include <map>
#include <string>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

using Function = void ( * )();

// A table that uses another table comes after it.
const char *const order[] = { "AesMode", "AesOperation", "HashAlgorithm", "PkeyEcNamedCurve", "PkeyType", "UuidStringFlags", "UuidVariant",
    "UuidVersion", "VaultItemType", "Vault", "X509System", "X509StackIdentityMode", "X509StackTrustMode", "X509PolicyFlags", "X509ExtendedKeyUsage",
    "X509KeyUsage", "X509NetscapeCertType", "X509SanType", "X509TNAuthListEntryType", "X509StackCs" };

// The start-up and the shut-down function of each thing by its name.
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
        if( ( startup ? pair.first : pair.second ) == function )
            return name;
    }
    return "(unknown)";
}

}

TEST( CryModule, StartsItsTablesInTheFixedOrder )
{
    std::vector<std::string> wanted( std::begin( order ), std::end( order ) ), started;
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

namespace
{

size_t threads()
{
    using Entries = std::filesystem::directory_iterator;
    return (size_t)std::distance( Entries( "/proc/self/task" ), Entries() );
}

// Leaves subscriptions, a changed vault and a timer behind.
void work()
{
    pb::Ref<PB_SIGNAL>     signal = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE> sigb   = pb::adopt( pbSignalableCreateSignal( signal.get() ) );
    cryX509SystemTrustedCertificatesAddSignalable( sigb.get() );
    support::setItem( "name", 1 );
    EXPECT_TRUE( cry___VaultSave() );
    EXPECT_TRUE( cry___VaultLoad() );
    support::setItem( "other", 2 );
    cryVaultUpdateAddSignalable( sigb.get() );
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_EQ( pb___ClockArmedTimers(), 1 );
}

}

TEST( CryModule, LeavesNothingBehindInAHundredRoundsOfWork )
{
    support::TemporaryFolder folder;
    std::string              place    = folder.path / "roots.pem";
    const char              *places[] = { place.c_str() };
    support::write(
        place, support::pemText( support::makeCertificate( { .subject = "CN=Root", .subjectKey = support::key( support::KeyKind::p256 ) } ) ) );
    cry::x509::setPlaces( places );
    pbRuntimeStop();
    PB_INT objects = pbObjLiveCount();
    size_t before  = threads();
    // ThreadSanitizer keeps the stacks of threads that ended. After a hundred rounds they are
    // larger than the machine's memory, and no later test can start a process.
    int rounds = WITH_THREAD_SANITIZER ? 25 : 100;
    for( int round = 0; round < rounds; round++ )
    {
        support::startFamily( folder.path );
        EXPECT_EQ( support::filed(), round ? support::Names{ "name" } : support::Names{} );
        work();
        pbRuntimeStop();
        ASSERT_EQ( pbObjLiveCount(), objects ) << "round " << round;
        ASSERT_EQ( pb___ClockArmedTimers(), 0 ) << "round " << round;
        // A thread that was joined can be visible for a moment longer.
        for( int tries = 0; tries < 1000 && threads() > before; tries++ )
            usleep( 1000 );
        ASSERT_LE( threads(), before ) << "round " << round;
    }
    cry::x509::setPlaces( {} );
    support::startFamily();
}
