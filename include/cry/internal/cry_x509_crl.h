/* CRLs from and to OpenSSL's CRLs. */
#ifndef CRY_INTERNAL_CRY_X509_CRL_H
#define CRY_INTERNAL_CRY_X509_CRL_H

#include <cry/cry_x509_crl.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509CrlTryCreateFromOpensslX509CrlUse: a CRL of an OpenSSL CRL. The caller's reference is
   taken over in every case. Null if OpenSSL cannot write the CRL. A null argument aborts
   ("x509Crl"). */
PB_EXPORT CRY_X509_CRL *cry___X509CrlTryCreateFromOpensslX509CrlUse( X509_CRL *x509Crl );
/* cry___X509CrlTryCreateFromOpensslX509CrlCopy: the same with a copy of the CRL; the caller keeps
   his reference. */
PB_EXPORT CRY_X509_CRL *cry___X509CrlTryCreateFromOpensslX509CrlCopy( X509_CRL *x509Crl );
/* cry___X509CrlPeekOpensslX509Crl: lends the OpenSSL CRL. It may only be read, and only while the
   caller holds the object. A lookup in it (X509_CRL_get0_by_serial, or the verification of a chain)
   sorts its entries, so it is not reading; use a copy (X509_CRL_dup) for that. Null aborts
   ("crl"). */
PB_EXPORT X509_CRL *cry___X509CrlPeekOpensslX509Crl( CRY_X509_CRL *crl );

PB_END_DECLS

#endif
