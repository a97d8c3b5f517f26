#include <gtest/gtest.h>

#include "support/files.hpp"
#include "support/sanitizers.hpp"
#include "support/text.hpp"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <set>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace support;

namespace
{

pb::Ref<PB_BUFFER> readFile( const std::filesystem::path &path, PB_INT maxLength = 1000 )
{
    return pb::adopt( pbPathFileTryReadBuffer( str( path.string() ).get(), maxLength ) );
}

}

TEST( PbPathFile, ReadsAFileAsItIs )
{
    TemporaryFolder folder;
    for( const std::string &content : { std::string(), std::string( "text\n" ), std::string( "\0\xFF\r\n\x1A", 5 ), std::string( 300000, 'x' ) } )
    {
        write( folder.path / "file", content );
        EXPECT_EQ( bytes( readFile( folder.path / "file", 1000000 ) ), content );
    }
}

TEST( PbPathFile, ReadsUpToTheLongestThatIsAllowed )
{
    TemporaryFolder folder;
    write( folder.path / "ten", "0123456789" );
    write( folder.path / "empty", "" );
    EXPECT_EQ( bytes( readFile( folder.path / "ten", 11 ) ), "0123456789" );
    EXPECT_EQ( bytes( readFile( folder.path / "ten", 10 ) ), "0123456789" );
    EXPECT_FALSE( readFile( folder.path / "ten", 9 ) );
    EXPECT_FALSE( readFile( folder.path / "ten", 0 ) );
    EXPECT_EQ( bytes( readFile( folder.path / "empty", 0 ) ), "" );
}

TEST( PbPathFile, TakesNoMemoryForAFileThatIsTooLong )
{
    TemporaryFolder folder;
    write( folder.path / "sparse", "" );
    std::error_code error;
    std::filesystem::resize_file( folder.path / "sparse", (uintmax_t)1 << 40, error );
    if( error )
        GTEST_SKIP() << "no sparse files here: " << error.message();
    EXPECT_FALSE( readFile( folder.path / "sparse" ) );
}

TEST( PbPathFile, GivesNothingForAFileThatIsNotThere )
{
    TemporaryFolder folder;
    EXPECT_FALSE( readFile( folder.path / "missing" ) );
    EXPECT_FALSE( readFile( folder.path / "missing" / "file" ) );
    EXPECT_FALSE( readFile( "" ) );
    EXPECT_FALSE( readFile( folder.path / std::string( 5000, 'x' ) ) );
    ASSERT_EQ( symlink( "nowhere", ( folder.path / "dangling" ).c_str() ), 0 );
    EXPECT_FALSE( readFile( folder.path / "dangling" ) );
}

TEST( PbPathFile, FollowsALinkToAFile )
{
    TemporaryFolder folder;
    write( folder.path / "file", "content" );
    ASSERT_EQ( symlink( "file", ( folder.path / "link" ).c_str() ), 0 );
    EXPECT_EQ( bytes( readFile( folder.path / "link" ) ), "content" );
}

TEST( PbPathFile, GivesNothingForADirectory )
{
    TemporaryFolder folder;
    EXPECT_FALSE( readFile( folder.path ) );
    write( folder.path / "file", "x" );
    EXPECT_FALSE( readFile( ( folder.path / "file" ).string() + "/" ) );
}

TEST( PbPathFile, DoesNotWaitForAPipe )
{
    TemporaryFolder folder;
    ASSERT_EQ( mkfifo( ( folder.path / "pipe" ).c_str(), 0600 ), 0 );
    // An ordinary open would wait for a writer. The alarm ends a test that hangs.
    alarm( 20 );
    EXPECT_FALSE( readFile( folder.path / "pipe" ) );
    alarm( 0 );
}

TEST( PbPathFile, GivesNothingForDevicesAndSockets )
{
    EXPECT_FALSE( readFile( "/dev/null" ) );
    EXPECT_FALSE( readFile( "/dev/zero" ) );

    TemporaryFolder folder;
    sockaddr_un     address{ AF_UNIX, {} };
    std::string     path = ( folder.path / "socket" ).string();
    ASSERT_LT( path.size(), sizeof address.sun_path );
    path.copy( address.sun_path, path.size() );
    int descriptor = socket( AF_UNIX, SOCK_STREAM, 0 );
    ASSERT_EQ( bind( descriptor, (const sockaddr *)&address, sizeof address ), 0 );
    EXPECT_FALSE( readFile( path ) );
    close( descriptor );
}

TEST( PbPathFile, GivesNothingForAFileThatMayNotBeRead )
{
    if( geteuid() == 0 )
        GTEST_SKIP() << "root may read everything";
    TemporaryFolder folder;
    write( folder.path / "file", "x" );
    ASSERT_EQ( chmod( ( folder.path / "file" ).c_str(), 0 ), 0 );
    EXPECT_FALSE( readFile( folder.path / "file" ) );
}

TEST( PbPathFile, GivesNothingForAPathWithAZeroCharacter )
{
    TemporaryFolder folder;
    write( folder.path / "file", "content" );
    std::string path = ( folder.path / "file" ).string();
    // For C functions, the text before U+0000 is the name of the file.
    EXPECT_FALSE( pb::adopt( pbPathFileTryReadBuffer( str( path + std::string( "\0.pem", 5 ) ).get(), 1000 ) ) );
    EXPECT_FALSE( pb::adopt( pbPathFileTryReadBuffer( str( std::string( "\0", 1 ) ).get(), 1000 ) ) );
    EXPECT_EQ( bytes( readFile( path ) ), "content" );
}

TEST( PbPathFile, ReadsPathsThatAreNotAscii )
{
    TemporaryFolder folder;
    write( folder.path / "\xC3\xA4\xE2\x82\xAC \n'", "content" );
    EXPECT_EQ( bytes( readFile( folder.path / "\xC3\xA4\xE2\x82\xAC \n'" ) ), "content" );
}

TEST( PbPathFile, LeavesNoDescriptorOpen )
{
    TemporaryFolder folder;
    write( folder.path / "file", "0123456789" );
    auto open   = [] { return std::distance( std::filesystem::directory_iterator( "/proc/self/fd" ), std::filesystem::directory_iterator() ); };
    auto before = open();
    for( PB_INT maxLength : { 100, 1 } )
        readFile( folder.path / "file", maxLength );
    readFile( folder.path );
    readFile( folder.path / "missing" );
    EXPECT_EQ( open(), before );
}

namespace
{

int writeFile( const std::filesystem::path &path, const std::string &content, bool replace = true, unsigned int mode = 0600 )
{
    return pb___PathFileWrite( path.c_str(), buf( content ).get(), mode, replace );
}

unsigned modeOf( const std::filesystem::path &path )
{
    struct stat status;
    return stat( path.c_str(), &status ) == 0 ? status.st_mode & 07777u : 0;
}

std::set<std::string> namesIn( const std::filesystem::path &folder )
{
    std::set<std::string> names;
    for( const auto &entry : std::filesystem::directory_iterator( folder ) )
        names.insert( entry.path().filename().string() );
    return names;
}

using Names = std::set<std::string>;

// While this object lives, no file can become longer than this, as on a full disk.
class SmallDisk
{
public:
    explicit SmallDisk( rlim_t most )
    {
        getrlimit( RLIMIT_FSIZE, &before );
        handler      = std::signal( SIGXFSZ, SIG_IGN );
        rlimit small = { most, before.rlim_max };
        setrlimit( RLIMIT_FSIZE, &small );
    }
    ~SmallDisk()
    {
        setrlimit( RLIMIT_FSIZE, &before );
        std::signal( SIGXFSZ, handler );
    }

private:
    rlimit before;
    void ( *handler )( int );
};

}

TEST( PbPathFile, WritesANewFileForItsOwnerOnly )
{
    TemporaryFolder folder;
    mode_t          mask = umask( 0 );
    for( const std::string &content : { std::string(), std::string( "text" ), std::string( "\0\xFF\r\n", 4 ), std::string( 300000, 'x' ) } )
    {
        std::filesystem::remove( folder.path / "file" );
        EXPECT_TRUE( pbPathFileWriteBuffer( str( ( folder.path / "file" ).string() ).get(), buf( content ).get() ) );
        EXPECT_EQ( read( folder.path / "file" ), content );
        EXPECT_EQ( modeOf( folder.path / "file" ), 0600u );
        EXPECT_EQ( namesIn( folder.path ), Names{ "file" } );
    }
    umask( mask );
}

TEST( PbPathFile, PutsAFileInThePlaceOfAnother )
{
    TemporaryFolder folder;
    write( folder.path / "file", "a longer content than the new one" );
    ASSERT_EQ( chmod( ( folder.path / "file" ).c_str(), 0644 ), 0 );
    EXPECT_TRUE( pbPathFileWriteBuffer( str( ( folder.path / "file" ).string() ).get(), buf( "new" ).get() ) );
    EXPECT_EQ( read( folder.path / "file" ), "new" );
    EXPECT_EQ( modeOf( folder.path / "file" ), 0600u );
    EXPECT_EQ( namesIn( folder.path ), Names{ "file" } );
}

TEST( PbPathFile, GivesTheFileItsPermissionsWhateverTheMask )
{
    TemporaryFolder folder;
    mode_t          mask = umask( 0777 );
    EXPECT_EQ( writeFile( folder.path / "one", "x", false, 0644 ), 0 );
    EXPECT_EQ( writeFile( folder.path / "two", "x", true, 0640 ), 0 );
    umask( mask );
    EXPECT_EQ( modeOf( folder.path / "one" ), 0644u );
    EXPECT_EQ( modeOf( folder.path / "two" ), 0640u );
}

TEST( PbPathFile, LeavesAFileThatMayNotBeReplaced )
{
    TemporaryFolder folder;
    write( folder.path / "file", "old" );
    std::filesystem::create_symlink( "file", folder.path / "link" );
    std::filesystem::create_symlink( "nowhere", folder.path / "dangling" );
    for( const char *name : { "file", "link", "dangling" } )
        EXPECT_EQ( writeFile( folder.path / name, "new", false ), EEXIST ) << name;
    EXPECT_EQ( read( folder.path / "file" ), "old" );
    EXPECT_EQ( namesIn( folder.path ), ( Names{ "dangling", "file", "link" } ) );
    EXPECT_EQ( writeFile( folder.path / "other", "new", false ), 0 );
    EXPECT_EQ( read( folder.path / "other" ), "new" );
    EXPECT_EQ( namesIn( folder.path ), ( Names{ "dangling", "file", "link", "other" } ) );
}

TEST( PbPathFile, ReplacesWhatALinkLeadsTo )
{
    TemporaryFolder folder;
    std::filesystem::create_directory( folder.path / "deep" );
    write( folder.path / "deep" / "file", "old" );
    std::filesystem::create_symlink( "deep/file", folder.path / "link" );
    EXPECT_EQ( writeFile( folder.path / "link", "new" ), 0 );
    EXPECT_TRUE( std::filesystem::is_symlink( folder.path / "link" ) );
    EXPECT_EQ( read( folder.path / "deep" / "file" ), "new" );
    EXPECT_EQ( namesIn( folder.path ), ( Names{ "deep", "link" } ) );
    EXPECT_EQ( namesIn( folder.path / "deep" ), Names{ "file" } );
}

TEST( PbPathFile, WritesIntoWhatIsNoRegularFile )
{
    TemporaryFolder folder;
    ASSERT_EQ( mkfifo( ( folder.path / "pipe" ).c_str(), 0600 ), 0 );
    int reader = open( ( folder.path / "pipe" ).c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC );
    ASSERT_GE( reader, 0 );
    for( bool replace : { false, true } )
    {
        EXPECT_EQ( writeFile( folder.path / "pipe", "content", replace ), 0 );
        char    content[20];
        ssize_t count = ::read( reader, content, sizeof content );
        EXPECT_EQ( std::string( content, (size_t)std::max<ssize_t>( count, 0 ) ), "content" );
        EXPECT_TRUE( std::filesystem::is_fifo( folder.path / "pipe" ) );
    }
    close( reader );
    EXPECT_EQ( writeFile( "/dev/null", "content" ), 0 );
    EXPECT_TRUE( std::filesystem::is_character_file( "/dev/null" ) );
    EXPECT_EQ( writeFile( "/dev/full", "content" ), ENOSPC );
}

TEST( PbPathFile, SaysWhyAFileCannotBeWritten )
{
    TemporaryFolder folder;
    write( folder.path / "file", "old" );
    for( bool replace : { false, true } )
    {
        EXPECT_EQ( writeFile( folder.path, "x", replace ), EISDIR );
        EXPECT_EQ( writeFile( folder.path / "missing" / "file", "x", replace ), ENOENT );
        EXPECT_EQ( writeFile( folder.path / "file" / "file", "x", replace ), ENOTDIR );
        EXPECT_EQ( writeFile( "", "x", replace ), ENOENT );
        EXPECT_EQ( writeFile( folder.path / std::string( 300, 'n' ), "x", replace ), ENAMETOOLONG );
    }
    EXPECT_FALSE( pbPathFileWriteBuffer( str( folder.path.string() ).get(), buf( "x" ).get() ) );
    EXPECT_FALSE( pbPathFileWriteBuffer( str( ( folder.path / "new" ).string() + std::string( "\0.pem", 5 ) ).get(), buf( "x" ).get() ) );
    EXPECT_EQ( namesIn( folder.path ), Names{ "file" } );
    EXPECT_EQ( read( folder.path / "file" ), "old" );
}

TEST( PbPathFile, WritesRelativePaths )
{
    TemporaryFolder       folder;
    std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path( folder.path );
    EXPECT_EQ( writeFile( "new", "one", false ), 0 );
    EXPECT_EQ( writeFile( "new", "two", true ), 0 );
    EXPECT_EQ( writeFile( "./other", "three", true ), 0 );
    std::filesystem::current_path( before );
    EXPECT_EQ( read( folder.path / "new" ), "two" );
    EXPECT_EQ( read( folder.path / "other" ), "three" );
}

TEST( PbPathFile, ChangesNothingOnAFullDisk )
{
    TemporaryFolder folder;
    write( folder.path / "file", "old" );
    {
        SmallDisk disk( 10000 );
        EXPECT_EQ( writeFile( folder.path / "file", std::string( 20000, 'x' ), true ), EFBIG );
        EXPECT_EQ( writeFile( folder.path / "new", std::string( 20000, 'x' ), true ), EFBIG );
        EXPECT_EQ( writeFile( folder.path / "new", std::string( 20000, 'x' ), false ), EFBIG );
    }
    EXPECT_EQ( read( folder.path / "file" ), "old" );
    EXPECT_EQ( namesIn( folder.path ), Names{ "file" } );
}

TEST( PbPathFile, IsWholeWheneverTheProcessIsKilled )
{
    // With the memory that the sanitizer maps, fork can fail after other tests. The child has only
    // one thread, so there is no race to find.
    if( WITH_THREAD_SANITIZER )
        GTEST_SKIP() << "not with the thread sanitizer";
    TemporaryFolder   folder;
    int               probe      = open( folder.path.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600 );
    bool              nameless   = probe >= 0;
    const std::string contents[] = { std::string( 400000, 'a' ), std::string( 500000, 'b' ) };
    if( nameless )
        close( probe );
    for( int round = 0; round < 30; round++ )
    {
        bool replace = round % 2;
        if( !replace )
            std::filesystem::remove( folder.path / "file" );
        pid_t child = fork();
        ASSERT_GE( child, 0 );
        if( child == 0 )
        {
            for( int index = 0;; index++ )
            {
                if( !replace )
                    unlink( ( folder.path / "file" ).c_str() );
                writeFile( folder.path / "file", contents[index % 2], replace );
            }
        }
        usleep( (useconds_t)( 1000 + round * 700 ) );
        kill( child, SIGKILL );
        waitpid( child, nullptr, 0 );
        if( !std::filesystem::exists( folder.path / "file" ) )
            continue;
        std::string found = read( folder.path / "file" );
        EXPECT_TRUE( found == contents[0] || found == contents[1] ) << "round " << round << ": " << found.size() << " bytes";
        // If the file system can do that, a new file is written without a name first. So no other
        // file can be left.
        for( const std::string &name : namesIn( folder.path ) )
        {
            if( name == "file" )
                continue;
            EXPECT_TRUE( replace || !nameless ) << name;
            std::filesystem::remove( folder.path / name );
        }
    }
}

TEST( PbPathFile, WritesAStoreAndReadsItBack )
{
    TemporaryFolder          folder;
    pb::Ref<PB_STRING>       path   = str( ( folder.path / "file" ).string() );
    pb::Ref<PB_STORE>        store  = pb::adopt( pbStoreTryDecode( buf( "{\"a\":[1,\"text\"]}" ).get(), nullptr ) );
    pb::Ref<PB_STORE_HEADER> header = pb::adopt( pbStoreHeaderCreateCstr( "TYPE", -1 ) );
    pbStoreHeaderGenerateInfo( header.handle() );
    for( PB_STORE_HEADER *each : { header.get(), (PB_STORE_HEADER *)nullptr } )
    {
        // The file of the second round replaces the first one, which others may read.
        EXPECT_TRUE( pbPathFileWriteStore( path.get(), store.get(), each ) );
        EXPECT_EQ( read( folder.path / "file" ), bytes( pb::adopt( pbStoreEncode( store.get(), each ) ) ) );
        EXPECT_EQ( modeOf( folder.path / "file" ), 0600u );
        ASSERT_EQ( chmod( ( folder.path / "file" ).c_str(), 0644 ), 0 );
        PB_STORE_HEADER  *found = header.get();
        pb::Ref<PB_STORE> back  = pb::adopt( pbPathFileReadStore( path.get(), &found ) );
        EXPECT_TRUE( pbStoreEquals( back.get(), store.get() ) );
        EXPECT_TRUE( pbStoreHeaderEquals( pb::adopt( found ).get(), each ) );
        EXPECT_TRUE( pbStoreEquals( pb::adopt( pbPathFileReadStore( path.get(), nullptr ) ).get(), store.get() ) );
        // The next writing of this store must leave no secrets behind.
        EXPECT_TRUE( pbBufferSensitive( pb::adopt( pbStoreEncode( back.get(), nullptr ) ).get() ) );
    }
}

TEST( PbPathFile, GivesNoStoreForOtherFiles )
{
    TemporaryFolder folder;
    write( folder.path / "text", "[1" );
    write( folder.path / "empty", "" );
    for( const char *name : { "text", "empty", "missing", "" } )
    {
        pb::Ref<PB_STORE_HEADER> old    = pb::adopt( pbStoreHeaderCreateCstr( "OLD", -1 ) );
        PB_STORE_HEADER         *header = old.get();
        EXPECT_FALSE( pb::adopt( pbPathFileReadStore( str( ( folder.path / name ).string() ).get(), &header ) ) ) << name;
        EXPECT_EQ( header, nullptr ) << name;
    }
}

TEST( PbPathFile, WritesNoStoreThatItCouldNotRead )
{
    TemporaryFolder   folder;
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreateArray() );
    for( int level = 1; level < 129; level++ )
    {
        pb::Ref<PB_STORE> outer = pb::adopt( pbStoreCreateArray() );
        pbStoreAppendStore( outer.handle(), store.get() );
        store = outer;
    }
    write( folder.path / "file", "[]" );
    EXPECT_FALSE( pbPathFileWriteStore( str( ( folder.path / "file" ).string() ).get(), store.get(), nullptr ) );
    EXPECT_EQ( read( folder.path / "file" ), "[]" );
    EXPECT_FALSE( pbPathFileWriteStore( str( ( folder.path / "missing" / "file" ).string() ).get(), pb::adopt( pbStoreCreate() ).get(), nullptr ) );
}

TEST( PbPathFile, KnowsWhetherSomethingIsThere )
{
    TemporaryFolder folder;
    write( folder.path / "file", "" );
    std::filesystem::create_symlink( "file", folder.path / "link" );
    std::filesystem::create_symlink( "nowhere", folder.path / "dangling" );
    auto exists = [&]( const std::filesystem::path &name ) { return (bool)pbPathFileExists( str( ( folder.path / name ).string() ).get() ); };
    EXPECT_TRUE( exists( "file" ) );
    EXPECT_TRUE( exists( "link" ) );
    EXPECT_TRUE( exists( "" ) );
    EXPECT_FALSE( exists( "dangling" ) );
    EXPECT_FALSE( exists( "missing" ) );
    EXPECT_FALSE( exists( "file/file" ) );
    EXPECT_FALSE( pbPathFileExists( str( ( folder.path / "file" ).string() + std::string( "\0", 1 ) ).get() ) );
    EXPECT_FALSE( pbPathFileExists( str( "" ).get() ) );
}

TEST( PbPathFile, RemovesAFile )
{
    TemporaryFolder folder;
    write( folder.path / "file", "" );
    write( folder.path / "kept", "" );
    std::filesystem::create_directory( folder.path / "deep" );
    std::filesystem::create_symlink( "kept", folder.path / "link" );
    auto remove = [&]( const std::filesystem::path &name ) { return (bool)pbPathFileDelete( str( ( folder.path / name ).string() ).get() ); };
    EXPECT_FALSE( pbPathFileDelete( str( ( folder.path / "file" ).string() + std::string( "\0", 1 ) ).get() ) );
    EXPECT_TRUE( remove( "file" ) );
    EXPECT_TRUE( remove( "file" ) );
    EXPECT_TRUE( remove( "missing/file" ) );
    EXPECT_TRUE( remove( "kept/file" ) );
    EXPECT_FALSE( remove( "deep" ) );
    EXPECT_TRUE( remove( "link" ) );
    EXPECT_EQ( namesIn( folder.path ), ( Names{ "deep", "kept" } ) );
}

TEST( PbPathFile, MakesDirectories )
{
    TemporaryFolder folder;
    mode_t          mask = umask( 0 );
    auto            make = []( const std::filesystem::path &path ) { return (bool)pbPathDirectoryCreate( str( path.string() ).get() ); };
    EXPECT_TRUE( make( folder.path / "one" ) );
    EXPECT_TRUE( make( folder.path / "two" / "three" / "four" ) );
    EXPECT_TRUE( make( ( folder.path / "five" ).string() + "/" ) );
    for( const char *name : { "one", "two", "two/three", "two/three/four", "five" } )
        EXPECT_EQ( modeOf( folder.path / name ), 0700u ) << name;
    // One that is there stays as it is.
    ASSERT_EQ( chmod( ( folder.path / "one" ).c_str(), 0755 ), 0 );
    EXPECT_TRUE( make( folder.path / "one" ) );
    EXPECT_EQ( modeOf( folder.path / "one" ), 0755u );
    std::filesystem::create_directory_symlink( "one", folder.path / "link" );
    EXPECT_TRUE( make( folder.path / "link" ) );
    EXPECT_TRUE( make( "/" ) );
    umask( mask );

    write( folder.path / "file", "" );
    EXPECT_FALSE( make( folder.path / "file" ) );
    EXPECT_FALSE( make( folder.path / "file" / "one" ) );
    EXPECT_FALSE( make( "" ) );
    EXPECT_FALSE( pbPathDirectoryCreate( str( ( folder.path / "new" ).string() + std::string( "\0", 1 ) ).get() ) );
    EXPECT_FALSE( std::filesystem::exists( folder.path / "new" ) );
}
