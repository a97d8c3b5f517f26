/* PEM text and OpenSSL's BIOs. */
#ifndef CRY_INTERNAL_CRY_PEM_H
#define CRY_INTERNAL_CRY_PEM_H

#include <cry/cry_pem.h>

#include <openssl/bio.h>

PB_BEGIN_DECLS

/* cry___PemEncodeToBio: writes the text to a BIO in pieces of at most 16,384 bytes; false when it
   does not take all of it. A short write goes on when the BIO asks for a retry. May block where the
   BIO does. */
PB_EXPORT PB_BOOL cry___PemEncodeToBio( CRY_PEM *pem, BIO *bio );
/* cry___PemTryDecodeFromBio: reads a BIO to its end and decodes the one block in it as
   cryPemTryDecode does; null also when the reading fails. */
PB_EXPORT CRY_PEM *cry___PemTryDecodeFromBio( BIO *bio );
/* cry___PemTryDecodeFromStringVector: takes the lines of one block off the front of the caller's
   vector. False when they are no block; true with a new PEM object in `pem`, or with null if no
   line was left. Blank lines and comments are removed from the whole vector first. */
PB_EXPORT PB_BOOL cry___PemTryDecodeFromStringVector( PB_VECTOR **vec, CRY_PEM **pem );

PB_END_DECLS

#endif
