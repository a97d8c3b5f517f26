#include <pb/pb_byte_source.h>
#include <pb/sort.hpp>

struct PB_BYTE_SOURCE : PB_OBJ
{
    PB_BUFFER          *buffer; // the bytes of a buffer source, else null
    PB_INT              offset;
    PB_BYTE_SOURCE_READ read; // the callbacks of a callback source
    void ( *releaseClosure )( void *closure );
    void   *closure;
    PB_BOOL end;
    PB_BOOL error;
};

static void freeByteSource( PB_BYTE_SOURCE *source )
{
    PB_CHECK( source );
    pb::releaseOrNull( source->buffer );
    pb::setPoison( source->buffer );
    if( source->releaseClosure )
        source->releaseClosure( source->closure );
}

PB_SORT_DEFINE( pb, ByteSource, PB_BYTE_SOURCE, .free = pb::slot<freeByteSource> )

PB_BYTE_SOURCE *pbBufferByteSourceCreate( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    PB_BYTE_SOURCE *source = pb::create<PB_BYTE_SOURCE>();
    source->buffer         = pb::shareOrNull( buf );
    return source;
}

PB_BYTE_SOURCE *pbCallbackByteSourceCreate( PB_BYTE_SOURCE_READ read, void ( *release )( void *closure ), void *closure )
{
    PB_CHECK( read );
    PB_BYTE_SOURCE *source = pb::create<PB_BYTE_SOURCE>();
    source->read           = read;
    source->releaseClosure = release;
    source->closure        = closure;
    return source;
}

static PB_INT readFromBuffer( PB_BYTE_SOURCE *source, PB_BUFFER **buf, PB_INT max )
{
    PB_INT left  = pbBufferLength( source->buffer ) - source->offset;
    PB_INT count = left < max ? left : max;
    pbBufferAppendInner( buf, source->buffer, source->offset, count );
    source->offset += count;
    return count;
}

static PB_INT readFromCallback( PB_BYTE_SOURCE *source, PB_BUFFER **buf, PB_INT max )
{
    // The piece has a moderate size even if `max` is large, so that no memory is taken for bytes
    // that never come.
    PB_INT   piece  = max < 65536 ? max : 65536;
    PB_INT   before = pbBufferLength( *buf );
    PB_BYTE *to     = pb___BufferExtend( buf, piece );
    PB_INT   count  = source->read( source->closure, to, piece );
    PB_CHECK( count >= -1 && count <= piece );
    PB_INT kept = count < 0 ? 0 : count;
    pbBufferDelInner( buf, before + kept, piece - kept );
    return count;
}

PB_INT pbByteSourceRead( PB_BYTE_SOURCE *source, PB_BUFFER **buf, PB_INT max )
{
    PB_CHECK( source );
    PB_CHECK_HANDLE( buf );
    PB_CHECK( max >= 0 );
    if( source->end || source->error || !max )
        return 0;
    PB_INT count  = source->buffer ? readFromBuffer( source, buf, max ) : readFromCallback( source, buf, max );
    source->end   = count == 0;
    source->error = count < 0;
    return count < 0 ? 0 : count;
}

PB_BOOL pbByteSourceEnd( PB_BYTE_SOURCE *source ) { return PB_CHECK( source ), source->end; }

PB_BOOL pbByteSourceError( PB_BYTE_SOURCE *source ) { return PB_CHECK( source ), source->error; }
