/* The kind of an OpenSSL key. */
#ifndef CRY_INTERNAL_CRY_PKEY_INFO_H
#define CRY_INTERNAL_CRY_PKEY_INFO_H

#include <cry/cry_pkey_info.h>

#include <openssl/evp.h>

PB_BEGIN_DECLS

/* cry___PkeyInfoCreateFromOpensslEvpPkey: the kind of an OpenSSL key, a new object; a type or curve
   outside the enumerations is not set. Null aborts ("pkey"). */
PB_EXPORT CRY_PKEY_INFO *cry___PkeyInfoCreateFromOpensslEvpPkey( EVP_PKEY *pkey );

PB_END_DECLS

#endif
