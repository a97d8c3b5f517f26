#include "pairs.hpp"

#include <cry/cry_hash.h>

#include <memory>
#include <openssl/evp.h>

void bench::registerHash()
{
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
