#include "text/convert.hpp"

#include <pb/ref.hpp>
#include <rfc/rfc.h>

std::string tool::take( PB_STRING *str )
{
    pb::Ref<PB_STRING> held = pb::adopt( str );
    PB_INT             length;
    const char        *text = pbStringPeekUtf8( held.get(), &length );
    return { text, (size_t)length };
}

std::string tool::textOf( PB_BUFFER *bytes ) { return { (const char *)pbBufferBytes( bytes ), (size_t)pbBufferLength( bytes ) }; }

bool tool::startsWith( PB_BUFFER *buf, std::string_view bytes )
{
    return std::string_view( (const char *)pbBufferBytes( buf ), (size_t)pbBufferLength( buf ) ).starts_with( bytes );
}

std::string tool::lowerCase( std::string text )
{
    for( char &c : text )
        c = c >= 'A' && c <= 'Z' ? (char)( c + 32 ) : c;
    return text;
}

int tool::hexDigit( char c )
{
    if( c >= '0' && c <= '9' )
        return c - '0';
    if( c >= 'a' && c <= 'f' )
        return c - 'a' + 10;
    return c >= 'A' && c <= 'F' ? c - 'A' + 10 : -1;
}

std::string tool::hexText( std::string_view bytes )
{
    return take( pbBufferToString( pb::adopt( pbBufferCreateFromBytes( bytes.data(), (PB_INT)bytes.size() ) ).get() ) );
}

std::string tool::withColons( PB_BUFFER *bytes )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( rfcBaseEncode( bytes, RFC_BASE_16 ) );
    std::string        out;
    for( PB_INT index = 0; index < pbBufferLength( text.get() ); index++ )
    {
        if( index && index % 2 == 0 )
            out += ':';
        out += (char)pbBufferByteAt( text.get(), index );
    }
    return out;
}

std::string tool::counted( size_t count, const std::string &what ) { return std::to_string( count ) + " " + what + ( count == 1 ? "" : "s" ); }
