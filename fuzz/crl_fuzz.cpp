// CRLs: those load that plain OpenSSL loads, with the canonical text that it writes; they come back
// from their stores; and their serial numbers are those of the entries that OpenSSL reads.
#include "openssl.hpp"

#include <cry/internal/cry_x509_crl.h>
#include <cry/internal/cry_x509_decode.h>

#include <memory>
#include <openssl/pem.h>

using namespace fuzz;

namespace
{

using Bio = std::unique_ptr<BIO, decltype( &BIO_free )>;

// PEM text; anything else is the DER, so that its bytes can be changed directly.
pb::Ref<CRY_PEM> pemOf( std::string_view input )
{
    if( pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buffer( input ).get() ) ) )
        return pem;
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), pb::adopt( pbStringCreateFromCstr( "X509 CRL", -1 ) ).get() );
    cryPemSetData( pem.handle(), buffer( input ).get() );
    return pem;
}

// The canonical PEM that plain OpenSSL writes, or null.
pb::Ref<CRY_PEM> plainOf( const pb::Ref<CRY_PEM> &pem )
{
    pb::Ref<PB_BUFFER> text = pb::adopt( cryPemEncode( pem.get() ) );
    Bio                in( BIO_new_mem_buf( pbBufferBytes( text.get() ), (int)pbBufferLength( text.get() ) ), BIO_free );
    Bio                out( BIO_new( BIO_s_mem() ), BIO_free );
    X509_CRL          *crl = PEM_read_bio_X509_CRL(
        in.get(), nullptr, []( char *, int, int, void          *) { return 0; }, nullptr );
    pb::Ref<CRY_PEM> written;
    if( crl && PEM_write_bio_X509_CRL( out.get(), crl ) == 1 )
    {
        char  *bytes;
        size_t length = (size_t)BIO_get_mem_data( out.get(), &bytes );
        written       = pb::adopt( cryPemTryDecode( buffer( { bytes, length } ).get() ) );
        FUZZ_CHECK( written );
    }
    X509_CRL_free( crl );
    return written;
}

void checkSerials( CRY_X509_CRL *crl )
{
    STACK_OF( X509_REVOKED ) *entries = X509_CRL_get_REVOKED( cry___X509CrlPeekOpensslX509Crl( crl ) );
    pb::Ref<PB_DICT> wanted           = pb::adopt( pbDictCreate() );
    for( int index = 0; index < sk_X509_REVOKED_num( entries ); index++ )
    {
        const ASN1_INTEGER *serial = X509_REVOKED_get0_serialNumber( sk_X509_REVOKED_value( entries, index ) );
        pb::Ref<BN_INT>     number = pb::adopt( cry___X509TryDecodeAsn1Integer( serial ) );
        FUZZ_CHECK( number );
        pbDictSetObjKey( wanted.handle(), number.obj(), number.obj() );
        FUZZ_CHECK( cryX509CrlRevokedBySerial( crl, number.get() ) );
    }
    FUZZ_CHECK( pbDictEquals( pb::adopt( cryX509CrlRevokedSerials( crl ) ).get(), wanted.get() ) );
    for( PB_INT value = -3; value <= 3; value++ )
    {
        pb::Ref<BN_INT> number = pb::adopt( bnIntCreate( value ) );
        FUZZ_CHECK( cryX509CrlRevokedBySerial( crl, number.get() ) == pbDictHasObjKey( wanted.get(), number.obj() ) );
    }
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors              clean;
    pb::Ref<CRY_PEM>         pem    = pemOf( { (const char *)bytes, size } );
    pb::Ref<CRY_PEM>         plain  = plainOf( pem );
    std::vector<std::string> errors = takeErrors();
    pb::Ref<CRY_X509_CRL>    crl    = pb::adopt( cryX509CrlTryCreateFromPem( pem.get() ) );
    FUZZ_CHECK( (bool)crl == (bool)plain );
    FUZZ_CHECK( takeErrors() == ( crl ? std::vector<std::string>() : errors ) );
    if( !crl )
        return 0;
    FUZZ_CHECK( cryPemEquals( pb::adopt( cryX509CrlPem( crl.get() ) ).get(), plain.get() ) );
    pb::Ref<CRY_X509_CRL> restored = pb::adopt( cryX509CrlTryRestore( pb::adopt( cryX509CrlStore( crl.get() ) ).get() ) );
    FUZZ_CHECK( restored && cryX509CrlEquals( restored.get(), crl.get() ) );
    pb::Ref<CRY_X509_CRL> copy = pb::adopt( cry___X509CrlTryCreateFromOpensslX509CrlCopy( cry___X509CrlPeekOpensslX509Crl( crl.get() ) ) );
    FUZZ_CHECK( copy && cryX509CrlEquals( copy.get(), crl.get() ) );
    checkSerials( crl.get() );
    FUZZ_CHECK( takeErrors().empty() );
    // Any text and time, or none.
    pb::adopt( cryX509CrlIssuer( crl.get() ) );
    pb::adopt( cryX509CrlLastUpdate( crl.get() ) );
    pb::adopt( cryX509CrlNextUpdate( crl.get() ) );
    return 0;
}
