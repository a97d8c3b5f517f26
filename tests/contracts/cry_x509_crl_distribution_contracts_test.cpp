#include <cry/cry_x509_certificate.h>
#include <cry/cry_x509_crl_distribution.h>
#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/standard_functions.hpp"

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_crl_distribution.cpp";

TEST( CryX509CrlDistributionContracts, All )
{
    pb::Ref<PB_VECTOR>                 uris = pb::adopt( pbVectorCreate() );
    pb::Ref<CRY_X509_CRL_DISTRIBUTION> dist = pb::adopt( cryX509CrlDistributionCreate( uris.get(), nullptr ) );
    EXPECT_STANDARD_CHECKS( file, cry, X509CrlDistribution, CRY_X509_CRL_DISTRIBUTION, "dist", dist.get() );
    EXPECT_ABORT( file, "uris", cryX509CrlDistributionCreate( nullptr, uris.get() ) );
    EXPECT_ABORT( file, "source", cryX509CrlDistributionCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "dist", cryX509CrlDistributionUris( nullptr ) );
    EXPECT_ABORT( file, "dist", cryX509CrlDistributionIssuers( nullptr ) );
    EXPECT_ABORT( file, "dist", cryX509CrlDistributionHasIssuers( nullptr ) );
    EXPECT_ABORT( file, "dist", cryX509CrlDistributionStore( nullptr ) );
    EXPECT_ABORT( file, "store", cryX509CrlDistributionTryRestore( nullptr ) );
    EXPECT_ABORT( "source/cry/x509/cry_x509_certificate.cpp", "cert", cryX509CertificateRevocationListDistribution( nullptr ) );
}
