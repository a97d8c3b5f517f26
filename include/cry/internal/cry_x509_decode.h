/* Conversion of OpenSSL's ASN.1 values to objects of these libraries. */
#ifndef CRY_INTERNAL_CRY_X509_DECODE_H
#define CRY_INTERNAL_CRY_X509_DECODE_H

#include <bn/bn_int.h>
#include <pb/pb_string.h>
#include <pb/pb_time.h>

#include <openssl/asn1.h>
#include <openssl/x509.h>

PB_BEGIN_DECLS

/* All functions give null if the value cannot be decoded, and abort on null. */

/* cry___X509TryDecodeX509Name: a distinguished name in one line, most specific part first, for
   example "CN=host, O=Example, C=DE". It has OpenSSL's short names and the escapes of RFC 2253;
   characters outside ASCII are not escaped. Aborts on null ("name"). */
PB_EXPORT PB_STRING *cry___X509TryDecodeX509Name( X509_NAME *name );
/* cry___X509TryDecodeAsn1Integer: an integer of any size ("asn1Integer"). */
PB_EXPORT BN_INT *cry___X509TryDecodeAsn1Integer( const ASN1_INTEGER *asn1Integer );
/* cry___X509TryDecodeAsn1String: a string of any ASN.1 character type; an empty one gives null too
   ("asn1String"). */
PB_EXPORT PB_STRING *cry___X509TryDecodeAsn1String( const ASN1_STRING *asn1String );
/* cry___X509TryDecodeAsn1Time: a UTCTime YYMMDDHHMMSSZ (years 1950 to 2049) or GeneralizedTime
   YYYYMMDDHHMMSSZ, the latter with an optional fraction, which is dropped; local times and offsets
   give null (RFC 5280, 4.1.2.5). Aborts on null ("asn1Time"). */
PB_EXPORT PB_TIME *cry___X509TryDecodeAsn1Time( const ASN1_TIME *asn1Time );

PB_END_DECLS

#endif
