#include "output/extensions.hpp"

#include "output/notices.hpp"
#include "output/openssl_reason.hpp"
#include "text/asn1_text.hpp"
#include "text/printable.hpp"

#include <memory>
#include <openssl/err.h>
#include <openssl/x509v3.h>
#include <string_view>
#include <utility>

namespace
{

// The value of an extension as OpenSSL prints it, in one line; empty if it cannot.
std::string textOf( X509_EXTENSION *extension )
{
    std::unique_ptr<BIO, decltype( &BIO_free )> bio( BIO_new( BIO_s_mem() ), BIO_free );
    X509V3_EXT_print( bio.get(), extension, X509V3_EXT_DUMP_UNKNOWN, 0 );
    ERR_clear_error();
    char       *bytes  = nullptr;
    long        length = BIO_get_mem_data( bio.get(), &bytes );
    std::string line;
    for( char c : std::string_view( bytes, (size_t)length ) )
    {
        if( c != '\n' )
            line += c;
        else if( !line.empty() && line.back() != ' ' )
            line += ' ';
    }
    while( line.ends_with( ' ' ) )
        line.pop_back();
    return line;
}

bool asksForExtensions( X509_ATTRIBUTE *attribute )
{
    int nid = OBJ_obj2nid( X509_ATTRIBUTE_get0_object( attribute ) );
    return nid == NID_ext_req || nid == NID_ms_ext_req;
}

}

tool::Extension::Extension( X509_EXTENSION *extension ) :
    oid( oidText( X509_EXTENSION_get_object( extension ) ) ), name( longNameOf( X509_EXTENSION_get_object( extension ) ) ),
    hex( hexText( X509_EXTENSION_get_data( extension ) ) ), critical( X509_EXTENSION_get_critical( extension ) == 1 ),
    nid( OBJ_obj2nid( X509_EXTENSION_get_object( extension ) ) )
{
    if( nid == NID_subject_alt_name || nid == NID_issuer_alt_name )
        names = namesIn( X509_EXTENSION_get_data( extension ) );
    else
        text = printable( textOf( extension ) );
}

nlohmann::ordered_json tool::Extension::json() const
{
    nlohmann::ordered_json json{ { "oid", oid }, { "name", name }, { "critical", critical }, { "hex", hex } };
    if( names )
        json["names"] = namesJson( *names );
    else if( !text.empty() )
        json["text"] = text;
    else
        json["problem"] = "OpenSSL cannot read it";
    return json;
}

std::vector<std::string> tool::Extension::lines() const
{
    if( !names )
        return { text.empty() ? "(unreadable) " + hex : text };
    if( names->empty() )
        return { "(no names)" };
    std::vector<std::string> lines;
    for( const Name &each : *names )
        lines.push_back( each.type + " " + each.value );
    return lines;
}

std::vector<tool::Extension> tool::extensionsOf( const STACK_OF( X509_EXTENSION ) * list )
{
    std::vector<Extension> all;
    for( int index = 0; index < sk_X509_EXTENSION_num( list ); index++ )
        all.emplace_back( sk_X509_EXTENSION_value( list, index ) );
    return all;
}

std::vector<tool::Extension> tool::requestedExtensions( X509_REQ *req, const std::string &path, PB_INT line )
{
    std::vector<Extension> all;
    for( int index = 0; index < X509_REQ_get_attr_count( req ); index++ )
    {
        X509_ATTRIBUTE *attribute = X509_REQ_get_attr( req, index );
        for( int part = 0; asksForExtensions( attribute ) && part < X509_ATTRIBUTE_count( attribute ); part++ )
        {
            ASN1_TYPE *value                 = X509_ATTRIBUTE_get0_type( attribute, part );
            STACK_OF( X509_EXTENSION ) *list = nullptr;
            if( ASN1_TYPE_get( value ) == V_ASN1_SEQUENCE )
            {
                const unsigned char *at = ASN1_STRING_get0_data( value->value.sequence );
                list                    = d2i_X509_EXTENSIONS( nullptr, &at, ASN1_STRING_length( value->value.sequence ) );
            }
            if( !list )
                report( { path, "extensions that it asks for cannot be read" + opensslReasonInBrackets(), line } );
            for( Extension &each : extensionsOf( list ) )
                all.push_back( std::move( each ) );
            sk_X509_EXTENSION_pop_free( list, X509_EXTENSION_free );
        }
    }
    ERR_clear_error();
    return all;
}

nlohmann::ordered_json tool::extensionsJson( const std::vector<Extension> &extensions )
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for( const Extension &each : extensions )
        list.push_back( each.json() );
    return list;
}
