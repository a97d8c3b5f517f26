/* Memory of the family's objects. */
#ifndef PB_PB_MEM_H
#define PB_PB_MEM_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/* PB_MEM_ALLOCATOR: where the family's memory comes from; the three work like malloc, realloc and free. */
typedef struct PB_MEM_ALLOCATOR
{
    void *( *alloc )( size_t size );                 /* as malloc */
    void *( *realloc )( void *memory, size_t size ); /* as realloc */
    void ( *free )( void *memory );                  /* as free */
} PB_MEM_ALLOCATOR;

/* pbMemSetAllocator: replaces the allocator of the whole process; null restores malloc, realloc and free. To be called while no object exists,
   since memory goes back to the allocator that is set when it is freed. */
PB_EXPORT void pbMemSetAllocator( const PB_MEM_ALLOCATOR *allocator );

/* pbMemAlloc: `size` bytes, not zeroed; never null, exhaustion aborts. A size of 0 gives memory of one byte. */
PB_EXPORT void *pbMemAlloc( size_t size );

/* pbMemAllocZeroed: the same, zeroed. */
PB_EXPORT void *pbMemAllocZeroed( size_t size );

/* pbMemReallocN: `memory` (may be null) grown or shrunk to `count` elements of `size` bytes; an overflowing product or exhaustion aborts. Not for
   sensitive content, which pbMemReallocSensitive moves. */
PB_EXPORT void *pbMemReallocN( void *memory, PB_INT count, size_t size );

/* pbMemReallocSensitive: moves `oldSize` bytes into new memory of `newSize` bytes and cleanses the old memory before it is freed. */
PB_EXPORT void *pbMemReallocSensitive( void *memory, size_t oldSize, size_t newSize );

/* pbMemFree: returns memory; null is nothing. */
PB_EXPORT void pbMemFree( void *memory );

/* pbMemFreeSensitive: overwrites `size` bytes with zeros, which the optimiser may not leave out, and returns the memory; null is nothing. */
PB_EXPORT void pbMemFreeSensitive( void *memory, size_t size );

/* pbMemCleanse: overwrites `size` bytes with zeros, which the optimiser may not leave out. */
PB_EXPORT void pbMemCleanse( void *memory, size_t size );

PB_END_DECLS

#endif
