#include "input/certificate_file.hpp"

#include "input/file.hpp"
#include "input/pem.hpp"
#include "output/error.hpp"
#include "output/openssl_reason.hpp"
#include "text/convert.hpp"
#include "text/printable.hpp"

#include <openssl/err.h>
#include <openssl/x509.h>

namespace
{

bool isCertificate( std::string_view label ) { return label == "CERTIFICATE" || label == "X509 CERTIFICATE" || label == "TRUSTED CERTIFICATE"; }

// Why DER does not parse, in brackets. Every certificate is a sequence; of other bytes OpenSSL says
// nothing that helps.
std::string derReason( PB_BUFFER *buf )
{
    if( !tool::startsWith( buf, "\x30" ) )
        return "";
    ERR_clear_error();
    const unsigned char *at = pbBufferBytes( buf );
    X509_free( d2i_X509( nullptr, &at, (long)pbBufferLength( buf ) ) );
    return tool::opensslReasonInBrackets();
}

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

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> tool::readCertificates( const std::string &path )
{
    pb::Ref<PB_BUFFER> content = readWhole( path );
    if( !pbBufferLength( content.get() ) )
        throw InputError( path, "is empty" );

    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> certificates;
    OtherLabels                                others;
    Blocks                                     blocks( content.get() );
    Block                                      block;
    while( blocks.next( block ) )
    {
        // A file of a server often holds its key too.
        if( !isCertificate( block.label ) && ( block.pem || block.headers ) )
        {
            others.add( block.label );
            continue;
        }
        if( !block.pem )
            throw InputError( path, block.problem, block.problemLine );
        std::string                   problem;
        pb::Ref<CRY_X509_CERTIFICATE> certificate = certificateIn( block.pem.get(), problem );
        if( !certificate )
            throw InputError( path, problem, block.line );
        certificates.push_back( certificate );
    }
    if( certificates.empty() && !others.empty() )
        throw InputError( path, "holds no certificate, only " + others.list() );
    if( certificates.empty() )
    {
        if( startsWith( content.get(), "\xFF\xFE" ) || startsWith( content.get(), "\xFE\xFF" ) )
            throw InputError( path, "is text in UTF-16; PEM is read in ASCII or UTF-8" );
        pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cryX509CertificateTryCreateFromDer( content.get() ) );
        if( !certificate )
            throw InputError( path, "is neither PEM text nor a certificate in DER" + derReason( content.get() ) );
        certificates.push_back( certificate );
    }
    return certificates;
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
