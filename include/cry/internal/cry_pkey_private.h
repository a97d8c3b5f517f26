/* Private keys and OpenSSL's. */
#ifndef CRY_INTERNAL_CRY_PKEY_PRIVATE_H
#define CRY_INTERNAL_CRY_PKEY_PRIVATE_H

#include <cry/cry_pkey_private.h>

#include <openssl/evp.h>

PB_BEGIN_DECLS

/* cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse: a private key of an OpenSSL key, whose reference
   is taken over, also when null is returned because OpenSSL cannot write the key. Null aborts
   ("pkey"). */
PB_EXPORT CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey );
/* cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef: the same with a reference of its own; the
   caller keeps his, also when null is returned. */
PB_EXPORT CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey );
/* cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy: the same with a duplicate of the key. */
PB_EXPORT CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey );
/* cry___PkeyPrivatePeekOpensslEvpPkey: lends the OpenSSL key: to be read only, while the caller
   holds the object. */
PB_EXPORT EVP_PKEY *cry___PkeyPrivatePeekOpensslEvpPkey( CRY_PKEY_PRIVATE *priv );

PB_END_DECLS

#endif
