#include <pb/containers.hpp>
#include <pb/pb_byte_sink.h>
#include <pb/sort.hpp>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "base/pb_descriptor.hpp"

struct PB_BYTE_SINK : PB_OBJ
{
    PB_BUFFER         *buffer; // the bytes of a buffer sink, else null
    PB_BYTE_SINK_WRITE write;  // the callbacks of the other sinks
    PB_BYTE_SINK_FLUSH flush;  // may be null
    void ( *releaseClosure )( void *closure );
    void   *closure;
    PB_BOOL error;
};

static void freeByteSink( PB_BYTE_SINK *sink )
{
    PB_CHECK( sink );
    pb::releaseOrNull( sink->buffer );
    pb::setPoison( sink->buffer );
    if( sink->releaseClosure )
        sink->releaseClosure( sink->closure );
}

PB_SORT_DEFINE( pb, ByteSink, PB_BYTE_SINK, .free = pb::slot<freeByteSink> )

PB_BYTE_SINK *pbBufferByteSinkCreate()
{
    PB_BYTE_SINK *sink = pb::create<PB_BYTE_SINK>();
    sink->buffer       = pbBufferCreate();
    return sink;
}

PB_BUFFER *pbBufferByteSinkBuffer( PB_BYTE_SINK *sink )
{
    PB_CHECK( sink );
    PB_CHECK( sink->buffer );
    return pb::shareOrNull( sink->buffer );
}

PB_BYTE_SINK *pbCallbackByteSinkCreate( PB_BYTE_SINK_WRITE write, PB_BYTE_SINK_FLUSH flush, void ( *release )( void *closure ), void *closure )
{
    PB_CHECK( write );
    PB_BYTE_SINK *sink   = pb::create<PB_BYTE_SINK>();
    sink->write          = write;
    sink->flush          = flush;
    sink->releaseClosure = release;
    sink->closure        = closure;
    return sink;
}

static PB_BOOL writeToFile( void *closure, PB_BUFFER *buf )
{
    return pb::writeAll( *(const pb::Descriptor *)closure, pbBufferBytes( buf ), pbBufferLength( buf ) ) == 0;
}

static PB_BOOL syncFile( void *closure )
{
    // Pipes and devices cannot be synced.
    return fsync( ( (const pb::Descriptor *)closure )->get() ) == 0 || errno == EINVAL || errno == EROFS;
}

static void closeFile( void *closure ) { pb::destroy( (pb::Descriptor *)closure ); }

PB_BYTE_SINK *pbFileByteSinkTryCreate( PB_STRING *path )
{
    PB_CHECK( path );
    const char    *name = pbStringTryPeekCstr( path );
    pb::Descriptor file( name ? open( name, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOCTTY, 0600 ) : -1 );
    struct stat    status;
    if( !file.isOpen() || fstat( file.get(), &status ) != 0 )
        return nullptr;
    if( S_ISREG( status.st_mode ) && ( status.st_mode & 077 ) && fchmod( file.get(), 0600 ) != 0 )
        return nullptr;
    return pbCallbackByteSinkCreate( writeToFile, syncFile, closeFile, pb::make<pb::Descriptor>( std::move( file ) ) );
}

namespace
{

// A stream with a header.
struct Stream
{
    pb::Ref<PB_BYTE_SINK> sink;
    pb::Ref<PB_HEADER>    header; // null after it was written

    bool tryBegin()
    {
        if( !header )
            return true;
        pb::Ref<PB_BUFFER> bytes = pb::adopt( pb___HeaderTryEncode( header.get() ) );
        header                   = {};
        if( bytes )
            pbByteSinkWrite( sink.get(), bytes.get() );
        return bytes && !pbByteSinkError( sink.get() );
    }
};

}

static PB_BOOL writeToStream( void *closure, PB_BUFFER *buf )
{
    Stream &stream = *(Stream *)closure;
    if( !stream.tryBegin() )
        return PB_FALSE;
    pbByteSinkWrite( stream.sink.get(), buf );
    return !pbByteSinkError( stream.sink.get() );
}

static PB_BOOL flushStream( void *closure )
{
    Stream &stream = *(Stream *)closure;
    if( !stream.tryBegin() )
        return PB_FALSE;
    pbByteSinkFlush( stream.sink.get() );
    return !pbByteSinkError( stream.sink.get() );
}

static void releaseStream( void *closure ) { pb::destroy( (Stream *)closure ); }

PB_BYTE_SINK *pbHeaderByteSinkCreate( PB_BYTE_SINK *sink, PB_HEADER *header )
{
    PB_CHECK( sink );
    PB_CHECK( header );
    return pbCallbackByteSinkCreate(
        writeToStream, flushStream, releaseStream, pb::make<Stream>( Stream{ pb::share( sink ), pb::share( header ) } ) );
}

void pbByteSinkWrite( PB_BYTE_SINK *sink, PB_BUFFER *buf )
{
    PB_CHECK( sink );
    PB_CHECK( buf );
    if( sink->error )
        return;
    if( sink->buffer )
        return pbBufferAppend( &sink->buffer, buf );
    sink->error = !sink->write( sink->closure, buf );
}

void pbByteSinkFlush( PB_BYTE_SINK *sink )
{
    PB_CHECK( sink );
    if( !sink->error && sink->flush )
        sink->error = !sink->flush( sink->closure );
}

PB_BOOL pbByteSinkError( PB_BYTE_SINK *sink ) { return PB_CHECK( sink ), sink->error; }
