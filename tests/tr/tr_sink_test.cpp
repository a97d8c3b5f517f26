#include <tr/tr_sink.h>

#include <pb/locks.hpp>

#include "support/environment.hpp"
#include "support/files.hpp"
#include "tr/traces.hpp"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <sys/stat.h>
#include <thread>

using namespace support;
using traces::Attached;
using traces::head;
using traces::with;
using Json = nlohmann::ordered_json;

namespace
{

void say( const pb::Ref<TR_STREAM> &stream, PB_INT number ) { trStreamTextFormatCstr( stream.get(), "%i", -1, number ); }

// The numbers that say() traced.
std::vector<int> numbersOf( PB_VECTOR *newReference )
{
    std::vector<int> numbers;
    for( const Json &event : traces::events( newReference ) )
        numbers.push_back( std::stoi( event.at( "text" ).get<std::string>() ) );
    return numbers;
}

pb::Ref<PB_TIME> timeOf( PB_STORE *event )
{
    return pb::adopt( pbTimeTryCreateFromString( pb::adopt( pbStoreValueCstr( event, "time", -1 ) ).get() ) );
}

// The lines of a text, each parsed.
std::vector<Json> linesOf( const std::string &text )
{
    std::vector<Json> lines;
    size_t            from = 0;
    for( size_t to; ( to = text.find( '\n', from ) ) != text.npos; from = to + 1 )
        lines.push_back( traces::withoutTime( Json::parse( text.substr( from, to - from ) ) ) );
    EXPECT_EQ( from, text.size() ) << "the last line has no end";
    return lines;
}

// Takes the text of a sink for JSON Lines. It can make the sink wait, and it can fail.
class Taker
{
public:
    static PB_BOOL write( void *context, const char *text, PB_INT length )
    {
        auto            *taker = static_cast<Taker *>( context );
        std::unique_lock hold( taker->mutex );
        taker->calls++;
        taker->changed.notify_all();
        taker->changed.wait( hold, [&] { return !taker->holds; } );
        if( taker->fails )
            return PB_FALSE;
        taker->taken.append( text, (size_t)length );
        return PB_TRUE;
    }

    void hold() { set( &Taker::holds, true ); }
    void letGo() { set( &Taker::holds, false ); }
    void setFails( bool value ) { set( &Taker::fails, value ); }
    void waitForCalls( int count )
    {
        std::unique_lock hold( mutex );
        changed.wait( hold, [&] { return calls >= count; } );
    }
    std::string text()
    {
        std::unique_lock hold( mutex );
        return taken;
    }
    int callCount()
    {
        std::unique_lock hold( mutex );
        return calls;
    }

private:
    void set( bool Taker::*flag, bool value )
    {
        std::unique_lock hold( mutex );
        this->*flag = value;
        changed.notify_all();
    }

    std::mutex              mutex;
    std::condition_variable changed;
    std::string             taken;
    int                     calls = 0;
    bool                    holds = false;
    bool                    fails = false;
};

}

TEST( TrSink, MemoryKeepsAllEvents )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateMemory() );
    for( PB_INT number = 0; number < 1000; number++ )
        say( stream, number );
    std::vector<int> wanted( 1000 );
    for( int number = 0; number < 1000; number++ )
        wanted[(size_t)number] = number;
    EXPECT_EQ( numbersOf( trSinkEvents( sink.get() ) ), wanted );
    EXPECT_EQ( numbersOf( trSinkTakeEvents( sink.get() ) ), wanted );
    EXPECT_EQ( numbersOf( trSinkEvents( sink.get() ) ), std::vector<int>() );
    say( stream, 5 );
    EXPECT_EQ( numbersOf( trSinkTakeEvents( sink.get() ) ), std::vector<int>{ 5 } );
    EXPECT_EQ( trSinkDropped( sink.get() ), 0 );
}

TEST( TrSink, ARingKeepsTheLastEventsAndCountsTheOthers )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           one( trSinkCreateRing( 1 ) );
    Attached           three( trSinkCreateRing( 3 ) );
    for( PB_INT number = 1; number <= 3; number++ )
        say( stream, number );
    EXPECT_EQ( numbersOf( trSinkEvents( three.get() ) ), ( std::vector<int>{ 1, 2, 3 } ) );
    EXPECT_EQ( trSinkDropped( three.get() ), 0 );
    for( PB_INT number = 4; number <= 8; number++ )
        say( stream, number );
    EXPECT_EQ( numbersOf( trSinkEvents( three.get() ) ), ( std::vector<int>{ 6, 7, 8 } ) );
    EXPECT_EQ( trSinkDropped( three.get() ), 5 );
    EXPECT_EQ( numbersOf( trSinkTakeEvents( one.get() ) ), ( std::vector<int>{ 8 } ) );
    EXPECT_EQ( trSinkDropped( one.get() ), 7 );
    // A drained ring has room again.
    EXPECT_EQ( numbersOf( trSinkTakeEvents( three.get() ) ), ( std::vector<int>{ 6, 7, 8 } ) );
    say( stream, 9 );
    EXPECT_EQ( numbersOf( trSinkTakeEvents( three.get() ) ), ( std::vector<int>{ 9 } ) );
    EXPECT_EQ( trSinkDropped( three.get() ), 5 );
}

TEST( TrSink, AnEventHasTheTimeOfItsTrace )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateMemory() );
    pb___ClockSetManual( PB_TRUE );
    pb::Ref<PB_TIME> first = pb::adopt( pbTimeNow() );
    say( stream, 1 );
    pb___ClockAdvance( 90'000 );
    pb::Ref<PB_TIME> second = pb::adopt( pbTimeNow() );
    say( stream, 2 );
    pb___ClockSetManual( PB_FALSE );
    pb::Ref<PB_VECTOR> events = pb::adopt( trSinkEvents( sink.get() ) );
    EXPECT_TRUE( pbTimeEquals( timeOf( pb::peekAt<PB_STORE>( events.get(), 0 ) ).get(), first.get() ) );
    EXPECT_TRUE( pbTimeEquals( timeOf( pb::peekAt<PB_STORE>( events.get(), 1 ) ).get(), second.get() ) );
}

TEST( TrSink, EventsAreNotShownToChange )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           a( trSinkCreateMemory() );
    Attached           b( trSinkCreateMemory() );
    say( stream, 1 );
    pb::Ref<PB_VECTOR> events = pb::adopt( trSinkEvents( a.get() ) );
    pb::Ref<PB_STORE>  event  = pb::adopt( pbStoreFrom( pbVectorObjAt( events.get(), 0 ) ) );
    pbStoreDelCstr( event.handle(), "text", -1 );
    EXPECT_EQ( numbersOf( trSinkEvents( a.get() ) ), std::vector<int>{ 1 } );
    EXPECT_EQ( numbersOf( trSinkEvents( b.get() ) ), std::vector<int>{ 1 } );
}

TEST( TrSink, GetsEventsWhileItIsAttached )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<TR_SINK>   sink   = pb::adopt( trSinkCreateMemory() );
    Attached           other( trSinkCreateMemory() );
    trSinkDetach( sink.get() );
    say( stream, 1 );
    EXPECT_TRUE( trSinkAttach( sink.get() ) );
    EXPECT_TRUE( trSinkAttach( sink.get() ) );
    say( stream, 2 );
    trSinkDetach( sink.get() );
    say( stream, 3 );
    EXPECT_EQ( numbersOf( trSinkEvents( sink.get() ) ), std::vector<int>{ 2 } );
    EXPECT_TRUE( trSinkAttach( sink.get() ) );
    say( stream, 4 );
    trSinkDetach( sink.get() );
    EXPECT_EQ( numbersOf( trSinkEvents( sink.get() ) ), ( std::vector<int>{ 2, 4 } ) );
    EXPECT_EQ( numbersOf( trSinkEvents( other.get() ) ), ( std::vector<int>{ 1, 2, 3, 4 } ) );
    EXPECT_FALSE( pbObjIsShared( sink.obj() ) );
}

TEST( TrSink, AtMostSixteenAreAttached )
{
    pb::Ref<TR_STREAM>            stream = traces::stream();
    std::vector<pb::Ref<TR_SINK>> sinks;
    Taker                         taker;
    for( PB_INT index = 0; index < TR_SINKS_MAX; index++ )
    {
        sinks.push_back( pb::adopt( trSinkCreateRing( 1 ) ) );
        EXPECT_TRUE( trSinkAttach( sinks.back().get() ) );
    }
    pb::Ref<TR_SINK> more  = pb::adopt( trSinkCreateRing( 1 ) );
    pb::Ref<TR_SINK> lines = pb::adopt( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );
    EXPECT_FALSE( trSinkAttach( more.get() ) );
    EXPECT_FALSE( trSinkAttach( lines.get() ) );
    EXPECT_TRUE( trSinkAttach( sinks.back().get() ) );
    say( stream, 1 );
    say( stream, 2 );
    for( const pb::Ref<TR_SINK> &sink : sinks )
        EXPECT_EQ( numbersOf( trSinkEvents( sink.get() ) ), std::vector<int>{ 2 } );
    trSinkDetach( sinks.front().get() );
    EXPECT_TRUE( trSinkAttach( more.get() ) );
    trSinkDetach( more.get() );
    for( const pb::Ref<TR_SINK> &sink : sinks )
        trSinkDetach( sink.get() );
    EXPECT_FALSE( pbObjIsShared( lines.obj() ) );
    EXPECT_EQ( taker.callCount(), 0 );
}

TEST( TrSink, TracesAreTakenUnderAMonitor )
{
    pb::Ref<TR_STREAM>  stream  = traces::stream();
    pb::Ref<PB_MONITOR> monitor = pb::adopt( pbMonitorCreate() );
    Attached            ring( trSinkCreateRing( 1 ) );
    {
        pb::InMonitor inside( monitor.get() );
        for( PB_INT number = 0; number < 3; number++ )
            say( stream, number );
    }
    EXPECT_EQ( numbersOf( trSinkEvents( ring.get() ) ), std::vector<int>{ 2 } );
}

TEST( TrSink, WritesEachEventAsALineOfJson )
{
    TemporaryFolder    folder;
    std::string        path   = folder.path.string() + "/traces.jsonl";
    pb::Ref<TR_STREAM> stream = traces::stream( "A \"NAME\"\n\u00FC" );
    pb::Ref<PB_STORE>  inner  = pb::adopt( pbStoreCreateArray() );
    pbStoreAppendValue( inner.handle(), str( "  two blanks\n  and a line" ).get() );
    pbStoreAppendValueNull( inner.handle() );
    pbStoreAppendStore( inner.handle(), pb::adopt( pbStoreCreate() ).get() );
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() );
    pbStoreSetStoreCstr( store.handle(), "in\nner", -1, inner.get() );
    pbStoreSetIntValueCstr( store.handle(), "min", -1, PB_INT_MIN );
    Json value = { { "in\nner", { "  two blanks\n  and a line", nullptr, Json::object() } }, { "min", PB_INT_MIN } };
    {
        Attached sink( trSinkTryCreateJsonLines( str( path ).get() ) );
        trStreamTextCstr( stream.get(), "\x01\x1F\x7F \\ / \u2028 \U0001F600", -1 );
        trStreamSetPropertyCstrStore( stream.get(), "p", -1, store.get() );
        EXPECT_EQ( pbVectorLength( pb::adopt( trSinkEvents( sink.get() ) ).get() ), 0 );
        EXPECT_EQ( pbVectorLength( pb::adopt( trSinkTakeEvents( sink.get() ) ).get() ), 0 );
    }
    std::vector<Json> wanted = { with( head( stream, "text" ), { { "text", "\x01\x1F\x7F \\ / \u2028 \U0001F600" } } ),
        with( head( stream, "property" ), { { "key", "p" }, { "value", value } } ) };
    EXPECT_EQ( linesOf( read( path ) ), wanted );
    struct stat facts;
    ASSERT_EQ( stat( path.c_str(), &facts ), 0 );
    EXPECT_EQ( facts.st_mode & 0777, 0600u );

    // A second sink goes on behind the first.
    {
        Attached sink( trSinkTryCreateJsonLines( str( path ).get() ) );
        trStreamSetNotable( stream.get() );
    }
    wanted.push_back( head( stream, "notable" ) );
    EXPECT_EQ( linesOf( read( path ) ), wanted );
}

TEST( TrSink, WritesToRegularFilesOnly )
{
    TemporaryFolder folder;
    std::string     pipe = folder.path.string() + "/pipe";
    ASSERT_EQ( mkfifo( pipe.c_str(), 0600 ), 0 );
    for( const std::string &path : { folder.path.string(), folder.path.string() + "/missing/file", pipe, std::string( "/dev/null" ), std::string() } )
        EXPECT_EQ( trSinkTryCreateJsonLines( str( path ).get() ), nullptr ) << path;
    EXPECT_EQ( trSinkTryCreateJsonLines( str( std::string_view( "/tmp/a\0b", 8 ) ).get() ), nullptr );
}

TEST( TrSink, ABackgroundProcessWritesTheLines )
{
    Taker              taker;
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );
    say( stream, 1 );
    taker.waitForCalls( 1 );
    say( stream, 2 );
    taker.waitForCalls( 2 );
    trSinkFlush( sink.get() );
    EXPECT_EQ( linesOf( taker.text() ),
        ( std::vector<Json>{ with( head( stream, "text" ), { { "text", "1" } } ), with( head( stream, "text" ), { { "text", "2" } } ) } ) );
}

TEST( TrSink, ATraceDoesNotWaitForASlowWriterAndSaysWhatItDropped )
{
    Taker              taker;
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );
    taker.hold();
    say( stream, 0 );
    taker.waitForCalls( 1 );

    // The writer waits, so these fill the memory.
    std::string long_( 100'000, 'x' );
    for( int index = 0; index < 20; index++ )
        trStreamTextCstr( stream.get(), long_.c_str(), -1 );
    EXPECT_EQ( trSinkDropped( sink.get() ), 10 );
    // A short one still has room.
    say( stream, 1 );
    EXPECT_EQ( trSinkDropped( sink.get() ), 10 );
    taker.letGo();
    trSinkFlush( sink.get() );
    std::vector<Json> lines = linesOf( taker.text() );
    ASSERT_EQ( lines.size(), 13u );
    EXPECT_EQ( lines[0].at( "text" ), "0" );
    EXPECT_EQ( lines[10].at( "text" ), long_ );
    EXPECT_EQ( lines[11].at( "text" ), "1" );
    EXPECT_EQ( lines[12], ( Json{ { "event", "dropped" }, { "count", 10 } } ) );

    // Told once.
    say( stream, 2 );
    trSinkFlush( sink.get() );
    EXPECT_EQ( linesOf( taker.text() ).size(), 14u );
    EXPECT_EQ( trSinkDropped( sink.get() ), 10 );
}

TEST( TrSink, DropsALineThatIsLongerThanItsMemory )
{
    Taker              taker;
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );
    std::string        tooLong( (size_t)TR_SINK_PENDING_MAX, 'x' );
    trStreamTextCstr( stream.get(), tooLong.c_str(), -1 );
    EXPECT_EQ( trSinkDropped( sink.get() ), 1 );
    trSinkFlush( sink.get() );
    EXPECT_EQ( linesOf( taker.text() ), ( std::vector<Json>{ { { "event", "dropped" }, { "count", 1 } } } ) );
}

TEST( TrSink, CountsTheLinesThatCannotBeWritten )
{
    Taker              taker;
    pb::Ref<TR_STREAM> stream = traces::stream();
    Attached           sink( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );
    taker.setFails( true );
    for( PB_INT number = 0; number < 3; number++ )
        say( stream, number );
    trSinkFlush( sink.get() );
    EXPECT_EQ( trSinkDropped( sink.get() ), 3 );
    taker.setFails( false );
    trSinkFlush( sink.get() );
    say( stream, 3 );
    trSinkFlush( sink.get() );
    EXPECT_EQ( linesOf( taker.text() ),
        ( std::vector<Json>{ { { "event", "dropped" }, { "count", 3 } }, with( head( stream, "text" ), { { "text", "3" } } ) } ) );
}

TEST( TrSink, CallsItsWriterNoMoreAfterTheDetachment )
{
    pb::Ref<TR_STREAM> stream = traces::stream();
    for( int round = 0; round < 50; round++ )
    {
        Taker            taker;
        pb::Ref<TR_SINK> sink = pb::adopt( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );
        ASSERT_TRUE( trSinkAttach( sink.get() ) );
        for( PB_INT number = 0; number < 10; number++ )
            say( stream, number );
        trSinkDetach( sink.get() );
        int calls = taker.callCount();
        EXPECT_EQ( linesOf( taker.text() ).size(), 10u );
        std::this_thread::yield();
        EXPECT_EQ( taker.callCount(), calls );
    }
}

TEST( TrSink, ManyThreadsTraceIntoAllSinks )
{
    constexpr int threads = 4, each = 500;
    Taker         taker;
    Attached      memory( trSinkCreateMemory() );
    Attached      ring( trSinkCreateRing( 100 ) );
    Attached      lines( trSinkCreateJsonLinesWriter( Taker::write, &taker ) );

    std::vector<pb::Ref<TR_STREAM>> streams;
    for( int index = 0; index < threads; index++ )
        streams.push_back( traces::stream() );
    std::atomic<bool> over = false;
    // Sinks come and go meanwhile, and the ring is drained.
    PB_INT       drained = 0;
    std::jthread restless( [&] {
        while( !over )
        {
            Attached passing( trSinkCreateRing( 7 ) );
            drained += pbVectorLength( pb::adopt( trSinkTakeEvents( ring.get() ) ).get() );
            pb::adopt( trSinkEvents( memory.get() ) );
        }
    } );
    {
        std::vector<std::jthread> working;
        for( int index = 0; index < threads; index++ )
        {
            working.emplace_back( [&, index] {
                for( PB_INT number = 0; number < each; number++ )
                    say( streams[(size_t)index], number );
            } );
        }
    }
    over = true;
    restless.join();
    trSinkFlush( lines.get() );
    drained += pbVectorLength( pb::adopt( trSinkTakeEvents( ring.get() ) ).get() );
    EXPECT_EQ( drained + trSinkDropped( ring.get() ), threads * each );
    EXPECT_EQ( trSinkDropped( lines.get() ), 0 );

    auto check = [&]( const std::vector<Json> &events ) {
        EXPECT_EQ( events.size(), (size_t)( threads * each ) );
        std::vector<int> next( threads );
        for( const Json &event : events )
        {
            size_t index = (size_t)( event.at( "stream" ).get<PB_INT>() - trStreamNumber( streams[0].get() ) );
            ASSERT_EQ( event.at( "text" ), std::to_string( next.at( index )++ ) );
        }
    };
    check( traces::events( memory ) );
    check( linesOf( taker.text() ) );
}

TEST( TrSink, TheStopDetachesAllAndWritesWhatIsLeft )
{
    TemporaryFolder    folder;
    std::string        path   = folder.path.string() + "/traces.jsonl";
    pb::Ref<TR_STREAM> stream = traces::stream();
    pb::Ref<TR_ANCHOR> anchor = pb::adopt( trAnchorCreate( stream.get(), 9 ) );
    pb::Ref<TR_SINK>   memory = pb::adopt( trSinkCreateMemory() );
    pb::Ref<TR_SINK>   file   = pb::adopt( trSinkTryCreateJsonLines( str( path ).get() ) );
    EXPECT_TRUE( trSinkAttach( memory.get() ) );
    EXPECT_TRUE( trSinkAttach( file.get() ) );
    // A run that is still waiting when the stop begins is traced, too.
    struct Late
    {
        static void run( PB_OBJ *obj ) { trStreamTextCstr( trStreamFrom( obj ), "late", -1 ); }
    };
    pb::Ref<PB_PROCESS> late = pb::adopt( pbProcessCreateCstr( Late::run, stream.obj(), "late", -1, PB_PROCESS_CLASS_ORDINARY ) );
    // Called when all modules but this one, which depend on it, have been shut down.
    static TR_STREAM  *observed;
    static PB_PROCESS *scheduled;
    observed  = stream.get();
    scheduled = late.get();
    pb___RuntimeSetObserver( []( const char *hook, const PB_MODULE *module ) {
        if( module == trModule() && std::string_view( hook ) == "halt" )
            pbProcessSchedule( scheduled );
        if( module == trModule() && std::string_view( hook ) == "shutdown" )
            trStreamTextCstr( observed, "shutdown", -1 );
    } );
    trStreamTextCstr( stream.get(), "early", -1 );
    pbRuntimeStop();
    pb___RuntimeSetObserver( nullptr );

    EXPECT_FALSE( trStreamActive( stream.get() ) );
    EXPECT_FALSE( pbObjIsShared( memory.obj() ) );
    EXPECT_FALSE( pbObjIsShared( file.obj() ) );
    trStreamTextCstr( stream.get(), "after", -1 );
    trStreamSetNotable( stream.get() );
    trAnchorComplete( anchor.get(), stream.get() );
    EXPECT_FALSE( trSinkAttach( memory.get() ) );
    EXPECT_FALSE( trSinkAttach( file.get() ) );
    EXPECT_FALSE( pbObjIsShared( file.obj() ) );
    std::vector<Json> wanted;
    for( const char *text : { "early", "late", "shutdown" } )
        wanted.push_back( with( head( stream, "text" ), { { "text", text } } ) );
    EXPECT_EQ( traces::events( trSinkEvents( memory.get() ) ), wanted );
    EXPECT_EQ( linesOf( read( path ) ), wanted );

    startFamily();
    EXPECT_TRUE( trSinkAttach( memory.get() ) );
    EXPECT_TRUE( trStreamActive( stream.get() ) );
    trSinkDetach( memory.get() );
}

TEST( TrSink, AHundredStartsAndStopsLeaveNothing )
{
    Taker taker;
    pbRuntimeStop();
    PB_INT before = 0;
    for( int round = 0; round <= 100; round++ )
    {
        pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
        pbRuntimeOptionsAppendModuleCstr( options.handle(), "tr", -1 );
        ASSERT_TRUE( pbRuntimeStart( options.get() ) );
        pb::Ref<TR_STREAM> stream = traces::stream();
        for( TR_SINK *made : { trSinkCreateMemory(), trSinkCreateRing( 2 ), trSinkCreateJsonLinesWriter( Taker::write, &taker ) } )
            EXPECT_TRUE( trSinkAttach( pb::adopt( made ).get() ) );
        for( PB_INT number = 0; number < 4; number++ )
            say( stream, number );
        pbRuntimeStop();
        stream  = {};
        options = {};
        if( round == 0 )
            before = pbObjLiveCount();
    }
    EXPECT_EQ( pbObjLiveCount(), before );
    EXPECT_EQ( linesOf( taker.text() ).size(), 404u );
    startFamily();
}
