// PKCS#12 if OpenSSL fails at steps that never fail with good data, and if its secure heap is
// small. The functions below replace OpenSSL's own in this program, so no other tests belong here.
#include "cry/pkcs12/files.hpp"

#include <dlfcn.h>
#include <openssl/crypto.h>
#include <openssl/pem.h>

using namespace support;

namespace
{

const std::string secret = "secret";

// A function of OpenSSL's that a test can make fail at a later call.
template<class Result, class... Arguments>
struct Replaced
{
    const char *name;
    Result      failure;
    int         callsUntilFailure = -1; // no failure

    Result operator()( Arguments... arguments )
    {
        if( callsUntilFailure >= 0 && callsUntilFailure-- == 0 )
            return failure;
        static const auto own = (Result( * )( Arguments... ))dlsym( RTLD_NEXT, name );
        return own( arguments... );
    }
};

Replaced<int, const X509 *, unsigned char **>                                                            writeCertificate = { "i2d_X509", -1 };
Replaced<int, BIO *, const EVP_PKEY *, const EVP_CIPHER *, const char *, int, pem_password_cb *, void *> writeKey = { "PEM_write_bio_PKCS8PrivateKey",
    0 };
Replaced<PKCS12 *, const char *, const char *, EVP_PKEY *, X509 *, STACK_OF( X509 ) *, int, int, int, int, int> create = { "PKCS12_create", nullptr };
Replaced<STACK_OF( PKCS7 ) *, const PKCS12 *> unpack = { "PKCS12_unpack_authsafes", nullptr };

}

int i2d_X509( const X509 *x509, unsigned char **out ) { return writeCertificate( x509, out ); }
int PEM_write_bio_PKCS8PrivateKey(
    BIO *bio, const EVP_PKEY *key, const EVP_CIPHER *cipher, const char *text, int length, pem_password_cb *callback, void *closure )
{
    return writeKey( bio, key, cipher, text, length, callback, closure );
}
PKCS12 *PKCS12_create( const char *password, const char *name, EVP_PKEY *key, X509 *certificate, STACK_OF( X509 ) * others, int keyAlgorithm,
    int certificateAlgorithm, int rounds, int macRounds, int keyType )
{
    return create( password, name, key, certificate, others, keyAlgorithm, certificateAlgorithm, rounds, macRounds, keyType );
}
STACK_OF( PKCS7 ) * PKCS12_unpack_authsafes( const PKCS12 *pkcs12 ) { return unpack( pkcs12 ); }

namespace
{

Bags bags()
{
    const Chain c = chainOf( KeyKind::p256 );
    return { keyBag( key( KeyKind::p256, 2 ) ), withKeyId( named( certBag( c.leaf ), "leaf" ), "id" ), named( certBag( c.intermediate ), "between" ),
        certBag( c.root ) };
}

std::string file() { return fileOf( { dataSafe( bags() ) }, macOf( secret ) ); }

void expectFails( const std::string &content, const char *said )
{
    PB_INT before = pbObjLiveCount();
    Read   read   = readByFamily( content, secret );
    EXPECT_FALSE( read.read );
    EXPECT_EQ( read.said, said );
    EXPECT_EQ( read.code, 0 );
    EXPECT_EQ( pbObjLiveCount(), before );
}

pb::Ref<CRY_PKCS12> newPkcs12( size_t others )
{
    const Chain                                c = chainOf( KeyKind::p256 );
    std::vector<pb::Ref<CRY_X509_CERTIFICATE>> list( others, certificate( c.root ) );
    pb::Ref<CRY_PKEY_PRIVATE>                  own = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256, 2 ).get() ) );
    return pb::adopt( cryPkcs12TryCreate( certificate( c.leaf ).get(), own.get(), certificates( list ).get() ) );
}

}

TEST( CryPkcs12Faults, ACertificateThatCannotBeWrittenFails )
{
    std::string content = file();
    // Each certificate is written twice: for its length, then for its bytes.
    for( int calls = 0; calls < 6; calls++ )
    {
        writeCertificate.callsUntilFailure = calls;
        expectFails( content,
            calls < 2 ? "cry___X509CertificateTryCreateFromOpensslX509UpRef() failed" : "cry___X509CertificateTryCreateFromOpensslX509Use() failed" );
        EXPECT_EQ( writeCertificate.callsUntilFailure, -1 ) << calls;
    }
    EXPECT_TRUE( readByFamily( content, secret ).read );
}

TEST( CryPkcs12Faults, AKeyThatCannotBeWrittenFails )
{
    std::string content        = file();
    writeKey.callsUntilFailure = 0;
    expectFails( content, "cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef() failed" );
    EXPECT_TRUE( readByFamily( content, secret ).read );
}

TEST( CryPkcs12Faults, AFileThatOpensslDoesNotMakeIsNull )
{
    pb::Ref<CRY_PKCS12> pkcs12   = newPkcs12( 2 );
    pb::Ref<PB_STRING>  password = str( secret );
    PB_INT              before   = pbObjLiveCount();
    create.callsUntilFailure     = 0;
    EXPECT_EQ( cryPkcs12TryEncode( pkcs12.get(), password.get() ), nullptr );
    EXPECT_EQ( create.callsUntilFailure, -1 );
    EXPECT_EQ( pbObjLiveCount(), before );
    EXPECT_TRUE( pb::adopt( cryPkcs12TryEncode( pkcs12.get(), password.get() ) ) );
}

TEST( CryPkcs12Faults, WhatPkcs12ParseReadsIsTheSame )
{
    // If the safes cannot be unpacked here, PKCS12_parse reads the file, and its objects belong to
    // another context.
    std::string content = file();
    Read        wanted  = readByFamily( content, secret );
    EXPECT_EQ( wanted.labels, ( std::vector<std::string>{ "\"leaf\", \"id\"", "none, none", "\"between\", none" } ) );
    unpack.callsUntilFailure = 0;
    EXPECT_EQ( readByFamily( content, secret ), wanted );
    EXPECT_EQ( unpack.callsUntilFailure, -1 );
}

// This is the last test, since the secure heap stays.
TEST( CryPkcs12Faults, FilesThatAreLargerThanTheSecureHeapAreWritten )
{
    pb::Ref<CRY_PKCS12> pkcs12 = newPkcs12( 400 );
    ASSERT_NE( CRYPTO_secure_malloc_init( 65536, 16 ), 0 );
    pb::Ref<PB_STRING> password = str( secret );
    pb::Ref<PB_BUFFER> made     = pb::adopt( cryPkcs12TryEncode( pkcs12.get(), password.get() ) );
    ASSERT_TRUE( made );
    EXPECT_GT( pbBufferLength( made.get() ), 65536 );
    EXPECT_TRUE( pb::adopt( cryPkcs12TryCreateFromBuffer( made.get(), password.get() ) ) );
}
