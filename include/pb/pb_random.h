/* Random bytes of the operating system. */
#ifndef PB_PB_RANDOM_H
#define PB_PB_RANDOM_H

#include <pb/pb_base.h>

PB_BEGIN_DECLS

/* pbRandomBytes: fills `byteCount` bytes from the kernel's generator (getrandom). If that fails, it
   aborts. It may block once, early after the machine's start. A null pointer with a count
   ("bytes || !byteCount") and a negative count ("byteCount >= 0") abort. Any thread may call it. */
PB_EXPORT void pbRandomBytes( PB_BYTE *bytes, PB_INT byteCount );

PB_END_DECLS

#endif
