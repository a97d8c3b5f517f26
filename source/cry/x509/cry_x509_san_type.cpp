#include <cry/cry_x509_san_type.h>
#include <cry/internal/cry_module.h>

#include "common/cry_enumeration.hpp"

static constexpr cry::Named names[] = {
    CRY_NAMED( CRY_X509_SAN_TYPE_DNS_NAME ),
    CRY_NAMED( CRY_X509_SAN_TYPE_IP_ADDRESS ),
};

CRY_ENUM_DEFINE( X509SanType, CRY_X509_SAN_TYPE_OK, type, names )
