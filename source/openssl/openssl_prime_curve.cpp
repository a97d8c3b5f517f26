#include "openssl_prime_curve.hpp"

#include <memory>
#include <openssl/bn.h>
#include <openssl/obj_mac.h>

namespace openssl
{

namespace
{

__extension__ using Wide = unsigned __int128;

uint64_t low( Wide wide ) { return (uint64_t)wide; }
uint64_t high( Wide wide ) { return (uint64_t)( wide >> 64 ); }

struct Freer
{
    void operator()( BIGNUM *number ) const { BN_free( number ); }
    void operator()( BN_CTX *context ) const { BN_CTX_free( context ); }
};
using Own = std::unique_ptr<BIGNUM, Freer>;

}

PrimeCurve::PrimeCurve( const EC_GROUP *group )
{
    if( EC_GROUP_get_field_type( group ) != NID_X9_62_prime_field || EC_GROUP_get_degree( group ) > (int)( 64 * mostWords ) )
        return;
    std::unique_ptr<BN_CTX, Freer> context( BN_CTX_new() );
    Own                            p( BN_new() ), first( BN_new() ), second( BN_new() ), r( BN_new() ), part( BN_new() );
    size_t                         count = ( (size_t)EC_GROUP_get_degree( group ) + 63 ) / 64;

    auto keep = [&]( const BIGNUM *number, Number &kept ) {
        PB_BYTE bytes[8 * mostWords];
        bool    fits = BN_bn2binpad( number, bytes, sizeof bytes ) == sizeof bytes;
        kept         = numberOf( { bytes, sizeof bytes } );
        return fits;
    };
    auto keepDivided = [&]( const BIGNUM *number, Number &kept ) {
        return BN_mod_mul( part.get(), number, second.get(), p.get(), context.get() ) && keep( part.get(), kept );
    };
    Own aOfCurve( BN_new() ), bOfCurve( BN_new() );
    if( !context || !p || !first || !second || !r || !part || !aOfCurve || !bOfCurve ||
        !EC_GROUP_get_curve( group, p.get(), aOfCurve.get(), bOfCurve.get(), context.get() ) || !keep( p.get(), prime ) ||
        !BN_set_bit( r.get(), (int)( 64 * count ) ) || !BN_mod_sqr( first.get(), r.get(), p.get(), context.get() ) ||
        !keep( first.get(), squareOfR ) || !BN_mod_inverse( second.get(), r.get(), p.get(), context.get() ) || !keepDivided( aOfCurve.get(), a ) ||
        !keepDivided( bOfCurve.get(), b ) )
        return;
    // Each step doubles the number of bits that are right; an odd number is its own inverse in the
    // lowest three.
    uint64_t found = prime[0];
    for( int bits = 3; bits < 64; bits *= 2 )
        found *= 2 - prime[0] * found;
    inverse = -found;
    words   = count;
}

PrimeCurve::Number PrimeCurve::numberOf( Bytes bytes )
{
    Number number{};
    for( size_t index = 0; index < bytes.size(); index++ )
        number[index / 8] |= (uint64_t)bytes[bytes.size() - 1 - index] << ( 8 * ( index % 8 ) );
    return number;
}

bool PrimeCurve::isReduced( const Number &number ) const
{
    for( size_t index = words; index-- > 0; )
    {
        if( number[index] != prime[index] )
            return number[index] < prime[index];
    }
    return false;
}

// The number with its carry is less than twice the prime.
PrimeCurve::Number PrimeCurve::reduced( Number number, uint64_t carry ) const
{
    if( !carry && isReduced( number ) )
        return number;
    uint64_t borrow = 0;
    for( size_t index = 0; index < words; index++ )
    {
        Wide difference = (Wide)number[index] - prime[index] - borrow;
        number[index]   = low( difference );
        borrow          = high( difference ) & 1;
    }
    return number;
}

PrimeCurve::Number PrimeCurve::sum( const Number &first, const Number &second ) const
{
    Number   result{};
    uint64_t carry = 0;
    for( size_t index = 0; index < words; index++ )
    {
        Wide added    = (Wide)first[index] + second[index] + carry;
        result[index] = low( added );
        carry         = high( added );
    }
    return reduced( result, carry );
}

PrimeCurve::Number PrimeCurve::product( const Number &first, const Number &second ) const
{
    Number   result{};
    uint64_t top = 0;
    for( size_t outer = 0; outer < words; outer++ )
    {
        uint64_t carry = 0;
        for( size_t inner = 0; inner < words; inner++ )
        {
            Wide added    = (Wide)first[inner] * second[outer] + result[inner] + carry;
            result[inner] = low( added );
            carry         = high( added );
        }
        Wide     upper  = (Wide)top + carry;
        uint64_t factor = result[0] * inverse;
        // The lowest word becomes zero and is dropped.
        carry = high( (Wide)factor * prime[0] + result[0] );
        for( size_t inner = 1; inner < words; inner++ )
        {
            Wide added        = (Wide)factor * prime[inner] + result[inner] + carry;
            result[inner - 1] = low( added );
            carry             = high( added );
        }
        upper += carry;
        result[words - 1] = low( upper );
        top               = high( upper );
    }
    return reduced( result, top );
}

bool PrimeCurve::has( Bytes xBytes, Bytes yBytes ) const
{
    if( xBytes.size() > 8 * words || yBytes.size() > 8 * words )
        return false;
    Number x = numberOf( xBytes ), y = numberOf( yBytes );
    if( !isReduced( x ) || !isReduced( y ) )
        return false;
    // Both sides of the equation, divided by R. The product of x and the square of R is x * R.
    return product( y, y ) == sum( product( sum( product( x, x ), a ), product( x, squareOfR ) ), b );
}

}
