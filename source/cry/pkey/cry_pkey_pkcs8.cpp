#include "pkey/cry_pkey_pkcs8.hpp"

#include "base/cry_pem.hpp"
#include "base/cry_pem_lines.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <openssl/core_names.h>
#include <openssl/objects.h>
#include <openssl/params.h>
#include <openssl/pem.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <pb/pb_mem.h>

namespace
{

constexpr PB_BYTE tagInteger = 0x02, tagBitString = 0x03, tagOctetString = 0x04, tagOid = 0x06, tagSequence = 0x30, tagPublicKey = 0xA1;
constexpr PB_BYTE ecPublicKey[] = { tagOid, 7, 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01 };

// Writes DER from its end to its front, so the length of each element is known when its header is
// written.
class Backwards
{
public:
    Backwards( PB_BYTE *bytes, size_t room ) : end( bytes + room ), at( end ) {}

    size_t size() const { return (size_t)( end - at ); }

    void raw( const void *bytes, size_t count ) { std::memcpy( at -= count, bytes, count ); }
    void byte( PB_BYTE value ) { *--at = value; }

    // Writes the header of an element. Its content is everything that was written since the size
    // was `before`.
    void close( PB_BYTE tag, size_t before )
    {
        size_t length = size() - before, more = length;
        for( ; length >= 0x80 && more; more >>= 8 )
            byte( (PB_BYTE)more );
        if( length >= 0x80 )
            byte( (PB_BYTE)( 0x80 | ( length > 0xFF ? 2 : 1 ) ) );
        else
            byte( (PB_BYTE)length );
        byte( tag );
    }

private:
    PB_BYTE *end, *at;
};

// The orders and coordinates of all curves have at most 571 bits.
constexpr size_t mostOrder = 72, mostPoint = 1 + 2 * mostOrder;

struct Parts
{
    PB_BYTE number[mostOrder]; // the private key, big-endian, as long as the order
    PB_BYTE point[mostPoint];
    size_t  numberLength, pointLength;

    ~Parts() { pbMemCleanse( number, sizeof number ); }

    bool tryRead( EVP_PKEY *pkey )
    {
        numberLength = (size_t)( EVP_PKEY_get_bits( pkey ) + 7 ) / 8;
        if( numberLength == 0 || numberLength > mostOrder )
            return false;
        OSSL_PARAM wanted[] = { OSSL_PARAM_construct_BN( OSSL_PKEY_PARAM_PRIV_KEY, number, numberLength ),
            OSSL_PARAM_construct_octet_string( OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point ), OSSL_PARAM_construct_end() };
        if( !EVP_PKEY_get_params( pkey, wanted ) || wanted[0].return_size != numberLength || !OSSL_PARAM_modified( &wanted[1] ) )
            return false;
        pointLength = wanted[1].return_size;
        if constexpr( std::endian::native == std::endian::little )
            std::reverse( number, number + numberLength );
        return pointLength > 1 && point[0] == POINT_CONVERSION_UNCOMPRESSED;
    }
};

}

pb::Ref<CRY_PEM> cry::pkey::tryWriteNewEcKey( EVP_PKEY *pkey, int curveNid )
{
    const ASN1_OBJECT *curve = OBJ_nid2obj( curveNid );
    size_t             oid   = curve ? OBJ_length( curve ) : 0;
    Parts              parts;
    {
        openssl::ErrorMark detour;
        if( !oid || oid >= 0x80 || !parts.tryRead( pkey ) )
            return {};
    }

    static constexpr PB_BYTE inner[] = { tagInteger, 1, 1 }, outer[] = { tagInteger, 1, 0 };
    PB_BYTE                  room[512];
    Backwards                der( room, sizeof room );
    der.raw( parts.point, parts.pointLength );
    der.byte( 0 ); // no unused bits
    der.close( tagBitString, 0 );
    der.close( tagPublicKey, 0 );
    size_t number = der.size();
    der.raw( parts.number, parts.numberLength );
    der.close( tagOctetString, number );
    der.raw( inner, sizeof inner );
    der.close( tagSequence, 0 );
    der.close( tagOctetString, 0 );
    size_t algorithm = der.size();
    der.raw( OBJ_get0_data( curve ), oid );
    der.close( tagOid, algorithm );
    der.raw( ecPublicKey, sizeof ecPublicKey );
    der.close( tagSequence, algorithm );
    der.raw( outer, sizeof outer );
    der.close( tagSequence, 0 );

    PB_BUFFER *data = pbBufferCreate();
    pbBufferSetSensitive( &data );
    pbBufferAppendBytes( &data, room + sizeof room - der.size(), (PB_INT)der.size() );
    pbMemCleanse( room, sizeof room );
    return pem::create( pem::labelString( PEM_STRING_PKCS8INF ), pb::adopt( data ) );
}
