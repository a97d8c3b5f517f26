#include "output/explain.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>

#include <memory>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>

tool::Reason tool::explain( CRY_X509_CERTIFICATE *leaf, CRY_X509_CERTIFICATES *extra, CRY_X509_CERTIFICATES *trusted, PB_TIME *tm )
{
    Reason reason;
    time_t seconds;
    if( !pbTimeTryConvertToTimeT( tm, &seconds ) )
    {
        reason.code = X509_V_ERR_UNSPECIFIED;
        reason.text = "the time is a day that does not exist";
        return reason;
    }
    std::unique_ptr<X509_STORE, decltype( &X509_STORE_free )> store( cry___X509CertificatesCreateOpensslX509Store( trusted ), X509_STORE_free );
    auto                                                      freeStack = []( STACK_OF( X509 ) * stack ) { sk_X509_free( stack ); };
    std::unique_ptr<STACK_OF( X509 ), decltype( freeStack )>  untrusted( sk_X509_new_null(), freeStack );
    std::unique_ptr<X509_STORE_CTX, decltype( &X509_STORE_CTX_free )> context( X509_STORE_CTX_new(), X509_STORE_CTX_free );
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( extra ); index++ )
    {
        pb::Ref<CRY_X509_CERTIFICATE> each = pb::adopt( cryX509CertificatesCertificateAt( extra, index ) );
        sk_X509_push( untrusted.get(), cry___X509CertificatePeekOpensslX509( each.get() ) );
    }
    if( X509_STORE_CTX_init( context.get(), store.get(), cry___X509CertificatePeekOpensslX509( leaf ), untrusted.get() ) != 1 )
    {
        reason.code = X509_V_ERR_UNSPECIFIED;
        reason.text = "OpenSSL cannot begin the verification";
        return reason;
    }
    X509_VERIFY_PARAM *parameters = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( parameters, 255 );
    X509_VERIFY_PARAM_set_flags( parameters, X509_V_FLAG_PARTIAL_CHAIN );
    X509_VERIFY_PARAM_set_time( parameters, seconds );
    X509_STORE_CTX_set0_param( context.get(), parameters );
    X509_verify_cert( context.get() );
    ERR_clear_error();

    reason.code  = X509_STORE_CTX_get_error( context.get() );
    reason.text  = X509_verify_cert_error_string( reason.code );
    reason.depth = X509_STORE_CTX_get_error_depth( context.get() );
    if( X509 *current = X509_STORE_CTX_get_current_cert( context.get() ) )
        reason.certificate = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509UpRef( current ) );
    return reason;
}
