// Whether a text is ASCII. C++ only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace pb
{

// Most texts are ASCII. Eight bytes are looked at in each step.
inline bool isAscii( const void *text, size_t length )
{
    const unsigned char *bytes = static_cast<const unsigned char *>( text );
    uint64_t             all   = 0;
    for( ; length >= sizeof all; length -= sizeof all, bytes += sizeof all )
    {
        uint64_t eight;
        std::memcpy( &eight, bytes, sizeof eight );
        all |= eight;
    }
    for( ; length > 0; length-- )
        all |= *bytes++;
    return !( all & 0x8080808080808080 );
}

}
