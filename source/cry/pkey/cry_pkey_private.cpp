#include <cry/cry_pkey_private.h>
#include <cry/internal/cry_pkey_private.h>

#include "common/cry_ossl_pem_object.hpp"
#include "pkey/cry_pkey_private.hpp"
#include "pkey/cry_pkey_signature_contexts.hpp"

#include <cry/cry_pkey_public.h>
#include <cry/internal/cry_pkey_info.h>
#include <openssl/pem.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_key_limits.h>
#include <openssl_module/internal/openssl_module.h>

struct CRY_PKEY_PRIVATE : PB_OBJ
{
    CRY_PEM                     *pem;
    pb::Published<EVP_PKEY *>    pkey;
    cry::pkey::SignatureContexts signatureContexts;
    PB_BOOL                      deferred; // pkey is made at its first use, from exactly the data of pem
};

static constexpr auto privateFields =
    pb::fields<&CRY_PKEY_PRIVATE::pem, &CRY_PKEY_PRIVATE::pkey, &CRY_PKEY_PRIVATE::signatureContexts, &CRY_PKEY_PRIVATE::deferred>;
static constexpr auto privateOrder = pb::someFields<&CRY_PKEY_PRIVATE::pem>;

PB_SORT_OF_FIELDS( cry, PkeyPrivate, CRY_PKEY_PRIVATE, priv, privateFields, privateOrder )

namespace
{

struct PrivateTraits
{
    using Object                 = CRY_PKEY_PRIVATE;
    using Handle                 = EVP_PKEY;
    static constexpr auto handle = &Object::pkey;

    static bool isCanonical( CRY_PEM *pem )
    {
        PB_BUFFER *data = cry::pem::data( pem );
        return openssl___ShortcutsUsed() && cry::pem::hasLabel( pem, PEM_STRING_PKCS8INF ) &&
            openssl___IsCanonicalPrivateKey( pbBufferBytes( data ), pbBufferLength( data ) );
    }

    static EVP_PKEY *parse( CRY_PEM *pem )
    {
        openssl::ErrorMark detour;
        return tryRead( pem ).handle;
    }

    static cry::ossl::Reading<EVP_PKEY> tryRead( CRY_PEM *pem )
    {
        PB_BUFFER *data = cry::pem::data( pem );
        EVP_PKEY  *pkey = nullptr;
        if( cry::pem::hasLabel( pem, PEM_STRING_PKCS8INF ) )
            pkey = openssl___TryParsePrivateKeyFast( pbBufferBytes( data ), pbBufferLength( data ) );
        if( !pkey && isBounded( pem ) )
            pkey = cry::ossl::readThroughText( pem, PEM_read_bio_PrivateKey );
        return { pkey, {} };
    }

    // A text must not keep the process busy for long.
    static bool isBounded( CRY_PEM *pem )
    {
        openssl::ErrorMark   detour;
        PB_BUFFER           *data   = cry::pem::data( pem );
        long                 length = (long)pbBufferLength( data );
        const unsigned char *at     = pbBufferBytes( data );
        if( cry::pem::hasLabel( pem, PEM_STRING_PKCS8 ) )
        {
            cry::ossl::Ptr<X509_SIG> sig( d2i_X509_SIG( nullptr, &at, length ) );
            const X509_ALGOR        *algorithm = nullptr;
            if( sig )
                X509_SIG_get0( sig.get(), &algorithm, nullptr );
            return !algorithm || openssl___DerivationIsBounded( algorithm );
        }
        if( !cry::pem::hasLabel( pem, PEM_STRING_PKCS8INF ) )
            return true;
        cry::ossl::Ptr<PKCS8_PRIV_KEY_INFO> info( d2i_PKCS8_PRIV_KEY_INFO( nullptr, &at, length ) );
        return !info || openssl___PrivateKeyIsBounded( info.get() );
    }

    static pb::Ref<CRY_PEM> tryWrite( EVP_PKEY *pkey )
    {
        return cry::ossl::writeThroughText(
            [pkey]( BIO *bio ) { return PEM_write_bio_PKCS8PrivateKey( bio, pkey, nullptr, nullptr, 0, nullptr, nullptr ); } );
    }

    static int       upRef( EVP_PKEY *pkey ) { return EVP_PKEY_up_ref( pkey ); }
    static EVP_PKEY *dup( EVP_PKEY *pkey ) { return EVP_PKEY_dup( pkey ); }
};

using Private = cry::ossl::PemObject<PrivateTraits>;

EVP_PKEY *opensslPkey( CRY_PKEY_PRIVATE *priv )
{
    EVP_PKEY *pkey = Private::handleOf( priv );
    PB_CHECK( pkey );
    return pkey;
}

}

CRY_PKEY_PRIVATE *cryPkeyPrivateTryCreateFromPem( CRY_PEM *pem ) { return PB_CHECK( pem ), Private::tryCreateFromPem( pem ); }

CRY_PKEY_PRIVATE *cryPkeyPrivateTryRestore( PB_STORE *store ) { return PB_CHECK( store ), Private::tryRestore( store ); }

CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey ) { return PB_CHECK( pkey ), Private::tryCreateUse( pkey ); }

CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey ) { return PB_CHECK( pkey ), Private::tryCreateUpRef( pkey ); }

CRY_PKEY_PRIVATE *cry___PkeyPrivateTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey ) { return PB_CHECK( pkey ), Private::tryCreateCopy( pkey ); }

CRY_PEM *cryPkeyPrivatePem( CRY_PKEY_PRIVATE *priv ) { return PB_CHECK( priv ), pb::shareOrNull( priv->pem ); }

PB_STORE *cryPkeyPrivateStore( CRY_PKEY_PRIVATE *priv ) { return PB_CHECK( priv ), cryPemStore( priv->pem ); }

EVP_PKEY *cry___PkeyPrivatePeekOpensslEvpPkey( CRY_PKEY_PRIVATE *priv ) { return PB_CHECK( priv ), opensslPkey( priv ); }

CRY_PKEY_INFO *cryPkeyPrivateInfo( CRY_PKEY_PRIVATE *priv )
{
    return PB_CHECK( priv ), cry___PkeyInfoCreateFromOpensslEvpPkey( opensslPkey( priv ) );
}

CRY_PKEY_PUBLIC *cryPkeyPrivatePublicKey( CRY_PKEY_PRIVATE *priv )
{
    PB_CHECK( priv );
    // The copy goes through the text, so that it shares nothing with the private key.
    pb::Ref<CRY_PEM> pem = cry::ossl::writeThroughText( [priv]( BIO *bio ) { return PEM_write_bio_PUBKEY( bio, opensslPkey( priv ) ); } );
    return pem ? cryPkeyPublicTryCreateFromPem( pem.get() ) : nullptr;
}

CRY_PKEY_PRIVATE *cry::pkey::createPrivateUse( EVP_PKEY *pkey, pb::Ref<CRY_PEM> canonical )
{
    return Private::createUse( pkey, std::move( canonical ) );
}

size_t cry::pkey::signatureRoom( CRY_PKEY_PRIVATE *priv )
{
    int size = EVP_PKEY_get_size( opensslPkey( priv ) );
    return size > 0 ? (size_t)size : 0;
}

bool cry::pkey::trySign( CRY_PKEY_PRIVATE *priv, PB_INT alg, const PB_BYTE *digest, PB_BYTE *signature, size_t *signatureLength )
{
    return priv->signatureContexts.trySign( opensslPkey( priv ), alg, digest, signature, signatureLength );
}
