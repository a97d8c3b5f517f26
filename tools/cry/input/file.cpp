#include "input/file.hpp"

#include "input/descriptor.hpp"
#include "output/error.hpp"
#include "output/notices.hpp"
#include "output/progress.hpp"
#include "text/printable.hpp"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <poll.h>
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

    // Waits until it or `stop` can be read; false for `stop`.
    bool wait( int stop ) const
    {
        pollfd both[] = { { file.number, POLLIN, 0 }, { stop, POLLIN, 0 } };
        while( poll( both, 2, -1 ) < 0 )
        {
            if( errno != EINTR )
                fail();
        }
        return !both[1].revents;
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
    [[noreturn]] void fail() const { throw tool::InputError( path, std::strerror( errno ) ); }

    std::string      path;
    tool::Descriptor file;
};

}

std::string tool::nameOf( const std::string &path ) { return path == "-" ? "standard input" : path.empty() ? "''" : printable( path ); }

pb::Ref<PB_BUFFER> tool::readWhole( const std::string &path, Content secrecy )
{
    constexpr PB_INT piece = 65536;
    const bool       key   = secrecy == Content::key;
    const PB_INT     most  = key ? 1 << 20 : 64 << 20;

    Stream             stream( path );
    pb::Ref<PB_BUFFER> content = pb::adopt( pbBufferCreate() );
    if( secrecy != Content::open )
        pbBufferSetSensitive( content.handle() );
    for( ;; )
    {
        PB_INT   length = pbBufferLength( content.get() );
        PB_BYTE *to     = pb___BufferExtend( content.handle(), piece );
        PB_INT   count  = (PB_INT)stream.readSome( to, piece );
        pbBufferDelInner( content.handle(), length + count, piece - count );
        if( count == 0 )
            return content;
        if( length + count > most )
            throw InputError( path, key ? "is larger than 1 MiB, the limit for a key" : "is larger than 64 MiB, the limit" );
    }
}

void tool::forEachPiece( const std::string &path, const std::function<void( const PB_BYTE *, PB_INT )> &take, int stop )
{
    Stream               stream( path );
    Progress             progress( path, stream.size() );
    std::vector<PB_BYTE> piece( 1 << 20 );
    while( stop < 0 || stream.wait( stop ) )
    {
        size_t count = stream.readSome( piece.data(), piece.size() );
        if( !count )
            return;
        take( piece.data(), (PB_INT)count );
        progress.advance( count );
    }
}

struct tool::FileSource::State
{
    Stream                  stream;
    Progress                progress;
    std::exception_ptr      problem;
    pb::Ref<PB_BYTE_SOURCE> source;

    explicit State( const std::string &path ) :
        stream( path ), progress( path, stream.size() ), source( pb::adopt( pbCallbackByteSourceCreate( read, nullptr, this ) ) )
    {
    }

    // No exception may pass through the module.
    static PB_INT read( void *closure, PB_BYTE *to, PB_INT max )
    {
        State &state = *(State *)closure;
        try
        {
            size_t count = state.stream.readSome( to, (size_t)max );
            state.progress.advance( count );
            return (PB_INT)count;
        }
        catch( ... )
        {
            state.problem = std::current_exception();
            return -1;
        }
    }
};

tool::FileSource::FileSource( const std::string &path ) : state( std::make_unique<State>( path ) ) {}
tool::FileSource::~FileSource() = default;

PB_BYTE_SOURCE *tool::FileSource::source() const { return state->source.get(); }

void tool::FileSource::check() const
{
    if( state->problem )
        std::rethrow_exception( state->problem );
}

void tool::warnIfOthersCanRead( const std::string &path, const std::string &what )
{
    constexpr mode_t others = S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;

    struct stat status;
    if( path == "-" || stat( path.c_str(), &status ) != 0 || !S_ISREG( status.st_mode ) || !( status.st_mode & others ) )
        return;
    char mode[8];
    std::snprintf( mode, sizeof mode, "%04o", (unsigned)status.st_mode & 07777u );
    warn( { nameOf( path ) + ": users other than its owner can use " + what + " in it (its mode is " + mode + "); 'chmod 600' changes that", path,
        {} } );
}

void tool::checkStandardInput( const std::vector<std::string> &paths )
{
    if( std::count( paths.begin(), paths.end(), "-" ) > 1 )
        throw InputError( "only one of the inputs can be standard input" );
}
