// A fast hash of long byte strings with a secret seed. C++ only.
#pragma once

#include <pb/pb_base.h>

#include <cstdint>
#include <cstring>
#include <string_view>

namespace pb
{

// seededHash: 64 bits for a table whose entries are compared in full. Without the seed, nobody can
// choose many strings that have the same hash. It is no digest: do not take equal hashes for equal
// strings.
inline uint64_t seededHash( std::basic_string_view<PB_BYTE> bytes, uint64_t seed )
{
    __extension__ typedef unsigned __int128 Wide;

    auto mix = []( uint64_t a, uint64_t b ) {
        Wide product = (Wide)a * b;
        return (uint64_t)product ^ (uint64_t)( product >> 64 );
    };
    auto word = []( const PB_BYTE *from ) {
        uint64_t value;
        std::memcpy( &value, from, sizeof value );
        return value;
    };
    // Odd numbers with as many ones as zeros, without a pattern.
    constexpr uint64_t first = 0x9E3779B97F4A7C15, second = 0xC2B2AE3D27D4EB4F, third = 0xD6E8FEB86659FD93;

    // Secret too, so that nobody can choose a word that makes a product zero.
    uint64_t       evenMask = mix( seed ^ second, first ), oddMask = mix( seed ^ third, second );
    const PB_BYTE *at   = bytes.data();
    size_t         left = bytes.size();
    uint64_t       even = seed ^ first, odd = mix( seed ^ second, third );
    for( ; left >= 32; at += 32, left -= 32 )
    {
        even = mix( word( at ) ^ evenMask, word( at + 8 ) ^ even );
        odd  = mix( word( at + 16 ) ^ oddMask, word( at + 24 ) ^ odd );
    }
    PB_BYTE last[32] = {};
    if( left )
        std::memcpy( last, at, left );
    even = mix( word( last ) ^ evenMask, word( last + 8 ) ^ even );
    odd  = mix( word( last + 16 ) ^ oddMask, word( last + 24 ) ^ odd );
    return mix( even ^ odd ^ bytes.size(), seed ^ first );
}

}
