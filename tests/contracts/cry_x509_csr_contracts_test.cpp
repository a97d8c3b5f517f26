#include "contracts/pem_object_contracts.hpp"
#include "cry/x509/requests.hpp"
#include "support/signatures.hpp"

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_csr.cpp";

TEST( CryX509CsrContracts, PemObject )
{
    Request csr = request( makeRequest( { .key = key( KeyKind::p256 ) } ) );
    EXPECT_PEM_OBJECT_CHECKS( file, X509Csr, CRY_X509_CSR, "csr", OpensslX509Req, "req", csr.get() );
    // A certificate is not a request, although it may have the same key.
    pb::Ref<CRY_X509_CERTIFICATE> cert = certificate( chainOf( KeyKind::p256 ).root );
    EXPECT_ABORT_IN( "stdfunc from", file, "!obj || pbObjSort(obj)==&cry___sort_CRY_X509_CSR", cryX509CsrFrom( cert.obj() ) );
}

TEST( CryX509CsrContracts, Keys )
{
    Request    csr  = request( makeRequest( { .key = key( KeyKind::p256 ) } ) );
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    EXPECT_CERTIFIED_KEY_CHECKS( file, X509Csr, "csr", csr.get(), priv.get() );
    // A key that OpenSSL cannot decode aborts.
    Request unknown = requestFromPem( pem( "CERTIFICATE REQUEST", withUnknownKey( der( csr ) ) ) );
    ASSERT_TRUE( unknown );
    EXPECT_FALSE( cryX509CsrHasPublicKey( unknown.get() ) );
    EXPECT_ABORT( file, "pkey", cryX509CsrPublicKey( unknown.get() ) );
    EXPECT_FALSE( cryX509CsrCheckPrivateKey( unknown.get(), priv.get() ) );
    ERR_clear_error();
}
