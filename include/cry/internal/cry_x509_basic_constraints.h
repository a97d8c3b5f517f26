/* Basic constraints from OpenSSL's form of the extension. */
#ifndef CRY_INTERNAL_CRY_X509_BASIC_CONSTRAINTS_H
#define CRY_INTERNAL_CRY_X509_BASIC_CONSTRAINTS_H

#include <cry/cry_x509_basic_constraints.h>

#include <openssl/x509v3.h>

PB_BEGIN_DECLS

/* cry___X509BasicConstraintsCreateFromOpensslBasicConstraints: a new object with the values of an
   OpenSSL object, which is lent. A path length that is negative or does not fit into 64 bits is
   dropped. Null aborts ("bcons"). */
PB_EXPORT CRY_X509_BASIC_CONSTRAINTS *cry___X509BasicConstraintsCreateFromOpensslBasicConstraints( const BASIC_CONSTRAINTS *bcons );

PB_END_DECLS

#endif
