/* New elliptic curve keys. */
#ifndef CRY_CRY_GENERATE_EC_KEY_PAIR_H
#define CRY_CRY_GENERATE_EC_KEY_PAIR_H

#include <cry/cry_pkey_private.h>

PB_BEGIN_DECLS

/* cryTryGenerateEcKeyPair: a new key on a CRY_PKEY_EC_NAMED_CURVE; null if this libcrypto does
   not have the curve or cannot write its keys. Another value aborts ("CRY_PKEY_EC_NAMED_CURVE_OK(
   curve )"). */
PB_EXPORT CRY_PKEY_PRIVATE *cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE curve );

PB_END_DECLS

#endif
