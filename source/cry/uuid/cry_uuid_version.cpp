#include <cry/cry_uuid_version.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_UUID_VERSION_TIME_BASED ),
    CRY_NAMED( CRY_UUID_VERSION_RESERVED_FOR_DCE ),
    CRY_NAMED( CRY_UUID_VERSION_NAME_BASED_MD5 ),
    CRY_NAMED( CRY_UUID_VERSION_RANDOM_NUMBER_BASED ),
    CRY_NAMED( CRY_UUID_VERSION_NAME_BASED_SHA1 ),
};

CRY_ENUM_DEFINE( UuidVersion, CRY_UUID_VERSION_OK, ver, names )
