#include <pb/pb_buffer.h>
#include <pb/pb_string.h>
#include <pb/sort.hpp>

#include "values/pb_bytes.hpp"

struct PB_BUFFER : PB_OBJ
{
    pb::Bytes content;
};

static void freeBuffer( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    buf->content.release();
    pb::setPoison( buf->content.bytes );
}

static PB_INT compareBuffer( PB_BUFFER *bufA, PB_BUFFER *bufB )
{
    PB_CHECK( bufA );
    PB_CHECK( bufB );
    PB_INT common = bufA->content.length < bufB->content.length ? bufA->content.length : bufB->content.length;
    if( int order = std::memcmp( bufA->content.bytes, bufB->content.bytes, (size_t)common ) )
        return order < 0 ? -1 : 1;
    return bufA->content.length < bufB->content.length ? -1 : bufA->content.length > bufB->content.length;
}

static PB_STRING *bufferToString( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    if( buf->content.sensitive )
        return pbStringCreateFromFormatCstr( "(%i sensitive bytes)", -1, buf->content.length );
    PB_STRING *text = pbStringCreate();
    for( PB_INT index = 0; index < buf->content.length; index++ )
        pbStringAppendFormatCstr( &text, "%02!16i", -1, (PB_INT)buf->content.bytes[index] );
    return text;
}

PB_SORT_DEFINE( pb, Buffer, PB_BUFFER, .free = pb::slot<freeBuffer>, .compare = pb::slot<compareBuffer>, .toString = pb::slot<bufferToString> )

static PB_BUFFER *createWithRoom( PB_INT room )
{
    PB_INT     inside = pb::Bytes::insideOf( room );
    PB_BUFFER *buf    = pb::create<PB_BUFFER>( (size_t)inside );
    buf->content.init( buf + 1, inside );
    buf->content.reserve( room );
    return buf;
}

static PB_BUFFER *createCopy( const void *bytes, PB_INT byteCount, PB_BOOL sensitive )
{
    PB_BUFFER *buf         = createWithRoom( byteCount );
    buf->content.sensitive = sensitive;
    buf->content.append( bytes, byteCount );
    return buf;
}

static PB_BUFFER *writable( PB_BUFFER **buf ) { return pb::makeWritable( buf, pbBufferCreateFrom ); }

PB_BUFFER *pbBufferCreate() { return createWithRoom( 0 ); }

PB_BUFFER *pbBufferCreateFrom( PB_BUFFER *source )
{
    return PB_CHECK( source ), createCopy( source->content.bytes, source->content.length, source->content.sensitive );
}

PB_BUFFER *pbBufferCreateFromBytes( const void *bytes, PB_INT byteCount )
{
    PB_CHECK( bytes || !byteCount );
    PB_CHECK( byteCount >= 0 );
    return createCopy( bytes, byteCount, PB_FALSE );
}

PB_BUFFER *pbBufferCreateFromBytesUse( void *bytes, PB_INT byteCount )
{
    PB_CHECK( bytes );
    PB_CHECK( byteCount >= 0 );
    PB_BUFFER *buf = createWithRoom( 0 );
    buf->content.use( bytes, byteCount );
    return buf;
}

PB_BUFFER *pbBufferCreateFromInner( PB_BUFFER *source, PB_INT byteOffset, PB_INT byteCount )
{
    PB_CHECK( source );
    PB_CHECK( byteOffset >= 0 );
    PB_CHECK( byteCount >= 0 );
    PB_CHECK( PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_CHECK( pbBufferLength( source ) >= byteOffset + byteCount );
    return createCopy( source->content.bytes + byteOffset, byteCount, source->content.sensitive );
}

PB_INT pbBufferLength( PB_BUFFER *buf ) { return PB_CHECK( buf ), buf->content.length; }

PB_INT pbBufferBitLength( PB_BUFFER *buf )
{
    PB_CHECK( buf );
    PB_CHECK( buf->content.length <= PB_INT_MAX / 8 );
    return buf->content.length * 8;
}

PB_INT pbBufferSpace( PB_BUFFER *buf ) { return PB_CHECK( buf ), PB_INT_MAX - buf->content.length; }

const PB_BYTE *pbBufferBytes( PB_BUFFER *buf ) { return PB_CHECK( buf ), buf->content.bytes; }

PB_BYTE pbBufferByteAt( PB_BUFFER *buf, PB_INT byteIndex )
{
    PB_CHECK( buf );
    PB_CHECK( byteIndex >= 0 );
    PB_CHECK( byteIndex < pbBufferLength( buf ) );
    return buf->content.bytes[byteIndex];
}

static void appendRange( PB_BUFFER **buf, PB_BUFFER *other, PB_INT byteOffset, PB_INT byteCount )
{
    // Both may be the same object. This reference keeps it alive while it is replaced or grows.
    pb::Ref<PB_BUFFER> held   = pb::share( other );
    PB_BUFFER         *target = writable( buf );
    target->content.sensitive |= other->content.sensitive;
    PB_BYTE *where = target->content.extend( byteCount );
    if( byteCount )
        std::memcpy( where, other->content.bytes + byteOffset, (size_t)byteCount );
}

void pbBufferAppend( PB_BUFFER **buf, PB_BUFFER *other )
{
    PB_CHECK_HANDLE( buf );
    PB_CHECK( other );
    appendRange( buf, other, 0, other->content.length );
}

void pbBufferAppendBytes( PB_BUFFER **buf, const void *bytes, PB_INT byteCount )
{
    PB_CHECK_HANDLE( buf );
    PB_CHECK( bytes || !byteCount );
    PB_CHECK( byteCount >= 0 );
    if( !( *buf )->content.holds( bytes ) )
        return writable( buf )->content.append( bytes, byteCount );
    pb::Ref<PB_BUFFER> own = pb::adopt( createCopy( bytes, byteCount, ( *buf )->content.sensitive ) );
    appendRange( buf, own.get(), 0, byteCount );
}

void pbBufferAppendByte( PB_BUFFER **buf, PB_BYTE byte )
{
    PB_CHECK_HANDLE( buf );
    writable( buf )->content.append( &byte, 1 );
}

void pbBufferAppendInner( PB_BUFFER **buf, PB_BUFFER *other, PB_INT byteOffset, PB_INT byteCount )
{
    PB_CHECK_HANDLE( buf );
    PB_CHECK( other );
    PB_CHECK( byteOffset >= 0 );
    PB_CHECK( byteCount >= 0 );
    PB_CHECK( PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_CHECK( pbBufferLength( other ) >= byteOffset + byteCount );
    appendRange( buf, other, byteOffset, byteCount );
}

void pbBufferDelInner( PB_BUFFER **buf, PB_INT byteOffset, PB_INT byteCount )
{
    PB_CHECK_HANDLE( buf );
    PB_CHECK( byteOffset >= 0 );
    PB_CHECK( byteCount >= 0 );
    PB_CHECK( PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_CHECK( pbBufferLength( *buf ) >= byteOffset + byteCount );
    pb::Bytes &content = writable( buf )->content;
    std::memmove( content.bytes + byteOffset, content.bytes + byteOffset + byteCount, (size_t)( content.length - byteOffset - byteCount ) );
    content.shrink( content.length - byteCount );
}

void pbBufferClear( PB_BUFFER **buf )
{
    PB_CHECK_HANDLE( buf );
    writable( buf )->content.shrink( 0 );
}

PB_BYTE *pb___BufferExtend( PB_BUFFER **buf, PB_INT byteCount )
{
    PB_CHECK_HANDLE( buf );
    PB_CHECK( byteCount >= 0 );
    return writable( buf )->content.extend( byteCount );
}

PB_BUFFER *pb___BufferCreateLength( PB_INT byteCount, PB_BYTE **bytes )
{
    PB_CHECK( byteCount >= 0 );
    PB_CHECK( bytes );
    PB_BUFFER *buf = createWithRoom( byteCount );
    *bytes         = buf->content.extend( byteCount );
    return buf;
}

void pbBufferSetSensitive( PB_BUFFER **buf )
{
    PB_CHECK_HANDLE( buf );
    writable( buf )->content.setSensitive();
}

PB_BOOL pbBufferSensitive( PB_BUFFER *buf ) { return PB_CHECK( buf ), buf->content.sensitive; }
