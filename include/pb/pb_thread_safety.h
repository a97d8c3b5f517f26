/* Annotations for Clang's thread-safety analysis. Other compilers ignore them. */
#ifndef PB_PB_THREAD_SAFETY_H
#define PB_PB_THREAD_SAFETY_H

#include <pb/pb_base.h>

/* PB_THREAD_SAFETY: an attribute of the analysis. */
#if defined( __clang__ )
#define PB_THREAD_SAFETY( attribute ) __attribute__( ( attribute ) )
#else
#define PB_THREAD_SAFETY( attribute )
#endif

/* PB_LOCK_TYPE: the type is a lock. PB_LOCK_GUARD: objects of the type hold a lock while they
   exist. */
#define PB_LOCK_TYPE( name ) PB_THREAD_SAFETY( capability( name ) )
#define PB_LOCK_GUARD PB_THREAD_SAFETY( scoped_lockable )
/* PB_GUARDED_BY: the variable is used only while the lock is held. */
#define PB_GUARDED_BY( lock ) PB_THREAD_SAFETY( guarded_by( lock ) )
/* PB_TAKES, PB_TAKES_SHARED, PB_GIVES, PB_GIVES_SHARED: the function locks or unlocks. */
#define PB_TAKES( ... ) PB_THREAD_SAFETY( acquire_capability( __VA_ARGS__ ) )
#define PB_TAKES_SHARED( ... ) PB_THREAD_SAFETY( acquire_shared_capability( __VA_ARGS__ ) )
#define PB_GIVES( ... ) PB_THREAD_SAFETY( release_capability( __VA_ARGS__ ) )
#define PB_GIVES_SHARED( ... ) PB_THREAD_SAFETY( release_shared_capability( __VA_ARGS__ ) )
#define PB_GIVES_ANY( ... ) PB_THREAD_SAFETY( release_generic_capability( __VA_ARGS__ ) )
#define PB_TRIES_SHARED( ... ) PB_THREAD_SAFETY( try_acquire_shared_capability( __VA_ARGS__ ) )
/* PB_NEEDS, PB_NEEDS_SHARED: the caller holds the lock. PB_EXCLUDES: the caller does not hold
   it. */
#define PB_NEEDS( ... ) PB_THREAD_SAFETY( requires_capability( __VA_ARGS__ ) )
#define PB_NEEDS_SHARED( ... ) PB_THREAD_SAFETY( requires_shared_capability( __VA_ARGS__ ) )
#define PB_EXCLUDES( ... ) PB_THREAD_SAFETY( locks_excluded( __VA_ARGS__ ) )
/* PB_UNCHECKED: the analysis leaves this function out. */
#define PB_UNCHECKED PB_THREAD_SAFETY( no_thread_safety_analysis )

#endif
