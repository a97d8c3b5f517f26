/* Digests for sibling modules. */
#ifndef CRY_INTERNAL_CRY_HASH_H
#define CRY_INTERNAL_CRY_HASH_H

#include <cry/cry_hash.h>
#include <cry/cry_hash_algorithm.h>

PB_BEGIN_DECLS

/* cry___HashAlgorithmOpensslDigestName: OpenSSL's name of an algorithm, static text; an invalid
   value aborts ("CRY_HASH_ALGORITHM_OK( alg )"). */
PB_EXPORT const char *cry___HashAlgorithmOpensslDigestName( CRY_HASH_ALGORITHM alg );
/* cry___HashIsFinal: whether cryHashFinal was called; null aborts ("hash"). */
PB_EXPORT PB_BOOL cry___HashIsFinal( CRY_HASH *hash );

PB_END_DECLS

#endif
