#include <pb/pb_path_file.h>
#include <pb/ref.hpp>

#include <cerrno>
#include <fcntl.h>
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
