#include <cry/cry_hash.h>
#include <cry/cry_uuid.h>
#include <pb/sort.hpp>

#include "uuid/cry_uuid_random.hpp"

#include <cstring>
#include <string_view>

struct CRY_UUID : PB_OBJ
{
    PB_BYTE uuid[16]; // in network order
};

static PB_INT compareUuid( CRY_UUID *uuidA, CRY_UUID *uuidB )
{
    PB_CHECK( uuidA );
    PB_CHECK( uuidB );
    int order = std::memcmp( uuidA->uuid, uuidB->uuid, sizeof uuidA->uuid );
    return order < 0 ? -1 : order > 0;
}

static PB_STRING *uuidToString( CRY_UUID *uuid ) { return cryUuidToStringWithFlags( uuid, 0 ); }

PB_SORT_DEFINE( cry, Uuid, CRY_UUID, .compare = pb::slot<compareUuid>, .toString = pb::slot<uuidToString> )

// The version digits of RFC 4122.
static constexpr PB_BYTE randomVersion = 4, nameVersion = 5;

static void setVersion( CRY_UUID *uuid, PB_BYTE version )
{
    uuid->uuid[8] = (PB_BYTE)( uuid->uuid[8] % 64 | 0x80 );
    uuid->uuid[6] = (PB_BYTE)( uuid->uuid[6] % 16 | version << 4 );
}

CRY_UUID *cryUuidCreate()
{
    CRY_UUID *uuid = pb::create<CRY_UUID>();
    cry::uuid::randomBytes( uuid->uuid );
    setVersion( uuid, randomVersion );
    return uuid;
}

CRY_UUID *cryUuidCreateNil() { return pb::create<CRY_UUID>(); }

CRY_UUID *cryUuidCreateFrom( CRY_UUID *src ) { return PB_CHECK( src ), cryUuidTryCreateFromBinaryBytes( src->uuid, PB_SIZEOF( src->uuid ) ); }

CRY_UUID *cryUuidTryCreateNameBased( CRY_UUID *ns, PB_BUFFER *name )
{
    PB_CHECK( ns );
    PB_CHECK( name );
    pb::Ref<CRY_HASH> hash = pb::adopt( cryHashTryCreate( CRY_HASH_ALGORITHM_SHA1 ) );
    if( !hash )
        return nullptr;
    cryHashUpdateBytes( hash.get(), ns->uuid, PB_SIZEOF( ns->uuid ) );
    cryHashUpdate( hash.get(), name );
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashFinal( hash.get() ) );
    CRY_UUID          *uuid   = pb::create<CRY_UUID>();
    PB_BUFFER         *buf    = digest.get();
    PB_CHECK( pbBufferLength( buf ) >= PB_SIZEOF_ARRAY( uuid->uuid ) );
    std::memcpy( uuid->uuid, pbBufferBytes( buf ), sizeof uuid->uuid );
    setVersion( uuid, nameVersion );
    return uuid;
}

CRY_UUID *cryUuidTryCreateNameBasedStringName( CRY_UUID *ns, PB_STRING *name )
{
    PB_CHECK( ns );
    PB_CHECK( name );
    pb::Ref<PB_BUFFER> utf8 = pb::adopt( pbStringConvertToUtf8( name ) );
    return cryUuidTryCreateNameBased( ns, utf8.get() );
}

CRY_UUID *cryUuidTryCreateFromBinary( PB_BUFFER *binary )
{
    return PB_CHECK( binary ), cryUuidTryCreateFromBinaryBytes( pbBufferBytes( binary ), pbBufferLength( binary ) );
}

CRY_UUID *cryUuidTryCreateFromBinaryBytes( const PB_BYTE *binary, PB_INT binaryLength )
{
    PB_CHECK( binary || !binaryLength );
    if( binaryLength != PB_SIZEOF( CRY_UUID::uuid ) )
        return nullptr;
    CRY_UUID *uuid = pb::create<CRY_UUID>();
    std::memcpy( uuid->uuid, binary, sizeof uuid->uuid );
    return uuid;
}

PB_BUFFER *cryUuidToBinary( CRY_UUID *uuid ) { return PB_CHECK( uuid ), pbBufferCreateFromBytes( uuid->uuid, PB_SIZEOF( uuid->uuid ) ); }

namespace
{

constexpr size_t textLength = 36;

// Whether the text has a separator after this byte.
constexpr bool separatorAfter( size_t byte ) { return byte == 3 || byte == 5 || byte == 7 || byte == 9; }

// The characters that can be around the text, in the order in which they are written: innermost
// first.
constexpr struct
{
    PB_INT flag;
    char   open, close;
} wrappings[] = {
    { CRY_UUID_STRING_FLAG_CURLY_BRACKET, '{', '}' },
    { CRY_UUID_STRING_FLAG_APOSTROPHE, '\'', '\'' },
    { CRY_UUID_STRING_FLAG_QUOTATION_MARK, '"', '"' },
};

constexpr size_t textLengthWrapped = textLength + 2 * PB_SIZEOF_ARRAY( wrappings );

bool isWrapped( std::string_view text )
{
    for( auto &wrapping : wrappings )
    {
        if( text.size() >= 2 && text.front() == wrapping.open && text.back() == wrapping.close )
            return true;
    }
    return false;
}

// -1 if the character is not a digit.
constexpr int digitValue( char c )
{
    if( c >= '0' && c <= '9' )
        return c - '0';
    if( c >= 'a' && c <= 'f' )
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

// Writes the eight digits of four bytes, all at once in one number.
void writeDigits( char *to, const PB_BYTE *bytes, bool uppercase )
{
    constexpr uint64_t each = 0x0101010101010101;

    // The first byte is in the lowest bits, and so is its first digit.
    uint64_t values = bytes[0] | (uint64_t)bytes[1] << 16 | (uint64_t)bytes[2] << 32 | (uint64_t)bytes[3] << 48;
    values          = ( values >> 4 | values << 8 ) & each * 0xF;
    uint64_t letter = ( values + each * 6 ) >> 4 & each; // 1 for each value above 9
    uint64_t digits = values + each * '0' + letter * ( uppercase ? 'A' - '0' - 10 : 'a' - '0' - 10 );
    for( unsigned index = 0; index < 8; index++ )
        to[index] = (char)( digits >> 8 * index );
}

}

CRY_UUID *cryUuidTryCreateFromString( PB_STRING *source )
{
    PB_CHECK( source );
    pb::Ref<PB_STRING> trimmed = pb::adopt( pbStringTrim( source ) );
    PB_INT             length;
    const char        *bytes = pbStringPeekUtf8( trimmed.get(), &length );
    std::string_view   text( bytes, (size_t)length );
    while( isWrapped( text ) )
        text = text.substr( 1, text.size() - 2 );
    if( text.size() != textLength )
        return nullptr;

    PB_BYTE uuid[16];
    size_t  at = 0;
    for( size_t index = 0; index < sizeof uuid; index++ )
    {
        int high = digitValue( text[at] ), low = digitValue( text[at + 1] );
        if( high < 0 || low < 0 )
            return nullptr;
        uuid[index] = (PB_BYTE)( high << 4 | low );
        at += 2;
        if( separatorAfter( index ) )
        {
            if( text[at] != '-' && text[at] != '_' )
                return nullptr;
            at++;
        }
    }
    return cryUuidTryCreateFromBinaryBytes( uuid, PB_SIZEOF( uuid ) );
}

CRY_UUID *cryUuidTryCreateFromStringCstr( const char *text, PB_INT length )
{
    return cryUuidTryCreateFromString( pb::adopt( pbStringCreateFromCstr( text, length ) ).get() );
}

CRY_UUID *cryUuidTryCreateFromStringWcstr( const wchar_t *text, PB_INT length )
{
    return cryUuidTryCreateFromString( pb::adopt( pbStringCreateFromWcstr( text, length ) ).get() );
}

PB_STRING *cryUuidToStringWithFlags( CRY_UUID *uuid, CRY_UUID_STRING_FLAGS flags )
{
    PB_CHECK( uuid );
    bool  uppercase = flags & CRY_UUID_STRING_FLAG_UPPERCASE;
    char  separator = flags & CRY_UUID_STRING_FLAG_LOW_LINE ? '_' : '-';
    char  text[textLengthWrapped];
    char *first = text + PB_SIZEOF_ARRAY( wrappings ), *last = first + textLength;
    char  digits[2 * sizeof uuid->uuid];
    for( size_t index = 0; index < sizeof uuid->uuid; index += 4 )
        writeDigits( digits + 2 * index, uuid->uuid + index, uppercase );
    std::memcpy( first, digits, 8 );
    std::memcpy( first + 9, digits + 8, 4 );
    std::memcpy( first + 14, digits + 12, 4 );
    std::memcpy( first + 19, digits + 16, 4 );
    std::memcpy( first + 24, digits + 20, 12 );
    first[8] = first[13] = first[18] = first[23] = separator;
    for( auto &wrapping : wrappings )
    {
        if( flags & wrapping.flag )
        {
            *--first = wrapping.open;
            *last++  = wrapping.close;
        }
    }
    return pbStringCreateFromCstr( first, last - first );
}

CRY_UUID_VARIANT cryUuidVariant( CRY_UUID *uuid )
{
    PB_CHECK( uuid );
    PB_BYTE byte = uuid->uuid[8];
    if( byte < 0x80 )
        return CRY_UUID_VARIANT_RESERVED_FOR_NCS;
    if( byte < 0xC0 )
        return CRY_UUID_VARIANT_STANDARD;
    return byte < 0xE0 ? CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT : CRY_UUID_VARIANT_RESERVED_FOR_FUTURE;
}

CRY_UUID_VERSION cryUuidVersion( CRY_UUID *uuid )
{
    PB_CHECK( uuid );
    // The digit is not converted to the enumeration, which counts from 0; that is intended.
    PB_INT digit = uuid->uuid[6] >> 4;
    return CRY_UUID_VERSION_OK( digit ) ? digit : -1;
}
