#include "simulation/leaves.hpp"

#include <cry/cry_generate_certificate.h>
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/internal/cry_module.h>
#include <cry/internal/cry_vault.h>
#include <openssl_module/internal/openssl_module.h>

#include "base/pb_thread_state.hpp"
#include "module/cry_module.hpp"
#include "simulation/simulation.hpp"
#include "support/text.hpp"
#include "x509/cry_x509_certificate_chain.hpp"

using leaves::Material;
using simulation::below;
using support::str;

extern "C" CRY_X509_CERTIFICATE *__real_cryTryGenerateCertificate( CRY_PKEY_PRIVATE *, PB_STRING *, PB_STRING *, PB_INT );

namespace
{

void startModules()
{
    opensslModule()->startup();
    for( const cry::ModuleGlobal &each : cry::moduleGlobals() )
    {
        // The scenarios start the vault and the roots; nothing needs the sort backend.
        if( each.startup != cry___VaultStartup && each.startup != cry___X509SystemStartup && each.startup != cry___X509StackCsStartup )
            each.startup();
    }
}

pb::Ref<CRY_X509_CERTIFICATE> certificateOf( CRY_PKEY_PRIVATE *key, const char *name, const char *domain = nullptr )
{
    return pb::adopt( __real_cryTryGenerateCertificate( key, domain ? str( domain ).get() : nullptr, str( name ).get(), 365 ) );
}

pb::Ref<CRY_X509_CERTIFICATES> collection( std::initializer_list<pb::Ref<CRY_X509_CERTIFICATE>> certificates )
{
    pb::Ref<CRY_X509_CERTIFICATES> made = pb::adopt( cryX509CertificatesCreate() );
    for( const pb::Ref<CRY_X509_CERTIFICATE> &each : certificates )
        cryX509CertificatesAppendCertificate( made.handle(), each.get() );
    return made;
}

pb::Ref<CRY_X509_SANS> names( const char *domain )
{
    pb::Ref<CRY_X509_SANS> made = pb::adopt( cryX509SansCreate() );
    pb::Ref<CRY_X509_SAN>  san  = pb::adopt( cryX509SanCreateDnsName( str( domain ).get() ) );
    cryX509SansSet( made.handle(), san.get() );
    return made;
}

pb::Ref<PB_STORE> vaultOf( std::initializer_list<pb::Ref<CRY_VAULT_ITEM>> items )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() ), array = pb::adopt( pbStoreCreateArray() );
    for( const pb::Ref<CRY_VAULT_ITEM> &each : items )
        pbStoreAppendStore( array.handle(), pb::adopt( cryVaultItemStore( each.get(), PB_TRUE ) ).get() );
    pbStoreSetStoreCstr( store.handle(), "items", -1, array.get() );
    return store;
}

Material *make()
{
    startModules();
    auto       *made      = new Material;
    const char *domains[] = { "a.example", nullptr, "b.example", nullptr };
    for( unsigned number = 0; number < Material::keys; number++ )
    {
        made->privateKeys[number]  = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) );
        made->certificates[number] = certificateOf( made->privateKeys[number].get(), "own", domains[number] );
        made->identities[number]   = pb::adopt( cryX509IdentityCreate() );
        cryX509IdentitySetPrivateKey( made->identities[number].handle(), made->privateKeys[number].get() );
        cryX509IdentitySetCertificate( made->identities[number].handle(), made->certificates[number].get() );
    }
    made->identities[Material::keys] = pb::adopt( cryX509IdentityCreate() );
    cryX509IdentitySetPrivateKey( made->identities[Material::keys].handle(), made->privateKeys[0].get() );

    CRY_PKEY_PRIVATE *key = made->privateKeys[0].get();
    made->trusted[0]      = collection( {} );
    made->trusted[1]      = collection( { certificateOf( key, "trusted" ) } );
    made->trusted[2]      = collection( { made->certificates[0], certificateOf( key, "trusted too" ) } );
    made->synchronized[0] = collection( {} );
    made->synchronized[1] = collection( { certificateOf( key, "synchronized" ) } );
    made->synchronized[2] = collection( { made->certificates[1] } );
    auto root             = certificateOf( key, "root" );
    made->platform[0]     = collection( { root } );
    made->platform[1]     = collection( { made->certificates[2], root } );
    made->platform[2]     = collection( {} );
    made->lastTrusted     = collection( { certificateOf( key, "last" ) } );
    made->sans[0]         = pb::adopt( cryX509SansCreate() );
    made->sans[1]         = names( "a.example" );
    made->acceptable      = names( "b.example" );
    made->identifiers[0]  = pb::adopt( pbIdentifierTryCreateFromCstr( "first", -1 ) );
    made->identifiers[1]  = pb::adopt( pbIdentifierTryCreateFromCstr( "second", -1 ) );
    auto item             = [&]( unsigned identifier, unsigned identity ) {
        return pb::adopt( cryVaultItemCreateIdentity( made->identifiers[identifier].get(), made->identities[identity].get() ) );
    };
    made->vaults[0] = vaultOf( {} );
    made->vaults[1] = vaultOf( { item( 0, 2 ) } );
    made->vaults[2] = vaultOf( { item( 0, 1 ), item( 1, 0 ) } );
    return made;
}

}

const Material &leaves::material()
{
    static const Material *made = make();
    return *made;
}

extern "C" CRY_PKEY_PRIVATE *__wrap_cryTryGenerateRsaKeyPair( PB_INT )
{
    simulation::expect( pb::threadState.heldLocks == 0, "a key is generated under a lock" );
    simulation::switchPoint();
    unsigned number = below( Material::keys );
    return leaves::scenario.generates && number < Material::keys - 1 ? pb::shareOrNull( leaves::material().privateKeys[number].get() ) : nullptr;
}

extern "C" CRY_X509_CERTIFICATE *__wrap_cryTryGenerateCertificate( CRY_PKEY_PRIVATE *key, PB_STRING *, PB_STRING *, PB_INT )
{
    simulation::expect( pb::threadState.heldLocks == 0, "a certificate is generated under a lock" );
    simulation::switchPoint();
    for( unsigned number = 0; number < Material::keys; number++ )
    {
        if( leaves::material().privateKeys[number].get() == key && below( 4 ) )
            return pb::shareOrNull( leaves::material().certificates[number].get() );
    }
    return nullptr;
}

// The name is that of `cry::x509::loadPlatformRoots( CRY_X509_CERTIFICATES * )`.
CRY_X509_CERTIFICATES *platformRoots( CRY_X509_CERTIFICATES * ) __asm__( "__wrap__ZN3cry4x50917loadPlatformRootsEP21CRY_X509_CERTIFICATES" );
CRY_X509_CERTIFICATES *platformRoots( CRY_X509_CERTIFICATES * )
{
    simulation::expect( pb::threadState.heldLocks == 0, "roots are loaded under a lock" );
    simulation::switchPoint();
    unsigned now = leaves::scenario.platform;
    simulation::switchPoint();
    return pb::shareOrNull( leaves::material().platform[now].get() );
}

// The names are those of `cry::x509::verifyChain( const Question &, time_t, pb::Site )`.
cry::x509::Verdict verifyReally( const cry::x509::Question &, time_t, pb::Site ) __asm__(
    "__real__ZN3cry4x50911verifyChainERKNS0_8QuestionElN2pb4SiteE" );
cry::x509::Verdict verify( const cry::x509::Question &, time_t, pb::Site ) __asm__( "__wrap__ZN3cry4x50911verifyChainERKNS0_8QuestionElN2pb4SiteE" );

cry::x509::Verdict verify( const cry::x509::Question &question, time_t seconds, pb::Site site )
{
    simulation::expect( pb::threadState.heldLocks == 0, "a certificate is verified under a lock" );
    leaves::scenario.verifications++;
    simulation::switchPoint();
    cry::x509::Verdict verdict{ {}, X509_V_ERR_CERT_REVOKED, 0, pb::share( question.certificate ), false };
    if( leaves::scenario.verifies )
        verdict = verifyReally( question, seconds, site );
    for( unsigned number = 0; number < Material::keys && !leaves::scenario.verifies; number++ )
    {
        if( leaves::material().certificates[number].get() == question.certificate && leaves::scenario.accepts[number] )
            verdict = { collection( { pb::share( question.certificate ) } ), X509_V_OK, -1, {}, true };
    }
    simulation::switchPoint();
    leaves::scenario.verifications--;
    return verdict;
}
