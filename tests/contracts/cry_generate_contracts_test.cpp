#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <pb/ref.hpp>

#include "support/contract.hpp"

TEST( CryGenerateContracts, RsaKeySizes )
{
    static constexpr char file[] = "source/cry/generate/cry_generate_rsa_key_pair.cpp";
    for( PB_INT bits : { (PB_INT)1023, (PB_INT)0, (PB_INT)-1, (PB_INT)-2048, PB_INT_MIN } )
        EXPECT_ABORT( file, "bits >= 1024", cryTryGenerateRsaKeyPair( bits ) );
    for( PB_INT bits : { (PB_INT)16385, (PB_INT)1 << 32, PB_INT_MAX } )
        EXPECT_ABORT( file, "bits <= 16384", cryTryGenerateRsaKeyPair( bits ) );
    EXPECT_TRUE( pb::adopt( cryTryGenerateRsaKeyPair( 1024 ) ) );
}

TEST( CryGenerateContracts, Curves )
{
    static constexpr char file[] = "source/cry/generate/cry_generate_ec_key_pair.cpp";
    for( PB_INT curve : { (PB_INT)-1, (PB_INT)82, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( file, "CRY_PKEY_EC_NAMED_CURVE_OK( curve )", cryTryGenerateEcKeyPair( curve ) );
    EXPECT_TRUE( pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_SECP112R1 ) ) );
    EXPECT_TRUE( pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_SM2 ) ) );
}
