/* Memory for the objects of these libraries. Any thread may call these functions, except
   pbMemSetAllocator. */
#ifndef PB_PB_MEM_H
#define PB_PB_MEM_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/* PB_MEM_ALLOCATOR: the functions from which these libraries take their memory. They must work like
   malloc, realloc and free, on any thread. */
typedef struct PB_MEM_ALLOCATOR
{
    void *( *alloc )( size_t size );                 /* as malloc */
    void *( *realloc )( void *memory, size_t size ); /* as realloc */
    void ( *free )( void *memory );                  /* as free */
} PB_MEM_ALLOCATOR;

/* pbMemSetAllocator: replaces the allocator of the whole process; null restores malloc, realloc and
   free. Call it while the runtime is stopped and no object exists, since memory is always given
   back to the allocator that is set at that moment. */
PB_EXPORT void pbMemSetAllocator( const PB_MEM_ALLOCATOR *allocator );

/* pbMemAlloc: `size` bytes, not zeroed. Never null: if there is no memory, it aborts ("memory"). A
   size of 0 gives memory of one byte. */
PB_EXPORT void *pbMemAlloc( size_t size );

/* pbMemAllocZeroed: the same, zeroed. */
PB_EXPORT void *pbMemAllocZeroed( size_t size );

/* pbMemReallocN: changes the size of `memory` (may be null) to `count` elements of `size` bytes. It
   aborts if the product is too large or there is no memory. For sensitive content use
   pbMemReallocSensitive. */
PB_EXPORT void *pbMemReallocN( void *memory, PB_INT count, size_t size );

/* pbMemReallocSensitive: moves `oldSize` bytes into new memory of `newSize` bytes, and overwrites
   the old memory before it is freed. */
PB_EXPORT void *pbMemReallocSensitive( void *memory, size_t oldSize, size_t newSize );

/* pbMemFree: gives memory back; null is allowed and does nothing. */
PB_EXPORT void pbMemFree( void *memory );

/* pbMemFreeSensitive: overwrites `size` bytes with zeros and gives the memory back; null is allowed
   and does nothing. The compiler cannot remove the overwriting. */
PB_EXPORT void pbMemFreeSensitive( void *memory, size_t size );

/* pbMemCleanse: overwrites `size` bytes with zeros. The compiler cannot remove this. */
PB_EXPORT void pbMemCleanse( void *memory, size_t size );

PB_END_DECLS

#endif
