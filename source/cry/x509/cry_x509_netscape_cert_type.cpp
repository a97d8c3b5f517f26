#include <cry/cry_x509_netscape_cert_type.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_x509_netscape_cert_type.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SSL_CLIENT ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SMIME ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SSL_CA ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_SMIME_CA ),
    CRY_NAMED( CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA ),
};

CRY_FLAGSET_DEFINE( X509NetscapeCertType, names )

CRY_X509_NETSCAPE_CERT_TYPE cry___X509NetscapeCertTypeFromOpensslNetscapeCertType( const ASN1_BIT_STRING *nscert )
{
    PB_CHECK( nscert );
    CRY_X509_NETSCAPE_CERT_TYPE flags = 0;
    for( int bit = 0; bit <= 7; bit++ )
    {
        if( bit != 4 && ASN1_BIT_STRING_get_bit( nscert, bit ) )
            flags |= (CRY_X509_NETSCAPE_CERT_TYPE)1 << ( bit < 4 ? bit : bit - 1 );
    }
    return flags;
}
