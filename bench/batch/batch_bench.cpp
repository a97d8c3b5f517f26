// Makes chains for `cry verify --batch`, and judges the same ones with plain libcrypto.
// bench/batch/run compares the two.
//
// make FOLDER LINES CHAINS KIND: writes roots.pem, lines.jsonl and the same certificates in DER to
// chains. Each line has a leaf and an intermediate. With the kind "again", as many different chains
// as CHAINS says come again and again; with "leaves" the leaf is new in each line, and with "all"
// the intermediate, too.
//
// plain FOLDER THREADS: d2i_X509 and X509_verify_cert for each line, with one store. Prints the
// lines for each second, without the time for reading the files.

#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>
#include <openssl/x509v3.h>
#include <string>
#include <thread>
#include <vector>

namespace
{

struct Certificate
{
    EVP_PKEY   *key;
    X509       *x509;
    std::string der;
};

long nextSerial = 1;

void addExtension( X509 *x509, int nid, const char *value )
{
    X509V3_CTX context;
    X509V3_set_ctx_nodb( &context );
    X509V3_set_ctx( &context, nullptr, x509, nullptr, nullptr, 0 );
    X509_EXTENSION *extension = X509V3_EXT_conf_nid( nullptr, &context, nid, value );
    X509_add_ext( x509, extension, -1 );
    X509_EXTENSION_free( extension );
}

// RSA keys take long, so that some serve many certificates.
EVP_PKEY *newKey( bool rsa )
{
    static std::vector<EVP_PKEY *> keys;
    static size_t                  next = 0;
    if( !rsa )
        return EVP_EC_gen( "P-256" );
    if( keys.size() < 24 )
    {
        keys.push_back( EVP_RSA_gen( 2048 ) );
        return keys.back();
    }
    return keys[next++ % keys.size()];
}

// `issuer` is null for a root.
Certificate newCertificate( const std::string &name, EVP_PKEY *key, const Certificate *issuer, bool authority )
{
    X509 *x509 = X509_new();
    X509_set_version( x509, 2 );
    ASN1_INTEGER_set( X509_get_serialNumber( x509 ), nextSerial++ );
    X509_gmtime_adj( X509_getm_notBefore( x509 ), -86400 );
    X509_gmtime_adj( X509_getm_notAfter( x509 ), 86400L * 3650 );
    X509_NAME_add_entry_by_txt( X509_get_subject_name( x509 ), "O", MBSTRING_ASC, (const unsigned char *)"Benchmark", -1, -1, 0 );
    X509_NAME_add_entry_by_txt( X509_get_subject_name( x509 ), "CN", MBSTRING_ASC, (const unsigned char *)name.c_str(), -1, -1, 0 );
    X509_set_issuer_name( x509, X509_get_subject_name( issuer ? issuer->x509 : x509 ) );
    X509_set_pubkey( x509, key );
    addExtension( x509, NID_basic_constraints, authority ? "critical,CA:TRUE" : "critical,CA:FALSE" );
    addExtension( x509, NID_key_usage, authority ? "critical,keyCertSign,cRLSign" : "critical,digitalSignature" );
    if( !authority )
        addExtension( x509, NID_subject_alt_name, ( "DNS:" + name + ".example" ).c_str() );
    addExtension( x509, NID_subject_key_identifier, "hash" );
    X509_sign( x509, issuer ? issuer->key : key, EVP_sha256() );
    unsigned char *der    = nullptr;
    int            length = i2d_X509( x509, &der );
    Certificate    made{ key, x509, std::string( (char *)der, (size_t)length ) };
    OPENSSL_free( der );
    return made;
}

std::string base64( const std::string &der )
{
    std::string text( ( der.size() + 2 ) / 3 * 4 + 1, 0 );
    text.resize( (size_t)EVP_EncodeBlock( (unsigned char *)text.data(), (const unsigned char *)der.data(), (int)der.size() ) );
    return text;
}

void writeDer( std::ofstream &file, const std::string &der )
{
    uint32_t length = (uint32_t)der.size();
    file.write( (const char *)&length, sizeof length );
    file << der;
}

int make( const std::string &folder, int lineCount, int chainCount, const std::string &kind )
{
    bool                     newLeaf = kind != "again", newIntermediate = kind == "all";
    std::vector<Certificate> roots, intermediates, leaves;
    FILE                    *rootFile = std::fopen( ( folder + "/roots.pem" ).c_str(), "w" );
    EVP_PKEY                *keys[]   = { newKey( false ), newKey( true ) }; // of the new ones
    auto                     leafOf   = [&]( int index, EVP_PKEY *key, const Certificate &issuer ) {
        return newCertificate( "leaf-" + std::to_string( index ), key, &issuer, false );
    };
    auto intermediateOf = [&]( int index, EVP_PKEY *key ) {
        return newCertificate( "intermediate-" + std::to_string( index ), key, &roots[(size_t)( index % chainCount )], true );
    };
    for( int index = 0; index < chainCount; index++ )
    {
        roots.push_back( newCertificate( "root-" + std::to_string( index ), newKey( index % 2 ), nullptr, true ) );
        PEM_write_X509( rootFile, roots.back().x509 );
        intermediates.push_back( intermediateOf( index, newKey( index % 2 ) ) );
        leaves.push_back( leafOf( index, newKey( index % 2 ), intermediates.back() ) );
    }
    std::fclose( rootFile );

    std::ofstream lines( folder + "/lines.jsonl" ), ders( folder + "/chains" );
    for( int index = 0; index < lineCount; index++ )
    {
        size_t      place        = (size_t)( newIntermediate ? index : std::rand() ) % (size_t)chainCount;
        EVP_PKEY   *key          = keys[place % 2];
        Certificate intermediate = newIntermediate ? intermediateOf( index, key ) : intermediates[place];
        Certificate leaf         = newLeaf ? leafOf( index, key, intermediate ) : leaves[place];
        lines << "{\"id\":" << index << ",\"certificate\":\"" << base64( leaf.der ) << "\",\"extraCertificates\":[\"" << base64( intermediate.der )
              << "\"]}\n";
        writeDer( ders, leaf.der );
        writeDer( ders, intermediate.der );
        if( newLeaf )
            X509_free( leaf.x509 );
        if( newIntermediate )
            X509_free( intermediate.x509 );
    }
    return 0;
}

struct Bytes
{
    const unsigned char *at;
    uint32_t             length;
};

X509 *parse( Bytes bytes ) { return d2i_X509( nullptr, &bytes.at, (long)bytes.length ); }

bool verify( X509_STORE *store, Bytes leafDer, Bytes intermediateDer )
{
    X509 *leaf = parse( leafDer ), *intermediate = parse( intermediateDer );
    STACK_OF( X509 ) *untrusted = sk_X509_new_null();
    sk_X509_push( untrusted, intermediate );
    X509_STORE_CTX *context = X509_STORE_CTX_new();
    X509_STORE_CTX_init( context, store, leaf, untrusted );
    X509_VERIFY_PARAM *parameters = X509_VERIFY_PARAM_new();
    X509_VERIFY_PARAM_set_depth( parameters, 255 );
    X509_VERIFY_PARAM_set_flags( parameters, X509_V_FLAG_PARTIAL_CHAIN );
    X509_VERIFY_PARAM_set_time( parameters, time( nullptr ) );
    X509_STORE_CTX_set0_param( context, parameters );
    bool valid = X509_verify_cert( context ) == 1;
    X509_STORE_CTX_free( context );
    sk_X509_free( untrusted );
    X509_free( leaf );
    X509_free( intermediate );
    return valid;
}

int plain( const std::string &folder, int threadCount )
{
    std::ifstream      file( folder + "/chains" );
    std::string        ders( std::istreambuf_iterator<char>( file ), {} );
    std::vector<Bytes> all; // leaf, intermediate, leaf, ...
    for( size_t at = 0; at < ders.size(); )
    {
        Bytes bytes{ (const unsigned char *)ders.data() + at + sizeof( uint32_t ), 0 };
        std::memcpy( &bytes.length, ders.data() + at, sizeof bytes.length );
        all.push_back( bytes );
        at += sizeof bytes.length + bytes.length;
    }
    X509_STORE *store    = X509_STORE_new();
    FILE       *rootFile = std::fopen( ( folder + "/roots.pem" ).c_str(), "r" );
    while( X509 *root = PEM_read_X509( rootFile, nullptr, nullptr, nullptr ) )
        X509_STORE_add_cert( store, root );

    auto                     begin = std::chrono::steady_clock::now();
    std::atomic<size_t>      next  = 0;
    std::atomic<bool>        good  = true;
    std::vector<std::thread> threads;
    for( int index = 0; index < threadCount; index++ )
    {
        threads.emplace_back( [&] {
            constexpr size_t share = 16;
            for( size_t from; ( from = next.fetch_add( share ) ) < all.size() / 2; )
            {
                for( size_t line = from; line < from + share && line < all.size() / 2; line++ )
                {
                    if( !verify( store, all[2 * line], all[2 * line + 1] ) )
                        good = false;
                }
            }
        } );
    }
    for( std::thread &each : threads )
        each.join();
    std::chrono::duration<double> took = std::chrono::steady_clock::now() - begin;
    std::printf( "%.0f\n", (double)all.size() / 2 / took.count() );
    return good ? 0 : 1;
}

}

int main( int argc, char **argv )
{
    std::string what = argc > 1 ? argv[1] : "";
    if( what == "make" && argc == 6 )
        return make( argv[2], std::atoi( argv[3] ), std::atoi( argv[4] ), argv[5] );
    if( what == "plain" && argc == 4 )
        return plain( argv[2], std::atoi( argv[3] ) );
    std::fprintf( stderr, "usage: cry_batch_bench make FOLDER LINES CHAINS again|leaves|all | plain FOLDER THREADS\n" );
    return 2;
}
