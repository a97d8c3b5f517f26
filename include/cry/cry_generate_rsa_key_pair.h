/* New RSA keys. */
#ifndef CRY_CRY_GENERATE_RSA_KEY_PAIR_H
#define CRY_CRY_GENERATE_RSA_KEY_PAIR_H

#include <cry/cry_pkey_private.h>

PB_BEGIN_DECLS

/* cryTryGenerateRsaKeyPair: a new RSA key (RFC 8017) with a modulus of `bits` bits and OpenSSL's
   public exponent (65537); null if OpenSSL fails. It can take long: about a tenth of a second with
   2048 bits, minutes with 16384. Aborts on fewer than 1024 bits ("bits >= 1024") and on more than
   16384 ("bits <= 16384"). */
PB_EXPORT CRY_PKEY_PRIVATE *cryTryGenerateRsaKeyPair( PB_INT bits );

PB_END_DECLS

#endif
