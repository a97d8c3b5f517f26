#include <cry/cry_random.h>
#include <pb/pb_mem.h>
#include <pb/pb_random.h>
#include <pb/ref.hpp>

#include <openssl/rand.h>

static constexpr PB_INT mostAtOnce = 0x7FFFFFFF;

// Fills the bytes from OpenSSL's generator. Gives the number of bytes filled, which is smaller than
// the count if a call failed.
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
    // One call for all bytes has the same result as one call for each, but is much faster.
    if( fill( to, bytes ) == bytes )
        return data.take();
    // A generator that has failed once is not asked again.
    if( strict )
        return nullptr;
    PB_BYTE byte = 0;
    for( PB_INT index = 0; index < bytes; index++ )
    {
        // After a failure that is ignored, the byte before is repeated. This function has no other
        // generator to use instead; that is intended.
        (void)RAND_bytes( &byte, 1 );
        to[index] = byte;
    }
    return data.take();
}
