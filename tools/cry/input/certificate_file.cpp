#include "input/certificate_file.hpp"

#include "input/objects.hpp"
#include "output/openssl_reason.hpp"
#include "text/asn1_text.hpp"
#include "text/printable.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <openssl/err.h>
#include <openssl/x509.h>
#include <set>

namespace
{

bool isCertificate( std::string_view label ) { return label == "CERTIFICATE" || label == "X509 CERTIFICATE" || label == "TRUSTED CERTIFICATE"; }

}

pb::Ref<CRY_X509_CERTIFICATE> tool::certificateIn( CRY_PEM *pem, std::string &problem )
{
    std::string label = take( cryPemLabel( pem ) );
    if( label == "TRUSTED CERTIFICATE" )
    {
        problem = "a TRUSTED CERTIFICATE is not read; 'openssl x509' turns it into a CERTIFICATE";
        return {};
    }
    if( !isCertificate( label ) )
    {
        problem = "a block of " + ( label.empty() ? "no label" : printable( label ) ) + " is not a certificate";
        return {};
    }
    ERR_clear_error();
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryX509CertificateTryCreateFromPem( pem ) );
    if( !certificate )
    {
        std::string reason = opensslReason();
        problem            = "the certificate does not parse" + ( reason.empty() ? "" : ": " + reason );
    }
    return certificate;
}

// Every certificate is a sequence; of other bytes OpenSSL says nothing that helps.
pb::Ref<CRY_X509_CERTIFICATE> tool::certificateInDer( PB_BUFFER *der, std::string &reason )
{
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryX509CertificateTryCreateFromDer( der ) );
    if( !certificate && startsWith( der, "\x30" ) )
    {
        ERR_clear_error();
        const unsigned char *at = pbBufferBytes( der );
        X509_free( d2i_X509( nullptr, &at, (long)pbBufferLength( der ) ) );
        reason = opensslReasonInBrackets();
    }
    return certificate;
}

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> tool::readCertificates( const std::string &path )
{
    return readObjects<CRY_X509_CERTIFICATE>( path, { "certificate", isCertificate, certificateIn, certificateInDer } );
}

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> tool::elements( CRY_X509_CERTIFICATES *certificates )
{
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> all;
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( certificates ); index++ )
        all.push_back( pb::adopt( cryX509CertificatesCertificateAt( certificates, index ) ) );
    return all;
}

void tool::append( pb::Ref<CRY_X509_CERTIFICATES> &to, const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &certificates, size_t from )
{
    for( size_t index = from; index < certificates.size(); index++ )
        cryX509CertificatesAppendCertificate( to.handle(), certificates[index].get() );
}

void tool::appendFiles( pb::Ref<CRY_X509_CERTIFICATES> &to, const std::vector<std::string> &files )
{
    for( const std::string &file : files )
        append( to, readCertificates( file ) );
}

tool::Certificates tool::without( const Certificates &all, const Certificates &others )
{
    auto der = []( CRY_X509_CERTIFICATE *certificate ) { return derOf<X509>( cry___X509CertificatePeekOpensslX509( certificate ), i2d_X509 ); };
    std::set<std::string> known;
    for( const auto &each : others )
        known.insert( der( each.get() ) );
    Certificates left;
    for( const auto &each : all )
    {
        if( !known.contains( der( each.get() ) ) )
            left.push_back( each );
    }
    return left;
}
