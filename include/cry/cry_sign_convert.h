/* The two forms of an ECDSA signature: DER (RFC 3279, 2.2.3), and the numbers r and s one after the
   other, as JSON Web Signatures have them (RFC 7518, 3.4). */
#ifndef CRY_CRY_SIGN_CONVERT_H
#define CRY_CRY_SIGN_CONVERT_H

#include <cry/cry_pkey_ec_named_curve.h>
#include <pb/pb_buffer.h>

PB_BEGIN_DECLS

/* The curve says how wide the numbers are; known are CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 (32 bytes
   each), SECP384R1 (48) and SECP521R1 (66), every other value gives null. */

/* crySignConvertDerToRaw: r and s, big-endian and filled up with zeros on the left, a new buffer;
   null if the DER is not a signature or a number is too large for the curve. Bytes behind the DER
   are dropped. Null aborts ("input"). */
PB_EXPORT PB_BUFFER *crySignConvertDerToRaw( PB_BUFFER *input, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve );
/* crySignConvertRawToDer: the DER of r and s, a new buffer; null if there are too few bytes.
   Bytes behind the two numbers are dropped. Null aborts ("input"). */
PB_EXPORT PB_BUFFER *crySignConvertRawToDer( PB_BUFFER *input, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve );

PB_END_DECLS

#endif
