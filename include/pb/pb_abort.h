/* The end of the process after a broken contract. */
#ifndef PB_PB_ABORT_H
#define PB_PB_ABORT_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/* PB_ABORT_HANDLER: pb___Abort calls it before the process ends. If it returns, the process ends.
   Only tests may leave it by longjmp. The thread holds no lock of these libraries while it runs. */
typedef void ( *PB_ABORT_HANDLER )( const char *context, const char *file, PB_INT line, const char *expression );

/* pbAbortSetHandler: installs a handler for the whole process; null removes it. Returns the handler
   that was there. Any thread may call it. */
PB_EXPORT PB_ABORT_HANDLER pbAbortSetHandler( PB_ABORT_HANDLER handler );

/* pb___AbortSetFlush: sets a function that runs when the process ends after a broken contract; null
   removes it. The trace library uses it to write the text that it still holds. The function must
   not block. */
PB_EXPORT void pb___AbortSetFlush( void ( *flush )( void ) );

PB_END_DECLS

#endif
