#include <cry/cry.h>
#include <cry/internal/cry_x509_stack_imp.h>
#include <cry/internal/cry_x509_system.h>
#include <pb/pb.h>
#include <pb/pb_locks.h>
#include <pb/pb_runtime.h>
#include <pb/pb_timer.h>
#include <pb/ref.hpp>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>

namespace
{

void handler( const char *context, const char *file, PB_INT line, const char *expression )
{
    std::fprintf( stderr, "handler: %s %s %lld %s\n", context ? context : "(null)", file, (long long)line, expression );
}

void flush() { std::fprintf( stderr, "flush\n" ); }

// While it is set, the C library gives no aligned memory. Tickets for the workers need some.
bool noAlignedMemory = false;

PB_MONITOR *monitor = nullptr;

void startRuntime()
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    if( !pbRuntimeStart( options.get() ) )
        _exit( 1 );
    monitor = pbMonitorCreate();
}

PB_PROCESS *processOf( PB_PROCESS_FUNCTION function ) { return pbProcessCreateCstr( function, nullptr, "test", -1, PB_PROCESS_CLASS_ORDINARY ); }

// Schedules one run on a worker, and waits until it has ended.
void runOnWorker( PB_PROCESS_FUNCTION function )
{
    startRuntime();
    pbProcessSchedule( processOf( function ) );
    pbRuntimeStop();
}

}

extern "C" void *aligned_alloc( size_t alignment, size_t size )
{
    void *memory = nullptr;
    return noAlignedMemory || posix_memalign( &memory, alignment, size ) != 0 ? nullptr : memory;
}

TEST( AbortDeathTest, WritesOneLineAndEndsTheProcess )
{
    EXPECT_EXIT(
        pb___Abort( nullptr, "source/x/y.cpp", 12, "value >= 0" ), testing::KilledBySignal( SIGABRT ), "^abort: source/x/y.cpp:12: value >= 0\n$" );
}

TEST( AbortDeathTest, NamesTheStandardFunction )
{
    EXPECT_EXIT( pb___Abort( "stdfunc retain", "source/x/y.cpp", 12, "obj" ), testing::KilledBySignal( SIGABRT ),
        "^abort: stdfunc retain: source/x/y.cpp:12: obj\n$" );
}

TEST( AbortDeathTest, CallsTheHandlerThenWritesThenFlushes )
{
    EXPECT_EXIT(
        {
            pbAbortSetHandler( handler );
            pb___AbortSetFlush( flush );
            pb___Abort( nullptr, "source/x/y.cpp", 12, "value >= 0" );
        },
        testing::KilledBySignal( SIGABRT ), "^handler: \\(null\\) source/x/y.cpp 12 value >= 0\nabort: source/x/y.cpp:12: value >= 0\nflush\n$" );
}

TEST( AbortDeathTest, EndsWithoutAHandlerAndAFlushThatWereTakenAway )
{
    EXPECT_EXIT(
        {
            pbAbortSetHandler( handler );
            pb___AbortSetFlush( flush );
            pbAbortSetHandler( nullptr );
            pb___AbortSetFlush( nullptr );
            pb___Abort( nullptr, "source/x/y.cpp", 12, "obj" );
        },
        testing::KilledBySignal( SIGABRT ), "^abort: source/x/y.cpp:12: obj\n$" );
}

TEST( AbortDeathTest, CutsATextThatDoesNotFit )
{
    std::string expression( 5000, 'x' );
    EXPECT_EXIT(
        pb___Abort( nullptr, "source/x/y.cpp", 12, expression.c_str() ), testing::KilledBySignal( SIGABRT ), "^abort: source/x/y.cpp:12: x{900}" );
}

TEST( AbortDeathTest, IsWhatABrokenContractOfAnExportedFunctionCalls )
{
    EXPECT_EXIT( pbObjRetain( nullptr ), testing::KilledBySignal( SIGABRT ), "^abort: source/pb/objects/pb_obj.cpp:[0-9]+: obj\n$" );
    EXPECT_EXIT(
        pbStringRetain( nullptr ), testing::KilledBySignal( SIGABRT ), "^abort: stdfunc retain: source/pb/values/pb_string.cpp:[0-9]+: obj\n$" );
}

// Checks on a worker, and checks that leave a process in the middle of its run.
TEST( AbortDeathTest, ARunEndsInNoLock )
{
    EXPECT_EXIT( runOnWorker( []( PB_OBJ * ) { pbMonitorEnter( monitor ); } ), testing::KilledBySignal( SIGABRT ),
        "^abort: source/pb/concurrency/pb_process.cpp:[0-9]+: !holdsLock\n$" );
    EXPECT_EXIT(
        {
            startRuntime();
            pb___ProcessRunInline( processOf( []( PB_OBJ * ) { pb___GateEnter(); } ) );
        },
        testing::KilledBySignal( SIGABRT ), "^abort: source/pb/concurrency/pb_process.cpp:[0-9]+: !holdsLock\n$" );
}

TEST( AbortDeathTest, ARunNeitherWaitsNorStopsTheRuntime )
{
    EXPECT_EXIT( runOnWorker( []( PB_OBJ * ) { pb___ProcessEndWait( processOf( []( PB_OBJ * ) {} ) ); } ), testing::KilledBySignal( SIGABRT ),
        "^abort: source/pb/concurrency/pb_process.cpp:[0-9]+: !insideRun\n$" );
    EXPECT_EXIT( runOnWorker( []( PB_OBJ * ) { pbSignalWait( pbSignalCreate(), 0 ); } ), testing::KilledBySignal( SIGABRT ),
        "^abort: source/pb/concurrency/pb_signal.cpp:[0-9]+: !insideRun\n$" );
    EXPECT_EXIT( runOnWorker( []( PB_OBJ * ) { pbRuntimeStop(); } ), testing::KilledBySignal( SIGABRT ),
        "^abort: source/pb/runtime/pb_runtime.cpp:[0-9]+: !insideRun\n$" );
}

TEST( AbortDeathTest, ATicketNeedsMemory )
{
    EXPECT_EXIT(
        {
            startRuntime();
            noAlignedMemory = true;
            pbProcessSchedule( processOf( []( PB_OBJ * ) {} ) );
        },
        testing::KilledBySignal( SIGABRT ), "^abort: source/pb/concurrency/pb_pool.cpp:[0-9]+: memory\n$" );
}

// Checks that are made while the thread holds a lock.
TEST( AbortDeathTest, AlsoEndsUnderALock )
{
    auto start = [] {
        pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
        pbRuntimeOptionsAppendModuleCstr( options.handle(), "cry", -1 );
        if( !pbRuntimeStart( options.get() ) )
            std::exit( 1 );
    };
    EXPECT_EXIT(
        {
            start();
            cry___X509SystemHalt();
            cry___X509SystemHalt();
        },
        testing::KilledBySignal( SIGABRT ), "^abort: source/cry/x509/cry_x509_system.cpp:[0-9]+: !cry___X509SystemHalted\n$" );
    EXPECT_EXIT(
        {
            start();
            CRY___X509_STACK_IMP *imp = cry___X509StackImpCreate( cryX509StackOptionsCreate(), nullptr );
            cry___X509StackImpHalt( imp );
            cry___X509StackImpHalt( imp );
        },
        testing::KilledBySignal( SIGABRT ), "^abort: source/cry/x509/cry_x509_stack_imp.cpp:[0-9]+: !pbProcessHalted\\( imp->isProcess \\)\n$" );
}

TEST( Abort, HandlersReplaceEachOther )
{
    EXPECT_EQ( pbAbortSetHandler( handler ), nullptr );
    EXPECT_EQ( pbAbortSetHandler( nullptr ), handler );
    EXPECT_EQ( pbAbortSetHandler( nullptr ), nullptr );
}
