/* File locks, which keep processes apart that change the same files. */
#ifndef PB_PB_FILE_LOCK_H
#define PB_PB_FILE_LOCK_H

#include <pb/pb_obj.h>

PB_OBJECT_TYPE( PB_FILE_LOCK );
/* PB_FILE_LOCK: while it exists, no other process gets a lock on the same file. Within one process,
   any number of them may exist for one file; the process gives the file back when the last one is
   freed. Any thread may use it. */

PB_BEGIN_DECLS

/* pbFileLockTryCreate: locks a file, which is made (0600) if it is missing and stays there. If
   another process has the lock, it waits for up to `timeoutMs` milliseconds; below zero means
   without a limit. Null if the time is over, or if the file cannot be made or locked. If `busy` is
   not null, it says whether another process had the lock. Null paths abort ("path"). */
PB_EXPORT PB_FILE_LOCK *pbFileLockTryCreate( PB_STRING *path, PB_INT timeoutMs, PB_BOOL *busy );

/* pbFileLockSort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md). A lock equals only itself. */
PB_EXPORT const PB_SORT *pbFileLockSort( void );
PB_EXPORT PB_OBJ        *pbFileLockObj( PB_FILE_LOCK *obj );
PB_EXPORT PB_FILE_LOCK  *pbFileLockFrom( PB_OBJ *obj );
PB_EXPORT PB_FILE_LOCK  *pbFileLockRetain( PB_FILE_LOCK *obj );
PB_EXPORT void           pbFileLockRelease( PB_FILE_LOCK *obj );
PB_EXPORT PB_INT         pbFileLockCompare( PB_FILE_LOCK *objA, PB_FILE_LOCK *objB );
PB_EXPORT PB_BOOL        pbFileLockEquals( PB_FILE_LOCK *objA, PB_FILE_LOCK *objB );
PB_EXPORT PB_STRING     *pbFileLockToString( PB_FILE_LOCK *obj );

PB_END_DECLS

#endif
