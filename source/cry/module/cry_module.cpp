#include "module/cry_module.hpp"

#include <cry/cry_module.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_vault.h>
#include <cry/internal/cry_x509_system.h>
#include <pb/module.hpp>

#include "x509/cry_x509_known_certificates.hpp"

#define CRY_MODULE_GLOBAL( Name )                     \
    {                                                 \
        cry___##Name##Startup, cry___##Name##Shutdown \
    }

static constexpr cry::ModuleGlobal moduleGlobalTable[] = {
    CRY_MODULE_GLOBAL( AesMode ),
    CRY_MODULE_GLOBAL( AesOperation ),
    CRY_MODULE_GLOBAL( HashAlgorithm ),
    CRY_MODULE_GLOBAL( PkeyEcNamedCurve ),
    CRY_MODULE_GLOBAL( PkeyType ),
    CRY_MODULE_GLOBAL( UuidStringFlags ),
    CRY_MODULE_GLOBAL( UuidVariant ),
    CRY_MODULE_GLOBAL( UuidVersion ),
    CRY_MODULE_GLOBAL( VaultItemType ),
    CRY_MODULE_GLOBAL( Vault ),
    CRY_MODULE_GLOBAL( X509System ),
    CRY_MODULE_GLOBAL( X509StackIdentityMode ),
    CRY_MODULE_GLOBAL( X509StackTrustMode ),
    CRY_MODULE_GLOBAL( X509PolicyFlags ),
    CRY_MODULE_GLOBAL( X509ExtendedKeyUsage ),
    CRY_MODULE_GLOBAL( X509KeyUsage ),
    CRY_MODULE_GLOBAL( X509NetscapeCertType ),
    CRY_MODULE_GLOBAL( X509SanType ),
    CRY_MODULE_GLOBAL( X509TNAuthListEntryType ),
    CRY_MODULE_GLOBAL( X509StackCs ),
};

std::span<const cry::ModuleGlobal> cry::moduleGlobals() { return moduleGlobalTable; }

static PB_BOOL startup()
{
    for( const cry::ModuleGlobal &each : moduleGlobalTable )
        each.startup();
    // A vault that cannot be read is an empty one.
    cry___VaultLoad();
    return PB_TRUE;
}

static void halt()
{
    cry___X509SystemHalt();
    cry___VaultHalt();
}

static void shutdown()
{
    for( size_t index = std::size( moduleGlobalTable ); index-- > 0; )
        moduleGlobalTable[index].shutdown();
    cry::x509::forgetKnown();
}

PB_MODULE_DEFINE( cry, "Cryptography", "0.2", "bn cs in openssl pb rfc tr", startup, halt, shutdown )
