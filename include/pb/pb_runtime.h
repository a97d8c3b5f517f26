/* The runtime: starts the modules in the order of their dependencies and stops them again. Only one
   thread at a time may start, stop and register. If a hook of a module tries it, or another thread
   tries it at the same time, that aborts ("!startingOrStopping"). */
#ifndef PB_PB_RUNTIME_H
#define PB_PB_RUNTIME_H

#include <pb/pb_module.h>
#include <pb/pb_obj.h>
#include <pb/pb_vector.h>

PB_OBJECT_TYPE( PB_RUNTIME_OPTIONS );
/* Many threads may read a PB_RUNTIME_OPTIONS; edit it only while one thread holds it. */

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
/* pbRuntimeStop: halts the modules in the reverse order of the start, then calls their fourth hooks
   and then their shut-down hooks in the same order. If the runtime is not started, it aborts
   ("started"). Libraries stay loaded. Objects stay valid and can be used after the next start. */
PB_EXPORT void pbRuntimeStop( void );
/* pbRuntimeStarted: whether the runtime is started. Any thread may call it. */
PB_EXPORT PB_BOOL pbRuntimeStarted( void );

/* PB_RUNTIME_OBSERVER: is called before each hook, with "startup", "halt", "fourth" or "shutdown"
   and the module. */
typedef void ( *PB_RUNTIME_OBSERVER )( const char *hook, const PB_MODULE *module );
/* pb___RuntimeSetObserver: for tests and diagnostics; null removes it. */
PB_EXPORT void pb___RuntimeSetObserver( PB_RUNTIME_OBSERVER observer );

/* pbRuntimeOptionsSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard
   functions (docs/conventions.md). */
PB_EXPORT const PB_SORT      *pbRuntimeOptionsSort( void );
PB_EXPORT PB_OBJ             *pbRuntimeOptionsObj( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsFrom( PB_OBJ *obj );
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsRetain( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT void                pbRuntimeOptionsRelease( PB_RUNTIME_OPTIONS *obj );
PB_EXPORT PB_INT              pbRuntimeOptionsCompare( PB_RUNTIME_OPTIONS *objA, PB_RUNTIME_OPTIONS *objB );
PB_EXPORT PB_BOOL             pbRuntimeOptionsEquals( PB_RUNTIME_OPTIONS *objA, PB_RUNTIME_OPTIONS *objB );
PB_EXPORT PB_STRING          *pbRuntimeOptionsToString( PB_RUNTIME_OPTIONS *obj );

PB_END_DECLS

#endif
