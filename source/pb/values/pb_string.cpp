#include <pb/ascii.hpp>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <algorithm>
#include <unicase.h>
#include <unictype.h>
#include <unistr.h>

#include "values/pb_bytes.hpp"
#include "values/pb_string_fill.hpp"

struct PB_STRING : PB_OBJ
{
    pb::Bytes content; // valid UTF-8; one zero byte follows, which is not counted
    PB_INT    characters;
};

static void freeString( PB_STRING *str )
{
    PB_CHECK( str );
    str->content.release();
    pb::setPoison( str->content.bytes );
}

// The byte order of UTF-8 is the order of the code points.
static PB_INT compareString( PB_STRING *strA, PB_STRING *strB )
{
    PB_CHECK( strA );
    PB_CHECK( strB );
    PB_INT common = strA->content.length < strB->content.length ? strA->content.length : strB->content.length;
    if( int order = std::memcmp( strA->content.bytes, strB->content.bytes, (size_t)common ) )
        return order < 0 ? -1 : 1;
    return strA->content.length < strB->content.length ? -1 : strA->content.length > strB->content.length;
}

static PB_STRING *stringToString( PB_STRING *str ) { return PB_CHECK( str ), pb::shareOrNull( str ); }

PB_SORT_DEFINE( pb, String, PB_STRING, .free = pb::slot<freeString>, .compare = pb::slot<compareString>, .toString = pb::slot<stringToString> )

static constinit PB_BYTE   nothing[1]  = {};
static constinit PB_STRING emptyString = { { PB_OBJ_STATIC_REF_COUNT, &pb___sort_PB_STRING }, { nothing, 0, 0, PB_FALSE, PB_FALSE }, 0 };

static PB_STRING *createWithRoom( PB_INT bytes )
{
    PB_INT     inside = pb::Bytes::insideOf( bytes + 1 );
    PB_STRING *str    = pb::create<PB_STRING>( (size_t)inside );
    str->content.init( str + 1, inside );
    str->content.reserve( bytes + 1 );
    return str;
}

static PB_INT countCharacters( const PB_BYTE *bytes, PB_INT length )
{
    if( pb::isAscii( bytes, (size_t)length ) )
        return length;
    PB_INT count = 0;
    for( PB_INT index = 0; index < length; index++ )
        count += ( bytes[index] & 0xC0 ) != 0x80;
    return count;
}

// Appends bytes that are known to be valid UTF-8.
static void appendValid( PB_STRING *str, const void *bytes, PB_INT length )
{
    PB_CHECK( PB_INT_ADD_OK( str->content.length, length + 1 ) );
    str->content.reserve( str->content.length + length + 1 );
    str->characters += countCharacters( (const PB_BYTE *)bytes, length );
    str->content.append( bytes, length );
    str->content.bytes[str->content.length] = 0;
}

static bool validUtf8( const void *bytes, PB_INT length )
{
    return pb::isAscii( bytes, (size_t)length ) || u8_check( (const uint8_t *)bytes, (size_t)length ) == nullptr;
}

static void appendChar( PB_STRING *str, PB_CHAR character )
{
    uint8_t bytes[6];
    int     length = u8_uctomb( bytes, character, sizeof bytes );
    if( length < 0 )
        length = u8_uctomb( bytes, 0xFFFD, sizeof bytes );
    appendValid( str, bytes, length );
}

static void appendUtf8( PB_STRING *str, const void *text, PB_INT length )
{
    if( validUtf8( text, length ) )
        return appendValid( str, text, length );
    const uint8_t *rest = (const uint8_t *)text;
    for( PB_INT left = length; left > 0; )
    {
        ucs4_t character;
        int    used = u8_mbtouc( &character, rest, (size_t)left );
        appendChar( str, character );
        rest += used;
        left -= used;
    }
}

static PB_INT textLength( const char *text, PB_INT length, pb::Site site = pb::Site::here() )
{
    PB_CHECK_AT( site, text || !length );
    PB_CHECK_AT( site, length >= -1 );
    return length < 0 ? (PB_INT)std::strlen( text ) : length;
}

static PB_STRING *createValid( const void *bytes, PB_INT length, PB_BOOL sensitive )
{
    if( !length )
        return &emptyString;
    PB_STRING *str         = createWithRoom( length );
    str->content.sensitive = sensitive;
    appendValid( str, bytes, length );
    return str;
}

static PB_STRING *createFromUtf8( const void *text, PB_INT length, PB_BOOL sensitive )
{
    if( !length )
        return &emptyString;
    PB_STRING *str         = createWithRoom( length );
    str->content.sensitive = sensitive;
    appendUtf8( str, text, length );
    return str;
}

PB_STRING *pb::createStringOfLength( PB_INT length, PB_BOOL sensitive, PB_BYTE *&bytes )
{
    PB_STRING *str         = createWithRoom( length );
    str->content.sensitive = sensitive;
    // The length is that of the whole memory at once, so that all of it is overwritten if the
    // string is released before it is finished.
    bytes = str->content.extend( length );
    return str;
}

void pb::finishString( PB_STRING *str, PB_INT length )
{
    str->content.shrink( length );
    str->content.bytes[length] = 0;
    str->characters            = countCharacters( str->content.bytes, length );
}

static bool sameBytes( const void *a, const void *b, PB_INT count ) { return !count || std::memcmp( a, b, (size_t)count ) == 0; }

static PB_STRING *writable( PB_STRING **str ) { return pb::makeWritable( str, pbStringCreateFrom ); }

// The number of bytes of the character that begins with this byte. The library's own function gives
// 0 for U+0000.
static PB_INT characterLength( PB_BYTE first ) { return first < 0x80 ? 1 : first < 0xE0 ? 2 : first < 0xF0 ? 3 : 4; }

// The offset of the code point with this index; the index may be the length.
static PB_INT byteOffset( const PB_STRING *str, PB_INT index )
{
    if( str->characters == str->content.length )
        return index;
    PB_INT offset = 0;
    for( ; index > 0; index-- )
        offset += characterLength( str->content.bytes[offset] );
    return offset;
}

PB_STRING *pbStringCreate() { return &emptyString; }

PB_STRING *pbStringCreateFrom( PB_STRING *source )
{
    PB_CHECK( source );
    PB_STRING *str         = createWithRoom( source->content.length );
    str->content.sensitive = source->content.sensitive;
    appendValid( str, source->content.bytes, source->content.length );
    return str;
}

PB_STRING *pbStringCreateFromCstr( const char *text, PB_INT length )
{
    length = textLength( text, length );
    return createFromUtf8( text, length, PB_FALSE );
}

PB_STRING *pbStringTryCreateFromCstr( const char *text, PB_INT length )
{
    length = textLength( text, length );
    return validUtf8( text, length ) ? createValid( text, length, PB_FALSE ) : nullptr;
}

PB_STRING *pbStringCreateFromWcstr( const wchar_t *text, PB_INT length )
{
    PB_CHECK( text || !length );
    PB_CHECK( length >= -1 );
    length         = length < 0 ? (PB_INT)wcslen( text ) : length;
    PB_STRING *str = createWithRoom( length );
    for( PB_INT index = 0; index < length; index++ )
        appendChar( str, (PB_CHAR)text[index] );
    return str;
}

PB_STRING *pb___StringCreateImmortal( const char *text )
{
    PB_CHECK( text );
    PB_INT     length = (PB_INT)std::strlen( text );
    PB_STRING *str    = (PB_STRING *)pbMemAllocZeroed( sizeof( PB_STRING ) + (size_t)length + 1 );
    str->refCount     = PB_OBJ_STATIC_REF_COUNT;
    str->sort         = &pb___sort_PB_STRING;
    str->content.init( str + 1, length + 1 );
    appendUtf8( str, text, length );
    return str;
}

PB_INT pbStringLength( PB_STRING *str ) { return PB_CHECK( str ), str->characters; }

PB_CHAR pbStringCharAt( PB_STRING *str, PB_INT index )
{
    PB_CHECK( str );
    PB_CHECK( index >= 0 );
    PB_CHECK( index < pbStringLength( str ) );
    PB_INT offset = byteOffset( str, index );
    ucs4_t character;
    u8_mbtouc( &character, str->content.bytes + offset, (size_t)( str->content.length - offset ) );
    return character;
}

const char *pbStringPeekUtf8( PB_STRING *str, PB_INT *byteLength )
{
    PB_CHECK( str );
    if( byteLength )
        *byteLength = str->content.length;
    return (const char *)str->content.bytes;
}

const char *pbStringTryPeekCstr( PB_STRING *str )
{
    return PB_CHECK( str ), std::memchr( str->content.bytes, 0, (size_t)str->content.length ) ? nullptr : (const char *)str->content.bytes;
}

void pbStringAppend( PB_STRING **str, PB_STRING *other )
{
    PB_CHECK_HANDLE( str );
    PB_CHECK( other );
    pb::Ref<PB_STRING> held   = pb::share( other );
    PB_STRING         *target = writable( str );
    target->content.sensitive |= other->content.sensitive;
    appendValid( target, other->content.bytes, other->content.length );
}

void pbStringAppendCstr( PB_STRING **str, const char *text, PB_INT length )
{
    PB_CHECK_HANDLE( str );
    length = textLength( text, length );
    if( !( *str )->content.holds( text ) )
        return appendUtf8( writable( str ), text, length );
    pb::Ref<PB_STRING> own = pb::adopt( createFromUtf8( text, length, ( *str )->content.sensitive ) );
    pbStringAppend( str, own.get() );
}

void pbStringAppendChar( PB_STRING **str, PB_CHAR character )
{
    PB_CHECK_HANDLE( str );
    appendChar( writable( str ), character );
}

PB_STRING *pbStringCreateFromInner( PB_STRING *source, PB_INT offset, PB_INT count )
{
    PB_CHECK( source );
    PB_CHECK( offset >= 0 );
    PB_CHECK( count >= 0 );
    PB_CHECK( PB_INT_ADD_OK( offset, count ) );
    PB_CHECK( pbStringLength( source ) >= offset + count );
    PB_INT begin = byteOffset( source, offset );
    PB_INT end   = byteOffset( source, offset + count );
    return createValid( source->content.bytes + begin, end - begin, source->content.sensitive );
}

namespace
{

// The text with which a string is compared, in the form that a string would hold.
struct Comparand
{
    pb::Ref<PB_STRING> str; // made only if the text is malformed
    const PB_BYTE     *bytes;
    PB_INT             length;

    Comparand( const PB_STRING *with, const char *text, PB_INT textLength ) : bytes( (const PB_BYTE *)text ), length( textLength )
    {
        if( validUtf8( text, length ) )
            return;
        str    = pb::adopt( createFromUtf8( text, length, with->content.sensitive ) );
        bytes  = str.get()->content.bytes;
        length = str.get()->content.length;
    }
};

}

PB_BOOL pbStringEqualsCstr( PB_STRING *str, const char *text, PB_INT length )
{
    PB_CHECK( str );
    Comparand other( str, text, textLength( text, length ) );
    return str->content.length == other.length && sameBytes( str->content.bytes, other.bytes, other.length );
}

PB_BOOL pbStringBeginsWithCstr( PB_STRING *str, const char *text, PB_INT length )
{
    PB_CHECK( str );
    Comparand other( str, text, textLength( text, length ) );
    return str->content.length >= other.length && sameBytes( str->content.bytes, other.bytes, other.length );
}

PB_BOOL pbStringEndsWithCstr( PB_STRING *str, const char *text, PB_INT length )
{
    PB_CHECK( str );
    Comparand other( str, text, textLength( text, length ) );
    return str->content.length >= other.length && sameBytes( str->content.bytes + str->content.length - other.length, other.bytes, other.length );
}

PB_INT pbStringIndexOfChar( PB_STRING *str, PB_CHAR character, PB_INT from )
{
    PB_CHECK( str );
    PB_CHECK( from >= 0 );
    PB_CHECK( pbStringLength( str ) >= from );
    PB_INT         offset = byteOffset( str, from );
    const uint8_t *begin  = str->content.bytes + offset;
    const uint8_t *found  = u8_chr( begin, (size_t)( str->content.length - offset ), character );
    return found ? from + countCharacters( begin, found - begin ) : -1;
}

PB_STRING *pbStringTrim( PB_STRING *str )
{
    PB_CHECK( str );
    const uint8_t *begin = str->content.bytes;
    const uint8_t *end   = begin + str->content.length;
    ucs4_t         character;
    while( begin < end )
    {
        int used = u8_mbtouc( &character, begin, (size_t)( end - begin ) );
        if( !uc_is_property_white_space( character ) )
            break;
        begin += used;
    }
    while( begin < end )
    {
        const uint8_t *last = u8_prev( &character, end, begin );
        if( !last || !uc_is_property_white_space( character ) )
            break;
        end = last;
    }
    if( end - begin == str->content.length )
        return pb::shareOrNull( str );
    return createValid( begin, end - begin, str->content.sensitive );
}

PB_VECTOR *pbStringSplitChar( PB_STRING *str, PB_CHAR separator )
{
    PB_CHECK( str );
    pb::Ref<PB_VECTOR> parts = pb::adopt( pbVectorCreate() );
    const uint8_t     *begin = str->content.bytes;
    const uint8_t     *end   = begin + str->content.length;
    for( ;; )
    {
        const uint8_t     *found = u8_chr( begin, (size_t)( end - begin ), separator );
        pb::Ref<PB_STRING> part  = pb::adopt( createValid( begin, ( found ? found : end ) - begin, str->content.sensitive ) );
        pbVectorAppendObj( parts.handle(), part.obj() );
        if( !found )
            return parts.take();
        begin = found + characterLength( *found );
    }
}

// In ASCII, only the capital letters fold.
static PB_STRING *foldAscii( PB_STRING *str )
{
    auto           isCapital = []( PB_BYTE byte ) { return byte >= 'A' && byte <= 'Z'; };
    const PB_BYTE *begin     = str->content.bytes;
    if( std::none_of( begin, begin + str->content.length, isCapital ) )
        return pb::shareOrNull( str );
    PB_STRING *result = pbStringCreateFrom( str );
    for( PB_BYTE *byte = result->content.bytes; byte < result->content.bytes + result->content.length; byte++ )
        *byte = isCapital( *byte ) ? (PB_BYTE)( *byte + 'a' - 'A' ) : *byte;
    return result;
}

PB_STRING *pbStringToCaseFold( PB_STRING *str )
{
    PB_CHECK( str );
    if( str->characters == str->content.length )
        return foldAscii( str );
    // No character folds to more than three times its bytes. If the room is enough, the library
    // allocates no memory, which it would free without overwriting it.
    size_t   room   = (size_t)str->content.length * 3 + 16;
    uint8_t *memory = (uint8_t *)pbMemAlloc( room );
    size_t   length = room;
    uint8_t *folded = u8_casefold( str->content.bytes, (size_t)str->content.length, nullptr, nullptr, memory, &length );
    PB_CHECK( folded == memory );
    PB_STRING *result = createValid( folded, (PB_INT)length, str->content.sensitive );
    pbMemFreeSensitive( memory, str->content.sensitive ? length : 0 );
    return result;
}

PB_BUFFER *pbStringConvertToUtf8( PB_STRING *str )
{
    PB_CHECK( str );
    PB_BUFFER *buf = pbBufferCreateFromBytes( str->content.bytes, str->content.length );
    if( str->content.sensitive )
        pbBufferSetSensitive( &buf );
    return buf;
}

static PB_BUFFER *convertToBytes( PB_STRING *str, PB_CHAR largest )
{
    pb::Ref<PB_BUFFER> buf = pb::adopt( pbBufferCreate() );
    if( str->content.sensitive )
        pbBufferSetSensitive( buf.handle() );
    PB_BYTE       *to   = pb___BufferExtend( buf.handle(), str->characters );
    const uint8_t *from = str->content.bytes;
    for( PB_INT left = str->content.length; left > 0; )
    {
        ucs4_t character;
        int    used = u8_mbtouc( &character, from, (size_t)left );
        *to++       = character <= largest ? (PB_BYTE)character : '?';
        from += used;
        left -= used;
    }
    return buf.take();
}

PB_BUFFER *pbStringConvertToAscii( PB_STRING *str ) { return PB_CHECK( str ), convertToBytes( str, 0x7F ); }

PB_BUFFER *pbStringConvertToLatin1( PB_STRING *str ) { return PB_CHECK( str ), convertToBytes( str, 0xFF ); }

void pbStringSetSensitive( PB_STRING **str )
{
    PB_CHECK_HANDLE( str );
    writable( str )->content.setSensitive();
}

PB_BOOL pbStringSensitive( PB_STRING *str ) { return PB_CHECK( str ), str->content.sensitive; }
