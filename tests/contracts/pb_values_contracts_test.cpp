#include <pb/pb.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char stringFile[]     = "source/pb/values/pb_string.cpp";
static constexpr char formatFile[]     = "source/pb/values/pb_string_format.cpp";
static constexpr char bufferFile[]     = "source/pb/values/pb_buffer.cpp";
static constexpr char bytesFile[]      = "source/pb/values/pb_bytes.hpp";
static constexpr char boxedFile[]      = "source/pb/values/pb_boxed_int.cpp";
static constexpr char enumFile[]       = "source/pb/names/pb_enum.cpp";
static constexpr char flagsetFile[]    = "source/pb/names/pb_flagset.cpp";
static constexpr char identifierFile[] = "source/pb/names/pb_identifier.cpp";
static constexpr char timeFile[]       = "source/pb/values/pb_time.cpp";

namespace
{

// A buffer with this length but without the memory; only its length may be read.
pb::Ref<PB_BUFFER> claiming( PB_INT length ) { return pb::adopt( pbBufferCreateFromBytesUse( pbMemAlloc( 1 ), length ) ); }

PB_STRING *formatArgs( const char *format, PB_INT length, ... )
{
    va_list args;
    va_start( args, length );
    PB_STRING *text = pbStringCreateFromFormatCstrArgs( format, length, args );
    va_end( args );
    return text;
}

}

TEST( PbValuesContracts, StandardFunctions )
{
    pb::Ref<PB_STRING>     text        = str( "x" );
    pb::Ref<PB_BUFFER>     data        = buf( "x" );
    pb::Ref<PB_BOXED_INT>  number      = pb::adopt( pbBoxedIntCreate( 1 ) );
    pb::Ref<PB_ENUM>       enumeration = pb::adopt( pbEnumCreate() );
    pb::Ref<PB_FLAGSET>    flagset     = pb::adopt( pbFlagsetCreate() );
    pb::Ref<PB_IDENTIFIER> ident       = pb::adopt( pbIdentifierCreate() );
    pb::Ref<PB_TIME>       time        = pb::adopt( pbTimeCreate( 2026, 7, 21, 13, 1, 14, 0 ) );
    EXPECT_STANDARD_CHECKS( stringFile, pb, String, PB_STRING, "str", text.get() );
    EXPECT_STANDARD_CHECKS( bufferFile, pb, Buffer, PB_BUFFER, "buf", data.get() );
    EXPECT_STANDARD_CHECKS( boxedFile, pb, BoxedInt, PB_BOXED_INT, "bi", number.get() );
    EXPECT_STANDARD_CHECKS( enumFile, pb, Enum, PB_ENUM, "enumeration", enumeration.get() );
    EXPECT_STANDARD_CHECKS( flagsetFile, pb, Flagset, PB_FLAGSET, "flagset", flagset.get() );
    EXPECT_STANDARD_CHECKS( identifierFile, pb, Identifier, PB_IDENTIFIER, "ident", ident.get() );
    EXPECT_STANDARD_CHECKS( timeFile, pb, Time, PB_TIME, "tm", time.get() );
}

TEST( PbValuesContracts, Strings )
{
    pb::Ref<PB_STRING> text   = str( "abc" );
    pb::Ref<PB_STRING> umlaut = str( "\xC3\xA4" );
    for( auto create : { pbStringCreateFromCstr, pbStringTryCreateFromCstr } )
    {
        EXPECT_ABORT( stringFile, "text || !length", create( nullptr, -1 ) );
        EXPECT_ABORT( stringFile, "text || !length", create( nullptr, 1 ) );
        EXPECT_ABORT( stringFile, "length >= -1", create( "a", -2 ) );
        EXPECT_EQ( support::text( pb::adopt( create( nullptr, 0 ) ) ), "" );
    }
    EXPECT_ABORT( stringFile, "text || !length", pbStringCreateFromWcstr( nullptr, -1 ) );
    EXPECT_ABORT( stringFile, "length >= -1", pbStringCreateFromWcstr( L"a", -2 ) );
    EXPECT_ABORT( stringFile, "text", pb___StringCreateImmortal( nullptr ) );
    EXPECT_ABORT( stringFile, "source", pbStringCreateFrom( nullptr ) );

    EXPECT_ABORT( stringFile, "str", pbStringLength( nullptr ) );
    EXPECT_ABORT( stringFile, "str", pbStringCharAt( nullptr, 0 ) );
    EXPECT_ABORT( stringFile, "index >= 0", pbStringCharAt( text.get(), -1 ) );
    EXPECT_ABORT( stringFile, "index < pbStringLength( str )", pbStringCharAt( text.get(), 3 ) );
    // Characters count, not bytes.
    EXPECT_ABORT( stringFile, "index < pbStringLength( str )", pbStringCharAt( umlaut.get(), 1 ) );
    EXPECT_ABORT( stringFile, "str", pbStringPeekUtf8( nullptr, nullptr ) );
    EXPECT_ABORT( stringFile, "str", pbStringTryPeekCstr( nullptr ) );

    EXPECT_ABORT( stringFile, "source", pbStringCreateFromInner( nullptr, 0, 0 ) );
    EXPECT_ABORT( stringFile, "offset >= 0", pbStringCreateFromInner( text.get(), -1, 0 ) );
    EXPECT_ABORT( stringFile, "count >= 0", pbStringCreateFromInner( text.get(), 0, -1 ) );
    EXPECT_ABORT( stringFile, "PB_INT_ADD_OK( offset, count )", pbStringCreateFromInner( text.get(), 1, PB_INT_MAX ) );
    EXPECT_ABORT( stringFile, "pbStringLength( source ) >= offset + count", pbStringCreateFromInner( text.get(), 2, 2 ) );
    EXPECT_ABORT( stringFile, "pbStringLength( source ) >= offset + count", pbStringCreateFromInner( umlaut.get(), 0, 2 ) );
    for( auto compare : { pbStringEqualsCstr, pbStringBeginsWithCstr, pbStringEndsWithCstr } )
    {
        EXPECT_ABORT( stringFile, "str", compare( nullptr, "a", -1 ) );
        EXPECT_ABORT( stringFile, "text || !length", compare( text.get(), nullptr, -1 ) );
        EXPECT_ABORT( stringFile, "length >= -1", compare( text.get(), "a", -2 ) );
    }
    EXPECT_ABORT( stringFile, "str", pbStringIndexOfChar( nullptr, 'a', 0 ) );
    EXPECT_ABORT( stringFile, "from >= 0", pbStringIndexOfChar( text.get(), 'a', -1 ) );
    EXPECT_ABORT( stringFile, "pbStringLength( str ) >= from", pbStringIndexOfChar( text.get(), 'a', 4 ) );
    EXPECT_EQ( pbStringIndexOfChar( text.get(), 'a', 3 ), -1 );
    EXPECT_ABORT( stringFile, "str", pbStringTrim( nullptr ) );
    EXPECT_ABORT( stringFile, "str", pbStringSplitChar( nullptr, '|' ) );
    EXPECT_ABORT( stringFile, "str", pbStringToCaseFold( nullptr ) );
    for( auto convert : { pbStringConvertToUtf8, pbStringConvertToAscii, pbStringConvertToLatin1 } )
        EXPECT_ABORT( stringFile, "str", convert( nullptr ) );
    EXPECT_ABORT( stringFile, "str", pbStringSensitive( nullptr ) );
}

TEST( PbValuesContracts, StringEditors )
{
    pb::Ref<PB_STRING> text = str( "abc" );
    PB_STRING         *none = nullptr;
    EXPECT_ABORT( stringFile, "str", pbStringAppend( nullptr, text.get() ) );
    EXPECT_ABORT( stringFile, "*str", pbStringAppend( &none, text.get() ) );
    EXPECT_ABORT( stringFile, "other", pbStringAppend( text.handle(), nullptr ) );
    EXPECT_ABORT( stringFile, "str", pbStringAppendCstr( nullptr, "a", -1 ) );
    EXPECT_ABORT( stringFile, "*str", pbStringAppendCstr( &none, "a", -1 ) );
    EXPECT_ABORT( stringFile, "text || !length", pbStringAppendCstr( text.handle(), nullptr, -1 ) );
    EXPECT_ABORT( stringFile, "length >= -1", pbStringAppendCstr( text.handle(), "a", -2 ) );
    EXPECT_ABORT( stringFile, "str", pbStringAppendChar( nullptr, 'a' ) );
    EXPECT_ABORT( stringFile, "*str", pbStringAppendChar( &none, 'a' ) );
    EXPECT_ABORT( stringFile, "str", pbStringSetSensitive( nullptr ) );
    EXPECT_ABORT( stringFile, "*str", pbStringSetSensitive( &none ) );
    EXPECT_EQ( support::text( text ), "abc" );
}

TEST( PbValuesContracts, Formats )
{
    pb::Ref<PB_STRING> text = str( "abc" );
    PB_STRING         *none = nullptr;
    EXPECT_ABORT( formatFile, "format", pbStringCreateFromFormatCstr( nullptr, 0 ) );
    EXPECT_ABORT( formatFile, "length >= -1", pbStringCreateFromFormatCstr( "a", -2 ) );
    EXPECT_ABORT( formatFile, "format", formatArgs( nullptr, 0 ) );
    EXPECT_ABORT( formatFile, "length >= -1", formatArgs( "a", -2 ) );
    EXPECT_ABORT( formatFile, "str", pbStringAppendFormatCstr( nullptr, "a", -1 ) );
    EXPECT_ABORT( formatFile, "*str", pbStringAppendFormatCstr( &none, "a", -1 ) );
    EXPECT_ABORT( formatFile, "format", pbStringAppendFormatCstr( text.handle(), nullptr, 0 ) );
    EXPECT_ABORT( formatFile, "length >= -1", pbStringAppendFormatCstr( text.handle(), "a", -2 ) );

    static constexpr char baseCheck[] = "conversion.base >= 2 && conversion.base <= 36";
    for( const char *format : { "%!1i", "%!0i", "%!i", "%!37i", "%!999999i" } )
        EXPECT_ABORT( formatFile, baseCheck, pbStringCreateFromFormatCstr( format, -1, (PB_INT)1 ) );
    EXPECT_ABORT( formatFile, "text", pbStringCreateFromFormatCstr( "%s", -1, nullptr ) );
    EXPECT_ABORT( formatFile, "text", pbStringCreateFromFormatCstr( "%~s", -1, nullptr ) );
    EXPECT_ABORT( formatFile, "obj", pbStringCreateFromFormatCstr( "%o", -1, nullptr ) );
    EXPECT_ABORT( formatFile, "obj", pbStringCreateFromFormatCstr( "%~o", -1, nullptr ) );
    EXPECT_ABORT( formatFile, "cstr || conversion.alternate", pbStringCreateFromFormatCstr( "%lc", -1, nullptr ) );
    for( const char *format : { "%", "a%", "%d", "%x", "%l", "%ls", "%08", "%-", "%!16", "%S" } )
        EXPECT_ABORT( formatFile, "at < end && *at == '%'", pbStringCreateFromFormatCstr( format, -1, (PB_INT)1 ) );
    // The text after `length` bytes is not part of the format.
    EXPECT_ABORT( formatFile, "at < end && *at == '%'", pbStringCreateFromFormatCstr( "%i", 1, (PB_INT)1 ) );
    EXPECT_ABORT( formatFile, "at < end && *at == '%'", formatArgs( "%lc", 2, "a" ) );
}

TEST( PbValuesContracts, Buffers )
{
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( bufferFile, "source", pbBufferCreateFrom( nullptr ) );
    EXPECT_ABORT( bufferFile, "bytes || !byteCount", pbBufferCreateFromBytes( nullptr, 1 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pbBufferCreateFromBytes( "a", -1 ) );
    EXPECT_ABORT( bufferFile, "bytes", pbBufferCreateFromBytesUse( nullptr, 0 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pbBufferCreateFromBytesUse( data.get(), -1 ) );
    PB_BYTE *bytes;
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pb___BufferCreateLength( -1, &bytes ) );
    EXPECT_ABORT( bufferFile, "bytes", pb___BufferCreateLength( 1, nullptr ) );

    EXPECT_ABORT( bufferFile, "source", pbBufferCreateFromInner( nullptr, 0, 0 ) );
    EXPECT_ABORT( bufferFile, "byteOffset >= 0", pbBufferCreateFromInner( data.get(), -1, 0 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pbBufferCreateFromInner( data.get(), 0, -1 ) );
    EXPECT_ABORT( bufferFile, "PB_INT_ADD_OK( byteOffset, byteCount )", pbBufferCreateFromInner( data.get(), 1, PB_INT_MAX ) );
    EXPECT_ABORT( bufferFile, "pbBufferLength( source ) >= byteOffset + byteCount", pbBufferCreateFromInner( data.get(), 2, 2 ) );

    EXPECT_ABORT( bufferFile, "buf", pbBufferLength( nullptr ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferBitLength( nullptr ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferSpace( nullptr ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferBytes( nullptr ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferByteAt( nullptr, 0 ) );
    EXPECT_ABORT( bufferFile, "byteIndex >= 0", pbBufferByteAt( data.get(), -1 ) );
    EXPECT_ABORT( bufferFile, "byteIndex < pbBufferLength( buf )", pbBufferByteAt( data.get(), 3 ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferSensitive( nullptr ) );
}

TEST( PbValuesContracts, BufferEditors )
{
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    PB_BUFFER         *none = nullptr;
    EXPECT_ABORT( bufferFile, "buf", pbBufferAppend( nullptr, data.get() ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferAppend( &none, data.get() ) );
    EXPECT_ABORT( bufferFile, "other", pbBufferAppend( data.handle(), nullptr ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferAppendBytes( nullptr, "a", 1 ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferAppendBytes( &none, "a", 1 ) );
    EXPECT_ABORT( bufferFile, "bytes || !byteCount", pbBufferAppendBytes( data.handle(), nullptr, 1 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pbBufferAppendBytes( data.handle(), "a", -1 ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferAppendByte( nullptr, 0 ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferAppendByte( &none, 0 ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferAppendInner( nullptr, data.get(), 0, 0 ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferAppendInner( &none, data.get(), 0, 0 ) );
    EXPECT_ABORT( bufferFile, "other", pbBufferAppendInner( data.handle(), nullptr, 0, 0 ) );
    EXPECT_ABORT( bufferFile, "byteOffset >= 0", pbBufferAppendInner( data.handle(), data.get(), -1, 0 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pbBufferAppendInner( data.handle(), data.get(), 0, -1 ) );
    EXPECT_ABORT( bufferFile, "PB_INT_ADD_OK( byteOffset, byteCount )", pbBufferAppendInner( data.handle(), data.get(), 1, PB_INT_MAX ) );
    EXPECT_ABORT( bufferFile, "pbBufferLength( other ) >= byteOffset + byteCount", pbBufferAppendInner( data.handle(), data.get(), 2, 2 ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferDelInner( nullptr, 0, 0 ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferDelInner( &none, 0, 0 ) );
    EXPECT_ABORT( bufferFile, "byteOffset >= 0", pbBufferDelInner( data.handle(), -1, 0 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pbBufferDelInner( data.handle(), 0, -1 ) );
    EXPECT_ABORT( bufferFile, "PB_INT_ADD_OK( byteOffset, byteCount )", pbBufferDelInner( data.handle(), 1, PB_INT_MAX ) );
    EXPECT_ABORT( bufferFile, "pbBufferLength( *buf ) >= byteOffset + byteCount", pbBufferDelInner( data.handle(), 2, 2 ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferClear( nullptr ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferClear( &none ) );
    EXPECT_ABORT( bufferFile, "buf", pb___BufferExtend( nullptr, 1 ) );
    EXPECT_ABORT( bufferFile, "*buf", pb___BufferExtend( &none, 1 ) );
    EXPECT_ABORT( bufferFile, "byteCount >= 0", pb___BufferExtend( data.handle(), -1 ) );
    EXPECT_ABORT( bufferFile, "buf", pbBufferSetSensitive( nullptr ) );
    EXPECT_ABORT( bufferFile, "*buf", pbBufferSetSensitive( &none ) );
    EXPECT_EQ( bytes( data ), "abc" );
}

TEST( PbValuesContracts, LengthsThatDoNotFit )
{
    pb::Ref<PB_BUFFER> data = buf( "abc" );
    EXPECT_ABORT( bytesFile, "PB_INT_ADD_OK( length, count )", pb___BufferExtend( data.handle(), PB_INT_MAX - 2 ) );
    EXPECT_ABORT( bytesFile, "PB_INT_ADD_OK( length, count )", pbBufferAppend( data.handle(), claiming( PB_INT_MAX ).get() ) );

    static constexpr char bitCheck[] = "buf->content.length <= PB_INT_MAX / 8";
    EXPECT_ABORT( bufferFile, bitCheck, pbBufferBitLength( claiming( PB_INT_MAX / 8 + 1 ).get() ) );
    EXPECT_EQ( pbBufferBitLength( claiming( PB_INT_MAX / 8 ).get() ), PB_INT_MAX - 7 );
    EXPECT_EQ( pbBufferSpace( claiming( PB_INT_MAX ).get() ), 0 );
}

TEST( PbValuesContracts, Numbers ) { EXPECT_ABORT( boxedFile, "bi", pbBoxedIntValue( nullptr ) ); }

TEST( PbValuesContracts, Enumerations )
{
    pb::Ref<PB_ENUM> enumeration = pb::adopt( pbEnumCreate() );
    PB_ENUM         *none        = nullptr;
    pbEnumSetEnumerantCstr( enumeration.handle(), "one", -1, 1 );
    EXPECT_ABORT( enumFile, "source", pbEnumCreateFrom( nullptr ) );
    EXPECT_ABORT( enumFile, "enumeration", pbEnumSetEnumerantCstr( nullptr, "two", -1, 2 ) );
    EXPECT_ABORT( enumFile, "*enumeration", pbEnumSetEnumerantCstr( &none, "two", -1, 2 ) );
    EXPECT_ABORT( enumFile, "name", pbEnumSetEnumerantCstr( enumeration.handle(), nullptr, 0, 2 ) );
    EXPECT_ABORT( enumFile, "enumeration", pbEnumGenerate( nullptr, 1 ) );
    EXPECT_ABORT( enumFile, "name", pbEnumGenerate( enumeration.get(), 2 ) );
    EXPECT_ABORT( enumFile, "enumeration", pbEnumParse( nullptr, str( "one" ).get() ) );
    EXPECT_ABORT( enumFile, "name", pbEnumParse( enumeration.get(), nullptr ) );
    EXPECT_EQ( text( pb::adopt( pbEnumGenerate( enumeration.get(), 1 ) ) ), "one" );
}

TEST( PbValuesContracts, Identifiers )
{
    EXPECT_ABORT( identifierFile, "text", pbIdentifierTryCreateFromString( nullptr ) );
    EXPECT_ABORT( identifierFile, "text", pbIdentifierTryCreateFromCstr( nullptr, 0 ) );
    EXPECT_ABORT( identifierFile, "length >= -1", pbIdentifierTryCreateFromCstr( "a", -2 ) );
}

TEST( PbValuesContracts, Flagsets )
{
    pb::Ref<PB_FLAGSET> flagset = pb::adopt( pbFlagsetCreate() );
    PB_FLAGSET         *none    = nullptr;
    EXPECT_ABORT( flagsetFile, "source", pbFlagsetCreateFrom( nullptr ) );
    EXPECT_ABORT( flagsetFile, "flagset", pbFlagsetSetFlagCstr( nullptr, "one", -1, 1 ) );
    EXPECT_ABORT( flagsetFile, "*flagset", pbFlagsetSetFlagCstr( &none, "one", -1, 1 ) );
    EXPECT_ABORT( flagsetFile, "name", pbFlagsetSetFlagCstr( flagset.handle(), nullptr, 0, 1 ) );
    EXPECT_ABORT( flagsetFile, "value > 0", pbFlagsetSetFlagCstr( flagset.handle(), "none", -1, 0 ) );
    EXPECT_ABORT( flagsetFile, "value > 0", pbFlagsetSetFlagCstr( flagset.handle(), "all", -1, -1 ) );
    EXPECT_ABORT( flagsetFile, "flagset", pbFlagsetHasFlagCstr( nullptr, "one", -1 ) );
    EXPECT_ABORT( flagsetFile, "name", pbFlagsetHasFlagCstr( flagset.get(), nullptr, 0 ) );
    EXPECT_ABORT( flagsetFile, "flagset", pbFlagsetGenerate( nullptr, 1 ) );
    EXPECT_ABORT( flagsetFile, "flagset", pbFlagsetParse( nullptr, str( "one" ).get() ) );
    EXPECT_ABORT( flagsetFile, "text", pbFlagsetParse( flagset.get(), nullptr ) );
    EXPECT_FALSE( pbFlagsetHasFlagCstr( flagset.get(), "none", -1 ) );
}

TEST( PbValuesContracts, Times )
{
    static constexpr char fieldsCheck[] = "pbTimeFieldsOk( year, month, day, hour, minute, second, millisecond )";
    pb::Ref<PB_TIME>      time          = pb::adopt( pbTimeCreate( 2026, 7, 21, 13, 1, 14, 250 ) );
    // Each field with one less than its lowest value and one more than its highest value.
    static constexpr PB_INT least[] = { 0, 1, 1, 0, 0, 0, 0 };
    static constexpr PB_INT most[]  = { 9999, 12, 31, 23, 59, 61, 999 };
    for( size_t field = 0; field < 7; field++ )
    {
        for( PB_INT wrong : { least[field] - 1, most[field] + 1 } )
        {
            PB_INT f[] = { 2026, 7, 21, 13, 1, 14, 250 };
            f[field]   = wrong;
            EXPECT_ABORT( timeFile, fieldsCheck, pbTimeCreate( f[0], f[1], f[2], f[3], f[4], f[5], f[6] ) );
        }
    }
    for( const PB_INT *f : { least, most } )
        EXPECT_FALSE( abortOf( [=] { pb::adopt( pbTimeCreate( f[0], f[1], f[2], f[3], f[4], f[5], f[6] ) ); } ).happened );

    time_t seconds;
    EXPECT_ABORT( timeFile, "text", pbTimeTryCreateFromString( nullptr ) );
    EXPECT_ABORT( timeFile, "tm", pbTimeTryConvertToTimeT( nullptr, &seconds ) );
    EXPECT_ABORT( timeFile, "seconds", pbTimeTryConvertToTimeT( time.get(), nullptr ) );
    EXPECT_ABORT( timeFile, "tm", pbTimeShiftDays( nullptr, 1 ) );
    for( auto field : { pbTimeYear, pbTimeMonth, pbTimeDay, pbTimeHour, pbTimeMinute, pbTimeSecond, pbTimeMillisecond } )
        EXPECT_ABORT( timeFile, "tm", field( nullptr ) );
}
