#include <cry/cry_pkcs12.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>

#include "common/cry_ossl.hpp"
#include "pkcs12/cry_pkcs12_contents.hpp"

#include <openssl/err.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_key_limits.h>
#include <openssl_module/internal/openssl_module.h>
#include <pb/pb_string.h>

struct CRY_PKCS12 : PB_OBJ
{
    CRY_PKEY_PRIVATE      *privateKey;
    CRY_X509_CERTIFICATE  *certificate;
    CRY_X509_CERTIFICATES *certificates;
};

static constexpr auto pkcs12Fields = pb::fields<&CRY_PKCS12::privateKey, &CRY_PKCS12::certificate, &CRY_PKCS12::certificates>;

PB_SORT_DEFINE( cry, Pkcs12, CRY_PKCS12, PB_FREE_FIELDS( CRY_PKCS12, pkcs12, pkcs12Fields ) )

CRY_PKCS12 *cryPkcs12TryCreate( CRY_X509_CERTIFICATE *cert, CRY_PKEY_PRIVATE *key, CRY_X509_CERTIFICATES *certificates )
{
    PB_CHECK( cert );
    PB_CHECK( key );
    if( !cryX509CertificateCheckPrivateKey( cert, key ) )
        return nullptr;
    CRY_PKCS12 *pkcs12   = pb::create<CRY_PKCS12>();
    pkcs12->privateKey   = pb::shareOrNull( key );
    pkcs12->certificate  = pb::shareOrNull( cert );
    pkcs12->certificates = certificates ? pb::shareOrNull( certificates ) : cryX509CertificatesCreate();
    return pkcs12;
}

// ---- parsing

namespace
{

// Gives the zero-terminated text for OpenSSL. False if the password holds U+0000, since OpenSSL
// would use only the text before it.
bool tryPassword( PB_STRING *password, const char **text )
{
    *text = password ? pbStringTryPeekCstr( password ) : nullptr;
    return !password || *text;
}

void say( PB_STRING **diagnostics, const char *text )
{
    if( diagnostics )
        pb::assign( *diagnostics, pb::adopt( pbStringCreateFromCstr( text, -1 ) ).get() );
}

CRY_PKCS12 *fail( PB_STRING **diagnostics, const char *text )
{
    say( diagnostics, text );
    return nullptr;
}

CRY_PKCS12 *failRefusing( PB_STRING **diagnostics, int32_t *code, pb::Ref<PB_STRING> reason )
{
    if( code )
        *code = (int32_t)ERR_peek_last_error();
    return fail( diagnostics, pbStringPeekUtf8( reason.get(), nullptr ) );
}

CRY_PKCS12 *failRefusingRounds( PB_STRING **diagnostics, int32_t *code )
{
    return failRefusing( diagnostics, code,
        pb::adopt( pbStringCreateFromFormatCstr(
            "the file is refused: it asks for more than %i rounds of key derivation for one key, or more than %i in all", -1,
            (PB_INT)cry::pkcs12::mostRoundsAtOnce, (PB_INT)cry::pkcs12::mostRounds ) ) );
}

CRY_PKCS12 *failRefusingKey( PB_STRING **diagnostics, int32_t *code )
{
    return failRefusing( diagnostics, code,
        pb::adopt( pbStringCreateFromFormatCstr(
            "the file is refused: a key in it has a number of more than %i bits", -1, (PB_INT)OPENSSL___MOST_KEY_BITS ) ) );
}

CRY_PKCS12 *failParsing( PB_STRING **diagnostics, int32_t *code )
{
    unsigned long error = ERR_get_error();
    if( code )
        *code = (int32_t)error;
    char text[256];
    ERR_error_string_n( error, text, sizeof text );
    pb::Ref<PB_STRING> whole = pb::adopt( pbStringCreateFromFormatCstr( "PKCS12_parse() failed: %lc", -1, text ) );
    return fail( diagnostics, pbStringPeekUtf8( whole.get(), nullptr ) );
}

// Decodes the file in a context that also has the old algorithms. The process's own context may not
// have them.
cry::ossl::Ptr<PKCS12> decode( BIO *bio )
{
    PKCS12 *pkcs = PKCS12_init_ex( NID_pkcs7_data, openssl___LegacyContext(), nullptr );
    if( pkcs && !d2i_PKCS12_bio( bio, &pkcs ) )
    {
        // Some failures free the object and set the pointer to null.
        PKCS12_free( pkcs );
        pkcs = nullptr;
    }
    return cry::ossl::Ptr<PKCS12>( pkcs );
}

// Makes the object from the contents of the file.
CRY_PKCS12 *build( cry::pkcs12::Contents &contents, PB_STRING **diagnostics )
{
    if( !contents.key )
        return fail( diagnostics, "PKCS12_parse() returned no private key!" );
    pb::Ref<CRY_PKEY_PRIVATE> key = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( contents.key.get() ) );
    if( !key )
        return fail( diagnostics, "cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef() failed" );
    if( !contents.certificate )
        return fail( diagnostics, "PKCS12_parse() returned no certificate!" );
    pb::Ref<CRY_X509_CERTIFICATE> certificate = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509UpRef( contents.certificate.get() ) );
    if( !certificate )
        return fail( diagnostics, "cry___X509CertificateTryCreateFromOpensslX509UpRef() failed" );
    pb::Ref<CRY_X509_CERTIFICATES> certificates = pb::adopt( cryX509CertificatesCreate() );
    bool                           listed       = !contents.others.empty();
    for( ; !contents.others.empty(); contents.others.pop_back() )
    {
        pb::Ref<CRY_X509_CERTIFICATE> other = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509Use( contents.others.back().release() ) );
        if( !other )
            return fail( diagnostics, "cry___X509CertificateTryCreateFromOpensslX509Use() failed" );
        cryX509CertificatesAppendCertificate( certificates.handle(), other.get() );
    }
    // At the end of the list a text is stored as if it were a failure, but the object is returned.
    // That is intended.
    if( listed )
        say( diagnostics, "sk_X509_pop() failed" );
    CRY_PKCS12 *pkcs12   = pb::create<CRY_PKCS12>();
    pkcs12->privateKey   = key.take();
    pkcs12->certificate  = certificate.take();
    pkcs12->certificates = certificates.take();
    return pkcs12;
}

}

CRY_PKCS12 *cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( PB_BUFFER *buffer, PB_STRING *password, PB_STRING **diagnostics, int32_t *code )
{
    PB_CHECK( buffer );
    if( code )
        *code = 0;
    const char *passwordText;
    if( !tryPassword( password, &passwordText ) )
        return fail( diagnostics, "the password holds U+0000" );
    if( !PB_INT_TO_SIGNED_INT_CONV_OK( pbBufferLength( buffer ) ) )
        return fail( diagnostics, "BIO_write() failed" );
    cry::ossl::Ptr<BIO> bioWrite( BIO_new_mem_buf( pbBufferBytes( buffer ), (int)pbBufferLength( buffer ) ) );
    PB_CHECK( bioWrite );
    cry::ossl::Ptr<PKCS12> pkcs = decode( bioWrite.get() );
    if( !pkcs )
        return fail( diagnostics, "d2i_PKCS12_bio() failed" );
    // An older error must not be taken for the reason.
    openssl::OlderErrors  older;
    cry::pkcs12::Contents contents;
    switch( cry::pkcs12::tryRead( pkcs.get(), passwordText, contents ) )
    {
    case cry::pkcs12::Outcome::refused:
        return failRefusingRounds( diagnostics, code );
    case cry::pkcs12::Outcome::refusedKey:
        return failRefusingKey( diagnostics, code );
    case cry::pkcs12::Outcome::failed:
        return failParsing( diagnostics, code );
    default:
        return build( contents, diagnostics );
    }
}

CRY_PKCS12 *cryPkcs12TryCreateFromBufferWithDiagnostics( PB_BUFFER *buffer, PB_STRING *password, PB_STRING **diagnostics )
{
    return cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( buffer, password, diagnostics, nullptr );
}

CRY_PKCS12 *cryPkcs12TryCreateFromBuffer( PB_BUFFER *buffer, PB_STRING *password )
{
    return cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( buffer, password, nullptr, nullptr );
}

// ---- the parts of an object

CRY_PKEY_PRIVATE *cryPkcs12PrivateKey( CRY_PKCS12 *pkcs12 ) { return PB_CHECK( pkcs12 ), pb::shareOrNull( pkcs12->privateKey ); }

CRY_X509_CERTIFICATE *cryPkcs12Certificate( CRY_PKCS12 *pkcs12 ) { return PB_CHECK( pkcs12 ), pb::shareOrNull( pkcs12->certificate ); }

CRY_X509_CERTIFICATES *cryPkcs12Certificates( CRY_PKCS12 *pkcs12 ) { return PB_CHECK( pkcs12 ), pb::shareOrNull( pkcs12->certificates ); }

PB_STORE *cryPkcs12Store( CRY_PKCS12 *pkcs12 )
{
    PB_CHECK( pkcs12 );
    pb::Ref<PB_STORE> store        = pb::adopt( pbStoreCreate() );
    pb::Ref<PB_STORE> privateKey   = pb::adopt( cryPkeyPrivateStore( pkcs12->privateKey ) );
    pb::Ref<PB_STORE> certificate  = pb::adopt( cryX509CertificateStore( pkcs12->certificate ) );
    pb::Ref<PB_STORE> certificates = pb::adopt( cryX509CertificatesStore( pkcs12->certificates ) );
    pbStoreSetStoreCstr( store.handle(), "privateKey", -1, privateKey.get() );
    pbStoreSetStoreCstr( store.handle(), "certificate", -1, certificate.get() );
    pbStoreSetStoreCstr( store.handle(), "certificates", -1, certificates.get() );
    return store.take();
}

// ---- encoding

// The OpenSSL certificates of a collection, lent; null for an empty one.
static cry::ossl::Ptr<STACK_OF( X509 )> listOf( CRY_X509_CERTIFICATES *certificates )
{
    PB_INT length = cryX509CertificatesCertificatesLength( certificates );
    if( !length )
        return nullptr;
    cry::ossl::Ptr<STACK_OF( X509 )> certs( sk_X509_new_reserve( nullptr, (int)length ) );
    PB_CHECK( certs );
    for( PB_INT index = 0; index < length; index++ )
    {
        pb::Ref<CRY_X509_CERTIFICATE> each = pb::adopt( cryX509CertificatesCertificateAt( certificates, index ) );
        sk_X509_push( certs.get(), cry___X509CertificatePeekOpensslX509( each.get() ) );
    }
    return certs;
}

PB_BUFFER *cryPkcs12TryEncode( CRY_PKCS12 *pkcs12, PB_STRING *password )
{
    PB_CHECK( pkcs12 );
    const char *passwordText;
    if( !tryPassword( password, &passwordText ) )
        return nullptr;
    cry::ossl::Ptr<STACK_OF( X509 )> certs = listOf( pkcs12->certificates );
    cry::ossl::Ptr<PKCS12>           made( PKCS12_create( passwordText, nullptr, cry___PkeyPrivatePeekOpensslEvpPkey( pkcs12->privateKey ),
                  cry___X509CertificatePeekOpensslX509( pkcs12->certificate ), certs.get(), 0, 0, 0, 0, 0 ) );
    if( !made )
        return nullptr;
    // This BIO does not use OpenSSL's secure heap, which a host may have made small. A memory BIO
    // is cleansed in every case.
    cry::ossl::Ptr<BIO> held( BIO_new( BIO_s_mem() ) );
    BIO                *bioRead = held.get();
    PB_CHECK( bioRead );
    PKCS12 *pkcs = made.get();
    PB_CHECK( 1 == i2d_PKCS12_bio( bioRead, pkcs ) );
    char      *bytes;
    long       length = BIO_get_mem_data( bioRead, &bytes );
    PB_BUFFER *buffer = pbBufferCreate();
    pbBufferSetSensitive( &buffer );
    pbBufferAppendBytes( &buffer, bytes, length );
    return buffer;
}
