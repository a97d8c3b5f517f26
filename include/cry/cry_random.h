/* Cryptographically strong random bytes. */
#ifndef CRY_CRY_RANDOM_H
#define CRY_CRY_RANDOM_H

#include <pb/pb_buffer.h>

PB_BEGIN_DECLS

/* cryRandomBytes: fills `byteCount` bytes at `bytes` from OpenSSL's generator; should that fail,
   from the operating system's. Aborts on a null pointer with a count ("bytes || !byteCount") and on
   a negative count ("byteCount >= 0"). */
PB_EXPORT void cryRandomBytes( PB_BYTE *bytes, PB_INT byteCount );
/* cryRandom: appends `byteCount` such bytes to the caller's buffer. Aborts on null ("buffer",
   "*buffer || !byteCount") and on a negative count ("byteCount >= 0"). */
PB_EXPORT void cryRandom( PB_BUFFER **buffer, PB_INT byteCount );
/* cryTryRandomData: a new buffer of `bytes` random bytes of OpenSSL's generator alone. When one
   call of it fails: null if `strict`, else the failure is ignored and the content is not to be
   relied on. Aborts unless "bytes > 0". */
PB_EXPORT PB_BUFFER *cryTryRandomData( PB_INT bytes, PB_BOOL strict );

PB_END_DECLS

#endif
