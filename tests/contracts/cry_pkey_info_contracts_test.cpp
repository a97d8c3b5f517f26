#include <cry/internal/cry_pkey_info.h>

#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char file[] = "source/cry/pkey/cry_pkey_info.cpp";

TEST( CryPkeyInfoContracts, StandardFunctions )
{
    pb::Ref<CRY_PKEY_INFO> info = pb::adopt( cryPkeyInfoCreate() );
    EXPECT_STANDARD_CHECKS( file, cry, PkeyInfo, CRY_PKEY_INFO, "info", info.get() );
}

TEST( CryPkeyInfoContracts, Reading )
{
    EXPECT_ABORT( file, "source", cryPkeyInfoCreateFrom( nullptr ) );
    EXPECT_ABORT( file, "pkey", cry___PkeyInfoCreateFromOpensslEvpPkey( nullptr ) );
    EXPECT_ABORT( file, "info", cryPkeyInfoType( nullptr ) );
    EXPECT_ABORT( file, "info", cryPkeyInfoHasType( nullptr ) );
    EXPECT_ABORT( file, "info", cryPkeyInfoBits( nullptr ) );
    EXPECT_ABORT( file, "info", cryPkeyInfoHasBits( nullptr ) );
    EXPECT_ABORT( file, "info", cryPkeyInfoEcNamedCurve( nullptr ) );
    EXPECT_ABORT( file, "info", cryPkeyInfoHasEcNamedCurve( nullptr ) );
}

TEST( CryPkeyInfoContracts, SettersNeedAnObject )
{
    pb::Ref<CRY_PKEY_INFO> none;
    for( auto set : { cryPkeyInfoSetType, cryPkeyInfoSetBits, cryPkeyInfoSetEcNamedCurve } )
    {
        EXPECT_ABORT( file, "info", set( nullptr, 0 ) );
        EXPECT_ABORT( file, "*info", set( none.handle(), 0 ) );
        // The pointers are checked before the value.
        EXPECT_ABORT( file, "info", set( nullptr, -1 ) );
        EXPECT_ABORT( file, "*info", set( none.handle(), -1 ) );
    }
    for( auto del : { cryPkeyInfoDelType, cryPkeyInfoDelBits, cryPkeyInfoDelEcNamedCurve } )
    {
        EXPECT_ABORT( file, "info", del( nullptr ) );
        EXPECT_ABORT( file, "*info", del( none.handle() ) );
    }
}

TEST( CryPkeyInfoContracts, RefusedValuesChangeNothing )
{
    pb::Ref<CRY_PKEY_INFO> info = pb::adopt( cryPkeyInfoCreate() );
    cryPkeyInfoSetType( info.handle(), CRY_PKEY_TYPE_EC );
    cryPkeyInfoSetBits( info.handle(), 256 );
    cryPkeyInfoSetEcNamedCurve( info.handle(), CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 );
    pb::Ref<CRY_PKEY_INFO> shared = info;
    for( PB_INT type : { (PB_INT)-1, (PB_INT)2, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( file, "CRY_PKEY_TYPE_OK( type )", cryPkeyInfoSetType( info.handle(), type ) );
    for( PB_INT bits : { (PB_INT)-1, PB_INT_MIN } )
        EXPECT_ABORT( file, "bits >= 0", cryPkeyInfoSetBits( info.handle(), bits ) );
    for( PB_INT curve : { (PB_INT)-1, (PB_INT)82, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( file, "CRY_PKEY_EC_NAMED_CURVE_OK( ecNamedCurve )", cryPkeyInfoSetEcNamedCurve( info.handle(), curve ) );
    EXPECT_EQ( info.get(), shared.get() ) << "no copy was made for a value that is refused";
    EXPECT_EQ( cryPkeyInfoType( info.get() ), CRY_PKEY_TYPE_EC );
    EXPECT_EQ( cryPkeyInfoBits( info.get() ), 256 );
    EXPECT_EQ( cryPkeyInfoEcNamedCurve( info.get() ), CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 );

    // The lowest and the highest good values.
    cryPkeyInfoSetType( info.handle(), CRY_PKEY_TYPE_RSA );
    cryPkeyInfoSetBits( info.handle(), PB_INT_MAX );
    cryPkeyInfoSetEcNamedCurve( info.handle(), CRY_PKEY_EC_NAMED_CURVE_SM2 );
    EXPECT_EQ( cryPkeyInfoType( info.get() ), 0 );
    EXPECT_EQ( cryPkeyInfoBits( info.get() ), PB_INT_MAX );
    EXPECT_EQ( cryPkeyInfoEcNamedCurve( info.get() ), 81 );
    cryPkeyInfoSetBits( info.handle(), 0 );
    EXPECT_EQ( cryPkeyInfoBits( info.get() ), 0 );
}
