#include "cry/x509/requests.hpp"
#include "support/signatures.hpp"
#include "support/standard_functions.hpp"

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_csr.cpp";

TEST( CryX509CsrContracts, StandardFunctions )
{
    Request csr = request( makeRequest( { .key = key( KeyKind::p256 ) } ) );
    EXPECT_STANDARD_CHECKS( file, cry, X509Csr, CRY_X509_CSR, "csr", csr.get() );
    // A certificate is none, although it may be of the same key.
    pb::Ref<CRY_X509_CERTIFICATE> cert = certificate( chainOf( KeyKind::p256 ).root );
    EXPECT_ABORT_IN( "stdfunc from", file, "!obj || pbObjSort(obj)==&cry___sort_CRY_X509_CSR", cryX509CsrFrom( cert.obj() ) );
}

TEST( CryX509CsrContracts, Arguments )
{
    EXPECT_ABORT( file, "pem", cryX509CsrTryCreateFromPem( nullptr ) );
    EXPECT_ABORT( file, "store", cryX509CsrTryRestore( nullptr ) );
    EXPECT_ABORT( file, "csr", cryX509CsrPem( nullptr ) );
    EXPECT_ABORT( file, "csr", cryX509CsrStore( nullptr ) );
    EXPECT_ABORT( file, "csr", cryX509CsrPublicKey( nullptr ) );
    EXPECT_ABORT( file, "csr", cry___X509CsrPeekOpensslX509Req( nullptr ) );
    EXPECT_ABORT( file, "req", cry___X509CsrTryCreateFromOpensslX509ReqUse( nullptr ) );
    EXPECT_ABORT( file, "req", cry___X509CsrTryCreateFromOpensslX509ReqCopy( nullptr ) );
}

TEST( CryX509CsrContracts, CheckPrivateKey )
{
    Request    csr  = request( makeRequest( { .key = key( KeyKind::p256 ) } ) );
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    EXPECT_ABORT( file, "csr", cryX509CsrCheckPrivateKey( nullptr, priv.get() ) );
    EXPECT_ABORT( file, "csr", cryX509CsrCheckPrivateKey( nullptr, nullptr ) );
    EXPECT_ABORT( file, "privateKey", cryX509CsrCheckPrivateKey( csr.get(), nullptr ) );
    EXPECT_TRUE( cryX509CsrCheckPrivateKey( csr.get(), priv.get() ) );
}

TEST( CryX509CsrContracts, AKeyThatOpensslCannotDecode )
{
    std::string body = der( makeRequest( { .key = key( KeyKind::p256 ) } ) );
    // id-ecPublicKey, 1.2.840.10045.2.1, becomes 1.2.840.10045.2.127.
    static constexpr std::string_view ecPublicKey = "\x06\x07\x2A\x86\x48\xCE\x3D\x02\x01";
    size_t                            at          = body.find( ecPublicKey );
    ASSERT_NE( at, body.npos );
    body[at + ecPublicKey.size() - 1] = 0x7F;
    Request csr                       = requestFromPem( pem( "CERTIFICATE REQUEST", body ) );
    ASSERT_TRUE( csr );
    EXPECT_ABORT( file, "pkey", cryX509CsrPublicKey( csr.get() ) );
    // Whether a private key belongs to it can still be asked.
    EXPECT_FALSE( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( KeyKind::p256 ) ).get() ) );
    ERR_clear_error();
}
