// Certificates in DER: with the key-decoding context and without it they are read as plain d2i_X509
// reads them, with the same errors.
#include "certificate.hpp"

using namespace fuzz;

namespace
{

SeenCertificate readPlainly( std::string_view der )
{
    const unsigned char *at   = (const unsigned char *)der.data();
    X509                *x509 = d2i_X509( nullptr, &at, (long)der.size() );
    SeenCertificate      seen = seenOf( x509 );
    X509_free( x509 );
    return seen;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors clean;
    // An empty input may have no address.
    std::string_view der = size ? std::string_view( (const char *)bytes, size ) : "";
    openssl___SetKeyDecodingContextUsed( PB_TRUE );
    X509 *x509 = openssl___TryParseCertificate( (const PB_BYTE *)der.data(), (PB_INT)size );
    FUZZ_CHECK( !isOfFastPath( x509 ) || !ERR_peek_error() );
    if( !isCompared( der, x509 ) )
    {
        X509_free( x509 );
        return 0;
    }
    SeenCertificate fast = seenOf( x509 );
    X509_free( x509 );
    SeenCertificate plain = readPlainly( der );
    FUZZ_CHECK( fast == plain );
    for( PB_BOOL used : { PB_TRUE, PB_FALSE } )
    {
        openssl___SetKeyDecodingContextUsed( used );
        checkObject( pb::adopt( cryX509CertificateTryCreateFromDer( buffer( der ).get() ) ), plain );
    }
    return 0;
}
