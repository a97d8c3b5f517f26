#include <pb/containers.hpp>
#include <pb/pb_path_file.h>
#include <pb/pb_random.h>
#include <pb/ref.hpp>

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

#include "base/pb_descriptor.hpp"

using pb::Descriptor;

static PB_BUFFER *tryRead( PB_STRING *path, PB_INT maxLength, bool sensitive )
{
    const char *name = pbStringTryPeekCstr( path );
    // With O_NONBLOCK, the open does not block if the path leads to a pipe.
    Descriptor  file{ name ? open( name, O_RDONLY | O_CLOEXEC | O_NONBLOCK ) : -1 };
    struct stat status;
    if( !file.isOpen() || fstat( file.get(), &status ) != 0 || !S_ISREG( status.st_mode ) || status.st_size > maxLength )
        return nullptr;

    PB_BYTE           *bytes;
    PB_INT             expected = status.st_size;
    pb::Ref<PB_BUFFER> content  = pb::adopt( pb___BufferCreateLength( expected, &bytes ) );
    PB_INT             length   = 0;
    if( sensitive )
        pbBufferSetSensitive( content.handle() );
    while( length < expected )
    {
        PB_INT count = pb::readSome( file, bytes + length, expected - length );
        if( count < 0 )
            return nullptr;
        if( count == 0 )
            break;
        length += count;
    }
    // The file may have become shorter in the meantime.
    pbBufferDelInner( content.handle(), length, expected - length );
    return content.take();
}

PB_BUFFER *pbPathFileTryReadBuffer( PB_STRING *path, PB_INT maxLength )
{
    PB_CHECK( path );
    PB_CHECK( maxLength >= 0 );
    return tryRead( path, maxLength, false );
}

namespace
{

// These functions return 0 or an error number.

int resultOf( int status ) { return status == 0 ? 0 : errno; }

int fillFile( const Descriptor &file, PB_BUFFER *content, unsigned int mode )
{
    if( int problem = pb::writeAll( file, pbBufferBytes( content ), pbBufferLength( content ) ) )
        return problem;
    if( int problem = resultOf( fchmod( file.get(), (mode_t)mode ) ) )
        return problem;
    return resultOf( fsync( file.get() ) );
}

pb::StdString<> folderOf( const pb::StdString<> &path )
{
    size_t slash = path.rfind( '/' );
    return slash == path.npos ? "." : slash == 0 ? "/" : path.substr( 0, slash );
}

// A name in a directory that in practice no other file has. It does not depend on the length of the
// target's name.
pb::StdString<> neighbourIn( const pb::StdString<> &folder )
{
    PB_BYTE random[8];
    char    name[2 * sizeof random + 1];
    pbRandomBytes( random, sizeof random );
    for( size_t index = 0; index < sizeof random; index++ )
        std::snprintf( name + 2 * index, 3, "%02x", random[index] );
    return folder + "/.new-" + name;
}

int renameFile( const pb::StdString<> &from, const pb::StdString<> &to, bool replace )
{
    if( replace )
        return resultOf( ::rename( from.c_str(), to.c_str() ) );
    if( renameat2( AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE ) == 0 )
        return 0;
    if( errno != EINVAL && errno != ENOSYS )
        return errno;
    // The file system does not know this flag.
    if( int problem = resultOf( link( from.c_str(), to.c_str() ) ) )
        return problem;
    unlink( from.c_str() );
    return 0;
}

int nameFile( const Descriptor &file, const pb::StdString<> &name )
{
    char self[40];
    std::snprintf( self, sizeof self, "/proc/self/fd/%d", file.get() );
    return resultOf( linkat( AT_FDCWD, self, AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW ) );
}

// Gives the target's name to a file. If that fails, the file is removed.
int finish( const pb::StdString<> &neighbour, const pb::StdString<> &target, bool replace )
{
    int problem = renameFile( neighbour, target, replace );
    if( problem )
        unlink( neighbour.c_str() );
    return problem;
}

// Writes through a file without a name, so that nothing is left if it fails; -1 if the file system
// has no such files.
int writeNameless( const pb::StdString<> &folder, const pb::StdString<> &target, PB_BUFFER *content, unsigned int mode, bool replace )
{
    Descriptor file{ open( folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600 ) };
    if( !file.isOpen() )
        return -1;
    if( int problem = fillFile( file, content, mode ) )
        return problem;
    if( !replace )
    {
        int problem = nameFile( file, target );
        return problem == 0 || problem == EEXIST ? problem : -1;
    }
    // linkat cannot replace a file, so the new file gets a name of its own first.
    pb::StdString<> neighbour = neighbourIn( folder );
    return nameFile( file, neighbour ) ? -1 : finish( neighbour, target, true );
}

// Writes through a file beside the target.
int writeNamed( const pb::StdString<> &folder, const pb::StdString<> &target, PB_BUFFER *content, unsigned int mode, bool replace )
{
    pb::StdString<> neighbour = neighbourIn( folder );
    Descriptor      file{ open( neighbour.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0600 ) };
    if( !file.isOpen() )
        return errno;
    int problem = fillFile( file, content, mode );
    if( !problem )
        return finish( neighbour, target, replace );
    unlink( neighbour.c_str() );
    return problem;
}

// Puts the names of a directory on the disk. The files themselves are there already. Some file
// systems cannot sync a directory, and a directory that may not be read cannot be opened; that is
// not an error.
int syncFolder( const pb::StdString<> &folder )
{
    Descriptor directory{ open( folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC ) };
    if( !directory.isOpen() )
        return errno == EACCES ? 0 : errno;
    int problem = resultOf( fsync( directory.get() ) );
    return problem == EINVAL || problem == EOPNOTSUPP ? 0 : problem;
}

int writeWhole( const pb::StdString<> &target, PB_BUFFER *content, unsigned int mode, bool replace )
{
    pb::StdString<> folder  = folderOf( target );
    int             problem = writeNameless( folder, target, content, mode, replace );
    if( problem < 0 )
        problem = writeNamed( folder, target, content, mode, replace );
    return problem ? problem : syncFolder( folder );
}

// The path to which symbolic links lead, also if it has no file.
pb::StdString<> endOfLinks( pb::StdString<> path )
{
    for( int links = 0; links < 40; links++ )
    {
        char    target[4096];
        ssize_t length = readlink( path.c_str(), target, sizeof target );
        if( length < 0 || length == sizeof target )
            break;
        std::string_view found( target, (size_t)length );
        path = found.starts_with( '/' ) ? pb::StdString<>( found ) : folderOf( path ) + "/" + pb::StdString<>( found );
    }
    return path;
}

int writeInto( const char *path, PB_BUFFER *content )
{
    Descriptor file{ open( path, O_WRONLY | O_CLOEXEC | O_NOCTTY ) };
    return !file.isOpen() ? errno : pb::writeAll( file, pbBufferBytes( content ), pbBufferLength( content ) );
}

}

int pb___PathFileWrite( const char *path, PB_BUFFER *content, unsigned int mode, PB_BOOL replace )
{
    PB_CHECK( path );
    PB_CHECK( content );
    struct stat status;
    bool        exists = stat( path, &status ) == 0;
    if( !exists && errno != ENOENT )
        return errno;
    if( exists && S_ISDIR( status.st_mode ) )
        return EISDIR;
    if( exists && !S_ISREG( status.st_mode ) )
        return writeInto( path, content );
    // A link stays a link; the file that it leads to is replaced.
    return replace ? writeWhole( endOfLinks( path ), content, mode, true ) : exists ? EEXIST : writeWhole( path, content, mode, false );
}

PB_BOOL pbPathFileWriteBuffer( PB_STRING *path, PB_BUFFER *content )
{
    PB_CHECK( path );
    PB_CHECK( content );
    const char *name = pbStringTryPeekCstr( path );
    return name && pb___PathFileWrite( name, content, 0600, PB_TRUE ) == 0;
}

PB_STORE *pbPathFileReadStore( PB_STRING *path, PB_STORE_HEADER **header )
{
    PB_CHECK( path );
    if( header )
        *header = nullptr;
    pb::Ref<PB_BUFFER> content = pb::adopt( tryRead( path, PB_STORE_BYTES_MAX, true ) );
    return content ? pbStoreTryDecode( content.get(), header ) : nullptr;
}

PB_BOOL pbPathFileWriteStore( PB_STRING *path, PB_STORE *store, PB_STORE_HEADER *header )
{
    PB_CHECK( path );
    PB_CHECK( store );
    pb::Ref<PB_BUFFER> content = pb::adopt( pbStoreTryEncode( store, header ) );
    return content && pbPathFileWriteBuffer( path, content.get() );
}

PB_BOOL pbPathFileExists( PB_STRING *path )
{
    PB_CHECK( path );
    const char *name = pbStringTryPeekCstr( path );
    struct stat status;
    return name && stat( name, &status ) == 0;
}

PB_BOOL pbPathFileDelete( PB_STRING *path )
{
    PB_CHECK( path );
    const char *name = pbStringTryPeekCstr( path );
    if( !name )
        return PB_FALSE;
    if( unlink( name ) != 0 )
        return errno == ENOENT || errno == ENOTDIR;
    return syncFolder( folderOf( name ) ) == 0;
}

PB_BOOL pbPathDirectoryCreate( PB_STRING *path )
{
    PB_CHECK( path );
    const char *name = pbStringTryPeekCstr( path );
    if( !name || !*name )
        return PB_FALSE;
    pb::StdString<> whole = name;
    for( size_t slash = whole.find( '/', 1 ); slash != whole.npos; slash = whole.find( '/', slash + 1 ) )
        mkdir( whole.substr( 0, slash ).c_str(), 0700 );
    mkdir( name, 0700 );
    struct stat status;
    return stat( name, &status ) == 0 && S_ISDIR( status.st_mode );
}
