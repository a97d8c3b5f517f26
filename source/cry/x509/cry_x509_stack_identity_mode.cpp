#include <cry/cry_x509_stack_identity_mode.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_STACK_IDENTITY_MODE_FIXED ),
    CRY_NAMED( CRY_X509_STACK_IDENTITY_MODE_GENERATE ),
    CRY_NAMED( CRY_X509_STACK_IDENTITY_MODE_VAULT ),
};

CRY_ENUM_DEFINE( X509StackIdentityMode, CRY_X509_STACK_IDENTITY_MODE_OK, mode, names )
