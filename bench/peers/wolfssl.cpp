#include <wolfssl/options.h>
// options.h comes before all others.
#include <wolfssl/ssl.h>
#include <wolfssl/wolfcrypt/asn_public.h>
#include <wolfssl/wolfcrypt/ecc.h>
#include <wolfssl/wolfcrypt/rsa.h>

#include "wolfssl.hpp"

#include <cstdlib>
#include <vector>

namespace
{

void check( bool good )
{
    if( !good )
        std::abort();
}

std::vector<byte> derOfKey( const std::string &pem )
{
    std::vector<byte> der( pem.size() );
    int               length = wc_KeyPemToDer( (const byte *)pem.data(), (int)pem.size(), der.data(), (int)der.size(), nullptr );
    check( length > 0 );
    der.resize( (size_t)length );
    return der;
}

}

void peers::wolf::readRsaKey( const std::string &pem )
{
    std::vector<byte> der   = derOfKey( pem );
    word32            place = 0;
    RsaKey            key;
    check( wc_InitRsaKey( &key, nullptr ) == 0 && wc_RsaPrivateKeyDecode( der.data(), &place, &key, (word32)der.size() ) == 0 );
    wc_FreeRsaKey( &key );
}

void peers::wolf::readEcKey( const std::string &pem )
{
    std::vector<byte> der   = derOfKey( pem );
    word32            place = 0;
    ecc_key           key;
    check( wc_ecc_init( &key ) == 0 && wc_EccPrivateKeyDecode( der.data(), &place, &key, (word32)der.size() ) == 0 );
    wc_ecc_free( &key );
}

static WOLFSSL_CERT_MANAGER *managerOf( void *handle ) { return (WOLFSSL_CERT_MANAGER *)handle; }

peers::wolf::Manager::Manager() : handle( (Handle *)wolfSSL_CertManagerNew() ) { check( handle ); }

peers::wolf::Manager::~Manager() { wolfSSL_CertManagerFree( managerOf( handle ) ); }

void peers::wolf::Manager::addAuthority( const std::string &der )
{
    check( wolfSSL_CertManagerLoadCABuffer( managerOf( handle ), (const byte *)der.data(), (long)der.size(), WOLFSSL_FILETYPE_ASN1 ) ==
        WOLFSSL_SUCCESS );
}

void peers::wolf::Manager::addAuthoritiesOfFile( const char *path )
{
    check( wolfSSL_CertManagerLoadCA( managerOf( handle ), path, nullptr ) == WOLFSSL_SUCCESS );
}

void peers::wolf::Manager::verify( const std::string &der )
{
    check( wolfSSL_CertManagerVerifyBuffer( managerOf( handle ), (const byte *)der.data(), (long)der.size(), WOLFSSL_FILETYPE_ASN1 ) ==
        WOLFSSL_SUCCESS );
}
