#include <cry/cry_x509_tn_auth_list_entry_type.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE ),
    CRY_NAMED( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE ),
    CRY_NAMED( CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER ),
};

CRY_ENUM_DEFINE( X509TNAuthListEntryType, CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK, et, names )
