#include <cry/cry_pkey_ec_named_curve.h>
#include <cry/cry_pkey_type.h>
#include <cry/internal/cry_pkey.h>
#include <pb/pb_boxed_int.h>
#include <pb/pb_dict.h>

#include "support/contract.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char typeFile[]  = "source/cry/pkey/cry_pkey_type.cpp";
static constexpr char curveFile[] = "source/cry/pkey/cry_pkey_ec_named_curve.cpp";

extern PB_DICT *cry___PkeyEcNamedCurveNidByValue;
extern PB_DICT *cry___PkeyEcNamedCurveValueByNid;
extern PB_DICT *cry___PkeyEcNamedCurveValueBySn;

namespace
{

// Replaces a module global by another table while this object lives.
class OtherTable
{
public:
    OtherTable( PB_DICT *&variable, PB_OBJ *key, PB_INT value ) : variable( variable ), before( variable )
    {
        variable = pbDictCreate();
        if( key )
            pbDictSetObjKey( &variable, key, pb::adopt( pbBoxedIntCreate( value ) ).obj() );
    }
    ~OtherTable()
    {
        pbDictRelease( variable );
        variable = before;
    }

private:
    PB_DICT *&variable;
    PB_DICT  *before;
};

}

TEST( CryPkeyContracts, KeyTypes )
{
    for( PB_INT type : { (PB_INT)-1, (PB_INT)2, (PB_INT)6, PB_INT_MIN, PB_INT_MAX } )
        EXPECT_ABORT( typeFile, "CRY_PKEY_TYPE_OK( type )", cry___PkeyTypeToOpensslNid( type ) );
}

TEST( CryPkeyContracts, Curves )
{
    for( PB_INT curve : { (PB_INT)-1, (PB_INT)82, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( curveFile, "CRY_PKEY_EC_NAMED_CURVE_OK( curve )", cryPkeyEcNamedCurveDisplayName( curve ) );
        EXPECT_ABORT( curveFile, "CRY_PKEY_EC_NAMED_CURVE_OK( curve )", cry___PkeyEcNamedCurveToOpensslNid( curve ) );
        EXPECT_ABORT( curveFile, "CRY_PKEY_EC_NAMED_CURVE_OK( curve )", cry___PkeyEcNamedCurveToOpensslSn( curve ) );
    }
    EXPECT_ABORT( curveFile, "sn", cry___PkeyEcNamedCurveFromOpensslSn( nullptr ) );
}

TEST( CryPkeyContracts, NumbersInTheTablesAreChecked )
{
    pb::Ref<PB_BOXED_INT> zero = pb::adopt( pbBoxedIntCreate( 0 ) ), nid = pb::adopt( pbBoxedIntCreate( 415 ) );
    for( PB_INT wide : { (PB_INT)INT32_MAX + 1, (PB_INT)INT32_MIN - 1 } )
    {
        OtherTable table( cry___PkeyEcNamedCurveNidByValue, zero.obj(), wide );
        EXPECT_ABORT( curveFile, "PB_INT_TO_SIGNED_INT_CONV_OK( pbBoxedIntValue( bi ) )", cry___PkeyEcNamedCurveToOpensslNid( 0 ) );
    }
    for( PB_INT none : { (PB_INT)82, (PB_INT)-1 } )
    {
        OtherTable byNid( cry___PkeyEcNamedCurveValueByNid, nid.obj(), none );
        OtherTable bySn( cry___PkeyEcNamedCurveValueBySn, str( "curve" ).obj(), none );
        EXPECT_ABORT( curveFile, "CRY_PKEY_EC_NAMED_CURVE_OK( pbBoxedIntValue( bi ) )", cry___PkeyEcNamedCurveFromOpensslNid( 415 ) );
        EXPECT_ABORT( curveFile, "CRY_PKEY_EC_NAMED_CURVE_OK( pbBoxedIntValue( bi ) )", cry___PkeyEcNamedCurveFromOpensslSn( str( "curve" ).get() ) );
    }
    OtherTable empty( cry___PkeyEcNamedCurveNidByValue, nullptr, 0 );
    EXPECT_EQ( cry___PkeyEcNamedCurveToOpensslNid( 0 ), -1 );
}
