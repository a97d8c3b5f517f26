/* The runtime: starts the modules of the family in the order of their dependencies and stops them again. */
#ifndef PB_PB_RUNTIME_H
#define PB_PB_RUNTIME_H

#include <pb/pb_module.h>
#include <pb/pb_obj.h>
#include <pb/pb_vector.h>

PB_OBJECT_TYPE( PB_RUNTIME_OPTIONS );

PB_BEGIN_DECLS

/* pbRuntimeOptionsCreate: options that name no module. */
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreate( void );
/* pbRuntimeOptionsCreateFrom: a copy; null aborts ("source"). */
PB_EXPORT PB_RUNTIME_OPTIONS *pbRuntimeOptionsCreateFrom( PB_RUNTIME_OPTIONS *source );
/* pbRuntimeOptionsAppendModuleCstr: a module to start, by its name ("cry"), together with all that it depends on; `length` -1 means zero-terminated. */
PB_EXPORT void pbRuntimeOptionsAppendModuleCstr( PB_RUNTIME_OPTIONS **options, const char *name, PB_INT length );
/* pbRuntimeOptionsModules: the names, a new reference to a vector of strings. */
PB_EXPORT PB_VECTOR *pbRuntimeOptionsModules( PB_RUNTIME_OPTIONS *options );

/* pbRuntimeRegisterModule: makes a module known that is part of the host's own program, in place of a shared library of its name. Before the start; stays
   registered. A null module aborts ("module"). */
PB_EXPORT void pbRuntimeRegisterModule( const PB_MODULE *module );

/* pbRuntimeStart: loads and starts the modules, dependencies first. A module that is in the process already is taken; otherwise its shared library is looked
   for beside the base library, then on the loader's path. On failure everything is stopped again, false is returned and pbRuntimeStartError says why. Starting
   a runtime that is started aborts ("!started"). Start and stop belong to one thread at a time. */
PB_EXPORT PB_BOOL pbRuntimeStart( PB_RUNTIME_OPTIONS *options );
/* pbRuntimeStartError: why the last start failed, a new string; null when it did not. */
PB_EXPORT PB_STRING *pbRuntimeStartError( void );
/* pbRuntimeStop: halts the modules in reverse order, then calls their fourth hooks and their shut-downs in reverse order. A runtime that is not started aborts
   ("started"). Libraries stay loaded. */
PB_EXPORT void pbRuntimeStop( void );
/* pbRuntimeStarted: whether the runtime is started. */
PB_EXPORT PB_BOOL pbRuntimeStarted( void );

/* PB_RUNTIME_OBSERVER: told of each hook before it is called: "startup", "halt", "fourth" or "shutdown", and the module. */
typedef void ( *PB_RUNTIME_OBSERVER )( const char *hook, const PB_MODULE *module );
/* pb___RuntimeSetObserver: for tests and diagnostics; null removes it. */
PB_EXPORT void pb___RuntimeSetObserver( PB_RUNTIME_OBSERVER observer );

/* pbRuntimeOptionsSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions (docs/conventions.md). */
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
