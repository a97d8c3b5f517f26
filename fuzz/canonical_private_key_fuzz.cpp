// Private keys that the walker accepts: OpenSSL reads them in both contexts and writes the same
// text.
#include "canonical.hpp"

using namespace fuzz;

namespace
{

void checkKept( EVP_PKEY *pkey, std::string_view der )
{
    FUZZ_CHECK( pkey );
    FUZZ_CHECK( isTextOf(
        PEM_STRING_PKCS8INF, der, [&]( BIO *bio ) { return PEM_write_bio_PKCS8PrivateKey( bio, pkey, nullptr, nullptr, 0, nullptr, nullptr ); } ) );
    EVP_PKEY_free( pkey );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors clean;
    // An empty input may have no address.
    std::string_view der      = size ? std::string_view( (const char *)bytes, size ) : "";
    bool             accepted = openssl___IsCanonicalPrivateKey( (const PB_BYTE *)der.data(), (PB_INT)size );
    FUZZ_CHECK( !ERR_peek_error() );
    if( !accepted )
        return 0;
    openssl___SetKeyDecodingContextUsed( PB_TRUE );
    checkKept( openssl___TryParsePrivateKeyFast( (const PB_BYTE *)der.data(), (PB_INT)size ), der );
    if( !chosen( der, everybodysStep ) )
        return 0;
    BIO *text = BIO_new( BIO_s_mem() );
    PEM_write_bio( text, PEM_STRING_PKCS8INF, "", (const unsigned char *)der.data(), (long)size );
    EVP_PKEY *pkey = PEM_read_bio_PrivateKey( text, nullptr, nullptr, nullptr );
    BIO_free( text );
    checkKept( pkey, der );
    return 0;
}
