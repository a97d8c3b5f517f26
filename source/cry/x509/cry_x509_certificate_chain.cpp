#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "common/cry_ossl.hpp"
#include "x509/cry_x509_certificates.hpp"

// The certificate object of a collection whose OpenSSL certificate this is; lent, null when there is none. OpenSSL hands out the very pointers that it was given.
static CRY_X509_CERTIFICATE *objectOf( X509 *x509, CRY_X509_CERTIFICATES *certs )
{
    PB_INT length = certs ? cryX509CertificatesCertificatesLength( certs ) : 0;
    for( PB_INT index = 0; index < length; index++ )
    {
        CRY_X509_CERTIFICATE *cert = cry::x509::peekAt( certs, index );
        if( cry___X509CertificatePeekOpensslX509( cert ) == x509 )
            return cert;
    }
    return nullptr;
}

CRY_X509_CERTIFICATES *cry___X509CertificateChainTryVerifyCertificate(
    CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, CRY_X509_CERTIFICATES *trustedCertificates, PB_TIME *tm )
{
    PB_CHECK( certificate );
    PB_CHECK( trustedCertificates );
    PB_CHECK( tm );
    X509 *x509 = cry___X509CertificatePeekOpensslX509( certificate );

    cry::ossl::Ptr<STACK_OF( X509 )> x509Extra;
    PB_INT                           extraLength = extraCertificates ? cryX509CertificatesCertificatesLength( extraCertificates ) : 0;
    if( extraLength )
    {
        x509Extra.reset( sk_X509_new_null() );
        PB_CHECK( x509Extra );
        for( PB_INT index = 0; index < extraLength; index++ )
        {
            X509 *extra = cry___X509CertificatePeekOpensslX509( cry::x509::peekAt( extraCertificates, index ) );
            PB_CHECK( sk_X509_push( x509Extra.get(), extra ) > 0 );
        }
    }

    cry::ossl::Ptr<X509_STORE_CTX> x509StoreCtx( X509_STORE_CTX_new() );
    PB_CHECK( x509StoreCtx );
    if( X509_STORE_CTX_init( x509StoreCtx.get(), cry::x509::cachedStore( trustedCertificates ), x509, x509Extra.get() ) != 1 )
        return nullptr;

    cry::ossl::Ptr<X509_VERIFY_PARAM> x509VerifyParam( X509_VERIFY_PARAM_new() );
    PB_CHECK( x509VerifyParam );
    X509_VERIFY_PARAM_set_depth( x509VerifyParam.get(), 255 );
    X509_VERIFY_PARAM_set_flags( x509VerifyParam.get(), X509_V_FLAG_PARTIAL_CHAIN );
    time_t seconds;
    if( !pbTimeTryConvertToTimeT( tm, &seconds ) )
        return nullptr;
    X509_VERIFY_PARAM_set_time( x509VerifyParam.get(), seconds );
    X509_STORE_CTX_set0_param( x509StoreCtx.get(), x509VerifyParam.release() );
    if( X509_verify_cert( x509StoreCtx.get() ) != 1 )
        return nullptr;

    pb::Ref<CRY_X509_CERTIFICATES> chain = pb::adopt( cryX509CertificatesCreate() );
    STACK_OF( X509 ) *x509Chain          = X509_STORE_CTX_get0_chain( x509StoreCtx.get() );
    for( int index = 0; index < sk_X509_num( x509Chain ); index++ )
    {
        X509                         *each  = sk_X509_value( x509Chain, index );
        CRY_X509_CERTIFICATE         *known = each == x509 ? certificate : objectOf( each, extraCertificates );
        pb::Ref<CRY_X509_CERTIFICATE> cert  = pb::share( known ? known : objectOf( each, trustedCertificates ) );
        if( !cert )
            cert = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Copy( each ) );
        if( !cert )
            return nullptr;
        cryX509CertificatesAppendCertificate( chain.handle(), cert.get() );
    }
    PB_CHECK( cryX509CertificatesCertificatesLength( chain.get() ) >= 1 );
    return chain.take();
}
