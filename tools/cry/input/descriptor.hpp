// A file descriptor that is closed at the end of its scope.
#pragma once

#include <pb/pb_base.h>

#include <cerrno>
#include <cstddef>
#include <unistd.h>

namespace tool
{

// Standard input is never closed.
struct Descriptor
{
    int number;

    explicit Descriptor( int opened ) : number( opened ) {}
    ~Descriptor()
    {
        if( number > STDIN_FILENO )
            close( number );
    }
    Descriptor( const Descriptor & )            = delete;
    Descriptor &operator=( const Descriptor & ) = delete;
};

// Writes all bytes; 0 or a number of <errno.h>.
inline int writeAll( int descriptor, const PB_BYTE *bytes, size_t left )
{
    while( left )
    {
        ssize_t count = write( descriptor, bytes, left );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            return errno;
        bytes += count;
        left -= (size_t)count;
    }
    return 0;
}

}
