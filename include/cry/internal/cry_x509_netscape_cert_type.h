/* Netscape certificate type from OpenSSL's form of the extension. */
#ifndef CRY_INTERNAL_CRY_X509_NETSCAPE_CERT_TYPE_H
#define CRY_INTERNAL_CRY_X509_NETSCAPE_CERT_TYPE_H

#include <cry/cry_x509_netscape_cert_type.h>

#include <openssl/asn1.h>

PB_BEGIN_DECLS

/* cry___X509NetscapeCertTypeFromOpensslNetscapeCertType: the flags of a bit string, which is lent;
   bit 4 and the bits above 7 have no flag. Null aborts ("nscert"). */
PB_EXPORT CRY_X509_NETSCAPE_CERT_TYPE cry___X509NetscapeCertTypeFromOpensslNetscapeCertType( const ASN1_BIT_STRING *nscert );

PB_END_DECLS

#endif
