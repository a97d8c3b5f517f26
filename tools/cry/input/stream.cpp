#include "input/stream.hpp"

#include "input/descriptor.hpp"
#include "input/input.hpp"
#include "options/command.hpp"
#include "output/terminal.hpp"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

class Stream
{
public:
    explicit Stream( const std::string &name ) : path( name ), file( path == "-" ? STDIN_FILENO : open( path.c_str(), O_RDONLY | O_CLOEXEC ) )
    {
        if( file.number < 0 )
            fail();
    }

    // The size of a regular file, else 0.
    uint64_t size() const
    {
        struct stat status;
        return fstat( file.number, &status ) == 0 && S_ISREG( status.st_mode ) ? (uint64_t)status.st_size : 0;
    }

    // 0 at the end.
    size_t readSome( PB_BYTE *to, size_t most ) const
    {
        for( ;; )
        {
            ssize_t count = read( file.number, to, most );
            if( count >= 0 )
                return (size_t)count;
            if( errno != EINTR )
                fail();
        }
    }

private:
    [[noreturn]] void fail() const { throw tool::InputError( tool::nameOf( path ) + ": " + std::strerror( errno ) ); }

    std::string      path;
    tool::Descriptor file;
};

}

void tool::forEachPiece( const std::string &path, const std::function<void( const PB_BYTE *, PB_INT )> &take )
{
    Stream               stream( path );
    Progress             progress( path, stream.size() );
    std::vector<PB_BYTE> piece( 1 << 20 );
    while( size_t count = stream.readSome( piece.data(), piece.size() ) )
    {
        take( piece.data(), (PB_INT)count );
        progress.advance( count );
    }
}

std::string tool::listLine( const std::string &digest, const std::string &path )
{
    std::string escaped;
    for( char c : path )
        escaped += c == '\\' ? "\\\\" : c == '\n' ? "\\n" : c == '\r' ? "\\r" : std::string( 1, c );
    return ( escaped == path ? "" : "\\" ) + digest + "  " + escaped + "\n";
}
