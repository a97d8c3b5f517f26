#include "input/certificate_text.hpp"

#include "input/certificate_file.hpp"
#include "input/pem.hpp"
#include "output/error.hpp"

#include <rfc/rfc_base.h>

namespace
{

constexpr std::string_view begin = "-----BEGIN";

pb::Ref<CRY_X509_CERTIFICATES> certificatesInPem( const std::string &text, const std::string &what )
{
    pb::Ref<CRY_X509_CERTIFICATES> certificates = pb::adopt( cryX509CertificatesCreate() );
    pb::Ref<PB_BUFFER>             bytes        = pb::adopt( pbBufferCreateFromBytes( (const PB_BYTE *)text.data(), (PB_INT)text.size() ) );
    tool::Blocks                   blocks( bytes.get() );
    tool::Block                    block;
    std::string                    problem;
    while( blocks.next( block ) )
    {
        pb::Ref<CRY_X509_CERTIFICATE> certificate;
        if( block.pem )
            certificate = tool::certificateIn( block.pem.get(), problem );
        if( !certificate )
            throw tool::InputError( what + ", line " + std::to_string( block.pem ? block.line : block.problemLine ) +
                " of its text: " + ( block.pem ? problem : block.problem ) );
        cryX509CertificatesAppendCertificate( certificates.handle(), certificate.get() );
    }
    if( !cryX509CertificatesCertificatesLength( certificates.get() ) )
        throw tool::InputError( what + ": no line of its text begins with " + std::string( begin ) );
    return certificates;
}

pb::Ref<CRY_X509_CERTIFICATES> certificateInBase64( const std::string &text, const std::string &what )
{
    pb::Ref<PB_BUFFER> der    = pb::adopt( pbBufferCreate() );
    PB_INT             length = (PB_INT)text.size();
    PB_INT             count  = rfc___BaseTryDecodeBytes( text.data(), length, RFC_BASE_64, pb___BufferExtend( der.handle(), length ) );
    if( count < 0 )
        throw tool::InputError( what + ": it is neither PEM text nor base 64" );
    pbBufferDelInner( der.handle(), count, length - count );
    std::string                    reason;
    pb::Ref<CRY_X509_CERTIFICATE>  certificate  = tool::certificateInDer( der.get(), reason );
    pb::Ref<CRY_X509_CERTIFICATES> certificates = pb::adopt( cryX509CertificatesCreate() );
    if( !certificate )
        throw tool::InputError( what + ": the bytes in base 64 are not a certificate in DER" + reason );
    cryX509CertificatesAppendCertificate( certificates.handle(), certificate.get() );
    return certificates;
}

}

pb::Ref<CRY_X509_CERTIFICATES> tool::certificatesInText( const std::string &text, const std::string &what )
{
    if( text.empty() )
        throw InputError( what + ": it is empty" );
    return text.find( begin ) == text.npos ? certificateInBase64( text, what ) : certificatesInPem( text, what );
}
