#include <cry/cry_x509_policy_flags.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_POLICY_FLAG_DISABLE_VALIDATION ),
    CRY_NAMED( CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS ),
    CRY_NAMED( CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING ),
    CRY_NAMED( CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS ),
};

CRY_FLAGSET_DEFINE( X509PolicyFlags, names )
