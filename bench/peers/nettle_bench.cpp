#include "ours.hpp"
#include "peers.hpp"

#include <memory>
#include <nettle/hmac.h>

void peers::registerNettle()
{
    static const std::string keyBytes( 32, 'k' ), data( 16, 'x' );
    auto                     key  = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( keyBytes ) );
    auto                     held = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( data ) );
    bench::pair(
        "HMAC-SHA-256, 16 B: Nettle", [key, held] { bench::hmacSha256( key->get(), held->get() ); },
        [] {
            hmac_sha256_ctx context;
            uint8_t         mac[SHA256_DIGEST_SIZE];
            hmac_sha256_set_key( &context, keyBytes.size(), (const uint8_t *)keyBytes.data() );
            hmac_sha256_update( &context, data.size(), (const uint8_t *)data.data() );
            hmac_sha256_digest( &context, sizeof mac, mac );
            benchmark::DoNotOptimize( mac );
        } );
}
