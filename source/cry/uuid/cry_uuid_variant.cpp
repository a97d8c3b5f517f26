#include <cry/cry_uuid_variant.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_UUID_VARIANT_RESERVED_FOR_NCS ),
    CRY_NAMED( CRY_UUID_VARIANT_STANDARD ),
    CRY_NAMED( CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT ),
    CRY_NAMED( CRY_UUID_VARIANT_RESERVED_FOR_FUTURE ),
};

CRY_ENUM_DEFINE( UuidVariant, CRY_UUID_VARIANT_OK, var, names )
