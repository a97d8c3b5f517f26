/* Private keys from and to OpenSSL's keys. */
#ifndef CRY_INTERNAL_CRY_PKEY_PRIVATE_H
#define CRY_INTERNAL_CRY_PKEY_PRIVATE_H

#include <cry/cry_pkey_private.h>

#include <openssl/evp.h>

PB_BEGIN_DECLS

/* cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse: a private key of an OpenSSL key. The caller's
   reference is taken over in every case. Null if OpenSSL cannot write the key. A null argument
   aborts ("pkey"). */
PB_EXPORT CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey );
/* cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef: the same, but the object takes a reference of
   its own; the caller keeps his reference in every case. */
PB_EXPORT CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey );
/* cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy: the same with a copy of the key; the caller
   keeps his reference. */
PB_EXPORT CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey );
/* cry___PkeyPrivatePeekOpensslEvpPkey: lends the OpenSSL key. It may only be read, and only while
   the caller holds the object. It may be made at the first call; aborts if there is no memory for
   it ("pkey"). */
PB_EXPORT EVP_PKEY *cry___PkeyPrivatePeekOpensslEvpPkey( CRY_PKEY_PRIVATE *priv );

PB_END_DECLS

#endif
