#include <pb/pb.h>
#include <pb/pb_locks.h>
#include <pb/pb_runtime.h>
#include <pb/pb_signal.h>
#include <pb/pb_timer.h>

#include <functional>

#include "base/pb_thread_state.hpp"
#include "support/environment.hpp"
#include "support/processes.hpp"
#include "support/sanitizers.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

static constexpr char processFile[] = "source/pb/concurrency/pb_process.cpp";
static constexpr char signalFile[]  = "source/pb/concurrency/pb_signal.cpp";
static constexpr char timerFile[]   = "source/pb/concurrency/pb_timer.cpp";
static constexpr char locksFile[]   = "source/pb/concurrency/pb_locks.cpp";
static constexpr char runtimeFile[] = "source/pb/runtime/pb_runtime.cpp";

namespace
{

void runNothing( PB_OBJ * ) {}

pb::Ref<PB_PROCESS> makeProcess( PB_PROCESS_FUNCTION function = runNothing )
{
    return pb::adopt( pbProcessCreateCstr( function, nullptr, "test", -1, PB_PROCESS_CLASS_ORDINARY ) );
}

// Calls a function in a run on this thread. An abort takes the thread out of its run; as the test
// goes on in the run, it puts the thread back.
void runInside( const std::function<void( PB_PROCESS * )> &function )
{
    pb::Ref<PB_PROCESS> inside;
    inside = process( [&] {
        unsigned runs = pb::threadState.runs;
        function( inside.get() );
        pb::threadState.runs = runs;
    } );
    pb___ProcessRunInline( inside.get() );
}

}

TEST( PbConcurrencyContracts, Processes )
{
    pb::Ref<PB_PROCESS> idle = makeProcess();
    EXPECT_STANDARD_CHECKS( processFile, pb, Process, PB_PROCESS, "process", idle.get() );
    EXPECT_ABORT( processFile, "function", pbProcessCreateCstr( nullptr, nullptr, "test", -1, PB_PROCESS_CLASS_ORDINARY ) );
    EXPECT_ABORT( processFile, "name", pbProcessCreateCstr( runNothing, nullptr, nullptr, -1, PB_PROCESS_CLASS_ORDINARY ) );
#if !WITH_UNDEFINED_SANITIZER
    // The sanitizer ends the program before the check, since no enumerator has these values.
    for( int wrong : { -1, 2 } )
    {
        EXPECT_ABORT( processFile, "processClass == PB_PROCESS_CLASS_ORDINARY || processClass == PB_PROCESS_CLASS_BACKGROUND",
            pbProcessCreateCstr( runNothing, nullptr, "test", -1, (PB_PROCESS_CLASS)wrong ) );
    }
#endif
    EXPECT_ABORT( processFile, "process", pbProcessName( nullptr ) );
    EXPECT_ABORT( processFile, "process", pbProcessSchedule( nullptr ) );
    EXPECT_ABORT( processFile, "process", pbProcessHalt( nullptr ) );
    EXPECT_ABORT( processFile, "process", pbProcessHalted( nullptr ) );
    EXPECT_ABORT( processFile, "process", pb___ProcessRunInline( nullptr ) );
    EXPECT_ABORT( processFile, "process", pb___ProcessEnded( nullptr ) );
    EXPECT_ABORT( processFile, "process", pb___ProcessEndWait( nullptr ) );
}

TEST( PbConcurrencyContracts, AProcessThatRunsDoesNotRunInline )
{
    int calls = 0;
    runInside( [&]( PB_PROCESS *running ) {
        calls++;
        EXPECT_ABORT( processFile, "!isRunning", pb___ProcessRunInline( running ) );
    } );
    EXPECT_EQ( calls, 1 );
}

TEST( PbConcurrencyContracts, NothingRunsInlineInAStoppedRuntime )
{
    pb::Ref<PB_PROCESS> idle   = makeProcess();
    pb::Ref<PB_PROCESS> halted = makeProcess();
    pbProcessHalt( halted.get() );
    pbRuntimeStop();
    EXPECT_ABORT( processFile, "!stopped", pb___ProcessRunInline( idle.get() ) );
    EXPECT_ABORT( processFile, "!stopped", pb___ProcessRunInline( halted.get() ) );
    startFamily();
}

TEST( PbConcurrencyContracts, NobodyWaitsInsideARun )
{
    pb::Ref<PB_PROCESS> halted   = makeProcess();
    pb::Ref<PB_SIGNAL>  asserted = pb::adopt( pbSignalCreate() );
    // Also for something that has happened already.
    pbProcessHalt( halted.get() );
    pbSignalAssert( asserted.get() );
    runInside( [&]( PB_PROCESS * ) { EXPECT_ABORT( processFile, "!insideRun", pb___ProcessEndWait( halted.get() ) ); } );
    runInside( [&]( PB_PROCESS * ) { EXPECT_ABORT( signalFile, "!insideRun", pbSignalWait( asserted.get(), 0 ) ); } );
    EXPECT_TRUE( pb___ProcessEndWait( halted.get() ) );
    EXPECT_TRUE( pbSignalWait( asserted.get(), 0 ) );
}

// An abort takes the thread out of its locks, so it leaves no monitor or region afterwards. There
// is only one gate, so the thread is put back into it.
TEST( PbConcurrencyContracts, NobodyWaitsInALock )
{
    pb::Ref<PB_PROCESS> halted   = makeProcess();
    pb::Ref<PB_SIGNAL>  asserted = pb::adopt( pbSignalCreate() );
    pbProcessHalt( halted.get() );
    pbSignalAssert( asserted.get() );
    pb::Ref<PB_MONITOR> monitor = pb::adopt( pbMonitorCreate() );
    pb::Ref<PB_REGION>  region  = pb::adopt( pbRegionCreate() );
    EXPECT_ABORT( processFile, "!holdsLock", pbMonitorEnter( monitor.get() ), pb___ProcessEndWait( halted.get() ) );
    EXPECT_ABORT( signalFile, "!holdsLock", pbRegionEnterShared( region.get() ), pbSignalWait( asserted.get(), 0 ) );
    EXPECT_ABORT( signalFile, "!holdsLock", pb___GateEnter(), pbSignalWait( asserted.get(), 0 ) );
    pb::threadState.heldLocks = 1;
    pb___GateLeave();
    EXPECT_TRUE( pbSignalWait( asserted.get(), 0 ) );
}

TEST( PbConcurrencyContracts, TheRuntimeIsStoppedNeitherInsideARunNorInALock )
{
    runInside( []( PB_PROCESS * ) { EXPECT_ABORT( runtimeFile, "!insideRun", pbRuntimeStop() ); } );
    pb::Ref<PB_MONITOR> monitor = pb::adopt( pbMonitorCreate() );
    EXPECT_ABORT( runtimeFile, "!holdsLock", pbMonitorEnter( monitor.get() ), pbRuntimeStop() );
    EXPECT_TRUE( pbRuntimeStarted() );
}

TEST( PbConcurrencyContracts, Signals )
{
    pb::Ref<PB_SIGNAL>     signal = pb::adopt( pbSignalCreate() );
    pb::Ref<PB_PROCESS>    idle   = makeProcess();
    pb::Ref<PB_SIGNALABLE> sigb   = pb::adopt( pbSignalableCreateProcess( idle.get() ) );
    EXPECT_STANDARD_CHECKS( signalFile, pb, Signal, PB_SIGNAL, "signal", signal.get() );
    EXPECT_STANDARD_CHECKS( signalFile, pb, Signalable, PB_SIGNALABLE, "sigb", sigb.get() );
    EXPECT_ABORT( signalFile, "signal", pbSignalAssert( nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalAsserted( nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalAddSignalable( nullptr, sigb.get() ) );
    EXPECT_ABORT( signalFile, "sigb", pbSignalAddSignalable( signal.get(), nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalDelSignalable( nullptr, sigb.get() ) );
    EXPECT_ABORT( signalFile, "sigb", pbSignalDelSignalable( signal.get(), nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalAddSignal( nullptr, signal.get() ) );
    EXPECT_ABORT( signalFile, "other", pbSignalAddSignal( signal.get(), nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalDelSignal( nullptr, signal.get() ) );
    EXPECT_ABORT( signalFile, "other", pbSignalDelSignal( signal.get(), nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pb___SignalLength( nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalWait( nullptr, 0 ) );
    EXPECT_ABORT( signalFile, "process", pbSignalableCreateProcess( nullptr ) );
    EXPECT_ABORT( signalFile, "signal", pbSignalableCreateSignal( nullptr ) );
    EXPECT_ABORT( signalFile, "sigb", pbSignalableTrigger( nullptr ) );
}

TEST( PbConcurrencyContracts, Timers )
{
    pb::Ref<PB_PROCESS> idle  = makeProcess();
    pb::Ref<PB_TIMER>   timer = pb::adopt( pbTimerCreateProcess( idle.get() ) );
    EXPECT_STANDARD_CHECKS( timerFile, pb, Timer, PB_TIMER, "timer", timer.get() );
    EXPECT_ABORT( timerFile, "process", pbTimerCreateProcess( nullptr ) );
    EXPECT_ABORT( timerFile, "timer", pbTimerSchedule( nullptr, 1 ) );
    EXPECT_ABORT( timerFile, "milliseconds >= 0", pbTimerSchedule( timer.get(), -1 ) );
    EXPECT_ABORT( timerFile, "milliseconds >= 0", pbTimerSchedule( timer.get(), PB_INT_MIN ) );
    EXPECT_FALSE( pbTimerScheduled( timer.get() ) );
    EXPECT_ABORT( timerFile, "timer", pbTimerUnschedule( nullptr ) );
    EXPECT_ABORT( timerFile, "timer", pbTimerScheduled( nullptr ) );
    EXPECT_ABORT( timerFile, "manual", pb___ClockAdvance( 0 ) );
    pb___ClockSetManual( PB_TRUE );
    EXPECT_ABORT( timerFile, "milliseconds >= 0", pb___ClockAdvance( -1 ) );
    pb___ClockSetManual( PB_FALSE );
}

TEST( PbConcurrencyContracts, Monitors )
{
    pb::Ref<PB_MONITOR> monitor = pb::adopt( pbMonitorCreate() );
    EXPECT_STANDARD_CHECKS( locksFile, pb, Monitor, PB_MONITOR, "monitor", monitor.get() );
    EXPECT_ABORT( locksFile, "monitor", pbMonitorEnter( nullptr ) );
    EXPECT_ABORT( locksFile, "monitor", pbMonitorLeave( nullptr ) );
    EXPECT_ABORT( locksFile, "entered", pbMonitorLeave( monitor.get() ) );
    EXPECT_ABORT( locksFile, "!entered", pbMonitorEnter( monitor.get() ), pbMonitorEnter( monitor.get() ) );
}

TEST( PbConcurrencyContracts, Regions )
{
    pb::Ref<PB_REGION> region = pb::adopt( pbRegionCreate() );
    EXPECT_STANDARD_CHECKS( locksFile, pb, Region, PB_REGION, "region", region.get() );
    EXPECT_ABORT( locksFile, "region", pbRegionEnterShared( nullptr ) );
    EXPECT_ABORT( locksFile, "region", pbRegionLeaveShared( nullptr ) );
    EXPECT_ABORT( locksFile, "region", pbRegionEnterExclusive( nullptr ) );
    EXPECT_ABORT( locksFile, "region", pbRegionLeaveExclusive( nullptr ) );
    EXPECT_ABORT( locksFile, "entered", pbRegionLeaveExclusive( region.get() ) );
    pb::Ref<PB_REGION> shared = pb::adopt( pbRegionCreate() );
    EXPECT_ABORT( locksFile, "entered", pbRegionEnterShared( shared.get() ), pbRegionLeaveExclusive( shared.get() ) );
    EXPECT_ABORT( locksFile, "!entered", pbRegionEnterExclusive( region.get() ), pbRegionEnterExclusive( region.get() ) );
    // The abort has left the region's own state as it was.
    EXPECT_ABORT( locksFile, "!entered", pbRegionEnterShared( region.get() ) );
}

TEST( PbConcurrencyContracts, RuntimeOptions )
{
    pb::Ref<PB_RUNTIME_OPTIONS> options = pb::adopt( pbRuntimeOptionsCreate() );
    PB_RUNTIME_OPTIONS         *none    = nullptr;
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsSetStateDirectoryCstr( nullptr, "/tmp", -1 ) );
    EXPECT_ABORT( runtimeFile, "*options", pbRuntimeOptionsSetStateDirectoryCstr( &none, "/tmp", -1 ) );
    EXPECT_ABORT( runtimeFile, "path", pbRuntimeOptionsSetStateDirectoryCstr( options.handle(), nullptr, 0 ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsStateDirectory( nullptr ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsSetProductFriendlyNameCstr( nullptr, "name", -1 ) );
    EXPECT_ABORT( runtimeFile, "*options", pbRuntimeOptionsSetProductFriendlyNameCstr( &none, "name", -1 ) );
    EXPECT_ABORT( runtimeFile, "name", pbRuntimeOptionsSetProductFriendlyNameCstr( options.handle(), nullptr, 0 ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsProductFriendlyName( nullptr ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsSetWorkers( nullptr, 1 ) );
    EXPECT_ABORT( runtimeFile, "*options", pbRuntimeOptionsSetWorkers( &none, 1 ) );
    for( PB_INT wrong : { (PB_INT)-1, PB_RUNTIME_WORKERS_MAX + 1, PB_INT_MIN, PB_INT_MAX } )
    {
        EXPECT_ABORT( runtimeFile, "workers >= 0 && workers <= PB_RUNTIME_WORKERS_MAX", pbRuntimeOptionsSetWorkers( options.handle(), wrong ) );
    }
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsWorkers( nullptr ) );
    EXPECT_ABORT( runtimeFile, "options", pbRuntimeOptionsSetExecutor( nullptr, nullptr, nullptr ) );
    EXPECT_ABORT( runtimeFile, "*options", pbRuntimeOptionsSetExecutor( &none, nullptr, nullptr ) );
    EXPECT_EQ( pbRuntimeOptionsStateDirectory( options.get() ), nullptr );
    EXPECT_EQ( pbRuntimeOptionsProductFriendlyName( options.get() ), nullptr );
    EXPECT_EQ( pbRuntimeOptionsWorkers( options.get() ), 0 );
}

TEST( PbConcurrencyContracts, RuntimePaths )
{
    pb::Ref<PB_RUNTIME_PATHS> paths = pb::adopt( pbRuntimePaths() );
    EXPECT_STANDARD_CHECKS( runtimeFile, pb, RuntimePaths, PB_RUNTIME_PATHS, "paths", paths.get() );
    EXPECT_ABORT( runtimeFile, "paths", pbRuntimePathsPath( nullptr, PB_RUNTIME_PATH_STATE ) );
}
