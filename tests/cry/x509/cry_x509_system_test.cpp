#include "x509/cry_x509_system.hpp"
#include "x509/cry_x509_system_linux.hpp"

#include <cry/cry_module.h>
#include <cry/internal/cry_x509_system.h>

#include "support/certificates.hpp"
#include "support/environment.hpp"
#include "support/files.hpp"
#include "support/text.hpp"

#include <atomic>
#include <cstring>
#include <sys/inotify.h>
#include <thread>
#include <unistd.h>

using namespace support;
namespace fs = std::filesystem;

namespace
{

constexpr PB_INT halfDay = 43200000, retry = 30000, day = 86400000; // milliseconds

// Each root is made once, since ECDSA signatures differ each time.
std::string root( int number )
{
    static std::vector<Cert> roots;
    while( (int)roots.size() <= number )
        roots.push_back( makeCertificate( { .subject = "CN=Root " + std::to_string( roots.size() ), .subjectKey = key( KeyKind::p256 ) } ) );
    return pemText( roots[(size_t)number] );
}

// Whether the roots have changed since the object was made.
class Subscriber
{
public:
    Subscriber() { cryX509SystemTrustedCertificatesAddSignalable( signalable.get() ); }
    ~Subscriber() { cry::x509::delSystemSignalableAtAnyTime( signalable.get() ); }
    bool told() const { return pbSignalAsserted( signal.get() ); }

    pb::Ref<PB_SIGNAL>     signal     = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE> signalable = pb::adopt( pbSignalableCreateSignal( signal.get() ) );
};

pb::Ref<CRY_X509_CERTIFICATES> current() { return pb::adopt( cryX509SystemTrustedCertificates() ); }

// The current roots as a file.
std::string pems()
{
    std::string text;
    for( const pb::Ref<CRY_X509_CERTIFICATE> &cert : members( current().get() ) )
        text += pemText( parseDer( der( cert.get() ) ) );
    return text;
}

// The family under a manual clock, whose platform has one place of roots.
class CryX509System : public testing::Test
{
protected:
    void SetUp() override
    {
        pbRuntimeStop();
        write( place, root( 0 ) );
        cry::x509::setPlaces( places );
        startFamily();
        pb___ClockSetManual( PB_TRUE );
        // The clock was stopped a moment after the start. From the second load on, times are exact.
        pass( halfDay );
    }

    void TearDown() override
    {
        pb___ClockSetManual( PB_FALSE );
        if( pbRuntimeStarted() )
            pbRuntimeStop();
        cry::x509::setPlaces( {} );
        startFamily();
    }

    // Moves the clock and waits for the end of a load that begins then.
    static void pass( PB_INT milliseconds )
    {
        ASSERT_EQ( pb___ClockArmedTimers(), 1 );
        pb___ClockAdvance( milliseconds );
        for( int tries = 0; tries < 100000 && pb___ClockArmedTimers() == 0; tries++ )
            usleep( 100 );
        ASSERT_EQ( pb___ClockArmedTimers(), 1 );
    }

    void replacePlace( const std::string &content ) const
    {
        write( folder.path / "new", content );
        fs::rename( folder.path / "new", place );
    }

    TemporaryFolder folder;
    fs::path        place     = folder.path / "roots.pem";
    const char     *places[1] = { place.c_str() };
};

}

TEST_F( CryX509System, RootsAreLoadedAtTheStart )
{
    // The set-up writes the file before the start.
    EXPECT_EQ( pems(), root( 0 ) );
}

TEST_F( CryX509System, RootsAreThereWhenTheStartReturns )
{
    pbRuntimeStop();
    replacePlace( root( 1 ) + root( 2 ) );
    startFamily();
    EXPECT_EQ( pems(), root( 1 ) + root( 2 ) );
}

TEST_F( CryX509System, EqualRootsChangeNothing )
{
    pb::Ref<CRY_X509_CERTIFICATES> before = current();
    Subscriber                     subscriber;
    pass( halfDay );
    cry___X509SystemTrustedCertificatesReload();
    replacePlace( "# Another file with the same root.\n" + root( 0 ) );
    pass( halfDay );
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_FALSE( subscriber.told() );
    EXPECT_EQ( current().get(), before.get() );
}

TEST_F( CryX509System, AnotherRootIsSeenAtTheNextReload )
{
    for( int number = 1; number < 4; number++ )
    {
        replacePlace( root( number - 1 ) + root( number ) );
        Subscriber subscriber;
        pass( halfDay - 1 );
        EXPECT_FALSE( subscriber.told() );
        EXPECT_EQ( pems().find( root( number ) ), std::string::npos );
        pass( 1 );
        EXPECT_TRUE( subscriber.told() );
        EXPECT_EQ( pems(), root( number - 1 ) + root( number ) );
    }
}

TEST_F( CryX509System, ReloadPublishesAtOnceAndLeavesTheTimer )
{
    pass( halfDay / 2 );
    replacePlace( root( 1 ) );
    Subscriber subscriber;
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_TRUE( subscriber.told() );
    EXPECT_EQ( pems(), root( 1 ) );
    replacePlace( root( 2 ) );
    pass( halfDay / 2 - 1 );
    EXPECT_EQ( pems(), root( 1 ) );
    pass( 1 );
    EXPECT_EQ( pems(), root( 2 ) );
}

TEST_F( CryX509System, ASmallerSetIsTakenAtOnce )
{
    replacePlace( root( 0 ) + root( 1 ) + root( 2 ) );
    pass( halfDay );
    replacePlace( root( 1 ) );
    pass( halfDay );
    EXPECT_EQ( pems(), root( 1 ) );
}

TEST_F( CryX509System, IfTheRootsAreMissingTheyStayAndAreLookedForEveryThirtySeconds )
{
    const std::function<void()> losses[] = { [this] { replacePlace( "" ); }, [this] { replacePlace( "text" ); }, [this] { fs::remove( place ); },
        [this] {
            fs::remove( place );
            fs::create_directory( place );
        } };
    int                         number   = 0;
    for( const std::function<void()> &lose : losses )
    {
        Subscriber subscriber;
        lose();
        for( PB_INT step : { halfDay, retry, retry } )
        {
            pass( step );
            EXPECT_EQ( pems(), root( number ) ) << number;
        }
        EXPECT_FALSE( subscriber.told() );
        if( fs::is_directory( place ) )
            fs::remove( place );
        number++;
        replacePlace( root( number ) );
        pass( retry - 1 );
        EXPECT_FALSE( subscriber.told() );
        pass( 1 );
        EXPECT_TRUE( subscriber.told() );
        EXPECT_EQ( pems(), root( number ) );
        // After that, the next reload comes after twelve hours again.
        replacePlace( root( number ) + root( 9 ) );
        pass( halfDay - 1 );
        EXPECT_EQ( pems(), root( number ) );
        replacePlace( root( number ) );
        pass( 1 );
    }
}

TEST_F( CryX509System, RootsThatAreMissingForADayAreGivenUp )
{
    Subscriber subscriber;
    replacePlace( "" );
    pass( halfDay );
    for( PB_INT time = 0; time < day - retry; time += retry )
        pass( retry );
    EXPECT_EQ( pems(), root( 0 ) );
    EXPECT_FALSE( subscriber.told() );
    pass( retry );
    EXPECT_EQ( pems(), "" );
    EXPECT_TRUE( subscriber.told() );
    // An empty set is not asked for every thirty seconds.
    replacePlace( root( 1 ) );
    pass( halfDay - 1 );
    EXPECT_EQ( pems(), "" );
    pass( 1 );
    EXPECT_EQ( pems(), root( 1 ) );
}

TEST_F( CryX509System, TheDayBeginsAgainIfTheRootsWereSeen )
{
    for( int round = 0; round < 2; round++ )
    {
        replacePlace( "" );
        pass( halfDay );
        for( PB_INT time = 0; time < day - retry; time += retry )
            pass( retry );
        EXPECT_EQ( pems(), root( 0 ) );
        replacePlace( root( 0 ) );
        pass( retry );
    }
}

TEST_F( CryX509System, ReloadTakesThatThereAreNoRoots )
{
    replacePlace( "" );
    Subscriber subscriber;
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_TRUE( subscriber.told() );
    EXPECT_EQ( pems(), "" );
}

TEST_F( CryX509System, ASubscriberIsToldOfTheNextChangeOnly )
{
    pb::Ref<PB_SIGNAL>     signal = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_SIGNALABLE> sigb   = pb::adopt( pbSignalableCreateSignal( signal.get() ) );
    cryX509SystemTrustedCertificatesAddSignalable( sigb.get() );
    EXPECT_TRUE( pbObjIsShared( sigb.obj() ) );
    replacePlace( root( 1 ) );
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_TRUE( pbSignalAsserted( signal.get() ) );
    // It is not held any more.
    EXPECT_FALSE( pbObjIsShared( sigb.obj() ) );
}

TEST_F( CryX509System, ASubscriptionCanBeTakenBack )
{
    Subscriber stays, leaves, leavesLate;
    cryX509SystemTrustedCertificatesDelSignalable( leaves.signalable.get() );
    cryX509SystemTrustedCertificatesDelSignalable( leaves.signalable.get() );
    cry::x509::delSystemSignalableAtAnyTime( leavesLate.signalable.get() );
    replacePlace( root( 1 ) );
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_TRUE( stays.told() );
    EXPECT_FALSE( leaves.told() );
    EXPECT_FALSE( leavesLate.told() );
}

TEST_F( CryX509System, CertificatesThatDoNotParseAreLeftOut )
{
    replacePlace( root( 1 ) + pemText( "CERTIFICATE", "nonsense" ) + root( 2 ) );
    cry___X509SystemTrustedCertificatesReload();
    EXPECT_EQ( pems(), root( 1 ) + root( 2 ) );
}

TEST_F( CryX509System, KnownCertificatesAreNotParsedAgain )
{
    replacePlace( root( 0 ) + root( 1 ) );
    cry___X509SystemTrustedCertificatesReload();
    auto before = members( current().get() );
    auto same   = members( pb::adopt( cry::x509::loadPlatformRoots( current().get() ) ).get() );
    ASSERT_EQ( same.size(), 2u );
    for( size_t index = 0; index < 2; index++ )
        EXPECT_EQ( same[index].get(), before[index].get() );
    // Nor are those of a set that has changed.
    replacePlace( root( 2 ) + root( 1 ) );
    cry___X509SystemTrustedCertificatesReload();
    auto after = members( current().get() );
    ASSERT_EQ( after.size(), 2u );
    EXPECT_EQ( after[1].get(), before[1].get() );
    // Without known certificates, all are parsed.
    auto fresh = members( pb::adopt( cry___X509SystemPlatformTrustedCertificatesLoad() ).get() );
    ASSERT_EQ( fresh.size(), 2u );
    EXPECT_NE( fresh[1].get(), after[1].get() );
}

TEST_F( CryX509System, ALoadThatBeganBeforeThePublishedOneIsDropped )
{
    // A directory whose first file is read at once and whose many others take a while.
    fs::remove( place );
    auto directoryOf = [this]( const char *name, int number ) {
        fs::create_directory( folder.path / name );
        write( folder.path / name / "00000000.0", root( number ) );
        return folder.path / name;
    };
    int forced = 0;
    for( int round = 0; round < 20 && forced == 0; round++ )
    {
        fs::remove_all( place );
        fs::remove_all( folder.path / "old" );
        fs::path slow = directoryOf( "slow", 1 );
        for( int number = 0; number < 20000; number++ )
        {
            char name[20];
            std::snprintf( name, sizeof name, "1%07x.0", number );
            ASSERT_EQ( symlink( "nowhere", ( slow / name ).c_str() ), 0 );
        }
        fs::path fast = directoryOf( "fast", 2 );
        fs::rename( slow, place );
        int watch = inotify_init1( IN_CLOEXEC );
        ASSERT_GE( inotify_add_watch( watch, ( place / "00000000.0" ).c_str(), IN_CLOSE_NOWRITE ), 0 );
        std::atomic<bool>             done = false;
        std::thread                   older( [&] {
            cry___X509SystemTrustedCertificatesReload();
            done = true;
        } );
        alignas( inotify_event ) char event[sizeof( inotify_event ) + 256];
        EXPECT_GT( ::read( watch, event, sizeof event ), 0 );
        close( watch );
        // The older load has read the first file.
        fs::rename( place, folder.path / "old" );
        fs::rename( fast, place );
        cry___X509SystemTrustedCertificatesReload();
        EXPECT_EQ( pems(), root( 2 ) );
        forced += !done;
        older.join();
        EXPECT_EQ( pems(), root( 2 ) );
    }
    EXPECT_GT( forced, 0 ) << "the newer load never ended first";
}

namespace
{

struct Halted
{
    bool        seen = false, told = false;
    std::string before, after;
    PB_INT      armed = -1;
    Subscriber *subscriber;
};

Halted *halted;

// Looks at the roots after all modules were halted and before they are shut down.
void lookWhenHalted( const char *hook, const PB_MODULE *module )
{
    if( std::strcmp( hook, "fourth" ) != 0 || module != cryModule() )
        return;
    halted->seen   = true;
    halted->before = pems();
    halted->armed  = pb___ClockArmedTimers();
    cry___X509SystemTrustedCertificatesReload();
    halted->after = pems();
    // Subscriptions are still taken, but nothing changes any more.
    Subscriber late;
    halted->told = late.told() || halted->subscriber->told();
}

}

TEST_F( CryX509System, WhenHaltedThereAreNoRootsAndNoReloads )
{
    Subscriber subscriber;
    Halted     found;
    found.subscriber = &subscriber;
    halted           = &found;
    pb___RuntimeSetObserver( lookWhenHalted );
    pbRuntimeStop();
    pb___RuntimeSetObserver( nullptr );
    EXPECT_TRUE( found.seen );
    EXPECT_EQ( found.before, "" );
    EXPECT_EQ( found.after, "" );
    EXPECT_FALSE( found.told );
    EXPECT_EQ( found.armed, 0 );
}

TEST_F( CryX509System, ASubscriptionMayBeTakenBackAfterTheShutDown )
{
    Subscriber subscriber;
    pbRuntimeStop();
    cry::x509::delSystemSignalableAtAnyTime( subscriber.signalable.get() );
    EXPECT_FALSE( subscriber.told() );
}
