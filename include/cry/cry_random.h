/* Cryptographically strong random bytes. */
#ifndef CRY_CRY_RANDOM_H
#define CRY_CRY_RANDOM_H

#include <pb/pb_buffer.h>

PB_BEGIN_DECLS

/* cryRandomBytes: fills `byteCount` bytes at `bytes` from OpenSSL's generator; if that fails, the
   rest comes from the operating system. Aborts on a null pointer with a count ("bytes ||
   !byteCount") and on a negative count ("byteCount >= 0"). */
PB_EXPORT void cryRandomBytes( PB_BYTE *bytes, PB_INT byteCount );
/* cryRandom: appends `byteCount` such bytes to the caller's buffer. Aborts on null ("buffer",
   "*buffer || !byteCount") and on a negative count ("byteCount >= 0"). */
PB_EXPORT void cryRandom( PB_BUFFER **buffer, PB_INT byteCount );
/* cryTryRandomData: a new buffer of `bytes` random bytes, only from OpenSSL's generator. If a call
   of the generator fails and `strict` is true, the result is null. If `strict` is false, the
   failure is ignored, and the caller must not rely on the bytes. Aborts unless "bytes > 0". */
PB_EXPORT PB_BUFFER *cryTryRandomData( PB_INT bytes, PB_BOOL strict );

PB_END_DECLS

#endif
