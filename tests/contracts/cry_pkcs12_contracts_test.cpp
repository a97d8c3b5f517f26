#include <cry/cry_pkcs12.h>
#include <cry/internal/cry_pkey_private.h>

#include "support/certificates.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/cry/pkcs12/cry_pkcs12.cpp";

static pb::Ref<CRY_PKEY_PRIVATE> privateKey( int number )
{
    return pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256, number ).get() ) );
}

static pb::Ref<CRY_PKCS12> newPkcs12()
{
    return pb::adopt( cryPkcs12TryCreate( certificate( chainOf( KeyKind::p256 ).leaf ).get(), privateKey( 2 ).get(), nullptr ) );
}

TEST( CryPkcs12Contracts, Creation )
{
    pb::Ref<CRY_X509_CERTIFICATE>  cert = certificate( chainOf( KeyKind::p256 ).leaf );
    pb::Ref<CRY_PKEY_PRIVATE>      key  = privateKey( 2 );
    pb::Ref<CRY_X509_CERTIFICATES> none = pb::adopt( cryX509CertificatesCreate() );
    EXPECT_ABORT( file, "cert", cryPkcs12TryCreate( nullptr, key.get(), none.get() ) );
    EXPECT_ABORT( file, "key", cryPkcs12TryCreate( cert.get(), nullptr, none.get() ) );
    EXPECT_ABORT( file, "cert", cryPkcs12TryCreate( nullptr, nullptr, nullptr ) );
    EXPECT_TRUE( pb::adopt( cryPkcs12TryCreate( cert.get(), key.get(), nullptr ) ) );
}

TEST( CryPkcs12Contracts, Reading )
{
    pb::Ref<PB_STRING> password = str( "secret" );
    PB_STRING         *said     = nullptr;
    int32_t            code     = 7;
    EXPECT_ABORT( file, "buffer", cryPkcs12TryCreateFromBuffer( nullptr, password.get() ) );
    EXPECT_ABORT( file, "buffer", cryPkcs12TryCreateFromBuffer( nullptr, nullptr ) );
    EXPECT_ABORT( file, "buffer", cryPkcs12TryCreateFromBufferWithDiagnostics( nullptr, password.get(), &said ) );
    EXPECT_ABORT( file, "buffer", cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( nullptr, password.get(), &said, &code ) );
    EXPECT_EQ( said, nullptr );
    EXPECT_EQ( code, 7 );
    // An empty buffer and null addresses do not break a contract.
    pb::Ref<PB_BUFFER> empty = pb::adopt( pbBufferCreate() );
    EXPECT_EQ( cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( empty.get(), nullptr, nullptr, nullptr ), nullptr );
    EXPECT_EQ( cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode( buf( "" ).get(), nullptr, nullptr, nullptr ), nullptr );
}

TEST( CryPkcs12Contracts, Parts )
{
    EXPECT_ABORT( file, "pkcs12", cryPkcs12PrivateKey( nullptr ) );
    EXPECT_ABORT( file, "pkcs12", cryPkcs12Certificate( nullptr ) );
    EXPECT_ABORT( file, "pkcs12", cryPkcs12Certificates( nullptr ) );
    EXPECT_ABORT( file, "pkcs12", cryPkcs12Store( nullptr ) );
    EXPECT_ABORT( file, "pkcs12", cryPkcs12TryEncode( nullptr, nullptr ) );
    EXPECT_ABORT( file, "pkcs12", cryPkcs12TryEncode( nullptr, str( "secret" ).get() ) );
}

TEST( CryPkcs12Contracts, StandardFunctions )
{
    pb::Ref<CRY_PKCS12> pkcs12 = newPkcs12();
    ASSERT_TRUE( pkcs12 );
    EXPECT_STANDARD_CHECKS( file, cry, Pkcs12, CRY_PKCS12, "pkcs12", pkcs12.get() );
}
