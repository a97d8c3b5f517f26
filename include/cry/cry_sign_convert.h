/* The two forms of an ECDSA signature: DER (RFC 3279, 2.2.3), and the numbers r and s one after the
   other, the form of JSON Web Signatures (RFC 7518, 3.4). */
#ifndef CRY_CRY_SIGN_CONVERT_H
#define CRY_CRY_SIGN_CONVERT_H

#include <cry/cry_pkey_ec_named_curve.h>
#include <pb/pb_buffer.h>

PB_BEGIN_DECLS

/* The curve gives the width of each number: 32 bytes for CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, 48 for
   SECP384R1, 66 for SECP521R1. Every other value gives null. */

/* crySignConvertDerToRaw: r and s, big-endian and filled up with zeros on the left, a new buffer;
   null if the DER is not a signature or a number is too large for the curve. Bytes after the DER
   are dropped. A null input aborts ("input"). */
PB_EXPORT PB_BUFFER *crySignConvertDerToRaw( PB_BUFFER *input, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve );
/* crySignConvertRawToDer: the DER of r and s, a new buffer; null if there are too few bytes. Bytes
   after the two numbers are dropped. A null input aborts ("input"). */
PB_EXPORT PB_BUFFER *crySignConvertRawToDer( PB_BUFFER *input, CRY_PKEY_EC_NAMED_CURVE ecNamedCurve );

PB_END_DECLS

#endif
