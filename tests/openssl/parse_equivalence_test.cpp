// Compares the fast paths of the key-decoding context with the ordinary paths and with plain
// OpenSSL. Every input must give the same result.
#include <cry/cry_pkey_private.h>
#include <cry/cry_x509_certificate.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_certificate.h>
#include <openssl_module/internal/openssl_module.h>
#include <rfc/rfc_base.h>

#include "common/cry_ossl.hpp"
#include "openssl_der.hpp"
#include "support/der_tree.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/key_decoding.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>
#include <map>
#include <openssl/dsa.h>
#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/provider.h>
#include <openssl/x509v3.h>
#include <set>

using namespace support;
using cry::ossl::Ptr;
using nlohmann::json;

namespace
{

// The codes in the error queue, which is empty afterwards.
std::string takeErrors()
{
    std::string out;
    while( unsigned long code = ERR_get_error() )
        out += std::to_string( ERR_GET_LIB( code ) ) + ":" + std::to_string( ERR_GET_REASON( code ) ) + " ";
    return out;
}

std::string contentOf( BIO *bio )
{
    char *data   = nullptr;
    long  length = BIO_get_mem_data( bio, &data );
    return { data, (size_t)length };
}

std::string withoutCarriageReturns( std::string text )
{
    std::erase( text, '\r' );
    return text;
}

std::string encodedOf( CRY_PEM *pem ) { return withoutCarriageReturns( bytes( pb::adopt( cryPemEncode( pem ) ) ) ); }

template<class T>
std::string derOf( int ( *i2d )( T *, unsigned char ** ), std::remove_const_t<T> *object )
{
    unsigned char *der    = nullptr;
    int            length = i2d( object, &der );
    std::string    out( (char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    return out;
}

pb::Ref<CRY_PEM> pemOf( std::string_view label, std::string_view data )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemCreate() );
    cryPemSetLabel( pem.handle(), str( label ).get() );
    cryPemSetData( pem.handle(), buf( data ).get() );
    return pem;
}

Ptr<BIO> textOf( std::string_view label, std::string_view data )
{
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    BIO_set_mem_eof_return( bio.get(), 0 );
    PEM_write_bio( bio.get(), std::string( label ).c_str(), "", (const unsigned char *)data.data(), (long)data.size() );
    return bio;
}

int noPassPhrase( char *, int, int, void * ) { return 0; }

bool isKeyDecodingProvider( const EVP_PKEY *pkey )
{
    const OSSL_PROVIDER *provider = pkey ? EVP_PKEY_get0_provider( pkey ) : nullptr;
    return provider && std::string( OSSL_PROVIDER_get0_name( provider ) ) == "cry-key-decoding";
}

std::string describe( EVP_PKEY *pkey )
{
    if( !pkey )
        return "no key\n";
    const char *type = EVP_PKEY_get0_type_name( pkey );
    std::string text = std::string( "type " ) + ( type ? type : "(null)" );
    for( int number : { EVP_PKEY_get_id( pkey ), EVP_PKEY_get_base_id( pkey ), EVP_PKEY_get_bits( pkey ), EVP_PKEY_get_security_bits( pkey ),
             EVP_PKEY_get_size( pkey ) } )
        text += " " + std::to_string( number );
    char   group[80] = "";
    size_t length    = 0;
    EVP_PKEY_get_group_name( pkey, group, sizeof group, &length );
    return text + " " + group + "\n";
}

// The description of a certificate. `text` is its canonical PEM.
std::string describe( X509 *x509, const std::string &text )
{
    if( !x509 )
        return "refused\n";
    std::string out = text + "der " + hex( derOf<const X509>( i2d_X509, x509 ) ) + "\n" + describe( X509_get0_pubkey( x509 ) );
    int         md, pkey, bits;
    uint32_t    flags;
    int         known = X509_get_signature_info( x509, &md, &pkey, &bits, &flags );
    for( PB_INT number : { (PB_INT)known, (PB_INT)md, (PB_INT)pkey, (PB_INT)bits, (PB_INT)flags, (PB_INT)X509_get_extension_flags( x509 ),
             (PB_INT)X509_get_key_usage( x509 ), (PB_INT)X509_check_ca( x509 ) } )
        out += std::to_string( number ) + " ";
    return out + "\n";
}

std::string bareText( X509 *x509 )
{
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    return x509 && PEM_write_bio_X509( bio.get(), x509 ) == 1 ? contentOf( bio.get() ) : "";
}

std::string describe( CRY_X509_CERTIFICATE *cert )
{
    return cert ? describe( cry___X509CertificatePeekOpensslX509( cert ), encodedOf( pb::adopt( cryX509CertificatePem( cert ) ).get() ) )
                : "refused\n";
}

X509 *x509Of( CRY_X509_CERTIFICATE *cert ) { return cert ? cry___X509CertificatePeekOpensslX509( cert ) : nullptr; }

EVP_PKEY *publicOf( X509 *x509 ) { return x509 ? X509_get0_pubkey( x509 ) : nullptr; }

int eq( EVP_PKEY *keyA, EVP_PKEY *keyB ) { return keyA && keyB ? EVP_PKEY_eq( keyA, keyB ) : keyA == keyB ? 100 : -100; }

// The first lines in which two descriptions differ; empty if they are equal.
std::string difference( const std::string &textA, const std::string &textB )
{
    std::istringstream a( textA ), b( textB );
    std::string        lineA, lineB;
    while( textA != textB )
    {
        bool hasA = !!std::getline( a, lineA ), hasB = !!std::getline( b, lineB );
        if( !hasA && !hasB )
            break;
        if( lineA != lineB || hasA != hasB )
            return "\n  " + lineA.substr( 0, 300 ) + "\n  " + lineB.substr( 0, 300 ) + "\n";
    }
    return "";
}

// The number of compared inputs for each result. A test checks them, so that it cannot pass without
// input.
struct Tally
{
    PB_INT all       = 0;
    PB_INT accepted  = 0;
    PB_INT fast      = 0; // parsed in the key-decoding context
    PB_INT canonical = 0; // known to be accepted and written in the same bytes, without OpenSSL
};

#define SAME( textA, textB, what ) EXPECT_EQ( difference( textA, textB ), "" ) << what << " of " << id << " " << hex( data.substr( 0, 2000 ) )

void checkCertificateDer( const std::string &id, const std::string &data, Tally &tally )
{
    pb::Ref<PB_BUFFER> der = buf( data );
    const PB_BYTE     *in  = pbBufferBytes( der.get() );
    ERR_clear_error();

    const unsigned char *at = in;
    Ptr<X509>            bare( d2i_X509( nullptr, &at, (long)data.size() ) );
    std::string          bareErrors = takeErrors();
    for( bool used : { true, false } )
    {
        KeyDecoding fast( used );
        Ptr<X509>   parsed( openssl___TryParseCertificate( in, (PB_INT)data.size() ) );
        EXPECT_EQ( takeErrors(), bareErrors ) << used << " " << id;
        ASSERT_EQ( !!parsed, !!bare ) << used << " " << id << " " << hex( data.substr( 0, 2000 ) );
    }

    std::string                   errors[2];
    pb::Ref<CRY_X509_CERTIFICATE> certs[2];
    for( bool used : { true, false } )
    {
        KeyDecoding fast( used );
        certs[used]  = pb::adopt( cryX509CertificateTryCreateFromDer( der.get() ) );
        errors[used] = takeErrors();
    }
    EXPECT_EQ( errors[true], errors[false] ) << id;
    std::string wanted = describe( bare.get(), bareText( bare.get() ) );
    SAME( describe( certs[true].get() ), wanted, "fast and bare DER" );
    SAME( describe( certs[false].get() ), wanted, "ordinary and bare DER" );
    ERR_clear_error();
    EVP_PKEY *keys[] = { publicOf( x509Of( certs[false].get() ) ), publicOf( x509Of( certs[true].get() ) ) };
    EXPECT_EQ( eq( keys[true], publicOf( bare.get() ) ), eq( keys[false], publicOf( bare.get() ) ) ) << id;
    EXPECT_NE( eq( keys[true], publicOf( bare.get() ) ), 0 ) << id;
    EXPECT_FALSE( isKeyDecodingProvider( keys[false] ) );
    if( bare )
    {
        EXPECT_EQ( X509_cmp( x509Of( certs[true].get() ), bare.get() ), 0 ) << id;
        EXPECT_TRUE( cryX509CertificateEquals( certs[true].get(), certs[false].get() ) ) << id;
    }
    ERR_clear_error();
    bool canonical = openssl___IsCanonicalCertificate( in, (PB_INT)data.size() );
    EXPECT_EQ( takeErrors(), "" ) << id;
    if( canonical )
    {
        ASSERT_TRUE( bare ) << id << " " << hex( data.substr( 0, 2000 ) );
        EXPECT_EQ( at, in + data.size() ) << id;
        SAME( bareText( bare.get() ), contentOf( textOf( PEM_STRING_X509, data ).get() ), "canonical and bare DER" );
    }
    tally.all++;
    tally.accepted += !!bare;
    tally.fast += isKeyDecodingProvider( keys[true] );
    tally.canonical += canonical;
}

void checkCertificatePem( const std::string &id, const std::string &label, const std::string &data, Tally &tally )
{
    pb::Ref<CRY_PEM> pem = pemOf( label, data );
    Ptr<BIO>         bio = textOf( label, data );
    ERR_clear_error();
    Ptr<X509>                     bare( PEM_read_bio_X509( bio.get(), nullptr, noPassPhrase, nullptr ) );
    std::string                   bareErrors = takeErrors();
    pb::Ref<CRY_X509_CERTIFICATE> certs[2];
    for( bool used : { true, false } )
    {
        KeyDecoding fast( used );
        certs[used] = pb::adopt( cryX509CertificateTryCreateFromPem( pem.get() ) );
        EXPECT_EQ( takeErrors(), bareErrors ) << used << " " << label << " " << id;
    }
    std::string wanted = describe( bare.get(), bareText( bare.get() ) );
    SAME( describe( certs[true].get() ), wanted, "fast and bare " + label );
    SAME( describe( certs[false].get() ), wanted, "ordinary and bare " + label );
    ERR_clear_error();
    EVP_PKEY *key = publicOf( x509Of( certs[true].get() ) );
    EXPECT_EQ( eq( key, publicOf( bare.get() ) ), eq( publicOf( x509Of( certs[false].get() ) ), publicOf( bare.get() ) ) ) << id;
    ERR_clear_error();
    tally.all++;
    tally.accepted += !!bare;
    tally.fast += isKeyDecodingProvider( key );
}

std::string describe( CRY_PKEY_PRIVATE *priv )
{
    return priv ? encodedOf( pb::adopt( cryPkeyPrivatePem( priv ) ).get() ) + describe( cry___PkeyPrivatePeekOpensslEvpPkey( priv ) ) : "refused\n";
}

EVP_PKEY *pkeyOf( CRY_PKEY_PRIVATE *priv ) { return priv ? cry___PkeyPrivatePeekOpensslEvpPkey( priv ) : nullptr; }

void checkPrivate( const std::string &id, const std::string &label, const std::string &data, Tally &tally )
{
    pb::Ref<CRY_PEM> pem = pemOf( label, data );
    Ptr<BIO>         bio = textOf( label, data );
    ERR_clear_error();
    Ptr<EVP_PKEY> bare( PEM_read_bio_PrivateKey( bio.get(), nullptr, noPassPhrase, nullptr ) );
    Ptr<BIO>      out( BIO_new( BIO_s_mem() ) );
    bool          good       = bare && PEM_write_bio_PKCS8PrivateKey( out.get(), bare.get(), nullptr, nullptr, 0, nullptr, nullptr ) == 1;
    std::string   bareErrors = takeErrors();
    std::string   wanted     = good ? contentOf( out.get() ) + describe( bare.get() ) : "refused\n";
    ERR_clear_error();

    pb::Ref<CRY_PKEY_PRIVATE> keys[2];
    for( bool used : { true, false } )
    {
        KeyDecoding fast( used );
        keys[used] = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) );
        EXPECT_EQ( takeErrors(), bareErrors ) << used << " " << label << " " << id << " " << hex( data.substr( 0, 2000 ) );
    }
    SAME( describe( keys[true].get() ), wanted, "fast and bare " + label );
    SAME( describe( keys[false].get() ), wanted, "ordinary and bare " + label );
    ERR_clear_error();
    if( keys[true] && keys[false] && bare )
    {
        int same = EVP_PKEY_eq( pkeyOf( keys[true].get() ), bare.get() );
        EXPECT_EQ( same, EVP_PKEY_eq( pkeyOf( keys[false].get() ), bare.get() ) ) << id;
        EXPECT_NE( same, 0 ) << id;
        EXPECT_EQ( same, EVP_PKEY_eq( bare.get(), pkeyOf( keys[true].get() ) ) ) << id;
        EXPECT_TRUE( cryPkeyPrivateEquals( keys[true].get(), keys[false].get() ) ) << id;
        EXPECT_FALSE( isKeyDecodingProvider( pkeyOf( keys[false].get() ) ) ) << id;
    }
    ERR_clear_error();
    bool canonical = label == PEM_STRING_PKCS8INF && openssl___IsCanonicalPrivateKey( (const PB_BYTE *)data.data(), (PB_INT)data.size() );
    EXPECT_EQ( takeErrors(), "" ) << id;
    if( canonical )
    {
        EXPECT_TRUE( isKeyDecodingProvider( pkeyOf( keys[true].get() ) ) ) << id;
        SAME( wanted, contentOf( textOf( label, data ).get() ) + describe( bare.get() ), "canonical and bare " + label );
    }
    tally.all++;
    tally.accepted += !!keys[true];
    tally.fast += isKeyDecodingProvider( pkeyOf( keys[true].get() ) );
    tally.canonical += canonical;
}

void checkPublic( const std::string &id, const std::string &data, Tally &tally )
{
    ERR_clear_error();
    Ptr<EVP_PKEY> quick( openssl___TryParsePublicKeyFast( (const PB_BYTE *)data.data(), (PB_INT)data.size() ) );
    EXPECT_EQ( takeErrors(), "" ) << id;
    const unsigned char *at = (const unsigned char *)data.data();
    Ptr<EVP_PKEY>        bare( d2i_PUBKEY( nullptr, &at, (long)data.size() ) );
    ERR_clear_error();
    tally.all++;
    tally.accepted += !!bare;
    tally.fast += isKeyDecodingProvider( quick.get() );
    // Null means that OpenSSL decides in the default context.
    if( !quick )
    {
        EXPECT_FALSE( bare && openssl::isFastPathPublicKey( { (const PB_BYTE *)data.data(), data.size() } ) ) << id << " " << hex( data );
        return;
    }
    ASSERT_TRUE( bare ) << id << " " << hex( data );
    SAME( describe( quick.get() ), describe( bare.get() ), "public" );
    SAME( hex( derOf<const EVP_PKEY>( i2d_PUBKEY, quick.get() ) ), hex( derOf<const EVP_PKEY>( i2d_PUBKEY, bare.get() ) ), "public DER" );
    EXPECT_EQ( EVP_PKEY_eq( quick.get(), bare.get() ), 1 ) << id << " " << hex( data );
    EXPECT_EQ( EVP_PKEY_eq( bare.get(), quick.get() ), 1 ) << id << " " << hex( data );
    ERR_clear_error();
}

// The bytes of the SubjectPublicKeyInfo in a certificate.
std::string spkiOf( const std::string &certificate )
{
    const unsigned char *at = (const unsigned char *)certificate.data();
    Ptr<X509>            x509( d2i_X509( nullptr, &at, (long)certificate.size() ) );
    ERR_clear_error();
    return x509 ? derOf<const X509_PUBKEY>( i2d_X509_PUBKEY, X509_get_X509_PUBKEY( x509.get() ) ) : "";
}

struct Block
{
    std::string label;
    std::string data;
    auto        operator<=>( const Block        &) const = default;
};

// All certificates and keys of a text or DER file, with the name of the file in which each was
// found first.
struct Corpus
{
    std::map<std::string, std::string> certificates; // DER to name
    std::map<Block, std::string>       keys;
    std::map<std::string, std::string> publics;

    void addText( const std::string &name, const std::string &text )
    {
        Ptr<BIO>       bio( BIO_new_mem_buf( text.data(), (int)text.size() ) );
        char          *label, *header;
        unsigned char *data;
        long           length;
        while( PEM_read_bio( bio.get(), &label, &header, &data, &length ) )
        {
            add( name, { label, std::string( (char *)data, (size_t)length ) } );
            OPENSSL_free( label );
            OPENSSL_free( header );
            OPENSSL_free( data );
        }
        ERR_clear_error();
    }

    void add( const std::string &name, const Block &block )
    {
        if( block.label.ends_with( "CERTIFICATE" ) )
            certificates.emplace( block.data, name );
        else if( block.label == PEM_STRING_PUBLIC )
            publics.emplace( block.data, name );
        if( block.label.ends_with( "PRIVATE KEY" ) || block.label.ends_with( "PARAMETERS" ) || block.label.ends_with( "PUBLIC KEY" ) )
            keys.emplace( block, name );
    }

    void addDer( const std::string &name, const std::string &der )
    {
        certificates.emplace( der, name );
        publics.emplace( der, name );
        keys.emplace( Block{ PEM_STRING_PKCS8INF, der }, name );
    }

    void check( Tally &certificate, Tally &key, Tally &pub ) const
    {
        for( const auto &[der, name] : certificates )
        {
            checkCertificateDer( name, der, certificate );
            Tally ignored;
            checkCertificatePem( name, PEM_STRING_X509, der, ignored );
            if( std::string spki = spkiOf( der ); !spki.empty() )
                checkPublic( name, spki, pub );
        }
        for( const auto &[block, name] : keys )
            checkPrivate( name, block.label, block.data, key );
        for( const auto &[der, name] : publics )
            checkPublic( name, der, pub );
    }
};

// A key and the structures that are made from it.
struct Material
{
    std::string                                      name;
    Ptr<EVP_PKEY>                                    key;
    std::vector<std::pair<std::string, std::string>> structures; // name and DER

    const std::string &operator[]( std::string_view structure ) const
    {
        for( const auto &[each, der] : structures )
        {
            if( each == structure )
                return der;
        }
        ADD_FAILURE() << structure << " of " << name;
        return structures[0].second;
    }
};

std::string encryptedOf( EVP_PKEY *key, const char *passPhrase )
{
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    EXPECT_EQ( i2d_PKCS8PrivateKey_bio( bio.get(), key, EVP_aes_128_cbc(), passPhrase, (int)strlen( passPhrase ), nullptr, nullptr ), 1 );
    return contentOf( bio.get() );
}

void addStructures( Material &material )
{
    EVP_PKEY *key = material.key.get();
    auto      add = [&]( const char *name, std::string der ) {
        ERR_clear_error();
        if( !der.empty() )
            material.structures.emplace_back( name, std::move( der ) );
    };
    PKCS8_PRIV_KEY_INFO *info = EVP_PKEY2PKCS8( key );
    ASSERT_NE( info, nullptr ) << material.name;
    add( "pkcs8", derOf<const PKCS8_PRIV_KEY_INFO>( i2d_PKCS8_PRIV_KEY_INFO, info ) );
    EXPECT_EQ( PKCS8_pkey_add1_attr_by_NID( info, NID_friendlyName, MBSTRING_ASC, (const unsigned char *)"name", 4 ), 1 );
    add( "pkcs8 with attributes", derOf<const PKCS8_PRIV_KEY_INFO>( i2d_PKCS8_PRIV_KEY_INFO, info ) );
    PKCS8_PRIV_KEY_INFO_free( info );
    add( "encrypted pkcs8", encryptedOf( key, "secret" ) );
    add( "pkcs8 encrypted with nothing", encryptedOf( key, "" ) );
    add( "traditional", derOf<const EVP_PKEY>( i2d_PrivateKey, key ) );
    add( "spki", derOf<const EVP_PKEY>( i2d_PUBKEY, key ) );
    add( "public", derOf<const EVP_PKEY>( i2d_PublicKey, key ) );
    add( "parameters", derOf<const EVP_PKEY>( i2d_KeyParams, key ) );

    bool          plain = EVP_PKEY_is_a( key, "ED25519" ) || EVP_PKEY_is_a( key, "ED448" );
    bool          signs = EVP_PKEY_can_sign( key ) && !EVP_PKEY_is_a( key, "DH" );
    const EVP_MD *md    = plain ? nullptr : EVP_PKEY_is_a( key, "SM2" ) ? EVP_sm3() : EVP_sha256();
    if( !signs )
        return;
    Ptr<X509> x509( X509_new() );
    X509_set_version( x509.get(), X509_VERSION_3 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509.get() ), 1 );
    X509_NAME_add_entry_by_txt( X509_get_subject_name( x509.get() ), "CN", MBSTRING_ASC, (const unsigned char *)"subject", -1, -1, 0 );
    X509_set_issuer_name( x509.get(), X509_get_subject_name( x509.get() ) );
    ASN1_TIME_set_string( X509_getm_notBefore( x509.get() ), "20200101000000Z" );
    ASN1_TIME_set_string( X509_getm_notAfter( x509.get() ), "21000101000000Z" );
    X509_set_pubkey( x509.get(), key );
    X509_EXTENSION *extension = X509V3_EXT_conf_nid( nullptr, nullptr, NID_basic_constraints, "critical,CA:TRUE" );
    X509_add_ext( x509.get(), extension, -1 );
    X509_EXTENSION_free( extension );
    EXPECT_GT( X509_sign( x509.get(), key, md ), 0 ) << material.name;
    add( "certificate", derOf<const X509>( i2d_X509, x509.get() ) );
    X509_alias_set1( x509.get(), (const unsigned char *)"alias", 5 );
    add( "trusted certificate", derOf<const X509>( i2d_X509_AUX, x509.get() ) );

    X509_REQ *request = X509_REQ_new();
    X509_REQ_set_subject_name( request, X509_get_subject_name( x509.get() ) );
    X509_REQ_set_pubkey( request, key );
    EXPECT_GT( X509_REQ_sign( request, key, md ), 0 ) << material.name;
    add( "request", derOf<const X509_REQ>( i2d_X509_REQ, request ) );
    X509_REQ_free( request );

    X509_CRL *crl = X509_CRL_new();
    X509_CRL_set_issuer_name( crl, X509_get_subject_name( x509.get() ) );
    X509_CRL_set1_lastUpdate( crl, X509_get0_notBefore( x509.get() ) );
    EXPECT_GT( X509_CRL_sign( crl, key, md ), 0 ) << material.name;
    add( "crl", derOf<const X509_CRL>( i2d_X509_CRL, crl ) );
    X509_CRL_free( crl );

    PKCS12 *p12 = PKCS12_create( "secret", "name", key, x509.get(), nullptr, 0, 0, 1, 1, 0 );
    add( "pkcs12", p12 ? derOf<const PKCS12>( i2d_PKCS12, p12 ) : "" );
    PKCS12_free( p12 );
}

EVP_PKEY *generate( const char *type, const std::function<void( EVP_PKEY_CTX * )> &set )
{
    Ptr<EVP_PKEY_CTX> ctx( EVP_PKEY_CTX_new_from_name( nullptr, type, nullptr ) );
    EVP_PKEY         *key = nullptr;
    EXPECT_EQ( EVP_PKEY_keygen_init( ctx.get() ), 1 );
    set( ctx.get() );
    EXPECT_EQ( EVP_PKEY_generate( ctx.get(), &key ), 1 ) << type;
    return key;
}

EVP_PKEY *generateEc( const char *curve, const char *encoding, const char *format )
{
    return generate( "EC", [&]( EVP_PKEY_CTX *ctx ) {
        EXPECT_EQ( EVP_PKEY_CTX_set_group_name( ctx, curve ), 1 );
        OSSL_PARAM params[] = { OSSL_PARAM_construct_utf8_string( "encoding", (char *)encoding, 0 ),
            OSSL_PARAM_construct_utf8_string( "point-format", (char *)format, 0 ), OSSL_PARAM_construct_end() };
        EXPECT_EQ( EVP_PKEY_CTX_set_params( ctx, params ), 1 );
    } );
}

EVP_PKEY *generateDsa()
{
    Ptr<EVP_PKEY_CTX> ctx( EVP_PKEY_CTX_new_from_name( nullptr, "DSA", nullptr ) );
    EVP_PKEY         *parameters = nullptr, *key = nullptr;
    EXPECT_EQ( EVP_PKEY_paramgen_init( ctx.get() ), 1 );
    EVP_PKEY_CTX_set_dsa_paramgen_bits( ctx.get(), 1024 );
    EXPECT_EQ( EVP_PKEY_paramgen( ctx.get(), &parameters ), 1 );
    Ptr<EVP_PKEY>     owned( parameters );
    Ptr<EVP_PKEY_CTX> keyCtx( EVP_PKEY_CTX_new_from_pkey( nullptr, parameters, nullptr ) );
    EXPECT_EQ( EVP_PKEY_keygen_init( keyCtx.get() ), 1 );
    EXPECT_EQ( EVP_PKEY_generate( keyCtx.get(), &key ), 1 );
    return key;
}

const std::vector<Material> &materials()
{
    static const std::vector<Material> only = [] {
        std::vector<Material> all;
        auto                  add = [&]( const char *name, EVP_PKEY *key ) {
            ASSERT_NE( key, nullptr ) << name;
            all.push_back( { name, Ptr<EVP_PKEY>( key ), {} } );
            addStructures( all.back() );
        };
        auto quick = []( const char *type ) { return EVP_PKEY_Q_keygen( nullptr, nullptr, type ); };
        add( "RSA", EVP_RSA_gen( 1024 ) );
        add( "P-256", EVP_EC_gen( "P-256" ) );
        add( "P-256 explicit", generateEc( "P-256", "explicit", "uncompressed" ) );
        add( "P-256 compressed", generateEc( "P-256", "named_curve", "compressed" ) );
        add( "P-521 hybrid", generateEc( "P-521", "named_curve", "hybrid" ) );
        add( "secp256k1", EVP_EC_gen( "secp256k1" ) );
        add( "brainpoolP320t1", EVP_EC_gen( "brainpoolP320t1" ) );
        add( "sect163k1", EVP_EC_gen( "sect163k1" ) );
        add( "SM2", quick( "SM2" ) );
        add( "EC on the SM2 curve", generateEc( "SM2", "named_curve", "uncompressed" ) );
        add( "RSA-PSS", generate( "RSA-PSS", []( EVP_PKEY_CTX *ctx ) { EVP_PKEY_CTX_set_rsa_keygen_bits( ctx, 1024 ); } ) );
        add( "RSA-PSS restricted", generate( "RSA-PSS", []( EVP_PKEY_CTX *ctx ) {
            EVP_PKEY_CTX_set_rsa_keygen_bits( ctx, 1024 );
            EVP_PKEY_CTX_set_rsa_pss_keygen_md( ctx, EVP_sha256() );
            EVP_PKEY_CTX_set_rsa_pss_keygen_mgf1_md( ctx, EVP_sha256() );
            EVP_PKEY_CTX_set_rsa_pss_keygen_saltlen( ctx, 32 );
        } ) );
        add( "DSA", generateDsa() );
        add( "DH", generate( "DH", []( EVP_PKEY_CTX *ctx ) { EVP_PKEY_CTX_set_group_name( ctx, "ffdhe2048" ); } ) );
        add( "X25519", quick( "X25519" ) );
        add( "X448", quick( "X448" ) );
        add( "Ed25519", quick( "ED25519" ) );
        add( "Ed448", quick( "ED448" ) );
        return all;
    }();
    return only;
}

const Material &material( std::string_view name )
{
    for( const Material &each : materials() )
    {
        if( each.name == name )
            return each;
    }
    ADD_FAILURE() << name;
    return materials()[0];
}

// One error at each element.
std::vector<std::string> structuralMutations( const std::string &der )
{
    static const char *const oids[] = { "2a864886f70d010101", "2a864886f70d01010a", "2a864886f70d010107", "2a8648ce3d0201", "2a8648ce3d030107",
        "2a811ccf5501822d", "2b8104000a", "2b8104010c", "2b6570", "2a8648ce380401", "2a864886f70d01010b", "2a8648ce3d030101", "2a0304", "" };

    std::vector<std::string> out;
    std::vector<Node>        roots;
    EXPECT_TRUE( parseNodes( der, roots ) );
    std::vector<const Node *> all;
    collect( roots.at( 0 ), all );
    EXPECT_EQ( writeNode( roots[0], plainly ), der );
    for( const Node *target : all )
    {
        auto with = [&]( auto change ) {
            out.push_back( writeNode( roots[0],
                [&]( const Node &node, const std::string &content ) { return &node == target ? change( content ) : plainly( node, content ); } ) );
        };
        auto retagged = [&]( unsigned char tag, const std::string &content ) {
            return std::string( 1, (char)tag ) + lengthOf( content.size(), 0 ) + content;
        };
        auto tagged = [&]( const std::string &content ) { return retagged( target->tag, content ); };

        for( int extra : { 1, 3, 5 } )
            with( [&]( const std::string &content ) { return std::string( 1, (char)target->tag ) + lengthOf( content.size(), extra ) + content; } );
        with( [&]( const std::string &content ) {
            return std::string( 1, (char)( target->tag | 0x20 ) ) + "\x80" + content + std::string( 2, '\0' );
        } );
        with( []( const std::string & ) { return std::string(); } );
        with( [&]( const std::string &content ) { return tagged( content ) + tagged( content ); } );
        with( [&]( const std::string & ) { return tagged( "" ); } );
        with( [&]( const std::string &content ) { return tagged( content + std::string( 1, '\0' ) ); } );
        with( [&]( const std::string &content ) { return tagged( content + std::string( "\x05\0", 2 ) ); } );
        with( [&]( const std::string &content ) { return tagged( std::string( 1, '\0' ) + content ); } );
        with( [&]( const std::string &content ) { return tagged( content.substr( 0, content.size() - 1 ) ); } );
        with( [&]( const std::string &content ) { return std::string( 1, (char)target->tag ) + lengthOf( content.size() + 1, 0 ) + content; } );
        with( []( const std::string & ) { return std::string( "\x05\0", 2 ); } );
        for( unsigned char tag : { 0x02, 0x03, 0x04, 0x06, 0x30, 0x31, 0xA0, 0xA1 } )
            with( [&]( const std::string &content ) { return retagged( tag, content ); } );
        if( target->tag == 0x06 )
        {
            for( const char *oid : oids )
                with( [&]( const std::string & ) { return tagged( unhex( oid ) ); } );
        }
        if( target->tag == 0x02 )
        {
            for( const char *number : { "00", "01", "02", "03", "04", "7f", "80", "ff", "010001", "00000001" } )
                with( [&]( const std::string & ) { return tagged( unhex( number ) ); } );
            with( [&]( const std::string &content ) { return tagged( "\xff" + content ); } );
        }
    }
    return out;
}

uint32_t random( uint32_t &state )
{
    state ^= state << 13;
    state ^= state >> 17;
    return state ^= state << 5;
}

// Flipped bits, shorter inputs, and bytes after the end. One of every `step` mutations is tried.
std::vector<std::string> byteMutations( const std::string &der, size_t step )
{
    std::vector<std::string> out;
    uint32_t                 state = 0x1234567;
    for( size_t at = 0; at < der.size(); at += step )
    {
        out.push_back( der );
        out.back()[at] = (char)( out.back()[at] ^ ( 1 << random( state ) % 8 ) );
    }
    for( size_t length = 0; length < der.size(); length += length < 40 ? 1 : step * 3 )
        out.push_back( der.substr( 0, length ) );
    for( const char *more : { "00", "0000", "0500", "30", "ff", "a000" } )
        out.push_back( der + unhex( more ) );
    out.push_back( der + der );
    return out;
}

// One of this number of leaves in the largest collection is checked.
constexpr size_t leafStep = 10;

}

TEST( ParseEquivalence, AgreesOnThePackagedVectors )
{
    Corpus corpus;
    for( const std::filesystem::path &path : packageFiles( "python3-cryptography-vectors" ) )
    {
        static const std::set<std::string> wanted = { ".pem", ".crt", ".cer", ".der", ".key", ".pub", ".cp", ".p8" };
        if( !wanted.count( path.extension().string() ) )
            continue;
        std::string content = read( path );
        if( content.find( "-----BEGIN " ) != std::string::npos )
            corpus.addText( path.filename().string(), content );
        else
            corpus.addDer( path.filename().string(), content );
    }
    if( corpus.certificates.empty() )
        GTEST_SKIP() << "the package python3-cryptography-vectors is not installed";
    Tally certificate, key, pub;
    corpus.check( certificate, key, pub );
    EXPECT_GT( certificate.accepted, 400 );
    EXPECT_GT( certificate.fast, 400 );
    EXPECT_GE( certificate.canonical * 100, certificate.accepted * 97 );
    EXPECT_GE( key.accepted, 25 );
    EXPECT_GE( key.fast, 5 );
    EXPECT_GE( key.canonical, 5 );
    EXPECT_GT( pub.fast, 400 );
}

TEST( ParseEquivalence, AgreesOnThePublicKeyVectors )
{
    NEED_VECTORS( folder );
    Corpus corpus;
    for( const json &each : json::parse( read( *folder / "keys" / "evp_keys.json.xz" ) ) )
        corpus.addText( each["id"], each["pem"] );
    for( const char *name : { "keys", "pem" } )
    {
        for( const std::filesystem::path &path : filesBelow( *folder / name ) )
        {
            if( path.extension() == ".pem" )
                corpus.addText( path.filename().string(), read( path ) );
        }
    }
    Tally certificate, key, pub;
    corpus.check( certificate, key, pub );
    EXPECT_GE( certificate.fast, 8 );
    EXPECT_GT( key.accepted, 200 );
    EXPECT_GT( key.fast, 150 );
    EXPECT_GT( key.canonical, 150 );
    EXPECT_GT( pub.fast, 100 );
}

TEST( ParseEquivalence, AgreesOnThePublicCertificateVectors )
{
    NEED_VECTORS( folder );
    Corpus corpus;
    for( const std::filesystem::path &path : filesBelow( *folder / "x509parse" ) )
    {
        if( path.filename().string().find( "crt" ) == std::string::npos || path.extension() != ".xz" )
            continue;
        for( const json &each : json::parse( read( path ) ) )
            corpus.certificates.emplace(
                bytes( pb::adopt( rfcBaseTryDecode( buf( each["der_b64"].get<std::string>() ).get(), RFC_BASE_64 ) ) ), each["id"] );
    }
    Tally certificate, key, pub;
    corpus.check( certificate, key, pub );
    EXPECT_GT( certificate.all, 1000 );
    EXPECT_GT( certificate.accepted, 900 );
    EXPECT_GT( certificate.fast, 900 );
    EXPECT_GT( certificate.canonical, 900 );
    EXPECT_LT( certificate.accepted, certificate.all );
}

TEST( ParseEquivalence, AgreesOnTheLeavesOfChains )
{
    NEED_VECTORS( folder );
    Corpus corpus;
    size_t index = 0;
    for( const char *name : { "limbo", "paths" } )
    {
        for( const std::filesystem::path &path : filesBelow( *folder / name ) )
        {
            if( path.extension() != ".xz" )
                continue;
            json cases = json::parse( read( path ) );
            for( const json &each : cases["testcases"] )
            {
                // One of the collections is twenty times as large as the others, and its
                // certificates are alike.
                if( cases["testcases"].size() > 1000 && index++ % leafStep )
                    continue;
                corpus.addText( each["id"], each["peer_certificate"] );
                if( each.contains( "peer_certificate_key" ) && each["peer_certificate_key"].is_string() )
                    corpus.addText( each["id"], each["peer_certificate_key"] );
            }
        }
    }
    Tally certificate, key, pub;
    corpus.check( certificate, key, pub );
    EXPECT_GT( certificate.fast, 200 );
    EXPECT_GE( certificate.canonical * 100, certificate.accepted * 97 );
}

// libcrypto has irregular rules for the bodies that it accepts under each label, so all
// combinations are tried.
TEST( ParseEquivalence, AgreesOnEveryLabelWithEveryStructure )
{
    const std::vector<std::string> labels = { PEM_STRING_PKCS8INF, PEM_STRING_PKCS8, PEM_STRING_EVP_PKEY, PEM_STRING_RSA, PEM_STRING_DSA,
        PEM_STRING_ECPRIVATEKEY, "RSA-PSS PRIVATE KEY", "SM2 PRIVATE KEY", "ED25519 PRIVATE KEY", PEM_STRING_X509, PEM_STRING_X509_OLD,
        PEM_STRING_X509_TRUSTED, PEM_STRING_X509_REQ, PEM_STRING_X509_REQ_OLD, PEM_STRING_X509_CRL, PEM_STRING_PUBLIC, PEM_STRING_RSA_PUBLIC,
        PEM_STRING_DSA_PUBLIC, PEM_STRING_ECDSA_PUBLIC, PEM_STRING_PKCS7, PEM_STRING_PKCS7_SIGNED, PEM_STRING_CMS, PEM_STRING_DHPARAMS,
        PEM_STRING_DHXPARAMS, PEM_STRING_DSAPARAMS, PEM_STRING_ECPARAMETERS, PEM_STRING_PARAMETERS, PEM_STRING_SSL_SESSION, "X448 PRIVATE KEY",
        "X25519 PRIVATE KEY", "ED448 PRIVATE KEY", "DH PRIVATE KEY", "X9.42 DH PRIVATE KEY", "FOO PRIVATE KEY", "private key", "PRIVATE KEY X",
        "certificate", "CERTIFICATE X", "EC PUBLIC KEY", "FOO", "" };

    Tally keys, certificates, publics;
    auto  check = [&]( const std::string &name, const std::string &der ) {
        checkPublic( name, der, publics );
        for( const std::string &label : labels )
        {
            checkPrivate( name, label, der, keys );
            checkCertificatePem( name, label, der, certificates );
        }
    };
    for( const Material &each : materials() )
    {
        for( const auto &[structure, der] : each.structures )
            check( each.name + " " + structure, der );
    }
    check( "empty", "" );
    check( "zero", std::string( 1, '\0' ) );
    check( "null", std::string( "\x05\0", 2 ) );
    check( "empty sequence", std::string( "\x30\0", 2 ) );
    check( "text", "garbage" );
    check( "ones", std::string( 300, '\xff' ) );

    EXPECT_GT( keys.accepted, 100 );
    // Only PRIVATE KEY with an unencrypted PKCS#8 structure takes the fast path: RSA and the named
    // curves except SM2, without attributes.
    EXPECT_EQ( keys.fast, 7 );
    EXPECT_GT( certificates.accepted, 50 );
    EXPECT_EQ( certificates.fast, 28 );
    EXPECT_EQ( publics.fast, 7 );
}

TEST( ParseEquivalence, AgreesOnMutatedPrivateKeys )
{
    Tally tally;
    for( const char *name : { "RSA", "P-256", "P-256 explicit", "brainpoolP320t1", "SM2", "Ed25519" } )
    {
        const std::string &der = material( name )["pkcs8"];
        for( const std::string &each : structuralMutations( der ) )
            checkPrivate( name, PEM_STRING_PKCS8INF, each, tally );
    }
    for( const char *name : { "RSA", "P-256", "secp256k1" } )
    {
        const std::string &der = material( name )["pkcs8"];
        for( const std::string &each : byteMutations( der, 1 ) )
            checkPrivate( name, PEM_STRING_PKCS8INF, each, tally );
    }
    EXPECT_GT( tally.all, 1500 );
    EXPECT_GT( tally.accepted, 200 );
    EXPECT_GT( tally.fast, 100 );
    EXPECT_GT( tally.canonical, 100 );
    EXPECT_LT( tally.accepted, tally.all / 2 );
}

TEST( ParseEquivalence, AgreesOnMutatedTraditionalKeys )
{
    Tally tally;
    for( const auto &[name, label] : std::map<std::string, std::string>{ { "RSA", PEM_STRING_RSA }, { "P-256", PEM_STRING_ECPRIVATEKEY } } )
    {
        for( const std::string &each : structuralMutations( material( name )["traditional"] ) )
            checkPrivate( name, label, each, tally );
    }
    EXPECT_GT( tally.accepted, 20 );
    EXPECT_EQ( tally.fast, 0 );
}

TEST( ParseEquivalence, AgreesOnMutatedCertificates )
{
    Tally tally;
    for( const char *name : { "RSA", "P-256", "P-256 explicit", "SM2", "Ed25519" } )
    {
        const std::string &der = material( name )["certificate"];
        for( const std::string &each : structuralMutations( der ) )
        {
            checkCertificateDer( name, each, tally );
            Tally ignored;
            checkCertificatePem( name, PEM_STRING_X509, each, ignored );
        }
    }
    for( const char *name : { "RSA", "P-256" } )
    {
        for( const std::string &each : byteMutations( material( name )["certificate"], 2 ) )
            checkCertificateDer( name, each, tally );
    }
    EXPECT_GT( tally.all, 4000 );
    EXPECT_GT( tally.accepted, 1000 );
    EXPECT_GT( tally.fast, 500 );
    EXPECT_GT( tally.canonical, 500 );
}

TEST( ParseEquivalence, AgreesOnMutatedPublicKeys )
{
    Tally tally;
    for( const Material &each : materials() )
    {
        for( const std::string &mutated : structuralMutations( each["spki"] ) )
            checkPublic( each.name, mutated, tally );
        for( const std::string &mutated : byteMutations( each["spki"], each.name.starts_with( "P-256" ) ? 1 : 5 ) )
            checkPublic( each.name, mutated, tally );
    }
    EXPECT_GT( tally.all, 4000 );
    EXPECT_GT( tally.accepted, 500 );
    EXPECT_GT( tally.fast, 150 );
}
