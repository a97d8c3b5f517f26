#include "uuid/cry_uuid_random.hpp"

#include <cry/cry_random.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_module.h>
#include <pb/pb_mem.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <openssl/rand.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

namespace
{

using cry::uuid::bytesOfOne;
using cry::uuid::onesInBlock;

// A page of its own. The kernel fills it with zeros in a child process, so parent and child never
// use the same bytes. `valid` and `left` are in the page too, so that a child finds an empty block.
struct Block
{
    PB_BYTE               bytes[bytesOfOne * onesInBlock];
    volatile PB_INT       left; // UUIDs; the used ones are at the end
    volatile sig_atomic_t valid;
};

constinit thread_local struct
{
    Block *block;
    bool   refused; // this thread gets no block
} own = {};

constinit std::atomic<PB_INT> blocksInUse{ 0 };

pthread_key_t key;
bool          hasKey = false;

size_t pageSize() { return (size_t)sysconf( _SC_PAGESIZE ); }

void drop( Block *old )
{
    pbMemCleanse( old->bytes, sizeof old->bytes );
    munmap( old, pageSize() );
    blocksInUse.fetch_sub( 1, std::memory_order_relaxed );
}

// The end of a thread. Destructors of other keys may still ask for UUIDs.
void atThreadEnd( void *old )
{
    own = { nullptr, true };
    drop( (Block *)old );
}

// The library is never unloaded, so the address of the function stays valid.
void makeKey() { hasKey = pthread_key_create( &key, atThreadEnd ) == 0; }

// Null if the kernel cannot wipe the page in child processes, or if there is no memory.
Block *tryCreateBlock()
{
    static pthread_once_t once = PTHREAD_ONCE_INIT;
    pthread_once( &once, makeKey );
    size_t size = pageSize();
    if( !hasKey || size < sizeof( Block ) )
        return nullptr;
    void *page = mmap( nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0 );
    if( page == MAP_FAILED )
        return nullptr;
    blocksInUse.fetch_add( 1, std::memory_order_relaxed );
    if( madvise( page, size, MADV_WIPEONFORK ) == 0 && pthread_setspecific( key, page ) == 0 )
        return (Block *)page;
    drop( (Block *)page );
    return nullptr;
}

// Errors are removed, since the failure of a block is not the failure of a UUID.
bool tryFill( Block *empty )
{
    openssl::ErrorMark detour;
    empty->valid = 1;
    std::atomic_signal_fence( std::memory_order_seq_cst );
    if( RAND_bytes( empty->bytes, PB_SIZEOF( empty->bytes ) ) == 1 )
    {
        empty->left = onesInBlock;
        return true;
    }
    pbMemCleanse( empty->bytes, sizeof empty->bytes );
    return false;
}

// Takes the next bytes of the block. False if there are none, or if the page was wiped meanwhile: a
// signal handler may call fork, and the child goes on here.
bool tryTake( Block *from, PB_BYTE *bytes )
{
    PB_INT left = from->left; // read once: in a child, the page is wiped between any two reads
    if( left <= 0 )
        return false;
    from->left    = left - 1;
    PB_BYTE *next = from->bytes + bytesOfOne * ( left - 1 );
    std::memcpy( bytes, next, bytesOfOne );
    pbMemCleanse( next, bytesOfOne );
    std::atomic_signal_fence( std::memory_order_seq_cst );
    return from->valid != 0;
}

bool tryRandomBytes( PB_BYTE *bytes )
{
    auto &[block, refused] = own;
    if( !block && !refused )
    {
        block   = tryCreateBlock();
        refused = !block;
    }
    if( refused )
        return false;
    while( !tryTake( block, bytes ) )
    {
        if( !tryFill( block ) )
            return false;
    }
    return true;
}

}

void cry::uuid::randomBytes( PB_BYTE *bytes )
{
    if( !openssl___ShortcutsUsed() || !tryRandomBytes( bytes ) )
        cryRandomBytes( bytes, bytesOfOne );
}

const PB_BYTE *cry::uuid::blockOfThread() { return own.block ? own.block->bytes : nullptr; }

PB_INT cry::uuid::blocks() { return blocksInUse.load( std::memory_order_relaxed ); }
