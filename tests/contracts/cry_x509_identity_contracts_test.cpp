#include <cry/cry_x509_identity.h>
#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/standard_functions.hpp"

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_identity.cpp";

TEST( CryX509IdentityContracts, Reading )
{
    pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
    EXPECT_STANDARD_CHECKS( file, cry, X509Identity, CRY_X509_IDENTITY, "ident", ident.get() );
    EXPECT_ABORT( file, "source", cryX509IdentityCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentityPrivateKey( nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentityHasPrivateKey( nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentityCertificate( nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentityHasCertificate( nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentityExtraCertificates( nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentityStore( nullptr, PB_FALSE ) );
    EXPECT_ABORT( file, "store", cryX509IdentityRestore( nullptr ) );
}

TEST( CryX509IdentityContracts, Editing )
{
    pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
    CRY_X509_IDENTITY         *none  = nullptr;
    EXPECT_ABORT( file, "ident", cryX509IdentitySetPrivateKey( nullptr, nullptr ) );
    EXPECT_ABORT( file, "*ident", cryX509IdentitySetPrivateKey( &none, nullptr ) );
    EXPECT_ABORT( file, "priv", cryX509IdentitySetPrivateKey( ident.handle(), nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentitySetCertificate( nullptr, nullptr ) );
    EXPECT_ABORT( file, "*ident", cryX509IdentitySetCertificate( &none, nullptr ) );
    EXPECT_ABORT( file, "cert", cryX509IdentitySetCertificate( ident.handle(), nullptr ) );
    EXPECT_ABORT( file, "ident", cryX509IdentitySetExtraCertificates( nullptr, nullptr ) );
    EXPECT_ABORT( file, "*ident", cryX509IdentitySetExtraCertificates( &none, nullptr ) );
    EXPECT_ABORT( file, "extraCertificates", cryX509IdentitySetExtraCertificates( ident.handle(), nullptr ) );
    for( auto *remove : { cryX509IdentityDelPrivateKey, cryX509IdentityDelCertificate } )
    {
        EXPECT_ABORT( file, "ident", remove( nullptr ) );
        EXPECT_ABORT( file, "*ident", remove( &none ) );
    }
}
