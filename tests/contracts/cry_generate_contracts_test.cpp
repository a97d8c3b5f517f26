#include <cry/cry_generate_csr.h>
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_generate_certificate.h>
#include <pb/ref.hpp>

#include "support/contract.hpp"
#include "support/signatures.hpp"
#include "support/text.hpp"

using namespace support;

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

TEST( CryGenerateContracts, CertificatesAndRequestsNeedAKey )
{
    static constexpr char certificateFile[] = "source/cry/generate/cry_generate_certificate.cpp";
    static constexpr char csrFile[]         = "source/cry/generate/cry_generate_csr.cpp";
    pb::Ref<PB_STRING>    name              = str( "host.example" );
    EXPECT_ABORT( certificateFile, "privateKey", cryTryGenerateCertificate( nullptr, name.get(), name.get(), 1 ) );
    EXPECT_ABORT( certificateFile, "privateKey", cryTryGenerateCertificate( nullptr, nullptr, nullptr, -1 ) );
    EXPECT_ABORT(
        certificateFile, "privateKey", cryTryGenerateCertificateWithExtendedKeyUsage( nullptr, name.get(), name.get(), 1, PB_TRUE, PB_TRUE ) );
    EXPECT_ABORT( certificateFile, "privateKey", cry___TryGenerateCertificate( nullptr, name.get(), name.get(), 1, PB_FALSE, PB_FALSE ) );
    EXPECT_ABORT( csrFile, "privateKey", cryTryGenerateCsr( nullptr, name.get(), name.get() ) );
    EXPECT_ABORT( csrFile, "privateKey", cryTryGenerateCsr( nullptr, nullptr, nullptr ) );
}

TEST( CryGenerateContracts, DaysAreNotNegative )
{
    static constexpr char file[] = "source/cry/generate/cry_generate_certificate.cpp";
    PrivateKey            priv   = privateKey( key( KeyKind::p256 ) );
    for( PB_INT days : { (PB_INT)-1, (PB_INT)-2, (PB_INT)-365, PB_INT_MIN } )
    {
        EXPECT_ABORT( file, "days >= 0", cryTryGenerateCertificate( priv.get(), nullptr, nullptr, days ) );
        EXPECT_ABORT( file, "days >= 0", cryTryGenerateCertificateWithExtendedKeyUsage( priv.get(), nullptr, nullptr, days, PB_TRUE, PB_FALSE ) );
        EXPECT_ABORT( file, "days >= 0", cry___TryGenerateCertificate( priv.get(), nullptr, nullptr, days, PB_FALSE, PB_FALSE ) );
    }
    EXPECT_TRUE( pb::adopt( cryTryGenerateCertificate( priv.get(), nullptr, nullptr, 0 ) ) );
}

TEST( CryGenerateContracts, AnExtendedKeyUsageUsesTheKeyForSomething )
{
    static constexpr char file[] = "source/cry/generate/cry_generate_certificate.cpp";
    PrivateKey            priv   = privateKey( key( KeyKind::p256 ) );
    EXPECT_ABORT(
        file, "clientAuth || serverAuth", cryTryGenerateCertificateWithExtendedKeyUsage( priv.get(), nullptr, nullptr, 1, PB_FALSE, PB_FALSE ) );
    EXPECT_ABORT(
        file, "clientAuth || serverAuth", cryTryGenerateCertificateWithExtendedKeyUsage( nullptr, nullptr, nullptr, -1, PB_FALSE, PB_FALSE ) );
    for( PB_BOOL clientAuth : { PB_FALSE, PB_TRUE, (PB_BOOL)2 } )
        EXPECT_TRUE( pb::adopt( cryTryGenerateCertificateWithExtendedKeyUsage( priv.get(), nullptr, nullptr, 1, clientAuth, !clientAuth ) ) );
    EXPECT_TRUE( pb::adopt( cry___TryGenerateCertificate( priv.get(), nullptr, nullptr, 1, PB_FALSE, PB_FALSE ) ) );
}
