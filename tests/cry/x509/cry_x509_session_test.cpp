#include <cry/internal/cry_x509_session_imp.h>

#include "cry/x509/stacks.hpp"
#include "tr/traces.hpp"

#include <openssl/x509_vfy.h>

using namespace support;
using traces::Attached;

namespace
{

pb::Ref<CRY_X509_CERTIFICATE> a() { return selfSigned( "CN=A" ); }
pb::Ref<CRY_X509_CERTIFICATE> b() { return selfSigned( "CN=B" ); }

Options first() { return options( fixedIdentity( 1 ), trusting( { a() } ), trustingNames( { "a.example" } ) ); }

// Whether OpenSSL verifies a certificate against the store of a session.
bool verifies( const Session &sess, const pb::Ref<CRY_X509_CERTIFICATE> &cert )
{
    Cert            x509    = parseDer( der( cert.get() ) );
    X509_STORE_CTX *context = X509_STORE_CTX_new();
    EXPECT_EQ( X509_STORE_CTX_init( context, cry___X509SessionPeekOpensslX509Store( sess.get() ), x509.get(), nullptr ), 1 );
    bool good = X509_verify_cert( context ) == 1;
    X509_STORE_CTX_free( context );
    takeErrors();
    return good;
}

}

TEST( CryX509Session, PinsThePublishedState )
{
    Options opt   = first();
    Stack   stack = stackOf( opt );
    Session sess  = sessionOf( stack );
    for( int round = 0; round < 2; round++ )
    {
        EXPECT_EQ( pb::adopt( cryX509SessionStack( sess.get() ) ).get(), stack.get() );
        EXPECT_EQ( pb::adopt( cryX509SessionOptions( sess.get() ) ).get(), opt.get() );
        EXPECT_TRUE( cryX509SessionHasIdentity( sess.get() ) );
        EXPECT_EQ( identityOf( sess ).get(), pb::adopt( cryX509StackOptionsIdentity( opt.get() ) ).get() );
        EXPECT_EQ( pb::adopt( cryX509SessionTrustedCertificates( sess.get() ) ).get(),
            pb::adopt( cryX509StackOptionsTrustedCertificates( opt.get() ) ).get() );
        EXPECT_EQ( pb::adopt( cryX509SessionTrustedSans( sess.get() ) ).get(), pb::adopt( cryX509StackOptionsTrustedSans( opt.get() ) ).get() );
        // It stays like that if the stack changes.
        setOptions( stack, options( trusting( { b() } ) ) );
    }
    EXPECT_FALSE( cryX509SessionHasIdentity( sessionOf( stack ).get() ) );
}

TEST( CryX509Session, IsMarkedOnceTheIdentityHasChanged )
{
    Stack   stack = stackOf( first() );
    Session sess  = sessionOf( stack );
    Told    identityTold, trustTold;
    cryX509SessionIdentityChangedAddSignalable( sess.get(), identityTold.sigb() );
    cryX509SessionTrustChangedAddSignalable( sess.get(), trustTold.sigb() );
    EXPECT_FALSE( cryX509SessionIdentityChanged( sess.get() ) );
    EXPECT_FALSE( cryX509SessionTrustChanged( sess.get() ) );
    Options other = first();
    fixedIdentity( 2 )( other.handle() );
    setOptions( stack, other );
    EXPECT_TRUE( cryX509SessionIdentityChanged( sess.get() ) );
    EXPECT_FALSE( cryX509SessionTrustChanged( sess.get() ) );
    EXPECT_TRUE( identityTold.now() );
    EXPECT_FALSE( trustTold.now() );
    // The first state comes back, but the mark stays.
    setOptions( stack, first() );
    EXPECT_TRUE( cryX509SessionIdentityChanged( sess.get() ) );
    // A signalable that is added now is told at once.
    Told late;
    cryX509SessionIdentityChangedAddSignalable( sess.get(), late.sigb() );
    EXPECT_TRUE( late.now() );
}

TEST( CryX509Session, IsMarkedOnceTheTrustHasChanged )
{
    Options certs = first(), names = first();
    trusting( { b() } )( certs.handle() );
    trustingNames( { "b.example" } )( names.handle() );
    for( const Options &other : { certs, names } )
    {
        Stack   stack = stackOf( first() );
        Session sess  = sessionOf( stack );
        Told    told;
        cryX509SessionTrustChangedAddSignalable( sess.get(), told.sigb() );
        setOptions( stack, other );
        EXPECT_TRUE( cryX509SessionTrustChanged( sess.get() ) );
        EXPECT_FALSE( cryX509SessionIdentityChanged( sess.get() ) );
        EXPECT_TRUE( told.now() );
        Session next = sessionOf( stack );
        EXPECT_FALSE( cryX509SessionTrustChanged( next.get() ) );
    }
}

TEST( CryX509Session, SubscriptionsCanBeTakenBack )
{
    Stack   stack = stackOf( first() );
    Session sess  = sessionOf( stack );
    Told    one, two;
    cryX509SessionIdentityChangedAddSignalable( sess.get(), one.sigb() );
    cryX509SessionTrustChangedAddSignalable( sess.get(), two.sigb() );
    for( int round = 0; round < 2; round++ )
    {
        cryX509SessionIdentityChangedDelSignalable( sess.get(), one.sigb() );
        cryX509SessionTrustChangedDelSignalable( sess.get(), two.sigb() );
    }
    setOptions( stack, options() );
    EXPECT_FALSE( one.now() );
    EXPECT_FALSE( two.now() );
}

TEST( CryX509Session, OfTheTimeBetweenAChangeAndItsCommitIsMarkedByTheCommit )
{
    Stack   stack = stackOf( first() );
    Session between;
    {
        BusyBackground none;
        cryX509StackSetOptions( stack.get(), options( fixedIdentity( 2 ), trusting( { a() } ), trustingNames( { "a.example" } ) ).get() );
        between = sessionOf( stack );
        EXPECT_FALSE( cryX509SessionIdentityChanged( between.get() ) );
    }
    settle();
    EXPECT_TRUE( cryX509SessionIdentityChanged( between.get() ) );
    EXPECT_FALSE( cryX509SessionTrustChanged( between.get() ) );
    // A commit that changes nothing does not mark it.
    {
        BusyBackground none;
        cryX509StackSetOptions( stack.get(), options( fixedIdentity( 2 ), trusting( { a() } ), trustingNames( { "a.example" } ) ).get() );
        between = sessionOf( stack );
    }
    settle();
    EXPECT_FALSE( cryX509SessionIdentityChanged( between.get() ) );
}

TEST( CryX509Session, IsNotMarkedIfOnlyTheOptionsHaveChanged )
{
    Stack   stack = stackOf( first() );
    Session sess  = sessionOf( stack );
    Options other = first();
    adding( CRY_X509_POLICY_FLAG_DISABLE_SUBJECT_CHECKS )( other.handle() );
    setOptions( stack, other );
    EXPECT_FALSE( cryX509SessionIdentityChanged( sess.get() ) );
    EXPECT_FALSE( cryX509SessionTrustChanged( sess.get() ) );
    EXPECT_EQ( pb::adopt( cryX509SessionOptions( sessionOf( stack ).get() ) ).get(), other.get() );
}

TEST( CryX509Session, KeepsItsStore )
{
    Stack   stack = stackOf( options( trusting( { a() } ) ) );
    Session old   = sessionOf( stack );
    setOptions( stack, options( trusting( { b() } ) ) );
    Session now = sessionOf( stack );
    EXPECT_NE( cry___X509SessionPeekOpensslX509Store( old.get() ), cry___X509SessionPeekOpensslX509Store( now.get() ) );
    for( int round = 0; round < 2; round++ )
    {
        EXPECT_TRUE( verifies( old, a() ) );
        EXPECT_FALSE( verifies( old, b() ) );
        EXPECT_TRUE( verifies( now, b() ) );
        EXPECT_FALSE( verifies( now, a() ) );
        // Then also without the stack.
        stack = {};
    }
}

TEST( CryX509Session, SessionsOfOneStateHaveOneStore )
{
    Stack   stack = stackOf( options( trusting( { a() } ) ) );
    Session one = sessionOf( stack ), two = sessionOf( stack );
    EXPECT_EQ( cry___X509SessionPeekOpensslX509Store( one.get() ), cry___X509SessionPeekOpensslX509Store( two.get() ) );
    // Each commit builds a new one.
    setOptions( stack, options( trusting( { a() } ) ) );
    EXPECT_NE( cry___X509SessionPeekOpensslX509Store( one.get() ), cry___X509SessionPeekOpensslX509Store( sessionOf( stack ).get() ) );
}

TEST( CryX509Session, LeavesNothingWithTheStack )
{
    Stack   stack = stackOf( first() );
    Session one   = sessionOf( stack );
    PB_INT  alive = aliveAtRest();
    for( int round = 0; round < 1000; round++ )
        sessionOf( stack );
    EXPECT_EQ( aliveAtRest(), alive );
    EXPECT_FALSE( cryX509SessionIdentityChanged( one.get() ) );
}

TEST( CryX509Session, TracesItsEnd )
{
    pb::Ref<TR_STREAM> owner  = traces::stream( "OWNER" );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 4 ) );
    Stack              stack  = stackOf( first() );
    Attached           sink( trSinkCreateMemory() );
    Session            sess = sessionOf( stack, anchor.get() );
    cryX509SessionTraceCompleteAnchor( sess.get(), anchor.get() );
    auto links = traces::events( sink );
    ASSERT_EQ( links.size(), 3u );
    // The creator's link, the stack's, and that of the call.
    EXPECT_EQ( links[0].at( "name" ), "OWNER" );
    EXPECT_EQ( links[0].at( "kind" ), 4 );
    EXPECT_EQ( links[1].at( "name" ), "CRY_X509_STACK" );
    EXPECT_EQ( links[1].at( "kind" ), 10 );
    EXPECT_EQ( links[2], links[0] );
    EXPECT_EQ( links[0].at( "otherStream" ), links[1].at( "otherStream" ) );
    EXPECT_EQ( links[0].at( "otherName" ), "CRY_X509_SESSION" );
    linesOf( sink.get(), "" );
    sess = {};
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_SESSION" ), Lines{ "text [cry___X509SessionImpHalt()]" } );
}

TEST( CryX509Session, EqualsOnlyItself )
{
    Stack   stack = stackOf( options() );
    Session one = sessionOf( stack ), two = sessionOf( stack );
    EXPECT_TRUE( cryX509SessionEquals( one.get(), one.get() ) );
    EXPECT_FALSE( cryX509SessionEquals( one.get(), two.get() ) );
    EXPECT_EQ( text( pb::adopt( cryX509SessionToString( one.get() ) ) ).rfind( "CRY_X509_SESSION(0x", 0 ), 0u );
}

TEST( CryX509Session, AnImplementationMayHaveNoIdentityAndNoNames )
{
    Options            opt             = options();
    Stack              stack           = stackOf( opt );
    Session            sess            = sessionOf( stack );
    pb::Ref<PB_SIGNAL> identityChanged = pb::adopt( pbSignalCreate() ), trustChanged = pb::adopt( pbSignalCreate() );
    auto               imp = pb::adopt( cry___X509SessionImpCreate( opt.get(), nullptr, certificates( {} ).get(), nullptr,
                      cry___X509SessionPeekOpensslX509Store( sess.get() ), identityChanged.get(), trustChanged.get(), nullptr ) );
    EXPECT_FALSE( cry___X509SessionImpHasIdentity( imp.get() ) );
    EXPECT_EQ( cry___X509SessionImpIdentity( imp.get() ), nullptr );
    EXPECT_EQ( cry___X509SessionImpTrustedSans( imp.get() ), nullptr );
    EXPECT_EQ( pb___SignalLength( identityChanged.get() ), 1 );
    EXPECT_EQ( pb___SignalLength( trustChanged.get() ), 1 );
    pbSignalAssert( trustChanged.get() );
    EXPECT_TRUE( cry___X509SessionImpTrustChanged( imp.get() ) );
    EXPECT_FALSE( cry___X509SessionImpIdentityChanged( imp.get() ) );
    imp = {};
    EXPECT_EQ( pb___SignalLength( identityChanged.get() ), 0 );
}
