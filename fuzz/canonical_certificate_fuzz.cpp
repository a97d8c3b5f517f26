// Certificates that the walker accepts: OpenSSL accepts them, too, and writes the same bytes and
// the same text.
#include "canonical.hpp"
#include "certificate.hpp"

using namespace fuzz;

namespace
{

void checkKept( X509 *x509, std::string_view der )
{
    FUZZ_CHECK( x509 );
    FUZZ_CHECK( derOf( i2d_X509, (const X509 *)x509 ) == der );
    FUZZ_CHECK( isTextOf( PEM_STRING_X509, der, [&]( BIO *bio ) { return PEM_write_bio_X509( bio, x509 ); } ) );
    X509_free( x509 );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors clean;
    // An empty input may have no address.
    std::string_view der      = size ? std::string_view( (const char *)bytes, size ) : "";
    bool             accepted = openssl___IsCanonicalCertificate( (const PB_BYTE *)der.data(), (PB_INT)size );
    FUZZ_CHECK( !ERR_peek_error() );
    if( !accepted )
        return 0;
    openssl___SetKeyDecodingContextUsed( PB_TRUE );
    checkKept( openssl___TryParseCertificate( (const PB_BYTE *)der.data(), (PB_INT)size ), der );
    if( !chosen( der, everybodysStep ) )
        return 0;
    const unsigned char *at   = (const unsigned char *)der.data();
    X509                *x509 = d2i_X509( nullptr, &at, (long)size );
    FUZZ_CHECK( at == (const unsigned char *)der.data() + size );
    checkKept( x509, der );
    return 0;
}
