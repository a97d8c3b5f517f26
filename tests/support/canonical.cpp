#include "support/canonical.hpp"

#include "common/cry_ossl.hpp"
#include "support/certificates.hpp"
#include "support/key_decoding.hpp"

#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/pem.h>

using namespace support;
using cry::ossl::Ptr;

namespace
{

std::string contentOf( const Ptr<BIO> &bio )
{
    char *data   = nullptr;
    long  length = BIO_get_mem_data( bio.get(), &data );
    return { data, (size_t)length };
}

std::string textOf( const char *label, const std::string &der )
{
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    PEM_write_bio( bio.get(), label, "", (const unsigned char *)der.data(), (long)der.size() );
    return contentOf( bio );
}

// The context itself, so that nothing falls back to the default context.
OSSL_LIB_CTX *keyDecodingContext()
{
    static OSSL_LIB_CTX *const only = [] {
        KeyDecoding   used( true );
        std::string   info = der( makeCertificate( { .subject = "CN=context", .subjectKey = key( KeyKind::p256 ) } ) );
        Ptr<X509>     x509( openssl___TryParseCertificate( (const PB_BYTE *)info.data(), (PB_INT)info.size() ) );
        OSSL_LIB_CTX *context = openssl___ContextOf( X509_get0_pubkey( x509.get() ) );
        EXPECT_TRUE( context );
        return context;
    }();
    return only;
}

int noPassPhrase( char *, int, int, void * ) { return 0; }

}

std::string support::problemOfCertificate( const std::string &der, Context context )
{
    X509                *made  = X509_new_ex( context == Context::keyDecoding ? keyDecodingContext() : nullptr, nullptr );
    const unsigned char *begin = (const unsigned char *)der.data(), *at = begin;
    Ptr<X509>            x509( d2i_X509( &made, &at, (long)der.size() ) );
    ERR_clear_error();
    if( !x509 )
        return "refused";
    if( at != begin + der.size() )
        return "bytes are left";
    if( support::der( x509.get() ) != der )
        return "other bytes";
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    return PEM_write_bio_X509( bio.get(), x509.get() ) == 1 && contentOf( bio ) == textOf( PEM_STRING_X509, der ) ? "" : "another text";
}

std::string support::problemOfPrivateKey( const std::string &der, Context context )
{
    std::string   text = textOf( PEM_STRING_PKCS8INF, der );
    Ptr<EVP_PKEY> pkey;
    if( context == Context::keyDecoding )
    {
        KeyDecoding used( true );
        pkey.reset( openssl___TryParsePrivateKeyFast( (const PB_BYTE *)der.data(), (PB_INT)der.size() ) );
    }
    else
    {
        Ptr<BIO> bio( BIO_new_mem_buf( text.data(), (int)text.size() ) );
        pkey.reset( PEM_read_bio_PrivateKey( bio.get(), nullptr, noPassPhrase, nullptr ) );
    }
    ERR_clear_error();
    if( !pkey )
        return "refused";
    Ptr<BIO> bio( BIO_new( BIO_s_mem() ) );
    bool     written = PEM_write_bio_PKCS8PrivateKey( bio.get(), pkey.get(), nullptr, nullptr, 0, nullptr, nullptr ) == 1;
    ERR_clear_error();
    return written && contentOf( bio ) == text ? "" : "another text";
}

std::string support::problemOfCertificate( const std::string &der )
{
    std::string problem = problemOfCertificate( der, Context::keyDecoding );
    return problem.empty() ? problemOfCertificate( der, Context::everybodys ) : problem;
}

std::string support::problemOfPrivateKey( const std::string &der )
{
    std::string problem = problemOfPrivateKey( der, Context::keyDecoding );
    return problem.empty() ? problemOfPrivateKey( der, Context::everybodys ) : problem;
}
