// Certificates in PEM: with the key-decoding context and without it those load that plain
// PEM_read_bio_X509 reads of the same text, with the same errors, and they come back from their
// stores.
#include "certificate.hpp"

#include <iterator>
#include <openssl/pem.h>

using namespace fuzz;

namespace
{

constexpr const char *labels[] = { PEM_STRING_X509, PEM_STRING_X509_OLD, PEM_STRING_X509_TRUSTED, "PUBLIC KEY", "X509 CRL" };

// PEM text; anything else is a byte that chooses the label, and the DER, so that its bytes can be
// changed directly.
pb::Ref<CRY_PEM> pemOf( std::string_view input )
{
    if( pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buffer( input ).get() ) ) )
        return pem;
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), pb::adopt( pbStringCreateFromCstr( labels[takeByte( input ) % std::size( labels )], -1 ) ).get() );
    cryPemSetData( pem.handle(), buffer( input ).get() );
    return pem;
}

SeenCertificate readPlainly( const pb::Ref<CRY_PEM> &pem )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemEncode( pem.get() ) );
    BIO               *bio  = BIO_new_mem_buf( pbBufferBytes( text.get() ), (int)pbBufferLength( text.get() ) );
    X509              *x509 = PEM_read_bio_X509(
        bio, nullptr, []( char *, int, int, void              *) { return 0; }, nullptr );
    SeenCertificate seen = seenOf( x509 );
    X509_free( x509 );
    BIO_free( bio );
    return seen;
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors      clean;
    std::string_view input( (const char *)bytes, size );
    pb::Ref<CRY_PEM> pem = pemOf( input );
    ERR_clear_error();
    openssl___SetKeyDecodingContextUsed( PB_TRUE );
    pb::Ref<CRY_X509_CERTIFICATE> cert   = pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) );
    std::vector<std::string>      errors = takeErrors();
    X509                         *x509   = cert ? cry___X509CertificatePeekOpensslX509( cert.get() ) : nullptr;
    if( !isCompared( input, x509 ) )
        return 0;
    SeenCertificate plain = readPlainly( pem );
    FUZZ_CHECK( errors == plain.errors );
    checkObject( cert, plain );
    if( cert )
    {
        pb::Ref<CRY_X509_CERTIFICATE> again = pb::adopt( cryX509CertificateTryRestore( pb::adopt( cryX509CertificateStore( cert.get() ) ).get() ) );
        FUZZ_CHECK( again && cryX509CertificateEquals( again.get(), cert.get() ) );
    }
    ERR_clear_error();
    openssl___SetKeyDecodingContextUsed( PB_FALSE );
    cert = pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) );
    FUZZ_CHECK( takeErrors() == plain.errors );
    checkObject( cert, plain );
    return 0;
}
