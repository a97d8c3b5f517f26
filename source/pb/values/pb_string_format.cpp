#include <pb/pb_string.h>
#include <pb/ref.hpp>

#include <charconv>
#include <cstring>

namespace
{

struct Conversion
{
    bool   zeros = false, left = false, alternate = false, consume = false;
    PB_INT width = 0;
    int    base  = 10;
};

// A width or base: a few decimal digits.
PB_INT readNumber( const char *&at, const char *end )
{
    PB_INT number = 0;
    for( ; at < end && *at >= '0' && *at <= '9' && number < 1000000; at++ )
        number = number * 10 + ( *at - '0' );
    return number;
}

void appendPadding( PB_STRING **str, char padding, PB_INT count )
{
    for( ; count > 0; count-- )
        pbStringAppendCstr( str, &padding, 1 );
}

void appendText( PB_STRING **str, PB_STRING *text, const Conversion &conversion )
{
    PB_INT padding = conversion.width - pbStringLength( text );
    if( !conversion.left )
        appendPadding( str, ' ', padding );
    pbStringAppend( str, text );
    if( conversion.left )
        appendPadding( str, ' ', padding );
}

void appendInt( PB_STRING **str, PB_INT value, const Conversion &conversion )
{
    char  digits[72];
    char *begin  = digits;
    auto  result = std::to_chars( digits, digits + sizeof digits, value, conversion.base );
    // Padding zeros are between the sign and the digits.
    if( conversion.zeros && !conversion.left && value < 0 )
        pbStringAppendCstr( str, begin++, 1 );
    PB_INT padding = conversion.width - ( result.ptr - digits );
    if( !conversion.left )
        appendPadding( str, conversion.zeros ? '0' : ' ', padding );
    pbStringAppendCstr( str, begin, result.ptr - begin );
    if( conversion.left )
        appendPadding( str, ' ', padding );
}

}

static void appendFormat( PB_STRING **str, const char *format, PB_INT length, va_list args )
{
    const char *at  = format;
    const char *end = format + ( length < 0 ? (PB_INT)std::strlen( format ) : length );
    while( at < end )
    {
        const char *percent = (const char *)std::memchr( at, '%', (size_t)( end - at ) );
        pbStringAppendCstr( str, at, ( percent ? percent : end ) - at );
        if( !percent )
            return;
        at = percent + 1;

        Conversion conversion;
        for( ; at < end; at++ )
        {
            if( *at == '0' )
                conversion.zeros = true;
            else if( *at == '-' )
                conversion.left = true;
            else if( *at == '#' )
                conversion.alternate = true;
            else if( *at == '~' )
                conversion.consume = true;
            else
                break;
        }
        conversion.width = readNumber( at, end );
        if( at < end && *at == '!' )
            conversion.base = (int)readNumber( ++at, end );
        PB_CHECK( conversion.base >= 2 && conversion.base <= 36 );

        if( at < end && *at == 's' )
        {
            PB_STRING *text = va_arg( args, PB_STRING * );
            PB_CHECK( text );
            appendText( str, text, conversion );
            if( conversion.consume )
                pbStringRelease( text );
            at++;
        }
        else if( at < end && *at == 'o' )
        {
            PB_OBJ *obj = va_arg( args, PB_OBJ * );
            PB_CHECK( obj );
            pb::Ref<PB_STRING> text = pb::adopt( pbObjToString( obj ) );
            appendText( str, text.get(), conversion );
            if( conversion.consume )
                pbObjRelease( obj );
            at++;
        }
        else if( at < end && *at == 'i' )
        {
            appendInt( str, va_arg( args, PB_INT ), conversion );
            at++;
        }
        else if( end - at >= 2 && at[0] == 'l' && at[1] == 'c' )
        {
            const char *cstr = va_arg( args, const char * );
            PB_CHECK( cstr || conversion.alternate );
            pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromCstr( cstr ? cstr : "", -1 ) );
            appendText( str, text.get(), conversion );
            at += 2;
        }
        else
        {
            PB_CHECK( at < end && *at == '%' );
            pbStringAppendCstr( str, "%", 1 );
            at++;
        }
    }
}

PB_STRING *pbStringCreateFromFormatCstrArgs( const char *format, PB_INT length, va_list args )
{
    PB_CHECK( format );
    PB_CHECK( length >= -1 );
    PB_STRING *str = pbStringCreate();
    appendFormat( &str, format, length, args );
    return str;
}

PB_STRING *pbStringCreateFromFormatCstr( const char *format, PB_INT length, ... )
{
    PB_CHECK( format );
    PB_CHECK( length >= -1 );
    va_list args;
    va_start( args, length );
    PB_STRING *str = pbStringCreate();
    appendFormat( &str, format, length, args );
    va_end( args );
    return str;
}

void pbStringAppendFormatCstr( PB_STRING **str, const char *format, PB_INT length, ... )
{
    PB_CHECK_HANDLE( str );
    PB_CHECK( format );
    PB_CHECK( length >= -1 );
    va_list args;
    va_start( args, length );
    // The new text may be made from the string itself, so the string is edited last.
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreate() );
    if( pbStringSensitive( *str ) )
        pbStringSetSensitive( text.handle() );
    appendFormat( text.handle(), format, length, args );
    va_end( args );
    pbStringAppend( str, text.get() );
}
