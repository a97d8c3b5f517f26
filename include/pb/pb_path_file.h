/* Whole files. Any thread may call these functions. */
#ifndef PB_PB_PATH_FILE_H
#define PB_PB_PATH_FILE_H

#include <pb/pb_buffer.h>
#include <pb/pb_store_codec.h>
#include <pb/pb_string.h>

PB_BEGIN_DECLS

/* pbPathFileTryReadBuffer: the content of a regular file of at most `maxLength` bytes. Null if it
   cannot be read, is longer or is not a regular file, or if the path holds U+0000. Blocks while the
   file is read. */
PB_EXPORT PB_BUFFER *pbPathFileTryReadBuffer( PB_STRING *path, PB_INT maxLength );

/* pbPathFileWriteBuffer: makes a file with this content that only its owner can read, or replaces
   the file that is there. True if the content is on the disk; blocks until then. False if nothing
   has changed, or if the file has its new content, but its name may not be on the disk. The file is
   complete in both cases, even if the process is killed or the disk is full. */
PB_EXPORT PB_BOOL pbPathFileWriteBuffer( PB_STRING *path, PB_BUFFER *content );

/* pbPathFileReadStore: the store of a file (pbStoreTryDecode), a new reference. If `header` is not
   null, the file's header is put into it, a new reference, or null if there is none; the old value
   is not released. Null if pbPathFileTryReadBuffer or pbStoreTryDecode gives null. The file may
   hold secrets, so all strings of the store and of the header are sensitive. Blocks while the file
   is read. */
PB_EXPORT PB_STORE *pbPathFileReadStore( PB_STRING *path, PB_STORE_HEADER **header );
/* pbPathFileWriteStore: writes a store and its header, which may be null, as pbPathFileWriteBuffer
   does. False too, and nothing has changed, if pbPathFileReadStore could not read the file. */
PB_EXPORT PB_BOOL pbPathFileWriteStore( PB_STRING *path, PB_STORE *store, PB_STORE_HEADER *header );

/* pbPathFileExists: whether there is a file at this path, or something else with this name. Links
   are followed. False also if that cannot be found out, or if the path holds U+0000. */
PB_EXPORT PB_BOOL pbPathFileExists( PB_STRING *path );
/* pbPathFileDelete: removes a file; of a link, only the link. True if after that there is nothing
   at this path, so also if there was nothing; blocks until that is on the disk. False if the file
   cannot be removed, if it is a directory, if the path holds U+0000, or if the removal may not be
   on the disk. */
PB_EXPORT PB_BOOL pbPathFileDelete( PB_STRING *path );

/* pbPathDirectoryCreate: makes a directory that only its owner can use (0700), and those above it
   that are missing. True if there is a directory at this path afterwards. */
PB_EXPORT PB_BOOL pbPathDirectoryCreate( PB_STRING *path );

/* pb___PathFileWrite: as pbPathFileWriteBuffer, with the permissions of the file (as for chmod; the
   umask does not matter), and with `replace`: whether an existing file may be replaced. If the path
   leads to something else than a file, for example to a pipe or a terminal, the content is written
   into that. Returns 0 or a number of <errno.h>, EEXIST if the file may not be replaced. */
PB_EXPORT int pb___PathFileWrite( const char *path, PB_BUFFER *content, unsigned int mode, PB_BOOL replace );

PB_END_DECLS

#endif
