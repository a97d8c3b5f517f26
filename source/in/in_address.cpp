#include <in/in_address.h>
#include <pb/sort.hpp>

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>

struct IN_ADDRESS : PB_OBJ
{
    PB_INT  length; // 4 or 16 bytes
    PB_BYTE bytes[16];
};

static constexpr PB_INT lengthV4 = 4, lengthV6 = 16;

static PB_INT compareAddress( IN_ADDRESS *inaA, IN_ADDRESS *inaB )
{
    PB_CHECK( inaA );
    PB_CHECK( inaB );
    if( inaA->length != inaB->length )
        return inaA->length < inaB->length ? -1 : 1;
    int order = std::memcmp( inaA->bytes, inaB->bytes, (size_t)inaA->length );
    return order < 0 ? -1 : order > 0;
}

// The start and the length of the longest run of zero groups. One group alone is not a run.
static void longestZeros( const unsigned *groups, int &first, int &count )
{
    first = count = 0;
    for( int index = 0; index < 8; index++ )
    {
        int end = index;
        while( end < 8 && groups[end] == 0 )
            end++;
        if( end - index > count && end - index > 1 )
        {
            first = index;
            count = end - index;
        }
        index = end > index ? end - 1 : index;
    }
}

// RFC 5952, 4 and 5.
static void writeV6( const PB_BYTE *bytes, char *text, size_t room )
{
    static constexpr PB_BYTE mapped[12] = { 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xFF, 0xFF };
    if( std::memcmp( bytes, mapped, sizeof mapped ) == 0 )
    {
        std::snprintf( text, room, "::ffff:%u.%u.%u.%u", bytes[12], bytes[13], bytes[14], bytes[15] );
        return;
    }
    unsigned groups[8];
    for( int index = 0; index < 8; index++ )
        groups[index] = (unsigned)bytes[(size_t)index * 2] << 8 | bytes[(size_t)index * 2 + 1];
    int first, count;
    longestZeros( groups, first, count );
    char *to = text, *end = text + room;
    for( int index = 0; index < 8; index++ )
    {
        if( count && index == first )
        {
            to += std::snprintf( to, (size_t)( end - to ), "::" );
            index += count - 1;
            continue;
        }
        bool separated = index && !( count && index == first + count );
        to += std::snprintf( to, (size_t)( end - to ), separated ? ":%x" : "%x", groups[index] );
    }
}

static PB_STRING *addressToString( IN_ADDRESS *ina )
{
    PB_CHECK( ina );
    char           text[INET6_ADDRSTRLEN];
    const PB_BYTE *bytes = ina->bytes;
    if( ina->length == lengthV4 )
        std::snprintf( text, sizeof text, "%u.%u.%u.%u", bytes[0], bytes[1], bytes[2], bytes[3] );
    else
        writeV6( bytes, text, sizeof text );
    return pbStringCreateFromCstr( text, -1 );
}

PB_SORT_DEFINE( in, Address, IN_ADDRESS, .compare = pb::slot<compareAddress>, .toString = pb::slot<addressToString> )

static IN_ADDRESS *create( const PB_BYTE *bytes, PB_INT length )
{
    IN_ADDRESS *ina = pb::create<IN_ADDRESS>();
    ina->length     = length;
    std::memcpy( ina->bytes, bytes, (size_t)length );
    return ina;
}

IN_ADDRESS *inAddressCreateV4( const PB_BYTE *bytes ) { return PB_CHECK( bytes ), create( bytes, lengthV4 ); }

IN_ADDRESS *inAddressCreateV6( const PB_BYTE *bytes ) { return PB_CHECK( bytes ), create( bytes, lengthV6 ); }

static IN_ADDRESS *tryParse( int family, const char *text, PB_INT length )
{
    PB_BYTE bytes[16];
    return inet_pton( family, text, bytes ) == 1 ? create( bytes, length ) : nullptr;
}

IN_ADDRESS *inAddressTryCreateFromString( PB_STRING *str )
{
    PB_CHECK( str );
    const char *text = pbStringTryPeekCstr( str );
    if( !text )
        return nullptr;
    IN_ADDRESS *ina = tryParse( AF_INET, text, lengthV4 );
    return ina ? ina : tryParse( AF_INET6, text, lengthV6 );
}

IN_ADDRESS *inAddressTryCreateFromHost( PB_STRING *host )
{
    PB_CHECK( host );
    PB_INT      length;
    const char *text = pbStringPeekUtf8( host, &length );
    if( length < 2 || text[0] != '[' || text[length - 1] != ']' )
        return inAddressTryCreateFromString( host );
    pb::Ref<PB_STRING> inner    = pb::adopt( pbStringCreateFromCstr( text + 1, length - 2 ) );
    const char        *brackets = pbStringTryPeekCstr( inner.get() );
    return brackets ? tryParse( AF_INET6, brackets, lengthV6 ) : nullptr;
}

PB_BOOL inAddressIsV4( IN_ADDRESS *ina ) { return PB_CHECK( ina ), ina->length == lengthV4; }

PB_BOOL inAddressIsV6( IN_ADDRESS *ina ) { return PB_CHECK( ina ), ina->length == lengthV6; }

PB_BUFFER *inAddressToBinary( IN_ADDRESS *ina ) { return PB_CHECK( ina ), pbBufferCreateFromBytes( ina->bytes, ina->length ); }
