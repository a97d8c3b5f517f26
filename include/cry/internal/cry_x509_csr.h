/* Requests from and to OpenSSL's requests. */
#ifndef CRY_INTERNAL_CRY_X509_CSR_H
#define CRY_INTERNAL_CRY_X509_CSR_H

#include <cry/cry_x509_csr.h>

#include <openssl/x509.h>

PB_BEGIN_DECLS

/* cry___X509CsrTryCreateFromOpensslX509ReqUse: a request of an OpenSSL request. The caller's
   reference is taken over in every case. Null if OpenSSL cannot write the request. A null argument
   aborts ("req"). */
PB_EXPORT CRY_X509_CSR *cry___X509CsrTryCreateFromOpensslX509ReqUse( X509_REQ *req );
/* cry___X509CsrTryCreateFromOpensslX509ReqCopy: the same with a copy of the request; the caller
   keeps his reference. */
PB_EXPORT CRY_X509_CSR *cry___X509CsrTryCreateFromOpensslX509ReqCopy( X509_REQ *req );
/* cry___X509CsrPeekOpensslX509Req: lends the OpenSSL request. It may only be read, and only while
   the caller holds the object. Null aborts ("csr"). */
PB_EXPORT X509_REQ *cry___X509CsrPeekOpensslX509Req( CRY_X509_CSR *csr );

PB_END_DECLS

#endif
