#include "material.hpp"

#include <cstdlib>
#include <ctime>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>

static std::string textOf( BIO *bio )
{
    char       *data;
    long        length = BIO_get_mem_data( bio, &data );
    std::string text( data, (size_t)length );
    BIO_free( bio );
    return text;
}

static void addExtension( X509 *x509, int nid, const char *value )
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb( &context );
    X509V3_set_ctx( &context, nullptr, x509, nullptr, nullptr, 0 );
    X509_EXTENSION *extension = X509V3_EXT_conf_nid( nullptr, &context, nid, value );
    X509_add_ext( x509, extension, -1 );
    X509_EXTENSION_free( extension );
}

namespace
{

struct Issuer
{
    const char *name;
    EVP_PKEY   *key;
};

constexpr const char *usualNames[] = { "leaf", "intermediate", "root" };

}

// The place is that in the chain; the caller frees the certificate.
static X509 *makeCertificate( int place, const std::string &name, EVP_PKEY *key, Issuer issuer, long serial )
{
    auto addName = []( X509_NAME *to, const char *text ) {
        X509_NAME_add_entry_by_txt( to, "CN", MBSTRING_ASC, (const unsigned char *)text, -1, -1, 0 );
    };
    X509 *x509 = X509_new();
    X509_set_version( x509, 2 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509 ), serial );
    X509_gmtime_adj( X509_getm_notBefore( x509 ), -86400 );
    X509_gmtime_adj( X509_getm_notAfter( x509 ), 86400L * 3650 );
    addName( X509_get_subject_name( x509 ), name.c_str() );
    addName( X509_get_issuer_name( x509 ), issuer.name );
    X509_set_pubkey( x509, key );
    if( place )
    {
        addExtension( x509, NID_basic_constraints, "critical,CA:TRUE" );
        addExtension( x509, NID_key_usage, "critical,keyCertSign,cRLSign" );
    }
    else
        addExtension( x509, NID_subject_alt_name, "DNS:leaf.example" );
    addExtension( x509, NID_subject_key_identifier, "hash" );
    X509_sign( x509, issuer.key, EVP_sha256() );
    return x509;
}

static std::string derOf( X509 *x509 )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    i2d_X509_bio( bio, x509 );
    return textOf( bio );
}

static void makeChain( bench::Chain &chain, EVP_PKEY *( *makeKey )() )
{
    EVP_PKEY   *issuerKey  = nullptr;
    const char *issuerName = nullptr;
    for( int place = 2; place >= 0; place-- )
    {
        const char *name = usualNames[place];
        EVP_PKEY   *key  = makeKey();
        X509       *x509 = makeCertificate( place, name, key, { issuerName ? issuerName : name, issuerKey ? issuerKey : key }, place + 1 );

        bench::Certificate &out = chain[(size_t)place];
        BIO                *bio = BIO_new( BIO_s_mem() );
        PEM_write_bio_X509( bio, x509 );
        out.pem = textOf( bio );
        out.der = derOf( x509 );
        bio     = BIO_new( BIO_s_mem() );
        PEM_write_bio_PKCS8PrivateKey( bio, key, nullptr, nullptr, 0, nullptr, nullptr );
        out.keyPem = textOf( bio );
        X509_free( x509 );
        EVP_PKEY_free( issuerKey );
        issuerKey  = key;
        issuerName = name;
    }
    EVP_PKEY_free( issuerKey );
}

// A key of the same kind. RSA keys take long to make, so that some serve many certificates.
static EVP_PKEY *newKeyLike( const EVP_PKEY *other )
{
    static std::vector<EVP_PKEY *> keys;
    static size_t                  next = 0;
    if( !EVP_PKEY_is_a( other, "RSA" ) )
        return EVP_EC_gen( "P-256" );
    if( keys.size() < 16 )
        keys.push_back( EVP_RSA_gen( 2048 ) );
    EVP_PKEY *key = keys[next++ % keys.size()];
    EVP_PKEY_up_ref( key );
    return key;
}

std::vector<bench::Chain> bench::newChains( const Chain &chain, int count, bool newIntermediates )
{
    static long        nextNumber      = 1000;
    EVP_PKEY          *rootKey         = plainPrivateKey( chain[2].keyPem );
    EVP_PKEY          *intermediateKey = plainPrivateKey( chain[1].keyPem );
    std::string        intermediate    = usualNames[1];
    std::vector<Chain> chains;
    for( ; count > 0; count-- )
    {
        Chain made;
        made[1].der = chain[1].der;
        made[2].der = chain[2].der;
        long number = nextNumber++;
        auto add    = [&]( int place, const std::string &name, EVP_PKEY *key, Issuer issuer ) {
            X509 *x509              = makeCertificate( place, name, key, issuer, number );
            made[(size_t)place].der = derOf( x509 );
            X509_free( x509 );
        };
        if( newIntermediates )
        {
            EVP_PKEY_free( intermediateKey );
            intermediateKey = newKeyLike( rootKey );
            intermediate    = "intermediate " + std::to_string( number );
            add( 1, intermediate, intermediateKey, { usualNames[2], rootKey } );
        }
        EVP_PKEY *key = newKeyLike( rootKey );
        add( 0, "leaf " + std::to_string( number ), key, { intermediate.c_str(), intermediateKey } );
        EVP_PKEY_free( key );
        chains.push_back( made );
    }
    EVP_PKEY_free( intermediateKey );
    EVP_PKEY_free( rootKey );
    return chains;
}

const bench::Material &bench::material()
{
    static const Material made = [] {
        Material result;
        makeChain( result.rsa, [] { return EVP_RSA_gen( 2048 ); } );
        makeChain( result.ec, [] { return EVP_EC_gen( "P-256" ); } );
        return result;
    }();
    return made;
}

std::vector<bench::Certificate> bench::differentLeaves( int count )
{
    std::vector<Certificate> leaves;
    while( (int)leaves.size() < count )
    {
        Chain chain;
        makeChain( chain, [] { return EVP_RSA_gen( 2048 ); } );
        leaves.insert( leaves.end(), chain.begin(), chain.end() );
    }
    return leaves;
}

EVP_PKEY *bench::plainPrivateKey( const std::string &pem )
{
    BIO      *bio  = BIO_new_mem_buf( pem.data(), (int)pem.size() );
    EVP_PKEY *pkey = PEM_read_bio_PrivateKey( bio, nullptr, nullptr, nullptr );
    BIO_free( bio );
    return pkey;
}

X509 *bench::plainCertificate( const std::string &der )
{
    const unsigned char *at = (const unsigned char *)der.data();
    return d2i_X509( nullptr, &at, (long)der.size() );
}

void bench::plainVerify( X509_STORE *store, X509 *leaf, X509 *intermediate )
{
    STACK_OF( X509 ) *untrusted = sk_X509_new_null();
    sk_X509_push( untrusted, intermediate );
    X509_STORE_CTX *context = X509_STORE_CTX_new();
    X509_STORE_CTX_init( context, store, leaf, untrusted );
    X509_VERIFY_PARAM *parameters = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( parameters, 255 );
    X509_VERIFY_PARAM_set_flags( parameters, X509_V_FLAG_PARTIAL_CHAIN );
    X509_VERIFY_PARAM_set_time( parameters, time( nullptr ) );
    X509_STORE_CTX_set0_param( context, parameters );
    if( X509_verify_cert( context ) != 1 )
        std::abort();
    X509_STORE_CTX_free( context );
    sk_X509_free( untrusted );
}
