#include <cry/internal/cry_pkey_private.h>

#include "support/certificates.hpp"
#include "support/contract.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/cry/pkey/cry_pkey_private.cpp";

TEST( CryPkeyPrivateContracts, StandardFunctions )
{
    pb::Ref<CRY_PKEY_PRIVATE> priv   = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( KeyKind::p256 ).get() ) );
    pb::Ref<PB_STRING>        other  = str( "x" );
    static constexpr char     sort[] = "!obj || pbObjSort(obj)==&cry___sort_CRY_PKEY_PRIVATE";
    EXPECT_ABORT_IN( "stdfunc from", file, sort, cryPkeyPrivateFrom( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc retain", file, "obj", cryPkeyPrivateRetain( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc release", file, "obj", cryPkeyPrivateRelease( nullptr ) );
    EXPECT_ABORT_IN( "stdfunc compare a", file, "objA", cryPkeyPrivateCompare( nullptr, priv.get() ) );
    EXPECT_ABORT_IN( "stdfunc compare b", file, "objB", cryPkeyPrivateCompare( priv.get(), nullptr ) );
    EXPECT_ABORT_IN( "stdfunc tostring", file, "obj", cryPkeyPrivateToString( nullptr ) );
    const PB_SORT_SLOTS &slots = cryPkeyPrivateSort()->slots;
    EXPECT_ABORT_IN( "stdfunc from", file, sort, slots.free( other.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", file, sort, slots.compare( other.obj(), priv.obj() ) );
    EXPECT_ABORT_IN( "stdfunc from", file, sort, slots.compare( priv.obj(), other.obj() ) );
    EXPECT_ABORT( file, "priv", slots.free( nullptr ) );
    EXPECT_ABORT( file, "privA", slots.compare( nullptr, priv.obj() ) );
    EXPECT_ABORT( file, "privB", slots.compare( priv.obj(), nullptr ) );
    EXPECT_EQ( cryPkeyPrivateFrom( nullptr ), nullptr );
    EXPECT_EQ( cryPkeyPrivateObj( nullptr ), nullptr );
    EXPECT_TRUE( cryPkeyPrivateEquals( nullptr, nullptr ) );
}

TEST( CryPkeyPrivateContracts, Arguments )
{
    EXPECT_ABORT( file, "pem", cryPkeyPrivateTryCreateFromPem( nullptr ) );
    EXPECT_ABORT( file, "store", cryPkeyPrivateTryRestore( nullptr ) );
    EXPECT_ABORT( file, "priv", cryPkeyPrivatePem( nullptr ) );
    EXPECT_ABORT( file, "priv", cryPkeyPrivateInfo( nullptr ) );
    EXPECT_ABORT( file, "priv", cryPkeyPrivatePublicKey( nullptr ) );
    EXPECT_ABORT( file, "priv", cryPkeyPrivateStore( nullptr ) );
    EXPECT_ABORT( file, "priv", cry___PkeyPrivatePeekOpensslEvpPkey( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy( nullptr ) );
}
