#include <cry/internal/cry_module.h>
#include <cry/internal/cry_x509_system.h>

#include "support/contract.hpp"

static constexpr char file[] = "source/cry/x509/cry_x509_system.cpp";

TEST( CryX509SystemContracts, Signalables )
{
    EXPECT_ABORT( file, "sigb", cryX509SystemTrustedCertificatesAddSignalable( nullptr ) );
    EXPECT_ABORT( file, "sigb", cryX509SystemTrustedCertificatesDelSignalable( nullptr ) );
}

TEST( CryX509SystemContracts, TheShutDownComesAfterTheHalt )
{
    EXPECT_ABORT( file, "pbProcessHalted( cry___X509SystemProcess )", cry___X509SystemShutdown() );
}
