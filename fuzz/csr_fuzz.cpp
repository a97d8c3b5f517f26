// Requests: those load that plain OpenSSL loads, with the canonical text that it writes, with the
// key-decoding context and without it; they come back from their stores, and their public keys are
// those that OpenSSL reads of what it writes.
#include <cry/internal/cry_x509_csr.h>
#include <openssl_module/internal/openssl_module.h>

#include "start.hpp"

#include <iterator>
#include <memory>
#include <openssl/err.h>
#include <openssl/pem.h>

using namespace fuzz;

namespace
{

constexpr const char *labels[] = { "CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST", "CERTIFICATE" };

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

using Bio  = std::unique_ptr<BIO, decltype( &BIO_free )>;
using Req  = std::unique_ptr<X509_REQ, decltype( &X509_REQ_free )>;
using Pkey = std::unique_ptr<EVP_PKEY, decltype( &EVP_PKEY_free )>;

int noPassPhrase( char *, int, int, void * ) { return 0; }

// What is in the text that was written; null when it was not.
pb::Ref<CRY_PEM> written( const Bio &bio, int done )
{
    if( done != 1 )
        return {};
    char            *bytes;
    size_t           length = (size_t)BIO_get_mem_data( bio.get(), &bytes );
    pb::Ref<CRY_PEM> pem    = pb::adopt( cryPemTryDecode( buffer( { bytes, length } ).get() ) );
    FUZZ_CHECK( pem );
    return pem;
}

// What plain OpenSSL makes of a request and of its key.
struct Plain
{
    pb::Ref<CRY_PEM> pem, pub;
    bool             keyDecodes = false;
};

Plain plainOf( const pb::Ref<CRY_PEM> &pem )
{
    Plain              plain;
    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemEncode( pem.get() ) );
    Bio                in( BIO_new_mem_buf( pbBufferBytes( text.get() ), (int)pbBufferLength( text.get() ) ), BIO_free );
    Req                req( PEM_read_bio_X509_REQ( in.get(), nullptr, noPassPhrase, nullptr ), X509_REQ_free );
    if( !req )
        return plain;
    Bio out( BIO_new( BIO_s_mem() ), BIO_free );
    plain.pem        = written( out, PEM_write_bio_X509_REQ( out.get(), req.get() ) );
    EVP_PKEY *pkey   = X509_REQ_get0_pubkey( req.get() );
    plain.keyDecodes = pkey;
    Bio first( BIO_new( BIO_s_mem() ), BIO_free ), second( BIO_new( BIO_s_mem() ), BIO_free );
    if( pkey && PEM_write_bio_PUBKEY( first.get(), pkey ) == 1 )
    {
        Pkey read( PEM_read_bio_PUBKEY( first.get(), nullptr, noPassPhrase, nullptr ), EVP_PKEY_free );
        if( read )
            plain.pub = written( second, PEM_write_bio_PUBKEY( second.get(), read.get() ) );
    }
    return plain;
}

void check( const pb::Ref<CRY_X509_CSR> &csr, const Plain &plain )
{
    FUZZ_CHECK( (bool)csr == (bool)plain.pem );
    if( !csr )
        return;
    FUZZ_CHECK( cryPemEquals( pb::adopt( cryX509CsrPem( csr.get() ) ).get(), plain.pem.get() ) );
    pb::Ref<CRY_X509_CSR> restored = pb::adopt( cryX509CsrTryRestore( pb::adopt( cryX509CsrStore( csr.get() ) ).get() ) );
    FUZZ_CHECK( restored && cryX509CsrEquals( restored.get(), csr.get() ) );
    X509_REQ             *req  = cry___X509CsrPeekOpensslX509Req( csr.get() );
    pb::Ref<CRY_X509_CSR> copy = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqCopy( req ) );
    FUZZ_CHECK( copy && cryX509CsrEquals( copy.get(), csr.get() ) );
    // Asking for the key of one that does not decode is a broken contract.
    FUZZ_CHECK( ( X509_REQ_get0_pubkey( req ) != nullptr ) == plain.keyDecodes );
    if( !plain.keyDecodes )
        return;
    for( const pb::Ref<CRY_X509_CSR> &each : { csr, restored } )
    {
        pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cryX509CsrPublicKey( each.get() ) );
        FUZZ_CHECK( (bool)pub == (bool)plain.pub );
        if( pub )
            FUZZ_CHECK( cryPemEquals( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get(), plain.pub.get() ) );
    }
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    pb::Ref<CRY_PEM> pem   = pemOf( { (const char *)bytes, size } );
    Plain            plain = plainOf( pem );
    for( PB_BOOL fast : { PB_TRUE, PB_FALSE } )
    {
        openssl___SetKeyDecodingContextUsed( fast );
        check( pb::adopt( cryX509CsrTryCreateFromPem( pem.get() ) ), plain );
    }
    ERR_clear_error();
    return 0;
}
