#include <gtest/gtest.h>

#include "support/files.hpp"
#include "support/text.hpp"

#include <filesystem>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
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
    // Without a writer an ordinary open would wait for one; the alarm ends a test that hangs.
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
    // What C would take for the file's name.
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
