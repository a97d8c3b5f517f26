/* Whole files. */
#ifndef PB_PB_PATH_FILE_H
#define PB_PB_PATH_FILE_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/* pbPathFileTryReadBuffer: the content of a regular file of at most `maxLength` bytes; null when it cannot be read, is longer, is no regular file or the path
   holds U+0000. Blocks while the file is read. */
PB_EXPORT PB_BUFFER *pbPathFileTryReadBuffer( PB_STRING *path, PB_INT maxLength );

PB_END_DECLS

#endif
