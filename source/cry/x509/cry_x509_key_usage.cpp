#include <cry/cry_x509_key_usage.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_x509_key_usage.h>

#include "common/cry_enumeration.hpp"

#include <iterator>
#include <pb/containers.hpp>

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE ),
    CRY_NAMED( CRY_X509_KEY_USAGE_NON_REPUDIATION ),
    CRY_NAMED( CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT ),
    CRY_NAMED( CRY_X509_KEY_USAGE_DATA_ENCIPHERMENT ),
    CRY_NAMED( CRY_X509_KEY_USAGE_KEY_AGREEMENT ),
    CRY_NAMED( CRY_X509_KEY_USAGE_KEY_CERT_SIGN ),
    CRY_NAMED( CRY_X509_KEY_USAGE_CRL_SIGN ),
    CRY_NAMED( CRY_X509_KEY_USAGE_ENCIPHER_ONLY ),
    CRY_NAMED( CRY_X509_KEY_USAGE_DECIPHER_ONLY ),
};

CRY_FLAGSET_DEFINE( X509KeyUsage, names )

// The names in OpenSSL's configuration files; each flag is the bit of the same number.
static constexpr const char *configurationNames[] = { "digitalSignature", "nonRepudiation", "keyEncipherment", "dataEncipherment", "keyAgreement",
    "keyCertSign", "cRLSign", "encipherOnly", "decipherOnly" };
static_assert( std::size( configurationNames ) == std::size( names ) );

CRY_X509_KEY_USAGE cry___X509KeyUsageFromOpensslKeyUsage( const ASN1_BIT_STRING *usage )
{
    PB_CHECK( usage );
    CRY_X509_KEY_USAGE flags = 0;
    for( int bit = 0; bit < (int)std::size( names ); bit++ )
    {
        if( ASN1_BIT_STRING_get_bit( usage, bit ) )
            flags |= names[bit].value;
    }
    return flags;
}

ASN1_BIT_STRING *cry___X509KeyUsageToOpensslKeyUsage( CRY_X509_KEY_USAGE flags )
{
    ASN1_BIT_STRING *result = ASN1_BIT_STRING_new();
    PB_CHECK( result );
    if( flags & CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 0, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_NON_REPUDIATION )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 1, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 2, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_DATA_ENCIPHERMENT )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 3, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_KEY_AGREEMENT )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 4, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_KEY_CERT_SIGN )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 5, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_CRL_SIGN )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 6, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_ENCIPHER_ONLY )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 7, 1 ) );
    if( flags & CRY_X509_KEY_USAGE_DECIPHER_ONLY )
        PB_CHECK( ASN1_BIT_STRING_set_bit( result, 8, 1 ) );
    return result;
}

PB_STRING *cry___X509KeyUsageToOpensslSn( CRY_X509_KEY_USAGE flags )
{
    pb::StdString<> text;
    for( size_t bit = 0; bit < std::size( names ); bit++ )
    {
        if( flags & names[bit].value )
            text.append( text.empty() ? "" : "," ).append( configurationNames[bit] );
    }
    return pbStringCreateFromCstr( text.data(), (PB_INT)text.size() );
}
