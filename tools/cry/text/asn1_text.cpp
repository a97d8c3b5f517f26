#include "text/asn1_text.hpp"

#include "text/convert.hpp"

#include <cry/internal/cry_x509_decode.h>

std::string tool::oidText( const ASN1_OBJECT *oid )
{
    std::string text( (size_t)std::max( OBJ_obj2txt( nullptr, 0, oid, 1 ), 0 ) + 1, '\0' );
    OBJ_obj2txt( text.data(), (int)text.size(), oid, 1 );
    text.pop_back();
    return text;
}

std::string tool::longNameOf( const ASN1_OBJECT *oid )
{
    int nid = OBJ_obj2nid( oid );
    return nid == NID_undef ? oidText( oid ) : OBJ_nid2ln( nid );
}

std::string tool::timeText( const ASN1_TIME *time )
{
    PB_TIME *decoded = cry___X509TryDecodeAsn1Time( time );
    if( !decoded )
        return "(unreadable)";
    std::string text = take( pbTimeToString( decoded ) );
    pbTimeRelease( decoded );
    return text;
}

std::string tool::nameText( const X509_NAME *name )
{
    if( PB_STRING *text = cry___X509TryDecodeX509Name( const_cast<X509_NAME *>( name ) ) )
        return take( text );
    return "#" + hexText( derOf( name, i2d_X509_NAME ) );
}

std::string tool::hexText( const ASN1_STRING *string )
{
    return hexText( std::string_view( (const char *)ASN1_STRING_get0_data( string ), (size_t)ASN1_STRING_length( string ) ) );
}
