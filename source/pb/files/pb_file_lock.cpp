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
        }
    }
    if( last )
    {
        // The lock goes with the descriptor.
        close( last->descriptor );
        pb::destroy( last );
    }
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

// One more user of a file that this process has locked; null if it has not.
Locked *useAgain( const struct stat &status )
{
    pb::sync::Hold hold( files.lock );
    for( Locked *each = files.first; each; each = each->next )
    {
        if( each->device == status.st_dev && each->inode == status.st_ino )
        {
            each->users++;
            return each;
        }
    }
    return nullptr;
}

void add( Locked *locked )
{
    pb::sync::Hold hold( files.lock );
    locked->next = files.first;
    files.first  = locked;
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
        if( Locked *again = useAgain( status ) )
        {
            close( descriptor );
            return create( again );
        }
        if( flock( descriptor, LOCK_EX | LOCK_NB ) == 0 )
        {
            Locked *locked = pb::make<Locked>( Locked{ status.st_dev, status.st_ino, descriptor, 1, nullptr } );
            add( locked );
            return create( locked );
        }
        bool other = errno == EWOULDBLOCK || errno == EINTR;
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
