#include "material.hpp"
#include "pairs.hpp"

#include <cry/cry_generate_certificate.h>
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_pkcs12.h>
#include <cry/internal/cry_pkey_private.h>
#include <in/in.h>

#include <ctime>
#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509v3.h>

namespace
{

// One key and three certificates, as PKCS12_create makes the file by default.
std::string pkcs12Of( const std::array<bench::Certificate, 3> &chain )
{
    EVP_PKEY *key            = bench::plainPrivateKey( chain[0].keyPem );
    X509     *leaf           = bench::plainCertificate( chain[0].der );
    STACK_OF( X509 ) *others = sk_X509_new_null();
    for( size_t index = 1; index < chain.size(); index++ )
        sk_X509_push( others, bench::plainCertificate( chain[index].der ) );
    PKCS12        *pkcs   = PKCS12_create( "password", nullptr, key, leaf, others, 0, 0, 0, 0, 0 );
    unsigned char *bytes  = nullptr;
    int            length = i2d_PKCS12( pkcs, &bytes );
    std::string    file( (const char *)bytes, (size_t)length );
    OPENSSL_free( bytes );
    PKCS12_free( pkcs );
    sk_X509_pop_free( others, X509_free );
    X509_free( leaf );
    EVP_PKEY_free( key );
    return file;
}

void registerPkcs12( const std::string &kind, const std::array<bench::Certificate, 3> &chain )
{
    auto file     = std::make_shared<std::string>( pkcs12Of( chain ) );
    auto held     = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( *file ) );
    auto password = std::make_shared<pb::Ref<PB_STRING>>( pb::adopt( pbStringCreateFromCstr( "password", -1 ) ) );
    bench::pair(
        "PKCS#12 read, one key, three certificates, " + kind,
        [held, password] { cryPkcs12Release( cryPkcs12TryCreateFromBuffer( held->get(), password->get() ) ); },
        [file] {
            BIO      *bio            = BIO_new_mem_buf( file->data(), (int)file->size() );
            PKCS12   *pkcs           = d2i_PKCS12_bio( bio, nullptr );
            EVP_PKEY *key            = nullptr;
            X509     *leaf           = nullptr;
            STACK_OF( X509 ) *others = nullptr;
            if( !PKCS12_parse( pkcs, "password", &key, &leaf, &others ) )
                std::abort();
            sk_X509_pop_free( others, X509_free );
            X509_free( leaf );
            EVP_PKEY_free( key );
            PKCS12_free( pkcs );
            BIO_free( bio );
        } );
}

// The same calls that the module makes.
void plainSelfSigned( EVP_PKEY *pkey )
{
    X509 *x509 = X509_new();
    X509_set_version( x509, X509_VERSION_3 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509 ), 1 );
    time_t now = time( nullptr );
    ASN1_TIME_set( X509_getm_notBefore( x509 ), now - 86400 );
    ASN1_TIME_set( X509_getm_notAfter( x509 ), now + 28 * 86400 );
    X509_set_pubkey( x509, pkey );
    X509_NAME *subject = X509_get_subject_name( x509 );
    X509_NAME_add_entry_by_txt( subject, "CN", MBSTRING_UTF8, (const unsigned char *)"host.example.org", -1, -1, 0 );
    X509_set_issuer_name( x509, subject );
    X509V3_CTX context;
    X509V3_set_ctx( &context, x509, x509, nullptr, nullptr, 0 );
    X509_EXTENSION *extension = X509V3_EXT_conf_nid( nullptr, &context, NID_subject_alt_name, "DNS:host.example.org" );
    X509_add_ext( x509, extension, -1 );
    X509_EXTENSION_free( extension );
    if( X509_sign( x509, pkey, EVP_sha256() ) <= 0 )
        std::abort();
    X509_free( x509 );
}

}

void bench::registerIdentity()
{
    auto domain = std::make_shared<pb::Ref<PB_STRING>>( pb::adopt( pbStringCreateFromCstr( "host.example.org", -1 ) ) );
    // Nothing in libcrypto does this; the other side is a plain copy of the name.
    pair(
        "domain name checked, ASCII", [domain] { benchmark::DoNotOptimize( inDnsIdnaDomainNameOk( domain->get() ) ); },
        [] {
            std::string copy( "host.example.org" );
            benchmark::DoNotOptimize( copy );
        } );
    auto      key   = std::make_shared<pb::Ref<CRY_PKEY_PRIVATE>>( pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) ) );
    EVP_PKEY *plain = EVP_EC_gen( "P-256" );
    pair(
        "self-signed certificate, P-256",
        [key, domain] { cryX509CertificateRelease( cryTryGenerateCertificate( key->get(), domain->get(), nullptr, 28 ) ); },
        [plain] { plainSelfSigned( plain ); } );
    registerPkcs12( "RSA", material().rsa );
    registerPkcs12( "P-256", material().ec );
}
