#include "x509/cry_x509_stack_imp.hpp"

#include <cry/cry_generate_certificate.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/cry_vault.h>
#include <cry/cry_x509_system.h>
#include <cry/internal/cry_x509_stack_imp.h>
#include <pb/locks.hpp>
#include <pb/pb_module.h>
#include <pb/pb_runtime.h>
#include <pb/pb_timer.h>
#include <pb/sort.hpp>

#include "common/cry_ossl.hpp"
#include "common/cry_state_machine.hpp"
#include "vault/cry_vault.hpp"
#include "x509/cry_x509_certificate_lookup.hpp"
#include "x509/cry_x509_system.hpp"

#include <openssl_module/internal/openssl_errors.hpp>
#include <optional>

static constexpr PB_INT keyBits       = 2048;
static constexpr PB_INT validDays     = 28;
static constexpr PB_INT renewalTime   = 1209600000; // milliseconds: 14 days
static constexpr PB_INT retryTime     = 3600000;    // milliseconds: one hour
static constexpr PB_INT sessionAnchor = 10;

enum : PB_INT
{
    STATE_NULL,
    STATE_IDENTITY,
    STATE_IDENTITY_FIXED,
    STATE_IDENTITY_GENERATE,
    STATE_IDENTITY_VAULT,
    STATE_TRUST,
    STATE_TRUST_FIXED,
    STATE_TRUST_SYSTEM,
    STATE_TRUST_SYNCHRONIZED,
    STATE_TRUST_IDENTITY,
    STATE_COMMIT
};

namespace
{

// What only the run of the process uses, whether it has the region or has left it for slow work.
struct PB_LOCK_TYPE( "role" ) ProcessRole
{
};
constexpr ProcessRole processRole;

}

struct CRY___X509_STACK_IMP : PB_OBJ
{
    TR_STREAM     *trStream;
    PB_PROCESS    *isProcess;
    PB_SIGNALABLE *isSignalable;
    PB_REGION     *region;

    // Callers set them.
    PB_SIGNAL *extUpdateSignal         PB_GUARDED_BY( *region );
    CRY_X509_STACK_OPTIONS *extOptions PB_GUARDED_BY( *region );

    // Published; only the commit changes them.
    CRY_X509_STACK_OPTIONS *cnfOptions            PB_GUARDED_BY( *region );
    CRY_X509_IDENTITY *cnfIdentity                PB_GUARDED_BY( *region );
    CRY_X509_CERTIFICATES *cnfTrustedCertificates PB_GUARDED_BY( *region );
    CRY_X509_SANS *cnfTrustedSans                 PB_GUARDED_BY( *region );
    X509_STORE *cnfOpensslX509Store               PB_GUARDED_BY( *region );
    PB_SIGNAL *cnfIdentityChangedSignal           PB_GUARDED_BY( *region );
    PB_SIGNAL *cnfTrustChangedSignal              PB_GUARDED_BY( *region );

    // Only the process uses them.
    PB_INT intState                               PB_GUARDED_BY( processRole );
    PB_BOOL intCommitted                          PB_GUARDED_BY( processRole ); // in this run
    X509_STORE *intFormerOpensslX509Store         PB_GUARDED_BY( processRole ); // freed outside the region
    CRY_X509_STACK_OPTIONS *intOptions            PB_GUARDED_BY( processRole );
    CRY_X509_IDENTITY *intIdentity                PB_GUARDED_BY( processRole );
    CRY_X509_CERTIFICATES *intTrustedCertificates PB_GUARDED_BY( processRole );
    CRY_X509_SANS *intTrustedSans                 PB_GUARDED_BY( processRole );
    PB_TIMER *intGenerateTimer                    PB_GUARDED_BY( processRole );
    CRY_X509_IDENTITY *intGeneratedIdentity       PB_GUARDED_BY( processRole );
    PB_SIGNAL *intVaultSignal                     PB_GUARDED_BY( processRole );
    PB_SIGNALABLE *intVaultSignalable             PB_GUARDED_BY( processRole );
    PB_SIGNAL *intSystemSignal                    PB_GUARDED_BY( processRole );
    PB_SIGNALABLE *intSystemSignalable            PB_GUARDED_BY( processRole );
};

using Imp = CRY___X509_STACK_IMP;

static constexpr auto impFields = pb::fields<&Imp::trStream, &Imp::isProcess, &Imp::isSignalable, &Imp::region, &Imp::extUpdateSignal,
    &Imp::extOptions, &Imp::cnfOptions, &Imp::cnfIdentity, &Imp::cnfTrustedCertificates, &Imp::cnfTrustedSans, &Imp::cnfOpensslX509Store,
    &Imp::cnfIdentityChangedSignal, &Imp::cnfTrustChangedSignal, &Imp::intState, &Imp::intCommitted, &Imp::intFormerOpensslX509Store,
    &Imp::intOptions, &Imp::intIdentity, &Imp::intTrustedCertificates, &Imp::intTrustedSans, &Imp::intGenerateTimer, &Imp::intGeneratedIdentity,
    &Imp::intVaultSignal, &Imp::intVaultSignalable, &Imp::intSystemSignal, &Imp::intSystemSignalable>;

namespace
{

// A source of changes: the vault or the platform's roots.
using DropSubscription = void ( * )( PB_SIGNALABLE * );

void dropSource( PB_SIGNAL *&signal, PB_SIGNALABLE *&sigb, DropSubscription drop )
{
    if( sigb )
        drop( sigb );
    pb::clear( signal );
    pb::clear( sigb );
}

// Makes the signal that the source is to assert anew, if there is none that can still be asserted.
// True if it did.
bool renewSource( Imp *imp, PB_SIGNAL *&signal, PB_SIGNALABLE *&sigb, DropSubscription drop )
{
    if( signal && !pbSignalAsserted( signal ) )
        return false;
    // The old one may have been added again after the source had begun to assert it.
    dropSource( signal, sigb, drop );
    signal = pbSignalCreate();
    sigb   = pbSignalableCreateSignal( signal );
    pbSignalAddSignalable( signal, imp->isSignalable );
    return true;
}

void dropVault( Imp *imp ) PB_NEEDS( processRole ) { dropSource( imp->intVaultSignal, imp->intVaultSignalable, cry::vault::delSignalableAtAnyTime ); }

void dropSystem( Imp *imp ) PB_NEEDS( processRole )
{
    dropSource( imp->intSystemSignal, imp->intSystemSignalable, cry::x509::delSystemSignalableAtAnyTime );
}

void dropGenerated( Imp *imp ) PB_NEEDS( processRole )
{
    pb::clear( imp->intGenerateTimer );
    pb::clear( imp->intGeneratedIdentity );
}

// Asserts a signal; who wants to know the next time, too, finds a new one.
void assertAndReplace( PB_SIGNAL *&signal )
{
    pbSignalAssert( signal );
    pb::Ref<PB_SIGNAL> old = pb::adopt( std::exchange( signal, pbSignalCreate() ) );
}

// The certificates that are always trusted, and after them those of the mode. Takes over the first.
CRY_X509_CERTIFICATES *joined( CRY_X509_CERTIFICATES *always, pb::Ref<CRY_X509_CERTIFICATES> ofMode )
{
    // Stacks without certificates of their own share the platform's collection.
    if( cryX509CertificatesCertificatesLength( always ) == 0 )
    {
        pb::releaseOrNull( always );
        return ofMode.take();
    }
    cryX509CertificatesAppend( &always, ofMode.get() );
    return always;
}

template<pb::Object T>
bool differ( T *a, T *b )
{
    return pbObjCompare( pb::asObj( a ), pb::asObj( b ) ) != 0;
}

}

static void freeImp( CRY___X509_STACK_IMP *imp ) PB_UNCHECKED
{
    PB_CHECK( imp );
    dropVault( imp );
    dropSystem( imp );
    impFields.release( imp );
}

PB_SORT_DEFINE( cry, ___X509StackImp, CRY___X509_STACK_IMP, .free = pb::slot<freeImp> )

static bool isAtRest( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    return imp->intOptions == imp->extOptions && ( !imp->intGenerateTimer || pbTimerScheduled( imp->intGenerateTimer ) ) &&
        ( !imp->intVaultSignal || !pbSignalAsserted( imp->intVaultSignal ) ) &&
        ( !imp->intSystemSignal || !pbSignalAsserted( imp->intSystemSignal ) );
}

static cry::Step cry___X509StackImpStateNull( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_NULL );
    if( isAtRest( imp ) )
        return STATE_NULL;
    if( imp->intCommitted )
    {
        // A run makes one pass, so that two threads that change the options all the time cannot
        // keep it running for ever.
        pbProcessSchedule( imp->isProcess );
        return STATE_NULL;
    }
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::share( imp->extOptions );
    pb::Ref<PB_STORE>               configuration;
    if( imp->intOptions != options.get() )
    {
        pb::OutOfRegion out( imp->region );
        if( trStreamActive( imp->trStream ) && differ( imp->intOptions, options.get() ) )
            configuration = pb::adopt( cryX509StackOptionsStore( options.get(), PB_FALSE, 0 ) );
    }
    if( pbProcessHalted( imp->isProcess ) )
        return STATE_NULL;
    if( configuration )
        trStreamSetConfiguration( imp->trStream, configuration.get() );
    pb::assign( imp->intOptions, options.get() );
    return STATE_IDENTITY;
}

static cry::Step cry___X509StackImpStateIdentity( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_IDENTITY );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intIdentity );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    switch( cryX509StackOptionsIdentityMode( imp->intOptions ) )
    {
    case CRY_X509_STACK_IDENTITY_MODE_GENERATE:
        return STATE_IDENTITY_GENERATE;
    case CRY_X509_STACK_IDENTITY_MODE_VAULT:
        return STATE_IDENTITY_VAULT;
    default:
        return STATE_IDENTITY_FIXED;
    }
}

static cry::Step cry___X509StackImpStateIdentityFixed( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_IDENTITY_FIXED );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intIdentity );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    dropGenerated( imp );
    dropVault( imp );
    imp->intIdentity = cryX509StackOptionsIdentity( imp->intOptions );
    return STATE_TRUST;
}

// A new key with a certificate for it; null if one of them cannot be generated.
static pb::Ref<CRY_X509_IDENTITY> tryGenerateIdentity()
{
    openssl::ErrorMark        detour;
    pb::Ref<CRY_PKEY_PRIVATE> key = pb::adopt( cryTryGenerateRsaKeyPair( keyBits ) );
    if( !key )
        return {};
    pb::Ref<PB_STRING>            name = pb::adopt( pbRuntimeVersionProductFriendlyName() );
    pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryTryGenerateCertificate( key.get(), nullptr, name.get(), validDays ) );
    if( !cert )
        return {};
    pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
    cryX509IdentitySetPrivateKey( ident.handle(), key.get() );
    cryX509IdentitySetCertificate( ident.handle(), cert.get() );
    return ident;
}

static cry::Step cry___X509StackImpStateIdentityGenerate( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_IDENTITY_GENERATE );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intIdentity );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    dropVault( imp );
    if( !imp->intGenerateTimer )
        imp->intGenerateTimer = pbTimerCreateProcess( imp->isProcess );
    if( !pbTimerScheduled( imp->intGenerateTimer ) )
    {
        pb::Ref<CRY_X509_IDENTITY> generated;
        {
            pb::OutOfRegion out( imp->region );
            generated = tryGenerateIdentity();
        }
        if( pbProcessHalted( imp->isProcess ) )
            return STATE_IDENTITY_GENERATE;
        pb::assign( imp->intGeneratedIdentity, generated.get() );
        pbTimerSchedule( imp->intGenerateTimer, generated ? renewalTime : retryTime );
    }
    imp->intIdentity = pb::shareOrNull( imp->intGeneratedIdentity );
    return STATE_TRUST;
}

static cry::Step cry___X509StackImpStateIdentityVault( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_IDENTITY_VAULT );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intIdentity );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    dropGenerated( imp );
    renewSource( imp, imp->intVaultSignal, imp->intVaultSignalable, cry::vault::delSignalableAtAnyTime );
    // Subscribe before reading.
    cryVaultUpdateAddSignalable( imp->intVaultSignalable );
    pb::Ref<PB_IDENTIFIER>  id   = pb::adopt( cryX509StackOptionsIdentityVaultIdentifier( imp->intOptions ) );
    pb::Ref<CRY_VAULT_ITEM> item = pb::adopt( id ? cryVaultItem( id.get() ) : nullptr );
    imp->intIdentity             = item ? cryVaultItemIdentity( item.get() ) : nullptr;
    return STATE_TRUST;
}

static cry::Step cry___X509StackImpStateTrust( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_TRUST );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    switch( cryX509StackOptionsTrustMode( imp->intOptions ) )
    {
    case CRY_X509_STACK_TRUST_MODE_SYSTEM:
        return STATE_TRUST_SYSTEM;
    case CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED:
        return STATE_TRUST_SYNCHRONIZED;
    default:
        return STATE_TRUST_FIXED;
    }
}

static cry::Step cry___X509StackImpStateTrustFixed( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_TRUST_FIXED );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    dropSystem( imp );
    imp->intTrustedCertificates = cryX509StackOptionsTrustedCertificates( imp->intOptions );
    imp->intTrustedSans         = cryX509StackOptionsTrustedSans( imp->intOptions );
    return STATE_TRUST_IDENTITY;
}

static cry::Step cry___X509StackImpStateTrustSystem( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_TRUST_SYSTEM );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    // Subscribe before reading.
    if( renewSource( imp, imp->intSystemSignal, imp->intSystemSignalable, cry::x509::delSystemSignalableAtAnyTime ) )
        cryX509SystemTrustedCertificatesAddSignalable( imp->intSystemSignalable );
    imp->intTrustedCertificates = joined(
        cryX509StackOptionsTrustedCertificates( imp->intOptions ), pb::adopt( cryX509SystemTrustedCertificates() ) );
    imp->intTrustedSans = cryX509StackOptionsTrustedSans( imp->intOptions );
    return STATE_TRUST_IDENTITY;
}

static cry::Step cry___X509StackImpStateTrustSynchronized( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_TRUST_SYNCHRONIZED );
    PB_CHECK( imp->intOptions );
    PB_CHECK( !imp->intTrustedCertificates );
    PB_CHECK( !imp->intTrustedSans );
    dropSystem( imp );
    imp->intTrustedCertificates = joined( cryX509StackOptionsTrustedCertificates( imp->intOptions ),
        pb::adopt( cryX509StackOptionsSynchronizedTrustedCertificates( imp->intOptions ) ) );
    imp->intTrustedSans         = cryX509StackOptionsTrustedSans( imp->intOptions );
    return STATE_TRUST_IDENTITY;
}

static cry::Step cry___X509StackImpStateTrustIdentity( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_TRUST_IDENTITY );
    PB_CHECK( imp->intOptions );
    PB_CHECK( imp->intTrustedCertificates );
    PB_CHECK( imp->intTrustedSans );
    if( cryX509StackOptionsTrustIdentity( imp->intOptions ) && imp->intIdentity )
    {
        pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryX509IdentityCertificate( imp->intIdentity ) );
        if( cert )
            cryX509CertificatesAppendCertificate( &imp->intTrustedCertificates, cert.get() );
    }
    return STATE_COMMIT;
}

// The stores for the trace of the state that is to be published; made outside the region. Nothing
// if nobody listens.
struct StateTrace
{
    pb::Ref<PB_STORE> identity, trustedCertificates, trustedSans;

    explicit StateTrace( Imp *imp ) PB_NEEDS( processRole )
    {
        if( !trStreamActive( imp->trStream ) )
            return;
        identity            = pb::adopt( imp->intIdentity ? cryX509IdentityStore( imp->intIdentity, PB_FALSE ) : nullptr );
        trustedCertificates = pb::adopt( cryX509CertificatesStore( imp->intTrustedCertificates ) );
        trustedSans         = pb::adopt( cryX509SansStore( imp->intTrustedSans ) );
    }

    void set( TR_STREAM *stream ) const
    {
        if( !trustedSans )
            return;
        if( identity )
            trStreamSetPropertyCstrStore( stream, "cryIdentity", -1, identity.get() );
        else
            trStreamDelPropertyCstr( stream, "cryIdentity", -1 );
        trStreamSetPropertyCstrStore( stream, "cryTrustedCertificates", -1, trustedCertificates.get() );
        trStreamSetPropertyCstrStore( stream, "cryTrustedSans", -1, trustedSans.get() );
    }
};

static cry::Step cry___X509StackImpStateCommit( Imp *imp ) PB_NEEDS( *imp->region, processRole )
{
    PB_CHECK( imp->intState == STATE_COMMIT );
    PB_CHECK( imp->intOptions );
    PB_CHECK( imp->intTrustedCertificates );
    PB_CHECK( imp->intTrustedSans );
    pb::Ref<CRY_X509_STACK_OPTIONS> options             = pb::share( imp->cnfOptions );
    pb::Ref<CRY_X509_IDENTITY>      identity            = pb::share( imp->cnfIdentity );
    pb::Ref<CRY_X509_CERTIFICATES>  trustedCertificates = pb::share( imp->cnfTrustedCertificates );
    pb::Ref<CRY_X509_SANS>          trustedSans         = pb::share( imp->cnfTrustedSans );
    bool                            identityChanged, trustChanged, optionsChanged;
    cry::ossl::Ptr<X509_STORE>      x509Store;
    std::optional<StateTrace>       trace;
    {
        pb::OutOfRegion out( imp->region );
        identityChanged = differ( identity.get(), imp->intIdentity );
        trustChanged    = differ( trustedCertificates.get(), imp->intTrustedCertificates ) || differ( trustedSans.get(), imp->intTrustedSans );
        optionsChanged  = differ( options.get(), imp->intOptions );
        x509Store.reset( cry::x509::createLookupStore( imp->intTrustedCertificates, cry::x509::Collection::held ) );
        trace.emplace( imp );
    }
    if( pbProcessHalted( imp->isProcess ) )
        return STATE_COMMIT;
    trace->set( imp->trStream );
    pb::assign( imp->cnfOptions, imp->intOptions );
    pb::assign( imp->cnfIdentity, imp->intIdentity );
    pb::assign( imp->cnfTrustedCertificates, imp->intTrustedCertificates );
    pb::assign( imp->cnfTrustedSans, imp->intTrustedSans );
    pb::clear( imp->intIdentity );
    pb::clear( imp->intTrustedCertificates );
    pb::clear( imp->intTrustedSans );
    imp->intFormerOpensslX509Store = std::exchange( imp->cnfOpensslX509Store, x509Store.release() );
    imp->intCommitted              = PB_TRUE;
    if( identityChanged )
    {
        trStreamTextCstr( imp->trStream, "[cry___X509StackImpStateCommit()] identityChanged: true", -1 );
        assertAndReplace( imp->cnfIdentityChangedSignal );
    }
    if( trustChanged )
    {
        trStreamTextCstr( imp->trStream, "[cry___X509StackImpStateCommit()] trustChanged: true", -1 );
        assertAndReplace( imp->cnfTrustChangedSignal );
    }
    return { STATE_NULL, identityChanged || trustChanged || optionsChanged };
}

static constexpr cry::StateRow<Imp> states[] = {
    { "STATE_NULL", cry___X509StackImpStateNull, { STATE_IDENTITY } },
    { "STATE_IDENTITY", cry___X509StackImpStateIdentity, { STATE_IDENTITY_FIXED, STATE_IDENTITY_GENERATE, STATE_IDENTITY_VAULT } },
    { "STATE_IDENTITY_FIXED", cry___X509StackImpStateIdentityFixed, { STATE_TRUST } },
    { "STATE_IDENTITY_GENERATE", cry___X509StackImpStateIdentityGenerate, { STATE_TRUST } },
    { "STATE_IDENTITY_VAULT", cry___X509StackImpStateIdentityVault, { STATE_TRUST } },
    { "STATE_TRUST", cry___X509StackImpStateTrust, { STATE_TRUST_FIXED, STATE_TRUST_SYSTEM, STATE_TRUST_SYNCHRONIZED } },
    { "STATE_TRUST_FIXED", cry___X509StackImpStateTrustFixed, { STATE_TRUST_IDENTITY } },
    { "STATE_TRUST_SYSTEM", cry___X509StackImpStateTrustSystem, { STATE_TRUST_IDENTITY } },
    { "STATE_TRUST_SYNCHRONIZED", cry___X509StackImpStateTrustSynchronized, { STATE_TRUST_IDENTITY } },
    { "STATE_TRUST_IDENTITY", cry___X509StackImpStateTrustIdentity, { STATE_COMMIT } },
    { "STATE_COMMIT", cry___X509StackImpStateCommit, { STATE_NULL } },
};

std::string cry::x509::stackStateMachineDiagram() { return stateMachineDiagram( states ); }

static void cry___X509StackImpProcessFunc( PB_OBJ *obj ) PB_UNCHECKED
{
    pb::Ref<Imp> held = pb::share( cry___X509StackImpFrom( obj ) );
    Imp         *imp  = held.get();
    {
        pb::InRegion in( imp->region );
        // A run may begin at the moment of the halt.
        if( pbProcessHalted( imp->isProcess ) )
            return;
        imp->intCommitted = PB_FALSE;
        if( cry::runStateMachine( states, imp->intState, imp ) )
            assertAndReplace( imp->extUpdateSignal );
    }
    X509_STORE_free( std::exchange( imp->intFormerOpensslX509Store, nullptr ) );
}

CRY___X509_STACK_IMP *cry___X509StackImpCreate( CRY_X509_STACK_OPTIONS *opt, TR_ANCHOR *anchor ) PB_UNCHECKED
{
    PB_CHECK( opt );
    CRY___X509_STACK_IMP *imp = pb::create<CRY___X509_STACK_IMP>();
    imp->trStream             = trStreamCreateCstr( "CRY_X509_STACK", -1 );
    if( anchor )
        trAnchorComplete( anchor, imp->trStream );
    imp->isProcess    = pbProcessCreateCstr( cry___X509StackImpProcessFunc, imp, "cry___X509StackImpProcessFunc", -1, PB_PROCESS_CLASS_BACKGROUND );
    imp->isSignalable = pbSignalableCreateProcess( imp->isProcess );
    imp->region       = pbRegionCreate();
    imp->extUpdateSignal          = pbSignalCreate();
    imp->extOptions               = pb::shareOrNull( opt );
    imp->cnfIdentityChangedSignal = pbSignalCreate();
    imp->cnfTrustChangedSignal    = pbSignalCreate();
    imp->intState                 = STATE_NULL;
    pb___ProcessRunInline( imp->isProcess );
    return imp;
}

void cry___X509StackImpHalt( CRY___X509_STACK_IMP *imp )
{
    PB_CHECK( imp );
    pb::InRegion in( imp->region );
    PB_CHECK( !pbProcessHalted( imp->isProcess ) );
    pbProcessHalt( imp->isProcess );
    trStreamTextCstr( imp->trStream, "[cry___X509StackImpHalt()]", -1 );
}

CRY_X509_STACK_OPTIONS *cry___X509StackImpOptions( CRY___X509_STACK_IMP *imp )
{
    PB_CHECK( imp );
    pb::InRegionShared in( imp->region );
    return pb::shareOrNull( imp->extOptions );
}

void cry___X509StackImpSetOptions( CRY___X509_STACK_IMP *imp, CRY_X509_STACK_OPTIONS *opt )
{
    PB_CHECK( imp );
    PB_CHECK( opt );
    {
        pb::InRegion in( imp->region );
        pb::assign( imp->extOptions, opt );
        assertAndReplace( imp->extUpdateSignal );
    }
    pbProcessSchedule( imp->isProcess );
}

CRY___X509_SESSION_IMP *cry___X509StackImpCreateSessionImp( CRY___X509_STACK_IMP *imp, TR_ANCHOR *anchor )
{
    PB_CHECK( imp );
    pb::InRegionShared in( imp->region );
    PB_CHECK( imp->cnfOptions );
    PB_CHECK( imp->cnfTrustedCertificates );
    PB_CHECK( imp->cnfTrustedSans );
    PB_CHECK( imp->cnfOpensslX509Store );
    PB_CHECK( imp->cnfIdentityChangedSignal );
    PB_CHECK( imp->cnfTrustChangedSignal );
    CRY___X509_SESSION_IMP *session = cry___X509SessionImpCreate( imp->cnfOptions, imp->cnfIdentity, imp->cnfTrustedCertificates, imp->cnfTrustedSans,
        imp->cnfOpensslX509Store, imp->cnfIdentityChangedSignal, imp->cnfTrustChangedSignal, anchor );
    if( trStreamActive( imp->trStream ) )
        cry___X509SessionImpTraceCompleteAnchor( session, pb::adopt( trAnchorCreate( imp->trStream, sessionAnchor ) ).get() );
    return session;
}

void cry___X509StackImpUpdateAddSignalable( CRY___X509_STACK_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp );
    PB_CHECK( sigb );
    pb::InRegionShared in( imp->region );
    pbSignalAddSignalable( imp->extUpdateSignal, sigb );
}

void cry___X509StackImpUpdateDelSignalable( CRY___X509_STACK_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp );
    PB_CHECK( sigb );
    pb::InRegionShared in( imp->region );
    pbSignalDelSignalable( imp->extUpdateSignal, sigb );
}

void cry___X509StackImpTraceCompleteAnchor( CRY___X509_STACK_IMP *imp, TR_ANCHOR *anchor )
{
    PB_CHECK( imp ), PB_CHECK( anchor ), trAnchorComplete( anchor, imp->trStream );
}
