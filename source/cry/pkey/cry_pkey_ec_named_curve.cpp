#include <cry/cry_pkey_ec_named_curve.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_pkey.h>
#include <pb/pb_boxed_int.h>
#include <pb/pb_dict.h>

#include "common/cry_enumeration.hpp"
#include "pkey/cry_pkey_ec_named_curve_table.hpp"

PB_ENUM *cry___PkeyEcNamedCurveEnum;
PB_DICT *cry___PkeyEcNamedCurveDisplayNameByValue;
PB_DICT *cry___PkeyEcNamedCurveNidByValue;
PB_DICT *cry___PkeyEcNamedCurveSnByValue;
PB_DICT *cry___PkeyEcNamedCurveValueByNid;
PB_DICT *cry___PkeyEcNamedCurveValueBySn;

void cry___PkeyEcNamedCurveStartup()
{
    cry___PkeyEcNamedCurveEnum               = pbEnumCreate();
    cry___PkeyEcNamedCurveDisplayNameByValue = pbDictCreate();
    cry___PkeyEcNamedCurveNidByValue         = pbDictCreate();
    cry___PkeyEcNamedCurveSnByValue          = pbDictCreate();
    cry___PkeyEcNamedCurveValueByNid         = pbDictCreate();
    cry___PkeyEcNamedCurveValueBySn          = pbDictCreate();
    for( const cry::NamedCurve &curve : cry::namedCurves )
    {
        pb::Ref<PB_BOXED_INT> value       = pb::adopt( pbBoxedIntCreate( curve.value ) );
        pb::Ref<PB_BOXED_INT> nid         = pb::adopt( pbBoxedIntCreate( curve.nid ) );
        pb::Ref<PB_STRING>    sn          = pb::adopt( pbStringCreateFromCstr( curve.sn, -1 ) );
        pb::Ref<PB_STRING>    displayName = pb::adopt( pbStringCreateFromCstr( curve.displayName, -1 ) );
        pbEnumSetEnumerantCstr( &cry___PkeyEcNamedCurveEnum, curve.name, -1, curve.value );
        pbDictSetObjKey( &cry___PkeyEcNamedCurveDisplayNameByValue, value.obj(), displayName.obj() );
        pbDictSetObjKey( &cry___PkeyEcNamedCurveNidByValue, value.obj(), nid.obj() );
        pbDictSetObjKey( &cry___PkeyEcNamedCurveSnByValue, value.obj(), sn.obj() );
        pbDictSetObjKey( &cry___PkeyEcNamedCurveValueByNid, nid.obj(), value.obj() );
        pbDictSetObjKey( &cry___PkeyEcNamedCurveValueBySn, sn.obj(), value.obj() );
    }
}

void cry___PkeyEcNamedCurveShutdown()
{
    cry::stopModuleGlobal( cry___PkeyEcNamedCurveEnum );
    cry::stopModuleGlobal( cry___PkeyEcNamedCurveDisplayNameByValue );
    cry::stopModuleGlobal( cry___PkeyEcNamedCurveNidByValue );
    cry::stopModuleGlobal( cry___PkeyEcNamedCurveSnByValue );
    cry::stopModuleGlobal( cry___PkeyEcNamedCurveValueByNid );
    cry::stopModuleGlobal( cry___PkeyEcNamedCurveValueBySn );
}

PB_STRING *cryPkeyEcNamedCurveToString( CRY_PKEY_EC_NAMED_CURVE curve )
{
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( curve ) );
    return pbEnumGenerate( cry___PkeyEcNamedCurveEnum, curve );
}

CRY_PKEY_EC_NAMED_CURVE cryPkeyEcNamedCurveFromString( PB_STRING *pbs ) { return PB_CHECK( pbs ), pbEnumParse( cry___PkeyEcNamedCurveEnum, pbs ); }

PB_STRING *cryPkeyEcNamedCurveDisplayName( CRY_PKEY_EC_NAMED_CURVE curve )
{
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( curve ) );
    return pbStringFrom( pbDictIntKey( cry___PkeyEcNamedCurveDisplayNameByValue, curve ) );
}

int cry___PkeyEcNamedCurveToOpensslNid( CRY_PKEY_EC_NAMED_CURVE curve )
{
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( curve ) );
    pb::Ref<PB_BOXED_INT> found = pb::adopt( pbBoxedIntFrom( pbDictIntKey( cry___PkeyEcNamedCurveNidByValue, curve ) ) );
    if( !found )
        return -1;
    PB_BOXED_INT *bi = found.get();
    PB_CHECK( PB_INT_TO_SIGNED_INT_CONV_OK( pbBoxedIntValue( bi ) ) );
    return (int)pbBoxedIntValue( bi );
}

PB_STRING *cry___PkeyEcNamedCurveToOpensslSn( CRY_PKEY_EC_NAMED_CURVE curve )
{
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( curve ) );
    return pbStringFrom( pbDictIntKey( cry___PkeyEcNamedCurveSnByValue, curve ) );
}

// The curve that a reverse lookup found; -1 if it found no curve.
static PB_INT curveIn( PB_OBJ *found )
{
    pb::Ref<PB_BOXED_INT> held = pb::adopt( pbBoxedIntFrom( found ) );
    if( !held )
        return -1;
    PB_BOXED_INT *bi = held.get();
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( pbBoxedIntValue( bi ) ) );
    return pbBoxedIntValue( bi );
}

CRY_PKEY_EC_NAMED_CURVE cry___PkeyEcNamedCurveFromOpensslNid( int nid ) { return curveIn( pbDictIntKey( cry___PkeyEcNamedCurveValueByNid, nid ) ); }

CRY_PKEY_EC_NAMED_CURVE cry___PkeyEcNamedCurveFromOpensslSn( PB_STRING *sn )
{
    return PB_CHECK( sn ), curveIn( pbDictStringKey( cry___PkeyEcNamedCurveValueBySn, sn ) );
}
