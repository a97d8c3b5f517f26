#include <pb/containers.hpp>
#include <pb/pb_store_legacy_binary.h>
#include <pb/pb_string.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <string_view>

#include "stores/pb_store_entries.hpp"

namespace
{

// The major types of CBOR, in the upper bits of the first byte.
enum Major : PB_BYTE
{
    unsignedInteger = 0 << 5,
    negativeInteger = 1 << 5,
    textString      = 3 << 5,
    arrayOf         = 4 << 5,
    mapOf           = 5 << 5,
};

constexpr PB_BYTE falseItem = 0xF4, trueItem = 0xF5, nullItem = 0xF6;

// The number of bytes of an argument behind the first byte of an item.
size_t argumentLength( uint64_t argument )
{
    return argument < 24 ? 0 : argument <= UINT8_MAX ? 1 : argument <= UINT16_MAX ? 2 : argument <= UINT32_MAX ? 4 : 8;
}

// Counts the bytes, so that they are written into memory of the right size.
struct Measure
{
    size_t length    = 0;
    bool   sensitive = false;

    void byte( PB_BYTE ) { length++; }
    void head( Major, uint64_t argument ) { length += 1 + argumentLength( argument ); }
    void string( PB_STRING *str )
    {
        sensitive |= pbStringSensitive( str ) != 0;
        head( textString, pb::viewOf( str ).size() );
        length += pb::viewOf( str ).size();
    }
};

struct Writer
{
    PB_BYTE *to;

    void byte( PB_BYTE value ) { *to++ = value; }
    void head( Major major, uint64_t argument )
    {
        size_t count = argumentLength( argument );
        byte( (PB_BYTE)( major | ( count ? 24 + std::countr_zero( count ) : argument ) ) );
        while( count-- )
            byte( (PB_BYTE)( argument >> 8 * count ) );
    }
    void string( PB_STRING *str )
    {
        std::string_view text = pb::viewOf( str );
        head( textString, text.size() );
        std::memcpy( to, text.data(), text.size() );
        to += text.size();
    }
};

// A store that is being written: its entries in the order of the bytes.
struct Level
{
    pb::StdVector<pb::StoreEntry> entries;
    size_t                        next = 0;
};

// The order of the encoded keys: a shorter text has a smaller first byte or argument.
bool standsBefore( const pb::StoreEntry &a, const pb::StoreEntry &b )
{
    std::string_view keyA = pb::viewOf( a.key ), keyB = pb::viewOf( b.key );
    return keyA.size() != keyB.size() ? keyA.size() < keyB.size() : keyA < keyB;
}

Level levelOf( PB_STORE *store )
{
    Level          level;
    pb::StoreEntry entry;
    level.entries.reserve( (size_t)pbStoreLength( store ) );
    for( size_t place = 0; pb::nextStoreEntry( store, place, entry ); )
        level.entries.push_back( entry );
    if( !pbStoreIsArray( store ) )
        std::sort( level.entries.begin(), level.entries.end(), standsBefore );
    return level;
}

// Its stack does not grow with the depth of the stores.
template<class Out>
void write( Out &out, PB_STORE *store )
{
    pb::StdVector<Level> levels;
    auto                 begin = [&]( PB_STORE *opened ) {
        levels.push_back( levelOf( opened ) );
        out.head( pbStoreIsArray( opened ) ? arrayOf : mapOf, levels.back().entries.size() );
    };
    begin( store );
    while( !levels.empty() )
    {
        Level &level = levels.back();
        if( level.next == level.entries.size() )
        {
            levels.pop_back();
            continue;
        }
        pb::StoreEntry entry = level.entries[level.next++];
        if( entry.key )
            out.string( entry.key );
        if( entry.kind == pb::StoreKind::store )
            begin( pbStoreFrom( entry.object ) );
        else if( entry.kind == pb::StoreKind::string )
            out.string( pbStringFrom( entry.object ) );
        else if( entry.kind == pb::StoreKind::integer )
            out.head( entry.number < 0 ? negativeInteger : unsignedInteger, (uint64_t)( entry.number < 0 ? -1 - entry.number : entry.number ) );
        else
            out.byte( entry.kind == pb::StoreKind::null ? nullItem : entry.number ? trueItem : falseItem );
    }
}

}

PB_BUFFER *pbStoreLegacyBinaryEncodeToBuffer( PB_STORE *store )
{
    PB_CHECK( store );
    Measure measure;
    write( measure, store );
    PB_BYTE           *bytes;
    pb::Ref<PB_BUFFER> buffer = pb::adopt( pb___BufferCreateLength( (PB_INT)measure.length, &bytes ) );
    Writer             writer{ bytes };
    write( writer, store );
    if( measure.sensitive )
        pbBufferSetSensitive( buffer.handle() );
    return buffer.take();
}
