#include <cry/cry_x509_stack_trust_mode.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_STACK_TRUST_MODE_FIXED ),
    CRY_NAMED( CRY_X509_STACK_TRUST_MODE_SYSTEM ),
    CRY_NAMED( CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED ),
};

CRY_ENUM_DEFINE( X509StackTrustMode, CRY_X509_STACK_TRUST_MODE_OK, mode, names )
