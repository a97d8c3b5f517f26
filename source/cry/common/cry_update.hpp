// The update functions that feed ranges of a buffer; hash, MAC, signer and verifier share them.
// `feed( bytes, count )` is the type's own UpdateBytes, which checks the object; the texts of its
// checks name the type. The checks here name no type, and they report the file and line of the
// exported function.
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

// The most bytes in one call of OpenSSL.
inline constexpr PB_INT updatePiece = 0x100000;

}
