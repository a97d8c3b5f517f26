#include <cry/cry.h>
#include <pb/module.hpp>
#include <pb/pb.h>

#include "support/sanitizers.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <atomic>
#include <dlfcn.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <malloc.h>
#include <sstream>
#include <thread>

using namespace support;

namespace
{

using Names = std::vector<std::string>;

struct Event
{
    std::string      hook;
    const PB_MODULE *module;
};

std::vector<Event> events;

void note( const char *hook, const PB_MODULE *module ) { events.push_back( { hook, module } ); }

// The modules of one hook, in the order of the calls.
Names namesOf( const std::string &hook )
{
    Names names;
    for( const Event &event : events )
    {
        if( event.hook == hook )
            names.push_back( pbModuleRecord( event.module )->moduleName );
    }
    return names;
}

// All calls: "startup pb", "halt pb", ...
Names story()
{
    Names lines;
    for( const Event &event : events )
        lines.push_back( event.hook + " " + pbModuleRecord( event.module )->moduleName );
    return lines;
}

Names reversed( Names names )
{
    std::reverse( names.begin(), names.end() );
    return names;
}

Names words( const std::string &line )
{
    std::istringstream in( line );
    Names              out;
    for( std::string word; in >> word; )
        out.push_back( word );
    return out;
}

bool start( const Names &modules )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    for( const std::string &module : modules )
        pbRuntimeOptionsAppendModuleCstr( options.handle(), module.c_str(), -1 );
    return pbRuntimeStart( options.get() );
}

std::string startError() { return text( pb::adopt( pbRuntimeStartError() ) ); }

std::string fileOf( const std::string &module ) { return "lib" + module + ".so." FRAME_SOVERSION; }

size_t threads()
{
    size_t count = 0;
    for( [[maybe_unused]] const auto &entry : std::filesystem::directory_iterator( "/proc/self/task" ) )
        count++;
    return count;
}

// A thread that was joined can be visible in /proc for a moment longer.
size_t threadsSettled( size_t wanted )
{
    for( int attempt = 0; attempt < 100 && threads() > wanted; attempt++ )
        std::this_thread::sleep_for( std::chrono::milliseconds( 10 ) );
    return threads();
}

size_t memoryInUse()
{
    struct mallinfo2 info = mallinfo2();
    return info.uordblks + info.hblkhd;
}

constexpr bool sanitized = WITH_ADDRESS_SANITIZER || WITH_THREAD_SANITIZER;

class Runtime : public testing::Test
{
protected:
    void SetUp() override
    {
        events.clear();
        pb___RuntimeSetObserver( note );
    }

    void TearDown() override
    {
        pb___RuntimeSetObserver( nullptr );
        if( pbRuntimeStarted() )
            pbRuntimeStop();
    }

    // A start that returns false: the modules that had started are stopped again, and the next
    // start works.
    void expectRefused( const Names &modules, const std::string &reason )
    {
        EXPECT_FALSE( start( modules ) );
        EXPECT_EQ( startError(), reason );
        expectNothingStarted();
    }

    void expectNothingStarted()
    {
        EXPECT_FALSE( pbRuntimeStarted() );
        EXPECT_EQ( namesOf( "halt" ), namesOf( "shutdown" ) );
        EXPECT_EQ( namesOf( "fourth" ), namesOf( "shutdown" ) );
        events.clear();
        EXPECT_TRUE( start( { "frame_plain" } ) ) << startError();
        EXPECT_EQ( namesOf( "startup" ), ( Names{ "pb", "frame_plain" } ) );
        EXPECT_EQ( startError(), "(null)" );
        pbRuntimeStop();
    }
};

// A module of the host's own program. It counts its hooks.
Names   hostCalls;
PB_BOOL hostStartup()
{
    hostCalls.push_back( "startup" );
    return PB_TRUE;
}
void hostHalt() { hostCalls.push_back( "halt" ); }
void hostFourth() { hostCalls.push_back( "fourth" ); }
void hostShutdown() { hostCalls.push_back( "shutdown" ); }

const PB_MODULE_RECORD hostRecord = { PB_MODULE_RECORD_FORMAT_VERSION, "orvelletr", "", 4, 14, 19, "", "", "", "frame_host", "Host", "1.5",
    "frame_plain pb", "" };
const PB_MODULE        hostModule = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &hostRecord, hostStartup, hostHalt, hostFourth, hostShutdown };

// A host's module that replaces the library of the same name.
const PB_MODULE_RECORD inPlaceRecord = { PB_MODULE_RECORD_FORMAT_VERSION, "orvelletr", "", 4, 14, 19, "", "", "", "frame_replaced", "In place", "1.5",
    "pb", "" };
const PB_MODULE        inPlaceModule = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &inPlaceRecord, pb::startNothing, pb::doNothing, pb::doNothing,
           pb::doNothing };

// Modules of the host with the name of a loaded module.
const PB_MODULE_RECORD samePlainRecord = { PB_MODULE_RECORD_FORMAT_VERSION, "orvelletr", "", 4, 14, 19, "", "", "", "frame_plain", "Same", "1.5",
    "pb", "" };
const PB_MODULE        samePlain       = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &samePlainRecord, pb::startNothing, pb::doNothing, pb::doNothing,
                 pb::doNothing };
const PB_MODULE        samePlainAgain  = samePlain;
const PB_MODULE_RECORD sameBaseRecord  = { PB_MODULE_RECORD_FORMAT_VERSION, "orvelletr", "", 4, 14, 19, "", "", "", "pb", "Same", "1.5", "", "" };
const PB_MODULE sameBase = { PB_OBJ_STATIC( &pb___sort_PB_MODULE ), &sameBaseRecord, pb::startNothing, pb::doNothing, pb::doNothing, pb::doNothing };

// For a child process, since libraries and modules that are loaded or registered stay. Writes the
// reason why a start is refused, and ends with 0 if it is refused.
[[noreturn]] void exitRefused( const Names &modules )
{
    bool started = start( modules );
    std::fprintf( stderr, "%s\n", startError().c_str() );
    _exit( started || pbRuntimeStarted() );
}

}

TEST_F( Runtime, StartsEachModuleAfterAllThatItDependsOn )
{
    ASSERT_TRUE( start( { "cry" } ) ) << startError();
    EXPECT_TRUE( pbRuntimeStarted() );
    Names names = namesOf( "startup" );
    EXPECT_EQ( names.front(), "pb" );
    EXPECT_EQ( names.back(), "cry" );
    Names sorted = names;
    std::sort( sorted.begin(), sorted.end() );
    EXPECT_EQ( sorted, ( Names{ "bn", "cry", "cs", "in", "openssl", "pb", "rfc", "tr" } ) );

    Names before;
    for( const Event &event : events )
    {
        EXPECT_EQ( event.hook, "startup" );
        for( const std::string &dependency : words( pbModuleRecord( event.module )->dependencies ) )
            EXPECT_NE( std::find( before.begin(), before.end(), dependency ), before.end() )
                << pbModuleRecord( event.module )->moduleName << " came before " << dependency;
        before.push_back( pbModuleRecord( event.module )->moduleName );
    }
}

TEST_F( Runtime, StopsInTheMirroredOrder )
{
    ASSERT_TRUE( start( { "cry" } ) ) << startError();
    Names started = namesOf( "startup" );
    events.clear();
    pbRuntimeStop();
    EXPECT_FALSE( pbRuntimeStarted() );

    Names wanted;
    for( const char *hook : { "halt", "fourth", "shutdown" } )
    {
        for( const std::string &module : reversed( started ) )
            wanted.push_back( std::string( hook ) + " " + module );
    }
    EXPECT_EQ( story(), wanted );
}

TEST_F( Runtime, StartsAModuleOnceHoweverOftenItIsNamed )
{
    ASSERT_TRUE( start( { "frame_plain", "pb", "frame_plain" } ) ) << startError();
    EXPECT_EQ( namesOf( "startup" ), ( Names{ "pb", "frame_plain" } ) );
}

TEST_F( Runtime, WorksBetweenStartAndStop )
{
    ASSERT_TRUE( start( { "cry" } ) ) << startError();
    pb::Ref<PB_BUFFER> digest = pb::adopt( cryHashTryCompute( CRY_HASH_ALGORITHM_SHA2_256, buf( "abc" ).get() ) );
    EXPECT_EQ( hex( bytes( digest ) ), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" );
}

TEST_F( Runtime, LeavesNothingBehindInAHundredRounds )
{
    pb___RuntimeSetObserver( nullptr );
    // A successful start deletes the error text of an earlier one.
    ASSERT_TRUE( start( {} ) );
    pbRuntimeStop();
    PB_INT objects     = pbObjLiveCount();
    size_t threadCount = threads();
    size_t memory      = 0;
    for( int round = 0; round < 100; round++ )
    {
        ASSERT_TRUE( start( { "cry" } ) ) << startError();
        pbRuntimeStop();
        ASSERT_EQ( pbObjLiveCount(), objects ) << "round " << round;
        ASSERT_EQ( pb___ClockArmedTimers(), 0 ) << "round " << round;
        ASSERT_EQ( threadsSettled( threadCount ), threadCount ) << "round " << round;
        // The first round makes the objects that stay for the whole process: OpenSSL's tables and
        // fetched algorithms. In the second round the loader finds libraries under their plain
        // names that it had loaded by their paths, and keeps those too.
        if( round < 2 )
            memory = memoryInUse();
        if( !sanitized )
        {
            ASSERT_EQ( memoryInUse(), memory ) << "round " << round;
        }
    }
    if( sanitized )
        GTEST_SKIP() << "memory in use is not measured: the sanitizer has its own allocator";
}

TEST_F( Runtime, CallsEveryHookOfALoadedModule )
{
    ASSERT_TRUE( start( { "frame_plain" } ) ) << startError();
    PB_INT *calls = (PB_INT *)dlsym( dlopen( fileOf( "frame_plain" ).c_str(), RTLD_NOW | RTLD_NOLOAD ), "frame_plainCalls" );
    ASSERT_NE( calls, nullptr );
    std::vector<PB_INT> before( calls, calls + 3 );
    pbRuntimeStop();
    EXPECT_EQ( std::vector<PB_INT>( calls, calls + 3 ), ( std::vector<PB_INT>{ before[0], before[1] + 1, before[2] + 1 } ) );
    ASSERT_TRUE( start( { "frame_plain" } ) ) << startError();
    EXPECT_EQ( std::vector<PB_INT>( calls, calls + 3 ), ( std::vector<PB_INT>{ before[0] + 1, before[1] + 1, before[2] + 1 } ) );
}

TEST_F( Runtime, FindsAModuleBesideTheBaseLibrary )
{
    ASSERT_TRUE( start( { "frame_beside" } ) ) << startError();
    Dl_info info;
    ASSERT_NE( dladdr( events.back().module, &info ), 0 );
    EXPECT_EQ( info.dli_fname, FRAME_LIBRARIES "/" + fileOf( "frame_beside" ) );
    EXPECT_EQ( namesOf( "startup" ), ( Names{ "pb", "frame_beside" } ) );
}

TEST_F( Runtime, StartsAModuleOfTheHost )
{
    pbRuntimeRegisterModule( &hostModule );
    pbRuntimeRegisterModule( &hostModule );
    hostCalls.clear();
    ASSERT_TRUE( start( { "frame_host" } ) ) << startError();
    EXPECT_EQ( namesOf( "startup" ), ( Names{ "pb", "frame_plain", "frame_host" } ) );
    EXPECT_EQ( hostCalls, ( Names{ "startup" } ) );
    pbRuntimeStop();
    EXPECT_EQ( hostCalls, ( Names{ "startup", "halt", "fourth", "shutdown" } ) );
}

TEST_F( Runtime, PrefersAModuleOfTheHostToALibrary )
{
    pbRuntimeRegisterModule( &inPlaceModule );
    ASSERT_TRUE( start( { "frame_replaced" } ) ) << startError();
    EXPECT_EQ( events.back().module, &inPlaceModule );
}

TEST_F( Runtime, RefusesAModuleThatIsMissing )
{
    expectRefused( { "frame_missing" },
        "module 'frame_missing' cannot be loaded: " + fileOf( "frame_missing" ) + ": cannot open shared object file: No such file or directory" );
}

TEST_F( Runtime, RefusesADependencyThatIsMissing )
{
    expectRefused( { "frame_plain", "frame_orphan" },
        "module 'frame_absent' (needed by 'frame_orphan') cannot be loaded: " + fileOf( "frame_absent" ) +
            ": cannot open shared object file: No such file or directory" );
}

TEST_F( Runtime, TellsWhyALibraryBesideItDoesNotLoad )
{
    EXPECT_FALSE( start( { "frame_damaged" } ) );
    std::string error = startError();
    EXPECT_TRUE( error.starts_with( "module 'frame_damaged' cannot be loaded: " FRAME_LIBRARIES "/" + fileOf( "frame_damaged" ) + ": " ) ) << error;
    EXPECT_TRUE( error.ends_with( "invalid ELF header" ) ) << error;
    expectNothingStarted();
}

TEST_F( Runtime, RefusesWhatIsNoModuleName )
{
    expectRefused( { "../cry" }, "'../cry' is not a module name" );
    expectRefused( { "" }, "'' is not a module name" );
    expectRefused( { "Cry" }, "'Cry' is not a module name" );
}

TEST_F( Runtime, RefusesALibraryWithoutAModuleObject )
{
    expectRefused(
        { "frame_silent" }, "module 'frame_silent' exports no module object: " + fileOf( "frame_silent" ) + " has no function frame_silentModule" );
    expectRefused( { "frame_null" }, "module 'frame_null' exports no module object: frame_nullModule() gives null" );
}

TEST_F( Runtime, RefusesAModuleThatDependsOnItself ) { expectRefused( { "frame_self" }, "modules depend on themselves: frame_self -> frame_self" ); }

TEST_F( Runtime, RefusesACycle )
{
    expectRefused( { "frame_ping" }, "modules depend on themselves: frame_ping -> frame_pong -> frame_ping" );
    expectRefused( { "frame_plain", "frame_pong" }, "modules depend on themselves: frame_pong -> frame_ping -> frame_pong" );
}

TEST_F( Runtime, RefusesAnUnknownRecordFormat )
{
    expectRefused( { "frame_format" }, "module 'frame_format' has a record of format 3, this runtime knows 2" );
}

TEST_F( Runtime, RefusesALibraryThatHoldsAnotherModule )
{
    expectRefused( { "frame_alias" }, "the library of module 'frame_alias' holds module 'frame_other'" );
}

TEST_F( Runtime, StopsAgainWhatHadStartedWhenAModuleRefuses )
{
    EXPECT_FALSE( start( { "frame_refuses" } ) );
    EXPECT_EQ( story(),
        ( Names{ "startup pb", "startup frame_plain", "startup frame_refuses", "halt frame_plain", "halt pb", "fourth frame_plain", "fourth pb",
            "shutdown frame_plain", "shutdown pb" } ) );
    EXPECT_EQ( startError(), "module 'frame_refuses' refused to start" );
    expectNothingStarted();
}

TEST_F( Runtime, StartsNothingWhenAnyOfTheModulesCannotBeUsed )
{
    EXPECT_FALSE( start( { "cry", "frame_missing" } ) );
    EXPECT_EQ( story(), Names{} );
}

TEST_F( Runtime, RefusesASecondCopyOfAModule )
{
    ASSERT_NE( dlopen( FRAME_FIRST_COPY, RTLD_NOW ), nullptr ) << dlerror();
    ASSERT_NE( dlopen( FRAME_SECOND_COPY, RTLD_NOW ), nullptr ) << dlerror();
    expectRefused( { "frame_twice" }, "module 'frame_twice' is in the process twice: " FRAME_FIRST_COPY " and " FRAME_SECOND_COPY );
}

TEST_F( Runtime, RefusesAModuleNameWithAZeroCharacter )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    pbRuntimeOptionsAppendModuleCstr( options.handle(), "frame_plain\0frame_other", 23 );
    EXPECT_FALSE( pbRuntimeStart( options.get() ) );
    EXPECT_EQ( startError(), "a module name has U+0000 in it" );
    expectNothingStarted();
}

TEST_F( Runtime, AnyThreadMayAskWhetherItIsStarted )
{
    std::atomic<bool> end{ false };
    std::thread       asking( [&] {
        while( !end )
            pbRuntimeStarted();
    } );
    for( int round = 0; round < 20; round++ )
    {
        EXPECT_TRUE( start( { "frame_plain" } ) ) << startError();
        EXPECT_TRUE( pbRuntimeStarted() );
        pbRuntimeStop();
        EXPECT_FALSE( pbRuntimeStarted() );
    }
    end = true;
    asking.join();
}

TEST_F( Runtime, ObjectsOutliveAStopAndAreUsedAfterTheNextStart )
{
    ASSERT_TRUE( start( { "cry" } ) ) << startError();
    PB_INT before = pbObjLiveCount();
    {
        pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
        pbStoreSetIntValueCstr( store.handle(), "number", -1, 5 );
        pb::Ref<PB_DICT> dict = pb::adopt( pbDictCreate() );
        pbDictSetStringKey( dict.handle(), str( "key" ).get(), str( "value" ).obj() );
        pb::Ref<PB_ENUM> enumeration = pb::adopt( pbEnumCreate() );
        pbEnumSetEnumerantCstr( enumeration.handle(), "name", -1, 7 );
        pb::Ref<PB_BYTE_SOURCE>   source = pb::adopt( pbBufferByteSourceCreate( buf( "abc" ).get() ) );
        pb::Ref<PB_TIME>          time   = pb::adopt( pbTimeCreate( 2026, 7, 21, 13, 1, 14, 0 ) );
        pb::Ref<CRY_HASH>         hash   = pb::adopt( cryHashTryCreate( CRY_HASH_ALGORITHM_SHA2_256 ) );
        pb::Ref<CRY_PKEY_PRIVATE> key    = pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) );
        pb::Ref<CRY_UUID>         uuid   = pb::adopt( cryUuidNamespaceDns() );
        ASSERT_TRUE( key );
        pb::Ref<CRY_PEM>   pem    = pb::adopt( cryPkeyPrivatePem( key.get() ) );
        pb::Ref<PB_BUFFER> read   = buf( "" );
        std::string        digits = text( pb::adopt( cryUuidToString( uuid.get() ) ) );
        pb::Ref<PB_VECTOR> all    = vec( { "text" } );
        for( PB_OBJ *obj : { store.obj(), dict.obj(), enumeration.obj(), source.obj(), time.obj(), hash.obj(), key.obj(), pem.obj(), uuid.obj() } )
            pbVectorAppendObj( all.handle(), obj );
        std::string abc = "abc";
        for( char each : abc )
        {
            cryHashUpdateByte( hash.get(), (PB_BYTE)each );
            EXPECT_EQ( pbByteSourceRead( source.get(), read.handle(), 1 ), 1 );
            pbRuntimeStop();
            // Objects can also be used while the runtime is stopped.
            EXPECT_TRUE( pbVectorEquals( all.get(), pb::adopt( pbVectorCreateFrom( all.get() ) ).get() ) );
            ASSERT_TRUE( start( { "cry" } ) ) << startError();

            PB_INT number = 0;
            EXPECT_TRUE( pbStoreIntValueCstr( store.get(), "number", -1, &number ) );
            EXPECT_EQ( number, 5 );
            EXPECT_TRUE( pbDictHasStringKey( dict.get(), str( "key" ).get() ) );
            EXPECT_EQ( pbEnumParse( enumeration.get(), str( "name" ).get() ), 7 );
            EXPECT_EQ( text( pb::adopt( pbTimeToString( time.get() ) ) ), "2026-07-21T13:01:14Z" );
            EXPECT_EQ( text( pb::adopt( cryUuidToString( uuid.get() ) ) ), digits );
            // The PEM parses again, to the same key.
            EXPECT_TRUE( cryPkeyPrivateEquals( pb::adopt( cryPkeyPrivateTryCreateFromPem( pem.get() ) ).get(), key.get() ) );
            EXPECT_EQ( text( pbStringFrom( pb___VectorPeekObjAt( all.get(), 0 ) ) ), "text" );
        }
        EXPECT_EQ( bytes( read ), abc );
        EXPECT_EQ( hex( bytes( pb::adopt( cryHashFinal( hash.get() ) ) ) ), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad" );
    }
    EXPECT_EQ( pbObjLiveCount(), before );
}

using RuntimeDeathTest = Runtime;

TEST_F( RuntimeDeathTest, StartOfAStartedRuntimeAborts )
{
    ASSERT_TRUE( start( { "frame_plain" } ) ) << startError();
    EXPECT_DEATH( start( { "frame_plain" } ), "abort: source/pb/runtime/pb_runtime.cpp:[0-9]+: !started\n" );
}

TEST_F( RuntimeDeathTest, StopOfAStoppedRuntimeAborts )
{
    EXPECT_DEATH( pbRuntimeStop(), "abort: source/pb/runtime/pb_runtime.cpp:[0-9]+: started\n" );
}

TEST_F( RuntimeDeathTest, NullsAbort )
{
    EXPECT_DEATH( pbRuntimeStart( nullptr ), "abort: source/pb/runtime/pb_runtime.cpp:[0-9]+: options\n" );
    EXPECT_DEATH( pbRuntimeRegisterModule( nullptr ), "abort: source/pb/runtime/pb_runtime.cpp:[0-9]+: module\n" );
}

// This holds under any name, and for any module object that its function gives.
TEST_F( RuntimeDeathTest, ASecondCopyOfTheBaseLibraryIsRefused )
{
    EXPECT_EXIT( ( dlopen( FRAME_SECOND_BASE, RTLD_NOW ), exitRefused( { "frame_plain" } ) ), testing::ExitedWithCode( 0 ),
        "module 'pb' is in the process twice: " FRAME_LIBRARIES "/libpb.so.[0-9.]* and " FRAME_SECOND_BASE "\n" );
}

TEST_F( RuntimeDeathTest, AModuleOfTheHostIsRefusedIfTheProcessHasLoadedOneOfItsName )
{
    EXPECT_EXIT( ( dlopen( fileOf( "frame_plain" ).c_str(), RTLD_NOW ), pbRuntimeRegisterModule( &samePlain ), exitRefused( { "frame_plain" } ) ),
        testing::ExitedWithCode( 0 ), "module 'frame_plain' is registered, but another one is loaded from .*/libframe_plain.so.*\n" );
    EXPECT_EXIT( ( pbRuntimeRegisterModule( &sameBase ), exitRefused( { "frame_plain" } ) ), testing::ExitedWithCode( 0 ),
        "module 'pb' is registered, but there is another one of this name\n" );
}

TEST_F( RuntimeDeathTest, AModuleOfTheHostIsRefusedIfTheRuntimeHasLoadedOneOfItsName )
{
    EXPECT_EXIT( ( start( { "frame_plain" } ), pbRuntimeStop(), pbRuntimeRegisterModule( &samePlain ), exitRefused( { "frame_plain" } ) ),
        testing::ExitedWithCode( 0 ), "module 'frame_plain' is registered, but another one is loaded from .*/libframe_plain.so.*\n" );
}

TEST_F( RuntimeDeathTest, TwoModulesOfTheHostWithOneNameAreRefused )
{
    EXPECT_EXIT( ( pbRuntimeRegisterModule( &samePlain ), pbRuntimeRegisterModule( &samePlainAgain ), exitRefused( { "frame_plain" } ) ),
        testing::ExitedWithCode( 0 ), "module 'frame_plain' is registered, but there is another one of this name\n" );
}

// The library of the registered module does not count as another module.
TEST_F( RuntimeDeathTest, AModuleOfALoadedLibraryMayBeRegistered )
{
    EXPECT_EXIT( ( pbRuntimeRegisterModule( cryModule() ), pbRuntimeRegisterModule( pbModule() ), _exit( !start( { "cry" } ) ) ),
        testing::ExitedWithCode( 0 ), "" );
}
