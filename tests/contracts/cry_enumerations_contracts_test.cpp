#include <cry/cry.h>

#include "common/cry_enumeration.hpp"
#include "support/contract.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

struct Enumeration
{
    const char *file, *check;
    PB_STRING *( *toString )( PB_INT );
    PB_INT ( *fromString )( PB_STRING * );
    PB_INT count;
};

const Enumeration enumerations[] = {
    { "source/cry/aes/cry_aes_mode.cpp", "CRY_AES_MODE_OK( mode )", cryAesModeToString, cryAesModeFromString, 1 },
    { "source/cry/aes/cry_aes_operation.cpp", "CRY_AES_OPERATION_OK( op )", cryAesOperationToString, cryAesOperationFromString, 2 },
    { "source/cry/hash/cry_hash_algorithm.cpp", "CRY_HASH_ALGORITHM_OK( alg )", cryHashAlgorithmToString, cryHashAlgorithmFromString, 10 },
    { "source/cry/pkey/cry_pkey_type.cpp", "CRY_PKEY_TYPE_OK( type )", cryPkeyTypeToString, cryPkeyTypeFromString, 2 },
    { "source/cry/pkey/cry_pkey_ec_named_curve.cpp", "CRY_PKEY_EC_NAMED_CURVE_OK( curve )", cryPkeyEcNamedCurveToString,
        cryPkeyEcNamedCurveFromString, 82 },
    { "source/cry/uuid/cry_uuid_variant.cpp", "CRY_UUID_VARIANT_OK( var )", cryUuidVariantToString, cryUuidVariantFromString, 4 },
    { "source/cry/uuid/cry_uuid_version.cpp", "CRY_UUID_VERSION_OK( ver )", cryUuidVersionToString, cryUuidVersionFromString, 5 },
    { "source/cry/vault/cry_vault_item_type.cpp", "CRY_VAULT_ITEM_TYPE_OK( type )", cryVaultItemTypeToString, cryVaultItemTypeFromString, 1 },
    { "source/cry/x509/cry_x509_stack_identity_mode.cpp", "CRY_X509_STACK_IDENTITY_MODE_OK( mode )", cryX509StackIdentityModeToString,
        cryX509StackIdentityModeFromString, 3 },
    { "source/cry/x509/cry_x509_stack_trust_mode.cpp", "CRY_X509_STACK_TRUST_MODE_OK( mode )", cryX509StackTrustModeToString,
        cryX509StackTrustModeFromString, 3 },
    { "source/cry/x509/cry_x509_san_type.cpp", "CRY_X509_SAN_TYPE_OK( type )", cryX509SanTypeToString, cryX509SanTypeFromString, 2 },
    { "source/cry/x509/cry_x509_tn_auth_list_entry_type.cpp", "CRY_X509_TN_AUTH_LIST_ENTRY_TYPE_OK( et )", cryX509TNAuthListEntryTypeToString,
        cryX509TNAuthListEntryTypeFromString, 3 },
};

const struct
{
    const char *file;
    PB_INT ( *fromString )( PB_STRING * );
} flagSets[] = {
    { "source/cry/uuid/cry_uuid_string_flags.cpp", cryUuidStringFlagsFromString },
    { "source/cry/x509/cry_x509_policy_flags.cpp", cryX509PolicyFlagsFromString },
    { "source/cry/x509/cry_x509_key_usage.cpp", cryX509KeyUsageFromString },
    { "source/cry/x509/cry_x509_extended_key_usage.cpp", cryX509ExtendedKeyUsageFromString },
    { "source/cry/x509/cry_x509_netscape_cert_type.cpp", cryX509NetscapeCertTypeFromString },
};

}

TEST( CryEnumerationsContracts, ValuesOutOfRangeHaveNoName )
{
    for( const Enumeration &each : enumerations )
    {
        for( PB_INT value : { each.count, each.count + 1, (PB_INT)-1, PB_INT_MAX, PB_INT_MIN } )
            EXPECT_ABORT( each.file, each.check, each.toString( value ) );
        EXPECT_FALSE( abortOf( [&] { pb::adopt( each.toString( each.count - 1 ) ); } ).happened ) << each.file;
    }
}

TEST( CryEnumerationsContracts, NullIsNoText )
{
    for( const Enumeration &each : enumerations )
        EXPECT_ABORT( each.file, "pbs", each.fromString( nullptr ) );
    for( const auto &each : flagSets )
        EXPECT_ABORT( each.file, "pbs", each.fromString( nullptr ) );
}

TEST( CryEnumerationsContracts, FlagNamesComeOnce )
{
    PB_FLAGSET      *variable = pbFlagsetCreate();
    const cry::Named first{ 1, "NAME" }, again{ 2, "NAME" }, other{ 2, "OTHER" };
    pb::Site         site{ "tests/some/file.cpp", 7 };
    cry::addFlag( &variable, "variable", first, site );
    support::Abort abort = abortOf( [&] { cry::addFlag( &variable, "variable", again, site ); } );
    EXPECT_TRUE( abort.happened );
    EXPECT_EQ( abort.file, "tests/some/file.cpp" );
    EXPECT_EQ( abort.line, 7 );
    EXPECT_EQ( abort.expression, "!pbFlagsetHasFlagCstr( *(&variable), \"NAME\", -1 )" );
    EXPECT_FALSE( abortOf( [&] { cry::addFlag( &variable, "variable", other, site ); } ).happened );
    EXPECT_EQ( pbFlagsetParse( variable, str( "NAME|OTHER" ).get() ), 3 );
    pbFlagsetRelease( variable );
}

TEST( CryEnumerationsContracts, DuplicateInATableIsReportedWithTheVariableAndTheFlag )
{
    static constexpr cry::Named table[] = { { 1, "CRY_SOME_FLAG_A" }, { 2, "CRY_SOME_FLAG_B" }, { 4, "CRY_SOME_FLAG_A" } };
    PB_FLAGSET                 *variable;
    EXPECT_ABORT( "tests/contracts/cry_enumerations_contracts_test.cpp", "!pbFlagsetHasFlagCstr( *(&cry___SomeFlagset), \"CRY_SOME_FLAG_A\", -1 )",
        cry::startFlagset( variable, "cry___SomeFlagset", table ) );
}
