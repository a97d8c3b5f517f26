/* What happens when a contract is broken. */
#ifndef PB_PB_ABORT_H
#define PB_PB_ABORT_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/* PB_ABORT_HANDLER: called by pb___Abort before the process ends. It must not return to the broken call by any other way than returning here
   (the process then ends); tests may leave it by longjmp. No lock is held while it runs. */
typedef void ( *PB_ABORT_HANDLER )( const char *context, const char *file, PB_INT line, const char *expression );

/* pbAbortSetHandler: installs a handler for the whole process, null removes it; returns the one that was there. */
PB_EXPORT PB_ABORT_HANDLER pbAbortSetHandler( PB_ABORT_HANDLER handler );

/* pb___AbortSetFlush: lets one library (the trace library) write out what it holds when the process ends; null removes it. The function must not
   block. */
PB_EXPORT void pb___AbortSetFlush( void ( *flush )( void ) );

PB_END_DECLS

#endif
