// Byte sources that give their bytes in chosen pieces, for tests of readers.
#pragma once

#include <pb/pb.h>
#include <pb/ref.hpp>

#include <cstring>
#include <string>

namespace support
{

// Gives `piece` bytes in each read. After the last byte comes the end, or a read error if `fails`
// is set.
inline pb::Ref<PB_BYTE_SOURCE> source( std::string bytes, PB_INT piece, bool fails = false )
{
    struct State
    {
        std::string bytes;
        PB_INT      piece;
        bool        fails;
        size_t      at = 0;
    };
    auto read = []( void *closure, PB_BYTE *to, PB_INT max ) -> PB_INT {
        State &state = *(State *)closure;
        size_t count = state.bytes.size() - state.at;
        if( !count )
            return state.fails ? -1 : 0;
        if( count > (size_t)state.piece )
            count = (size_t)state.piece;
        if( count > (size_t)max )
            count = (size_t)max;
        std::memcpy( to, state.bytes.data() + state.at, count );
        state.at += count;
        return (PB_INT)count;
    };
    auto release = []( void *closure ) { delete(State *)closure; };
    return pb::adopt( pbCallbackByteSourceCreate( read, release, new State{ std::move( bytes ), piece, fails } ) );
}

inline pb::Ref<PB_CHAR_SOURCE> characters( const pb::Ref<PB_BYTE_SOURCE> &bytes, PB_INT charset, PB_INT flags )
{
    return pb::adopt( pbCharsetCreateCharSource( bytes.get(), charset, flags ) );
}

}
