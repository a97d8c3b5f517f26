#include "cry/x509/stacks.hpp"
#include "support/standard_functions.hpp"

#include <cry/internal/cry_x509_session_imp.h>
#include <cry/internal/cry_x509_stack_imp.h>
#include <cs/cs.h>

using namespace support;

static constexpr char optionsFile[]    = "source/cry/x509/cry_x509_stack_options.cpp";
static constexpr char stackFile[]      = "source/cry/x509/cry_x509_stack.cpp";
static constexpr char impFile[]        = "source/cry/x509/cry_x509_stack_imp.cpp";
static constexpr char csFile[]         = "source/cry/x509/cry_x509_stack_cs.cpp";
static constexpr char sessionFile[]    = "source/cry/x509/cry_x509_session.cpp";
static constexpr char sessionImpFile[] = "source/cry/x509/cry_x509_session_imp.cpp";

static pb::Ref<TR_ANCHOR> anchor() { return pb::adopt( trAnchorCreate( pb::adopt( trStreamCreateCstr( "OWNER", -1 ) ).get(), 9 ) ); }

TEST( CryX509StackOptionsContracts, StandardFunctions )
{
    Options opt = options();
    EXPECT_STANDARD_CHECKS( optionsFile, cry, X509StackOptions, CRY_X509_STACK_OPTIONS, "opt", opt.get() );
}

TEST( CryX509StackOptionsContracts, Reading )
{
    EXPECT_ABORT( optionsFile, "source", cryX509StackOptionsCreateFrom( nullptr ) );
    EXPECT_ABORT( optionsFile, "store", cryX509StackOptionsRestore( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsStore( nullptr, PB_FALSE, 0 ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsIdentityMode( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsIdentityModeDefault( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsIdentity( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsHasIdentity( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsIdentityVaultIdentifier( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsHasIdentityVaultIdentifier( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsTrustMode( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsTrustModeDefault( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsTrustedCertificates( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsSynchronizedTrustedCertificates( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsTrustedSans( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsTrustIdentity( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsTrustIdentityDefault( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsPolicyFlags( nullptr ) );
    EXPECT_ABORT( optionsFile, "opt", cryX509StackOptionsPolicyFlagsDefault( nullptr ) );
}

TEST( CryX509StackOptionsContracts, Editing )
{
    CRY_X509_STACK_OPTIONS *none = nullptr;
    for( CRY_X509_STACK_OPTIONS **handle : { (CRY_X509_STACK_OPTIONS **)nullptr, &none } )
    {
        const char *check = handle ? "*opt" : "opt";
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetIdentityMode( handle, 3 ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetIdentityModeDefault( handle ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetIdentity( handle, nullptr ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsDelIdentity( handle ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetIdentityVaultIdentifier( handle, nullptr ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsDelIdentityVaultIdentifier( handle ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetTrustMode( handle, 3 ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetTrustModeDefault( handle ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetSynchronizedTrustedCertificates( handle, nullptr ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetTrustedCertificates( handle, nullptr ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetTrustedSans( handle, nullptr ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetTrustIdentity( handle, PB_TRUE ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetTrustIdentityDefault( handle ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetPolicyFlags( handle, 0 ) );
        EXPECT_ABORT( optionsFile, check, cryX509StackOptionsSetPolicyFlagsDefault( handle ) );
    }
    Options opt = options();
    for( PB_INT mode : { (PB_INT)-1, (PB_INT)3, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( optionsFile, "CRY_X509_STACK_IDENTITY_MODE_OK( identityMode )", cryX509StackOptionsSetIdentityMode( opt.handle(), mode ) );
        EXPECT_ABORT( optionsFile, "CRY_X509_STACK_TRUST_MODE_OK( trustMode )", cryX509StackOptionsSetTrustMode( opt.handle(), mode ) );
    }
    EXPECT_ABORT( optionsFile, "ident", cryX509StackOptionsSetIdentity( opt.handle(), nullptr ) );
    EXPECT_ABORT( optionsFile, "id", cryX509StackOptionsSetIdentityVaultIdentifier( opt.handle(), nullptr ) );
    EXPECT_ABORT( optionsFile, "synchronizedTrustedCertificates", cryX509StackOptionsSetSynchronizedTrustedCertificates( opt.handle(), nullptr ) );
    EXPECT_ABORT( optionsFile, "trustedCertificates", cryX509StackOptionsSetTrustedCertificates( opt.handle(), nullptr ) );
    EXPECT_ABORT( optionsFile, "trustedSans", cryX509StackOptionsSetTrustedSans( opt.handle(), nullptr ) );
    EXPECT_TRUE( cryX509StackOptionsEquals( opt.get(), options().get() ) );
}

TEST( CryX509StackContracts, Stacks )
{
    Stack stack = stackOf( options() );
    EXPECT_STANDARD_CHECKS( stackFile, cry, X509Stack, CRY_X509_STACK, "stack", stack.get() );
    EXPECT_ABORT( stackFile, "opt", cryX509StackCreate( nullptr, nullptr ) );
    EXPECT_ABORT( stackFile, "stack", cryX509StackOptions( nullptr ) );
    EXPECT_ABORT( stackFile, "stack", cryX509StackSetOptions( nullptr, options().get() ) );
    EXPECT_ABORT( stackFile, "stack", cryX509StackUpdateAddSignalable( nullptr, Told().sigb() ) );
    EXPECT_ABORT( stackFile, "stack", cryX509StackUpdateDelSignalable( nullptr, Told().sigb() ) );
    EXPECT_ABORT( stackFile, "stack", cryX509StackTraceCompleteAnchor( nullptr, anchor().get() ) );
    EXPECT_ABORT( stackFile, "stack", cry___X509StackCreateSessionImp( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "opt", cryX509StackSetOptions( stack.get(), nullptr ) );
    EXPECT_ABORT( impFile, "sigb", cryX509StackUpdateAddSignalable( stack.get(), nullptr ) );
    EXPECT_ABORT( impFile, "sigb", cryX509StackUpdateDelSignalable( stack.get(), nullptr ) );
    EXPECT_ABORT( impFile, "anchor", cryX509StackTraceCompleteAnchor( stack.get(), nullptr ) );
}

TEST( CryX509StackContracts, Implementations )
{
    pb::Ref<CRY___X509_STACK_IMP> imp = pb::adopt( cry___X509StackImpCreate( options().get(), nullptr ) );
    EXPECT_STANDARD_CHECKS( impFile, cry, ___X509StackImp, CRY___X509_STACK_IMP, "imp", imp.get() );
    EXPECT_ABORT( impFile, "opt", cry___X509StackImpCreate( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpHalt( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpOptions( nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpSetOptions( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpCreateSessionImp( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpUpdateAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpUpdateDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( impFile, "imp", cry___X509StackImpTraceCompleteAnchor( nullptr, nullptr ) );
    cry___X509StackImpHalt( imp.get() );
}

TEST( CryX509StackContracts, Configurations )
{
    EXPECT_ABORT( csFile, "config", csConfigurationTryNormalize( cryX509StackSort(), nullptr, PB_TRUE, 0 ) );
}

TEST( CryX509SessionContracts, Sessions )
{
    Session sess = sessionOf( stackOf( options() ) );
    EXPECT_STANDARD_CHECKS( sessionFile, cry, X509Session, CRY_X509_SESSION, "sess", sess.get() );
    EXPECT_ABORT( sessionFile, "stack", cryX509SessionCreate( nullptr, nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionStack( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionOptions( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionHasIdentity( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionIdentity( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionTrustedCertificates( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionTrustedSans( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cry___X509SessionPeekOpensslX509Store( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionIdentityChanged( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionTrustChanged( nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionIdentityChangedAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionIdentityChangedDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionTrustChangedAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionTrustChangedDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionFile, "sess", cryX509SessionTraceCompleteAnchor( nullptr, nullptr ) );
    EXPECT_ABORT( sessionImpFile, "sigb", cryX509SessionIdentityChangedAddSignalable( sess.get(), nullptr ) );
    EXPECT_ABORT( sessionImpFile, "sigb", cryX509SessionIdentityChangedDelSignalable( sess.get(), nullptr ) );
    EXPECT_ABORT( sessionImpFile, "sigb", cryX509SessionTrustChangedAddSignalable( sess.get(), nullptr ) );
    EXPECT_ABORT( sessionImpFile, "sigb", cryX509SessionTrustChangedDelSignalable( sess.get(), nullptr ) );
    EXPECT_ABORT( sessionImpFile, "anchor", cryX509SessionTraceCompleteAnchor( sess.get(), nullptr ) );
}

TEST( CryX509SessionContracts, Implementations )
{
    Stack                           stack = stackOf( options() );
    pb::Ref<CRY___X509_SESSION_IMP> imp   = pb::adopt( cry___X509StackCreateSessionImp( stack.get(), nullptr ) );
    EXPECT_STANDARD_CHECKS( sessionImpFile, cry, ___X509SessionImp, CRY___X509_SESSION_IMP, "imp", imp.get() );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpHalt( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpOptions( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpHasIdentity( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpIdentity( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpTrustedCertificates( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpTrustedSans( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpPeekOpensslX509Store( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpIdentityChanged( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpTrustChanged( nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpIdentityChangedAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpIdentityChangedDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpTrustChangedAddSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpTrustChangedDelSignalable( nullptr, nullptr ) );
    EXPECT_ABORT( sessionImpFile, "imp", cry___X509SessionImpTraceCompleteAnchor( nullptr, nullptr ) );

    // What an implementation is made of.
    Options                        opt    = options();
    pb::Ref<CRY_X509_CERTIFICATES> trust  = certificates( {} );
    X509_STORE                    *store  = cry___X509SessionImpPeekOpensslX509Store( imp.get() );
    pb::Ref<PB_SIGNAL>             signal = pb::adopt( pbSignalCreate() );
    struct
    {
        const char             *check;
        CRY_X509_STACK_OPTIONS *opt;
        CRY_X509_CERTIFICATES  *trust;
        X509_STORE             *store;
        PB_SIGNAL              *identityChanged, *trustChanged;
    } cases[] = {
        { "options", nullptr, nullptr, nullptr, nullptr, nullptr },
        { "trustedCertificates", opt.get(), nullptr, nullptr, nullptr, nullptr },
        { "x509Store", opt.get(), trust.get(), nullptr, nullptr, nullptr },
        { "identityChangedSignal", opt.get(), trust.get(), store, nullptr, nullptr },
        { "trustChangedSignal", opt.get(), trust.get(), store, signal.get(), nullptr },
    };
    for( const auto &each : cases )
        EXPECT_ABORT( sessionImpFile, each.check,
            cry___X509SessionImpCreate( each.opt, nullptr, each.trust, nullptr, each.store, each.identityChanged, each.trustChanged, nullptr ) );
}
