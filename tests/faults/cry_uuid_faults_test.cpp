// Random bytes for UUIDs if the kernel refuses what a block needs. The function below replaces that
// of the C library in this program.
#include "support/shortcuts.hpp"
#include "support/text.hpp"
#include "uuid/cry_uuid_random.hpp"

#include <atomic>
#include <cerrno>
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <thread>

namespace
{

thread_local bool refuses     = false;
thread_local int  wipesOnFork = 0;

}

extern "C" int refusing_madvise( void *memory, size_t size, int advice ) __asm__( "madvise" );
int            refusing_madvise( void *memory, size_t size, int advice )
{
    static const auto next = (int ( * )( void *, size_t, int ))dlsym( RTLD_NEXT, "madvise" );
    wipesOnFork += advice == MADV_WIPEONFORK;
    if( refuses && advice == MADV_WIPEONFORK )
        return errno = EINVAL, -1;
    return next( memory, size, advice );
}

TEST( UuidFaults, ThereIsNoBlockIfTheKernelDoesNotWipeItOnFork )
{
    support::Shortcuts on( true );
    PB_INT             before = cry::uuid::blocks();
    for( bool refused : { true, false } )
    {
        std::thread( [=] {
            refuses = refused;
            std::string first( 16, '\0' ), second( 16, '\0' );
            cry::uuid::randomBytes( (PB_BYTE *)first.data() );
            cry::uuid::randomBytes( (PB_BYTE *)second.data() );
            EXPECT_NE( first, second );
            EXPECT_NE( second, std::string( 16, '\0' ) );
            EXPECT_EQ( cry::uuid::blockOfThread() == nullptr, refused );
            EXPECT_EQ( cry::uuid::blocks(), before + !refused );
            EXPECT_EQ( wipesOnFork, 1 );
        } ).join();
    }
    EXPECT_EQ( cry::uuid::blocks(), before );
}
