#include "output/form.hpp"

#include "text/convert.hpp"

#include <rfc/rfc.h>

void tool::FormOptions::addTo( CLI::App &command, const std::string &what )
{
    CLI::Option *asHex = command.add_flag( "--hex", hex, what + " hexadecimal digits" );
    command.add_flag( "--base64", base64, what + " base 64 (RFC 4648)" )->excludes( asHex );
}

pb::Ref<PB_BUFFER> tool::inForm( PB_BUFFER *bytes, Form form )
{
    if( form == Form::raw )
        return pb::share( bytes );
    if( form == Form::base64 )
        return pb::adopt( rfcBaseEncode( bytes, RFC_BASE_64 ) );
    static constexpr char digits[] = "0123456789abcdef";
    pb::Ref<PB_BUFFER>    text     = pb::adopt( pbBufferCreate() );
    if( pbBufferSensitive( bytes ) )
        pbBufferSetSensitive( text.handle() );
    PB_INT   length = pbBufferLength( bytes );
    PB_BYTE *to     = pb___BufferExtend( text.handle(), 2 * length );
    for( PB_INT index = 0; index < length; index++ )
    {
        PB_BYTE byte = pbBufferBytes( bytes )[index];
        *to++        = (PB_BYTE)digits[byte >> 4];
        *to++        = (PB_BYTE)digits[byte & 0xF];
    }
    return text;
}

std::string tool::textInForm( PB_BUFFER *bytes, Form form ) { return textOf( inForm( bytes, form ).get() ); }
