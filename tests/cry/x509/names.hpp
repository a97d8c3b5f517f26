// Subject alternative names, for tests.
#pragma once

#include <cry/internal/cry_x509_sans.h>

#include "support/text.hpp"

#include <memory>

namespace support
{

using San  = pb::Ref<CRY_X509_SAN>;
using Sans = pb::Ref<CRY_X509_SANS>;

// Of an IP address or a DNS name; null for other texts.
inline San san( std::string_view host ) { return pb::adopt( cryX509SanTryCreateFromHost( str( host ).get() ) ); }

inline Sans sansOf( const std::vector<std::string> &hosts )
{
    Sans sans = pb::adopt( cryX509SansCreate() );
    for( const std::string &host : hosts )
        cryX509SansSet( sans.handle(), san( host ).get() );
    return sans;
}

inline std::string hostOf( CRY_X509_SAN *san )
{
    return cryX509SanType( san ) == CRY_X509_SAN_TYPE_DNS_NAME
        ? text( pb::adopt( cryX509SanDnsName( san ) ) )
        : text( pb::adopt( inAddressToString( pb::adopt( cryX509SanIpAddress( san ) ).get() ) ) );
}

inline std::vector<std::string> hostsOf( const Sans &sans )
{
    std::vector<std::string> hosts;
    for( PB_INT index = 0; index < cryX509SansLength( sans.get() ); index++ )
        hosts.push_back( hostOf( pb::adopt( cryX509SansAt( sans.get(), index ) ).get() ) );
    return hosts;
}

// The names of an extension, which grow one by one.
class GeneralNames
{
public:
    GENERAL_NAMES *get() const { return names.get(); }

    // For GEN_DNS, GEN_IPADD and the others whose value is a string.
    GeneralNames &add( int type, std::string_view bytes )
    {
        ASN1_STRING *value = ASN1_STRING_type_new( type == GEN_IPADD ? V_ASN1_OCTET_STRING : V_ASN1_IA5STRING );
        ASN1_STRING_set( value, bytes.data(), (int)bytes.size() );
        return add( type, value );
    }
    // Takes the value over.
    GeneralNames &add( int type, void *value )
    {
        GENERAL_NAME *name = GENERAL_NAME_new();
        GENERAL_NAME_set0_value( name, type, value );
        return push( name );
    }
    GeneralNames &push( GENERAL_NAME *name ) { return sk_GENERAL_NAME_push( names.get(), name ), *this; }

    Sans sans() const { return pb::adopt( cry___X509SansCreateFromOpensslSubjectAltNames( get() ) ); }

private:
    std::shared_ptr<GENERAL_NAMES> names{ GENERAL_NAMES_new(), GENERAL_NAMES_free };
};

}
