#include <pb/pb_mem.h>

#include <cstdlib>
#include <cstring>

static constexpr PB_MEM_ALLOCATOR standardAllocator = { std::malloc, std::realloc, std::free };

static PB_MEM_ALLOCATOR current = standardAllocator;

void pbMemSetAllocator( const PB_MEM_ALLOCATOR *allocator ) { current = allocator ? *allocator : standardAllocator; }

void *pbMemAlloc( size_t size )
{
    void *memory = current.alloc( size ? size : 1 );
    PB_CHECK( memory );
    return memory;
}

void *pbMemAllocZeroed( size_t size ) { return std::memset( pbMemAlloc( size ), 0, size ); }

void *pbMemReallocN( void *memory, PB_INT count, size_t size )
{
    size_t bytes;
    PB_CHECK( PB_INT_TO_SIZET_CONV_OK( count ) );
    PB_CHECK( !__builtin_mul_overflow( (size_t)count, size, &bytes ) );
    memory = current.realloc( memory, bytes ? bytes : 1 );
    PB_CHECK( memory );
    return memory;
}

void *pbMemReallocSensitive( void *memory, size_t oldSize, size_t newSize )
{
    void *moved = pbMemAlloc( newSize );
    if( memory )
        std::memcpy( moved, memory, oldSize < newSize ? oldSize : newSize );
    pbMemFreeSensitive( memory, oldSize );
    return moved;
}

void pbMemFree( void *memory )
{
    if( memory )
        current.free( memory );
}

void pbMemFreeSensitive( void *memory, size_t size )
{
    if( !memory )
        return;
    pbMemCleanse( memory, size );
    current.free( memory );
}

void pbMemCleanse( void *memory, size_t size )
{
    if( memory )
        explicit_bzero( memory, size );
}
