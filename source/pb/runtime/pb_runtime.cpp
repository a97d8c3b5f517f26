#include <pb/containers.hpp>
#include <pb/pb_runtime.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <string_view>
#include <unistd.h>

#include "base/pb_thread_state.hpp"
#include "concurrency/pb_concurrency.hpp"

template<>
struct pb::Field<PB_EXECUTOR>
{
    static void   release( PB_EXECUTOR   &) {}
    static void   copy( PB_EXECUTOR &to, const PB_EXECUTOR &from ) { to = from; }
    static PB_INT compare( const PB_EXECUTOR &a, const PB_EXECUTOR &b ) { return Field<PB_INT>::compare( (PB_INT)a, (PB_INT)b ); }
};
template<>
struct pb::Field<void *> : pb::PlainField<void *>
{
};

struct PB_RUNTIME_OPTIONS : PB_OBJ
{
    PB_VECTOR  *modules;
    PB_STRING  *stateDirectory;
    PB_STRING  *productFriendlyName;
    PB_INT      workers;
    PB_EXECUTOR executor;
    void       *executorContext;
};

static constexpr auto runtimeOptionsFields = pb::fields<&PB_RUNTIME_OPTIONS::modules, &PB_RUNTIME_OPTIONS::stateDirectory,
    &PB_RUNTIME_OPTIONS::productFriendlyName, &PB_RUNTIME_OPTIONS::workers, &PB_RUNTIME_OPTIONS::executor, &PB_RUNTIME_OPTIONS::executorContext>;

PB_SORT_OF_FIELDS( pb, RuntimeOptions, PB_RUNTIME_OPTIONS, options, runtimeOptionsFields, runtimeOptionsFields )

PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreate()
{
    PB_RUNTIME_OPTIONS *options = pb::create<PB_RUNTIME_OPTIONS>();
    options->modules            = pbVectorCreate();
    return options;
}

PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreateFrom( PB_RUNTIME_OPTIONS *source )
{
    return PB_CHECK( source ), pb::copyOf( runtimeOptionsFields, source );
}

static PB_RUNTIME_OPTIONS *writable( PB_RUNTIME_OPTIONS **options ) { return pb::makeWritable( options, pbRuntimeOptionsCreateFrom ); }

void pbRuntimeOptionsAppendModuleCstr( PB_RUNTIME_OPTIONS **options, const char *name, PB_INT length )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( name );
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromCstr( name, length ) );
    pbVectorAppendObj( &writable( options )->modules, text.obj() );
}

PB_VECTOR *pbRuntimeOptionsModules( PB_RUNTIME_OPTIONS *options ) { return PB_CHECK( options ), pb::shareOrNull( options->modules ); }

void pbRuntimeOptionsSetStateDirectoryCstr( PB_RUNTIME_OPTIONS **options, const char *path, PB_INT length )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( path );
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromCstr( path, length ) );
    pb::assign( writable( options )->stateDirectory, text.get() );
}

PB_STRING *pbRuntimeOptionsStateDirectory( PB_RUNTIME_OPTIONS *options ) { return PB_CHECK( options ), pb::shareOrNull( options->stateDirectory ); }

void pbRuntimeOptionsSetProductFriendlyNameCstr( PB_RUNTIME_OPTIONS **options, const char *name, PB_INT length )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( name );
    pb::Ref<PB_STRING> text = pb::adopt( pbStringCreateFromCstr( name, length ) );
    pb::assign( writable( options )->productFriendlyName, text.get() );
}

PB_STRING *pbRuntimeOptionsProductFriendlyName( PB_RUNTIME_OPTIONS *options )
{
    return PB_CHECK( options ), pb::shareOrNull( options->productFriendlyName );
}

void pbRuntimeOptionsSetWorkers( PB_RUNTIME_OPTIONS **options, PB_INT workers )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( workers >= 0 && workers <= PB_RUNTIME_WORKERS_MAX );
    writable( options )->workers = workers;
}

PB_INT pbRuntimeOptionsWorkers( PB_RUNTIME_OPTIONS *options ) { return PB_CHECK( options ), options->workers; }

void pbRuntimeOptionsSetExecutor( PB_RUNTIME_OPTIONS **options, PB_EXECUTOR executor, void *context )
{
    PB_CHECK_HANDLE( options );
    PB_RUNTIME_OPTIONS *target = writable( options );
    target->executor           = executor;
    target->executorContext    = context;
}

struct PB_RUNTIME_PATHS : PB_OBJ
{
    PB_STRING *stateDirectory;
};

static constexpr auto runtimePathsFields = pb::fields<&PB_RUNTIME_PATHS::stateDirectory>;

PB_SORT_OF_FIELDS( pb, RuntimePaths, PB_RUNTIME_PATHS, paths, runtimePathsFields, runtimePathsFields )

PB_STRING *pbRuntimePathsPath( PB_RUNTIME_PATHS *paths, PB_INT kind )
{
    PB_CHECK( paths );
    return kind == PB_RUNTIME_PATH_STATE ? pb::shareOrNull( paths->stateDirectory ) : nullptr;
}

namespace
{

enum class Phase
{
    stopped,
    starting,
    started,
    stopping
};

// Any thread reads it; only the thread that starts or stops the runtime changes it.
constinit std::atomic<Phase> phase{ Phase::stopped };

// Goes from one phase to the next; false if the runtime is not in the first one. Aborts if a start
// or a stop is in progress.
bool moveOn( Phase from, Phase to, pb::Site site = pb::Site::here() )
{
    Phase before = from;
    if( phase.compare_exchange_strong( before, to ) )
        return true;
    bool startingOrStopping = before == Phase::starting || before == Phase::stopping;
    PB_CHECK_AT( site, !startingOrStopping );
    return false;
}

using Text    = pb::concurrency::Text;
using Modules = pb::StdVector<const PB_MODULE *, pb::ProcessMemory>;

// The state of the process. It is made at the first use and kept, since modules stay loaded, and
// registered ones stay registered.
struct State
{
    Modules             registered;
    Modules             running; // in the order of their start
    PB_RUNTIME_OBSERVER observer = nullptr;
    pb::Ref<PB_STRING>  error;

    // Set while no module is started.
    pb::Ref<PB_STRING> stateDirectory;
    pb::Ref<PB_STRING> productFriendlyName;
};

State &state()
{
    static State *only = pb::make<State, pb::ProcessMemory>();
    return *only;
}

void tell( const char *hook, const PB_MODULE *module )
{
    if( state().observer )
        state().observer( hook, module );
}

// The file name of a module's library; the number is the interface version that all libraries of
// the product share.
Text libraryName( const Text &module ) { return "lib" + module + ".so." PB_PRODUCT_SOVERSION; }

// The file that holds an address, and the address where the file begins in memory.
Dl_info fileOf( const void *address )
{
    Dl_info info{};
    if( !dladdr( address, &info ) || !info.dli_fname )
        info.dli_fname = "";
    return info;
}

const char thisFile = 0;

using Entry = const PB_MODULE *(*)();

// A file in the process that defines the function of a module.
struct Copy
{
    Text        file;
    const void *base;
    Entry       entry;
};

using Copies = pb::StdVector<Copy, pb::ProcessMemory>;

// All files in the process that define the function of one module, under any name. Each of two such
// files would have its own sorts.
Copies copiesOf( const Text &module )
{
    // Files are opened after the walk, which holds a lock of the loader.
    pb::StdVector<Text, pb::ProcessMemory> files;
    dl_iterate_phdr(
        []( dl_phdr_info *info, size_t, void *closure ) {
            // The program itself has an empty name. The kernel's virtual library has a name without
            // a path and is left out.
            std::string_view name = info->dlpi_name;
            if( name.empty() || name.find( '/' ) != name.npos )
                ( (pb::StdVector<Text, pb::ProcessMemory> *)closure )->emplace_back( name );
            return 0;
        },
        &files );

    Copies copies;
    Text   function = module + "Module";
    for( const Text &file : files )
    {
        void *handle = dlopen( file.empty() ? nullptr : file.c_str(), RTLD_LAZY | RTLD_NOLOAD );
        void *entry  = handle ? dlsym( handle, function.c_str() ) : nullptr;
        // The handle of a library also finds the functions of the libraries that it needs.
        Dl_info info  = fileOf( entry );
        bool    known = std::any_of( copies.begin(), copies.end(), [&]( const Copy &copy ) { return copy.base == info.dli_fbase; } );
        if( entry && !known )
            copies.push_back( { info.dli_fname, info.dli_fbase, (Entry)entry } );
        if( handle )
            dlclose( handle );
    }
    dlerror();
    return copies;
}

Text directoryOfThisLibrary()
{
    Text   path = fileOf( &thisFile ).dli_fname;
    size_t cut  = path.rfind( '/' );
    return cut == Text::npos ? Text() : path.substr( 0, cut + 1 );
}

bool nameOk( const Text &name )
{
    return !name.empty() && name.size() <= 64 &&
        std::all_of( name.begin(), name.end(), []( char c ) { return ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '_'; } );
}

// A start in progress: modules in the order in which they can be started.
struct Plan
{
    Modules                                order;
    pb::StdVector<Text, pb::ProcessMemory> path; // the modules whose dependencies are being resolved, for the cycle check
    Text                                   error;

    const PB_MODULE *fail( Text reason )
    {
        error = std::move( reason );
        return nullptr;
    }

    // "cry", or "cry (needed by tr)".
    Text named( const Text &name ) const { return "'" + name + "'" + ( path.empty() ? "" : " (needed by '" + path.back() + "')" ); }

    const PB_MODULE *fromLibrary( const Text &name )
    {
        Text  library = libraryName( name );
        void *handle  = dlopen( library.c_str(), RTLD_NOW | RTLD_NOLOAD );
        Text  reason;
        if( !handle )
        {
            Text beside     = directoryOfThisLibrary() + library;
            handle          = dlopen( beside.c_str(), RTLD_NOW | RTLD_NODELETE );
            const char *why = handle ? nullptr : dlerror();
            reason          = why ? why : "";
        }
        if( !handle )
        {
            handle = dlopen( library.c_str(), RTLD_NOW | RTLD_NODELETE );
            // If a library is beside this one but does not load, its error is the better reason.
            if( !handle && reason.find( "cannot open shared object file: No such file" ) != Text::npos )
            {
                const char *why = dlerror();
                reason          = why ? why : reason;
            }
        }
        if( !handle )
            return fail( "module " + named( name ) + " cannot be loaded: " + reason );
        Copies copies = copiesOf( name );
        if( copies.size() > 1 )
            return fail( "module " + named( name ) + " is in the process twice: " + copies[0].file + " and " + copies[1].file );
        Entry entry = (Entry)dlsym( handle, ( name + "Module" ).c_str() );
        if( !entry )
            return fail( "module " + named( name ) + " exports no module object: " + library + " has no function " + name + "Module" );
        const PB_MODULE *module = entry();
        return module ? module : fail( "module " + named( name ) + " exports no module object: " + name + "Module() gives null" );
    }

    // The base library is the one that holds this code. The loader may bind a second copy so that
    // it gives the module object of the first, so the files are compared too.
    const PB_MODULE *base( const Text &name )
    {
        Dl_info own = fileOf( &thisFile );
        for( const Copy &copy : copiesOf( name ) )
        {
            if( copy.base != own.dli_fbase || copy.entry() != pbModule() )
                return fail( "module " + named( name ) + " is in the process twice: " + own.dli_fname + " and " + copy.file );
        }
        return pbModule();
    }

    // A module of the host. The process must not have loaded another one of its name.
    const PB_MODULE *alone( const Text &name, const PB_MODULE *module )
    {
        for( const Copy &copy : copiesOf( name ) )
        {
            if( copy.entry() != module )
                return fail( "module " + named( name ) + " is registered, but another one is loaded from " + copy.file );
        }
        return module;
    }

    const PB_MODULE *find( const Text &name )
    {
        if( name.find( '\0' ) != Text::npos )
            return fail( "a module name has U+0000 in it" );
        if( !nameOk( name ) )
            return fail( "'" + name + "' is not a module name" );
        const PB_MODULE *own = name == pbModule()->record->moduleName ? base( name ) : nullptr;
        if( !error.empty() )
            return nullptr;
        const PB_MODULE *found = own;
        for( const PB_MODULE *module : state().registered )
        {
            if( name != module->record->moduleName || module == found )
                continue;
            if( found )
                return fail( "module " + named( name ) + " is registered, but there is another one of this name" );
            found = module;
        }
        return own ? own : found ? alone( name, found ) : fromLibrary( name );
    }

    bool add( const Text &name )
    {
        for( const PB_MODULE *module : order )
        {
            if( name == module->record->moduleName )
                return true;
        }
        if( std::find( path.begin(), path.end(), name ) != path.end() )
        {
            Text cycle;
            for( auto step = std::find( path.begin(), path.end(), name ); step != path.end(); ++step )
                cycle += *step + " -> ";
            fail( "modules depend on themselves: " + cycle + name );
            return false;
        }
        const PB_MODULE *module = find( name );
        if( !module )
            return false;
        if( module->record->formatVersion != PB_MODULE_RECORD_FORMAT_VERSION )
        {
            fail( "module " + named( name ) + " has a record of format " + pb::decimal<pb::ProcessMemory>( module->record->formatVersion ) +
                ", this runtime knows " + pb::decimal<pb::ProcessMemory>( PB_MODULE_RECORD_FORMAT_VERSION ) );
            return false;
        }
        if( name != module->record->moduleName )
        {
            fail( "the library of module " + named( name ) + " holds module '" + module->record->moduleName + "'" );
            return false;
        }
        path.push_back( name );
        std::string_view rest = module->record->dependencies;
        while( !rest.empty() )
        {
            size_t           blank = std::min( rest.find( ' ' ), rest.size() );
            std::string_view next  = rest.substr( 0, blank );
            rest.remove_prefix( std::min( blank + 1, rest.size() ) );
            if( !add( Text( next ) ) )
                return false;
        }
        path.pop_back();
        order.push_back( module );
        return true;
    }
};

// The number of workers that are used, if nothing else is set.
PB_INT processors()
{
    long count = sysconf( _SC_NPROCESSORS_ONLN );
    return count < 1 ? 1 : std::min<PB_INT>( count, PB_RUNTIME_WORKERS_MAX );
}

// Empty, or why the options cannot be used.
Text problemOf( PB_RUNTIME_OPTIONS *options )
{
    if( options->stateDirectory && !pbStringTryPeekCstr( options->stateDirectory ) )
        return "the state directory has U+0000 in it";
    PB_INT length = options->productFriendlyName ? pbStringLength( options->productFriendlyName ) : 1;
    if( length < 1 || length > PB_RUNTIME_FRIENDLY_NAME_LENGTH_MAX )
        return "the product's friendly name has " + pb::decimal<pb::ProcessMemory>( length ) + " characters, it may have 1 to " +
            pb::decimal<pb::ProcessMemory>( PB_RUNTIME_FRIENDLY_NAME_LENGTH_MAX );
    return "";
}

// Calls one hook of all modules, in the reverse order of the start.
template<void ( *PB_MODULE::*hook )()>
void callAll( const char *name )
{
    Modules &running = state().running;
    for( auto module = running.rbegin(); module != running.rend(); ++module )
    {
        tell( name, *module );
        ( ( *module )->*hook )();
    }
}

void stopRunning()
{
    pb::concurrency::stop( [] { callAll<&PB_MODULE::halt>( "halt" ); }, [] { callAll<&PB_MODULE::fourth>( "fourth" ); },
        [] { callAll<&PB_MODULE::shutdown>( "shutdown" ); } );
    state().running.clear();
    state().stateDirectory      = {};
    state().productFriendlyName = {};
}

PB_BOOL refuse( const Text &reason )
{
    phase         = Phase::stopped;
    state().error = pb::adopt( pbStringCreateFromCstr( reason.c_str(), (PB_INT)reason.size() ) );
    return PB_FALSE;
}

}

void pbRuntimeRegisterModule( const PB_MODULE *module )
{
    PB_CHECK( module );
    bool startingOrStopping = phase == Phase::starting || phase == Phase::stopping;
    PB_CHECK( !startingOrStopping );
    Modules &registered = state().registered;
    if( std::find( registered.begin(), registered.end(), module ) == registered.end() )
        registered.push_back( module );
}

PB_BOOL pbRuntimeStart( PB_RUNTIME_OPTIONS *options )
{
    PB_CHECK( options );
    bool started = !moveOn( Phase::stopped, Phase::starting );
    PB_CHECK( !started );
    state().error = {};

    Plan plan;
    bool ok = plan.add( "pb" );
    for( PB_INT index = 0; ok && index < pbVectorLength( options->modules ); index++ )
    {
        PB_INT      length;
        const char *name = pbStringPeekUtf8( pbStringFrom( pb___VectorPeekObjAt( options->modules, index ) ), &length );
        ok               = plan.add( Text( name, (size_t)length ) );
    }
    if( !ok )
        return refuse( plan.error );
    Text problem = problemOf( options );
    if( problem.empty() )
        problem = pb::concurrency::start( options->workers ? options->workers : processors(), options->executor, options->executorContext );
    if( !problem.empty() )
        return refuse( problem );
    state().stateDirectory      = pb::share( options->stateDirectory );
    state().productFriendlyName = pb::share( options->productFriendlyName );

    for( const PB_MODULE *module : plan.order )
    {
        tell( "startup", module );
        if( !module->startup() )
        {
            stopRunning();
            return refuse( "module '" + Text( module->record->moduleName ) + "' refused to start" );
        }
        state().running.push_back( module );
    }
    phase = Phase::started;
    return PB_TRUE;
}

PB_STRING *pbRuntimeStartError() { return pb::shareOrNull( state().error.get() ); }

void pbRuntimeStop()
{
    bool insideRun = pb::threadState.runs != 0;
    bool holdsLock = pb::threadState.heldLocks != 0;
    PB_CHECK( !insideRun );
    PB_CHECK( !holdsLock );
    bool started = moveOn( Phase::started, Phase::stopping );
    PB_CHECK( started );
    stopRunning();
    phase = Phase::stopped;
}

PB_BOOL pbRuntimeStarted()
{
    Phase now = phase;
    return now == Phase::started || now == Phase::stopping;
}

PB_RUNTIME_PATHS *pbRuntimePaths()
{
    PB_RUNTIME_PATHS *paths = pb::create<PB_RUNTIME_PATHS>();
    paths->stateDirectory   = pb::shareOrNull( state().stateDirectory.get() );
    return paths;
}

PB_STRING *pbRuntimeVersionProductFriendlyName()
{
    PB_STRING *name = state().productFriendlyName.get();
    return name ? pb::shareOrNull( name ) : pbStringCreateFromCstr( pbModule()->record->productDisplayName, -1 );
}

void pb___RuntimeSetObserver( PB_RUNTIME_OBSERVER observer ) { state().observer = observer; }
