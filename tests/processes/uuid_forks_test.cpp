// A process that forks. Its children and grandchildren draw random bytes for UUIDs.
#include "support/sanitizers.hpp"
#include "support/shortcuts.hpp"
#include "support/text.hpp"
#include "uuid/cry_uuid_random.hpp"

#include <array>
#include <cstring>
#include <gtest/gtest.h>
#include <openssl/rand.h>
#include <set>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace cry::uuid;

namespace
{

// With a sanitizer, a fork takes much longer.
constexpr size_t forks = WITH_ADDRESS_SANITIZER || WITH_THREAD_SANITIZER ? 40 : 200, draws = 40;

using Sixteen = std::array<PB_BYTE, 16>;

struct Drawn
{
    Sixteen parent[draws], child[draws], grandchild[draws], childLater[draws];
};

// Memory that all the processes write to.
Drawn *sharedMemory( size_t count )
{
    void *memory = mmap( nullptr, count * sizeof( Drawn ), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0 );
    return memory == MAP_FAILED ? nullptr : (Drawn *)memory;
}

void draw( Sixteen ( &to )[draws] )
{
    for( Sixteen &each : to )
        randomBytes( each.data() );
}

// Runs something in a child process, at the same time as something else here, and waits.
template<class Child, class Parent>
void forked( Child child, Parent parent )
{
    pid_t pid = fork();
    if( pid == 0 )
    {
        child();
        _exit( 0 );
    }
    parent();
    int status = -1;
    waitpid( pid, &status, 0 );
    EXPECT_EQ( status, 0 );
}

bool isEmpty( const Sixteen &bytes ) { return bytes == Sixteen{}; }

}

TEST( UuidForks, NoProcessGetsWhatAnotherOneGot )
{
    support::Shortcuts on( true );
    Drawn             *all = sharedMemory( forks );
    ASSERT_NE( all, nullptr );
    for( size_t round = 0; round < forks; round++ )
    {
        Drawn  &now = all[round];
        Sixteen some;
        // The processes find the block filled to different heights.
        for( size_t skip = 0; skip <= round % 5; skip++ )
            randomBytes( some.data() );
        forked( [&] { draw( now.child ), forked( [&] { draw( now.grandchild ); }, [&] { draw( now.childLater ); } ); }, [&] { draw( now.parent ); } );
    }
    std::set<Sixteen> seen;
    for( size_t round = 0; round < forks; round++ )
    {
        for( auto &part : { all[round].parent, all[round].child, all[round].grandchild, all[round].childLater } )
        {
            for( size_t index = 0; index < draws; index++ )
            {
                EXPECT_FALSE( isEmpty( part[index] ) );
                EXPECT_TRUE( seen.insert( part[index] ).second ) << "fork " << round;
            }
        }
    }
    EXPECT_EQ( seen.size(), forks * draws * 4 );
}

TEST( UuidForks, AChildFindsItsBlockEmpty )
{
    support::Shortcuts on( true );
    Sixteen            some;
    randomBytes( some.data() );
    auto  *empty = (bool *)sharedMemory( 1 );
    size_t size  = (size_t)( bytesOfOne * onesInBlock );
    EXPECT_NE( std::string( (const char *)blockOfThread(), size ), std::string( size, '\0' ) );
    forked( [&] { *empty = std::string( (const char *)blockOfThread(), size ) == std::string( size, '\0' ); }, [] {} );
    EXPECT_TRUE( *empty );
}

namespace
{

bool forksNext, isChild;

// Fills the bytes. One call forks after the first half, and the child goes on here.
int fillAndFork( unsigned char *bytes, int length )
{
    memset( bytes, 0xC5, (size_t)length / 2 );
    if( forksNext )
    {
        forksNext = false;
        isChild   = fork() == 0;
    }
    memset( bytes + length / 2, 0xC5, (size_t)( length - length / 2 ) );
    return 1;
}

}

TEST( UuidForks, AChildThatIsMadeWhileABlockIsFilledGetsNoZeros )
{
    support::Shortcuts on( true );
    auto              *good = (PB_INT *)sharedMemory( 1 );
    RAND_METHOD        method{ nullptr, fillAndFork, nullptr, nullptr, fillAndFork, nullptr };
    RAND_set_rand_method( &method );
    forksNext = true;
    // All that is left in the block, and one block more.
    Sixteen bytes;
    for( PB_INT draw = 0; draw < 2 * onesInBlock; draw++ )
    {
        randomBytes( bytes.data() );
        if( isChild )
            good[1] += !isEmpty( bytes );
        else
            good[0] += !isEmpty( bytes );
    }
    if( isChild )
        _exit( 0 );
    RAND_set_rand_method( nullptr );
    wait( nullptr );
    EXPECT_EQ( good[0], 2 * onesInBlock );
    EXPECT_GT( good[1], onesInBlock );
}
