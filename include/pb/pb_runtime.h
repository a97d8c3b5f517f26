/* The runtime: starts the modules in the order of their dependencies and stops them again. Only one
   thread at a time may start, stop and register. If a hook of a module tries it, or another thread
   tries it at the same time, that aborts ("!startingOrStopping"). */
#ifndef PB_PB_RUNTIME_H
#define PB_PB_RUNTIME_H

#include <pb/pb_module.h>
#include <pb/pb_obj.h>
#include <pb/pb_process.h>
#include <pb/pb_vector.h>

PB_OBJECT_TYPE( PB_RUNTIME_OPTIONS );
/* Many threads may read a PB_RUNTIME_OPTIONS; edit it only while one thread holds it. */
PB_OBJECT_TYPE( PB_RUNTIME_PATHS );
/* A PB_RUNTIME_PATHS cannot change; any thread may use it. */

/* PB_RUNTIME_PATH_STATE: the kind of the path of the directory for data that is kept between
   starts. */
#define PB_RUNTIME_PATH_STATE ( (PB_INT)4 )
/* PB_RUNTIME_FRIENDLY_NAME_LENGTH_MAX: the most characters of a product's friendly name, as of a
   common name (RFC 5280, appendix A.1, ub-common-name). */
#define PB_RUNTIME_FRIENDLY_NAME_LENGTH_MAX ( (PB_INT)64 )
/* PB_RUNTIME_WORKERS_MAX: the most workers. */
#define PB_RUNTIME_WORKERS_MAX ( (PB_INT)1024 )

PB_BEGIN_DECLS

/* pbRuntimeOptionsCreate: options that name no module. */
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreate( void );
/* pbRuntimeOptionsCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreateFrom( PB_RUNTIME_OPTIONS *source );
/* pbRuntimeOptionsAppendModuleCstr: adds a module to start, by its name ("cry"). All modules on
   which it depends are started too. `length` -1 means zero-terminated. pbRuntimeStart refuses text
   that is not a module name. */
PB_EXPORT void pbRuntimeOptionsAppendModuleCstr( PB_RUNTIME_OPTIONS **options, const char *name, PB_INT length );
/* pbRuntimeOptionsModules: the names, a new reference to a vector of strings. */
PB_EXPORT PB_VECTOR *pbRuntimeOptionsModules( PB_RUNTIME_OPTIONS *options );
/* pbRuntimeOptionsSetStateDirectoryCstr: the directory for data that is kept between starts. If it
   is not set, nothing is kept. */
PB_EXPORT void pbRuntimeOptionsSetStateDirectoryCstr( PB_RUNTIME_OPTIONS **options, const char *path, PB_INT length );
/* pbRuntimeOptionsStateDirectory: the directory, a new reference; null if it is not set. */
PB_EXPORT PB_STRING *pbRuntimeOptionsStateDirectory( PB_RUNTIME_OPTIONS *options );
/* pbRuntimeOptionsSetProductFriendlyNameCstr: the name of the product for people, which becomes the
   common name of certificates. pbRuntimeStart refuses an empty name and one of more than 64
   characters. If it is not set, it is the display name of the module record. */
PB_EXPORT void pbRuntimeOptionsSetProductFriendlyNameCstr( PB_RUNTIME_OPTIONS **options, const char *name, PB_INT length );
/* pbRuntimeOptionsProductFriendlyName: the name, a new reference; null if it is not set. */
PB_EXPORT PB_STRING *pbRuntimeOptionsProductFriendlyName( PB_RUNTIME_OPTIONS *options );
/* pbRuntimeOptionsSetWorkers: the number of threads for ordinary runs, 0 to 1024; 0 means one for
   each processor. Any other number aborts. */
PB_EXPORT void pbRuntimeOptionsSetWorkers( PB_RUNTIME_OPTIONS **options, PB_INT workers );
/* pbRuntimeOptionsWorkers: the number that was set. */
PB_EXPORT PB_INT pbRuntimeOptionsWorkers( PB_RUNTIME_OPTIONS *options );

/* pbRuntimeOptionsSetExecutor: the host's threads take the place of the workers; `context` is
   handed to each call. The number of workers is then the number of calls that are made at a time.
   Null means that the runtime has workers of its own. Background runs and timers have their threads
   in both cases. */
PB_EXPORT void pbRuntimeOptionsSetExecutor( PB_RUNTIME_OPTIONS **options, PB_EXECUTOR executor, void *context );

/* pbRuntimeRegisterModule: registers a module of the host's own program, which is then used instead
   of a shared library of the same name. Call it before the start; the module stays registered. If
   another module of this name is loaded or registered, the start fails. A null module aborts
   ("module"). */
PB_EXPORT void pbRuntimeRegisterModule( const PB_MODULE *module );

/* pbRuntimeStart: loads and starts the modules, dependencies first. A module that is in the process
   already is used. For any other module, the shared library is searched beside the base library,
   then on the loader's path. If something fails, everything is stopped again, the result is false,
   and pbRuntimeStartError gives the reason. A second copy of a module or of the base library in the
   process is also a failure. If the runtime is started already, it aborts ("!started"). */
PB_EXPORT PB_BOOL pbRuntimeStart( PB_RUNTIME_OPTIONS *options );
/* pbRuntimeStartError: the reason why the last start failed, a new string; null if it did not
   fail. */
PB_EXPORT PB_STRING *pbRuntimeStartError( void );
/* pbRuntimeStop: halts the modules in the reverse order of the start. After that nothing is
   scheduled and no timer fires; ordinary runs that wait still run, background runs do not; threads
   that wait for a signal or a process are let go. When all runs have ended, it ends the threads and
   calls the fourth hooks and then the shut-down hooks in the same order. If the runtime is not
   started, it aborts ("started"); also inside a run ("!insideRun") and while the thread holds a
   lock ("!holdsLock"). Libraries stay loaded. Objects stay valid. They can be released at any time
   and used after the next start. */
PB_EXPORT void pbRuntimeStop( void );
/* pbRuntimeStarted: whether the runtime is started. Any thread may call it. */
PB_EXPORT PB_BOOL pbRuntimeStarted( void );

/* pbRuntimePaths: the paths of the started runtime, a new reference. */
PB_EXPORT PB_RUNTIME_PATHS *pbRuntimePaths( void );
/* pbRuntimePathsPath: the path of a kind, a new reference; null if it is not set or there is no
   such kind. */
PB_EXPORT PB_STRING *pbRuntimePathsPath( PB_RUNTIME_PATHS *paths, PB_INT kind );
/* pbRuntimeVersionProductFriendlyName: the product's friendly name, a new reference. */
PB_EXPORT PB_STRING *pbRuntimeVersionProductFriendlyName( void );

/* PB_RUNTIME_OBSERVER: is called before each hook, with "startup", "halt", "fourth" or "shutdown"
   and the module. */
typedef void ( *PB_RUNTIME_OBSERVER )( const char *hook, const PB_MODULE *module );
/* pb___RuntimeSetObserver: for tests and diagnostics; null removes it. */
PB_EXPORT void pb___RuntimeSetObserver( PB_RUNTIME_OBSERVER observer );

/* pbRuntimeOptionsSort/Obj/From/Retain/Release/Compare/Equals/ToString and
   pbRuntimePathsSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). */
PB_EXPORT const PB_SORT      *pbRuntimeOptionsSort( void );
PB_EXPORT PB_OBJ             *pbRuntimeOptionsObj( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsFrom( PB_OBJ *obj );
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsRetain( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT void                pbRuntimeOptionsRelease( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT PB_INT              pbRuntimeOptionsCompare( PB_RUNTIME_OPTIONS *objA, PB_RUNTIME_OPTIONS *objB );
PB_EXPORT PB_BOOL             pbRuntimeOptionsEquals( PB_RUNTIME_OPTIONS *objA, PB_RUNTIME_OPTIONS *objB );
PB_EXPORT PB_STRING          *pbRuntimeOptionsToString( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT const PB_SORT      *pbRuntimePathsSort( void );
PB_EXPORT PB_OBJ             *pbRuntimePathsObj( PB_RUNTIME_PATHS *obj );
PB_EXPORT PB_RUNTIME_PATHS   *pbRuntimePathsFrom( PB_OBJ *obj );
PB_EXPORT PB_RUNTIME_PATHS   *pbRuntimePathsRetain( PB_RUNTIME_PATHS *obj );
PB_EXPORT void                pbRuntimePathsRelease( PB_RUNTIME_PATHS *obj );
PB_EXPORT PB_INT              pbRuntimePathsCompare( PB_RUNTIME_PATHS *objA, PB_RUNTIME_PATHS *objB );
PB_EXPORT PB_BOOL             pbRuntimePathsEquals( PB_RUNTIME_PATHS *objA, PB_RUNTIME_PATHS *objB );
PB_EXPORT PB_STRING          *pbRuntimePathsToString( PB_RUNTIME_PATHS *obj );

PB_END_DECLS

#endif
