// The vault's file under processes that are killed and that save at the same time. The parent never
// starts the runtime, so that it has no threads when it forks.
#include <cry/cry.h>
#include <cry/internal/cry_vault.h>
#include <pb/pb.h>

#include "support/text.hpp"

#include <atomic>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace support;
namespace fs = std::filesystem;

// If it is set, a process ends when it renames a file.
static bool killedByRename;

// Replaces the function of the C library in this program.
extern "C" int deadly_rename( const char *from, const char *to ) __asm__( "rename" );
int            deadly_rename( const char *from, const char *to )
{
    if( killedByRename )
        kill( getpid(), SIGKILL );
    return renameat( AT_FDCWD, from, AT_FDCWD, to );
}

namespace
{

constexpr int itemCount = 40;

// How a child ends.
enum Result
{
    good,
    noStart,
    noSave,
    noLock,
    torn,
    otherVersion,
    lost
};

// What the processes tell each other.
struct Shared
{
    std::atomic<int> begun, done; // versions
    std::atomic<int> saves, loads, ready;
};

class VaultProcesses : public testing::Test
{
protected:
    void SetUp() override
    {
        std::string name = fs::exists( "/dev/shm" ) ? "/dev/shm/vault-XXXXXX" : "/tmp/vault-XXXXXX";
        ASSERT_NE( mkdtemp( name.data() ), nullptr );
        directory = name;
        shared    = (Shared *)mmap( nullptr, sizeof( Shared ), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
        ASSERT_NE( shared, MAP_FAILED );
    }

    void TearDown() override
    {
        munmap( shared, sizeof( Shared ) );
        fs::remove_all( directory );
    }

    // A child that starts the family with the state directory.
    pid_t child( const std::function<Result()> &work ) const
    {
        pid_t pid = fork();
        if( pid != 0 )
            return pid;
        pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
        pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
        pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), directory.c_str(), -1 );
        _exit( pbRuntimeStart( options.get() ) ? work() : noStart );
    }

    // The result of a child; -1 if it was killed.
    static int resultOf( pid_t pid )
    {
        int status;
        waitpid( pid, &status, 0 );
        return WIFEXITED( status ) ? WEXITSTATUS( status ) : -1;
    }

    bool lastsFor( std::chrono::seconds limit ) const { return std::chrono::steady_clock::now() - start > limit; }

    fs::path                              directory;
    Shared                               *shared;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

pb::Ref<CRY_X509_IDENTITY> newIdentity()
{
    pb::Ref<CRY_PKEY_PRIVATE>  own   = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) );
    pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
    cryX509IdentitySetPrivateKey( ident.handle(), own.get() );
    cryX509IdentitySetCertificate(
        ident.handle(), pb::adopt( cryTryGenerateCertificate( own.get(), str( "host.example.org" ).get(), nullptr, 28 ) ).get() );
    return ident;
}

void setItem( const std::string &name, CRY_X509_IDENTITY *ident )
{
    pb::Ref<PB_IDENTIFIER> identifier = pb::adopt( pbIdentifierTryCreateFromCstr( name.c_str(), -1 ) );
    cryVaultSetItem( pb::adopt( cryVaultItemCreateIdentity( identifier.get(), ident ) ).get() );
}

std::vector<std::string> filed()
{
    std::vector<std::string> names;
    pb::Ref<PB_VECTOR>       items = pb::adopt( cryVaultItemsVector() );
    for( PB_INT index = 0; index < pbVectorLength( items.get() ); index++ )
    {
        CRY_VAULT_ITEM            *item  = cryVaultItemFrom( pb___VectorPeekObjAt( items.get(), index ) );
        pb::Ref<PB_IDENTIFIER>     ident = pb::adopt( cryVaultItemIdentifier( item ) );
        pb::Ref<CRY_X509_IDENTITY> held  = pb::adopt( cryVaultItemIdentity( item ) );
        bool                       whole = cryX509IdentityHasPrivateKey( held.get() ) && cryX509IdentityHasCertificate( held.get() );
        names.push_back( whole ? text( pb::adopt( pbIdentifierToString( ident.get() ) ) ) : "incomplete" );
    }
    return names;
}

// Replaces all items by those of a version.
void setVersion( const std::string &version, CRY_X509_IDENTITY *ident )
{
    cry___VaultTryRestore( pb::adopt( pbStoreCreate() ).get() );
    for( int index = 0; index < itemCount; index++ )
        setItem( version + "." + std::to_string( 1000 + index ), ident );
}

// The version in the vault, empty for an empty vault; "torn" if it is not exactly one version.
std::string versionOf( const std::vector<std::string> &names )
{
    if( names.empty() )
        return "";
    std::string version = names[0].substr( 0, names[0].find( '.' ) );
    if( names.size() != itemCount )
        return "torn";
    for( int index = 0; index < itemCount; index++ )
    {
        if( names[(size_t)index] != version + "." + std::to_string( 1000 + index ) )
            return "torn";
    }
    return version;
}

}

TEST_F( VaultProcesses, AKilledSaveLeavesTheOldOrTheNewContent )
{
    auto saveForEver = [this] {
        std::string found = versionOf( filed() );
        if( found == "torn" )
            return torn;
        int version = found.empty() ? 0 : std::stoi( found );
        if( version != shared->done && version != shared->begun )
            return otherVersion;
        shared->loads++;
        shared->done                     = version;
        pb::Ref<CRY_X509_IDENTITY> ident = newIdentity();
        for( shared->ready = 1;; shared->saves++ )
        {
            int next = shared->begun + 1;
            setVersion( std::to_string( next ), ident.get() );
            shared->begun = next;
            if( !cry___VaultSave() )
                return noSave;
            shared->done = next;
        }
    };
    uint32_t random = 4711;
    int      kills  = 0;
    for( ; kills < 300 && !lastsFor( std::chrono::seconds( 12 ) ); kills++ )
    {
        shared->ready = 0;
        pid_t saver   = child( saveForEver );
        ASSERT_GT( saver, 0 );
        int result = 0;
        while( !shared->ready && waitpid( saver, &result, WNOHANG ) == 0 )
            usleep( 100 );
        ASSERT_TRUE( shared->ready ) << "round " << kills << ": " << WEXITSTATUS( result );
        random = random * 1664525u + 1013904223u;
        usleep( random >> 18 ); // up to 16 milliseconds
        kill( saver, SIGKILL );
        ASSERT_EQ( resultOf( saver ), -1 ) << "round " << kills;
    }
    EXPECT_GE( shared->loads, kills );
    EXPECT_GE( kills, 5 );
    EXPECT_GT( shared->saves, 0 );
    std::printf( "%d kills, %d complete saves\n", kills, shared->saves.load() );
}

TEST_F( VaultProcesses, ALaterSaveRemovesWhatAKilledSaveLeft )
{
    auto save = [] {
        setItem( "one", newIdentity().get() );
        return cry___VaultSave() ? good : noSave;
    };
    auto names = [this] {
        std::set<std::string> found;
        for( const auto &entry : fs::directory_iterator( directory ) )
            found.insert( entry.path().filename() );
        return found;
    };
    ASSERT_EQ( resultOf( child( [&] { return killedByRename = true, save(); } ) ), -1 );
    std::set<std::string> after = names();
    ASSERT_EQ( after.erase( "cry_vault.lock" ), 1u );
    ASSERT_EQ( after.size(), 1u );
    std::string       left = *after.begin();
    std::ifstream     in( directory / left );
    const std::string content{ std::istreambuf_iterator<char>( in ), {} };
    EXPECT_EQ( left.rfind( ".new-", 0 ), 0u ) << left;
    EXPECT_NE( content.find( "PRIVATE KEY" ), content.npos );

    auto make = [&]( const char *name, const std::string &bytes ) { std::ofstream( directory / name ) << bytes; };
    make( ".new-0123456789abcde0", "" );
    make( ".new-0123456789abcde1", content.substr( 0, 20 ) );
    std::set<std::string> others{ "cry_vault.lock", "cry_vault.qmstore" };
    auto                  other = [&]( const char *name ) { return *others.insert( name ).first; };
    for( const char *name :
        { ".new-0123456789abcde", ".new-0123456789abcdef0", ".new-0123456789ABCDEF", ".old-0123456789abcdef", "new-0123456789abcdef" } )
        make( other( name ).c_str(), content );
    make( other( ".new-0123456789abcde2" ).c_str(), "{\n  \"header\": {\n    \"type\": \"CRY_OTHER\"" );
    make( other( ".new-0123456789abcde3" ).c_str(), "a file of the host" );
    make( other( ".new-0123456789abcde4" ).c_str(), content );
    fs::create_hard_link( directory / ".new-0123456789abcde4", directory / other( "second name" ) );
    make( other( "target" ).c_str(), content );
    fs::create_symlink( "target", directory / other( ".new-0123456789abcde5" ) );
    fs::create_directory( directory / other( ".new-0123456789abcde6" ) );
    ASSERT_EQ( mkfifo( ( directory / other( ".new-0123456789abcde7" ) ).c_str(), 0600 ), 0 );

    // Another process may just be writing it.
    EXPECT_EQ( resultOf( child( save ) ), good );
    EXPECT_TRUE( names().count( left ) );
    for( const std::string &name : names() )
        fs::last_write_time( directory / name, fs::file_time_type::clock::now() - std::chrono::hours( 2 ) );
    make( other( ".new-0123456789abcde8" ).c_str(), content );
    EXPECT_EQ( resultOf( child( save ) ), good );
    EXPECT_EQ( names(), others );
}

TEST_F( VaultProcesses, ProcessesThatHoldTheLockLoseNothing )
{
    constexpr int      processes = 4, rounds = 10;
    std::vector<pid_t> children;
    for( int number = 0; number < processes; number++ )
    {
        children.push_back( child( [this, number] {
            pb::Ref<CRY_X509_IDENTITY> ident = newIdentity();
            for( int round = 0; round < rounds; round++ )
            {
                pb::Ref<PB_FILE_LOCK> lock = pb::adopt(
                    pbFileLockTryCreate( str( ( directory / "cry_vault.lock" ).string() ).get(), 60000, nullptr ) );
                if( !lock )
                    return noLock;
                size_t before = cry___VaultLoad() ? filed().size() : 0;
                if( (int)before != shared->saves )
                    return lost;
                setItem( std::to_string( number ) + "." + std::to_string( round ), ident.get() );
                if( !cry___VaultSave() )
                    return noSave;
                shared->saves++;
            }
            return good;
        } ) );
    }
    for( pid_t each : children )
        EXPECT_EQ( resultOf( each ), good );
    EXPECT_EQ( resultOf( child( [] { return filed().size() == processes * rounds ? good : lost; } ) ), good );
}

TEST_F( VaultProcesses, ALoadNeverSeesAMixtureOfSaves )
{
    std::vector<pid_t> savers;
    for( int number = 0; number < 3; number++ )
    {
        savers.push_back( child( [this, number] {
            pb::Ref<CRY_X509_IDENTITY> ident = newIdentity();
            for( int round = 0; round < 3 || !lastsFor( std::chrono::seconds( 2 ) ); round++ )
            {
                setVersion( std::to_string( number ) + "-" + std::to_string( round ), ident.get() );
                if( !cry___VaultSave() )
                    return noSave;
                shared->saves++;
            }
            return good;
        } ) );
    }
    pid_t reader = child( [this] {
        while( !shared->saves )
            usleep( 1000 );
        do
        {
            if( !cry___VaultLoad() )
                return lost;
            if( versionOf( filed() ) == "torn" )
                return torn;
            shared->loads++;
        }
        while( !lastsFor( std::chrono::seconds( 2 ) ) );
        return good;
    } );
    for( pid_t each : savers )
        EXPECT_EQ( resultOf( each ), good );
    EXPECT_EQ( resultOf( reader ), good );
    EXPECT_GT( shared->loads, 0 );
    // Nothing else is left.
    std::vector<std::string> names;
    for( const auto &entry : fs::directory_iterator( directory ) )
        names.push_back( entry.path().filename() );
    std::sort( names.begin(), names.end() );
    EXPECT_EQ( names, ( std::vector<std::string>{ "cry_vault.lock", "cry_vault.qmstore" } ) );
}
