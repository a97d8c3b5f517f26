#include "output/general_names.hpp"

#include "text/asn1_text.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <arpa/inet.h>
#include <memory>
#include <openssl/err.h>

namespace
{

std::string_view bytesOf( const ASN1_STRING *string )
{
    return { (const char *)ASN1_STRING_get0_data( string ), (size_t)ASN1_STRING_length( string ) };
}

std::string addressText( std::string_view bytes )
{
    char text[INET6_ADDRSTRLEN] = "";
    if( bytes.size() != 4 && bytes.size() != 16 )
        return "#" + tool::hexText( bytes );
    return inet_ntop( bytes.size() == 4 ? AF_INET : AF_INET6, bytes.data(), text, sizeof text );
}

tool::Name nameOf( const GENERAL_NAME *name )
{
    switch( name->type )
    {
    case GEN_DNS:
        return { "dns", tool::escapedName( bytesOf( name->d.dNSName ) ) };
    case GEN_EMAIL:
        return { "email", tool::escapedName( bytesOf( name->d.rfc822Name ) ) };
    case GEN_URI:
        return { "uri", tool::escapedName( bytesOf( name->d.uniformResourceIdentifier ) ) };
    case GEN_IPADD:
        return { "ip", addressText( bytesOf( name->d.iPAddress ) ) };
    case GEN_DIRNAME:
        return { "dirname", tool::escaped( tool::nameText( name->d.directoryName ) ) };
    case GEN_RID:
        return { "rid", tool::oidText( name->d.registeredID ) };
    case GEN_OTHERNAME:
        return { "other",
            tool::oidText( name->d.otherName->type_id ) + ":#" + tool::hexText( tool::derOf<ASN1_TYPE>( name->d.otherName->value, i2d_ASN1_TYPE ) ) };
    case GEN_X400:
        return { "x400", "#" + tool::hexText( tool::derOf<GENERAL_NAME>( name, i2d_GENERAL_NAME ) ) };
    default:
        return { "ediparty", "#" + tool::hexText( tool::derOf<GENERAL_NAME>( name, i2d_GENERAL_NAME ) ) };
    }
}

}

std::optional<std::vector<tool::Name>> tool::namesIn( const ASN1_OCTET_STRING *value )
{
    const unsigned char                                            *at = ASN1_STRING_get0_data( value ), *end = at + ASN1_STRING_length( value );
    std::unique_ptr<GENERAL_NAMES, decltype( &GENERAL_NAMES_free )> list( d2i_GENERAL_NAMES( nullptr, &at, end - at ), GENERAL_NAMES_free );
    ERR_clear_error();
    if( !list || at != end )
        return {};
    return namesOf( list.get() );
}

std::vector<tool::Name> tool::namesOf( const GENERAL_NAMES *list )
{
    std::vector<Name> names;
    for( int index = 0; index < sk_GENERAL_NAME_num( list ); index++ )
        names.push_back( ::nameOf( sk_GENERAL_NAME_value( list, index ) ) );
    return names;
}

nlohmann::ordered_json tool::namesJson( const std::vector<Name> &names )
{
    nlohmann::ordered_json list = nlohmann::ordered_json::array();
    for( const Name &each : names )
        list.push_back( { { "type", each.type }, { "value", each.value } } );
    return list;
}
