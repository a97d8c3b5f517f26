#include <openssl_module/internal/openssl_module.h>

#include "support/contract.hpp"

static constexpr char file[] = "source/openssl/openssl_module.cpp";

TEST( OpensslContracts, Algorithms )
{
    EXPECT_ABORT( file, "name", openssl___Digest( nullptr ) );
    EXPECT_ABORT( file, "name", openssl___Cipher( nullptr ) );
    EXPECT_ABORT( file, "digestName", openssl___Hmac( nullptr ) );
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

TEST( OpensslContracts, ContextOfAKey ) { EXPECT_ABORT( file, "pkey", openssl___ContextOf( nullptr ) ); }
