/* Public keys and OpenSSL's. */
#ifndef CRY_INTERNAL_CRY_PKEY_PUBLIC_H
#define CRY_INTERNAL_CRY_PKEY_PUBLIC_H

#include <cry/cry_pkey_public.h>

#include <openssl/evp.h>

PB_BEGIN_DECLS

/* cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse: a public key of an OpenSSL key, whose reference
   is taken over, also when null is returned because OpenSSL cannot write the key. Null aborts
   ("pkey"). */
PB_EXPORT CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey );
/* cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef: the same with a reference of its own; the
   caller keeps his, also when null is returned. */
PB_EXPORT CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey );
/* cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy: the same with a duplicate of the key. */
PB_EXPORT CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey );
/* cry___PkeyPublicPeekOpensslEvpPkey: lends the OpenSSL key: to be read only, while the caller
   holds the object. */
PB_EXPORT EVP_PKEY *cry___PkeyPublicPeekOpensslEvpPkey( CRY_PKEY_PUBLIC *pub );

PB_END_DECLS

#endif
