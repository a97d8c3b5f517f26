#include <cry/cry_generate_ec_key_pair.h>
#include <cry/internal/cry_pkey.h>
#include <cry/internal/cry_pkey_private.h>

#include "common/cry_context_pool.hpp"
#include "pkey/cry_pkey_pkcs8.hpp"
#include "pkey/cry_pkey_private.hpp"

#include <openssl/objects.h>

// A generator belongs to one curve, and making it takes as long as making a key. All generators
// that are kept here belong to the process's own default context.
static constinit cry::ContextPool<EVP_PKEY_CTX, 4> generators[CRY_PKEY_EC_NAMED_CURVE_SM2 + 1];

static cry::ossl::Ptr<EVP_PKEY_CTX> tryMakeGenerator( const char *curveName )
{
    cry::ossl::Ptr<EVP_PKEY_CTX> generator( EVP_PKEY_CTX_new_from_name( nullptr, "EC", nullptr ) );
    if( !generator || EVP_PKEY_keygen_init( generator.get() ) != 1 || EVP_PKEY_CTX_set_group_name( generator.get(), curveName ) != 1 )
        return nullptr;
    return generator;
}

// Whether this thread's default context is the process's own. A thread can have another default
// context.
static bool isInProcessesContext() { return OSSL_LIB_CTX_set0_default( nullptr ) == OSSL_LIB_CTX_get0_global_default(); }

CRY_PKEY_PRIVATE *cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE curve )
{
    PB_CHECK( CRY_PKEY_EC_NAMED_CURVE_OK( curve ) );
    int                          nid       = cry___PkeyEcNamedCurveToOpensslNid( curve );
    bool                         kept      = isInProcessesContext();
    cry::ossl::Ptr<EVP_PKEY_CTX> generator = kept ? generators[curve].acquire() : nullptr;
    if( !generator )
        generator = tryMakeGenerator( OBJ_nid2sn( nid ) );
    EVP_PKEY *pkey = nullptr;
    if( !generator || EVP_PKEY_generate( generator.get(), &pkey ) != 1 )
        return nullptr;
    if( kept )
        generators[curve].release( std::move( generator ) );
    pb::Ref<CRY_PEM> pem = cry::pkey::tryWriteNewEcKey( pkey, nid );
    return pem ? cry::pkey::createPrivateUse( pkey, std::move( pem ) ) : cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey );
}
