#include <cry/cry_random.h>
#include <pb/pb_mem.h>
#include <pb/pb_random.h>
#include <pb/ref.hpp>

#include <openssl/rand.h>

static constexpr PB_INT mostAtOnce = 0x7FFFFFFF;

// Fills as much as OpenSSL's generator gives and tells how much that is.
// It is less than all when a call failed.
static PB_INT fill( PB_BYTE *bytes, PB_INT byteCount )
{
    for( PB_INT done = 0, piece; done < byteCount; done += piece )
    {
        piece = byteCount - done < mostAtOnce ? byteCount - done : mostAtOnce;
        if( RAND_bytes( bytes + done, (int)piece ) != 1 )
            return done;
    }
    return byteCount;
}

void cryRandomBytes( PB_BYTE *bytes, PB_INT byteCount )
{
    PB_CHECK( bytes || !byteCount );
    PB_CHECK( byteCount >= 0 );
    PB_INT filled = fill( bytes, byteCount );
    if( filled < byteCount )
        pbRandomBytes( bytes + filled, byteCount - filled );
}

void cryRandom( PB_BUFFER **buffer, PB_INT byteCount )
{
    PB_CHECK( buffer );
    PB_CHECK( *buffer || !byteCount );
    PB_CHECK( byteCount >= 0 );
    while( byteCount > 0 )
    {
        PB_BYTE bytes[128];
        PB_INT  piece = byteCount < PB_SIZEOF( bytes ) ? byteCount : PB_SIZEOF( bytes );
        cryRandomBytes( bytes, piece );
        pbBufferAppendBytes( buffer, bytes, piece );
        pbMemCleanse( bytes, sizeof bytes );
        byteCount -= piece;
    }
}

PB_BUFFER *cryTryRandomData( PB_INT bytes, PB_BOOL strict )
{
    PB_CHECK( bytes > 0 );
    PB_BYTE           *to;
    pb::Ref<PB_BUFFER> data = pb::adopt( pb___BufferCreateLength( bytes, &to ) );
    // All at once is the same as one by one, but much faster.
    if( fill( to, bytes ) == bytes )
        return data.take();
    // A generator that has failed once is not asked again.
    if( strict )
        return nullptr;
    PB_BYTE byte = 0;
    for( PB_INT index = 0; index < bytes; index++ )
    {
        // A failure that is ignored repeats the byte before.
        // There is no other generator to fall back to here; that is intended.
        (void)RAND_bytes( &byte, 1 );
        to[index] = byte;
    }
    return data.take();
}
