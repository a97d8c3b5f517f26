/* Subject alternative names from OpenSSL's general names. */
#ifndef CRY_INTERNAL_CRY_X509_SANS_H
#define CRY_INTERNAL_CRY_X509_SANS_H

#include <cry/cry_x509_sans.h>

#include <openssl/x509v3.h>

PB_BEGIN_DECLS

/* cry___X509SansCreateFromOpensslSubjectAltNames: the DNS names and the IP addresses of a
   certificate's extension. Names of other kinds, texts that are not domain names, and addresses
   that have neither 4 nor 16 bytes are skipped. A DNS name is kept in its Unicode form with folded
   case. If the folded text would be another domain (strasse for straße), the Unicode form is
   kept as it is. Null aborts ("gn"). */
PB_EXPORT CRY_X509_SANS *cry___X509SansCreateFromOpensslSubjectAltNames( GENERAL_NAMES *gn );

PB_END_DECLS

#endif
