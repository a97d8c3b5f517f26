#include <cry/internal/cry_pkey_public.h>

#include "support/certificates.hpp"
#include "support/standard_functions.hpp"

using namespace support;

static constexpr char file[] = "source/cry/pkey/cry_pkey_public.cpp";

TEST( CryPkeyPublicContracts, StandardFunctions )
{
    pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256 ).get() ) );
    ASSERT_TRUE( pub );
    EXPECT_STANDARD_CHECKS( file, cry, PkeyPublic, CRY_PKEY_PUBLIC, "pub", pub.get() );
    // A private key is none, although it has one.
    pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) );
    EXPECT_ABORT_IN( "stdfunc from", file, "!obj || pbObjSort(obj)==&cry___sort_CRY_PKEY_PUBLIC", cryPkeyPublicFrom( priv.obj() ) );
}

TEST( CryPkeyPublicContracts, Arguments )
{
    EXPECT_ABORT( file, "pem", cryPkeyPublicTryCreateFromPem( nullptr ) );
    EXPECT_ABORT( file, "store", cryPkeyPublicTryRestore( nullptr ) );
    EXPECT_ABORT( file, "pub", cryPkeyPublicPem( nullptr ) );
    EXPECT_ABORT( file, "pub", cryPkeyPublicInfo( nullptr ) );
    EXPECT_ABORT( file, "pub", cryPkeyPublicStore( nullptr ) );
    EXPECT_ABORT( file, "pub", cry___PkeyPublicPeekOpensslEvpPkey( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( nullptr ) );
}
