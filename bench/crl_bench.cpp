#include "pairs.hpp"

#include <bn/internal/bn_int.h>
#include <cry/cry_x509_crl.h>

#include <cstdlib>
#include <memory>
#include <openssl/pem.h>
#include <vector>

namespace
{

using Crl = std::unique_ptr<X509_CRL, decltype( &X509_CRL_free )>;

// The serial number of an entry: 16 bytes that look random.
std::vector<unsigned char> serialOf( uint64_t entry )
{
    std::vector<unsigned char> bytes;
    for( int index = 0; index < 16; index++ )
    {
        entry = entry * 6364136223846793005u + 1442695040888963407u;
        bytes.push_back( (unsigned char)( entry >> 56 ) );
    }
    bytes[0] |= 0x40;
    return bytes;
}

BIGNUM *bignumOf( uint64_t entry )
{
    std::vector<unsigned char> bytes = serialOf( entry );
    return BN_bin2bn( bytes.data(), (int)bytes.size(), nullptr );
}

Crl newCrl( uint64_t entries )
{
    Crl           crl( X509_CRL_new(), X509_CRL_free );
    EVP_PKEY     *pkey   = EVP_PKEY_Q_keygen( nullptr, nullptr, "EC", "P-256" );
    ASN1_TIME    *time   = ASN1_TIME_set( nullptr, 1700000000 );
    ASN1_INTEGER *serial = ASN1_INTEGER_new();
    X509_CRL_set_version( crl.get(), X509_CRL_VERSION_2 );
    X509_CRL_set1_lastUpdate( crl.get(), time );
    for( uint64_t entry = 0; entry < entries; entry++ )
    {
        X509_REVOKED              *revoked = X509_REVOKED_new();
        std::vector<unsigned char> bytes   = serialOf( entry );
        ASN1_STRING_set( serial, bytes.data(), (int)bytes.size() );
        X509_REVOKED_set_serialNumber( revoked, serial );
        X509_REVOKED_set_revocationDate( revoked, time );
        X509_CRL_add0_revoked( crl.get(), revoked );
    }
    X509_CRL_sign( crl.get(), pkey, EVP_sha256() );
    ASN1_INTEGER_free( serial );
    ASN1_TIME_free( time );
    EVP_PKEY_free( pkey );
    return crl;
}

std::string textOf( X509_CRL *crl )
{
    BIO *bio = BIO_new( BIO_s_mem() );
    PEM_write_bio_X509_CRL( bio, crl );
    char       *bytes;
    size_t      length = (size_t)BIO_get_mem_data( bio, &bytes );
    std::string text( bytes, length );
    BIO_free( bio );
    return text;
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
    auto               text    = std::make_shared<std::string>( textOf( newCrl( entries ).get() ) );
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
