#include "cry/x509/stacks.hpp"
#include "support/environment.hpp"
#include "support/files.hpp"
#include "support/sanitizers.hpp"
#include "tr/traces.hpp"
#include "x509/cry_x509_system_linux.hpp"

#include <cry/internal/cry_x509_system.h>

#include <malloc.h>
#include <openssl/err.h>
#include <openssl/rand.h>
#include <optional>
#include <thread>

// A generator of random numbers can be replaced only in the old way.
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"

using namespace support;
using traces::Attached;
namespace fs = std::filesystem;

namespace
{

constexpr PB_INT hour = 3600000, fourteenDays = 1209600000; // milliseconds

const CRY_X509_STACK_IDENTITY_MODE fixed = CRY_X509_STACK_IDENTITY_MODE_FIXED, generate = CRY_X509_STACK_IDENTITY_MODE_GENERATE,
                                   vault = CRY_X509_STACK_IDENTITY_MODE_VAULT;

pb::Ref<CRY_X509_CERTIFICATE> a() { return selfSigned( "CN=A" ); }
pb::Ref<CRY_X509_CERTIFICATE> b() { return selfSigned( "CN=B" ); }
pb::Ref<CRY_X509_CERTIFICATE> c() { return selfSigned( "CN=C" ); }

pb::Ref<CRY_X509_CERTIFICATE> certificateOf( const pb::Ref<CRY_X509_IDENTITY> &ident )
{
    return pb::adopt( ident ? cryX509IdentityCertificate( ident.get() ) : nullptr );
}

// The number of the identity of a new session; -1 if it has none.
int numberOf( const Stack &stack )
{
    pb::Ref<CRY_X509_IDENTITY> ident = identityOf( sessionOf( stack ) );
    for( int number = 0; ident && number < 10; number++ )
    {
        if( cryX509IdentityEquals( ident.get(), identity( number ).get() ) )
            return number;
    }
    return -1;
}

// What has happened since the object was made, in one text.
class Changes
{
public:
    explicit Changes( const Stack &of ) : stack( of ), session( sessionOf( of ) ), update( of ) {}
    std::string now()
    {
        std::string text;
        if( update.now() )
            text += "update ";
        if( cryX509SessionIdentityChanged( session.get() ) )
            text += "identity ";
        if( cryX509SessionTrustChanged( session.get() ) )
            text += "trust ";
        return text;
    }

private:
    Stack        stack;
    Session      session;
    ToldOfUpdate update;
};

class CryX509Stack : public testing::Test
{
protected:
    void TearDown() override { emptyVault(); }
};

// OpenSSL's source of random numbers is replaced: it fails, or its first call waits for the test.
class Random
{
public:
    enum Kind
    {
        failing,
        waiting
    };

    explicit Random( Kind kind )
    {
        now = this;
        if( kind == waiting )
            wait = true;
        fail = kind == failing;
        static RAND_METHOD replaced{ nullptr, give, nullptr, nullptr, give, nullptr };
        RAND_set_rand_method( &replaced );
    }
    ~Random()
    {
        letGo();
        RAND_set_rand_method( nullptr );
    }
    Random( const Random & ) = delete;

    void waitUntilItWaits() { begun.acquire(); }
    void letGo()
    {
        if( !gone )
            go.release( 64 );
        gone = true;
    }

private:
    static int give( unsigned char *to, int count )
    {
        if( now->fail )
            return 0;
        if( now->wait.exchange( false ) )
        {
            now->begun.release();
            now->go.acquire();
        }
        return RAND_OpenSSL()->bytes( to, count );
    }

    static inline Random     *now;
    std::atomic<bool>         wait = false, fail = false;
    bool                      gone = false;
    std::counting_semaphore<> begun{ 0 }, go{ 0 };
};

// The family under a manual clock.
class CryX509StackGenerate : public testing::Test
{
protected:
    void SetUp() override { pb___ClockSetManual( PB_TRUE ); }
    void TearDown() override { pb___ClockSetManual( PB_FALSE ); }

    static void pass( PB_INT milliseconds )
    {
        pb___ClockAdvance( milliseconds );
        settle();
    }
};

// The family with one place of roots.
class CryX509StackSystem : public testing::Test
{
protected:
    void SetUp() override
    {
        pbRuntimeStop();
        setRoots( { a() } );
        cry::x509::setPlaces( places );
        startFamily();
    }
    void TearDown() override
    {
        if( pbRuntimeStarted() )
            pbRuntimeStop();
        cry::x509::setPlaces( {} );
        startFamily();
    }

    void setRoots( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &list ) const
    {
        std::string content;
        for( const pb::Ref<CRY_X509_CERTIFICATE> &each : list )
            content += pemText( parseDer( der( each.get() ) ) );
        write( folder.path / "new", content );
        fs::rename( folder.path / "new", place );
    }

    static void reload()
    {
        cry___X509SystemTrustedCertificatesReload();
        settle();
    }

    TemporaryFolder folder;
    fs::path        place     = folder.path / "roots.pem";
    const char     *places[1] = { place.c_str() };
};

auto fromPlatform() { return trustMode( CRY_X509_STACK_TRUST_MODE_SYSTEM ); }

}

TEST_F( CryX509Stack, HasPublishedAStateWhenItIsThere )
{
    setItem( "name", 2 );
    BusyBackground none;
    EXPECT_EQ( numberOf( stackOf( options() ) ), -1 );
    EXPECT_EQ( numberOf( stackOf( options( fixedIdentity( 1 ) ) ) ), 1 );
    EXPECT_EQ( numberOf( stackOf( options( fromVault( "name" ) ) ) ), 2 );
    EXPECT_TRUE( cryX509SessionHasIdentity( sessionOf( stackOf( options( identityMode( generate ) ) ) ).get() ) );
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( trusting( { a(), b() } ) ) ) ) ), dersOf( { a(), b() } ) );
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( synchronizing( { c() } ), trusting( { a(), b() } ) ) ) ) ), dersOf( { a(), b(), c() } ) );
}

TEST_F( CryX509Stack, WithoutAnIdentityStillPublishesTrust )
{
    Session sess = sessionOf( stackOf( options( trusting( { a() } ), trustingNames( { "a.example" } ) ) ) );
    EXPECT_FALSE( cryX509SessionHasIdentity( sess.get() ) );
    EXPECT_FALSE( identityOf( sess ) );
    EXPECT_EQ( trustOf( sess ), dersOf( { a() } ) );
    EXPECT_EQ( hostsOf( pb::adopt( cryX509SessionTrustedSans( sess.get() ) ) ), Names{ "a.example" } );
}

TEST_F( CryX509Stack, SynchronizedCertificatesCountInTheirModeOnly )
{
    auto always = trusting( { a() } );
    auto more   = synchronizing( { b() } );
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( always, more ) ) ) ), dersOf( { a(), b() } ) );
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( more ) ) ) ), dersOf( { b() } ) );
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( always, more, trustMode( CRY_X509_STACK_TRUST_MODE_FIXED ) ) ) ) ), dersOf( { a() } ) );
    // The collections of the options stay as they are.
    Options opt   = options( always, more, fixedIdentity( 1 ), trustingIdentity( PB_TRUE ) );
    Stack   stack = stackOf( opt );
    EXPECT_EQ( ders( pb::adopt( cryX509StackOptionsTrustedCertificates( opt.get() ) ).get() ), dersOf( { a() } ) );
    EXPECT_EQ( ders( pb::adopt( cryX509StackOptionsSynchronizedTrustedCertificates( opt.get() ) ).get() ), dersOf( { b() } ) );
}

TEST_F( CryX509Stack, TrustsItsOwnCertificateAfterTheOthersIfItShall )
{
    Options without = options( fixedIdentity( 1 ), synchronizing( { b() } ), trusting( { a() } ) );
    Options with    = options( fixedIdentity( 1 ), synchronizing( { b() } ), trusting( { a() } ), trustingIdentity( PB_TRUE ) );
    auto    own     = certificateOf( identity( 1 ) );
    Stack   stack   = stackOf( without );
    for( int round = 0; round < 2; round++ )
    {
        Changes first( stack );
        setOptions( stack, with );
        EXPECT_EQ( first.now(), "update trust " );
        EXPECT_EQ( trustOf( sessionOf( stack ) ), dersOf( { a(), b(), own } ) );
        Changes second( stack );
        setOptions( stack, without );
        EXPECT_EQ( second.now(), "update trust " );
        EXPECT_EQ( trustOf( sessionOf( stack ) ), dersOf( { a(), b() } ) );
    }
    // Without an identity, or with one that has no certificate, nothing is added.
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( trusting( { a() } ), trustingIdentity( PB_TRUE ) ) ) ) ), dersOf( { a() } ) );
    auto keyOnly = []( CRY_X509_STACK_OPTIONS **opt ) {
        pb::Ref<CRY_X509_IDENTITY> ident = pb::adopt( cryX509IdentityCreate() );
        cryX509IdentitySetPrivateKey( ident.handle(), privateKey( key( KeyKind::p256 ) ).get() );
        cryX509StackOptionsSetIdentity( opt, ident.get() );
    };
    Session sess = sessionOf( stackOf( options( trusting( { a() } ), trustingIdentity( PB_TRUE ), keyOnly ) ) );
    EXPECT_EQ( trustOf( sess ), dersOf( { a() } ) );
    EXPECT_TRUE( cryX509SessionHasIdentity( sess.get() ) );
}

TEST_F( CryX509Stack, OptionsAreThoseThatWereSetLast )
{
    Options old = options( fixedIdentity( 1 ) ), next = options( fixedIdentity( 2 ) );
    Stack   stack = stackOf( old );
    EXPECT_EQ( pb::adopt( cryX509StackOptions( stack.get() ) ).get(), old.get() );
    {
        BusyBackground none;
        cryX509StackSetOptions( stack.get(), next.get() );
        EXPECT_EQ( pb::adopt( cryX509StackOptions( stack.get() ) ).get(), next.get() );
        // The published state is still the old one.
        Session sess = sessionOf( stack );
        EXPECT_EQ( pb::adopt( cryX509SessionOptions( sess.get() ) ).get(), old.get() );
        EXPECT_EQ( numberOf( stack ), 1 );
    }
    settle();
    Session sess = sessionOf( stack );
    EXPECT_EQ( pb::adopt( cryX509SessionOptions( sess.get() ) ).get(), next.get() );
    EXPECT_EQ( numberOf( stack ), 2 );
}

TEST_F( CryX509Stack, EachPartThatChangesIsTold )
{
    struct
    {
        Options     next;
        const char *changes;
    } cases[] = {
        { options( fixedIdentity( 1 ) ), "update identity " },
        { options( fixedIdentity( 2 ) ), "update identity " },
        { options( fixedIdentity( 2 ), trusting( { a() } ) ), "update trust " },
        { options( fixedIdentity( 2 ), trusting( { a(), b() } ) ), "update trust " },
        { options( fixedIdentity( 2 ), trusting( { b(), a() } ) ), "update trust " },
        { options( fixedIdentity( 2 ), trusting( { b(), a() } ), trustingNames( { "a.example" } ) ), "update trust " },
        // The same trust from another mode.
        { options( fixedIdentity( 2 ), trusting( { b() } ), synchronizing( { a() } ), trustingNames( { "a.example" } ) ), "update " },
        { options( fixedIdentity( 2 ), trusting( { b() } ), synchronizing( { a() } ), trustingNames( { "a.example" } ), adding( 4 ) ), "update " },
        { options(), "update identity trust " },
        { options( identityMode( fixed ) ), "update " },
    };
    Stack stack = stackOf( options() );
    for( const auto &each : cases )
    {
        Changes changes( stack );
        EXPECT_EQ( changes.now(), "" );
        setOptions( stack, each.next );
        EXPECT_EQ( changes.now(), each.changes );
    }
}

TEST_F( CryX509Stack, EqualOptionsRunAPassThatChangesNothing )
{
    auto     make  = [] { return options( fixedIdentity( 1 ), trusting( { a() } ) ); };
    Stack    stack = stackOf( make() );
    Attached sink( trSinkCreateMemory() );
    // A pass traces the three properties.
    const std::string certs = json( cryX509CertificatesStore( certificates( { a() } ).get() ) );
    const Lines       pass  = { "property cryIdentity " + json( cryX509IdentityStore( identity( 1 ).get(), PB_FALSE ) ),
               "property cryTrustedCertificates " + certs, "property cryTrustedSans " + json( cryX509SansStore( sansOf( {} ).get() ) ) };
    Options           other = make();
    Changes           changes( stack );
    linesOf( sink.get(), "" );
    auto after = [&]( const Options &opt ) {
        ToldOfUpdate atOnce( stack );
        bool         told;
        {
            BusyBackground none;
            cryX509StackSetOptions( stack.get(), opt.get() );
            told = atOnce.now();
        }
        EXPECT_TRUE( told );
    };
    after( other );
    settle();
    EXPECT_EQ( changes.now(), "update " );
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ), pass );
    // The same object only tells the subscribers.
    after( other );
    settle();
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ), Lines{} );
    // The commit itself tells nothing.
    std::optional<Changes> afterSet;
    {
        BusyBackground none;
        cryX509StackSetOptions( stack.get(), make().get() );
        afterSet.emplace( stack );
    }
    settle();
    EXPECT_EQ( afterSet->now(), "" );
}

TEST_F( CryX509Stack, ASubscriberIsToldOfTheNextChangeOnly )
{
    Stack stack = stackOf( options() );
    Told  one, leaves;
    for( Told *each : { &one, &leaves } )
        cryX509StackUpdateAddSignalable( stack.get(), each->sigb() );
    EXPECT_TRUE( pbObjIsShared( pbSignalableObj( one.sigb() ) ) );
    cryX509StackUpdateDelSignalable( stack.get(), leaves.sigb() );
    cryX509StackUpdateDelSignalable( stack.get(), leaves.sigb() );
    setOptions( stack, options( fixedIdentity( 1 ) ) );
    EXPECT_TRUE( one.now() );
    EXPECT_FALSE( leaves.now() );
    EXPECT_FALSE( pbObjIsShared( pbSignalableObj( one.sigb() ) ) );
}

TEST_F( CryX509Stack, TheCommitTellsOfAnotherState )
{
    Stack                       stack = stackOf( options() );
    std::optional<ToldOfUpdate> afterSet;
    {
        BusyBackground none;
        cryX509StackSetOptions( stack.get(), options( fixedIdentity( 1 ) ).get() );
        afterSet.emplace( stack );
        EXPECT_FALSE( afterSet->now() );
    }
    EXPECT_TRUE( afterSet->soon() );
    EXPECT_EQ( numberOf( stack ), 1 );
}

TEST_F( CryX509Stack, FollowsItsVaultItem )
{
    Stack stack = stackOf( options( fromVault( "name" ), trustingIdentity( PB_TRUE ) ) );
    EXPECT_EQ( numberOf( stack ), -1 );
    struct
    {
        std::function<void()> change;
        int                   number;
        const char           *changes;
    } cases[] = {
        { [] { setItem( "name", 1 ); }, 1, "update identity trust " },
        { [] { setItem( "other", 5 ); }, 1, "" },
        { [] { setItem( "name", 1 ); }, 1, "" },
        { [] { setItem( "name", 2 ); }, 2, "update identity trust " },
        { [] { cryVaultDelItem( identifier( "other" ).get() ); }, 2, "" },
        { [] { cryVaultDelItem( identifier( "name" ).get() ); }, -1, "update identity trust " },
        { [] { setItem( "name", 3 ); }, 3, "update identity trust " },
        { emptyVault, -1, "update identity trust " },
    };
    for( const auto &each : cases )
    {
        Changes changes( stack );
        each.change();
        settle();
        EXPECT_EQ( changes.now(), each.changes );
        EXPECT_EQ( numberOf( stack ), each.number );
    }
}

TEST_F( CryX509Stack, ManyChangesOfTheVaultEndWithTheLastOne )
{
    Stack stack = stackOf( options( fromVault( "name" ) ) );
    for( int round = 0; round < 500; round++ )
        setItem( "name", round % 4 );
    settle();
    EXPECT_EQ( numberOf( stack ), 3 );
}

TEST_F( CryX509Stack, WithoutAnIdentifierHasNoIdentityFromTheVault )
{
    setItem( "name", 1 );
    Stack stack = stackOf( options( identityMode( vault ), fixedIdentity( 4 ) ) );
    EXPECT_EQ( numberOf( stack ), -1 );
    // The new options name the item.
    setOptions( stack, options( fromVault( "name" ), fixedIdentity( 4 ) ) );
    EXPECT_EQ( numberOf( stack ), 1 );
    setOptions( stack, options( fromVault( "name" ), fixedIdentity( 4 ), identityMode( fixed ) ) );
    EXPECT_EQ( numberOf( stack ), 4 );
}

TEST_F( CryX509Stack, DoesNotFollowTheVaultInAnotherMode )
{
    setItem( "name", 1 );
    Stack stack = stackOf( options( fromVault( "name" ) ) );
    setOptions( stack, options( fixedIdentity( 4 ) ) );
    Attached sink( trSinkCreateMemory() );
    setItem( "name", 2 );
    settle();
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ), Lines{} );
    EXPECT_EQ( numberOf( stack ), 4 );
}

TEST( CryX509StackVault, AHaltedVaultTakesTheIdentityAway )
{
    setItem( "name", 1 );
    Stack stack = stackOf( options( fromVault( "name" ), trusting( { a() } ) ) );
    EXPECT_EQ( numberOf( stack ), 1 );
    Changes changes( stack );
    cry___VaultHalt();
    settle();
    EXPECT_EQ( changes.now(), "update identity " );
    EXPECT_EQ( numberOf( stack ), -1 );
    // Nothing comes back, but the stack still works.
    Changes later( stack );
    EXPECT_FALSE( restore( pb::adopt( pbStoreCreate() ) ) );
    setItem( "name", 2 );
    settle();
    EXPECT_EQ( later.now(), "" );
    setOptions( stack, options( fixedIdentity( 3 ) ) );
    EXPECT_EQ( numberOf( stack ), 3 );
    EXPECT_EQ( numberOf( stackOf( options( fromVault( "name" ) ) ) ), -1 );
    stack = {};
    pbRuntimeStop();
    startFamily();
}

TEST_F( CryX509StackSystem, TrustsThePlatformsRootsAfterItsOwnCertificates )
{
    setRoots( { a(), b() } );
    reload();
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( fromPlatform() ) ) ) ), dersOf( { a(), b() } ) );
    EXPECT_EQ( trustOf( sessionOf( stackOf( options( fromPlatform(), trusting( { c(), a() } ) ) ) ) ), dersOf( { c(), a(), a(), b() } ) );
    auto own = certificateOf( identity( 1 ) );
    EXPECT_EQ(
        trustOf( sessionOf( stackOf( options( fromPlatform(), fixedIdentity( 1 ), trustingIdentity( PB_TRUE ) ) ) ) ), dersOf( { a(), b(), own } ) );
    // The collection of the roots stays as it is.
    EXPECT_EQ( ders( pb::adopt( cryX509SystemTrustedCertificates() ).get() ), dersOf( { a(), b() } ) );
}

TEST_F( CryX509StackSystem, FollowsThePlatformsRoots )
{
    Stack    stack = stackOf( options( fromPlatform() ) );
    Attached sink( trSinkCreateMemory() );
    for( int round = 0; round < 3; round++ )
    {
        for( const auto &roots : { dersOf( { a(), b() } ), dersOf( { c() } ) } )
        {
            Changes changes( stack );
            setRoots( roots.size() == 2 ? std::vector{ a(), b() } : std::vector{ c() } );
            reload();
            EXPECT_EQ( changes.now(), "update trust " );
            EXPECT_EQ( trustOf( sessionOf( stack ) ), roots );
        }
    }
    // Equal roots do not wake it.
    linesOf( sink.get(), "" );
    reload();
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ), Lines{} );
}

TEST_F( CryX509StackSystem, EveryStackIsWokenOnce )
{
    Stack    one = stackOf( options( fromPlatform() ) ), two = stackOf( options( fromPlatform() ) );
    Attached sink( trSinkCreateMemory() );
    setRoots( { b() } );
    reload();
    Lines lines = linesOf( sink.get(), "CRY_X509_STACK" );
    EXPECT_EQ( std::count( lines.begin(), lines.end(), "text [cry___X509StackImpStateCommit()] trustChanged: true" ), 2 );
    EXPECT_EQ( std::count( lines.begin(), lines.end(),
                   "property cryTrustedCertificates " + json( cryX509CertificatesStore( certificates( { b() } ).get() ) ) ),
        2 );
}

TEST_F( CryX509StackSystem, DoesNotFollowTheRootsInAnotherMode )
{
    Stack stack = stackOf( options( fromPlatform() ) );
    for( const Options &other : { options( trusting( { c() } ) ), options( synchronizing( { c() } ) ) } )
    {
        setOptions( stack, options( fromPlatform() ) );
        setOptions( stack, other );
        Attached sink( trSinkCreateMemory() );
        setRoots( { b() } );
        reload();
        setRoots( { a() } );
        reload();
        EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ), Lines{} );
        EXPECT_EQ( trustOf( sessionOf( stack ) ), dersOf( { c() } ) );
    }
    // Back in the mode, it sees what it has missed.
    setRoots( { b() } );
    reload();
    setOptions( stack, options( fromPlatform() ) );
    EXPECT_EQ( trustOf( sessionOf( stack ) ), dersOf( { b() } ) );
}

TEST_F( CryX509StackGenerate, GeneratesAKeyWithACertificate )
{
    Stack                      stack = stackOf( options( identityMode( generate ) ) );
    pb::Ref<CRY_X509_IDENTITY> ident = identityOf( sessionOf( stack ) );
    ASSERT_TRUE( ident );
    pb::Ref<CRY_PKEY_PRIVATE>     own  = pb::adopt( cryX509IdentityPrivateKey( ident.get() ) );
    pb::Ref<CRY_X509_CERTIFICATE> cert = certificateOf( ident );
    ASSERT_TRUE( own && cert );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( pb::adopt( cryX509IdentityExtraCertificates( ident.get() ) ).get() ), 0 );
    Cert x509 = parseDer( der( cert.get() ) );
    EXPECT_EQ( EVP_PKEY_get_bits( X509_get0_pubkey( x509.get() ) ), 2048 );
    EXPECT_TRUE( EVP_PKEY_is_a( X509_get0_pubkey( x509.get() ), "RSA" ) );
    EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPrivatePeekOpensslEvpPkey( own.get() ), X509_get0_pubkey( x509.get() ) ), 1 );
    EXPECT_EQ( X509_verify( x509.get(), X509_get0_pubkey( x509.get() ) ), 1 );
    pb::Ref<CRY_X509_INFO> info = pb::adopt( cryX509CertificateInfo( cert.get() ) );
    EXPECT_EQ( text( pb::adopt( cryX509InfoSubject( info.get() ) ) ), "CN=" + text( pb::adopt( pbRuntimeVersionProductFriendlyName() ) ) );
    int days = 0, seconds = 0;
    ASSERT_EQ( ASN1_TIME_diff( &days, &seconds, X509_get0_notBefore( x509.get() ), X509_get0_notAfter( x509.get() ) ), 1 );
    // From yesterday on.
    EXPECT_EQ( days, 29 );
    EXPECT_EQ( seconds, 0 );
}

TEST_F( CryX509StackGenerate, RenewsItsIdentityAfterFourteenDays )
{
    Stack stack = stackOf( options( identityMode( generate ), trustingIdentity( PB_TRUE ) ) );
    for( int round = 0; round < 2; round++ )
    {
        Changes                    changes( stack );
        pb::Ref<CRY_X509_IDENTITY> first = identityOf( sessionOf( stack ) );
        pass( fourteenDays - 1 );
        EXPECT_EQ( changes.now(), "" );
        EXPECT_EQ( identityOf( sessionOf( stack ) ).get(), first.get() );
        pass( 1 );
        EXPECT_EQ( changes.now(), "update identity trust " );
        pb::Ref<CRY_X509_IDENTITY> second = identityOf( sessionOf( stack ) );
        ASSERT_TRUE( second );
        EXPECT_FALSE( cryX509IdentityEquals( second.get(), first.get() ) );
        EXPECT_EQ( trustOf( sessionOf( stack ) ), dersOf( { certificateOf( second ) } ) );
    }
}

TEST_F( CryX509StackGenerate, OtherChangesKeepTheIdentityAndItsTime )
{
    Stack                      stack = stackOf( options( identityMode( generate ) ) );
    pb::Ref<CRY_X509_IDENTITY> first = identityOf( sessionOf( stack ) );
    pass( fourteenDays / 2 );
    Changes changes( stack );
    setOptions( stack, options( identityMode( generate ), trusting( { a() } ) ) );
    EXPECT_EQ( changes.now(), "update trust " );
    EXPECT_EQ( identityOf( sessionOf( stack ) ).get(), first.get() );
    pass( fourteenDays / 2 - 1 );
    EXPECT_EQ( identityOf( sessionOf( stack ) ).get(), first.get() );
    pass( 1 );
    EXPECT_NE( identityOf( sessionOf( stack ) ).get(), first.get() );
}

TEST_F( CryX509StackGenerate, AnotherModeDropsTheIdentityAndTheTimer )
{
    settle();
    PB_INT                     timers = pb___ClockArmedTimers();
    Stack                      stack  = stackOf( options( identityMode( generate ) ) );
    pb::Ref<CRY_X509_IDENTITY> first  = identityOf( sessionOf( stack ) );
    EXPECT_EQ( pb___ClockArmedTimers(), timers + 1 );
    for( const Options &other : { options(), options( identityMode( vault ) ) } )
    {
        setOptions( stack, other );
        EXPECT_FALSE( cryX509SessionHasIdentity( sessionOf( stack ).get() ) );
        EXPECT_EQ( pb___ClockArmedTimers(), timers );
        setOptions( stack, options( identityMode( generate ) ) );
        EXPECT_EQ( pb___ClockArmedTimers(), timers + 1 );
        pb::Ref<CRY_X509_IDENTITY> next = identityOf( sessionOf( stack ) );
        ASSERT_TRUE( next );
        EXPECT_NE( next.get(), first.get() );
        first = next;
    }
    stack = {};
    settle();
    EXPECT_EQ( pb___ClockArmedTimers(), timers );
}

TEST_F( CryX509StackGenerate, AFailureIsTriedAgainAfterAnHour )
{
    std::optional<Random> random;
    random.emplace( Random::failing );
    Stack stack = stackOf( options( identityMode( generate ), trusting( { a() } ) ) );
    EXPECT_EQ( ERR_peek_error(), 0u );
    EXPECT_FALSE( cryX509SessionHasIdentity( sessionOf( stack ).get() ) );
    EXPECT_EQ( trustOf( sessionOf( stack ) ), dersOf( { a() } ) );
    // The next attempt fails, too.
    Changes changes( stack );
    pass( hour );
    random.reset();
    pass( hour - 1 );
    EXPECT_EQ( changes.now(), "" );
    pass( 1 );
    EXPECT_EQ( changes.now(), "update identity " );
    EXPECT_TRUE( cryX509SessionHasIdentity( sessionOf( stack ).get() ) );
    // A renewal that fails takes the identity away.
    Changes renewal( stack );
    random.emplace( Random::failing );
    pass( fourteenDays );
    EXPECT_EQ( renewal.now(), "update identity " );
    EXPECT_FALSE( cryX509SessionHasIdentity( sessionOf( stack ).get() ) );
    random.reset();
    pass( hour );
    EXPECT_TRUE( cryX509SessionHasIdentity( sessionOf( stack ).get() ) );
}

TEST_F( CryX509StackGenerate, NobodyWaitsForAGeneration )
{
    Stack  stack = stackOf( options( fixedIdentity( 1 ) ) );
    Random random( Random::waiting );
    cryX509StackSetOptions( stack.get(), options( identityMode( generate ) ).get() );
    random.waitUntilItWaits();
    EXPECT_EQ( numberOf( stack ), 1 );
    ToldOfUpdate told( stack );
    cryX509StackSetOptions( stack.get(), options( fixedIdentity( 2 ) ).get() );
    EXPECT_TRUE( told.now() );
    EXPECT_EQ( numberOf( stack ), 1 );
    random.letGo();
    settle();
    // The generated identity was replaced by that of the latest options.
    EXPECT_EQ( numberOf( stack ), 2 );
}

TEST_F( CryX509StackGenerate, AStackThatIsDroppedWhileItGeneratesPublishesNothing )
{
    PB_INT alive = aliveAtRest(), timers = pb___ClockArmedTimers();
    {
        Stack        stack = stackOf( options() );
        Random       random( Random::waiting );
        ToldOfUpdate told( stack );
        cryX509StackSetOptions( stack.get(), options( identityMode( generate ) ).get() );
        random.waitUntilItWaits();
        EXPECT_TRUE( told.now() );
        ToldOfUpdate later( stack );
        stack = {};
        random.letGo();
        settle();
        EXPECT_FALSE( later.now() );
    }
    EXPECT_EQ( aliveAtRest(), alive );
    EXPECT_EQ( pb___ClockArmedTimers(), timers );
}

TEST_F( CryX509Stack, TracesItsStates )
{
    pb::Ref<TR_STREAM> owner  = traces::stream( "OWNER" );
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( owner.get(), 3 ) );
    Attached           sink( trSinkCreateMemory() );
    Options            opt   = options( fixedIdentity( 1 ), trusting( { a() } ), trustingNames( { "a.example" } ) );
    Stack              stack = stackOf( opt, anchor.get() );
    pb::Ref<PB_VECTOR> kept  = pb::adopt( trSinkEvents( sink.get() ) );
    EXPECT_EQ( linesOf( sink.get(), "OWNER" ), Lines{ "link 3 CRY_X509_STACK" } );

    Attached    other( trSinkCreateMemory() );
    auto        configuration = []( const Options &of ) { return "configuration " + json( cryX509StackOptionsStore( of.get(), PB_FALSE, 0 ) ); };
    std::string certs         = "property cryTrustedCertificates " + json( cryX509CertificatesStore( certificates( { a() } ).get() ) );
    std::string names         = "property cryTrustedSans " + json( cryX509SansStore( sansOf( { "a.example" } ).get() ) );
    std::string identity1     = "property cryIdentity " + json( cryX509IdentityStore( identity( 1 ).get(), PB_FALSE ) );
    std::string identityText  = "text [cry___X509StackImpStateCommit()] identityChanged: true",
                trustText     = "text [cry___X509StackImpStateCommit()] trustChanged: true";

    Stack again = stackOf( opt, nullptr );
    EXPECT_EQ( linesOf( other.get(), "CRY_X509_STACK" ), ( Lines{ configuration( opt ), identity1, certs, names, identityText, trustText } ) );
    Options next = options( trusting( { a() } ), trustingNames( { "a.example" } ) );
    setOptions( again, next );
    EXPECT_EQ(
        linesOf( other.get(), "CRY_X509_STACK" ), ( Lines{ configuration( next ), "propertyDeleted cryIdentity", certs, names, identityText } ) );
    Session sess = sessionOf( again );
    EXPECT_EQ( linesOf( other.get(), "CRY_X509_STACK" ), Lines{ "link 10 CRY_X509_SESSION" } );
    cryX509StackTraceCompleteAnchor( again.get(), anchor.get() );
    EXPECT_EQ( linesOf( other.get(), "OWNER" ), Lines{ "link 3 CRY_X509_STACK" } );
    sess = {};
    linesOf( other.get(), "" );
    again = {};
    EXPECT_EQ( linesOf( other.get(), "CRY_X509_STACK" ), Lines{ "text [cry___X509StackImpHalt()]" } );
}

TEST_F( CryX509Stack, TracesNoPrivateKeyAndNothingOfThePast )
{
    Attached sink( trSinkCreateMemory() );
    Stack    stack = stackOf( options( fixedIdentity( 1 ), trustingIdentity( PB_TRUE ) ) );
    Lines    lines = linesOf( sink.get(), "CRY_X509_STACK" );
    EXPECT_EQ( lines.size(), 6u );
    for( const std::string &line : lines )
        EXPECT_EQ( line.find( "rivateKey" ), std::string::npos ) << line;
    Stack silent;
    trSinkDetach( sink.get() );
    silent = stackOf( options( fixedIdentity( 2 ) ) );
    EXPECT_TRUE( trSinkAttach( sink.get() ) );
    settle();
    EXPECT_EQ( linesOf( sink.get(), "CRY_X509_STACK" ), Lines{} );
}

TEST_F( CryX509Stack, IsKeptByItsSessions )
{
    PB_INT  alive = aliveAtRest();
    Stack   stack = stackOf( options( fromVault( "name" ) ) );
    Session sess  = sessionOf( stack );
    stack         = {};
    setItem( "name", 1 );
    settle();
    EXPECT_TRUE( cryX509SessionIdentityChanged( sess.get() ) );
    EXPECT_EQ( numberOf( pb::adopt( cryX509SessionStack( sess.get() ) ) ), 1 );
    sess = {};
    emptyVault();
    EXPECT_EQ( aliveAtRest(), alive );
}

TEST_F( CryX509Stack, MayBeDroppedBeforeItRuns )
{
    PB_INT alive = aliveAtRest();
    {
        BusyBackground none;
        Stack          stack = stackOf( options( fromVault( "name" ) ) );
        ToldOfUpdate   told( stack );
        setItem( "name", 1 );
        cryX509StackSetOptions( stack.get(), options().get() );
        EXPECT_TRUE( told.now() );
    }
    emptyVault();
    EXPECT_EQ( aliveAtRest(), alive );
}

TEST_F( CryX509Stack, EverySessionHasOneState )
{
    constexpr int        rounds = WITH_THREAD_SANITIZER || WITH_ADDRESS_SANITIZER ? 60 : 200;
    std::vector<Options> states;
    for( int number = 0; number < 4; number++ )
        states.push_back( options( fixedIdentity( number ), trustingIdentity( PB_TRUE ), trusting( { certificateOf( identity( number ) ) } ) ) );
    Policy                   policy   = pb::adopt( cryX509PolicyCreate() );
    Stack                    stack    = stackOf( states[0] );
    std::atomic<bool>        done     = false;
    std::atomic<int>         sessions = 0, wrong = 0;
    std::vector<std::thread> threads;
    for( int each = 0; each < 10; each++ )
        threads.emplace_back( [&] {
            do
            {
                Session                        sess  = sessionOf( stack );
                Options                        opt   = pb::adopt( cryX509SessionOptions( sess.get() ) );
                pb::Ref<CRY_X509_IDENTITY>     ident = identityOf( sess );
                pb::Ref<CRY_X509_CERTIFICATE>  cert  = certificateOf( ident );
                pb::Ref<CRY_X509_CERTIFICATES> trust = pb::adopt( cryX509SessionTrustedCertificates( sess.get() ) );
                if( pb::adopt( cryX509StackOptionsIdentity( opt.get() ) ).get() != ident.get() )
                    wrong++;
                for( const auto &member : members( trust.get() ) )
                    wrong += !cryX509CertificateEquals( member.get(), cert.get() );
                // The store is that of this trust.
                Validator val = pb::adopt( cryX509ValidatorCreate( sess.get(), policy.get(), cert.get(), nullptr, nullptr ) );
                Told      end;
                cryX509ValidatorEndAddSignalable( val.get(), end.sigb() );
                wrong += !end.soon() || cryX509ValidatorError( val.get() );
                sessions++;
            }
            while( !done );
        } );
    for( int round = 1; round <= rounds; round++ )
    {
        cryX509StackSetOptions( stack.get(), states[(size_t)round % states.size()].get() );
        std::this_thread::sleep_for( std::chrono::microseconds( 300 ) );
    }
    done = true;
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( wrong, 0 );
    EXPECT_GE( sessions, 10 );
    settle();
    EXPECT_EQ( numberOf( stack ), rounds % 4 );
}

TEST_F( CryX509Stack, TakesOptionsFromManyThreads )
{
    std::vector<Options>     states = { options( fixedIdentity( 0 ) ), options( fixedIdentity( 1 ) ), options( fixedIdentity( 2 ) ) };
    Stack                    stack  = stackOf( options() );
    std::vector<std::thread> threads;
    for( int each = 0; each < 4; each++ )
        threads.emplace_back( [&] {
            for( int round = 0; round < 100; round++ )
            {
                cryX509StackSetOptions( stack.get(), states[(size_t)round % 3].get() );
                sessionOf( stack );
                pb::adopt( cryX509StackOptions( stack.get() ) );
            }
        } );
    for( std::thread &thread : threads )
        thread.join();
    setOptions( stack, options( fixedIdentity( 5 ) ) );
    EXPECT_EQ( numberOf( stack ), 5 );
}

TEST_F( CryX509StackSystem, AHundredThousandStacksLeaveNothingBehind )
{
    constexpr int count = WITH_THREAD_SANITIZER || WITH_ADDRESS_SANITIZER ? 1000 : 100000;
    Options       opt   = options( fromVault( "name" ), fromPlatform() );
    auto          round = [&]( int stacks ) {
        for( int each = 0; each < stacks; each++ )
            stackOf( opt );
        settle();
    };
    round( 200 );
    PB_INT objects = aliveAtRest();
#if !WITH_ADDRESS_SANITIZER && !WITH_THREAD_SANITIZER
    size_t memory = mallinfo2().uordblks;
#endif
    round( count );
    EXPECT_EQ( aliveAtRest(), objects );
#if !WITH_ADDRESS_SANITIZER && !WITH_THREAD_SANITIZER
    // The threads' caches of freed memory count as used.
    EXPECT_LT( mallinfo2().uordblks, memory + 100000 );
#endif
}

TEST_F( CryX509StackSystem, AStopOfTheRuntimeLeavesNothingOfTheirWork )
{
    pbRuntimeStop();
    PB_INT before = pbObjLiveCount();
    for( int round = 0; round < 3; round++ )
    {
        startFamily();
        setItem( "name", 1 );
        std::vector<Stack>   stacks;
        std::vector<Session> sessions;
        for( PB_INT identityOfStack = 0; identityOfStack < 3; identityOfStack++ )
            for( PB_INT trustOfStack = 0; trustOfStack < 3; trustOfStack++ )
            {
                // Generated keys take long; one is enough.
                if( identityOfStack == generate && trustOfStack > 0 )
                    continue;
                Options opt = options(
                    fromVault( "name" ), fixedIdentity( 2 ), identityMode( identityOfStack ), trusting( { b() } ), trustMode( trustOfStack ) );
                stacks.push_back( stackOf( opt ) );
                sessions.push_back( sessionOf( stacks.back() ) );
            }
        Policy                 policy = pb::adopt( cryX509PolicyCreate() );
        std::vector<Validator> validators;
        for( const Session &sess : sessions )
            validators.push_back( pb::adopt( cryX509ValidatorCreate( sess.get(), policy.get(), a().get(), nullptr, nullptr ) ) );
        // Runs wait, or are in progress.
        for( const Stack &stack : stacks )
            cryX509StackSetOptions( stack.get(), options( fromPlatform(), fixedIdentity( 3 ) ).get() );
        setItem( "name", 2 );
        EXPECT_GE( pb___ClockArmedTimers(), 1 );
        if( round == 1 )
        {
            stacks.clear();
            sessions.clear();
        }
        pbRuntimeStop();
        EXPECT_EQ( pb___ClockArmedTimers(), 0 );
        // Ordinary runs that waited have run.
        for( const Validator &val : validators )
            EXPECT_TRUE( cryX509ValidatorEnd( val.get() ) );
        validators.clear();
        sessions.clear();
        stacks.clear();
        policy = {};
        EXPECT_EQ( pbObjLiveCount(), before );
    }
    startFamily();
}

TEST_F( CryX509Stack, LeavesTheErrorQueueAlone )
{
    raiseError();
    Stack stack = stackOf( options( identityMode( generate ), trusting( { a() } ) ) );
    sessionOf( stack );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
}

TEST_F( CryX509Stack, EqualsOnlyItself )
{
    Options opt = options();
    Stack   one = stackOf( opt ), two = stackOf( opt );
    EXPECT_TRUE( cryX509StackEquals( one.get(), one.get() ) );
    EXPECT_FALSE( cryX509StackEquals( one.get(), two.get() ) );
    EXPECT_EQ( text( pb::adopt( cryX509StackToString( one.get() ) ) ).rfind( "CRY_X509_STACK(0x", 0 ), 0u );
}
