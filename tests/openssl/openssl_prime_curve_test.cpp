#include "openssl_prime_curve.hpp"

#include <gtest/gtest.h>
#include <memory>
#include <openssl/err.h>
#include <openssl/objects.h>
#include <random>
#include <string>
#include <vector>

namespace
{

using Group = std::unique_ptr<EC_GROUP, decltype( &EC_GROUP_free )>;
using Point = std::unique_ptr<EC_POINT, decltype( &EC_POINT_free )>;

openssl::Bytes view( const std::string &bytes, size_t from, size_t size ) { return { (const PB_BYTE *)bytes.data() + from, size }; }

// An uncompressed point as bytes.
std::string pointOf( const EC_GROUP *group, uint64_t factor )
{
    Point   point( EC_POINT_new( group ), EC_POINT_free );
    BIGNUM *number = BN_new();
    BN_set_word( number, factor );
    EXPECT_EQ( EC_POINT_mul( group, point.get(), number, nullptr, nullptr, nullptr ), 1 );
    BN_free( number );
    unsigned char bytes[200];
    size_t        size = EC_POINT_point2oct( group, point.get(), POINT_CONVERSION_UNCOMPRESSED, bytes, sizeof bytes, nullptr );
    return { (char *)bytes, size };
}

bool isOnCurve( const EC_GROUP *group, const std::string &bytes )
{
    Point point( EC_POINT_new( group ), EC_POINT_free );
    bool  good = EC_POINT_oct2point( group, point.get(), (const unsigned char *)bytes.data(), bytes.size(), nullptr ) == 1;
    ERR_clear_error();
    return good;
}

}

TEST( OpensslPrimeCurve, AgreesWithLibcryptoOnAllCurves )
{
    std::vector<EC_builtin_curve> curves( EC_get_builtin_curves( nullptr, 0 ) );
    EC_get_builtin_curves( curves.data(), curves.size() );
    std::mt19937 random( 1 );
    size_t       known = 0;
    for( const EC_builtin_curve &each : curves )
    {
        Group               group( EC_GROUP_new_by_curve_name( each.nid ), EC_GROUP_free );
        openssl::PrimeCurve curve( group.get() );
        ASSERT_EQ( curve.known(), EC_GROUP_get_field_type( group.get() ) == NID_X9_62_prime_field ) << OBJ_nid2sn( each.nid );
        if( !curve.known() )
            continue;
        known++;
        for( uint64_t factor : { 1, 2, 3, 4, 5, 1000, 65537 } )
        {
            std::string point = pointOf( group.get(), factor );
            for( int changed = 0; changed < 6; changed++ )
            {
                size_t size = point.size() / 2;
                EXPECT_EQ( curve.has( view( point, 1, size ), view( point, 1 + size, size ) ), isOnCurve( group.get(), point ) )
                    << OBJ_nid2sn( each.nid ) << " " << factor << " " << changed;
                EXPECT_EQ( isOnCurve( group.get(), point ), changed == 0 );
                char &byte = point[1 + random() % ( 2 * size )];
                byte       = (char)( byte ^ 1 << random() % 8 );
            }
        }
    }
    EXPECT_GE( known, 3u );
}

// The same point with a coordinate that is larger by the prime.
TEST( OpensslPrimeCurve, RefusesCoordinatesThatAreNotReduced )
{
    Group               group( EC_GROUP_new_by_curve_name( NID_X9_62_prime256v1 ), EC_GROUP_free );
    openssl::PrimeCurve curve( group.get() );
    // With x = 0, y is the square root of b.
    Point   point( EC_POINT_new( group.get() ), EC_POINT_free );
    BIGNUM *zero = BN_new();
    ASSERT_EQ( EC_POINT_set_compressed_coordinates( group.get(), point.get(), zero, 0, nullptr ), 1 );
    unsigned char bytes[65];
    EC_POINT_point2oct( group.get(), point.get(), POINT_CONVERSION_UNCOMPRESSED, bytes, sizeof bytes, nullptr );
    EXPECT_TRUE( curve.has( { bytes + 1, 32 }, { bytes + 33, 32 } ) );
    BN_bn2binpad( EC_GROUP_get0_field( group.get() ), bytes + 1, 32 );
    EXPECT_FALSE( curve.has( { bytes + 1, 32 }, { bytes + 33, 32 } ) );
    BN_free( zero );
}
