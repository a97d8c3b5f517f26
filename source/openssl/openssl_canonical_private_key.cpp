#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_key_limits.h>
#include <openssl_module/internal/openssl_module.h>
#include <pb/containers.hpp>
#include <pb/sort.hpp>

#include <atomic>
#include <functional>
#include <mutex>
#include <openssl/ec.h>
#include <openssl/objects.h>

#include "openssl_key_decoding.hpp"
#include "openssl_walk.hpp"

// The bytes are secret: nothing here copies them, and the time does not depend on the values of
// private numbers. OpenSSL gets only the public point.
namespace openssl
{

namespace
{

// What libcrypto needs for the check of a point.
struct Room
{
    EC_POINT *point;
    BN_CTX   *numbers;

    bool complete() const { return point && numbers; }
};

// A named curve. Its group is made at the first use, once, and never freed. After that only the
// room changes, so all threads may use it.
struct Group
{
    EC_GROUP *group;
    // As long as the octets of private keys.
    pb::StdVector<PB_BYTE, pb::ProcessMemory> order;
    size_t                                    coordinateSize;
    // Kept between the checks, since making it takes as long as using it. Null while a thread uses
    // it; another thread makes its own then.
    mutable std::atomic<Room *> room{ nullptr };

    explicit Group( EC_GROUP *made ) :
        group( made ), order( bytesFor( EC_GROUP_order_bits( made ) ) ), coordinateSize( bytesFor( EC_GROUP_get_degree( made ) ) )
    {
        BN_bn2binpad( EC_GROUP_get0_order( made ), order.data(), (int)order.size() );
    }

    Room *takeRoom() const
    {
        Room *kept = room.exchange( nullptr, std::memory_order_acquire );
        return kept ? kept : pb::make<Room, pb::ProcessMemory>( EC_POINT_new( group ), BN_CTX_new() );
    }

    void giveRoom( Room *used ) const
    {
        if( used->complete() )
            used = room.exchange( used, std::memory_order_acq_rel );
        if( !used )
            return;
        EC_POINT_free( used->point );
        BN_CTX_free( used->numbers );
        pb::ProcessMemory::give( used );
    }

    static size_t bytesFor( int bits ) { return ( (size_t)bits + 7 ) / 8; }
};

struct Curve
{
    int            nid;
    std::once_flag once;
    Group         *group = nullptr; // null if libcrypto cannot make it

    explicit Curve( int wanted ) : nid( wanted ) {}
};

// The key is the content of the curve's OBJECT IDENTIFIER, in libcrypto's own table.
using Curves = pb::StdMap<Bytes, Curve, std::less<>, pb::ProcessMemory>;

Curves *createCurves()
{
    Curves                                            *curves = pb::make<Curves, pb::ProcessMemory>();
    pb::StdVector<EC_builtin_curve, pb::ProcessMemory> known( EC_get_builtin_curves( nullptr, 0 ) );
    EC_get_builtin_curves( known.data(), known.size() );
    for( const EC_builtin_curve &each : known )
    {
        const ASN1_OBJECT *object = OBJ_nid2obj( each.nid );
        // Keys on the curve SM2 load as another kind of key. Two old curves have no identifier.
        if( each.nid != NID_sm2 && object && OBJ_length( object ) > 0 )
            curves->try_emplace( Bytes( OBJ_get0_data( object ), OBJ_length( object ) ), each.nid );
    }
    return curves;
}

void createGroup( Curve &curve )
{
    if( EC_GROUP *made = EC_GROUP_new_by_curve_name( curve.nid ) )
        curve.group = pb::make<Group, pb::ProcessMemory>( made );
}

const Group *groupOf( const Walk &oid )
{
    static Curves *const curves = createCurves();

    Curves::iterator found = curves->find( oid.bytes() );
    if( found == curves->end() )
        return nullptr;
    Curve &curve = found->second;
    std::call_once( curve.once, createGroup, std::ref( curve ) );
    return curve.group;
}

// Whether it is at least 1 and less than the order. They have the same size.
bool isInRange( const Walk &number, Bytes order )
{
    unsigned borrow = 0, any = 0;
    for( size_t index = order.size(); index-- > 0; )
    {
        borrow = ( (unsigned)number[index] - order[index] - borrow ) >> 8 & 1;
        any |= number[index];
    }
    return any != 0 && borrow != 0;
}

// Whether it is an uncompressed point on the curve.
bool isOnCurve( const Group &group, const Walk &bytes )
{
    size_t size = group.coordinateSize;
    if( bytes.size() != 1 + 2 * size || bytes[0] != uncompressedPoint )
        return false;
    Room *room    = group.takeRoom();
    bool  onCurve = room->complete() && EC_POINT_oct2point( group.group, room->point, bytes.data(), bytes.size(), room->numbers ) == 1;
    group.giveRoom( room );
    return onCurve;
}

bool isEcKey( const Walk &curve, Walk key )
{
    Walk parts, number, tagged, point;
    if( !key.takeLast( tagSequence, parts ) || !parts.takeSmall( 1 ) || !parts.take( tagOctetString, number ) ||
        !parts.takeLast( tagPublicKey, tagged ) || !tagged.takeBytes( point ) || !tagged.empty() )
        return false;
    ErrorMark    detour;
    const Group *group = groupOf( curve );
    return group && number.size() == group->order.size() && isInRange( number, { group->order.data(), group->order.size() } ) &&
        isOnCurve( *group, point );
}

constexpr size_t mostNumberBytes = OPENSSL___MOST_KEY_BITS / 8, fewestModulusBytes = 64;

// Removes an INTEGER that is at least 1, without leading zeros, and gives its bytes.
bool takeNumber( Walk &rest, Walk &number )
{
    if( !rest.take( tagInteger, number ) || number.empty() )
        return false;
    if( number[0] != 0 )
        return number[0] < 0x80 && number.size() <= mostNumberBytes;
    return number.size() >= 2 && number[1] >= 0x80 && number.size() - 1 <= mostNumberBytes;
}

bool isRsaKey( Walk key )
{
    Walk numbers, number;
    if( !key.takeLast( tagSequence, numbers ) || !numbers.takeSmall( 0 ) || !takeNumber( numbers, number ) || number.size() < fewestModulusBytes )
        return false;
    // The exponents, the primes, and the three numbers for the Chinese remainder theorem.
    for( int left = 7; left > 0; left-- )
    {
        if( !takeNumber( numbers, number ) )
            return false;
    }
    return numbers.empty();
}

bool isCanonicalPrivateKey( Walk der )
{
    static constexpr PB_BYTE rsaEncryption[] = { 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01, 0x01 };
    static constexpr PB_BYTE ecPublicKey[]   = { 0x2A, 0x86, 0x48, 0xCE, 0x3D, 0x02, 0x01 };

    Walk info, algorithm, oid, curve, key;
    if( !der.takeLast( tagSequence, info ) || !info.takeSmall( 0 ) || !info.take( tagSequence, algorithm ) || !info.takeLast( tagOctetString, key ) ||
        !algorithm.take( tagOid, oid ) )
        return false;
    if( oid.is( { rsaEncryption, sizeof rsaEncryption } ) )
        return algorithm.takeNull() && algorithm.empty() && isRsaKey( key );
    return oid.is( { ecPublicKey, sizeof ecPublicKey } ) && algorithm.takeLast( tagOid, curve ) && isEcKey( curve, key );
}

}

}

PB_BOOL openssl___IsCanonicalPrivateKey( const PB_BYTE *der, PB_INT length )
{
    PB_CHECK( der );
    PB_CHECK( length >= 0 );
    return openssl::isReviewedVersion() && length <= openssl::mostWalked && openssl::isCanonicalPrivateKey( { der, (size_t)length } );
}
