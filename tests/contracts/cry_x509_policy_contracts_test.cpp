#include <cry/cry_x509_policy.h>
#include <pb/ref.hpp>

#include "support/standard_functions.hpp"

using namespace support;

static constexpr char file[] = "source/cry/x509/cry_x509_policy.cpp";

TEST( CryX509PolicyContracts, StandardFunctions )
{
    pb::Ref<CRY_X509_POLICY> pol = pb::adopt( cryX509PolicyCreate() );
    EXPECT_STANDARD_CHECKS( file, cry, X509Policy, CRY_X509_POLICY, "pol", pol.get() );
}

TEST( CryX509PolicyContracts, Reading )
{
    EXPECT_ABORT( file, "source", cryX509PolicyCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "store", cryX509PolicyRestore( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyStore( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyFlags( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyTime( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyHasTime( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyAcceptableSans( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyHasAcceptableSans( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyLenientSubjectChecksIpAddress( nullptr ) );
    EXPECT_ABORT( file, "pol", cryX509PolicyHasLenientSubjectChecksIpAddress( nullptr ) );
}

TEST( CryX509PolicyContracts, Editing )
{
    CRY_X509_POLICY *none = nullptr;
    for( CRY_X509_POLICY **handle : { (CRY_X509_POLICY **)nullptr, &none } )
    {
        const char *check = handle ? "*pol" : "pol";
        EXPECT_ABORT( file, check, cryX509PolicySetFlags( handle, 0 ) );
        EXPECT_ABORT( file, check, cryX509PolicySetTime( handle, nullptr ) );
        EXPECT_ABORT( file, check, cryX509PolicyDelTime( handle ) );
        EXPECT_ABORT( file, check, cryX509PolicySetAcceptableSans( handle, nullptr ) );
        EXPECT_ABORT( file, check, cryX509PolicyDelAcceptableSans( handle ) );
        EXPECT_ABORT( file, check, cryX509PolicySetLenientSubjectChecksIpAddress( handle, nullptr ) );
        EXPECT_ABORT( file, check, cryX509PolicyDelLenientSubjectChecksIpAddress( handle ) );
    }
    pb::Ref<CRY_X509_POLICY> pol = pb::adopt( cryX509PolicyCreate() );
    EXPECT_ABORT( file, "time", cryX509PolicySetTime( pol.handle(), nullptr ) );
    EXPECT_ABORT( file, "acceptableSans", cryX509PolicySetAcceptableSans( pol.handle(), nullptr ) );
    EXPECT_ABORT( file, "lenientSubjectChecksIpAddress", cryX509PolicySetLenientSubjectChecksIpAddress( pol.handle(), nullptr ) );
}
