#include "contracts/pem_object_contracts.hpp"
#include "cry/x509/crls.hpp"

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_crl.cpp";

TEST( CryX509CrlContracts, PemObject )
{
    Crl crl = support::crl( { .serials = { "5" } } );
    EXPECT_PEM_OBJECT_CHECKS( file, X509Crl, CRY_X509_CRL, "crl", OpensslX509Crl, "x509Crl", crl.get() );
}

TEST( CryX509CrlContracts, Reading )
{
    Crl                           crl  = support::crl( { .serials = { "5" } } );
    pb::Ref<CRY_X509_CERTIFICATE> cert = certificate( chainOf( KeyKind::p256 ).leaf );
    EXPECT_ABORT( file, "crl", cryX509CrlIssuer( nullptr ) );
    EXPECT_ABORT( file, "crl", cryX509CrlLastUpdate( nullptr ) );
    EXPECT_ABORT( file, "crl", cryX509CrlNextUpdate( nullptr ) );
    EXPECT_ABORT( file, "crl", cryX509CrlRevokedSerials( nullptr ) );
    EXPECT_ABORT( file, "crl", cryX509CrlRevokedBySerial( nullptr, number( "5" ).get() ) );
    EXPECT_ABORT( file, "crl", cryX509CrlRevokedBySerial( nullptr, nullptr ) );
    EXPECT_ABORT( file, "serial", cryX509CrlRevokedBySerial( crl.get(), nullptr ) );
    EXPECT_ABORT( file, "crl", cryX509CrlRevokedByCertificate( nullptr, cert.get() ) );
    EXPECT_ABORT( file, "crl", cryX509CrlRevokedByCertificate( nullptr, nullptr ) );
    EXPECT_ABORT( file, "cert", cryX509CrlRevokedByCertificate( crl.get(), nullptr ) );
}
