#include "support/enumerations.hpp"

#include <cry/cry.h>
#include <cry/internal/cry_module.h>

extern PB_ENUM    *cry___AesModeEnum;
extern PB_ENUM    *cry___AesOperationEnum;
extern PB_ENUM    *cry___HashAlgorithmEnum;
extern PB_ENUM    *cry___PkeyEcNamedCurveEnum;
extern PB_ENUM    *cry___PkeyTypeEnum;
extern PB_ENUM    *cry___UuidVariantEnum;
extern PB_ENUM    *cry___UuidVersionEnum;
extern PB_ENUM    *cry___VaultItemTypeEnum;
extern PB_ENUM    *cry___X509StackIdentityModeEnum;
extern PB_ENUM    *cry___X509StackTrustModeEnum;
extern PB_ENUM    *cry___X509SanTypeEnum;
extern PB_ENUM    *cry___X509TNAuthListEntryTypeEnum;
extern PB_FLAGSET *cry___UuidStringFlagsFlagset;
extern PB_FLAGSET *cry___X509PolicyFlagsFlagset;
extern PB_FLAGSET *cry___X509KeyUsageFlagset;
extern PB_FLAGSET *cry___X509ExtendedKeyUsageFlagset;
extern PB_FLAGSET *cry___X509NetscapeCertTypeFlagset;

#define FUNCTIONS( Name, kind ) cry##Name##ToString, cry##Name##FromString, &cry___##Name##kind, cry___##Name##Startup, cry___##Name##Shutdown
#define ENUMERATION( Name, file, check, last, ... )                                          \
    {                                                                                        \
        #Name, "source/cry/" file, check, FUNCTIONS( Name, Enum ), last + 1, { __VA_ARGS__ } \
    }
#define FLAG_SET( Name, file, ... )                                                                  \
    {                                                                                                \
        #Name, "source/cry/" file, cry##Name##Normalize, FUNCTIONS( Name, Flagset ), { __VA_ARGS__ } \
    }

const std::vector<support::Enumeration> &support::enumerations()
{
    static const std::vector<Enumeration> all = {
        ENUMERATION( AesMode, "aes/cry_aes_mode.cpp", "CRY_AES_MODE_OK( mode )", CRY_AES_MODE_ECB, "CRY_AES_MODE_ECB" ),
        ENUMERATION( AesOperation, "aes/cry_aes_operation.cpp", "CRY_AES_OPERATION_OK( op )", CRY_AES_OPERATION_DECRYPT, "CRY_AES_OPERATION_ENCRYPT",
            "CRY_AES_OPERATION_DECRYPT" ),
        ENUMERATION( HashAlgorithm, "hash/cry_hash_algorithm.cpp", "CRY_HASH_ALGORITHM_OK( alg )", CRY_HASH_ALGORITHM_SHA3_512,
            "CRY_HASH_ALGORITHM_MD5", "CRY_HASH_ALGORITHM_SHA1", "CRY_HASH_ALGORITHM_SHA2_224", "CRY_HASH_ALGORITHM_SHA2_256",
            "CRY_HASH_ALGORITHM_SHA2_384", "CRY_HASH_ALGORITHM_SHA2_512", "CRY_HASH_ALGORITHM_SHA3_224", "CRY_HASH_ALGORITHM_SHA3_256",
            "CRY_HASH_ALGORITHM_SHA3_384", "CRY_HASH_ALGORITHM_SHA3_512" ),
        ENUMERATION( PkeyEcNamedCurve, "pkey/cry_pkey_ec_named_curve.cpp", "CRY_PKEY_EC_NAMED_CURVE_OK( curve )", CRY_PKEY_EC_NAMED_CURVE_SM2 ),
        ENUMERATION( PkeyType, "pkey/cry_pkey_type.cpp", "CRY_PKEY_TYPE_OK( type )", CRY_PKEY_TYPE_EC, "CRY_PKEY_TYPE_RSA", "CRY_PKEY_TYPE_EC" ),
        ENUMERATION( UuidVariant, "uuid/cry_uuid_variant.cpp", "CRY_UUID_VARIANT_OK( var )", CRY_UUID_VARIANT_RESERVED_FOR_FUTURE,
            "CRY_UUID_VARIANT_RESERVED_FOR_NCS", "CRY_UUID_VARIANT_STANDARD", "CRY_UUID_VARIANT_RESERVED_FOR_MICROSOFT",
            "CRY_UUID_VARIANT_RESERVED_FOR_FUTURE" ),
        ENUMERATION( UuidVersion, "uuid/cry_uuid_version.cpp", "CRY_UUID_VERSION_OK( ver )", CRY_UUID_VERSION_NAME_BASED_SHA1,
            "CRY_UUID_VERSION_TIME_BASED", "CRY_UUID_VERSION_RESERVED_FOR_DCE", "CRY_UUID_VERSION_NAME_BASED_MD5",
            "CRY_UUID_VERSION_RANDOM_NUMBER_BASED", "CRY_UUID_VERSION_NAME_BASED_SHA1" ),
        ENUMERATION( VaultItemType, "vault/cry_vault_item_type.cpp", "CRY_VAULT_ITEM_TYPE_OK( type )", CRY_VAULT_ITEM_TYPE_IDENTITY,
            "CRY_VAULT_ITEM_TYPE_IDENTITY" ),
        ENUMERATION( X509StackIdentityMode, "x509/cry_x509_stack_identity_mode.cpp", "CRY_X509_STACK_IDENTITY_MODE_OK( mode )",
            CRY_X509_STACK_IDENTITY_MODE_VAULT, "CRY_X509_STACK_IDENTITY_MODE_FIXED", "CRY_X509_STACK_IDENTITY_MODE_GENERATE",
            "CRY_X509_STACK_IDENTITY_MODE_VAULT" ),
        ENUMERATION( X509StackTrustMode, "x509/cry_x509_stack_trust_mode.cpp", "CRY_X509_STACK_TRUST_MODE_OK( mode )",
            CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED, "CRY_X509_STACK_TRUST_MODE_FIXED", "CRY_X509_STACK_TRUST_MODE_SYSTEM",
            "CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED" ),
        ENUMERATION( X509SanType, "x509/cry_x509_san_type.cpp", "CRY_X509_SAN_TYPE_OK( type )", CRY_X509_SAN_TYPE_IP_ADDRESS,
            "CRY_X509_SAN_TYPE_DNS_NAME", "CRY_X509_SAN_TYPE_IP_ADDRESS" ),
        ENUMERATION( X509TNAuthListEntryType, "x509/cry_x509_tn_auth_list_entry_type.cpp", "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )",
            CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER, "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_SERVICE_PROVIDER_CODE",
            "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER_RANGE", "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_TELEPHONE_NUMBER" ),
    };
    return all;
}

const std::vector<support::FlagSet> &support::flagSets()
{
    static const std::vector<FlagSet> all = {
        FLAG_SET( UuidStringFlags, "uuid/cry_uuid_string_flags.cpp", "CRY_UUID_STRING_FLAG_UPPERCASE", "CRY_UUID_STRING_FLAG_LOW_LINE",
            "CRY_UUID_STRING_FLAG_CURLY_BRACKET", "CRY_UUID_STRING_FLAG_APOSTROPHE", "CRY_UUID_STRING_FLAG_QUOTATION_MARK" ),
        FLAG_SET( X509PolicyFlags, "x509/cry_x509_policy_flags.cpp", "CRY_X509_POLICY_FLAG_DISABLE_VALIDATION",
            "CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS", "CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING",
            "CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS" ),
        FLAG_SET( X509KeyUsage, "x509/cry_x509_key_usage.cpp", "CRY_X509_KEY_USAGE_DIGITAL_SIGNATURE", "CRY_X509_KEY_USAGE_NON_REPUDIATION",
            "CRY_X509_KEY_USAGE_KEY_ENCIPHERMENT", "CRY_X509_KEY_USAGE_DATA_ENCIPHERMENT", "CRY_X509_KEY_USAGE_KEY_AGREEMENT",
            "CRY_X509_KEY_USAGE_KEY_CERT_SIGN", "CRY_X509_KEY_USAGE_CRL_SIGN", "CRY_X509_KEY_USAGE_ENCIPHER_ONLY",
            "CRY_X509_KEY_USAGE_DECIPHER_ONLY" ),
        FLAG_SET( X509ExtendedKeyUsage, "x509/cry_x509_extended_key_usage.cpp", "CRY_X509_EXTENDED_KEY_USAGE_SSL_SERVER",
            "CRY_X509_EXTENDED_KEY_USAGE_SSL_CLIENT", "CRY_X509_EXTENDED_KEY_USAGE_SMIME", "CRY_X509_EXTENDED_KEY_USAGE_CODE_SIGN",
            "CRY_X509_EXTENDED_KEY_USAGE_OCSP_SIGN", "CRY_X509_EXTENDED_KEY_USAGE_TIMESTAMP", "CRY_X509_EXTENDED_KEY_USAGE_DVCS",
            "CRY_X509_EXTENDED_KEY_USAGE_ANYEKU", "CRY_X509_EXTENDED_KEY_USAGE_MS_SGC", "CRY_X509_EXTENDED_KEY_USAGE_NS_SGC" ),
        FLAG_SET( X509NetscapeCertType, "x509/cry_x509_netscape_cert_type.cpp", "CRY_X509_NETSCAPE_CERT_TYPE_SSL_CLIENT",
            "CRY_X509_NETSCAPE_CERT_TYPE_SSL_SERVER", "CRY_X509_NETSCAPE_CERT_TYPE_SMIME", "CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN",
            "CRY_X509_NETSCAPE_CERT_TYPE_SSL_CA", "CRY_X509_NETSCAPE_CERT_TYPE_SMIME_CA", "CRY_X509_NETSCAPE_CERT_TYPE_OBJSIGN_CA" ),
    };
    return all;
}

void support::PrintTo( const Enumeration &each, std::ostream *out ) { *out << each.name; }
void support::PrintTo( const FlagSet &each, std::ostream *out ) { *out << each.name; }
