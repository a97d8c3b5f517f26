/* Big integers from and to OpenSSL's numbers. */
#ifndef BN_INTERNAL_BN_INT_H
#define BN_INTERNAL_BN_INT_H

#include <bn/bn_int.h>

#include <openssl/bn.h>

PB_BEGIN_DECLS

/* bn___IntCreateFromBignumUse: takes over an OpenSSL number; null aborts ("bignum"). */
PB_EXPORT BN_INT *bn___IntCreateFromBignumUse( BIGNUM *bignum );
/* bn___IntPeekBignum: lends the OpenSSL number. The caller may only read it, and only while it
   holds the object. */
PB_EXPORT const BIGNUM *bn___IntPeekBignum( BN_INT *bn );

PB_END_DECLS

#endif
