/* PEM text and OpenSSL's BIOs. */
#ifndef CRY_INTERNAL_CRY_PEM_H
#define CRY_INTERNAL_CRY_PEM_H

#include <cry/cry_pem.h>

#include <openssl/bio.h>

PB_BEGIN_DECLS

/* cry___PemEncodeToBio: writes the text to a BIO in pieces of at most 16,384 bytes; false if the
   BIO does not take all of it. After a short write the rest is written if the BIO asks for a retry.
   May block if the BIO blocks. */
PB_EXPORT PB_BOOL cry___PemEncodeToBio( CRY_PEM *pem, BIO *bio );
/* cry___PemTryDecodeFromBio: reads a BIO to its end and decodes the one block in it as
   cryPemTryDecode does; null also if the reading fails. */
PB_EXPORT CRY_PEM *cry___PemTryDecodeFromBio( BIO *bio );
/* cry___PemTryDecodeFromStringVector: removes the lines of one block from the front of the caller's
   vector. False if they are not a block. True with a new PEM object in `pem`, or with null in it if
   no line was left. Empty lines and comments are removed from the whole vector first. */
PB_EXPORT PB_BOOL cry___PemTryDecodeFromStringVector( PB_VECTOR **vec, CRY_PEM **pem );

PB_END_DECLS

#endif
