#include <cry/cry_pkey_type.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_pkey.h>

#include "common/cry_enumeration.hpp"

#include <openssl/obj_mac.h>

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_PKEY_TYPE_RSA ),
    CRY_NAMED( CRY_PKEY_TYPE_EC ),
};

CRY_ENUM_DEFINE( PkeyType, CRY_PKEY_TYPE_OK, type, names )

static constexpr int nids[] = { NID_rsaEncryption, NID_X9_62_id_ecPublicKey };

int cry___PkeyTypeToOpensslNid( CRY_PKEY_TYPE type )
{
    PB_CHECK( CRY_PKEY_TYPE_OK( type ) );
    return nids[type];
}

CRY_PKEY_TYPE cry___PkeyTypeFromOpensslNid( int nid )
{
    switch( nid )
    {
    case NID_rsaEncryption:
        return CRY_PKEY_TYPE_RSA;
    case NID_X9_62_id_ecPublicKey:
        return CRY_PKEY_TYPE_EC;
    default:
        return -1;
    }
}
