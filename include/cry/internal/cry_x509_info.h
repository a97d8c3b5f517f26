/* What is in OpenSSL's certificates. */
#ifndef CRY_INTERNAL_CRY_X509_INFO_H
#define CRY_INTERNAL_CRY_X509_INFO_H

#include <cry/cry_x509_info.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509InfoCreateFromOpensslX509: a new object with the fields of a certificate; it is lent. A
   field that does not decode is absent, and so is an extension that is missing, broken or there
   more than once. Null aborts ("x509"). */
PB_EXPORT CRY_X509_INFO *cry___X509InfoCreateFromOpensslX509( const X509 *x509 );

PB_END_DECLS

#endif
