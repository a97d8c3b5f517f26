#include "tr_output.hpp"

#include "support/files.hpp"

#include <csignal>
#include <gtest/gtest.h>
#include <sys/resource.h>

using namespace support;

namespace
{

// While it exists, files of this process cannot grow beyond a size, as on a disk that is full.
class FullDisk
{
public:
    explicit FullDisk( rlim_t size )
    {
        before = std::signal( SIGXFSZ, SIG_IGN );
        getrlimit( RLIMIT_FSIZE, &limit );
        rlimit small = { size, limit.rlim_max };
        setrlimit( RLIMIT_FSIZE, &small );
    }
    ~FullDisk()
    {
        setrlimit( RLIMIT_FSIZE, &limit );
        std::signal( SIGXFSZ, before );
    }
    FullDisk( const FullDisk & ) = delete;

private:
    rlimit limit;
    void ( *before )( int );
};

}

TEST( TrOutput, ALineThatWasCutOffStaysALineOfItsOwn )
{
    TemporaryFolder folder;
    std::string     path = folder.path.string() + "/file";
    {
        tr::Output output( tr::Output::tryOpen( path.c_str() ) );
        ASSERT_TRUE( output.isFile() );
        size_t cut, none;
        {
            FullDisk full( 10 );
            cut  = output.write( "first\nsecond\n" );
            none = output.write( "third\n" );
        }
        EXPECT_EQ( cut, 10u );
        EXPECT_EQ( none, 0u );
        EXPECT_EQ( output.write( "fourth\nfifth\n" ), 13u );
        EXPECT_EQ( output.write( "sixth\n" ), 6u );
    }
    EXPECT_EQ( read( path ), "first\nseco\nfourth\nfifth\nsixth\n" );
}

TEST( TrOutput, AFunctionWritesAllOrNothing )
{
    PB_BOOL    answer = PB_TRUE;
    tr::Output output( []( void *context, const char *, PB_INT ) { return *static_cast<PB_BOOL *>( context ); }, &answer );
    EXPECT_FALSE( output.isFile() );
    EXPECT_EQ( output.write( "a\nb\n" ), 4u );
    answer = PB_FALSE;
    EXPECT_EQ( output.write( "a\nb\n" ), 0u );
}
