#include "simulation/stack_watch.hpp"

#include <cry/cry_vault.h>
#include <cry/cry_x509_system.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_session.h>
#include <cry/internal/cry_x509_session_imp.h>
#include <pb/locks.hpp>
#include <pb/pb_timer.h>

#include <algorithm>
#include <list>
#include <vector>

#include "simulation/leaves.hpp"
#include "simulation/probes.hpp"
#include "simulation/toys.hpp"
#include "x509/cry_x509_certificate_lookup.hpp"

using leaves::Material;
using leaves::material;
using probes::StackState;
using simulation::expect;

extern "C"
{
    void                    __real_pbRegionLeaveExclusive( PB_REGION *region );
    CRY___X509_STACK_IMP   *__real_cry___X509StackImpCreate( CRY_X509_STACK_OPTIONS *opt, TR_ANCHOR *anchor );
    void                    __real_cry___X509StackImpHalt( CRY___X509_STACK_IMP *imp );
    CRY___X509_SESSION_IMP *__real_cry___X509SessionImpCreate( CRY_X509_STACK_OPTIONS *options, CRY_X509_IDENTITY *ident,
        CRY_X509_CERTIFICATES *trusted, CRY_X509_SANS *sans, X509_STORE *store, PB_SIGNAL *identitySignal, PB_SIGNAL *trustSignal,
        TR_ANCHOR *anchor );
    void                    __real_cry___X509SessionImpHalt( CRY___X509_SESSION_IMP *imp );
}

namespace
{

using Certificates = std::vector<CRY_X509_CERTIFICATE *>;

struct Stack
{
    CRY___X509_STACK_IMP         *imp = nullptr;
    pb::Ref<CRY___X509_STACK_IMP> held;    // some are held after their halt
    StackState                    state{}; // at the end of the last section
    // The published state; the numbers count the commits of another identity and of another trust.
    pb::Ref<CRY_X509_STACK_OPTIONS> options;
    pb::Ref<CRY_X509_IDENTITY>      identity;
    pb::Ref<CRY_X509_CERTIFICATES>  trusted;
    pb::Ref<CRY_X509_SANS>          sans;
    unsigned                        identities = 0;
    unsigned                        trusts     = 0;
};

struct Session
{
    CRY___X509_SESSION_IMP *imp;
    const Stack            *stack;
    unsigned                identities, trusts; // of the stack when the session was made
};

std::list<Stack>   stacks;
std::list<Session> sessions;

// Lent; the collection holds them.
Certificates members( CRY_X509_CERTIFICATES *certs )
{
    Certificates list;
    for( PB_INT index = 0; index < cryX509CertificatesCertificatesLength( certs ); index++ )
        list.push_back( pb::adopt( cryX509CertificatesCertificateAt( certs, index ) ).get() );
    return list;
}

Certificates members( const pb::Ref<CRY_X509_CERTIFICATES> &certs ) { return members( certs.get() ); }

bool equal( const Certificates &a, const Certificates &b )
{
    return std::equal( a.begin(), a.end(), b.begin(), b.end(), []( auto *one, auto *other ) { return cryX509CertificateEquals( one, other ); } );
}

template<class T>
bool equalObj( T *a, T *b )
{
    return pbObjEquals( pb::asObj( a ), pb::asObj( b ) );
}

template<class T>
void keep( pb::Ref<T> &ref, T *obj )
{
    if( ref.get() != obj )
        ref = pb::share( obj );
}

// A key never comes with the certificate of another one.
bool isKnown( CRY_X509_IDENTITY *identity )
{
    for( const pb::Ref<CRY_X509_IDENTITY> &each : material().identities )
    {
        if( equalObj( each.get(), identity ) )
            return true;
    }
    return false;
}

void checkStore( X509_STORE *store, CRY_X509_CERTIFICATES *trusted )
{
    std::vector<X509 *> rest;
    // It shows all that it would find for verifications.
    cry::x509::fillLookupStore( store );
    STACK_OF( X509_OBJECT ) *objects = X509_STORE_get0_objects( store );
    for( int index = 0; index < sk_X509_OBJECT_num( objects ); index++ )
        rest.push_back( X509_OBJECT_get0_X509( sk_X509_OBJECT_value( objects, index ) ) );
    std::vector<X509 *> inStore = rest;
    for( CRY_X509_CERTIFICATE *cert : members( trusted ) )
    {
        X509 *x509  = cry___X509CertificatePeekOpensslX509( cert );
        auto  equal = [x509]( X509 *other ) { return X509_cmp( x509, other ) == 0; };
        expect( std::any_of( inStore.begin(), inStore.end(), equal ), "the OpenSSL store is without a trusted certificate" );
        std::erase_if( rest, equal );
    }
    expect( rest.empty(), "the OpenSSL store has a certificate that is not trusted" );
}

// Whether these can come from one commit with these options. The roots are not known here if
// `roots` is null.
void checkParts( CRY_X509_STACK_OPTIONS *options, CRY_X509_IDENTITY *identity, CRY_X509_CERTIFICATES *trusted, CRY_X509_SANS *sans,
    CRY_X509_CERTIFICATES *roots = nullptr )
{
    expect( !identity || isKnown( identity ), "an identity is a mixture" );
    if( cryX509StackOptionsIdentityMode( options ) == CRY_X509_STACK_IDENTITY_MODE_FIXED )
        expect( equalObj( identity, pb::adopt( cryX509StackOptionsIdentity( options ) ).get() ), "an identity is not that of the options" );
    expect( equalObj( sans, pb::adopt( cryX509StackOptionsTrustedSans( options ) ).get() ), "names are not those of the options" );

    Certificates rest   = members( trusted );
    Certificates always = members( pb::adopt( cryX509StackOptionsTrustedCertificates( options ) ) );
    expect( rest.size() >= always.size() && equal( { rest.begin(), rest.begin() + (ptrdiff_t)always.size() }, always ),
        "trust is not that of the options" );
    rest.erase( rest.begin(), rest.begin() + (ptrdiff_t)always.size() );
    pb::Ref<CRY_X509_CERTIFICATE> own = pb::adopt( identity ? cryX509IdentityCertificate( identity ) : nullptr );
    if( cryX509StackOptionsTrustIdentity( options ) && own )
    {
        expect( !rest.empty() && cryX509CertificateEquals( rest.back(), own.get() ), "trust is that of another identity" );
        rest.pop_back();
    }
    switch( cryX509StackOptionsTrustMode( options ) )
    {
    case CRY_X509_STACK_TRUST_MODE_SYNCHRONIZED:
        expect( equal( rest, members( pb::adopt( cryX509StackOptionsSynchronizedTrustedCertificates( options ) ) ) ),
            "trust is not that of the mode synchronized" );
        break;
    case CRY_X509_STACK_TRUST_MODE_SYSTEM:
        if( roots )
            expect( equal( rest, members( roots ) ), "a stack at rest does not know the roots" );
        expect( std::any_of( std::begin( material().platform ), std::end( material().platform ),
                    [&rest]( const auto &each ) { return equal( rest, members( each ) ); } ),
            "trust is not that of the mode system" );
        break;
    default:
        expect( rest.empty(), "trust is not that of the mode fixed" );
        break;
    }
}

// Nothing but the sessions of the present state hangs on the signals of a stack.
void checkLinks( const Stack &stack )
{
    auto count = [&]( unsigned Session::*number, unsigned present ) {
        return std::count_if(
            sessions.begin(), sessions.end(), [&]( const Session &session ) { return session.stack == &stack && session.*number == present; } );
    };
    expect( pb___SignalLength( stack.state.identitySignal ) == count( &Session::identities, stack.identities ) &&
            pb___SignalLength( stack.state.trustSignal ) == count( &Session::trusts, stack.trusts ),
        "a session that is gone hangs on its stack" );
}

void note( Stack &stack, const StackState &now )
{
    stack.state = now;
    keep( stack.options, now.options );
    keep( stack.identity, now.identity );
    keep( stack.trusted, now.trusted );
    keep( stack.sans, now.sans );
}

void sectionEnds( Stack &stack )
{
    StackState now = probes::stateOf( stack.imp );
    if( stack.state.halted )
    {
        expect( now == stack.state, "a stack changes after its halt" );
        return;
    }
    stack.identities += !equalObj( now.identity, stack.identity.get() );
    stack.trusts += !equalObj( now.trusted, stack.trusted.get() ) || !equalObj( now.sans, stack.sans.get() );
    bool commits = now.options != stack.state.options || now.identity != stack.state.identity || now.trusted != stack.state.trusted ||
        now.sans != stack.state.sans || now.store != stack.state.store;
    note( stack, now );
    if( commits )
    {
        checkParts( now.options, now.identity, now.trusted, now.sans );
        checkStore( now.store, now.trusted );
    }
    for( const Session &session : sessions )
    {
        if( session.stack != &stack )
            continue;
        expect( (bool)cry___X509SessionImpIdentityChanged( session.imp ) == ( session.identities != stack.identities ),
            "a session has a wrong mark of a changed identity" );
        expect( (bool)cry___X509SessionImpTrustChanged( session.imp ) == ( session.trusts != stack.trusts ),
            "a session has a wrong mark of a changed trust" );
    }
}

}

void stackWatch::checkSession( CRY_X509_SESSION *session )
{
    pb::Ref<CRY_X509_STACK_OPTIONS> options  = pb::adopt( cryX509SessionOptions( session ) );
    pb::Ref<CRY_X509_IDENTITY>      identity = pb::adopt( cryX509SessionIdentity( session ) );
    pb::Ref<CRY_X509_CERTIFICATES>  trusted  = pb::adopt( cryX509SessionTrustedCertificates( session ) );
    expect( (bool)cryX509SessionHasIdentity( session ) == (bool)identity, "a session does not know if it has an identity" );
    checkParts( options.get(), identity.get(), trusted.get(), pb::adopt( cryX509SessionTrustedSans( session ) ).get() );
    checkStore( cry___X509SessionPeekOpensslX509Store( session ), trusted.get() );
}

void stackWatch::checkAtRest()
{
    pb::Ref<CRY_X509_CERTIFICATES> roots = pb::adopt( cryX509SystemTrustedCertificates() );
    for( const Stack &stack : stacks )
    {
        StackState now = probes::stateOf( stack.imp );
        if( now.halted )
            continue;
        expect( now.options == now.wanted, "a stack at rest has old options" );
        checkLinks( stack );
        checkParts( now.options, now.identity, now.trusted, now.sans, roots.get() );
        checkStore( now.store, now.trusted );
        pb::Ref<PB_IDENTIFIER> identifier = pb::adopt( cryX509StackOptionsIdentityVaultIdentifier( now.options ) );
        switch( cryX509StackOptionsIdentityMode( now.options ) )
        {
        case CRY_X509_STACK_IDENTITY_MODE_VAULT: {
            pb::Ref<CRY_VAULT_ITEM>    item  = pb::adopt( identifier ? cryVaultItem( identifier.get() ) : nullptr );
            pb::Ref<CRY_X509_IDENTITY> filed = pb::adopt( item ? cryVaultItemIdentity( item.get() ) : nullptr );
            expect( equalObj( now.identity, filed.get() ), "a stack at rest does not know the vault" );
            break;
        }
        case CRY_X509_STACK_IDENTITY_MODE_GENERATE:
            expect( now.identity == now.generated, "a stack at rest has not published what it has generated" );
            expect( now.timer && pbTimerScheduled( now.timer ), "a stack at rest will generate nothing more" );
            break;
        default:
            break;
        }
    }
}

void stackWatch::releaseHalted()
{
    std::list<Stack> halted;
    for( auto each = stacks.begin(); each != stacks.end(); )
    {
        auto next = std::next( each );
        if( each->state.halted )
            halted.splice( halted.end(), stacks, each );
        each = next;
    }
}

void stackWatch::end()
{
    releaseHalted();
    expect( stacks.empty(), "a stack is left" );
    expect( sessions.empty(), "a session is left" );
}

extern "C" void __wrap_pbRegionLeaveExclusive( PB_REGION *region )
{
    {
        simulation::Quiet quiet;
        for( Stack &stack : stacks )
        {
            if( stack.state.region == region )
                sectionEnds( stack );
        }
    }
    __real_pbRegionLeaveExclusive( region );
}

extern "C" CRY___X509_STACK_IMP *__wrap_cry___X509StackImpCreate( CRY_X509_STACK_OPTIONS *opt, TR_ANCHOR *anchor )
{
    CRY___X509_STACK_IMP *imp = __real_cry___X509StackImpCreate( opt, anchor );
    simulation::Quiet     quiet;
    StackState            now = probes::stateOf( imp );
    expect( now.options && now.trusted && now.sans && now.store, "a stack is not published when it is there" );
    stacks.emplace_back();
    stacks.back().imp = imp;
    note( stacks.back(), now );
    if( simulation::below( 2 ) )
        stacks.back().held = pb::share( imp );
    return imp;
}

extern "C" void __wrap_cry___X509StackImpHalt( CRY___X509_STACK_IMP *imp )
{
    toys::expectMayBeFreed();
    __real_cry___X509StackImpHalt( imp );
    auto found = std::find_if( stacks.begin(), stacks.end(), [imp]( const Stack &stack ) { return stack.imp == imp; } );
    expect( found != stacks.end(), "a stack is halted that is not there" );
    expect( found->state.halted, "a stack is not halted" );
    if( !found->held )
        stacks.erase( found );
}

extern "C" CRY___X509_SESSION_IMP *__wrap_cry___X509SessionImpCreate( CRY_X509_STACK_OPTIONS *options, CRY_X509_IDENTITY *ident,
    CRY_X509_CERTIFICATES *trusted, CRY_X509_SANS *sans, X509_STORE *store, PB_SIGNAL *identitySignal, PB_SIGNAL *trustSignal, TR_ANCHOR *anchor )
{
    CRY___X509_SESSION_IMP *imp = __real_cry___X509SessionImpCreate( options, ident, trusted, sans, store, identitySignal, trustSignal, anchor );
    auto isMadeOf = [&]( const Stack &stack ) { return stack.state.identitySignal == identitySignal && stack.state.trustSignal == trustSignal; };
    auto found    = std::find_if( stacks.begin(), stacks.end(), isMadeOf );
    expect( found != stacks.end(), "a session is made of a state that was not published" );
    expect( options == found->options.get() && ident == found->identity.get() && trusted == found->trusted.get() && sans == found->sans.get() &&
            store == found->state.store,
        "a session is made of a mixture" );
    sessions.push_back( { imp, &*found, found->identities, found->trusts } );
    return imp;
}

extern "C" void __wrap_cry___X509SessionImpHalt( CRY___X509_SESSION_IMP *imp )
{
    toys::expectMayBeFreed();
    expect( std::erase_if( sessions, [imp]( const Session &session ) { return session.imp == imp; } ) == 1, "a session ends twice" );
    __real_cry___X509SessionImpHalt( imp );
}
