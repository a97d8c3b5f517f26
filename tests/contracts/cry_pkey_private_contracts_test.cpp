#include <cry/internal/cry_pkey_private.h>

#include "contracts/pem_object_contracts.hpp"

using namespace support;

static constexpr char file[] = "source/cry/pkey/cry_pkey_private.cpp";

TEST( CryPkeyPrivateContracts, PemObject )
{
    pb::Ref<CRY_PKEY_PRIVATE> priv = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256 ).get() ) );
    EXPECT_PEM_OBJECT_CHECKS( file, PkeyPrivate, CRY_PKEY_PRIVATE, "priv", OpensslEvpPkey, "pkey", priv.get() );
    EXPECT_ABORT( file, "pkey", cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( nullptr ) );
    EXPECT_ABORT( file, "priv", cryPkeyPrivateInfo( nullptr ) );
    EXPECT_ABORT( file, "priv", cryPkeyPrivatePublicKey( nullptr ) );
}
