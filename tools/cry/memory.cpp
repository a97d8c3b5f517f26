#include "memory.hpp"

#include "output/error.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>
#include <openssl/crypto.h>
#include <pb/pb_mem.h>
#include <string_view>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace
{

bool json = false;

// Nothing here takes memory.
void say( int stream, std::string_view text )
{
    ssize_t ignored = write( stream, text.data(), text.size() );
    (void)ignored;
}

[[noreturn]] void endWithoutMemory()
{
    if( json )
        say( STDOUT_FILENO, "{\n  \"format\": 1,\n  \"error\": {\n    \"message\": \"there is not enough memory\"\n  }\n}\n" );
    say( STDERR_FILENO, "cry: there is not enough memory\n" );
    _exit( tool::exitInputError );
}

void *take( size_t size )
{
    void *memory = std::malloc( size ? size : 1 );
    if( !memory )
        endWithoutMemory();
    return memory;
}

void give( void *memory )
{
    if( !memory )
        return;
    explicit_bzero( memory, malloc_usable_size( memory ) );
    std::free( memory );
}

void *move( void *memory, size_t size )
{
    void *moved = take( size );
    if( memory )
        std::memcpy( moved, memory, std::min( size, malloc_usable_size( memory ) ) );
    give( memory );
    return moved;
}

// libcrypto's functions give null for nothing.
void *takeForOpenssl( size_t size, const char *, int ) { return size ? take( size ) : nullptr; }
void  giveForOpenssl( void *memory, const char *, int ) { give( memory ); }
void *moveForOpenssl( void *memory, size_t size, const char *, int )
{
    if( size )
        return move( memory, size );
    give( memory );
    return nullptr;
}

}

void tool::cleanseMemory()
{
    static constexpr PB_MEM_ALLOCATOR allocator = { take, move, give };
    pbMemSetAllocator( &allocator );
    // Refused if libcrypto holds memory already, which nothing takes before main.
    if( CRYPTO_set_mem_functions( takeForOpenssl, moveForOpenssl, giveForOpenssl ) != 1 )
        throw InputError( "libcrypto took memory before the program began" );
}

void tool::reportAsJson() { json = true; }

void tool::keepMemorySecret()
{
    rlimit none{ 0, 0 };
    setrlimit( RLIMIT_CORE, &none );
    prctl( PR_SET_DUMPABLE, 0 );
}

// The other forms of these operators call these.
void *operator new( size_t size ) { return take( size ); }
void  operator delete( void *memory ) noexcept { give( memory ); }
void  operator delete( void *memory, size_t ) noexcept { give( memory ); }
void *operator new( size_t size, std::align_val_t alignment )
{
    void *memory = std::aligned_alloc( (size_t)alignment, ( size + (size_t)alignment - 1 ) / (size_t)alignment * (size_t)alignment );
    if( !memory )
        endWithoutMemory();
    return memory;
}
void operator delete( void *memory, std::align_val_t ) noexcept { give( memory ); }
void operator delete( void *memory, size_t, std::align_val_t ) noexcept { give( memory ); }
