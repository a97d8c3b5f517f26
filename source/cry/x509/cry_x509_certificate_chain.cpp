#include "x509/cry_x509_certificate_chain.hpp"

#include <cry/internal/cry_x509_certificate.h>

#include "common/cry_ossl.hpp"
#include "x509/cry_x509_certificate.hpp"
#include "x509/cry_x509_certificates.hpp"
#include "x509/cry_x509_known_certificates.hpp"
#include "x509/cry_x509_verification.hpp"

#include <openssl_module/internal/openssl_errors.hpp>

namespace
{

pb::Ref<CRY_X509_CERTIFICATE> tryFind( CRY_X509_CERTIFICATES *certs, X509 *x509 )
{
    for( CRY_X509_CERTIFICATE *cert : cry::x509::each( certs ) )
    {
        if( cry::x509::peekIfMade( cert ) == x509 )
            return pb::share( cert );
    }
    return {};
}

// The caller's object that holds this OpenSSL certificate, else a new object; null if it cannot be
// made. OpenSSL gives back the same pointers that it was given, so comparing pointers is enough.
// Deferred certificates can share one OpenSSL certificate; then it counts where OpenSSL found it.
pb::Ref<CRY_X509_CERTIFICATE> objectOf( const cry::x509::Question &question, X509 *x509, bool trusted )
{
    if( trusted )
    {
        pb::Ref<CRY_X509_CERTIFICATE> cert = tryFind( question.trusted, x509 );
        if( cert && cry::x509::isDeferred( cert.get() ) )
            return cert;
    }
    if( cry::x509::peekIfMade( question.certificate ) == x509 )
        return pb::share( question.certificate );
    for( CRY_X509_CERTIFICATES *certs : { question.extra, question.trusted } )
    {
        if( pb::Ref<CRY_X509_CERTIFICATE> cert = tryFind( certs, x509 ) )
            return cert;
    }
    return pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Copy( x509 ) );
}

cry::ossl::Ptr<STACK_OF( X509 )> stackOf( CRY_X509_CERTIFICATES *certs, pb::Site site )
{
    cry::ossl::Ptr<STACK_OF( X509 )> x509Extra;
    for( CRY_X509_CERTIFICATE *cert : cry::x509::each( certs ) )
    {
        if( !x509Extra )
            x509Extra.reset( sk_X509_new_null() );
        PB_CHECK_AT( site, x509Extra );
        X509 *extra = cry___X509CertificatePeekOpensslX509( cert );
        PB_CHECK_AT( site, sk_X509_push( x509Extra.get(), extra ) > 0 );
    }
    return x509Extra;
}

}

cry::x509::Verdict cry::x509::verifyChain( const Question &question, time_t seconds, pb::Site site )
{
    ossl::Ptr<STACK_OF( X509 )> x509Extra    = stackOf( question.extra, site );
    auto                        verification = Verification( site );
    X509                       *leaf         = cry___X509CertificatePeekOpensslX509( question.certificate );
    if( !verification.verify( question.x509Store, leaf, x509Extra.get(), seconds ) )
    {
        X509                         *x509  = verification.certificate();
        int                           depth = verification.depth();
        pb::Ref<CRY_X509_CERTIFICATE> cert;
        if( x509 )
            cert = objectOf( question, x509, depth >= verification.untrusted() );
        return { {}, verification.code(), depth, std::move( cert ), false };
    }

    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt( cryX509CertificatesCreate() );
    STACK_OF( X509 ) *x509Chain          = verification.chain();
    int untrusted                        = verification.untrusted();
    for( int index = 0; index < sk_X509_num( x509Chain ); index++ )
    {
        pb::Ref<CRY_X509_CERTIFICATE> cert = objectOf( question, sk_X509_value( x509Chain, index ), index >= untrusted );
        if( !cert )
            return { {}, X509_V_ERR_UNSPECIFIED, index, {}, true };
        if( index > 0 && index < untrusted )
            keepKnown( cert.get() );
        cryX509CertificatesAppendCertificate( chain.handle(), cert.get() );
    }
    PB_CHECK_AT( site, cryX509CertificatesCertificatesLength( chain.get() ) >= 1 );
    return { std::move( chain ), X509_V_OK, -1, {}, true };
}

cry::x509::Verdict cry::x509::verifyChain( CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates,
    CRY_X509_CERTIFICATES *trustedCertificates, PB_TIME *tm, pb::Site site )
{
    time_t seconds;
    if( !pbTimeTryConvertToTimeT( tm, &seconds ) )
        return { {}, X509_V_ERR_UNSPECIFIED, -1, {}, false };
    return verifyChain( { certificate, extraCertificates, trustedCertificates, cachedStore( trustedCertificates ) }, seconds, site );
}

CRY_X509_CERTIFICATES *cry___X509CertificateChainTryVerifyCertificate(
    CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates, PB_TIME *tm )
{
    PB_CHECK( certificate );
    PB_CHECK( trustedCertificates );
    PB_CHECK( tm );
    // OpenSSL leaves the reasons why it passed over other certificates.
    openssl::ErrorMark errors;
    cry::x509::Verdict verdict = cry::x509::verifyChain( certificate, extraCertificates, trustedCertificates, tm );
    if( !verdict )
        errors.keep();
    return verdict.chain.take();
}
