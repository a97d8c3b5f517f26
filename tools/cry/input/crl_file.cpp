#include "input/crl_file.hpp"

#include "input/objects.hpp"
#include "output/openssl_reason.hpp"

#include <cry/internal/cry_x509_crl.h>

#include <openssl/err.h>

namespace
{

bool isCrl( std::string_view label ) { return label == "X509 CRL"; }

pb::Ref<CRY_X509_CRL> crlIn( CRY_PEM *pem, std::string &problem )
{
    ERR_clear_error();
    pb::Ref<CRY_X509_CRL> crl = pb::adopt( cryX509CrlTryCreateFromPem( pem ) );
    if( !crl )
    {
        std::string reason = tool::opensslReason();
        problem            = "the revocation list does not parse" + ( reason.empty() ? "" : ": " + reason );
    }
    return crl;
}

// Every list is a sequence; of other bytes OpenSSL says nothing that helps.
pb::Ref<CRY_X509_CRL> crlInDer( PB_BUFFER *der, std::string &reason )
{
    ERR_clear_error();
    const unsigned char  *at      = pbBufferBytes( der );
    X509_CRL             *x509Crl = d2i_X509_CRL( nullptr, &at, (long)pbBufferLength( der ) );
    pb::Ref<CRY_X509_CRL> crl     = pb::adopt( x509Crl ? cry___X509CrlTryCreateFromOpensslX509CrlUse( x509Crl ) : nullptr );
    if( !crl && tool::startsWith( der, "\x30" ) )
        reason = tool::opensslReasonInBrackets();
    return crl;
}

}

std::vector<pb::Ref<CRY_X509_CRL>> tool::readCrls( const std::string &path )
{
    return readObjects<CRY_X509_CRL>( path, { "revocation list", isCrl, crlIn, crlInDer } );
}
