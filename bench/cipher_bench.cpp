#include "ours.hpp"

#include <cry/cry_aes.h>
#include <cry/cry_random.h>

#include <memory>
#include <openssl/evp.h>
#include <openssl/rand.h>

static void registerMac()
{
    auto key = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( std::string( 32, 'k' ) ) );
    for( size_t size : { 16, 4096, 65536 } )
    {
        auto data = std::make_shared<std::string>( size, 'x' );
        auto held = std::make_shared<pb::Ref<PB_BUFFER>>( bench::buffer( *data ) );
        bench::pair(
            "HMAC-SHA-256/" + std::to_string( size ), [key, held] { bench::hmacSha256( key->get(), held->get() ); },
            [data] {
                static const std::string plainKey( 32, 'k' );
                unsigned char            mac[EVP_MAX_MD_SIZE];
                size_t                   length;
                EVP_Q_mac( nullptr, "HMAC", nullptr, "SHA256", nullptr, plainKey.data(), plainKey.size(), (const unsigned char *)data->data(),
                    data->size(), mac, sizeof mac, &length );
                benchmark::DoNotOptimize( mac );
            } );
    }
}

static void registerAes()
{
    auto key = bench::buffer( std::string( 32, 'k' ) );
    auto aes = std::make_shared<pb::Ref<CRY_AES>>( pb::adopt( cryAesTryCreate( CRY_AES_MODE_ECB, CRY_AES_OPERATION_ENCRYPT, key.get() ) ) );
    EVP_CIPHER_CTX *context = EVP_CIPHER_CTX_new();
    EVP_EncryptInit_ex( context, EVP_aes_256_ecb(), nullptr, pbBufferBytes( key.get() ), nullptr );
    bench::pair(
        "AES-256, one block",
        [aes] {
            PB_BYTE in[16] = {}, out[16];
            cryAesProcessBlock( aes->get(), out, in );
            benchmark::DoNotOptimize( out );
        },
        [context] {
            unsigned char in[16] = {}, out[16];
            int           length;
            EVP_EncryptUpdate( context, out, &length, in, 16 );
            benchmark::DoNotOptimize( out );
        } );
}

static void registerRandom()
{
    for( int size : { 16, 4096 } )
    {
        auto bytes = std::make_shared<std::string>( (size_t)size, 0 );
        bench::pair(
            "random bytes/" + std::to_string( size ), [bytes] { cryRandomBytes( (PB_BYTE *)bytes->data(), (PB_INT)bytes->size() ); },
            [bytes] { RAND_bytes( (unsigned char *)bytes->data(), (int)bytes->size() ); } );
    }
}

void bench::registerCipher()
{
    registerMac();
    registerAes();
    registerRandom();
}
