// The storage that buffers and strings share. The bytes start inside the object and move to other
// memory if the object is too small for them.
#pragma once

#include <pb/pb_mem.h>

#include <cstring>

namespace pb
{

struct Bytes
{
    PB_BYTE *bytes;
    PB_INT   length;
    PB_INT   capacity;
    PB_BOOL  owned; // the memory is not inside the object
    PB_BOOL  sensitive;

    // How much of the wanted room is inside the object. A large content is not put there, since new
    // objects are zeroed, which would take too long.
    static PB_INT insideOf( PB_INT room ) { return room <= 4096 ? room : 0; }

    // `inside` is the memory that was allocated behind the object.
    void init( void *inside, PB_INT insideCapacity )
    {
        bytes    = (PB_BYTE *)inside;
        capacity = insideCapacity;
    }

    void use( void *memory, PB_INT count )
    {
        bytes  = (PB_BYTE *)memory;
        length = capacity = count;
        owned             = true;
    }

    void reserve( PB_INT wanted )
    {
        if( wanted <= capacity )
            return;
        PB_INT roomy = capacity > PB_INT_MAX / 2 ? wanted : capacity * 2;
        if( roomy < wanted )
            roomy = wanted;
        if( roomy < 32 )
            roomy = 32;
        if( owned && !sensitive )
            bytes = (PB_BYTE *)pbMemReallocN( bytes, roomy, 1 );
        else
        {
            PB_BYTE *moved = (PB_BYTE *)pbMemAlloc( (size_t)roomy );
            if( length )
                std::memcpy( moved, bytes, (size_t)length );
            release();
            bytes = moved;
        }
        capacity = roomy;
        owned    = true;
    }

    // Whether an address lies in this memory. The memory moves when the content grows.
    bool holds( const void *place ) const { return (uintptr_t)place - (uintptr_t)bytes < (uintptr_t)capacity; }

    PB_BYTE *extend( PB_INT count )
    {
        PB_CHECK( PB_INT_ADD_OK( length, count ) );
        reserve( length + count );
        PB_BYTE *where = bytes + length;
        length += count;
        return where;
    }

    void append( const void *from, PB_INT count )
    {
        if( count )
            std::memcpy( extend( count ), from, (size_t)count );
    }

    // Sensitive bytes are overwritten when they are no longer used.
    void shrink( PB_INT newLength )
    {
        if( sensitive )
            pbMemCleanse( bytes + newLength, (size_t)( length - newLength ) );
        length = newLength;
    }

    // Bytes that were removed from the content may still be behind it.
    void setSensitive()
    {
        sensitive = PB_TRUE;
        pbMemCleanse( bytes + length, (size_t)( capacity - length ) );
    }

    void release()
    {
        if( sensitive )
            pbMemCleanse( bytes, (size_t)length );
        if( owned )
            pbMemFree( bytes );
    }
};

}
