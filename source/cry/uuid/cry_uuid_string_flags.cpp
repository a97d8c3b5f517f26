#include <cry/cry_uuid_string_flags.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_UUID_STRING_FLAG_UPPERCASE ),
    CRY_NAMED( CRY_UUID_STRING_FLAG_LOW_LINE ),
    CRY_NAMED( CRY_UUID_STRING_FLAG_CURLY_BRACKET ),
    CRY_NAMED( CRY_UUID_STRING_FLAG_APOSTROPHE ),
    CRY_NAMED( CRY_UUID_STRING_FLAG_QUOTATION_MARK ),
};

CRY_FLAGSET_DEFINE( UuidStringFlags, names )
