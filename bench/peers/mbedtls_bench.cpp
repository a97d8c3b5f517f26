#include "ours.hpp"
#include "peers.hpp"

#include <mbedtls/x509_crt.h>
#include <memory>

static void registerKind( const std::string &kind, const bench::Certificate &leaf )
{
    auto der = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( leaf.der ) );
    bench::pair(
        "certificate from DER, " + kind + ": Mbed TLS", [der] { cryX509CertificateRelease( cryX509CertificateTryCreateFromDer( der->get() ) ); },
        [&leaf] {
            mbedtls_x509_crt certificate;
            mbedtls_x509_crt_init( &certificate );
            if( mbedtls_x509_crt_parse_der( &certificate, (const unsigned char *)leaf.der.data(), leaf.der.size() ) )
                std::abort();
            mbedtls_x509_crt_free( &certificate );
        } );
    auto pem = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( leaf.pem ) );
    bench::pair(
        "certificate from PEM, " + kind + ": Mbed TLS", [pem] { bench::certificateFromPem( pem->get() ); },
        [&leaf] {
            mbedtls_x509_crt certificate;
            mbedtls_x509_crt_init( &certificate );
            // The zero at the end counts.
            if( mbedtls_x509_crt_parse( &certificate, (const unsigned char *)leaf.pem.c_str(), leaf.pem.size() + 1 ) )
                std::abort();
            mbedtls_x509_crt_free( &certificate );
        } );
}

void peers::registerMbedTls()
{
    registerKind( "RSA", bench::material().rsa[0] );
    registerKind( "EC", bench::material().ec[0] );
}
