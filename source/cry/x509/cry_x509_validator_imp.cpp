#include "x509/cry_x509_validator_imp.hpp"

#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificates.h>
#include <cry/internal/cry_x509_sans.h>
#include <cry/internal/cry_x509_validator_imp.h>
#include <pb/locks.hpp>
#include <pb/published.hpp>
#include <pb/sort.hpp>

#include "common/cry_ossl.hpp"
#include "common/cry_state_machine.hpp"
#include "x509/cry_x509_certificate_chain.hpp"
#include "x509/cry_x509_session.hpp"
#include "x509/cry_x509_validator_failure.hpp"

#include <openssl/x509v3.h>
#include <openssl_module/internal/openssl_errors.hpp>

static constexpr PB_INT validatorAnchor = 9;

static constexpr CRY_X509_POLICY_FLAGS noSubjectChecks = CRY_X509_POLICY_FLAG_DISABLE_VALIDATION | CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS;

enum : PB_INT
{
    STATE_INITIAL,
    STATE_CHAIN,
    STATE_SANS,
    STATE_END,
    STATE_ERROR
};

struct CRY___X509_VALIDATOR_IMP : PB_OBJ
{
    TR_STREAM                     *trStream;
    PB_PROCESS                    *isProcess;
    PB_MONITOR                    *isMonitor;
    CRY_X509_SESSION              *session;
    CRY_X509_POLICY               *policy;
    CRY_X509_POLICY_FLAGS          effectivePolicyFlags;
    CRY_X509_CERTIFICATE          *certificate;
    pb::Published<CRY_X509_SANS *> certificateSans;
    CRY_X509_CERTIFICATES         *extraCertificates; // null if there are none

    // The results.
    PB_SIGNAL                                 *extEndSignal;
    PB_SIGNAL                                 *extErrorSignal;
    CRY_X509_CERTIFICATES *extCertificateChain PB_GUARDED_BY( *isMonitor );
    CRY_X509_VALIDATOR_FAILURE *extFailure     PB_GUARDED_BY( *isMonitor );

    // Only the process uses them.
    PB_INT intState                            PB_GUARDED_BY( *isMonitor );
    CRY_X509_CERTIFICATES *intCertificateChain PB_GUARDED_BY( *isMonitor );
    CRY_X509_VALIDATOR_FAILURE *intFailure     PB_GUARDED_BY( *isMonitor );
};

using Imp = CRY___X509_VALIDATOR_IMP;

static constexpr auto impFields = pb::fields<&Imp::trStream, &Imp::isProcess, &Imp::isMonitor, &Imp::session, &Imp::policy,
    &Imp::effectivePolicyFlags, &Imp::certificate, &Imp::certificateSans, &Imp::extraCertificates, &Imp::extEndSignal, &Imp::extErrorSignal,
    &Imp::extCertificateChain, &Imp::extFailure, &Imp::intState, &Imp::intCertificateChain, &Imp::intFailure>;

PB_SORT_DEFINE( cry, ___X509ValidatorImp, CRY___X509_VALIDATOR_IMP, PB_FREE_FIELDS( CRY___X509_VALIDATOR_IMP, imp, impFields ) )

namespace
{

using cry::x509::FailureFacts;

bool has( const Imp *imp, CRY_X509_POLICY_FLAGS flags ) { return ( imp->effectivePolicyFlags & flags ) != 0; }

bool allowsWildcards( const Imp *imp ) { return !has( imp, CRY_X509_POLICY_FLAG_DISABLE_WILDCARD_PROCESSING ); }

// The names of the certificate as its info has them, lent; null if it has none. The rest of the
// info is not needed.
CRY_X509_SANS *certificateSans( Imp *imp )
{
    return imp->certificateSans.getOrMake( [imp]() -> CRY_X509_SANS * {
        openssl::ErrorMark            detour;
        X509                         *x509 = cry___X509CertificatePeekOpensslX509( imp->certificate );
        cry::ossl::Ptr<GENERAL_NAMES> names( (GENERAL_NAMES *)X509_get_ext_d2i( x509, NID_subject_alt_name, nullptr, nullptr ) );
        return names ? cry___X509SansCreateFromOpensslSubjectAltNames( names.get() ) : nullptr;
    } );
}

bool certificateHasMatch( Imp *imp, CRY_X509_SANS *sans )
{
    CRY_X509_SANS *its = certificateSans( imp );
    return its && cryX509SansHasMatch( its, sans, allowsWildcards( imp ) );
}

// Whether the only wanted name is the policy's lenient address.
bool isLenientAddress( Imp *imp, CRY_X509_SANS *sans )
{
    pb::Ref<IN_ADDRESS> lenient = pb::adopt( cryX509PolicyLenientSubjectChecksIpAddress( imp->policy ) );
    if( !lenient || !has( imp, CRY_X509_POLICY_FLAG_LENIENT_IP_ADDRESS_SUBJECT_CHECKS ) || cryX509SansLength( sans ) != 1 )
        return false;
    pb::Ref<CRY_X509_SAN> san = pb::adopt( cryX509SansAt( sans, 0 ) );
    if( cryX509SanType( san.get() ) != CRY_X509_SAN_TYPE_IP_ADDRESS )
        return false;
    pb::Ref<IN_ADDRESS> wanted = pb::adopt( cryX509SanIpAddress( san.get() ) );
    return inAddressEquals( wanted.get(), lenient.get() );
}

// The session's trusted names count whatever the flags say.
bool checkTrustedSans( Imp *imp, CRY_X509_SANS *trusted )
{
    return !trusted || cryX509SansLength( trusted ) == 0 || certificateHasMatch( imp, trusted );
}

// Fills in what all failures have. The current time is taken if the policy has none.
pb::Ref<CRY_X509_VALIDATOR_FAILURE> failureOf( Imp *imp, FailureFacts facts, time_t seconds )
{
    pb::Ref<PB_TIME> time = pb::adopt( cryX509PolicyTime( imp->policy ) );
    if( !time )
        time = pb::adopt( pbTimeTryCreateFromTimeT( seconds ) );
    facts.time = time.get();
    return pb::adopt( cry::x509::createFailure( facts ) );
}

pb::Ref<CRY_X509_VALIDATOR_FAILURE> sansFailure( Imp *imp, CRY_X509_VALIDATOR_FAILURE_REASON reason, CRY_X509_SANS *wanted )
{
    return failureOf( imp,
        { .reason = reason, .time = nullptr, .certificate = imp->certificate, .certificateSans = certificateSans( imp ), .wantedSans = wanted },
        time( nullptr ) );
}

// The result of a check: a text for the trace and a failure, or neither.
struct Refusal
{
    pb::Ref<CRY_X509_VALIDATOR_FAILURE> failure;
    const char                         *text = nullptr;

    explicit operator bool() const { return (bool)failure; }
};

cry::Step refuse( Imp *imp, Refusal &refusal ) PB_NEEDS( *imp->isMonitor )
{
    trStreamSetNotable( imp->trStream );
    trStreamTextFormatCstr( imp->trStream, refusal.text, -1, cryX509ValidatorFailureOpensslError( refusal.failure.get() ),
        cryX509ValidatorFailureDepth( refusal.failure.get() ) );
    imp->intFailure = refusal.failure.take();
    return STATE_ERROR;
}

// Verifies the chain; the monitor is not held. Gives the chain, or a refusal.
Refusal verify( Imp *imp, pb::Ref<CRY_X509_CERTIFICATES> &chain )
{
    openssl::ErrorMark detour;
    pb::Ref<PB_TIME>   policyTime = pb::adopt( cryX509PolicyTime( imp->policy ) );
    time_t             seconds    = time( nullptr );
    if( policyTime && !pbTimeTryConvertToTimeT( policyTime.get(), &seconds ) )
        return { failureOf( imp, { .reason = CRY_X509_VALIDATOR_FAILURE_REASON_TIME, .time = nullptr }, 0 ),
            "[cry___X509ValidatorImpStateInitial()] pbTimeTryConvertToTimeT(): false" };

    pb::Ref<CRY_X509_CERTIFICATES> trusted = pb::adopt( cryX509SessionTrustedCertificates( imp->session ) );
    cry::x509::Verdict             verdict = cry::x509::verifyChain(
        { imp->certificate, imp->extraCertificates, trusted.get(), cry::x509::verificationStore( imp->session ) }, seconds );
    if( verdict )
    {
        chain = std::move( verdict.chain );
        return {};
    }
    if( verdict.verified )
        return { failureOf( imp, { .reason = CRY_X509_VALIDATOR_FAILURE_REASON_RESULT, .time = nullptr }, seconds ),
            "[cry___X509ValidatorImpStateInitial()] cry___X509CertificatesTryCreateFromOpensslStackOfX509(): null" };
    return { failureOf( imp,
                 { .reason         = CRY_X509_VALIDATOR_FAILURE_REASON_CHAIN,
                     .time         = nullptr,
                     .opensslError = verdict.code,
                     .depth        = verdict.depth,
                     .certificate  = verdict.certificate.get() },
                 seconds ),
        "[cry___X509ValidatorImpStateInitial()] X509_verify_cert(): failed (error %i at depth %i)" };
}

}

PB_BOOL cry___X509ValidatorImpCheckSans( CRY___X509_VALIDATOR_IMP *imp, CRY_X509_SANS *sans )
{
    PB_CHECK( imp );
    PB_CHECK( sans );
    // All that it reads cannot change, so the monitor is not needed.
    return has( imp, noSubjectChecks ) || certificateHasMatch( imp, sans ) || isLenientAddress( imp, sans );
}

static cry::Step cry___X509ValidatorImpStateInitial( Imp *imp ) PB_NEEDS( *imp->isMonitor )
{
    PB_CHECK( imp->intState == STATE_INITIAL );
    PB_CHECK( !imp->intCertificateChain );
    if( has( imp, CRY_X509_POLICY_FLAG_DISABLE_VALIDATION ) )
    {
        imp->intCertificateChain = cryX509CertificatesCreate();
        cryX509CertificatesAppendCertificate( &imp->intCertificateChain, imp->certificate );
        trStreamTextCstr( imp->trStream, "[cry___X509ValidatorImpStateInitial()] Certificate validation disabled.", -1 );
        return STATE_CHAIN;
    }
    pb::Ref<CRY_X509_CERTIFICATES> chain;
    Refusal                        refusal;
    {
        pb::OutOfMonitor out( imp->isMonitor );
        refusal = verify( imp, chain );
    }
    if( pbProcessHalted( imp->isProcess ) )
        return STATE_INITIAL;
    if( refusal )
        return refuse( imp, refusal );
    imp->intCertificateChain = chain.take();
    return STATE_CHAIN;
}

static cry::Step cry___X509ValidatorImpStateChain( Imp *imp ) PB_NEEDS( *imp->isMonitor )
{
    PB_CHECK( imp->intState == STATE_CHAIN );
    PB_CHECK( imp->intCertificateChain );
    if( trStreamActive( imp->trStream ) )
    {
        pb::Ref<PB_STORE> chain, subjects;
        {
            pb::Ref<CRY_X509_CERTIFICATES> certs = pb::share( imp->intCertificateChain );
            pb::OutOfMonitor               out( imp->isMonitor );
            chain    = pb::adopt( cryX509CertificatesStore( certs.get() ) );
            subjects = pb::adopt( cry___X509CertificatesStoreSubjects( certs.get() ) );
        }
        if( pbProcessHalted( imp->isProcess ) )
            return STATE_CHAIN;
        trStreamSetPropertyCstrStore( imp->trStream, "cryCertificateChain", -1, chain.get() );
        trStreamSetPropertyCstrStore( imp->trStream, "cryCertificateChainSubjects", -1, subjects.get() );
    }
    return STATE_SANS;
}

static cry::Step cry___X509ValidatorImpStateSans( Imp *imp ) PB_NEEDS( *imp->isMonitor )
{
    PB_CHECK( imp->intState == STATE_SANS );
    PB_CHECK( imp->intCertificateChain );
    Refusal refusal;
    {
        pb::OutOfMonitor       out( imp->isMonitor );
        pb::Ref<CRY_X509_SANS> trusted    = pb::adopt( cryX509SessionTrustedSans( imp->session ) );
        pb::Ref<CRY_X509_SANS> acceptable = pb::adopt( cryX509PolicyAcceptableSans( imp->policy ) );
        if( !checkTrustedSans( imp, trusted.get() ) )
            refusal = { sansFailure( imp, CRY_X509_VALIDATOR_FAILURE_REASON_TRUSTED_SANS, trusted.get() ),
                "[cry___X509ValidatorImpStateSans()] cry___X509ValidatorImpCheckTrustedSans(): false" };
        else if( acceptable && !cry___X509ValidatorImpCheckSans( imp, acceptable.get() ) )
            refusal = { sansFailure( imp, CRY_X509_VALIDATOR_FAILURE_REASON_ACCEPTABLE_SANS, acceptable.get() ),
                "[cry___X509ValidatorImpStateSans()] cry___X509ValidatorImpCheckSans(): false" };
    }
    if( pbProcessHalted( imp->isProcess ) )
        return STATE_SANS;
    if( refusal )
        return refuse( imp, refusal );
    return STATE_END;
}

static cry::Step cry___X509ValidatorImpStateEnd( Imp *imp ) PB_NEEDS( *imp->isMonitor )
{
    PB_CHECK( imp->intState == STATE_END );
    PB_CHECK( !imp->extCertificateChain );
    PB_CHECK( !pbSignalAsserted( imp->extEndSignal ) );
    PB_CHECK( !pbSignalAsserted( imp->extErrorSignal ) );
    trStreamTextCstr( imp->trStream, "[cry___X509ValidatorImpStateEnd()]", -1 );
    trStreamSetPropertyCstrBool( imp->trStream, "crySuccess", -1, PB_TRUE );
    imp->extCertificateChain = pb::shareOrNull( imp->intCertificateChain );
    pbSignalAssert( imp->extEndSignal );
    pbProcessHalt( imp->isProcess );
    return STATE_END;
}

static cry::Step cry___X509ValidatorImpStateError( Imp *imp ) PB_NEEDS( *imp->isMonitor )
{
    PB_CHECK( imp->intState == STATE_ERROR );
    PB_CHECK( !pbSignalAsserted( imp->extEndSignal ) );
    PB_CHECK( !pbSignalAsserted( imp->extErrorSignal ) );
    trStreamSetNotable( imp->trStream );
    trStreamTextCstr( imp->trStream, "[cry___X509ValidatorImpStateError()]", -1 );
    trStreamSetPropertyCstrBool( imp->trStream, "crySuccess", -1, PB_FALSE );
    imp->extFailure = pb::shareOrNull( imp->intFailure );
    // Who wakes at the end and asks for the error waits for this monitor, so he sees both.
    pbSignalAssert( imp->extEndSignal );
    pbSignalAssert( imp->extErrorSignal );
    pbProcessHalt( imp->isProcess );
    return STATE_ERROR;
}

static constexpr cry::StateRow<Imp> states[] = {
    { "STATE_INITIAL", cry___X509ValidatorImpStateInitial, { STATE_CHAIN, STATE_ERROR } },
    { "STATE_CHAIN", cry___X509ValidatorImpStateChain, { STATE_SANS } },
    { "STATE_SANS", cry___X509ValidatorImpStateSans, { STATE_END, STATE_ERROR } },
    { "STATE_END", cry___X509ValidatorImpStateEnd, {} },
    { "STATE_ERROR", cry___X509ValidatorImpStateError, {} },
};

std::string cry::x509::validatorStateMachineDiagram() { return stateMachineDiagram( states ); }

static void cry___X509ValidatorImpProcessFunc( PB_OBJ *obj ) PB_UNCHECKED
{
    pb::Ref<Imp>  held = pb::share( cry___X509ValidatorImpFrom( obj ) );
    Imp          *imp  = held.get();
    pb::InMonitor in( imp->isMonitor );
    // A run may begin at the moment of the halt.
    if( !pbProcessHalted( imp->isProcess ) )
        cry::runStateMachine( states, imp->intState, imp );
}

// Traces with what the validator was made.
static void traceCreation( Imp *imp )
{
    if( !trStreamActive( imp->trStream ) )
        return;
    cryX509SessionTraceCompleteAnchor( imp->session, pb::adopt( trAnchorCreate( imp->trStream, validatorAnchor ) ).get() );
    auto setStore = [imp]( const char *key, PB_STORE *store ) { trStreamSetPropertyCstrStore( imp->trStream, key, -1, pb::adopt( store ).get() ); };
    setStore( "cryPolicy", cryX509PolicyStore( imp->policy ) );
    trStreamSetPropertyCstrString(
        imp->trStream, "cryEffectivePolicyFlags", -1, pb::adopt( cryX509PolicyFlagsToString( imp->effectivePolicyFlags ) ).get() );
    setStore( "cryCertificate", cryX509CertificateStore( imp->certificate ) );
    setStore( "cryCertificateInfo", cryX509InfoStore( pb::adopt( cryX509CertificateInfo( imp->certificate ) ).get() ) );
    setStore( "cryExtraCertificates",
        imp->extraCertificates ? cryX509CertificatesStore( imp->extraCertificates )
                               : cryX509CertificatesStore( pb::adopt( cryX509CertificatesCreate() ).get() ) );
}

// What all validators have; `chain` may be null. The process is scheduled at the end.
static Imp *create( CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates,
    PB_INT state, CRY_X509_CERTIFICATES *chain, TR_ANCHOR *anchor, pb::Site site = pb::Site::here() ) PB_UNCHECKED
{
    PB_CHECK_AT( site, sess );
    PB_CHECK_AT( site, policy );
    PB_CHECK_AT( site, certificate );
    pb::Ref<CRY_X509_STACK_OPTIONS> options = pb::adopt( cryX509SessionOptions( sess ) );

    Imp *imp       = pb::create<Imp>();
    imp->trStream  = trStreamCreateCstr( "CRY_X509_VALIDATOR", -1 );
    imp->isProcess = pbProcessCreateCstr(
        cry___X509ValidatorImpProcessFunc, imp, "cry___X509ValidatorImpProcessFunc", -1, PB_PROCESS_CLASS_ORDINARY );
    imp->isMonitor            = pbMonitorCreate();
    imp->session              = pb::shareOrNull( sess );
    imp->policy               = pb::shareOrNull( policy );
    imp->effectivePolicyFlags = cryX509PolicyFlagsNormalize( cryX509PolicyFlags( policy ) | cryX509StackOptionsPolicyFlags( options.get() ) );
    imp->certificate          = pb::shareOrNull( certificate );
    imp->extraCertificates    = pb::shareOrNull( extraCertificates );
    imp->extEndSignal         = pbSignalCreate();
    imp->extErrorSignal       = pbSignalCreate();
    imp->intState             = state;
    imp->intCertificateChain  = pb::shareOrNull( chain );
    if( anchor )
        trAnchorComplete( anchor, imp->trStream );
    traceCreation( imp );
    pbProcessSchedule( imp->isProcess );
    return imp;
}

CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpCreateWithCertificate(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, CRY_X509_CERTIFICATES *extraCertificates, TR_ANCHOR *anchor )
{
    return create( sess, policy, certificate, extraCertificates, STATE_INITIAL, nullptr, anchor );
}

CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpCreateWithCertificateChain(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATES *chain, TR_ANCHOR *anchor )
{
    PB_CHECK( chain );
    PB_CHECK( cryX509CertificatesCertificatesLength( chain ) > 0 );
    pb::Ref<CRY_X509_CERTIFICATE> leaf = pb::adopt( cryX509CertificatesCertificateAt( chain, 0 ) );
    return create( sess, policy, leaf.get(), nullptr, STATE_CHAIN, chain, anchor );
}

CRY___X509_VALIDATOR_IMP *cry___X509ValidatorImpCreatePreValidated(
    CRY_X509_SESSION *sess, CRY_X509_POLICY *policy, CRY_X509_CERTIFICATE *certificate, TR_ANCHOR *anchor )
{
    return create( sess, policy, certificate, nullptr, STATE_END, nullptr, anchor );
}

void cry___X509ValidatorImpHalt( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    pbProcessHalt( imp->isProcess );
    trStreamTextCstr( imp->trStream, "[cry___X509ValidatorImpHalt()]", -1 );
}

CRY_X509_SESSION     *cry___X509ValidatorImpSession( CRY___X509_VALIDATOR_IMP *imp ) { return PB_CHECK( imp ), pb::shareOrNull( imp->session ); }
CRY_X509_POLICY      *cry___X509ValidatorImpPolicy( CRY___X509_VALIDATOR_IMP *imp ) { return PB_CHECK( imp ), pb::shareOrNull( imp->policy ); }
CRY_X509_CERTIFICATE *cry___X509ValidatorImpCertificate( CRY___X509_VALIDATOR_IMP *imp )
{
    return PB_CHECK( imp ), pb::shareOrNull( imp->certificate );
}

CRY_X509_CERTIFICATES *cry___X509ValidatorImpExtraCertificates( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    return imp->extraCertificates ? pb::shareOrNull( imp->extraCertificates ) : cryX509CertificatesCreate();
}

PB_BOOL cry___X509ValidatorImpEnd( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    return pbSignalAsserted( imp->extEndSignal );
}

PB_BOOL cry___X509ValidatorImpError( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    return pbSignalAsserted( imp->extErrorSignal );
}

void cry___X509ValidatorImpEndAddSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp );
    PB_CHECK( sigb );
    pb::InMonitor in( imp->isMonitor );
    pbSignalAddSignalable( imp->extEndSignal, sigb );
}

void cry___X509ValidatorImpEndDelSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp );
    PB_CHECK( sigb );
    pb::InMonitor in( imp->isMonitor );
    pbSignalDelSignalable( imp->extEndSignal, sigb );
}

void cry___X509ValidatorImpErrorAddSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp );
    PB_CHECK( sigb );
    pb::InMonitor in( imp->isMonitor );
    pbSignalAddSignalable( imp->extErrorSignal, sigb );
}

void cry___X509ValidatorImpErrorDelSignalable( CRY___X509_VALIDATOR_IMP *imp, PB_SIGNALABLE *sigb )
{
    PB_CHECK( imp );
    PB_CHECK( sigb );
    pb::InMonitor in( imp->isMonitor );
    pbSignalDelSignalable( imp->extErrorSignal, sigb );
}

PB_BOOL cry___X509ValidatorImpHasCertificateChain( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    return imp->extCertificateChain != nullptr;
}

CRY_X509_CERTIFICATES *cry___X509ValidatorImpCertificateChain( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    return pb::shareOrNull( imp->extCertificateChain );
}

PB_BOOL cry___X509ValidatorImpHasFailure( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    return imp->extFailure != nullptr;
}

CRY_X509_VALIDATOR_FAILURE *cry___X509ValidatorImpFailure( CRY___X509_VALIDATOR_IMP *imp )
{
    PB_CHECK( imp );
    pb::InMonitor in( imp->isMonitor );
    return pb::shareOrNull( imp->extFailure );
}

void cry___X509ValidatorImpTraceCompleteAnchor( CRY___X509_VALIDATOR_IMP *imp, TR_ANCHOR *anchor )
{
    PB_CHECK( imp ), PB_CHECK( anchor ), trAnchorComplete( anchor, imp->trStream );
}
