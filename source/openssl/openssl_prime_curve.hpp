// Whether a point is on a curve over a prime field. It takes a third of the time of libcrypto's own
// check, which allocates much. Points are public, so the time may depend on them.
#pragma once

#include "openssl_der.hpp"

#include <array>
#include <openssl/ec.h>

namespace openssl
{

class PrimeCurve
{
public:
    // Not known if the field is another one or too large, or if memory runs out. May leave errors
    // in OpenSSL's queue.
    explicit PrimeCurve( const EC_GROUP *group );

    bool known() const { return words != 0; }

    // Whether both coordinates are less than the prime and y^2 = x^3 + ax + b. They have the size
    // of the prime.
    bool has( Bytes x, Bytes y ) const;

private:
    static constexpr size_t mostWords = 9; // of P-521

    // The lowest word is first.
    using Number = std::array<uint64_t, mostWords>;

    static Number numberOf( Bytes bytes );

    bool   isReduced( const Number &number ) const;
    Number reduced( Number number, uint64_t carry ) const;
    Number sum( const Number &first, const Number &second ) const;
    Number product( const Number &first, const Number &second ) const; // divided by R, as Montgomery's is

    // R is 2 to the number of the bits of all words.
    size_t   words   = 0;
    uint64_t inverse = 0;                    // -1 / prime, modulo one word
    Number   prime{}, squareOfR{}, a{}, b{}; // a and b are divided by R
};

}
