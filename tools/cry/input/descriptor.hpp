// A file descriptor that is closed at the end of its scope.
#pragma once

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

}
