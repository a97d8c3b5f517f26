// The update family: what hash, MAC, signer and verifier share of feeding ranges of a buffer.
// `feed( bytes, count )` is the type's own UpdateBytes, which checks the object and whose texts
// name it; the checks here name no type and stand at the exported function's place.
#pragma once

#include <pb/pb_buffer.h>
#include <pb/sort.hpp>

namespace cry
{

inline void checkRange( PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount, pb::Site site )
{
    PB_CHECK_AT( site, data );
    PB_CHECK_AT( site, byteOffset >= 0 );
    PB_CHECK_AT( site, byteCount >= 0 );
    PB_CHECK_AT( site, PB_INT_ADD_OK( byteOffset, byteCount ) );
    PB_CHECK_AT( site, pbBufferLength( data ) >= byteOffset + byteCount );
}

inline void checkCount( PB_BUFFER *data, PB_INT byteCount, pb::Site site )
{
    PB_CHECK_AT( site, data );
    PB_CHECK_AT( site, byteCount >= 0 );
    PB_CHECK_AT( site, pbBufferLength( data ) >= byteCount );
}

void updateInner( PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount, auto feed, pb::Site site = pb::Site::here() )
{
    checkRange( data, byteOffset, byteCount, site );
    feed( pbBufferBytes( data ) + byteOffset, byteCount );
}

void updateOuter( PB_BUFFER *data, PB_INT byteOffset, PB_INT byteCount, auto feed, pb::Site site = pb::Site::here() )
{
    checkRange( data, byteOffset, byteCount, site );
    PB_INT end = byteOffset + byteCount;
    feed( pbBufferBytes( data ), byteOffset );
    feed( pbBufferBytes( data ) + end, pbBufferLength( data ) - end );
}

void updateLeading( PB_BUFFER *data, PB_INT byteCount, auto feed, pb::Site site = pb::Site::here() )
{
    checkCount( data, byteCount, site );
    feed( pbBufferBytes( data ), byteCount );
}

void updateTrailing( PB_BUFFER *data, PB_INT byteCount, auto feed, pb::Site site = pb::Site::here() )
{
    checkCount( data, byteCount, site );
    feed( pbBufferBytes( data ) + pbBufferLength( data ) - byteCount, byteCount );
}

// The most that is handed to OpenSSL at once.
inline constexpr PB_INT updatePiece = 0x100000;

}
