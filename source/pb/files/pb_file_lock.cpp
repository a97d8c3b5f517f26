#include <pb/containers.hpp>
#include <pb/pb_file_lock.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include <cerrno>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/pb_sync.hpp"

namespace
{

// A file that this process has locked. The list has no second one for the same file.
struct Locked
{
    dev_t   device;
    ino_t   inode;
    int     descriptor;
    PB_INT  users;
    Locked *next;
};

struct Files
{
    pb::sync::Lock lock;
    Locked *first  PB_GUARDED_BY( lock ) = nullptr;
};

constinit Files files = {};

}

struct PB_FILE_LOCK : PB_OBJ
{
    Locked *locked;
};

static void freeLock( PB_FILE_LOCK *lock )
{
    PB_CHECK( lock );
    Locked *last = nullptr;
    {
        pb::sync::Hold hold( files.lock );
        if( --lock->locked->users == 0 )
        {
            last          = lock->locked;
            Locked **link = &files.first;
            while( *link != last )
                link = &( *link )->next;
            *link = last->next;
            // The lock goes with the descriptor. Nobody may find neither the entry nor the file.
            close( last->descriptor );
        }
    }
    if( last )
        pb::destroy( last );
}

PB_SORT_DEFINE( pb, FileLock, PB_FILE_LOCK, .free = pb::slot<freeLock> )

namespace
{

PB_FILE_LOCK *create( Locked *locked )
{
    PB_FILE_LOCK *lock = pb::create<PB_FILE_LOCK>();
    lock->locked       = locked;
    return lock;
}

// Finds the lock that this process has on a file, which gets one more user, or else locks the file.
// This is one step, so that another thread of this process is not taken for another process. Gives
// 0 or an error number.
int lockFile( int descriptor, const struct stat &status, Locked **locked )
{
    pb::sync::Hold hold( files.lock );
    for( Locked *each = files.first; each; each = each->next )
    {
        if( each->device == status.st_dev && each->inode == status.st_ino )
        {
            each->users++;
            *locked = each;
            return 0;
        }
    }
    if( flock( descriptor, LOCK_EX | LOCK_NB ) != 0 )
        return errno;
    files.first = pb::make<Locked>( Locked{ status.st_dev, status.st_ino, descriptor, 1, files.first } );
    *locked     = files.first;
    return 0;
}

}

PB_FILE_LOCK *pbFileLockTryCreate( PB_STRING *path, PB_INT timeoutMs, PB_BOOL *busy )
{
    PB_CHECK( path );
    // The system has no wait with a limit, so it is asked again and again.
    static constexpr PB_INT pauseMs    = 10;
    const char             *name       = pbStringTryPeekCstr( path );
    int                     descriptor = name ? open( name, O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600 ) : -1;
    if( busy )
        *busy = PB_FALSE;
    struct stat status;
    if( descriptor < 0 || fstat( descriptor, &status ) != 0 )
    {
        if( descriptor >= 0 )
            close( descriptor );
        return nullptr;
    }
    for( PB_INT waited = 0;; waited += pauseMs )
    {
        Locked *locked  = nullptr;
        int     problem = lockFile( descriptor, status, &locked );
        if( !problem )
        {
            if( locked->descriptor != descriptor )
                close( descriptor );
            return create( locked );
        }
        bool other = problem == EWOULDBLOCK || problem == EINTR;
        if( busy && other )
            *busy = PB_TRUE;
        if( !other || ( timeoutMs >= 0 && waited >= timeoutMs ) )
        {
            close( descriptor );
            return nullptr;
        }
        usleep( pauseMs * 1000 );
    }
}
