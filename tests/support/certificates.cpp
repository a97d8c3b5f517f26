#include "support/certificates.hpp"

#include <cry/internal/cry_x509_certificate.h>

#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>
#include <mutex>
#include <openssl/bn.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/rsa.h>
#include <openssl/x509v3.h>

using namespace support;

namespace
{

Cert owned( X509 *x509 ) { return { x509, X509_free }; }

using Bio = std::unique_ptr<BIO, decltype( &BIO_free )>;

Bio memory() { return { BIO_new( BIO_s_mem() ), BIO_free }; }

std::string content( const Bio &bio )
{
    char *text   = nullptr;
    long  length = BIO_get_mem_data( bio.get(), &text );
    return { text ? text : "", (size_t)length };
}

EVP_PKEY *generate( KeyKind kind )
{
    bool        rsa  = kind == KeyKind::rsa || kind == KeyKind::rsaPss;
    bool        ec   = kind == KeyKind::p256 || kind == KeyKind::p384;
    const char *name = kind == KeyKind::rsa ? "RSA" : kind == KeyKind::rsaPss ? "RSA-PSS" : ec ? "EC" : "ED25519";

    std::unique_ptr<EVP_PKEY_CTX, decltype( &EVP_PKEY_CTX_free )> ctx( EVP_PKEY_CTX_new_from_name( nullptr, name, nullptr ), EVP_PKEY_CTX_free );
    EXPECT_EQ( EVP_PKEY_keygen_init( ctx.get() ), 1 );
    if( rsa )
        EXPECT_EQ( EVP_PKEY_CTX_set_rsa_keygen_bits( ctx.get(), 2048 ), 1 );
    if( ec )
        EXPECT_EQ( EVP_PKEY_CTX_set_group_name( ctx.get(), kind == KeyKind::p256 ? "P-256" : "P-384" ), 1 );
    EVP_PKEY *pkey = nullptr;
    EXPECT_EQ( EVP_PKEY_generate( ctx.get(), &pkey ), 1 );
    return pkey;
}

void setName( X509_NAME *name, std::string_view subject, int type )
{
    while( !subject.empty() )
    {
        std::string_view part  = subject.substr( 0, subject.find( '/' ) );
        size_t           equal = part.find( '=' );
        std::string      field( part.substr( 0, equal ) );
        std::string_view value = part.substr( equal + 1 );
        EXPECT_EQ( X509_NAME_add_entry_by_txt( name, field.c_str(), type, (const unsigned char *)value.data(), (int)value.size(), -1, 0 ), 1 )
            << part;
        subject.remove_prefix( part.size() == subject.size() ? part.size() : part.size() + 1 );
    }
}

}

std::string support::nameOf( KeyKind kind )
{
    switch( kind )
    {
    case KeyKind::rsa:
        return "RSA";
    case KeyKind::rsaPss:
        return "RSA-PSS";
    case KeyKind::p256:
        return "P-256";
    case KeyKind::p384:
        return "P-384";
    case KeyKind::ed25519:
        return "Ed25519";
    }
    return {};
}

Pkey support::key( KeyKind kind, int number )
{
    static std::mutex                              mutex;
    static std::map<std::pair<KeyKind, int>, Pkey> keys;
    std::lock_guard                                lock( mutex );
    Pkey                                          &known = keys[{ kind, number }];
    if( !known )
        known = Pkey( generate( kind ), EVP_PKEY_free );
    return known;
}

Cert support::makeCertificate( const CertificateFields &fields )
{
    Cert  cert   = owned( X509_new() );
    X509 *x509   = cert.get();
    X509 *issuer = fields.issuer ? fields.issuer.get() : x509;
    EXPECT_EQ( X509_set_version( x509, fields.version - 1 ), 1 );

    BIGNUM *serial = nullptr;
    EXPECT_GT( BN_dec2bn( &serial, fields.serial.c_str() ), 0 );
    EXPECT_NE( BN_to_ASN1_INTEGER( serial, X509_get_serialNumber( x509 ) ), nullptr );
    BN_free( serial );

    setName( X509_get_subject_name( x509 ), fields.subject, fields.nameType );
    EXPECT_EQ( X509_set_issuer_name( x509, X509_get_subject_name( issuer ) ), 1 );
    EXPECT_EQ( ASN1_TIME_set_string_X509( X509_getm_notBefore( x509 ), fields.notBefore.c_str() ), 1 );
    EXPECT_EQ( ASN1_TIME_set_string_X509( X509_getm_notAfter( x509 ), fields.notAfter.c_str() ), 1 );
    EXPECT_EQ( X509_set_pubkey( x509, fields.subjectKey.get() ), 1 );

    X509V3_CTX ctx;
    X509V3_set_ctx_nodb( &ctx );
    X509V3_set_ctx( &ctx, issuer, x509, nullptr, nullptr, 0 );
    for( const auto &[name, value] : fields.extensions )
    {
        X509_EXTENSION *extension = X509V3_EXT_nconf( nullptr, &ctx, name.c_str(), value.c_str() );
        EXPECT_NE( extension, nullptr ) << name << " = " << value;
        EXPECT_EQ( X509_add_ext( x509, extension, -1 ), 1 );
        X509_EXTENSION_free( extension );
    }

    EVP_PKEY     *signer = fields.issuerKey ? fields.issuerKey.get() : fields.subjectKey.get();
    bool          pure   = EVP_PKEY_is_a( signer, "ED25519" );
    EVP_MD_CTX   *sign   = EVP_MD_CTX_new();
    EVP_PKEY_CTX *keyCtx = nullptr;
    EXPECT_EQ( EVP_DigestSignInit( sign, &keyCtx, pure ? nullptr : EVP_get_digestbyname( fields.digest.c_str() ), nullptr, signer ), 1 );
    if( fields.pssSigned )
        EXPECT_EQ( EVP_PKEY_CTX_set_rsa_padding( keyCtx, RSA_PKCS1_PSS_PADDING ), 1 );
    EXPECT_GT( X509_sign_ctx( x509, sign ), 0 );
    EVP_MD_CTX_free( sign );

    // Read again from its DER, without any state from its making.
    return parseDer( der( cert ) );
}

static Chain newChain( KeyKind kind )
{
    Chain                                                  chain;
    const std::vector<std::pair<std::string, std::string>> authority = { { "basicConstraints", "critical,CA:TRUE" },
        { "keyUsage", "critical,keyCertSign" }, { "subjectKeyIdentifier", "hash" } };
    chain.root                                                       = makeCertificate(
        { .subject = "O=Example/CN=Root " + nameOf( kind ), .subjectKey = key( kind, 0 ), .serial = "1", .extensions = authority } );
    chain.intermediate = makeCertificate( { .subject = "O=Example/CN=Intermediate " + nameOf( kind ),
        .subjectKey                                  = key( kind, 1 ),
        .issuer                                      = chain.root,
        .issuerKey                                   = key( kind, 0 ),
        .serial                                      = "2",
        .extensions                                  = { { "basicConstraints", "critical,CA:TRUE,pathlen:0" }, { "keyUsage", "critical,keyCertSign" },
                                             { "subjectKeyIdentifier", "hash" }, { "authorityKeyIdentifier", "keyid" } } } );
    chain.leaf         = makeCertificate( { .subject = "O=Example/CN=Leaf " + nameOf( kind ),
                .subjectKey                          = key( kind, 2 ),
                .issuer                              = chain.intermediate,
                .issuerKey                           = key( kind, 1 ),
                .notBefore                           = "20240101000000Z",
                .notAfter                            = "20251231235959Z",
                .serial                              = "3",
                .extensions                          = {
            { "subjectAltName", "DNS:leaf.example" }, { "keyUsage", "critical,digitalSignature" }, { "extendedKeyUsage", "clientAuth" } } } );
    return chain;
}

Chain support::chainOf( KeyKind kind )
{
    static std::mutex               mutex;
    static std::map<KeyKind, Chain> chains;
    std::lock_guard                 lock( mutex );
    auto                            known = chains.find( kind );
    return known != chains.end() ? known->second : chains[kind] = newChain( kind );
}

std::string support::der( X509 *x509 )
{
    unsigned char *bytes  = nullptr;
    int            length = i2d_X509( x509, &bytes );
    EXPECT_GT( length, 0 );
    std::string out( (const char *)bytes, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( bytes );
    return out;
}

std::string support::pemText( const Cert &cert )
{
    Bio bio = memory();
    EXPECT_EQ( PEM_write_bio_X509( bio.get(), cert.get() ), 1 );
    return content( bio );
}

std::string support::pemText( std::string_view label, std::string_view body )
{
    Bio bio = memory();
    EXPECT_GT( PEM_write_bio( bio.get(), std::string( label ).c_str(), "", (const unsigned char *)body.data(), (long)body.size() ), 0 );
    return content( bio );
}

std::string support::fromBase64( const std::string &text )
{
    std::string out( text.size() / 4 * 3 + 3, 0 );
    int         length  = EVP_DecodeBlock( (unsigned char *)out.data(), (const unsigned char *)text.data(), (int)text.size() );
    size_t      padding = text.size() - text.find_last_not_of( '=' ) - 1;
    EXPECT_GE( length, 0 ) << text;
    out.resize( length < 0 || text.empty() ? 0 : (size_t)length - padding );
    return out;
}

std::string support::pkcs8Text( EVP_PKEY *pkey )
{
    Bio bio = memory();
    return PEM_write_bio_PKCS8PrivateKey( bio.get(), pkey, nullptr, nullptr, 0, nullptr, nullptr ) == 1 ? content( bio ) : std::string();
}

Cert support::parseDer( std::string_view der )
{
    const unsigned char *at   = (const unsigned char *)der.data();
    X509                *x509 = d2i_X509( nullptr, &at, (long)der.size() );
    return x509 ? owned( x509 ) : Cert();
}

pb::Ref<CRY_PEM> support::pem( std::string_view label, std::string_view body )
{
    pb::Ref<CRY_PEM> made = pb::adopt( cryPemCreate() );
    cryPemSetLabel( made.handle(), str( label ).get() );
    cryPemSetData( made.handle(), buf( body ).get() );
    return made;
}

pb::Ref<CRY_X509_CERTIFICATE> support::certificate( const Cert &cert )
{
    pb::Ref<CRY_X509_CERTIFICATE> made = pb::adopt( cry___X509CertificateTryCreateFromOpensslX509UpRef( cert.get() ) );
    EXPECT_TRUE( made );
    return made;
}

pb::Ref<CRY_X509_CERTIFICATES> support::certificates( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &list )
{
    pb::Ref<CRY_X509_CERTIFICATES> made = pb::adopt( cryX509CertificatesCreate() );
    for( const pb::Ref<CRY_X509_CERTIFICATE> &cert : list )
        cryX509CertificatesAppendCertificate( made.handle(), cert.get() );
    return made;
}

pb::Ref<PB_TIME> support::time( std::string_view text )
{
    pb::Ref<PB_TIME> tm = pb::adopt( pbTimeTryCreateFromString( str( text ).get() ) );
    EXPECT_TRUE( tm ) << text;
    return tm;
}

std::string support::der( CRY_X509_CERTIFICATE *cert )
{
    pb::Ref<CRY_PEM> canonical = pb::adopt( cryX509CertificatePem( cert ) );
    return bytes( pb::adopt( cryPemData( canonical.get() ) ) );
}

std::vector<std::string> support::ders( CRY_X509_CERTIFICATES *certs )
{
    std::vector<std::string> list;
    for( const pb::Ref<CRY_X509_CERTIFICATE> &cert : members( certs ) )
        list.push_back( der( cert.get() ) );
    return list;
}

std::vector<pb::Ref<CRY_X509_CERTIFICATE>> support::members( CRY_X509_CERTIFICATES *certs )
{
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> list;
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( certs ); index++ )
        list.push_back( pb::adopt( cryX509CertificatesCertificateAt( certs, index ) ) );
    return list;
}

const unsigned long support::raisedError = ERR_PACK( ERR_LIB_USER, 0, 77 );

void support::raiseError() { ERR_raise( ERR_LIB_USER, 77 ); }

std::vector<unsigned long> support::takeErrors()
{
    std::vector<unsigned long> errors;
    while( unsigned long error = ERR_get_error() )
        errors.push_back( error );
    return errors;
}

static void countFree( void *, void *counter, CRYPTO_EX_DATA *, int, long, void * )
{
    if( counter )
        ++*(int *)counter;
}

// A copy of an object is not watched.
static int notCopied( CRYPTO_EX_DATA *, const CRYPTO_EX_DATA *, void **counter, int, long, void * )
{
    *counter = nullptr;
    return 1;
}

FreeWatch::FreeWatch( X509 *x509 )
{
    static const int index = X509_get_ex_new_index( 0, nullptr, nullptr, notCopied, countFree );
    EXPECT_EQ( X509_set_ex_data( x509, index, count.get() ), 1 );
}

FreeWatch::FreeWatch( EVP_PKEY *pkey )
{
    static const int index = EVP_PKEY_get_ex_new_index( 0, nullptr, nullptr, notCopied, countFree );
    EXPECT_EQ( EVP_PKEY_set_ex_data( pkey, index, count.get() ), 1 );
}

X509_CRL *support::watchableCrl( const std::function<X509_CRL *()> &make )
{
    static X509_CRL_METHOD *const counting = X509_CRL_METHOD_new(
        nullptr,
        []( X509_CRL *crl ) {
            if( int *counter = (int *)X509_CRL_get_meth_data( crl ) )
                ++*counter;
            return 1;
        },
        nullptr, nullptr );
    X509_CRL_set_default_method( counting );
    X509_CRL *crl = make();
    X509_CRL_set_default_method( nullptr );
    return crl;
}

FreeWatch::FreeWatch( X509_CRL *crl ) { X509_CRL_set_meth_data( crl, count.get() ); }
