#include <pb/pb_runtime.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <algorithm>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <string>
#include <string_view>
#include <vector>

struct PB_RUNTIME_OPTIONS : PB_OBJ
{
    PB_VECTOR *modules;
};

static constexpr auto runtimeOptionsFields = pb::fields<&PB_RUNTIME_OPTIONS::modules>;

static void freeRuntimeOptions( PB_RUNTIME_OPTIONS *options )
{
    PB_CHECK( options );
    runtimeOptionsFields.release( options );
}

static PB_INT compareRuntimeOptions( PB_RUNTIME_OPTIONS *optionsA, PB_RUNTIME_OPTIONS *optionsB )
{
    PB_CHECK( optionsA );
    PB_CHECK( optionsB );
    return runtimeOptionsFields.compare( optionsA, optionsB );
}

PB_SORT_DEFINE( pb, RuntimeOptions, PB_RUNTIME_OPTIONS, .free = pb::slot<freeRuntimeOptions>, .compare = pb::slot<compareRuntimeOptions> )

PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreate()
{
    PB_RUNTIME_OPTIONS *options = pb::create<PB_RUNTIME_OPTIONS>();
    options->modules            = pbVectorCreate();
    return options;
}

PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreateFrom( PB_RUNTIME_OPTIONS *source )
{
    PB_CHECK( source );
    PB_RUNTIME_OPTIONS *options = pb::create<PB_RUNTIME_OPTIONS>();
    runtimeOptionsFields.copy( options, source );
    return options;
}

void pbRuntimeOptionsAppendModuleCstr( PB_RUNTIME_OPTIONS **options, const char *name, PB_INT length )
{
    PB_CHECK_HANDLE( options );
    PB_CHECK( name );
    PB_RUNTIME_OPTIONS *target = pb::makeWritable( options, pbRuntimeOptionsCreateFrom );
    pb::Ref<PB_STRING>  text   = pb::adopt( pbStringCreateFromCstr( name, length ) );
    pbVectorAppendObj( &target->modules, text.obj() );
}

PB_VECTOR *pbRuntimeOptionsModules( PB_RUNTIME_OPTIONS *options )
{
    PB_CHECK( options );
    return pb::shareOrNull( options->modules );
}

namespace
{

// What the runtime knows of the process. Made at the first use and kept: modules stay loaded, and registered ones stay registered.
struct State
{
    std::vector<const PB_MODULE *> registered;
    std::vector<const PB_MODULE *> running; // in the order of their start
    PB_RUNTIME_OBSERVER            observer = nullptr;
    bool                           started  = false;
    pb::Ref<PB_STRING>             error;
};

State &state()
{
    static State *only = new State;
    return *only;
}

void tell( const char *hook, const PB_MODULE *module )
{
    if( state().observer )
        state().observer( hook, module );
}

// The file name of a module's library; the number is the interface version that all libraries of the product share.
std::string libraryName( const std::string &module ) { return "lib" + module + ".so." PB_PRODUCT_SOVERSION; }

std::string_view baseName( std::string_view path ) { return path.substr( path.rfind( '/' ) + 1 ); }

// The paths of all loaded libraries of one module; two of them would each have their own sorts.
std::vector<std::string> loadedCopies( const std::string &module )
{
    struct Search
    {
        std::string              prefix;
        std::vector<std::string> found;
    } search{ "lib" + module + ".so", {} };
    dl_iterate_phdr(
        []( dl_phdr_info *info, size_t, void *closure ) {
            Search          &own  = *(Search *)closure;
            std::string_view name = baseName( info->dlpi_name );
            if( name.starts_with( own.prefix ) && ( name.size() == own.prefix.size() || name[own.prefix.size()] == '.' ) )
                own.found.emplace_back( info->dlpi_name );
            return 0;
        },
        &search );
    return search.found;
}

std::string directoryOfThisLibrary()
{
    Dl_info     info;
    static char here;
    if( !dladdr( &here, &info ) || !info.dli_fname )
        return {};
    std::string path = info.dli_fname;
    size_t      cut  = path.rfind( '/' );
    return cut == std::string::npos ? std::string() : path.substr( 0, cut + 1 );
}

bool nameOk( const std::string &name )
{
    return !name.empty() && name.size() <= 64 &&
        std::all_of( name.begin(), name.end(), []( char c ) { return ( c >= 'a' && c <= 'z' ) || ( c >= '0' && c <= '9' ) || c == '_'; } );
}

// A start in progress: modules in the order in which they can be started.
struct Plan
{
    std::vector<const PB_MODULE *> order;
    std::vector<std::string>       path; // the modules whose dependencies are being resolved, for the cycle check
    std::string                    error;

    const PB_MODULE *fail( std::string reason )
    {
        error = std::move( reason );
        return nullptr;
    }

    // "cry", or "cry (needed by tr)".
    std::string named( const std::string &name ) const { return "'" + name + "'" + ( path.empty() ? "" : " (needed by '" + path.back() + "')" ); }

    const PB_MODULE *fromLibrary( const std::string &name )
    {
        std::string library = libraryName( name );
        void       *handle  = dlopen( library.c_str(), RTLD_NOW | RTLD_NOLOAD );
        std::string reason;
        if( !handle )
        {
            std::string beside = directoryOfThisLibrary() + library;
            handle             = dlopen( beside.c_str(), RTLD_NOW | RTLD_NODELETE );
            const char *why    = handle ? nullptr : dlerror();
            reason             = why ? why : "";
        }
        if( !handle )
        {
            handle = dlopen( library.c_str(), RTLD_NOW | RTLD_NODELETE );
            // A library that lies beside this one and does not load is the better reason.
            if( !handle && reason.find( "cannot open shared object file: No such file" ) != std::string::npos )
            {
                const char *why = dlerror();
                reason          = why ? why : reason;
            }
        }
        if( !handle )
            return fail( "module " + named( name ) + " cannot be loaded: " + reason );
        std::vector<std::string> copies = loadedCopies( name );
        if( copies.size() > 1 )
            return fail( "module " + named( name ) + " is in the process twice: " + copies[0] + " and " + copies[1] );
        auto entry = (const PB_MODULE *(*)())dlsym( handle, ( name + "Module" ).c_str() );
        if( !entry )
            return fail( "module " + named( name ) + " exports no module object: " + library + " has no function " + name + "Module" );
        const PB_MODULE *module = entry();
        return module ? module : fail( "module " + named( name ) + " exports no module object: " + name + "Module() gives null" );
    }

    const PB_MODULE *find( const std::string &name )
    {
        if( !nameOk( name ) )
            return fail( "'" + name + "' is not a module name" );
        for( const PB_MODULE *module : state().registered )
        {
            if( name == module->record->moduleName )
                return module;
        }
        if( name == pbModule()->record->moduleName )
            return pbModule();
        return fromLibrary( name );
    }

    bool add( const std::string &name )
    {
        for( const PB_MODULE *module : order )
        {
            if( name == module->record->moduleName )
                return true;
        }
        if( std::find( path.begin(), path.end(), name ) != path.end() )
        {
            std::string cycle;
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
            fail( "module " + named( name ) + " has a record of format " + std::to_string( module->record->formatVersion ) + ", this runtime knows " +
                std::to_string( PB_MODULE_RECORD_FORMAT_VERSION ) );
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
            if( !add( std::string( next ) ) )
                return false;
        }
        path.pop_back();
        order.push_back( module );
        return true;
    }
};

void stopRunning()
{
    std::vector<const PB_MODULE *> &running = state().running;
    for( auto module = running.rbegin(); module != running.rend(); ++module )
    {
        tell( "halt", *module );
        ( *module )->halt();
    }
    for( auto module = running.rbegin(); module != running.rend(); ++module )
    {
        tell( "fourth", *module );
        ( *module )->fourth();
    }
    for( auto module = running.rbegin(); module != running.rend(); ++module )
    {
        tell( "shutdown", *module );
        ( *module )->shutdown();
    }
    running.clear();
}

PB_BOOL refuse( const std::string &reason )
{
    stopRunning();
    state().error = pb::adopt( pbStringCreateFromCstr( reason.c_str(), (PB_INT)reason.size() ) );
    return PB_FALSE;
}

}

void pbRuntimeRegisterModule( const PB_MODULE *module )
{
    PB_CHECK( module );
    std::vector<const PB_MODULE *> &registered = state().registered;
    if( std::find( registered.begin(), registered.end(), module ) == registered.end() )
        registered.push_back( module );
}

PB_BOOL pbRuntimeStart( PB_RUNTIME_OPTIONS *options )
{
    PB_CHECK( options );
    bool started = state().started;
    PB_CHECK( !started );
    state().error = {};

    Plan plan;
    bool ok = plan.add( "pb" );
    for( PB_INT index = 0; ok && index < pbVectorLength( options->modules ); index++ )
        ok = plan.add( pbStringPeekUtf8( pbStringFrom( pb___VectorPeekObjAt( options->modules, index ) ), nullptr ) );
    if( !ok )
        return refuse( plan.error );

    for( const PB_MODULE *module : plan.order )
    {
        tell( "startup", module );
        if( !module->startup() )
            return refuse( "module '" + std::string( module->record->moduleName ) + "' refused to start" );
        state().running.push_back( module );
    }
    state().started = true;
    return PB_TRUE;
}

PB_STRING *pbRuntimeStartError() { return pb::shareOrNull( state().error.get() ); }

void pbRuntimeStop()
{
    bool started = state().started;
    PB_CHECK( started );
    stopRunning();
    state().started = false;
}

PB_BOOL pbRuntimeStarted() { return state().started; }

void pb___RuntimeSetObserver( PB_RUNTIME_OBSERVER observer ) { state().observer = observer; }
