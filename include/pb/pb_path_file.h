/* Whole files. */
#ifndef PB_PB_PATH_FILE_H
#define PB_PB_PATH_FILE_H

#include <pb/pb_buffer.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/* pbPathFileTryReadBuffer: the content of a regular file of at most `maxLength` bytes; null when it cannot be read, is longer, is no regular file or the path
   holds U+0000. Blocks while the file is read. */
PB_EXPORT PB_BUFFER *pbPathFileTryReadBuffer( PB_STRING *path, PB_INT maxLength );

/* pbPathFileWriteBuffer: makes a file with this content, readable by its owner only, or puts it in the place of one that is there; false when that fails, and then
   everything is as it was. The file appears whole or not at all, even when the process is killed or the disk is full, and is on the disk when this returns. Blocks
   meanwhile. */
PB_EXPORT PB_BOOL pbPathFileWriteBuffer( PB_STRING *path, PB_BUFFER *content );

/* pb___PathFileWrite: the same, with the permissions of the file (as of chmod, the umask does not matter) and whether one that is there may be replaced. What
   is no regular file (a pipe, a terminal) is written to as it is. Returns 0 or one of <errno.h>, EEXIST for a file that may not be replaced. */
PB_EXPORT int pb___PathFileWrite( const char *path, PB_BUFFER *content, unsigned int mode, PB_BOOL replace );

PB_END_DECLS

#endif
