#include "crls.hpp"
#include "pairs.hpp"

#include <bn/internal/bn_int.h>
#include <cry/cry_x509_crl.h>

#include <cstdlib>
#include <memory>
#include <openssl/pem.h>

namespace
{

using Crl = std::unique_ptr<X509_CRL, decltype( &X509_CRL_free )>;

BIGNUM *bignumOf( uint64_t entry )
{
    std::vector<unsigned char> bytes = bench::serialOf( entry );
    return BN_bin2bn( bytes.data(), (int)bytes.size(), nullptr );
}

Crl plainCrl( const std::string &text )
{
    BIO *bio = BIO_new_mem_buf( text.data(), (int)text.size() );
    Crl  crl( PEM_read_bio_X509_CRL( bio, nullptr, nullptr, nullptr ), X509_CRL_free );
    BIO_free( bio );
    return crl;
}

pb::Ref<CRY_X509_CRL> oursCrl( const std::string &text )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( bench::buffer( text ).get() ) );
    return pb::adopt( cryX509CrlTryCreateFromPem( pem.get() ) );
}

void ask( CRY_X509_CRL *crl, BN_INT *serial )
{
    if( !cryX509CrlRevokedBySerial( crl, serial ) )
        std::abort();
}

void ask( X509_CRL *crl, const BIGNUM *number )
{
    X509_REVOKED *revoked;
    ASN1_INTEGER *serial = BN_to_ASN1_INTEGER( number, nullptr );
    if( X509_CRL_get0_by_serial( crl, &revoked, serial ) != 1 )
        std::abort();
    ASN1_INTEGER_free( serial );
}

}

void bench::registerCrl()
{
    constexpr uint64_t entries = 100000;
    auto               text    = std::make_shared<std::string>( crlText( entries ) );
    auto               serial  = std::make_shared<pb::Ref<BN_INT>>( pb::adopt( bn___IntCreateFromBignumUse( bignumOf( 7 ) ) ) );
    pair(
        "CRL of 100,000 entries, read and asked", [text, serial] { ask( oursCrl( *text ).get(), serial->get() ); },
        [text, serial] { ask( plainCrl( *text ).get(), bn___IntPeekBignum( serial->get() ) ); } );

    auto ours  = std::make_shared<pb::Ref<CRY_X509_CRL>>( oursCrl( *text ) );
    auto plain = std::make_shared<Crl>( plainCrl( *text ) );
    pair(
        "CRL of 100,000 entries, asked again", [ours, serial] { ask( ours->get(), serial->get() ); },
        [plain, serial] { ask( plain->get(), bn___IntPeekBignum( serial->get() ) ); } );
}
