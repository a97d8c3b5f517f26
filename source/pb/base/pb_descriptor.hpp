// File descriptors: who holds one, and reading and writing that signals do not interrupt.
#pragma once

#include <pb/pb_base.h>

#include <cerrno>
#include <unistd.h>
#include <utility>

namespace pb
{

// Descriptor: holds an open file, or -1.
class Descriptor
{
public:
    explicit Descriptor( int opened ) : number( opened ) {}
    Descriptor( Descriptor &&other ) noexcept : number( std::exchange( other.number, -1 ) ) {}
    ~Descriptor()
    {
        if( number >= 0 )
            close( number );
    }

    bool isOpen() const { return number >= 0; }
    int  get() const { return number; }

private:
    int number;
};

// readSome: puts up to `max` bytes at `to` and returns their number; 0 at the end, -1 if it fails.
inline PB_INT readSome( const Descriptor &file, PB_BYTE *to, PB_INT max )
{
    ssize_t count;
    do
        count = ::read( file.get(), to, (size_t)max );
    while( count < 0 && errno == EINTR );
    return count;
}

// writeAll: 0, or the number of the error.
inline int writeAll( const Descriptor &file, const PB_BYTE *bytes, PB_INT length )
{
    while( length )
    {
        ssize_t count = ::write( file.get(), bytes, (size_t)length );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            return errno;
        bytes += count;
        length -= count;
    }
    return 0;
}

}
