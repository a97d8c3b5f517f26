#include "tr_output.hpp"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

tr::Output::~Output()
{
    if( descriptor >= 0 )
        close( descriptor );
}

int tr::Output::tryOpen( const char *path )
{
    // Without O_NONBLOCK, a pipe would block here until somebody reads it.
    int         file = open( path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, S_IRUSR | S_IWUSR );
    struct stat facts;
    if( file >= 0 && ( fstat( file, &facts ) != 0 || !S_ISREG( facts.st_mode ) ) )
    {
        close( file );
        return -1;
    }
    return file;
}

size_t tr::Output::write( std::string_view text )
{
    if( !isFile() )
        return function( context, text.data(), (PB_INT)text.size() ) ? text.size() : 0;
    // The rest of a line that was cut off stays on a line of its own.
    if( cut && writeToFile( "\n" ) == 0 )
        return 0;
    size_t done = writeToFile( text );
    cut         = done ? text[done - 1] != '\n' : false;
    return done;
}

size_t tr::Output::writeToFile( std::string_view text )
{
    size_t done = 0;
    while( done < text.size() )
    {
        ssize_t count = ::write( descriptor, text.data() + done, text.size() - done );
        if( count > 0 )
            done += (size_t)count;
        else if( count == 0 || errno != EINTR )
            break;
    }
    return done;
}
