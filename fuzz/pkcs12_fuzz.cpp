// PKCS#12: a file is read as plain PKCS12_parse reads it, and what was read reads the same again
// after it was written.
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>

#include "openssl.hpp"

#include <algorithm>
#include <iterator>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <string>
#include <vector>

using namespace fuzz;

namespace
{

constexpr const char *passwords[] = { nullptr, "", "secret", "wrong", "\xCF\x83\xCF\x8D\xCE\xBD" };

std::string derOf( X509 *x509 )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_X509( x509, &bytes );
    FUZZ_CHECK( length > 0 );
    std::string der( (const char *)bytes, (size_t)length );
    OPENSSL_free( bytes );
    return der;
}

// What is compared of a file.
struct Read
{
    std::string              said; // of a failure only
    std::string              certificate;
    std::vector<std::string> others;
    std::vector<std::string> names, keyIds; // of all of them

    void add( X509 *x509, bool other )
    {
        auto text = []( const unsigned char *at, int length ) { return at ? "\"" + std::string( (const char *)at, (size_t)length ) : std::string(); };
        int  nameLength = 0, keyIdLength = 0;
        const unsigned char *name = X509_alias_get0( x509, &nameLength ), *keyId = X509_keyid_get0( x509, &keyIdLength );
        names.push_back( text( name, nameLength ) );
        keyIds.push_back( text( keyId, keyIdLength ) );
        if( other )
            others.push_back( derOf( x509 ) );
        else
            certificate = derOf( x509 );
    }

    bool operator==( const Read & ) const = default;
};

Read seenOf( CRY_PKCS12 *pkcs12 )
{
    Read                           read;
    pb::Ref<CRY_X509_CERTIFICATE>  cert   = pb::adopt( cryPkcs12Certificate( pkcs12 ) );
    pb::Ref<CRY_X509_CERTIFICATES> others = pb::adopt( cryPkcs12Certificates( pkcs12 ) );
    read.add( cry___X509CertificatePeekOpensslX509( cert.get() ), false );
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( others.get() ); index++ )
    {
        pb::Ref<CRY_X509_CERTIFICATE> other = pb::adopt( cryX509CertificatesCertificateAt( others.get(), index ) );
        read.add( cry___X509CertificatePeekOpensslX509( other.get() ), true );
    }
    return read;
}

OSSL_LIB_CTX *oldAlgorithms()
{
    static OSSL_LIB_CTX *context = [] {
        OSSL_LIB_CTX *made = OSSL_LIB_CTX_new();
        FUZZ_CHECK( OSSL_PROVIDER_load( made, "default" ) );
        OSSL_PROVIDER_load( made, "legacy" );
        ERR_clear_error();
        return made;
    }();
    return context;
}

Read readPlainly( std::string_view file, const char *password, EVP_PKEY **key )
{
    Read    read;
    BIO    *bio              = BIO_new_mem_buf( file.data(), (int)file.size() );
    PKCS12 *pkcs12           = PKCS12_init_ex( NID_pkcs7_data, oldAlgorithms(), nullptr );
    X509   *cert             = nullptr;
    STACK_OF( X509 ) *others = nullptr;
    ERR_clear_error();
    if( !d2i_PKCS12_bio( bio, &pkcs12 ) )
        read.said = "d2i_PKCS12_bio() failed";
    else if( PKCS12_parse( pkcs12, password, key, &cert, &others ) != 1 )
        read.said = std::string( "PKCS12_parse() failed: " ) + ERR_error_string( ERR_get_error(), nullptr );
    else if( !*key )
        read.said = "PKCS12_parse() returned no private key!";
    else if( !cert )
        read.said = "PKCS12_parse() returned no certificate!";
    else
    {
        read.add( cert, false );
        for( int index = sk_X509_num( others ) - 1; index >= 0; index-- )
            read.add( sk_X509_value( others, index ), true );
    }
    sk_X509_pop_free( others, X509_free );
    X509_free( cert );
    PKCS12_free( pkcs12 );
    BIO_free( bio );
    ERR_clear_error();
    return read;
}

pb::Ref<PB_STRING> stringOf( const char *password ) { return password ? pb::adopt( pbStringCreateFromCstr( password, -1 ) ) : pb::Ref<PB_STRING>(); }

void expectReadsAgain( const pb::Ref<CRY_PKCS12> &pkcs12, const char *password )
{
    pb::Ref<PB_BUFFER> file = pb::adopt( cryPkcs12TryEncode( pkcs12.get(), stringOf( password ).get() ) );
    if( !file )
        return;
    pb::Ref<CRY_PKCS12> again = pb::adopt( cryPkcs12TryCreateFromBuffer( file.get(), stringOf( password ).get() ) );
    FUZZ_CHECK( again );
    pb::Ref<CRY_PKEY_PRIVATE> before = pb::adopt( cryPkcs12PrivateKey( pkcs12.get() ) ), after = pb::adopt( cryPkcs12PrivateKey( again.get() ) );
    FUZZ_CHECK( cryPkeyPrivateEquals( before.get(), after.get() ) );
    Read was = seenOf( pkcs12.get() ), is = seenOf( again.get() );
    std::reverse( is.others.begin(), is.others.end() );
    std::reverse( is.names.begin() + 1, is.names.end() );
    std::reverse( is.keyIds.begin() + 1, is.keyIds.end() );
    // OpenSSL writes a key id of its own for the key's certificate.
    was.keyIds[0] = is.keyIds[0];
    FUZZ_CHECK( was == is );
}

}

int LLVMFuzzerTestOneInput( const uint8_t *bytes, size_t size )
{
    start();
    CleanErrors      clean;
    std::string_view file( (const char *)bytes, size ), whole = file;
    const char      *password = passwords[takeByte( file ) % std::size( passwords )];
    if( roundsIn( file ) > mostRounds )
        return 0;
    ERR_clear_error();
    pb::Ref<PB_STRING>  said;
    int32_t             code;
    pb::Ref<CRY_PKCS12> pkcs12 = pb::adopt(
        cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( buffer( file ).get(), stringOf( password ).get(), said.handle(), &code ) );
    ERR_clear_error();
    if( !pkcs12 && view( said ).starts_with( "the file is refused" ) )
    {
        FUZZ_CHECK( code && ERR_GET_LIB( (unsigned long)code ) >= ERR_LIB_USER );
        return 0;
    }
    // A failure is PKCS12_parse's own in any case.
    if( !chosen( whole, pkcs12 ? 8 : 32 ) )
        return 0;
    EVP_PKEY *key   = nullptr;
    Read      plain = readPlainly( file, password, &key );
    if( pkcs12 )
    {
        // A key that is shrouded in an old algorithm is read although PKCS12_parse looks for that
        // in the default context.
        if( !plain.said.ends_with( "unsupported" ) )
        {
            FUZZ_CHECK( seenOf( pkcs12.get() ) == plain );
            pb::Ref<CRY_PKEY_PRIVATE> own = pb::adopt( cryPkcs12PrivateKey( pkcs12.get() ) );
            FUZZ_CHECK( EVP_PKEY_eq( cry___PkeyPrivatePeekOpensslEvpPkey( own.get() ), key ) == 1 );
        }
        // Two derivations with OpenSSL's usual counts.
        if( chosen( whole, 64 ) )
            expectReadsAgain( pkcs12, password );
    }
    else if( !view( said ).starts_with( "cry___" ) )
        FUZZ_CHECK( view( said ) == plain.said );
    EVP_PKEY_free( key );
    return 0;
}
