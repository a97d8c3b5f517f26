#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_pkey_private.h>

#include <openssl/evp.h>

CRY_PKEY_PRIVATE *cryTryGenerateRsaKeyPair( PB_INT bits )
{
    PB_CHECK( bits >= 1024 );
    PB_CHECK( bits <= 16384 );
    EVP_PKEY *pkey = EVP_PKEY_Q_keygen( nullptr, nullptr, "RSA", (size_t)bits );
    return pkey ? cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) : nullptr;
}
