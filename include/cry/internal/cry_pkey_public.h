/* Public keys from and to OpenSSL's keys. */
#ifndef CRY_INTERNAL_CRY_PKEY_PUBLIC_H
#define CRY_INTERNAL_CRY_PKEY_PUBLIC_H

#include <cry/cry_pkey_public.h>

#include <openssl/evp.h>

PB_BEGIN_DECLS

/* cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse: a public key of an OpenSSL key. The caller's
   reference is taken over in every case. Null if OpenSSL cannot write the key. A null argument
   aborts ("pkey"). */
PB_EXPORT CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey );
/* cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef: the same, but the object takes a reference of
   its own; the caller keeps his reference in every case. */
PB_EXPORT CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey );
/* cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy: the same with a copy of the key; the caller
   keeps his reference. */
PB_EXPORT CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey );
/* cry___PkeyPublicPeekOpensslEvpPkey: lends the OpenSSL key. It may only be read, and only while
   the caller holds the object. */
PB_EXPORT EVP_PKEY *cry___PkeyPublicPeekOpensslEvpPkey( CRY_PKEY_PUBLIC *pub );

PB_END_DECLS

#endif
