// SipHash-2-4: a hash of texts with a secret key. Without the key, nobody can choose many texts
// that have the same hash.
#pragma once

#include <pb/pb_base.h>

#include <bit>
#include <string_view>

namespace pb
{

struct SipKey
{
    uint64_t low, high;
};

inline uint64_t sipHash( SipKey key, std::string_view text )
{
    uint64_t v0 = key.low ^ 0x736f6d6570736575, v1 = key.high ^ 0x646f72616e646f6d;
    uint64_t v2 = key.low ^ 0x6c7967656e657261, v3 = key.high ^ 0x7465646279746573;

    auto rounds = [&]( int count ) {
        for( ; count; count-- )
        {
            v0 += v1, v1 = std::rotl( v1, 13 ) ^ v0, v0 = std::rotl( v0, 32 );
            v2 += v3, v3 = std::rotl( v3, 16 ) ^ v2;
            v0 += v3, v3 = std::rotl( v3, 21 ) ^ v0;
            v2 += v1, v1 = std::rotl( v1, 17 ) ^ v2, v2 = std::rotl( v2, 32 );
        }
    };
    // A word of the text, the first byte lowest.
    auto word = []( const char *bytes, size_t count ) {
        uint64_t value = 0;
        for( size_t index = 0; index < count; index++ )
            value |= (uint64_t)(uint8_t)bytes[index] << 8 * index;
        return value;
    };
    auto take = [&]( uint64_t value ) {
        v3 ^= value;
        rounds( 2 );
        v0 ^= value;
    };

    size_t whole = text.size() / 8 * 8;
    for( size_t at = 0; at < whole; at += 8 )
        take( word( text.data() + at, 8 ) );
    take( word( text.data() + whole, text.size() - whole ) | (uint64_t)text.size() << 56 );
    v2 ^= 0xff;
    rounds( 4 );
    return v0 ^ v1 ^ v2 ^ v3;
}

}
