// The checks that the patterns make from the names of a type, for the sketch of an identity.
#include "cry/sketch/sketch_x509_identity.h"

#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/contract.hpp"
#include "support/standard_functions.hpp"

using namespace support;

static constexpr char file[] = "tests/cry/sketch/sketch_x509_identity.cpp";

TEST( SketchContracts, Identity )
{
    pb::Ref<SKETCH_X509_IDENTITY> ident = pb::adopt( sketchX509IdentityCreate() );
    EXPECT_STANDARD_CHECKS( file, sketch, X509Identity, SKETCH_X509_IDENTITY, "ident", ident.get() );

    SKETCH_X509_IDENTITY *none = nullptr;
    EXPECT_ABORT( file, "source", sketchX509IdentityCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "ident", sketchX509IdentityPrivateKey( nullptr ) );
    EXPECT_ABORT( file, "ident", sketchX509IdentityHasCertificate( nullptr ) );
    EXPECT_ABORT( file, "ident", sketchX509IdentitySetCertificate( nullptr, nullptr ) );
    EXPECT_ABORT( file, "*ident", sketchX509IdentitySetCertificate( &none, nullptr ) );
    EXPECT_ABORT( file, "cert", sketchX509IdentitySetCertificate( ident.handle(), nullptr ) );
    EXPECT_ABORT( file, "*ident", sketchX509IdentityDelPrivateKey( &none ) );
    EXPECT_ABORT( file, "ident", sketchX509IdentityStore( nullptr, PB_TRUE ) );
    EXPECT_ABORT( file, "store", sketchX509IdentityRestore( nullptr ) );
}
