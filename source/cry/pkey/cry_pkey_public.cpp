#include <cry/cry_pkey_public.h>
#include <cry/internal/cry_pkey_info.h>
#include <cry/internal/cry_pkey_public.h>

#include "base/cry_pem_lines.hpp"
#include "common/cry_ossl_pem_object.hpp"
#include "pkey/cry_pkey_public.hpp"
#include "pkey/cry_pkey_signature_contexts.hpp"

#include <openssl/err.h>
#include <openssl/pem.h>
#include <openssl_module/internal/openssl_module.h>

struct CRY_PKEY_PUBLIC : PB_OBJ
{
    CRY_PEM                     *pem;
    EVP_PKEY                    *pkey;
    cry::pkey::SignatureContexts signatureContexts;
};

static constexpr auto publicFields = pb::fields<&CRY_PKEY_PUBLIC::pem, &CRY_PKEY_PUBLIC::pkey, &CRY_PKEY_PUBLIC::signatureContexts>;
static constexpr auto publicOrder  = pb::someFields<&CRY_PKEY_PUBLIC::pem>;

static void freePublic( CRY_PKEY_PUBLIC *pub )
{
    PB_CHECK( pub );
    publicFields.release( pub );
}

static PB_INT comparePublic( CRY_PKEY_PUBLIC *pubA, CRY_PKEY_PUBLIC *pubB )
{
    PB_CHECK( pubA );
    PB_CHECK( pubB );
    return publicOrder.compare( pubA, pubB );
}

PB_SORT_DEFINE( cry, PkeyPublic, CRY_PKEY_PUBLIC, .free = pb::slot<freePublic>, .compare = pb::slot<comparePublic> )

namespace
{

struct PublicTraits
{
    using Object                 = CRY_PKEY_PUBLIC;
    using Handle                 = EVP_PKEY;
    static constexpr auto handle = &Object::pkey;

    static EVP_PKEY        *tryRead( CRY_PEM *pem ) { return cry::ossl::readThroughText( pem, PEM_read_bio_PUBKEY ); }
    static pb::Ref<CRY_PEM> tryWrite( EVP_PKEY *pkey )
    {
        return cry::ossl::writeThroughText( [pkey]( BIO *bio ) { return PEM_write_bio_PUBKEY( bio, pkey ); } );
    }
    static int       upRef( EVP_PKEY *pkey ) { return EVP_PKEY_up_ref( pkey ); }
    static EVP_PKEY *dup( EVP_PKEY *pkey ) { return EVP_PKEY_dup( pkey ); }
};

using Public = cry::ossl::PemObject<PublicTraits>;

// What takes the fast path; null for the ordinary one. Most texts are canonical, and need not be written to be known.
CRY_PKEY_PUBLIC *tryCreateFast( CRY_PEM *pem )
{
    if( !cry::pem::hasLabel( pem, PEM_STRING_PUBLIC ) )
        return nullptr;
    PB_BUFFER     *data   = cry::pem::data( pem );
    const PB_BYTE *der    = pbBufferBytes( data );
    PB_INT         length = pbBufferLength( data );
    EVP_PKEY      *pkey   = openssl___TryParsePublicKeyFast( der, length );
    if( !pkey )
        return nullptr;
    if( openssl___IsCanonicalPublicKey( der, length ) )
        return Public::createUse( pkey, pb::share( pem ) );
    ERR_set_mark();
    CRY_PKEY_PUBLIC *pub = Public::tryCreateUse( pkey );
    ERR_pop_to_mark();
    return pub;
}

}

CRY_PKEY_PUBLIC *cryPkeyPublicTryCreateFromPem( CRY_PEM *pem )
{
    PB_CHECK( pem );
    CRY_PKEY_PUBLIC *pub = tryCreateFast( pem );
    return pub ? pub : Public::tryCreateFromPem( pem );
}

CRY_PKEY_PUBLIC *cryPkeyPublicTryRestore( PB_STORE *store )
{
    PB_CHECK( store );
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryRestore( store ) );
    return pem ? cryPkeyPublicTryCreateFromPem( pem.get() ) : nullptr;
}

CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( EVP_PKEY *pkey )
{
    PB_CHECK( pkey );
    return Public::tryCreateUse( pkey );
}

CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( EVP_PKEY *pkey )
{
    PB_CHECK( pkey );
    return Public::tryCreateUpRef( pkey );
}

CRY_PKEY_PUBLIC *cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( EVP_PKEY *pkey )
{
    PB_CHECK( pkey );
    return Public::tryCreateCopy( pkey );
}

CRY_PEM *cryPkeyPublicPem( CRY_PKEY_PUBLIC *pub )
{
    PB_CHECK( pub );
    return pb::shareOrNull( pub->pem );
}

CRY_PKEY_INFO *cryPkeyPublicInfo( CRY_PKEY_PUBLIC *pub )
{
    PB_CHECK( pub );
    return cry___PkeyInfoCreateFromOpensslEvpPkey( pub->pkey );
}

PB_STORE *cryPkeyPublicStore( CRY_PKEY_PUBLIC *pub )
{
    PB_CHECK( pub );
    return cryPemStore( pub->pem );
}

EVP_PKEY *cry___PkeyPublicPeekOpensslEvpPkey( CRY_PKEY_PUBLIC *pub )
{
    PB_CHECK( pub );
    return pub->pkey;
}

// Null where it is not what OpenSSL writes.
static pb::Ref<CRY_PEM> encodeIfCanonical( X509_PUBKEY *spki )
{
    int length = i2d_X509_PUBKEY( spki, nullptr );
    if( length <= 0 )
        return {};
    PB_BYTE           *der;
    pb::Ref<PB_BUFFER> data = pb::adopt( pb___BufferCreateLength( length, &der ) );
    if( i2d_X509_PUBKEY( spki, &der ) != length || !openssl___IsCanonicalPublicKey( pbBufferBytes( data.get() ), length ) )
        return {};
    return cry::pem::create( cry::pem::labelString( PEM_STRING_PUBLIC ), std::move( data ) );
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
