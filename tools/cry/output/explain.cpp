#include "output/explain.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_verification.hpp>
#include <pb/each.hpp>

#include <memory>
#include <openssl/err.h>

tool::Reason tool::explain( CRY_X509_CERTIFICATE *leaf, CRY_X509_CERTIFICATES *extra, CRY_X509_CERTIFICATES *trusted, PB_TIME *tm )
{
    std::unique_ptr<X509_STORE, decltype( &X509_STORE_free )> store( cry___X509CertificatesCreateOpensslX509Store( trusted ), X509_STORE_free );
    auto                                                      freeStack = []( STACK_OF( X509 ) * stack ) { sk_X509_free( stack ); };
    std::unique_ptr<STACK_OF( X509 ), decltype( freeStack )>  untrusted( sk_X509_new_null(), freeStack );
    pb::Ref<PB_VECTOR>                                        vector = pb::adopt( cryX509CertificatesCertificatesVector( extra ) );
    for( CRY_X509_CERTIFICATE *each : pb::each<CRY_X509_CERTIFICATE>( vector ) )
        sk_X509_push( untrusted.get(), cry___X509CertificatePeekOpensslX509( each ) );

    cry::x509::Verification verification;
    verification.verify( store.get(), cry___X509CertificatePeekOpensslX509( leaf ), untrusted.get(), tm );
    ERR_clear_error();
    Reason reason;
    reason.code  = verification.code();
    reason.text  = reason.code == X509_V_ERR_UNSPECIFIED ? "OpenSSL cannot begin the verification" : X509_verify_cert_error_string( reason.code );
    reason.depth = verification.depth();
    time_t seconds;
    if( !pbTimeTryConvertToTimeT( tm, &seconds ) )
        reason.text = "the time is a day that does not exist";
    if( X509 *current = verification.certificate() )
        reason.certificate = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509UpRef( current ) );
    return reason;
}
