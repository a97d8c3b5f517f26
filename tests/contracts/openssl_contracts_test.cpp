#include <openssl_module/internal/openssl_key_limits.h>
#include <openssl_module/internal/openssl_module.h>

#include "support/contract.hpp"

static constexpr char file[] = "source/openssl/openssl_module.cpp";

TEST( OpensslContracts, Algorithms )
{
    EXPECT_ABORT( file, "name", openssl___Digest( nullptr ) );
    EXPECT_ABORT( file, "name", openssl___Cipher( nullptr ) );
    EXPECT_ABORT( file, "digestName", openssl___Hmac( nullptr ) );
    EXPECT_ABORT( file, "md", openssl___IsDefaultProviders( nullptr ) );
}

TEST( OpensslContracts, Parsers )
{
    static constexpr PB_BYTE der[] = { 0x30, 0x00 };
    EXPECT_ABORT( file, "der", openssl___TryParseCertificate( nullptr, 0 ) );
    EXPECT_ABORT( file, "length >= 0", openssl___TryParseCertificate( der, -1 ) );
    for( auto parse : { openssl___TryParsePrivateKeyFast, openssl___TryParsePublicKeyFast } )
    {
        EXPECT_ABORT( file, "der", parse( nullptr, 0 ) );
        EXPECT_ABORT( file, "length >= 0", parse( der, -1 ) );
    }
}

TEST( OpensslContracts, CanonicalPublicKey )
{
    static constexpr PB_BYTE der[] = { 0x30, 0x00 };
    EXPECT_ABORT( file, "der", openssl___IsCanonicalPublicKey( nullptr, 0 ) );
    EXPECT_ABORT( file, "der", openssl___IsCanonicalPublicKey( nullptr, -1 ) );
    EXPECT_ABORT( file, "length >= 0", openssl___IsCanonicalPublicKey( der, -1 ) );
    EXPECT_FALSE( openssl___IsCanonicalPublicKey( der, 0 ) );
}

TEST( OpensslContracts, CanonicalCertificatesAndPrivateKeys )
{
    static constexpr char    certificates[] = "source/openssl/openssl_canonical_certificate.cpp";
    static constexpr char    keys[]         = "source/openssl/openssl_canonical_private_key.cpp";
    static constexpr PB_BYTE der[]          = { 0x30, 0x00 };
    EXPECT_ABORT( certificates, "der", openssl___IsCanonicalCertificate( nullptr, 0 ) );
    EXPECT_ABORT( certificates, "length >= 0", openssl___IsCanonicalCertificate( der, -1 ) );
    EXPECT_FALSE( openssl___IsCanonicalCertificate( der, 0 ) );
    EXPECT_ABORT( keys, "der", openssl___IsCanonicalPrivateKey( nullptr, 0 ) );
    EXPECT_ABORT( keys, "length >= 0", openssl___IsCanonicalPrivateKey( der, -1 ) );
    EXPECT_FALSE( openssl___IsCanonicalPrivateKey( der, 0 ) );
}

TEST( OpensslContracts, NameKeys )
{
    static constexpr char    names[] = "source/openssl/openssl_name_key.cpp";
    static constexpr PB_BYTE der[]   = { 0x30, 0x00 };
    PB_INT                   key;
    EXPECT_ABORT( names, "der", openssl___TrySubjectKey( nullptr, 0, &key ) );
    EXPECT_ABORT( names, "length >= 0", openssl___TrySubjectKey( der, -1, &key ) );
    EXPECT_ABORT( names, "key", openssl___TrySubjectKey( der, 0, nullptr ) );
    EXPECT_FALSE( openssl___TrySubjectKey( der, 0, &key ) );
    EXPECT_ABORT( names, "name", openssl___TryNameKey( nullptr, &key ) );
    X509_NAME *name = X509_NAME_new();
    EXPECT_ABORT( names, "key", openssl___TryNameKey( name, nullptr ) );
    EXPECT_TRUE( openssl___TryNameKey( name, &key ) );
    X509_NAME_free( name );
}

TEST( OpensslContracts, ContextOfAKey ) { EXPECT_ABORT( file, "pkey", openssl___ContextOf( nullptr ) ); }

TEST( OpensslContracts, KeyLimits )
{
    static constexpr char limits[] = "source/openssl/openssl_key_limits.cpp";
    EXPECT_ABORT( limits, "algorithm", openssl___DerivationRounds( nullptr ) );
    EXPECT_ABORT( limits, "algorithm", openssl___DerivationIsBounded( nullptr ) );
    EXPECT_ABORT( limits, "der || !length", openssl___KeyProblem( nullptr, 1 ) );
    EXPECT_EQ( openssl___KeyProblem( nullptr, 0 ), OPENSSL___KEY_PROBLEM_NONE );
    EXPECT_ABORT( limits, "info", openssl___PrivateKeyIsBounded( nullptr ) );
}
