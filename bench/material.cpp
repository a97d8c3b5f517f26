#include "material.hpp"

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

static void makeChain( std::array<bench::Certificate, 3> &chain, EVP_PKEY *( *makeKey )() )
{
    static const char *const names[]    = { "leaf", "intermediate", "root" };
    EVP_PKEY                *issuerKey  = nullptr;
    const char              *issuerName = nullptr;
    for( int place = 2; place >= 0; place-- )
    {
        EVP_PKEY *key  = makeKey();
        X509     *x509 = X509_new();
        X509_set_version( x509, 2 );
        ASN1_INTEGER_set( X509_get_serialNumber( x509 ), place + 1 );
        X509_gmtime_adj( X509_getm_notBefore( x509 ), -86400 );
        X509_gmtime_adj( X509_getm_notAfter( x509 ), 86400L * 3650 );
        X509_NAME_add_entry_by_txt( X509_get_subject_name( x509 ), "CN", MBSTRING_ASC, (const unsigned char *)names[place], -1, -1, 0 );
        X509_NAME_add_entry_by_txt(
            X509_get_issuer_name( x509 ), "CN", MBSTRING_ASC, (const unsigned char *)( issuerName ? issuerName : names[place] ), -1, -1, 0 );
        X509_set_pubkey( x509, key );
        if( place )
        {
            addExtension( x509, NID_basic_constraints, "critical,CA:TRUE" );
            addExtension( x509, NID_key_usage, "critical,keyCertSign,cRLSign" );
        }
        else
            addExtension( x509, NID_subject_alt_name, "DNS:leaf.example" );
        addExtension( x509, NID_subject_key_identifier, "hash" );
        X509_sign( x509, issuerKey ? issuerKey : key, EVP_sha256() );

        bench::Certificate &out = chain[(size_t)place];
        BIO                *bio = BIO_new( BIO_s_mem() );
        PEM_write_bio_X509( bio, x509 );
        out.pem = textOf( bio );
        bio     = BIO_new( BIO_s_mem() );
        i2d_X509_bio( bio, x509 );
        out.der = textOf( bio );
        bio     = BIO_new( BIO_s_mem() );
        PEM_write_bio_PKCS8PrivateKey( bio, key, nullptr, nullptr, 0, nullptr, nullptr );
        out.keyPem = textOf( bio );
        X509_free( x509 );
        EVP_PKEY_free( issuerKey );
        issuerKey  = key;
        issuerName = names[place];
    }
    EVP_PKEY_free( issuerKey );
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
        std::array<Certificate, 3> chain;
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
