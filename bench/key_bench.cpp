#include "ours.hpp"

#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_sign.h>

#include <cstdio>
#include <memory>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/rand.h>

namespace
{

std::string publicText( EVP_PKEY *pkey )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    PEM_write_bio_PUBKEY( bio, pkey );
    char       *text   = nullptr;
    long        length = BIO_get_mem_data( bio, &text );
    std::string copy( text, (size_t)length );
    BIO_free( bio );
    return copy;
}

void registerSignatures( const std::string &kind, const std::string &keyPem )
{
    EVP_PKEY  *plain = bench::plainPrivateKey( keyPem );
    auto       ours  = std::make_shared<pb::Ref<CRY_PKEY_PRIVATE>>( bench::privateKeyFromPem( bench::buffer( keyPem ).get() ) );
    auto       pub   = std::make_shared<pb::Ref<CRY_PKEY_PUBLIC>>( pb::adopt( cryPkeyPrivatePublicKey( ours->get() ) ) );
    auto       text  = std::make_shared<std::string>( publicText( plain ) );
    EVP_PKEY  *plainPub;
    BIO       *bio  = BIO_new_mem_buf( text->data(), (int)text->size() );
    const auto data = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( std::string( 16, 'x' ) ) );
    plainPub        = PEM_read_bio_PUBKEY( bio, nullptr, nullptr, nullptr );
    BIO_free( bio );

    for( int threads : { 1, 2 } )
    {
        bench::pair(
            "sign 16 B, SHA-256, " + kind, [=] { pbBufferRelease( crySignTrySign( CRY_HASH_ALGORITHM_SHA2_256, ours->get(), data->get() ) ); },
            [=] {
                unsigned char signature[512];
                unsigned int  length;
                EVP_MD_CTX   *context = EVP_MD_CTX_new();
                if( !EVP_SignInit( context, EVP_sha256() ) || !EVP_SignUpdate( context, pbBufferBytes( data->get() ), 16 ) ||
                    !EVP_SignFinal( context, signature, &length, plain ) )
                    std::abort();
                EVP_MD_CTX_free( context );
            },
            threads );
        auto signature = std::make_shared<pb::Ref<PB_BUFFER>>( pb::adopt( crySignTrySign( CRY_HASH_ALGORITHM_SHA2_256, ours->get(), data->get() ) ) );
        bench::pair(
            "verify 16 B, SHA-256, " + kind,
            [=] {
                if( !crySignVerify( CRY_HASH_ALGORITHM_SHA2_256, pub->get(), signature->get(), data->get() ) )
                    std::abort();
            },
            [=] {
                EVP_MD_CTX *context = EVP_MD_CTX_new();
                if( !EVP_VerifyInit( context, EVP_sha256() ) || !EVP_VerifyUpdate( context, pbBufferBytes( data->get() ), 16 ) ||
                    EVP_VerifyFinal( context, pbBufferBytes( signature->get() ), (unsigned int)pbBufferLength( signature->get() ), plainPub ) != 1 )
                    std::abort();
                EVP_MD_CTX_free( context );
            },
            threads );
    }

    auto textBuf = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( *text ) );
    bench::pair(
        "public key from PEM, " + kind,
        [textBuf] {
            pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( textBuf->get() ) );
            cryPkeyPublicRelease( cryPkeyPublicTryCreateFromPem( pem.get() ) );
        },
        [text] {
            BIO *in = BIO_new_mem_buf( text->data(), (int)text->size() );
            EVP_PKEY_free( PEM_read_bio_PUBKEY( in, nullptr, nullptr, nullptr ) );
            BIO_free( in );
        } );
}

}

void bench::registerKeys()
{
    registerSignatures( "RSA", material().rsa[0].keyPem );
    registerSignatures( "P-256", material().ec[0].keyPem );
    pair(
        "P-256 key generated, canonical text included",
        [] { cryPkeyPrivateRelease( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) ); },
        [] { EVP_PKEY_free( EVP_EC_gen( "P-256" ) ); } );
    pair(
        "UUID made, with text", [] { bench::uuidText(); },
        [] {
            unsigned char b[16];
            char          text[37];
            RAND_bytes( b, sizeof b );
            b[6] = (unsigned char)( ( b[6] & 0x0F ) | 0x40 );
            b[8] = (unsigned char)( ( b[8] & 0x3F ) | 0x80 );
            std::snprintf( text, sizeof text, "%02x%02x%02x%02x-%02x%02x-%02x%02x-%02x%02x-%02x%02x%02x%02x%02x%02x", b[0], b[1], b[2], b[3], b[4],
                b[5], b[6], b[7], b[8], b[9], b[10], b[11], b[12], b[13], b[14], b[15] );
            benchmark::DoNotOptimize( text );
        } );
}
