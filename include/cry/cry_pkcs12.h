/* PKCS#12 files (RFC 7292).

   Example:

       // The private key in a PKCS#12 file, a new reference, or null.
       CRY_PKEY_PRIVATE *readKey( PB_BUFFER *file, PB_STRING *password )
       {
           CRY_PKEY_PRIVATE *key    = NULL;
           CRY_PKCS12       *pkcs12 = cryPkcs12TryCreateFromBuffer( file, password );
           if( pkcs12 )
           {
               key = cryPkcs12PrivateKey( pkcs12 );
               cryPkcs12Release( pkcs12 );
           }
           return key;
       }
*/
#ifndef CRY_CRY_PKCS12_H
#define CRY_CRY_PKCS12_H

#include <cry/cry_x509_certificates.h>

#include <stdint.h>

/* CRY_PKCS12: a private key, its certificate and further certificates. A CRY_PKCS12 never changes;
   many threads may read it. */
PB_OBJECT_TYPE( CRY_PKCS12 );

PB_BEGIN_DECLS

/* cryPkcs12TryCreate: an object of these parts; null `certificates` mean an empty collection. Null
   if the key does not belong to the certificate. A null certificate or key aborts ("cert",
   "key"). */
PB_EXPORT CRY_PKCS12 *cryPkcs12TryCreate( CRY_X509_CERTIFICATE *cert, CRY_PKEY_PRIVATE *key, CRY_X509_CERTIFICATES *certificates );
/* cryPkcs12TryCreateFromBuffer: reads the DER of a PKCS#12 file. Old algorithms (RC2, 3DES with
   SHA-1) can be read if OpenSSL's legacy provider is installed. The certificate is the first one
   that the key belongs to; the other certificates are in the reverse order of the file. A null
   password is not the same as an empty one, but OpenSSL tries both for each of them. The result is
   null if the file does not parse, if the key or the certificate is missing, if the password holds
   U+0000, or if one key derivation needs more than 10,000,000 rounds or all together need more than
   30,000,000. A derivation that would exceed a limit is not begun. It is also null if a DSA or DH
   key in the file has a number of more than 16,384 bits. Certificates keep the names and key ids
   that the file gives them (X509_alias_get0, X509_keyid_get0). A null buffer aborts ("buffer"). The
   time depends on the file's iteration counts: a millisecond for usual counts, many seconds for the
   highest that are allowed. */
PB_EXPORT CRY_PKCS12 *cryPkcs12TryCreateFromBuffer( PB_BUFFER *buffer, PB_STRING *password );
/* cryPkcs12TryCreateFromBufferWithDiagnostics: the same, and on failure `*diagnostics` becomes a
   new string with the reason, for an administrator. The string that it held before is released.
   `diagnostics` may be null; `*diagnostics` must be null or a string. Only the result shows if the
   call succeeded, since a text is also stored on success if there are other certificates. */
PB_EXPORT CRY_PKCS12 *cryPkcs12TryCreateFromBufferWithDiagnostics( PB_BUFFER *buffer, PB_STRING *password, PB_STRING **diagnostics );
/* cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode: the same, and `*code` becomes OpenSSL's error
   code if PKCS12_parse fails (for example, because of a wrong password), else 0. For a file with
   too many rounds or with a key that is too large, it is a code of this module, which has a text
   (ERR_reason_error_string). `code` may be null. */
PB_EXPORT CRY_PKCS12 *cryPkcs12TryCreateFromBufferWithDiagnosticsAndCode(
    PB_BUFFER *buffer, PB_STRING *password, PB_STRING **diagnostics, int32_t *code );

/* cryPkcs12PrivateKey: the private key, a new reference; null aborts ("pkcs12"). */
PB_EXPORT CRY_PKEY_PRIVATE *cryPkcs12PrivateKey( CRY_PKCS12 *pkcs12 );
/* cryPkcs12Certificate: the key's certificate, a new reference. */
PB_EXPORT CRY_X509_CERTIFICATE *cryPkcs12Certificate( CRY_PKCS12 *pkcs12 );
/* cryPkcs12Certificates: the other certificates, a new reference; may be empty. */
PB_EXPORT CRY_X509_CERTIFICATES *cryPkcs12Certificates( CRY_PKCS12 *pkcs12 );
/* cryPkcs12Store: a new store with the sub-stores "privateKey", "certificate" and
   "certificates". */
PB_EXPORT PB_STORE *cryPkcs12Store( CRY_PKCS12 *pkcs12 );
/* cryPkcs12TryEncode: the DER of a PKCS#12 file, a new, sensitive buffer, with the encryption that
   OpenSSL chooses; null if OpenSSL cannot make it or if the password holds U+0000. Anybody can read
   a file without a password. */
PB_EXPORT PB_BUFFER *cryPkcs12TryEncode( CRY_PKCS12 *pkcs12, PB_STRING *password );

/* cryPkcs12Sort/Obj/From/Retain/Release/Compare/Equals/ToString: the eight standard functions
   (docs/conventions.md); objects compare by address. */
PB_EXPORT const PB_SORT *cryPkcs12Sort( void );
PB_EXPORT PB_OBJ        *cryPkcs12Obj( CRY_PKCS12 *obj );
PB_EXPORT CRY_PKCS12    *cryPkcs12From( PB_OBJ *obj );
PB_EXPORT CRY_PKCS12    *cryPkcs12Retain( CRY_PKCS12 *obj );
PB_EXPORT void           cryPkcs12Release( CRY_PKCS12 *obj );
PB_EXPORT PB_INT         cryPkcs12Compare( CRY_PKCS12 *objA, CRY_PKCS12 *objB );
PB_EXPORT PB_BOOL        cryPkcs12Equals( CRY_PKCS12 *objA, CRY_PKCS12 *objB );
PB_EXPORT PB_STRING     *cryPkcs12ToString( CRY_PKCS12 *obj );

PB_END_DECLS

#endif
