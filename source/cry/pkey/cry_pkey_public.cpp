#include <cry/cry_pkey_public.h>
#include <cry/internal/cry_pkey_info.h>
#include <cry/internal/cry_pkey_public.h>

#include "common/cry_ossl_pem_object.hpp"
#include "pkey/cry_pkey_public.hpp"
#include "pkey/cry_pkey_signature_contexts.hpp"

#include <openssl/pem.h>
#include <openssl_module/internal/openssl_errors.hpp>
#include <openssl_module/internal/openssl_module.h>

struct CRY_PKEY_PUBLIC : PB_OBJ
{
    CRY_PEM                     *pem;
    EVP_PKEY                    *pkey;
    cry::pkey::SignatureContexts signatureContexts;
};

static constexpr auto publicFields = pb::fields<&CRY_PKEY_PUBLIC::pem, &CRY_PKEY_PUBLIC::pkey, &CRY_PKEY_PUBLIC::signatureContexts>;
static constexpr auto publicOrder  = pb::someFields<&CRY_PKEY_PUBLIC::pem>;

PB_SORT_OF_FIELDS( cry, PkeyPublic, CRY_PKEY_PUBLIC, pub, publicFields, publicOrder )

namespace
{

struct PublicTraits
{
    using Object                 = CRY_PKEY_PUBLIC;
    using Handle                 = EVP_PKEY;
    static constexpr auto handle = &Object::pkey;

    static cry::ossl::Reading<EVP_PKEY> tryRead( CRY_PEM *pem )
    {
        cry::ossl::Reading<EVP_PKEY> reading = tryReadFast( pem );
        if( !reading.handle )
            reading.handle = cry::ossl::readThroughText( pem, PEM_read_bio_PUBKEY );
        return reading;
    }
    static pb::Ref<CRY_PEM> tryWrite( EVP_PKEY *pkey )
    {
        return cry::ossl::writeThroughText( [pkey]( BIO *bio ) { return PEM_write_bio_PUBKEY( bio, pkey ); } );
    }
    static int       upRef( EVP_PKEY *pkey ) { return EVP_PKEY_up_ref( pkey ); }
    static EVP_PKEY *dup( EVP_PKEY *pkey ) { return EVP_PKEY_dup( pkey ); }

private:
    // Most texts are canonical. The DER shows this, so the key need not be written. If a key cannot
    // be written, the ordinary way is used, which leaves OpenSSL's reasons.
    static cry::ossl::Reading<EVP_PKEY> tryReadFast( CRY_PEM *pem )
    {
        if( !cry::pem::hasLabel( pem, PEM_STRING_PUBLIC ) )
            return {};
        PB_BUFFER               *data   = cry::pem::data( pem );
        const PB_BYTE           *der    = pbBufferBytes( data );
        PB_INT                   length = pbBufferLength( data );
        cry::ossl::Ptr<EVP_PKEY> pkey( openssl___TryParsePublicKeyFast( der, length ) );
        if( !pkey )
            return {};
        openssl::ErrorMark detour;
        pb::Ref<CRY_PEM>   canonical = openssl___IsCanonicalPublicKey( der, length ) ? pb::share( pem ) : tryWrite( pkey.get() );
        if( !canonical )
            return {};
        return { pkey.release(), std::move( canonical ) };
    }
};

using Public = cry::ossl::PemObject<PublicTraits>;

}

CRY_PKEY_PUBLIC *cryPkeyPublicTryCreateFromPem( CRY_PEM *pem ) { return PB_CHECK( pem ), Public::tryCreateFromPem( pem ); }

CRY_PKEY_PUBLIC *cryPkeyPublicTryRestore( PB_STORE *store ) { return PB_CHECK( store ), Public::tryRestore( store ); }

CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey ) { return PB_CHECK( pkey ), Public::tryCreateUse( pkey ); }

CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey ) { return PB_CHECK( pkey ), Public::tryCreateUpRef( pkey ); }

CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey ) { return PB_CHECK( pkey ), Public::tryCreateCopy( pkey ); }

CRY_PEM *cryPkeyPublicPem( CRY_PKEY_PUBLIC *pub ) { return PB_CHECK( pub ), pb::shareOrNull( pub->pem ); }

CRY_PKEY_INFO *cryPkeyPublicInfo( CRY_PKEY_PUBLIC *pub ) { return PB_CHECK( pub ), cry___PkeyInfoCreateFromOpensslEvpPkey( pub->pkey ); }

PB_STORE *cryPkeyPublicStore( CRY_PKEY_PUBLIC *pub ) { return PB_CHECK( pub ), cryPemStore( pub->pem ); }

EVP_PKEY *cry___PkeyPublicPeekOpensslEvpPkey( CRY_PKEY_PUBLIC *pub ) { return PB_CHECK( pub ), pub->pkey; }

// Null if it is not the DER that OpenSSL writes for the key.
static pb::Ref<CRY_PEM> encodeIfCanonical( X509_PUBKEY *spki )
{
    pb::Ref<CRY_PEM> pem  = cry::ossl::encodeUnderLabel<X509_PUBKEY>( i2d_X509_PUBKEY, spki, PEM_STRING_PUBLIC );
    PB_BUFFER       *data = pem ? cry::pem::data( pem.get() ) : nullptr;
    return data && openssl___IsCanonicalPublicKey( pbBufferBytes( data ), pbBufferLength( data ) ) ? pem : pb::Ref<CRY_PEM>();
}

CRY_PKEY_PUBLIC *cry::pkey::tryCopyPublic( EVP_PKEY *pkey, X509_PUBKEY *spki )
{
    pb::Ref<CRY_PEM> pem = encodeIfCanonical( spki );
    if( !pem )
        pem = PublicTraits::tryWrite( pkey );
    return pem ? cryPkeyPublicTryCreateFromPem( pem.get() ) : nullptr;
}

bool cry::pkey::verify( CRY_PKEY_PUBLIC *pub, PB_INT alg, const PB_BYTE *digest, PB_BUFFER *signature )
{
    return pub->signatureContexts.verify( pub->pkey, alg, digest, pbBufferBytes( signature ), (size_t)pbBufferLength( signature ) );
}
