#include <pb/pb_random.h>

#include <cerrno>
#include <sys/random.h>

void pbRandomBytes( PB_BYTE *bytes, PB_INT byteCount )
{
    PB_CHECK( bytes || !byteCount );
    PB_CHECK( byteCount >= 0 );
    while( byteCount > 0 )
    {
        ssize_t count = getrandom( bytes, (size_t)byteCount, 0 );
        if( count < 0 && errno == EINTR )
            continue;
        PB_CHECK( count > 0 );
        bytes += count;
        byteCount -= count;
    }
}
