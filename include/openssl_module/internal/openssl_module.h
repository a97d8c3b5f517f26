/* The functions of the openssl module for libraries that use OpenSSL types. They may be called
   between its start-up and its shut-down. Their results stay valid afterwards. */
#ifndef OPENSSL_MODULE_INTERNAL_OPENSSL_MODULE_H
#define OPENSSL_MODULE_INTERNAL_OPENSSL_MODULE_H

#include <openssl_module/openssl_module.h>

#include <openssl/evp.h>
#include <openssl/x509.h>

PB_BEGIN_DECLS

/* openssl___Digest: a message digest of the default context by its OpenSSL name, fetched at the
   first call and kept for the life of the process. Null if this libcrypto does not have it. Owned
   by the module. */
PB_EXPORT const EVP_MD *openssl___Digest( const char *name );
/* openssl___IsDefaultProviders: whether libcrypto's built-in default provider computes this digest.
   Then libcrypto's low-level functions are the same code. A provider from elsewhere does not count,
   even if its name is "default". */
PB_EXPORT PB_BOOL openssl___IsDefaultProviders( const EVP_MD *md );

/* openssl___Cipher: the same for a cipher. */
PB_EXPORT const EVP_CIPHER *openssl___Cipher( const char *name );
/* openssl___Hmac: a MAC context for HMAC with the digest of this OpenSSL name, without a key; the
   caller duplicates it. Null if this libcrypto cannot provide it. Owned by the module. */
PB_EXPORT const EVP_MAC_CTX *openssl___Hmac( const char *digestName );

/* openssl___TryParseCertificate: parses the first certificate in `length` bytes with the same
   result as d2i_X509 and the same errors in the queue. RSA and named-curve EC certificates are
   parsed in the key-decoding context. The caller frees the result. */
PB_EXPORT X509 *openssl___TryParseCertificate( const PB_BYTE *der, PB_INT length );

/* openssl___TryParsePrivateKeyFast: an RSA or named-curve EC private key from a DER PrivateKeyInfo
   (RFC 5208) that fills `length` bytes, in the key-decoding context. Null if OpenSSL must decide in
   the default context. Leaves no errors in the queue. */
PB_EXPORT EVP_PKEY *openssl___TryParsePrivateKeyFast( const PB_BYTE *der, PB_INT length );
/* openssl___TryParsePublicKeyFast: the same for a DER SubjectPublicKeyInfo (RFC 5280, 4.1). */
PB_EXPORT EVP_PKEY *openssl___TryParsePublicKeyFast( const PB_BYTE *der, PB_INT length );

/* openssl___IsCanonicalPublicKey: whether OpenSSL would write the key in exactly these bytes. Ask
   only for bytes that openssl___TryParsePublicKeyFast parsed. False if that is not known. */
PB_EXPORT PB_BOOL openssl___IsCanonicalPublicKey( const PB_BYTE *der, PB_INT length );
/* openssl___IsCanonicalCertificate: whether d2i_X509 surely accepts these bytes, all of them, in
   the default context and in the key-decoding context, and i2d_X509 gives them back unchanged.
   False if that is not known. */
PB_EXPORT PB_BOOL openssl___IsCanonicalCertificate( const PB_BYTE *der, PB_INT length );
/* openssl___IsCanonicalPrivateKey: whether OpenSSL surely reads these bytes, all of them, as an RSA
   or named-curve EC key in a PrivateKeyInfo (RFC 5208), in both contexts, and writes the key in
   the same bytes. False if that is not known. */
PB_EXPORT PB_BOOL openssl___IsCanonicalPrivateKey( const PB_BYTE *der, PB_INT length );
/* openssl___TrySubjectKey, openssl___TryNameKey: a number for the subject of a certificate in DER,
   and for a name. If OpenSSL holds two names equal (X509_NAME_cmp), their numbers are equal; names
   that differ can have one number too. False if the number is not known, since the name is
   unusual. */
PB_EXPORT PB_BOOL openssl___TrySubjectKey( const PB_BYTE *der, PB_INT length, PB_INT *key );
PB_EXPORT PB_BOOL openssl___TryNameKey( const X509_NAME *name, PB_INT *key );
/* openssl___ContextOf: the library context for operations with a key: the key-decoding context for
   keys that were parsed there, null (the default context) for all others. */
PB_EXPORT OSSL_LIB_CTX *openssl___ContextOf( const EVP_PKEY *pkey );

/* openssl___LegacyContext: a private library context with the default provider and, if it is
   installed, the legacy provider. It is for reading old files; keys must not stay in it. Made at
   the first call, never freed. Null if OpenSSL cannot make it. */
PB_EXPORT OSSL_LIB_CTX *openssl___LegacyContext( void );

/* openssl___SetKeyDecodingContextUsed: switches the fast paths off, or on again if the self-check
   passed. Returns the setting before. For tests and benchmarks. */
PB_EXPORT PB_BOOL openssl___SetKeyDecodingContextUsed( PB_BOOL used );

/* openssl___ShortcutsUsed: whether work is avoided whose result is known: certificates and keys
   that are parsed at their first use, kept certificates and signatures, look-ups in place of filled
   stores, and ways around libcrypto's general interfaces. */
PB_EXPORT PB_BOOL openssl___ShortcutsUsed( void );
/* openssl___SetShortcutsUsed: switches all of that on or off and returns the setting before.
   Results are equal in both settings. For tests and benchmarks. */
PB_EXPORT PB_BOOL openssl___SetShortcutsUsed( PB_BOOL used );

PB_END_DECLS

#endif
