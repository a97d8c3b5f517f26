#include <cry/cry_aes_operation.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_AES_OPERATION_ENCRYPT ),
    CRY_NAMED( CRY_AES_OPERATION_DECRYPT ),
};

CRY_ENUM_DEFINE( AesOperation, CRY_AES_OPERATION_OK, op, names )
