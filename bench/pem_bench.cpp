#include "material.hpp"
#include "pairs.hpp"

#include <cry/cry_pem.h>
#include <rfc/rfc_base.h>

#include <memory>
#include <openssl/evp.h>
#include <openssl/pem.h>

void bench::registerPem()
{
    auto text = std::make_shared<std::string>( material().rsa[0].pem );
    auto held = std::make_shared<pb::Ref<PB_BUFFER>>( buffer( *text ) );
    pair(
        "PEM decode, certificate", [held] { cryPemRelease( cryPemTryDecode( held->get() ) ); },
        [text] {
            BIO           *bio = BIO_new_mem_buf( text->data(), (int)text->size() );
            char          *name, *header;
            unsigned char *data;
            long           length;
            PEM_read_bio( bio, &name, &header, &data, &length );
            OPENSSL_free( name );
            OPENSSL_free( header );
            OPENSSL_free( data );
            BIO_free( bio );
        } );

    auto pem = std::make_shared<pb::Ref<CRY_PEM>>( pb::adopt( cryPemTryDecode( held->get() ) ) );
    auto der = std::make_shared<std::string>( material().rsa[0].der );
    pair(
        "PEM encode, certificate", [pem] { pbBufferRelease( cryPemEncode( pem->get() ) ); },
        [der] {
            BIO *bio = BIO_new( BIO_s_mem() );
            PEM_write_bio( bio, "CERTIFICATE", "", (const unsigned char *)der->data(), (long)der->size() );
            char *data;
            benchmark::DoNotOptimize( BIO_get_mem_data( bio, &data ) );
            BIO_free( bio );
        } );

    // The room for the text is there in both cases.
    auto room = std::make_shared<std::string>( 2 * der->size(), 0 );
    pair(
        "base 64 encode, certificate",
        [der, room] {
            rfc___BaseEncodeBytes( (const PB_BYTE *)der->data(), (PB_INT)der->size(), RFC_BASE_64, room->data() );
            benchmark::DoNotOptimize( room->data() );
            benchmark::ClobberMemory();
        },
        [der, room] {
            EVP_EncodeBlock( (unsigned char *)room->data(), (const unsigned char *)der->data(), (int)der->size() );
            benchmark::DoNotOptimize( room->data() );
            benchmark::ClobberMemory();
        } );
}
