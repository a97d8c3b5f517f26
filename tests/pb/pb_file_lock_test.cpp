#include <gtest/gtest.h>

#include "support/files.hpp"
#include "support/sanitizers.hpp"
#include "support/text.hpp"

#include <atomic>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using namespace support;
namespace fs = std::filesystem;

namespace
{

using Lock = pb::Ref<PB_FILE_LOCK>;

Lock lockOf( const fs::path &path, PB_INT timeoutMs = 0, PB_BOOL *busy = nullptr )
{
    return pb::adopt( pbFileLockTryCreate( str( path.string() ).get(), timeoutMs, busy ) );
}

// Another process, which locks and unlocks a file when it is told to. It must be made before this
// process locks the file, since a child has copies of its parent's descriptors.
class OtherProcess
{
public:
    explicit OtherProcess( const fs::path &path )
    {
        EXPECT_EQ( pipe( commands ), 0 );
        EXPECT_EQ( pipe( answers ), 0 );
        child = fork();
        if( child != 0 )
            return;
        close( commands[1] );
        Lock held;
        for( char command; read( commands[0], &command, 1 ) == 1; )
        {
            held   = {};
            held   = command == 'l' ? lockOf( path ) : Lock();
            char c = held ? 'y' : 'n';
            if( write( answers[1], &c, 1 ) != 1 )
                break;
        }
        _exit( 0 );
    }

    ~OtherProcess()
    {
        for( int descriptor : { commands[0], commands[1], answers[0], answers[1] } )
            close( descriptor );
        kill();
    }

    bool lock() { return ask( 'l' ); }
    void unlock() { ask( 'u' ); }

    void kill()
    {
        if( child > 0 )
        {
            ::kill( child, SIGKILL );
            waitpid( child, nullptr, 0 );
        }
        child = 0;
    }

private:
    bool ask( char command )
    {
        char answer = 0;
        EXPECT_EQ( write( commands[1], &command, 1 ), 1 );
        EXPECT_EQ( read( answers[0], &answer, 1 ), 1 );
        return answer == 'y';
    }

    int   commands[2], answers[2];
    pid_t child;
};

using Clock = std::chrono::steady_clock;

PB_INT millisecondsSince( Clock::time_point start ) { return std::chrono::duration_cast<std::chrono::milliseconds>( Clock::now() - start ).count(); }

class PbFileLock : public testing::Test
{
protected:
    TemporaryFolder folder;
    fs::path        path = folder.path / "lock";
};

class PbFileLockProcesses : public PbFileLock
{
protected:
    void SetUp() override
    {
        // With the memory that the sanitizer maps, fork can fail after other tests.
        if( WITH_THREAD_SANITIZER )
            GTEST_SKIP() << "not with the thread sanitizer";
    }
};

}

TEST_F( PbFileLock, MakesAFileForItsOwnerThatStays )
{
    mode_t mask = umask( 0 );
    EXPECT_TRUE( lockOf( path ) );
    umask( mask );
    struct stat status;
    ASSERT_EQ( stat( path.c_str(), &status ), 0 );
    EXPECT_EQ( status.st_mode & 07777u, 0600u );
    EXPECT_EQ( status.st_size, 0 );
}

TEST_F( PbFileLock, LeavesTheContentOfTheFile )
{
    support::write( path, "content" );
    EXPECT_TRUE( lockOf( path ) );
    EXPECT_EQ( support::read( path ), "content" );
}

TEST_F( PbFileLockProcesses, OneProcessAtATimeHasIt )
{
    OtherProcess other( path ), third( path );
    PB_BOOL      busy = PB_TRUE;
    Lock         own  = lockOf( path, 0, &busy );
    EXPECT_TRUE( own );
    EXPECT_FALSE( busy );
    EXPECT_FALSE( other.lock() );
    own = {};
    EXPECT_TRUE( other.lock() );
    EXPECT_FALSE( lockOf( path, 0, &busy ) );
    EXPECT_TRUE( busy );
    EXPECT_FALSE( third.lock() );
    other.unlock();
    EXPECT_TRUE( third.lock() );
    third.unlock();
    EXPECT_TRUE( lockOf( path, 0, &busy ) );
    EXPECT_FALSE( busy );
}

TEST_F( PbFileLockProcesses, OtherFilesAreNotConcerned )
{
    OtherProcess other( path );
    EXPECT_TRUE( other.lock() );
    EXPECT_TRUE( lockOf( folder.path / "another" ) );
}

TEST_F( PbFileLockProcesses, OneProcessMayHaveItSeveralTimes )
{
    OtherProcess other( path );
    PB_BOOL      busy  = PB_TRUE;
    Lock         first = lockOf( path ), second = lockOf( path, 0, &busy );
    EXPECT_TRUE( first );
    EXPECT_TRUE( second );
    EXPECT_FALSE( busy );
    EXPECT_FALSE( pbFileLockEquals( first.get(), second.get() ) );
    // Another name of the same file.
    fs::create_hard_link( path, folder.path / "name" );
    Lock third = lockOf( folder.path / "name" );
    EXPECT_TRUE( third );
    for( Lock *each : { &first, &third, &second } )
    {
        EXPECT_FALSE( other.lock() );
        *each = {};
    }
    EXPECT_TRUE( other.lock() );
}

TEST_F( PbFileLock, ThreadsOfAProcessNeverKeepEachOtherOut )
{
    std::atomic<int>         refused = 0, waited = 0;
    std::vector<std::thread> threads;
    for( int number = 0; number < 4; number++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 3000; round++ )
            {
                PB_BOOL busy;
                refused += !lockOf( path, 0, &busy );
                waited += busy;
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( refused, 0 );
    EXPECT_EQ( waited, 0 );
}

TEST_F( PbFileLockProcesses, WaitsUntilTheOtherProcessGivesItBack )
{
    OtherProcess other( path );
    for( PB_INT timeout : { 60000, -1 } )
    {
        EXPECT_TRUE( other.lock() );
        std::thread later( [&] {
            usleep( 100000 );
            other.unlock();
        } );
        auto        start = Clock::now();
        PB_BOOL     busy  = PB_FALSE;
        EXPECT_TRUE( lockOf( path, timeout, &busy ) );
        EXPECT_TRUE( busy );
        EXPECT_GE( millisecondsSince( start ), 90 );
        later.join();
    }
}

TEST_F( PbFileLockProcesses, GivesUpWhenTheTimeIsOver )
{
    OtherProcess other( path );
    EXPECT_TRUE( other.lock() );
    auto start = Clock::now();
    EXPECT_FALSE( lockOf( path, 150 ) );
    EXPECT_GE( millisecondsSince( start ), 140 );
    EXPECT_LT( millisecondsSince( start ), 10000 );
}

TEST_F( PbFileLockProcesses, GoesWithAKilledProcess )
{
    OtherProcess other( path );
    EXPECT_TRUE( other.lock() );
    other.kill();
    PB_BOOL busy = PB_TRUE;
    EXPECT_TRUE( lockOf( path, 0, &busy ) );
    EXPECT_FALSE( busy );
}

TEST_F( PbFileLock, DoesNotFollowALink )
{
    fs::create_symlink( "target", path );
    PB_BOOL busy = PB_TRUE;
    EXPECT_FALSE( lockOf( path, -1, &busy ) );
    EXPECT_FALSE( busy );
    EXPECT_FALSE( fs::exists( folder.path / "target" ) );
    support::write( folder.path / "target", "" );
    EXPECT_FALSE( lockOf( path, -1 ) );
}

TEST_F( PbFileLock, GivesNothingIfThereCanBeNoFile )
{
    PB_BOOL busy = PB_TRUE;
    for( const fs::path &bad : { folder.path, folder.path / "missing" / "lock", fs::path(), folder.path / std::string( 300, 'n' ),
             fs::path( path.string() + std::string( "\0x", 2 ) ) } )
    {
        EXPECT_FALSE( lockOf( bad, -1, &busy ) ) << bad;
        EXPECT_FALSE( busy ) << bad;
    }
    EXPECT_TRUE( fs::is_empty( folder.path ) );
}

TEST_F( PbFileLockProcesses, LeavesNoDescriptorOpen )
{
    OtherProcess other( path );
    auto         open   = [] { return std::distance( fs::directory_iterator( "/proc/self/fd" ), fs::directory_iterator() ); };
    auto         before = open();
    {
        Lock first = lockOf( path ), second = lockOf( path );
        EXPECT_EQ( open(), before + 1 );
    }
    EXPECT_TRUE( other.lock() );
    lockOf( path, 20 );
    lockOf( folder.path );
    EXPECT_EQ( open(), before );
}

TEST_F( PbFileLock, EqualsOnlyItself )
{
    Lock own = lockOf( path );
    EXPECT_TRUE( pbFileLockEquals( own.get(), own.get() ) );
    EXPECT_EQ( text( pb::adopt( pbFileLockToString( own.get() ) ) ).rfind( "PB_FILE_LOCK(0x", 0 ), 0u );
}
