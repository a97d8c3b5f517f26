/* The end of the process after a broken contract. */
#ifndef PB_PB_ABORT_H
#define PB_PB_ABORT_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/* PB_ABORT_HANDLER: pb___Abort calls it before the process ends. If it returns, the process ends.
   It must not go back to the broken call in any other way; only tests leave it by longjmp. No lock
   of the family is held while it runs. */
typedef void ( *PB_ABORT_HANDLER )( const char *context, const char *file, PB_INT line, const char *expression );

/* pbAbortSetHandler: installs a handler for the whole process; null removes it. Returns the handler
   that was there. Any thread may call it. */
PB_EXPORT PB_ABORT_HANDLER pbAbortSetHandler( PB_ABORT_HANDLER handler );

/* pb___AbortSetFlush: lets one library (the trace library) write out what it still holds when the
   process ends; null removes the function. It must not block. */
PB_EXPORT void pb___AbortSetFlush( void ( *flush )( void ) );

PB_END_DECLS

#endif
