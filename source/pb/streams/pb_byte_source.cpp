#include <pb/containers.hpp>
#include <pb/pb_byte_source.h>
#include <pb/sort.hpp>

#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>

#include "base/pb_descriptor.hpp"
#include "streams/pb_header_layout.hpp"

struct PB_BYTE_SOURCE : PB_OBJ
{
    PB_BUFFER          *buffer; // the bytes of a buffer source, else null
    PB_INT              offset;
    PB_BYTE_SOURCE     *under;  // what a header source reads, else null
    PB_HEADER          *header; // of a header source; null if it found no good one
    PB_BYTE_SOURCE_READ read;   // the callbacks of a callback source
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
    pb::releaseOrNull( source->under );
    pb::setPoison( source->under );
    pb::releaseOrNull( source->header );
    pb::setPoison( source->header );
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

static PB_INT readFromFile( void *closure, PB_BYTE *to, PB_INT max ) { return pb::readSome( *(const pb::Descriptor *)closure, to, max ); }

static void closeFile( void *closure ) { pb::destroy( (pb::Descriptor *)closure ); }

PB_BYTE_SOURCE *pbFileByteSourceTryCreate( PB_STRING *path )
{
    PB_CHECK( path );
    const char    *name = pbStringTryPeekCstr( path );
    pb::Descriptor file( name ? open( name, O_RDONLY | O_CLOEXEC | O_NOCTTY ) : -1 );
    struct stat    status;
    if( !file.isOpen() || fstat( file.get(), &status ) != 0 || S_ISDIR( status.st_mode ) )
        return nullptr;
    return pbCallbackByteSourceCreate( readFromFile, closeFile, pb::make<pb::Descriptor>( std::move( file ) ) );
}

// False if the source ends or fails before.
static bool tryReadExactly( PB_BYTE_SOURCE *source, PB_BUFFER **buf, PB_INT count )
{
    while( count )
    {
        PB_INT got = pbByteSourceRead( source, buf, count );
        if( !got )
            return false;
        count -= got;
    }
    return true;
}

static PB_HEADER *tryReadHeader( PB_BYTE_SOURCE *source )
{
    pb::Ref<PB_BUFFER> prefix = pb::adopt( pbBufferCreate() ), text = pb::adopt( pbBufferCreate() );
    if( !tryReadExactly( source, prefix.handle(), pb::headerPrefixLength ) )
        return nullptr;
    const PB_BYTE *bytes = pbBufferBytes( prefix.get() );
    if( std::memcmp( bytes, pb::headerMagic, sizeof pb::headerMagic ) != 0 )
        return nullptr;
    PB_INT length = 0;
    for( PB_INT index = sizeof pb::headerMagic; index < pb::headerPrefixLength; index++ )
        length = length << 8 | bytes[index];
    if( length > PB_HEADER_BYTES_MAX || !tryReadExactly( source, text.handle(), length ) )
        return nullptr;
    return pb___HeaderTryDecode( text.get() );
}

PB_BYTE_SOURCE *pbHeaderByteSourceCreate( PB_BYTE_SOURCE *source )
{
    PB_CHECK( source );
    PB_BYTE_SOURCE *behind = pb::create<PB_BYTE_SOURCE>();
    behind->under          = pb::shareOrNull( source );
    behind->header         = tryReadHeader( source );
    behind->error          = !behind->header;
    return behind;
}

PB_HEADER *pbHeaderByteSourceHeader( PB_BYTE_SOURCE *source )
{
    PB_CHECK( source );
    PB_CHECK( source->under );
    return pb::shareOrNull( source->header );
}

static PB_INT readFromUnder( PB_BYTE_SOURCE *source, PB_BUFFER **buf, PB_INT max )
{
    PB_INT count = pbByteSourceRead( source->under, buf, max );
    return !count && pbByteSourceError( source->under ) ? -1 : count;
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
    PB_INT count  = source->buffer ? readFromBuffer( source, buf, max )
         : source->under           ? readFromUnder( source, buf, max )
                                   : readFromCallback( source, buf, max );
    source->end   = count == 0;
    source->error = count < 0;
    return count < 0 ? 0 : count;
}

PB_BOOL pbByteSourceEnd( PB_BYTE_SOURCE *source ) { return PB_CHECK( source ), source->end; }

PB_BOOL pbByteSourceError( PB_BYTE_SOURCE *source ) { return PB_CHECK( source ), source->error; }
