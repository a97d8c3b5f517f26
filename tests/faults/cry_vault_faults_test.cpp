// The vault's file if system calls fail. The functions below replace those of the C library in this
// program.
#include "cry/vault/vaults.hpp"
#include "support/environment.hpp"
#include "support/files.hpp"

#include <cerrno>
#include <cstdarg>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/stat.h>

using namespace support;
namespace fs = std::filesystem;

namespace
{

// Which calls of this thread fail.
struct Faults
{
    enum Mode
    {
        once,       // only one call
        diskIsFull, // that call and all later ones, but files can still be removed
        always      // that call and all later ones
    };

    bool        active = false;
    Mode        mode   = once;
    const char *only   = nullptr; // the only function that fails; null means any
    int         first  = 0;       // the number of the call that fails first
    int         error  = EIO;
    int         calls  = 0;

    bool fails( const char *function )
    {
        if( !active || ( only && std::string_view( only ) != function ) )
            return false;
        int  call   = calls++;
        bool result = call == first || ( call > first && mode != once );
        if( mode == diskIsFull && call != first && std::string_view( function ) == "unlink" )
            result = false;
        if( result )
            errno = error;
        return result;
    }
};

thread_local Faults faults;

template<class Function>
Function *own( Function *, const char *name )
{
    return reinterpret_cast<Function *>( dlsym( RTLD_NEXT, name ) );
}

bool isDirectory( int descriptor )
{
    struct stat status;
    return fstat( descriptor, &status ) == 0 && S_ISDIR( status.st_mode );
}

}

// FAULTY: defines the function of the C library with this name.
#define FAULTY( Result, name, parameters, ... )                          \
    extern "C" Result faulty_##name parameters __asm__( #name );         \
    Result faulty_##name parameters                                      \
    {                                                                    \
        static const auto next = own( &faulty_##name, #name );           \
        return faults.fails( #name ) ? (Result)-1 : next( __VA_ARGS__ ); \
    }

FAULTY( int, fchmod, ( int descriptor, mode_t mode ), descriptor, mode )
FAULTY( int, flock, ( int descriptor, int operation ), descriptor, operation )
FAULTY( int, link, ( const char *from, const char *to ), from, to )
FAULTY( int, linkat, ( int fromFolder, const char *from, int toFolder, const char *to, int flags ), fromFolder, from, toFolder, to, flags )
FAULTY( int, mkdir, ( const char *path, mode_t mode ), path, mode )
FAULTY( int, rename, ( const char *from, const char *to ), from, to )
FAULTY( int, stat, ( const char *path, struct stat *status ), path, status )
FAULTY( int, unlink, ( const char *path ), path )

extern "C" int faulty_open( const char *path, int flags, ... ) __asm__( "open" );
int            faulty_open( const char *path, int flags, ... )
{
    static const auto next = own( &faulty_open, "open" );
    va_list           rest;
    va_start( rest, flags );
    mode_t mode = flags & ( O_CREAT | O_TMPFILE ) ? va_arg( rest, mode_t ) : 0;
    va_end( rest );
    return faults.fails( "open" ) ? -1 : next( path, flags, mode );
}

extern "C" int faulty_fsync( int descriptor ) __asm__( "fsync" );
int            faulty_fsync( int descriptor )
{
    static const auto next  = own( &faulty_fsync, "fsync" );
    bool              fails = faults.fails( isDirectory( descriptor ) ? "fsync of a directory" : "fsync" );
    return fails ? -1 : next( descriptor );
}

// A write that fails with EINTR writes a part.
extern "C" ssize_t faulty_write( int descriptor, const void *bytes, size_t length ) __asm__( "write" );
ssize_t            faulty_write( int descriptor, const void *bytes, size_t length )
{
    static const auto next = own( &faulty_write, "write" );
    if( !faults.fails( "write" ) )
        return next( descriptor, bytes, length );
    return faults.error == EINTR && length > 1 ? next( descriptor, bytes, length / 2 ) : -1;
}

namespace
{

// The files before a save.
struct Before
{
    const char *name;
    bool        primary, backup;
};

const Before befores[] = { { "nothing", false, false }, { "a file", true, false }, { "a file and a backup", true, true },
    { "a backup", false, true } };

class CryVaultFaults : public testing::Test
{
protected:
    static void SetUpTestSuite() { pbRuntimeStop(); }
    static void TearDownTestSuite() { startFamily(); }

    void SetUp() override
    {
        startFamily( folder.path );
        oldContent = contentOf( "old", 1 );
        EXPECT_TRUE( cry___VaultSave() );
        oldFile    = read( primary );
        newContent = contentOf( "new", 2 );
    }

    void TearDown() override { pbRuntimeStop(); }

    static std::string contentOf( const char *name, int number )
    {
        emptyVault();
        setItem( name, number );
        return content();
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> found;
        for( const auto &entry : fs::directory_iterator( folder.path ) )
            found.push_back( entry.path().filename() );
        std::sort( found.begin(), found.end() );
        return found;
    }

    // Saves the new content over these files; some calls fail. True if a call failed.
    bool saveOver( const Before &before, const Faults &plan )
    {
        for( const std::string &name : names() )
            fs::remove( folder.path / name );
        if( before.primary )
            write( primary, oldFile );
        if( before.backup )
            write( backup, oldFile );
        contentOf( "new", 2 );
        faults        = plan;
        faults.active = true;
        saved         = cry___VaultSave();
        faults.active = false;
        return faults.calls > plan.first;
    }

    // Whether the save said the truth, and whether a complete content is there.
    void expectComplete( const Before &before )
    {
        bool wasThere = before.primary || before.backup;
        left          = names();
        emptyVault();
        bool        loaded = cry___VaultLoad();
        std::string found  = content();
        if( saved )
            EXPECT_EQ( found, newContent );
        else
            EXPECT_TRUE( loaded ? found == newContent || ( wasThere && found == oldContent ) : !wasThere );
        // The next save repairs everything.
        contentOf( "new", 2 );
        EXPECT_TRUE( cry___VaultSave() );
        emptyVault();
        EXPECT_TRUE( cry___VaultLoad() );
        EXPECT_EQ( content(), newContent );
        EXPECT_FALSE( fs::exists( backup ) );
    }

    TemporaryFolder          folder;
    fs::path                 primary = folder.path / "cry_vault.qmstore", backup = folder.path / "cry_vault-backup.qmstore";
    std::string              oldContent, oldFile, newContent;
    bool                     saved = false;
    std::vector<std::string> left; // the names of the files after the save
};

}

TEST_F( CryVaultFaults, WhicheverCallFailsACompleteContentIsThere )
{
    int saves = 0, failures = 0;
    for( const Before &before : befores )
    {
        for( Faults::Mode mode : { Faults::once, Faults::diskIsFull, Faults::always } )
        {
            for( int error : { ENOSPC, EACCES, EIO } )
            {
                for( int call = 0; saveOver( before, { .mode = mode, .first = call, .error = error } ); call++ )
                {
                    SCOPED_TRACE( std::string( before.name ) + ", mode " + std::to_string( mode ) + ", " + std::to_string( error ) + ", call " +
                        std::to_string( call ) );
                    expectComplete( before );
                    saves++;
                    failures += !saved;
                    // Files without a use are left only if they cannot be removed.
                    for( const std::string &name : left )
                        EXPECT_TRUE( mode == Faults::always || name[0] == 'c' ) << name;
                }
                EXPECT_TRUE( saved ) << "no call failed";
            }
        }
    }
    EXPECT_GT( saves, 300 );
    EXPECT_GT( failures, 100 );
}

TEST_F( CryVaultFaults, AShortWriteGoesOn )
{
    for( const Before &before : befores )
    {
        int call = 0;
        for( ; saveOver( before, { .only = "write", .first = call, .error = EINTR } ); call++ )
        {
            EXPECT_TRUE( saved );
            expectComplete( before );
        }
        EXPECT_GE( call, 1 );
    }
}

TEST_F( CryVaultFaults, AContentThatIsNotOnTheDiskIsNotCalledSaved )
{
    for( const Before &before : befores )
    {
        // The backup and the file.
        int writings = before.primary ? 2 : 1;
        for( int call = 0; call < writings; call++ )
        {
            for( const char *function : { "fsync", "fsync of a directory" } )
            {
                SCOPED_TRACE( std::string( before.name ) + ", " + function + " " + std::to_string( call ) );
                EXPECT_TRUE( saveOver( before, { .only = function, .first = call, .error = EIO } ) );
                EXPECT_FALSE( saved );
                expectComplete( before );
            }
        }
    }
}

TEST_F( CryVaultFaults, AFileSystemThatCannotSyncADirectoryIsNotAnError )
{
    for( const Before &before : befores )
    {
        EXPECT_TRUE( saveOver( before, { .mode = Faults::always, .only = "fsync of a directory", .error = EINVAL } ) );
        EXPECT_TRUE( saved );
        expectComplete( before );
    }
}

TEST_F( CryVaultFaults, AFileSystemWithoutNamelessFilesIsNotAnError )
{
    for( const Before &before : befores )
    {
        EXPECT_TRUE( saveOver( before, { .mode = Faults::always, .only = "linkat", .error = EOPNOTSUPP } ) );
        EXPECT_TRUE( saved );
        expectComplete( before );
    }
}

TEST_F( CryVaultFaults, AWriterOfFilesReportsADirectoryThatIsNotOnTheDisk )
{
    pb::Ref<PB_BUFFER> some = buf( "content" );
    std::string        path = ( folder.path / "file" ).string();
    for( bool replace : { false, true } )
    {
        for( auto [error, wanted] : std::initializer_list<std::pair<int, int>>{ { EIO, EIO }, { ENOSPC, ENOSPC }, { EINVAL, 0 }, { EOPNOTSUPP, 0 } } )
        {
            fs::remove( path );
            faults        = { .only = "fsync of a directory", .error = error };
            faults.active = true;
            int problem   = pb___PathFileWrite( path.c_str(), some.get(), 0600, replace );
            faults.active = false;
            EXPECT_EQ( problem, wanted );
            EXPECT_EQ( read( path ), "content" );
            faults        = { .only = "fsync of a directory", .error = error };
            faults.active = true;
            PB_BOOL done  = pbPathFileDelete( str( path ).get() );
            faults.active = false;
            EXPECT_EQ( (bool)done, wanted == 0 );
            EXPECT_FALSE( fs::exists( path ) );
        }
    }
}
