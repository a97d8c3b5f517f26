#include <cry/internal/cry_pkey_public.h>

#include "contracts/pem_object_contracts.hpp"

using namespace support;

static constexpr char file[] = "source/cry/pkey/cry_pkey_public.cpp";

TEST( CryPkeyPublicContracts, PemObject )
{
    pb::Ref<CRY_PKEY_PUBLIC> pub = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256 ).get() ) );
    EXPECT_PEM_OBJECT_CHECKS( file, PkeyPublic, CRY_PKEY_PUBLIC, "pub", OpensslEvpPkey, "pkey", pub.get() );
    EXPECT_ABORT( file, "pkey", cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( nullptr ) );
    EXPECT_ABORT( file, "pub", cryPkeyPublicInfo( nullptr ) );
    // A private key object is not a public key object, although it has a public key.
    pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) );
    EXPECT_ABORT_IN( "stdfunc from", file, "!obj || pbObjSort(obj)==&cry___sort_CRY_PKEY_PUBLIC", cryPkeyPublicFrom( priv.obj() ) );
}
