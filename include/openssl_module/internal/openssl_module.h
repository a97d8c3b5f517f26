/* What the openssl module gives to the libraries that use OpenSSL types. To be used between its start-up and its shut-down; what was handed out stays valid
   afterwards. */
#ifndef OPENSSL_MODULE_INTERNAL_OPENSSL_MODULE_H
#define OPENSSL_MODULE_INTERNAL_OPENSSL_MODULE_H

#include <openssl_module/openssl_module.h>

#include <openssl/evp.h>
#include <openssl/x509.h>

PB_BEGIN_DECLS

/* openssl___Digest: a message digest of the default context by its OpenSSL name, fetched at the first call and kept for the life of the process; null when
   this libcrypto does not have it. Owned by the module. */
PB_EXPORT const EVP_MD *openssl___Digest( const char *name );

/* openssl___Cipher: the same for a cipher. */
PB_EXPORT const EVP_CIPHER *openssl___Cipher( const char *name );
/* openssl___Hmac: a MAC context for HMAC with the digest of this OpenSSL name, without a key, to be duplicated; null when this libcrypto cannot provide it. Owned by
   the module. */
PB_EXPORT const EVP_MAC_CTX *openssl___Hmac( const char *digestName );

/* openssl___TryParseCertificate: what d2i_X509 makes of the first certificate in `length` bytes: the same verdict, the same certificate, the same errors in
   the queue. RSA and named-curve EC certificates are parsed in the key-decoding context. The caller frees the result. */
PB_EXPORT X509 *openssl___TryParseCertificate( const PB_BYTE *der, PB_INT length );

/* openssl___TryParsePrivateKeyFast: an RSA or named-curve EC private key from a DER PrivateKeyInfo (RFC 5208) that fills `length` bytes, in the lean
   context; null where the ordinary way has to decide. Leaves no errors in the queue. */
PB_EXPORT EVP_PKEY *openssl___TryParsePrivateKeyFast( const PB_BYTE *der, PB_INT length );
/* openssl___TryParsePublicKeyFast: the same for a DER SubjectPublicKeyInfo (RFC 5280, 4.1). */
PB_EXPORT EVP_PKEY *openssl___TryParsePublicKeyFast( const PB_BYTE *der, PB_INT length );

/* openssl___IsCanonicalPublicKey: whether OpenSSL writes a key that openssl___TryParsePublicKeyFast parsed back as the very same bytes. Says no where it does not
   know. */
PB_EXPORT PB_BOOL openssl___IsCanonicalPublicKey( const PB_BYTE *der, PB_INT length );
/* openssl___ContextOf: the library context that operations with a key are to be made in: the one for keys that were parsed there, null (the default) for
   every other one. */
PB_EXPORT OSSL_LIB_CTX *openssl___ContextOf( const EVP_PKEY *pkey );

/* openssl___LegacyContext: a library context of the module's own with the default provider and, where it is installed, the legacy one: for old files, not for keys
   that live on. Made at the first call, never freed; null when OpenSSL cannot make it. */
PB_EXPORT OSSL_LIB_CTX *openssl___LegacyContext( void );

/* openssl___SetKeyDecodingContextUsed: switches the fast paths off, or on again where the self-check passed; returns what was set. For tests and benchmarks. */
PB_EXPORT PB_BOOL openssl___SetKeyDecodingContextUsed( PB_BOOL used );

PB_END_DECLS

#endif
