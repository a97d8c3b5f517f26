#!/usr/bin/env python3
"""Plants bugs in the concurrency of the libraries and looks whether the tests find them.

usage: mutants.py [--list] [NAME...]

Each mutant replaces one text in one file. The program that must find it is then built and run: the
simulation, or tests with real threads, by the filter of the mutant. A mutant is caught if the
program fails, crashes or does not come to its end. Without names all mutants are tried. The result
is 1 if one is missed, 2 if the tests fail without a mutant or a mutant's old text is not found
exactly once."""

import collections
import concurrent.futures
import hashlib
import os
import pathlib
import re
import shutil
import subprocess
import sys
import time

ROOT = pathlib.Path(__file__).resolve().parents[2]
SCRATCH = ROOT / "build" / "mutants"
TREE = SCRATCH / "tree"

SCENARIOS = "240000"  # of the simulation, all kinds together
LIMIT = 120  # seconds; the tests without a mutant need much less

Mutant = collections.namedtuple("Mutant", "name file old new test rule")
Program = collections.namedtuple("Program", "name sources flags linking")

SIMULATION = "simulation"  # the test of a mutant that the simulation finds
C = "source/pb/concurrency/"
X = "source/cry/x509/"


def threads(tests):
    """The test of a mutant that real threads find."""
    return "threads:" + tests


MUTANTS = [
    Mutant("schedule-in-run-lost", C + "pb_process.cpp", "else if( state & wanted )", "else if( false )", SIMULATION,
           "what is scheduled during a run runs once more afterwards"),
    Mutant("halt-leaves-entry", C + "pb_process.cpp",
           "        if( state & queued )\n            dequeue( process );\n        // During a run",
           "        state &= ~queued;\n        // During a run",
           SIMULATION, "halting takes the process out of its queue"),
    Mutant("halt-frees-in-run", C + "pb_process.cpp",
           "        if( !( state & running ) )\n            std::swap( obj, process->obj );\n    }\n"
           "    if( !( state & running ) )\n        end( process, obj );",
           "        std::swap( obj, process->obj );\n    }\n    end( process, obj );", SIMULATION, "the object is held until no run is left"),
    Mutant("ended-before-freed", C + "pb_process.cpp", "    pb::releaseOrNull( obj );\n    process->state.fetch_or( ended );",
           "    process->state.fetch_or( ended );\n    pb::releaseOrNull( obj );", SIMULATION,
           "the object is released before the process reads as ended"),
    Mutant("end-wakes-nobody", C + "pb_process.cpp", "    process->state.fetch_or( ended );\n    pb::waiters::wake();",
           "    process->state.fetch_or( ended );", SIMULATION, "the end of a process wakes those who wait for it"),
    Mutant("two-runs", C + "pb_process.cpp", "( state & ( queued | running | halted ) )", "( state & ( queued | halted ) )", SIMULATION,
           "the state is read again under the lock of the queue, so there are never two runs"),
    Mutant("plain-load", C + "pb_process.cpp", "    if( process->state.fetch_or( wanted ) & ( wanted | running | halted ) )",
           "    if( process->state.load() & wanted )\n        return;\n    if( process->state.fetch_or( wanted ) & ( wanted | running | halted ) )",
           threads("PbConcurrencyStress.ARunSeesWhatWasWrittenBeforeItWasScheduled"),
           "scheduling always writes the state, also if a run is wanted already"),
    Mutant("queued-not-held", C + "pb_process.cpp", "enqueue( pb::shareOrNull( process ) );", "enqueue( process );", SIMULATION,
           "a process that waits for its run is held"),
    Mutant("schedule-after-stop", C + "pb_process.cpp", "    if( maySchedule() )\n        enqueue( pb::shareOrNull( process ) );",
           "    if( true )\n        enqueue( pb::shareOrNull( process ) );", SIMULATION, "nothing enters a queue after the stop"),
    Mutant("inline-leaves-entry", C + "pb_process.cpp", "            if( wasQueued )\n                dequeue( process );", "",
           threads("PbProcess.RunInlineTakesOverARunThatWaits"), "an inline run takes over the run that waits"),
    Mutant("late-ticket-counts", C + "pb_process.cpp", "if( ticketFor( processClass, runState.start ) != (uintptr_t)argument )", "if( false )",
           threads("PbRuntimeExecutor.TicketsOfAnotherStartDoNothing"), "tickets of an earlier start do nothing"),
    Mutant("ticket-outside-lock", C + "pb_process.cpp", "    queue.tickets++;\n    postTicket( processClass );",
           "    queue.tickets++;\n    runState.lock.unlock();\n    postTicket( processClass );\n    runState.lock.lock();", SIMULATION,
           "tickets are posted under the lock of the queue, so the threads are still there"),
    Mutant("background-after-stop", C + "pb_process.cpp", "    return runState.phase == Phase::started ||",
           "    return runState.phase == Phase::started || runState.phase == Phase::stopping ||", SIMULATION,
           "background runs are not begun after the stop has begun"),
    Mutant("dropped-linked", C + "pb_process.cpp",
           """    pb::StdVector<pb::Ref<PB_PROCESS>> dropped;
    Hold                               hold( runState.lock );
    runState.phase = phase;
    while( PB_PROCESS *process = runState.queues[PB_PROCESS_CLASS_BACKGROUND].first )
    {
        dequeue( process );
        process->state.fetch_and( ~wanted );
        dropped.push_back( pb::adopt( process ) );
    }""",
           """    PB_PROCESS *dropped = nullptr;
    {
        Hold hold( runState.lock );
        runState.phase = phase;
        while( PB_PROCESS *process = runState.queues[PB_PROCESS_CLASS_BACKGROUND].first )
        {
            dequeue( process );
            process->state.fetch_and( ~wanted );
            process->next = dropped;
            dropped       = process;
        }
    }
    while( PB_PROCESS *process = dropped )
    {
        dropped = process->next;
        pb::releaseOrNull( process );
    }""", SIMULATION, "the links of a process that is out of the queue belong to whoever schedules it next"),
    Mutant("dropped-keeps-wish", C + "pb_process.cpp", "        process->state.fetch_and( ~wanted );\n        dropped.push_back",
           "        dropped.push_back", threads("PbRuntime.OrdinaryRunsThatWaitRunAtTheStopAndBackgroundRunsDoNot"),
           "a run that is dropped at the stop is not wanted any more"),
    Mutant("stop-leaves-runs", C + "pb_process.cpp", "while( !process && runState.inProgress > 0 )", "while( false )", SIMULATION,
           "the stop waits until the runs in progress have ended"),
    Mutant("stop-keeps-waiters", C + "pb_concurrency.cpp", "    waiters::setMayWait( false );\n", "", SIMULATION,
           "whoever waits at the stop is let go"),
    Mutant("waiter-checks-early", C + "pb_waiters.hpp",
           """    sync::Hold     hold( internal::state.lock );
    while( !happened() )
    {
        if(""",
           """    while( !happened() )
    {
        sync::Hold hold( internal::state.lock );
        if(""", SIMULATION, "a waiter checks under the lock, so it misses no change"),
    Mutant("gate-stays-open", C + "pb_gate.cpp", "    if( !isOpen )", "    if( false )", SIMULATION, "after the shut-down the gate lets nobody in"),
    Mutant("readers-first", "source/pb/base/pb_sync.hpp", "PTHREAD_RWLOCK_WRITER_NONRECURSIVE_INITIALIZER_NP", "PTHREAD_RWLOCK_INITIALIZER",
           threads("PbRegion.AWriterThatWaitsComesFirst"), "while a writer waits, no new reader comes in"),
    Mutant("assert-in-two-steps", C + "pb_signal.cpp",
           """        signal->asserted.store( true, std::memory_order_release );
        std::swap( set, signal->set );
        awaited = signal->awaited;
    }""",
           """        std::swap( set, signal->set );
        awaited = signal->awaited;
    }
    signal->asserted.store( true, std::memory_order_release );""", SIMULATION, "marking a signal and taking its set are one step"),
    Mutant("late-addition-lost", C + "pb_signal.cpp", "    Chain chain;\n    trigger( obj, chain );\n    assertAll( chain );\n}\n\nvoid remove",
           "}\n\nvoid remove", SIMULATION, "an asserted signal triggers what is added"),
    Mutant("release-under-lock", C + "pb_signal.cpp", "            return;\n    }\n    pbObjRelease( obj );\n}",
           "            return;\n        pbObjRelease( obj );\n    }\n}", SIMULATION, "nothing is released under an internal lock"),
    Mutant("assert-wakes-nobody", C + "pb_signal.cpp", "    if( awaited )\n        pb::waiters::wake();\n", "    (void)awaited;\n", SIMULATION,
           "an assertion wakes those who wait for it"),
    Mutant("assert-recursive", C + "pb_signal.cpp", "        chain.push_back( pb::share( pbSignalFrom( obj ) ) );\n        return;",
           "        pbSignalAssert( pbSignalFrom( obj ) );\n        return;", threads("PbSignal.AChainMayHaveAnyLength"),
           "a chain of signals is asserted without recursion"),
    Mutant("index-keeps-places", C + "pb_signal_set.hpp",
           "            if( entries.size() > indexed )\n                makeIndex();\n            else\n                index.clear();\n", "",
           threads("PbSignalSet.*"), "the index of a set is made anew when the gaps are closed"),
    Mutant("timer-clears-flag-late", C + "pb_timer.cpp", "        timer->scheduled.store( false );\n        // The timer's",
           "        pbProcessSchedule( timer->process );\n        timer->scheduled.store( false );\n        // The timer's",
           threads("PbTimer.IsNotScheduledAnyMoreWhenItSchedulesItsProcess"), "a timer is not scheduled any more when it schedules its process"),
    Mutant("freed-timer-armed", C + "pb_timer.cpp",
           "        disarm( timer );\n    }\n    pb::Field<PB_PROCESS *>::release", "    }\n    pb::Field<PB_PROCESS *>::release",
           SIMULATION, "a timer that is freed leaves the heap first"),
    Mutant("timers-without-order", C + "pb_timer.cpp", "deadline != other.deadline ? deadline < other.deadline : order < other.order;",
           "deadline < other.deadline;", threads("PbTimer.*"), "equal deadlines fire in the order of scheduling"),
    Mutant("earlier-deadline-untold", C + "pb_timer.cpp", "if( service.wakeUp >= 0 && service.wakeUp <= first )", "if( service.wakeUp >= 0 )",
           threads("PbTimerThread.FiresAfterItsTime"), "the thread learns of an earlier deadline"),
    Mutant("free-under-lock", "source/pb/objects/pb_obj.cpp",
           "    if( threadState.frees || threadState.heldLocks )", "    if( threadState.frees )", SIMULATION,
           "no free slot runs while its thread holds a lock"),
    Mutant("free-nested", "source/pb/objects/pb_obj.cpp", "    if( threadState.frees || threadState.heldLocks )", "    if( threadState.heldLocks )",
           threads("PbSignal.AChainMayHaveAnyLength"), "no free slot runs inside another"),
    Mutant("threads-take-signals", C + "pb_thread.cpp", "    pthread_sigmask( SIG_SETMASK, &all, &before );",
           "    pthread_sigmask( SIG_BLOCK, nullptr, &before );", threads("PbRuntime.AllItsThreadsBlockAllSignals"), "the threads block all signals"),
    Mutant("vault-read-first", X + "cry_x509_stack_imp.cpp",
           """    cryVaultUpdateAddSignalable( imp->intVaultSignalable );
    pb::Ref<PB_IDENTIFIER>  id   = pb::adopt( cryX509StackOptionsIdentityVaultIdentifier( imp->intOptions ) );
    pb::Ref<CRY_VAULT_ITEM> item = pb::adopt( id ? cryVaultItem( id.get() ) : nullptr );
""",
           """    pb::Ref<PB_IDENTIFIER>  id   = pb::adopt( cryX509StackOptionsIdentityVaultIdentifier( imp->intOptions ) );
    pb::Ref<CRY_VAULT_ITEM> item = pb::adopt( id ? cryVaultItem( id.get() ) : nullptr );
    cryVaultUpdateAddSignalable( imp->intVaultSignalable );
""", SIMULATION, "a stack subscribes to the vault before it reads"),
    Mutant("roots-read-first", X + "cry_x509_stack_imp.cpp",
           """    if( renewSource( imp, imp->intSystemSignal, imp->intSystemSignalable, cry::x509::delSystemSignalableAtAnyTime ) )
        cryX509SystemTrustedCertificatesAddSignalable( imp->intSystemSignalable );
    imp->intTrustedCertificates = joined(
        cryX509StackOptionsTrustedCertificates( imp->intOptions ), pb::adopt( cryX509SystemTrustedCertificates() ) );
""",
           """    imp->intTrustedCertificates = joined(
        cryX509StackOptionsTrustedCertificates( imp->intOptions ), pb::adopt( cryX509SystemTrustedCertificates() ) );
    if( renewSource( imp, imp->intSystemSignal, imp->intSystemSignalable, cry::x509::delSystemSignalableAtAnyTime ) )
        cryX509SystemTrustedCertificatesAddSignalable( imp->intSystemSignalable );
""", SIMULATION, "a stack subscribes to the roots before it reads"),
    Mutant("signal-not-renewed", X + "cry_x509_stack_imp.cpp", "    if( signal && !pbSignalAsserted( signal ) )\n", "    if( signal )\n", SIMULATION,
           "a stack renews a signal that was asserted"),
    Mutant("vault-not-added-again", X + "cry_x509_stack_imp.cpp",
           """    renewSource( imp, imp->intVaultSignal, imp->intVaultSignalable, cry::vault::delSignalableAtAnyTime );
    // Subscribe before reading.
    cryVaultUpdateAddSignalable( imp->intVaultSignalable );
""",
           """    renewSource( imp, imp->intVaultSignal, imp->intVaultSignalable, cry::vault::delSignalableAtAnyTime );
""", SIMULATION, "a stack subscribes to the vault"),
    Mutant("generates-after-halt", X + "cry_x509_stack_imp.cpp",
           "        if( pbProcessHalted( imp->isProcess ) )\n            return STATE_IDENTITY_GENERATE;\n", "", SIMULATION,
           "a stack looks for its halt after it has generated a key"),
    Mutant("commits-after-halt", X + "cry_x509_stack_imp.cpp",
           "    if( pbProcessHalted( imp->isProcess ) )\n        return STATE_COMMIT;\n", "", SIMULATION,
           "a stack looks for its halt after it has built the OpenSSL store"),
    Mutant("trust-without-store", X + "cry_x509_stack_imp.cpp",
           "    imp->intFormerOpensslX509Store = std::exchange( imp->cnfOpensslX509Store, x509Store.release() );",
           "    if( !imp->cnfOpensslX509Store )\n        imp->cnfOpensslX509Store = x509Store.release();", SIMULATION,
           "trust is published together with its OpenSSL store"),
    Mutant("identity-early", X + "cry_x509_stack_imp.cpp",
           "    pb::Ref<CRY_X509_STACK_OPTIONS> options             = pb::share( imp->cnfOptions );\n",
           "    pb::Ref<CRY_X509_STACK_OPTIONS> options             = pb::share( imp->cnfOptions );\n"
           "    if( imp->cnfOpensslX509Store )\n        pb::assign( imp->cnfIdentity, imp->intIdentity );\n", SIMULATION,
           "all that a stack publishes changes in one section"),
    Mutant("changed-before-fields", X + "cry_x509_stack_imp.cpp",
           "    pb::assign( imp->cnfOptions, imp->intOptions );\n    pb::assign( imp->cnfIdentity, imp->intIdentity );\n",
           """    if( identityChanged )
    {
        assertAndReplace( imp->cnfIdentityChangedSignal );
        identityChanged = false;
        pb::OutOfRegion out( imp->region );
    }
    pb::assign( imp->cnfOptions, imp->intOptions );
    pb::assign( imp->cnfIdentity, imp->intIdentity );
""", SIMULATION, "sessions are marked when the new state is published, not before"),
    Mutant("update-untold", X + "cry_x509_stack_imp.cpp",
           "        if( cry::runStateMachine( states, imp->intState, imp ) )\n            assertAndReplace( imp->extUpdateSignal );\n",
           "        cry::runStateMachine( states, imp->intState, imp );\n", SIMULATION, "a commit with a change is told"),
    Mutant("options-untold", X + "cry_x509_stack_imp.cpp",
           "        assertAndReplace( imp->extUpdateSignal );\n    }\n    pbProcessSchedule( imp->isProcess );\n",
           "        assertAndReplace( imp->extUpdateSignal );\n    }\n", SIMULATION, "new options schedule a run"),
    Mutant("freed-keeps-vault", X + "cry_x509_stack_imp.cpp",
           "    dropVault( imp );\n    dropSystem( imp );\n    impFields", "    dropSystem( imp );\n    impFields",
           SIMULATION, "a stack that is freed takes its subscription to the vault back"),
    Mutant("freed-keeps-roots", X + "cry_x509_stack_imp.cpp",
           "    dropVault( imp );\n    dropSystem( imp );\n    impFields", "    dropVault( imp );\n    impFields",
           SIMULATION, "a stack that is freed takes its subscription to the roots back"),
    Mutant("generation-not-repeated", X + "cry_x509_stack_imp.cpp",
           "        pbTimerSchedule( imp->intGenerateTimer, generated ? renewalTime : retryTime );",
           "        if( generated )\n            pbTimerSchedule( imp->intGenerateTimer, renewalTime );", SIMULATION,
           "a generation that failed is repeated later"),
    Mutant("session-outside-region", X + "cry_x509_stack_imp.cpp",
           "    pb::InRegionShared in( imp->region );\n    PB_CHECK( imp->cnfOptions );\n", "    PB_CHECK( imp->cnfOptions );\n", SIMULATION,
           "a session is made of one published state"),
    Mutant("session-mark-missing", X + "cry_x509_session_imp.cpp",
           "    pbSignalAddSignal( imp->stackTrustChangedSignal, imp->trustChangedSignal );\n", "",
           SIMULATION, "a session is marked if the trust changes"),
    Mutant("session-stays-linked", X + "cry_x509_session_imp.cpp",
           "    pbSignalDelSignal( imp->stackIdentityChangedSignal, imp->identityChangedSignal );\n", "",
           SIMULATION, "a session that is freed leaves the signals of its stack"),
    Mutant("pass-after-halt", X + "cry_x509_stack_imp.cpp",
           "    if( pbProcessHalted( imp->isProcess ) )\n        return STATE_NULL;\n", "", SIMULATION,
           "a stack looks for its halt before it takes new options"),
    Mutant("validator-after-halt", X + "cry_x509_validator_imp.cpp",
           "    if( pbProcessHalted( imp->isProcess ) )\n        return STATE_INITIAL;\n", "", SIMULATION,
           "a validator looks for its halt after the verification"),
    Mutant("names-after-halt", X + "cry_x509_validator_imp.cpp",
           "    if( pbProcessHalted( imp->isProcess ) )\n        return STATE_SANS;\n", "", SIMULATION,
           "a validator looks for its halt after the names were compared"),
    Mutant("error-before-end", X + "cry_x509_validator_imp.cpp",
           "    pbSignalAssert( imp->extEndSignal );\n    pbSignalAssert( imp->extErrorSignal );",
           "    pbSignalAssert( imp->extErrorSignal );\n    pbSignalAssert( imp->extEndSignal );",
           SIMULATION, "a validator tells its end before its error"),
    Mutant("end-before-chain", X + "cry_x509_validator_imp.cpp",
           "    imp->extCertificateChain = pb::shareOrNull( imp->intCertificateChain );\n    pbSignalAssert( imp->extEndSignal );\n",
           "    pbSignalAssert( imp->extEndSignal );\n    {\n        pb::OutOfMonitor out( imp->isMonitor );\n    }\n"
           "    imp->extCertificateChain = pb::shareOrNull( imp->intCertificateChain );\n", SIMULATION,
           "a validator that has ended has its results"),
    Mutant("older-roots", X + "cry_x509_system.cpp",
           "    if( cry___X509SystemHalted || load.number < publishedLoad )", "    if( cry___X509SystemHalted )",
           SIMULATION, "a load that began before the published one publishes nothing"),
    Mutant("vault-halts-untold", "source/cry/vault/cry_vault.cpp",
           "    replace( pb::adopt( pbDictCreate() ) );\n    signalUpdate();", "    replace( pb::adopt( pbDictCreate() ) );",
           SIMULATION, "the vault tells of its halt"),
    Mutant("vault-deletes-untold", "source/cry/vault/cry_vault.cpp", "    pbDictDelIdentifierKey( &items, ident );\n    signalUpdate();",
           "    pbDictDelIdentifierKey( &items, ident );", SIMULATION, "the vault tells of an item that is deleted"),
]


def fail(text):
    print(text, file=sys.stderr)
    sys.exit(2)


def files(folder, pattern="**/*.cpp"):
    return sorted(path.relative_to(ROOT).as_posix() for path in (ROOT / folder).glob(pattern))


def lines(path):
    return (ROOT / path).read_text().split()


def programs():
    base = files("source/pb")
    alone = ("pb_pool.cpp", "pb_thread.cpp", "pb_timer_thread.cpp")
    # The same parts as in tests/CMakeLists.txt.
    others = [each for library in LIBRARIES[1:] for each in files("source/" + library)]
    simulated = [each for each in base if not each.endswith(alone)]
    simulated += [each for each in others if not each.endswith(tuple(lines("tests/simulation/probed.txt")))]
    tests = ["tests/pb/pb_%s_test.cpp" % name
             for name in ("process", "signal", "signal_set", "timer", "locks", "runtime", "concurrency_stress")]
    return {
        "simulation": Program("simulation", simulated + files("tests/simulation", "*.cpp"), ["-DPB_SIMULATION"],
                              ["-Wl,--wrap=" + each for each in lines("tests/simulation/wrapped.txt")]
                              + ["-lgtest", "-lcrypto", "-lidn2", "-lunistring", "-ldl"]),
        "threads": Program("threads", base + tests + ["tests/support/processes.cpp", "tests/mutants/main.cpp"], [],
                           ["-lgtest", "-lunistring", "-ldl", "-pthread"]),
    }


LIBRARIES = ("pb", "rfc", "bn", "in", "tr", "cs", "openssl", "cry")
# The record of the module has to say something.
FLAGS = ["-std=c++20", "-O2", "-w", *("-Isource/" + each for each in LIBRARIES), "-Iinclude", "-Itests", '-DPB_PRODUCT_SOVERSION="0"',
         '-DPB_PRODUCT_TAG="mutants"',
         '-DPB_PRODUCT_DISPLAY_NAME="mutants"', '-DPB_PRODUCT_VENDOR=""', '-DPB_PRODUCT_COPYRIGHT=""', "-DPB_PRODUCT_MAJOR=0", "-DPB_PRODUCT_MINOR=0",
         "-DPB_PRODUCT_BUILD=0", '-DPB_PRODUCT_BUILD_TIME=""', '-DPB_PRODUCT_BUILD_KIND=""']
COMPILER = (["ccache"] if shutil.which("ccache") else []) + [os.environ.get("CXX", "g++")]


def object_of(program, source, folder="objects"):
    return SCRATCH / folder / program.name / (source.replace("/", "_") + ".o")


def dependencies(program, source):
    """The files of the tree that a source reads, from the last compilation."""
    path = object_of(program, source).with_suffix(".d")
    words = path.read_text().replace("\\\n", " ").split()[1:] if path.exists() else []
    return [each for each in words if not each.startswith("/")]


def stamp_of(program, source):
    """Changes if the source or a file that it reads changes."""
    digest = hashlib.sha256(repr((COMPILER, FLAGS, program.flags)).encode())
    for each in sorted({source, *dependencies(program, source)}):
        path = TREE / each
        digest.update(path.read_bytes() if path.exists() else b"gone")
    return digest.hexdigest()


def compile_one(program, source, out):
    out.parent.mkdir(parents=True, exist_ok=True)
    command = [*COMPILER, *FLAGS, *program.flags, "-MMD", "-MF", str(out.with_suffix(".d")), "-c", source, "-o", str(out)]
    return subprocess.run(command, cwd=TREE, capture_output=True, text=True)


def compile_all(jobs):
    """jobs: (program, source, object). Ends with the error if one does not compile."""
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for (_, source, _), result in zip(jobs, pool.map(lambda job: compile_one(*job), jobs)):
            if result.returncode:
                fail("%s does not compile:\n%s" % (source, result.stderr[:3000]))


def link(program, objects, out):
    result = subprocess.run([COMPILER[-1], *map(str, objects), *program.linking, "-o", str(out)], capture_output=True, text=True)
    if result.returncode:
        fail("%s cannot be linked:\n%s" % (program.name, result.stderr[:3000]))


def copy_tree():
    for folder in ("source", "include", "tests/simulation", "tests/support", "tests/pb", "tests/mutants"):
        shutil.copytree(ROOT / folder, TREE / folder, dirs_exist_ok=True)


def build_base(program):
    jobs = []
    for source in program.sources:
        out = object_of(program, source)
        stamp = out.with_suffix(".stamp")
        if not (out.exists() and stamp.exists() and stamp.read_text() == stamp_of(program, source)):
            jobs.append((program, source, out))
    compile_all(jobs)
    for _, source, out in jobs:
        out.with_suffix(".stamp").write_text(stamp_of(program, source))
    link(program, [object_of(program, each) for each in program.sources], SCRATCH / program.name)


def run(binary, test):
    """Whether the test finds something, and what."""
    kind, _, tests = test.partition(":")
    environment = {**os.environ, "CRY_SCENARIOS": SCENARIOS, "CRY_STRESS_SECONDS": os.environ.get("CRY_STRESS_SECONDS", "3")}
    command = [str(binary), "--gtest_brief=1"] + (["--gtest_filter=" + tests] if tests else [])
    begin = time.monotonic()
    try:
        result = subprocess.run(command, env=environment, capture_output=True, text=True, errors="replace", timeout=LIMIT)
    except subprocess.TimeoutExpired:
        return True, "does not end", LIMIT
    needed = time.monotonic() - begin
    if result.returncode == 0:
        if not re.search(r"\[  PASSED  \] [1-9]", result.stdout):
            fail("no test ran: %s" % " ".join(command))
        return False, "", needed
    lines = result.stdout.splitlines() + result.stderr.splitlines()
    if result.returncode < 0:
        return True, "ends by signal %d" % -result.returncode, needed
    after = [each.strip() for number, line in enumerate(lines) if line.endswith(": Failure")
             for each in lines[number + 1:number + 3] if each != "Failed"]
    return True, after[0][:90] if after else "fails", needed


def try_mutant(mutant, program):
    path = TREE / mutant.file
    before = path.read_text()
    if before.count(mutant.old) != 1:
        fail("%s: the old text is %d times in %s" % (mutant.name, before.count(mutant.old), mutant.file))
    path.write_text(before.replace(mutant.old, mutant.new))
    try:
        changed = [each for each in program.sources if each == mutant.file or mutant.file in dependencies(program, each)]
        shutil.rmtree(SCRATCH / "mutant", ignore_errors=True)
        compile_all([(program, each, object_of(program, each, "mutant")) for each in changed])
        binary = SCRATCH / "mutant" / program.name / "program"
        link(program, [object_of(program, each, "mutant" if each in changed else "objects") for each in program.sources], binary)
        return run(binary, mutant.test)
    finally:
        path.write_text(before)


def main():
    if "--list" in sys.argv[1:]:
        for mutant in MUTANTS:
            print("%-26s %s" % (mutant.name, mutant.rule))
        return
    names = sys.argv[1:]
    unknown = set(names) - {mutant.name for mutant in MUTANTS}
    if unknown:
        fail(__doc__ + "\nno such mutant: " + " ".join(sorted(unknown)))
    chosen = [mutant for mutant in MUTANTS if not names or mutant.name in names]
    for mutant in chosen:
        count = (ROOT / mutant.file).read_text().count(mutant.old)
        if count != 1:
            fail("%s: the old text is %d times in %s" % (mutant.name, count, mutant.file))

    copy_tree()
    all_programs = programs()
    needed = {mutant.test.partition(":")[0] for mutant in chosen}
    for kind in sorted(needed):
        build_base(all_programs[kind])
        filters = sorted({mutant.test.partition(":")[2] for mutant in chosen if mutant.test.startswith(kind)})
        found, text, seconds = run(SCRATCH / kind, kind + ":" + ":".join(each for each in filters if each))
        if found:
            fail("the tests (%s) fail without a mutant: %s" % (kind, text))
        print("%-26s the tests pass without a mutant (%.0f s)" % (kind, seconds), flush=True)

    missed = 0
    for mutant in chosen:
        kind = mutant.test.partition(":")[0]
        found, text, seconds = try_mutant(mutant, all_programs[kind])
        missed += not found
        print("%-26s %-6s %4.0f s  %s" % (mutant.name, "caught" if found else "MISSED", seconds, text or mutant.rule), flush=True)
    print("%d mutants: %d caught, %d missed" % (len(chosen), len(chosen) - missed, missed))
    sys.exit(1 if missed else 0)


main()
