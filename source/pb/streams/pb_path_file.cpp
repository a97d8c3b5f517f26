#include <pb/pb_path_file.h>
#include <pb/ref.hpp>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

struct File
{
    int descriptor;
    ~File()
    {
        if( descriptor >= 0 )
            close( descriptor );
    }
};

}

PB_BUFFER *pbPathFileTryReadBuffer( PB_STRING *path, PB_INT maxLength )
{
    PB_CHECK( path );
    PB_CHECK( maxLength >= 0 );
    const char *name = pbStringTryPeekCstr( path );
    // Not to hang on a pipe that stands in the place of a file.
    File        file{ name ? open( name, O_RDONLY | O_CLOEXEC | O_NONBLOCK ) : -1 };
    struct stat status;
    if( file.descriptor < 0 || fstat( file.descriptor, &status ) != 0 || !S_ISREG( status.st_mode ) || status.st_size > maxLength )
        return nullptr;

    PB_BYTE           *bytes;
    PB_INT             expected = status.st_size;
    pb::Ref<PB_BUFFER> content  = pb::adopt( pb___BufferCreateLength( expected, &bytes ) );
    PB_INT             length   = 0;
    while( length < expected )
    {
        ssize_t count = ::read( file.descriptor, bytes + length, (size_t)( expected - length ) );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            return nullptr;
        if( count == 0 )
            break;
        length += count;
    }
    // It may have become shorter meanwhile.
    pbBufferDelInner( content.handle(), length, expected - length );
    return content.take();
}

namespace
{

// All that these say is 0 or an error number.

int writeAll( int descriptor, const PB_BYTE *bytes, PB_INT length )
{
    while( length )
    {
        ssize_t count = ::write( descriptor, bytes, (size_t)length );
        if( count < 0 && errno == EINTR )
            continue;
        if( count < 0 )
            return errno;
        bytes += count;
        length -= count;
    }
    return 0;
}

int resultOf( int status ) { return status == 0 ? 0 : errno; }

int fillFile( int descriptor, PB_BUFFER *content, unsigned int mode )
{
    if( int problem = writeAll( descriptor, pbBufferBytes( content ), pbBufferLength( content ) ) )
        return problem;
    if( int problem = resultOf( fchmod( descriptor, (mode_t)mode ) ) )
        return problem;
    return resultOf( fsync( descriptor ) );
}

// Gives a file that has another name, or none yet, its name.
int rename( const char *from, const char *to, bool replace )
{
    if( replace )
        return resultOf( ::rename( from, to ) );
    if( renameat2( AT_FDCWD, from, AT_FDCWD, to, RENAME_NOREPLACE ) == 0 )
        return 0;
    if( errno != EINVAL && errno != ENOSYS )
        return errno;
    // A file system that does not know this.
    if( int problem = resultOf( link( from, to ) ) )
        return problem;
    unlink( from );
    return 0;
}

int nameFile( const File &file, const char *to )
{
    char self[40];
    std::snprintf( self, sizeof self, "/proc/self/fd/%d", file.descriptor );
    return resultOf( linkat( AT_FDCWD, self, AT_FDCWD, to, AT_SYMLINK_FOLLOW ) );
}

// Through a file beside the target, which is gone in the end.
int writeThroughNeighbour( const std::string &target, PB_BUFFER *content, unsigned int mode, bool replace )
{
    std::string neighbour = target + ".XXXXXX";
    File        file{ mkostemp( neighbour.data(), O_CLOEXEC ) };
    if( file.descriptor < 0 )
        return errno;
    int problem = fillFile( file.descriptor, content, mode );
    if( !problem )
        problem = rename( neighbour.c_str(), target.c_str(), replace );
    if( problem )
        unlink( neighbour.c_str() );
    return problem;
}

// Through a file without a name, of which nothing is left whatever happens; -1 where the file system has no such files.
int writeNameless( const std::string &folder, const std::string &target, PB_BUFFER *content, unsigned int mode )
{
    File file{ open( folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600 ) };
    if( file.descriptor < 0 )
        return -1;
    if( int problem = fillFile( file.descriptor, content, mode ) )
        return problem;
    int problem = nameFile( file, target.c_str() );
    return problem == 0 || problem == EEXIST ? problem : -1;
}

int writeWhole( const std::string &target, PB_BUFFER *content, unsigned int mode, bool replace )
{
    size_t      slash   = target.rfind( '/' );
    std::string folder  = slash == target.npos ? "." : slash == 0 ? "/" : target.substr( 0, slash );
    int         problem = replace ? -1 : writeNameless( folder, target, content, mode );
    if( problem < 0 )
        problem = writeThroughNeighbour( target, content, mode, replace );
    if( problem )
        return problem;
    File directory{ open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) };
    // The content is there; that some file systems cannot sync a directory changes nothing.
    if( directory.descriptor >= 0 )
        fsync( directory.descriptor );
    return 0;
}

int writeInto( const char *path, PB_BUFFER *content )
{
    File file{ open( path, O_WRONLY | O_CLOEXEC | O_NOCTTY ) };
    return file.descriptor < 0 ? errno : writeAll( file.descriptor, pbBufferBytes( content ), pbBufferLength( content ) );
}

}

int pb___PathFileWrite( const char *path, PB_BUFFER *content, unsigned int mode, PB_BOOL replace )
{
    PB_CHECK( path );
    PB_CHECK( content );
    struct stat status;
    if( stat( path, &status ) != 0 )
        return writeWhole( path, content, mode, replace );
    if( S_ISDIR( status.st_mode ) )
        return EISDIR;
    if( !S_ISREG( status.st_mode ) )
        return writeInto( path, content );
    if( !replace )
        return EEXIST;
    // A link stays a link, and what it leads to is replaced.
    char *real = realpath( path, nullptr );
    if( !real )
        return errno;
    int problem = writeWhole( real, content, mode, true );
    std::free( real );
    return problem;
}

PB_BOOL pbPathFileWriteBuffer( PB_STRING *path, PB_BUFFER *content )
{
    PB_CHECK( path );
    PB_CHECK( content );
    const char *name = pbStringTryPeekCstr( path );
    return name && pb___PathFileWrite( name, content, 0600, PB_TRUE ) == 0;
}
