#include <cry/cry_vault_item_type.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_VAULT_ITEM_TYPE_IDENTITY ),
};

CRY_ENUM_DEFINE( VaultItemType, CRY_VAULT_ITEM_TYPE_OK, type, names )
