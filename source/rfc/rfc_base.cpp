#include <pb/pb_mem.h>
#include <pb/ref.hpp>
#include <rfc/rfc_base.h>

#include <array>
#include <cstring>

#include "rfc_base64.hpp"

namespace
{

constexpr PB_BYTE invalid = 0xFF;

// One kind of encoding: a character has `bits` bits, and a group of `group` characters has a whole
// number of bytes.
struct Encoding
{
    char                     alphabet[65];
    int                      bits;
    int                      group;
    std::array<PB_BYTE, 256> values;

    consteval Encoding( const char *characters, int bitsEach, int groupLength ) : alphabet{}, bits( bitsEach ), group( groupLength ), values{}
    {
        values.fill( invalid );
        for( int value = 0; value < 1 << bits; value++ )
        {
            alphabet[value]                    = characters[value];
            values[(PB_BYTE)characters[value]] = (PB_BYTE)value;
        }
    }

    constexpr int groupBytes() const { return group * bits / 8; }
};

constexpr Encoding encodings[] = {
    { "0123456789ABCDEF", 4, 2 },
    { "ABCDEFGHIJKLMNOPQRSTUVWXYZ234567", 5, 8 },
    { "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/", 6, 4 },
    { "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_", 6, 4 },
};

const Encoding &encodingOf( PB_INT kind ) { return encodings[kind - 1]; }

constexpr PB_BYTE lineEnds[5][3] = { { 0 }, { 1, '\n' }, { 1, '\r' }, { 1, 0x85 }, { 2, '\r', '\n' } };

// Base 64 has code of its own: keys and certificates use it.
rfc::base64::Alphabet alphabetOf( PB_INT kind ) { return kind == RFC_BASE_64 ? rfc::base64::Alphabet::standard : rfc::base64::Alphabet::url; }

}

PB_INT rfc___BaseEncodedLength( PB_INT byteCount, PB_INT kind )
{
    PB_CHECK( byteCount >= 0 );
    PB_CHECK( RFC_BASE_OK( kind ) );
    const Encoding &encoding = encodingOf( kind );
    PB_INT          groups   = byteCount / encoding.groupBytes() + ( byteCount % encoding.groupBytes() != 0 );
    PB_CHECK( groups <= PB_INT_MAX / encoding.group );
    return groups * encoding.group;
}

void rfc___BaseEncodeBytes( const PB_BYTE *bytes, PB_INT byteCount, PB_INT kind, char *text )
{
    PB_CHECK( bytes || !byteCount );
    PB_CHECK( byteCount >= 0 );
    PB_CHECK( RFC_BASE_OK( kind ) );
    const Encoding &encoding = encodingOf( kind );
    char           *end      = text + rfc___BaseEncodedLength( byteCount, kind );
    if( encoding.bits == 6 )
        return rfc::base64::encode( alphabetOf( kind ), bytes, byteCount, text );
    uint32_t held = 0;
    int      bits = 0;
    for( ; byteCount > 0; byteCount-- )
    {
        held = held << 8 | *bytes++;
        for( bits += 8; bits >= encoding.bits; bits -= encoding.bits )
            *text++ = encoding.alphabet[held >> ( bits - encoding.bits ) & ( ( 1u << encoding.bits ) - 1 )];
    }
    if( bits )
        *text++ = encoding.alphabet[held << ( encoding.bits - bits ) & ( ( 1u << encoding.bits ) - 1 )];
    while( text < end )
        *text++ = '=';
}

PB_INT rfc___BaseTryDecodeBytes( const char *text, PB_INT length, PB_INT kind, PB_BYTE *bytes )
{
    PB_CHECK( text || !length );
    PB_CHECK( length >= 0 );
    PB_CHECK( RFC_BASE_OK( kind ) );
    PB_CHECK( bytes || !length );
    const Encoding &encoding = encodingOf( kind );
    if( length % encoding.group )
        return -1;
    PB_BYTE *begin = bytes;
    if( encoding.bits == 6 )
    {
        PB_INT groups = rfc::base64::decodeGroups( alphabetOf( kind ), text, length, bytes );
        text += 4 * groups;
        length -= 4 * groups;
        bytes += 3 * groups;
    }
    uint32_t held = 0;
    int      bits = 0;
    PB_INT   used = 0;
    for( ; used < length; used++ )
    {
        PB_BYTE value = encoding.values[(PB_BYTE)text[used]];
        if( value == invalid )
            break;
        held = held << encoding.bits | value;
        bits += encoding.bits;
        if( bits >= 8 )
        {
            bits -= 8;
            *bytes++ = (PB_BYTE)( held >> bits );
        }
    }
    // The rest must be the padding of the last group: the leftover characters do not hold a
    // complete byte, and all leftover bits are zero.
    PB_INT padding = length - used;
    if( padding >= encoding.group || bits >= encoding.bits || ( held & ( ( 1u << bits ) - 1 ) ) )
        return -1;
    for( ; used < length; used++ )
    {
        if( text[used] != '=' )
            return -1;
    }
    return bytes - begin;
}

PB_INT rfc___BaseEncodeLines( const PB_BYTE *bytes, PB_INT byteCount, char *text )
{
    PB_CHECK( bytes || !byteCount );
    PB_CHECK( byteCount >= 0 );
    return rfc::base64::encodeLines( bytes, byteCount, text ) - text;
}

PB_BOOL rfc___BaseTryDecodeLines( const char *text, PB_INT length, PB_BOOL crlf, PB_BYTE *bytes )
{
    PB_CHECK( text || !length );
    PB_CHECK( length >= 0 );
    PB_CHECK( bytes || !length );
    PB_INT lineLength = rfc::base64::lineCharacters + ( crlf ? 2 : 1 );
    return length % lineLength == 0 && rfc::base64::tryDecodeLines( text, length / lineLength, crlf ? 2 : 1, bytes );
}

static PB_BUFFER *createEmptyLike( PB_BUFFER *source )
{
    PB_BUFFER *buf = pbBufferCreate();
    if( pbBufferSensitive( source ) )
        pbBufferSetSensitive( &buf );
    return buf;
}

PB_BUFFER *rfcBaseEncode( PB_BUFFER *data, PB_INT kind )
{
    PB_CHECK( data );
    PB_CHECK( RFC_BASE_OK( kind ) );
    pb::Ref<RFC_BASE_OPTIONS> options = pb::adopt( rfcBaseOptionsCreate() );
    return rfcBaseEncodeWithOptions( data, kind, options.get() );
}

PB_BUFFER *rfcBaseEncodeWithOptions( PB_BUFFER *data, PB_INT kind, RFC_BASE_OPTIONS *options )
{
    PB_CHECK( data );
    PB_CHECK( RFC_BASE_OK( kind ) );
    PB_CHECK( options );
    PB_INT             length = rfc___BaseEncodedLength( pbBufferLength( data ), kind );
    pb::Ref<PB_BUFFER> line   = pb::adopt( createEmptyLike( data ) );
    char              *text   = (char *)pb___BufferExtend( line.handle(), length );
    rfc___BaseEncodeBytes( pbBufferBytes( data ), pbBufferLength( data ), kind, text );
    if( rfcBaseOptionsFlags( options ) & RFC_BASE_FLAG_NO_PADDING )
    {
        PB_INT kept = length;
        while( kept > 0 && text[kept - 1] == '=' )
            kept--;
        pbBufferDelInner( line.handle(), kept, length - kept );
        length = kept;
    }
    const PB_BYTE *lineEnd    = lineEnds[rfcBaseOptionsOutputNlf( options )];
    PB_INT         lineLength = rfcBaseOptionsOutputLineLength( options );
    bool           endLast    = rfcBaseOptionsFlags( options ) & RFC_BASE_FLAG_END_LAST_LINE;
    if( !lineEnd[0] || !length || ( !endLast && ( !lineLength || length <= lineLength ) ) )
        return line.take();

    if( !lineLength )
        lineLength = length;
    pb::Ref<PB_BUFFER> lines = pb::adopt( createEmptyLike( data ) );
    PB_INT             count = length / lineLength + ( length % lineLength != 0 );
    PB_INT             ends  = endLast ? count : count - 1;
    PB_BYTE           *to    = pb___BufferExtend( lines.handle(), length + ends * lineEnd[0] );
    const PB_BYTE     *from  = pbBufferBytes( line.get() );
    for( PB_INT left = length; left > 0; )
    {
        PB_INT piece = left < lineLength ? left : lineLength;
        std::memcpy( to, from, (size_t)piece );
        to += piece;
        from += piece;
        left -= piece;
        if( left > 0 || endLast )
        {
            std::memcpy( to, lineEnd + 1, lineEnd[0] );
            to += lineEnd[0];
        }
    }
    return lines.take();
}

PB_BUFFER *rfcBaseTryDecode( PB_BUFFER *text, PB_INT kind )
{
    PB_CHECK( text );
    PB_CHECK( RFC_BASE_OK( kind ) );
    PB_INT             length = pbBufferLength( text );
    pb::Ref<PB_BUFFER> data   = pb::adopt( createEmptyLike( text ) );
    PB_BYTE           *bytes  = pb___BufferExtend( data.handle(), length );
    PB_INT             count  = rfc___BaseTryDecodeBytes( (const char *)pbBufferBytes( text ), length, kind, bytes );
    if( count < 0 )
        return nullptr;
    pbBufferDelInner( data.handle(), count, length - count );
    return data.take();
}
