#include <cry/internal/cry_x509_basic_constraints.h>
#include <cry/internal/cry_x509_extended_key_usage.h>
#include <cry/internal/cry_x509_key_usage.h>
#include <cry/internal/cry_x509_netscape_cert_type.h>

#include "support/standard_functions.hpp"

#include <pb/pb.h>
#include <pb/ref.hpp>

TEST( CryX509UsageContracts, BasicConstraints )
{
    static constexpr char               file[] = "source/cry/x509/cry_x509_basic_constraints.cpp";
    pb::Ref<CRY_X509_BASIC_CONSTRAINTS> bc     = pb::adopt( cryX509BasicConstraintsCreate() ), none;
    EXPECT_STANDARD_CHECKS( file, cry, X509BasicConstraints, CRY_X509_BASIC_CONSTRAINTS, "bc", bc.get() );
    EXPECT_ABORT( file, "source", cryX509BasicConstraintsCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "bcons", cry___X509BasicConstraintsCreateFromOpensslBasicConstraints( nullptr ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsCA( nullptr ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsPathlen( nullptr ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsHasPathlen( nullptr ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsStore( nullptr ) );
    EXPECT_ABORT( file, "store", cryX509BasicConstraintsRestore( nullptr ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsSetCA( nullptr, PB_TRUE ) );
    EXPECT_ABORT( file, "*bc", cryX509BasicConstraintsSetCA( none.handle(), PB_TRUE ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsSetPathlen( nullptr, -1 ) );
    EXPECT_ABORT( file, "*bc", cryX509BasicConstraintsSetPathlen( none.handle(), -1 ) );
    for( PB_INT pathlen : { (PB_INT)-1, PB_INT_MIN } )
        EXPECT_ABORT( file, "pathlen >= 0", cryX509BasicConstraintsSetPathlen( bc.handle(), pathlen ) );
    EXPECT_ABORT( file, "bc", cryX509BasicConstraintsDelPathlen( nullptr ) );
    EXPECT_ABORT( file, "*bc", cryX509BasicConstraintsDelPathlen( none.handle() ) );
}

TEST( CryX509UsageContracts, OpensslForms )
{
    EXPECT_ABORT( "source/cry/x509/cry_x509_key_usage.cpp", "usage", cry___X509KeyUsageFromOpensslKeyUsage( nullptr ) );
    EXPECT_ABORT( "source/cry/x509/cry_x509_extended_key_usage.cpp", "extusage", cry___X509ExtendedKeyUsageFromOpensslExtendedKeyUsage( nullptr ) );
    EXPECT_ABORT( "source/cry/x509/cry_x509_netscape_cert_type.cpp", "nscert", cry___X509NetscapeCertTypeFromOpensslNetscapeCertType( nullptr ) );
}
