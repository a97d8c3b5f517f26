#include "module/cry_module.hpp"

#include <cry/cry_module.h>
#include <cry/internal/cry_module.h>
#include <pb/module.hpp>

#define CRY_MODULE_WIDE( Name )                       \
    {                                                 \
        cry___##Name##Startup, cry___##Name##Shutdown \
    }

static constexpr cry::ModuleWide moduleWideTable[] = {
    CRY_MODULE_WIDE( AesMode ),
    CRY_MODULE_WIDE( AesOperation ),
    CRY_MODULE_WIDE( HashAlgorithm ),
    CRY_MODULE_WIDE( PkeyEcNamedCurve ),
    CRY_MODULE_WIDE( PkeyType ),
    CRY_MODULE_WIDE( UuidStringFlags ),
    CRY_MODULE_WIDE( UuidVariant ),
    CRY_MODULE_WIDE( UuidVersion ),
    CRY_MODULE_WIDE( VaultItemType ),
    CRY_MODULE_WIDE( X509StackIdentityMode ),
    CRY_MODULE_WIDE( X509StackTrustMode ),
    CRY_MODULE_WIDE( X509PolicyFlags ),
    CRY_MODULE_WIDE( X509ExtendedKeyUsage ),
    CRY_MODULE_WIDE( X509KeyUsage ),
    CRY_MODULE_WIDE( X509NetscapeCertType ),
    CRY_MODULE_WIDE( X509SanType ),
    CRY_MODULE_WIDE( X509TNAuthListEntryType ),
};

std::span<const cry::ModuleWide> cry::moduleWides() { return moduleWideTable; }

static PB_BOOL startup()
{
    for( const cry::ModuleWide &each : moduleWideTable )
        each.startup();
    return PB_TRUE;
}

static void shutdown()
{
    for( size_t index = std::size( moduleWideTable ); index-- > 0; )
        moduleWideTable[index].shutdown();
}

PB_MODULE_DEFINE( cry, "Cryptography", "0.2", "bn cs in openssl pb rfc tr", startup, pb::doNothing, shutdown )
