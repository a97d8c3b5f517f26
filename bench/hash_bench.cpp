#include "pairs.hpp"

#include <cry/cry_hash.h>

#include <memory>
#include <openssl/evp.h>

namespace
{

// The plain side copies a context that knows the digest. That is its fastest way.
void registerShort( const char *name, PB_INT alg, const EVP_MD *md )
{
    auto        held     = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( std::string( 16, 'x' ) ) );
    EVP_MD_CTX *prepared = EVP_MD_CTX_new(), *context = EVP_MD_CTX_new();
    EVP_DigestInit_ex2( prepared, md, nullptr );
    bench::pair(
        "hash one-shot, " + std::string( name ) + "/16, against a prepared context",
        [held, alg] { pbBufferRelease( cryHashTryCompute( alg, held->get() ) ); },
        [held, prepared, context] {
            unsigned char digest[EVP_MAX_MD_SIZE];
            EVP_MD_CTX_copy_ex( context, prepared );
            EVP_DigestUpdate( context, pbBufferBytes( held->get() ), 16 );
            EVP_DigestFinal_ex( context, digest, nullptr );
            benchmark::DoNotOptimize( digest );
        } );
}

}

void bench::registerHash()
{
    registerShort( "SHA-256", CRY_HASH_ALGORITHM_SHA2_256, EVP_sha256() );
    registerShort( "SHA-512", CRY_HASH_ALGORITHM_SHA2_512, EVP_sha512() );
    for( size_t size : { 16, 256, 4096, 65536, 1048576 } )
    {
        auto data = std::make_shared<std::string>( size, 'x' );
        auto held = std::make_shared<pb::Ref<PB_BUFFER>>( buffer( *data ) );
        pair(
            "hash one-shot, SHA-256/" + std::to_string( size ),
            [held] { pbBufferRelease( cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, held->get() ) ); },
            [data] {
                unsigned char digest[EVP_MAX_MD_SIZE];
                unsigned int  length;
                EVP_Digest( data->data(), data->size(), digest, &length, EVP_sha256(), nullptr );
                benchmark::DoNotOptimize( digest );
            } );
    }
}
