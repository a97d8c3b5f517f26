/* CRY_HASH_ALGORITHM: message digests. */
#ifndef CRY_CRY_HASH_ALGORITHM_H
#define CRY_CRY_HASH_ALGORITHM_H

#include <pb/pb_obj.h>

typedef PB_INT CRY_HASH_ALGORITHM;

#define CRY_HASH_ALGORITHM_MD5 ( (CRY_HASH_ALGORITHM)0 )      /* RFC 1321; broken, for old data only */
#define CRY_HASH_ALGORITHM_SHA1 ( (CRY_HASH_ALGORITHM)1 )     /* FIPS 180-4; broken, for old data only */
#define CRY_HASH_ALGORITHM_SHA2_224 ( (CRY_HASH_ALGORITHM)2 ) /* FIPS 180-4 */
#define CRY_HASH_ALGORITHM_SHA2_256 ( (CRY_HASH_ALGORITHM)3 )
#define CRY_HASH_ALGORITHM_SHA2_384 ( (CRY_HASH_ALGORITHM)4 )
#define CRY_HASH_ALGORITHM_SHA2_512 ( (CRY_HASH_ALGORITHM)5 )
#define CRY_HASH_ALGORITHM_SHA3_224 ( (CRY_HASH_ALGORITHM)6 ) /* FIPS 202 */
#define CRY_HASH_ALGORITHM_SHA3_256 ( (CRY_HASH_ALGORITHM)7 )
#define CRY_HASH_ALGORITHM_SHA3_384 ( (CRY_HASH_ALGORITHM)8 )
#define CRY_HASH_ALGORITHM_SHA3_512 ( (CRY_HASH_ALGORITHM)9 )

#define CRY_HASH_ALGORITHM_OK( value ) ( ( value ) >= 0 && ( value ) <= CRY_HASH_ALGORITHM_SHA3_512 )

PB_BEGIN_DECLS

/* cryHashAlgorithmToString: the name of a value, for example "CRY_HASH_ALGORITHM_SHA2_256", a new
   string; another value aborts ("CRY_HASH_ALGORITHM_OK( alg )"). */
PB_EXPORT PB_STRING *cryHashAlgorithmToString( CRY_HASH_ALGORITHM alg );
/* cryHashAlgorithmFromString: the value of a name, which must match exactly; -1 for an unknown one.
   Null aborts ("pbs"). */
PB_EXPORT CRY_HASH_ALGORITHM cryHashAlgorithmFromString( PB_STRING *pbs );
/* cryHashAlgorithmBlockSizeBits: the block size of an algorithm in bits; for SHA-3, this is the
   rate. An invalid value aborts as above. */
PB_EXPORT PB_INT cryHashAlgorithmBlockSizeBits( CRY_HASH_ALGORITHM alg );
/* cryHashAlgorithmDigestSizeBits: the size of an algorithm's digest in bits. An invalid value
   aborts as above. */
PB_EXPORT PB_INT cryHashAlgorithmDigestSizeBits( CRY_HASH_ALGORITHM alg );

PB_END_DECLS

#endif
