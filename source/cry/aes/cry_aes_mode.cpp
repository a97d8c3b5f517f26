#include <cry/cry_aes_mode.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_AES_MODE_ECB ),
};

CRY_ENUM_DEFINE( AesMode, CRY_AES_MODE_OK, mode, names )
