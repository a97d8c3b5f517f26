#include "crls.hpp"

#include <openssl/evp.h>
#include <openssl/pem.h>
#include <openssl/x509.h>

std::vector<unsigned char> bench::serialOf( uint64_t entry )
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

std::string bench::crlText( uint64_t entries )
{
    X509_CRL     *crl    = X509_CRL_new();
    EVP_PKEY     *pkey   = EVP_PKEY_Q_keygen( nullptr, nullptr, "EC", "P-256" );
    ASN1_TIME    *time   = ASN1_TIME_set( nullptr, 1700000000 );
    ASN1_INTEGER *serial = ASN1_INTEGER_new();
    X509_CRL_set_version( crl, X509_CRL_VERSION_2 );
    X509_CRL_set1_lastUpdate( crl, time );
    for( uint64_t entry = 0; entry < entries; entry++ )
    {
        X509_REVOKED              *revoked = X509_REVOKED_new();
        std::vector<unsigned char> bytes   = serialOf( entry );
        ASN1_STRING_set( serial, bytes.data(), (int)bytes.size() );
        X509_REVOKED_set_serialNumber( revoked, serial );
        X509_REVOKED_set_revocationDate( revoked, time );
        X509_CRL_add0_revoked( crl, revoked );
    }
    X509_CRL_sign( crl, pkey, EVP_sha256() );
    ASN1_INTEGER_free( serial );
    ASN1_TIME_free( time );
    EVP_PKEY_free( pkey );
    BIO *bio = BIO_new( BIO_s_mem() );
    PEM_write_bio_X509_CRL( bio, crl );
    char       *bytes;
    size_t      length = (size_t)BIO_get_mem_data( bio, &bytes );
    std::string text( bytes, length );
    BIO_free( bio );
    X509_CRL_free( crl );
    return text;
}
