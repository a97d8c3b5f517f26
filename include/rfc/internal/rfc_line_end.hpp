// Finds the ends of lines in a text. C++ only.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace rfc
{

// The place of the first of these characters; `last` if there is none. Eight bytes are looked at in
// one step, and no byte is looked at for each character again.
template<char... Ends>
const char *findLineEnd( const char *at, const char *last )
{
    constexpr uint64_t ones = 0x0101010101010101;
    for( ; last - at >= 8; at += 8 )
    {
        uint64_t word;
        std::memcpy( &word, at, sizeof word );
        // The top bit of each byte that is zero. A byte above such a byte may have it too.
        auto     zeros = []( uint64_t bytes ) { return ( bytes - ones ) & ~bytes & ones << 7; };
        uint64_t found = ( zeros( word ^ ones * (unsigned char)Ends ) | ... );
        if( !found )
            continue;
        if constexpr( std::endian::native == std::endian::little )
            return at + std::countr_zero( found ) / 8;
        break;
    }
    while( at < last && ( ( *at != Ends ) && ... ) )
        at++;
    return at;
}

}
