#include <cry/cry_pkey_info.h>
#include <cry/internal/cry_pkey.h>
#include <cry/internal/cry_pkey_info.h>
#include <pb/sort.hpp>

#include <openssl/core_names.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/pb_string.h>

struct CRY_PKEY_INFO : PB_OBJ
{
    PB_INT type;
    PB_INT bits;
    PB_INT ecNamedCurve;
};

static constexpr auto   infoFields = pb::fields<&CRY_PKEY_INFO::type, &CRY_PKEY_INFO::bits, &CRY_PKEY_INFO::ecNamedCurve>;
static constexpr PB_INT notSet     = -1;

PB_SORT_DEFINE( cry, PkeyInfo, CRY_PKEY_INFO, PB_FREE_FIELDS( CRY_PKEY_INFO, info, infoFields ) )

static CRY_PKEY_INFO *writable( CRY_PKEY_INFO **info ) { return pb::makeWritable( info, cryPkeyInfoCreateFrom ); }

CRY_PKEY_INFO *cryPkeyInfoCreate()
{
    CRY_PKEY_INFO *info = pb::create<CRY_PKEY_INFO>();
    info->type = info->bits = info->ecNamedCurve = notSet;
    return info;
}

CRY_PKEY_INFO *cryPkeyInfoCreateFrom( CRY_PKEY_INFO *source ) { return PB_CHECK( source ), pb::copyOf( infoFields, source ); }

CRY_PKEY_INFO *cry___PkeyInfoCreateFromOpensslEvpPkey( EVP_PKEY *pkey )
{
    PB_CHECK( pkey );
    CRY_PKEY_INFO *info = cryPkeyInfoCreate();
    info->type          = cry___PkeyTypeFromOpensslNid( EVP_PKEY_get_base_id( pkey ) );
    int bits            = EVP_PKEY_get_bits( pkey );
    if( bits > 0 )
        info->bits = bits;
    // It is not an error if a key has no group.
    char               group[64];
    size_t             length;
    openssl::ErrorMark detour;
    if( EVP_PKEY_get_utf8_string_param( pkey, OSSL_PKEY_PARAM_GROUP_NAME, group, sizeof group, &length ) )
        info->ecNamedCurve = cry___PkeyEcNamedCurveFromOpensslSn( pb::adopt( pbStringCreateFromCstr( group, (PB_INT)length ) ).get() );
    return info;
}

CRY_PKEY_TYPE cryPkeyInfoType( CRY_PKEY_INFO *info ) { return PB_CHECK( info ), info->type; }

PB_BOOL cryPkeyInfoHasType( CRY_PKEY_INFO *info ) { return PB_CHECK( info ), info->type != notSet; }

void cryPkeyInfoSetType( CRY_PKEY_INFO **info, CRY_PKEY_TYPE type )
{
    PB_CHECK_HANDLE( info );
    PB_CHECK( CRY_PKEY_TYPE_OK( type ) );
    writable( info )->type = type;
}

void cryPkeyInfoDelType( CRY_PKEY_INFO **info )
{
    PB_CHECK_HANDLE( info );
    writable( info )->type = notSet;
}

PB_INT cryPkeyInfoBits( CRY_PKEY_INFO *info ) { return PB_CHECK( info ), info->bits; }

PB_BOOL cryPkeyInfoHasBits( CRY_PKEY_INFO *info ) { return PB_CHECK( info ), info->bits != notSet; }

void cryPkeyInfoSetBits( CRY_PKEY_INFO **info, PB_INT bits )
{
    PB_CHECK_HANDLE( info );
    PB_CHECK( bits >= 0 );
    writable( info )->bits = bits;
}

void cryPkeyInfoDelBits( CRY_PKEY_INFO **info )
{
    PB_CHECK_HANDLE( info );
    writable( info )->bits = notSet;
}

CRY_PKEY_EC_NAMED_CURVE cryPkeyInfoEcNamedCurve( CRY_PKEY_INFO *info ) { return PB_CHECK( info ), info->ecNamedCurve; }

PB_BOOL cryPkeyInfoHasEcNamedCurve( CRY_PKEY_INFO *info ) { return PB_CHECK( info ), info->ecNamedCurve != notSet; }

void cryPkeyInfoSetEcNamedCurve( CRY_PKEY_INFO **info, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve )
{
    PB_CHECK_HANDLE( info );
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( ecNamedCurve ) );
    writable( info )->ecNamedCurve = ecNamedCurve;
}

void cryPkeyInfoDelEcNamedCurve( CRY_PKEY_INFO **info )
{
    PB_CHECK_HANDLE( info );
    writable( info )->ecNamedCurve = notSet;
}
