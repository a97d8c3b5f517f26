#include <cry/cry_x509_csr.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_csr.h>

#include "common/cry_ossl_pem_object.hpp"
#include "pkey/cry_pkey_public.hpp"

#include <openssl/pem.h>
#include <openssl_module/internal/openssl_errors.hpp>

struct CRY_X509_CSR : PB_OBJ
{
    CRY_PEM  *pem;
    X509_REQ *req;
};

static constexpr auto csrFields = pb::fields<&CRY_X509_CSR::pem, &CRY_X509_CSR::req>;
static constexpr auto csrOrder  = pb::someFields<&CRY_X509_CSR::pem>;

PB_SORT_OF_FIELDS( cry, X509Csr, CRY_X509_CSR, csr, csrFields, csrOrder )

namespace
{

struct CsrTraits
{
    using Object                 = CRY_X509_CSR;
    using Handle                 = X509_REQ;
    static constexpr auto handle = &Object::req;

    static cry::ossl::Reading<X509_REQ> tryRead( CRY_PEM *pem )
    {
        return cry::ossl::withCanonical( cry::ossl::readThroughText( pem, PEM_read_bio_X509_REQ ), i2d_X509_REQ, pem, PEM_STRING_X509_REQ );
    }
    static pb::Ref<CRY_PEM> tryWrite( X509_REQ *req ) { return cry::ossl::encodeUnderLabel( i2d_X509_REQ, req, PEM_STRING_X509_REQ ); }

    static X509_REQ *dup( X509_REQ *req ) { return X509_REQ_dup( req ); }
};

using Csr = cry::ossl::PemObject<CsrTraits>;

}

CRY_X509_CSR *cryX509CsrTryCreateFromPem( CRY_PEM *pem ) { return PB_CHECK( pem ), Csr::tryCreateFromPem( pem ); }

CRY_X509_CSR *cryX509CsrTryRestore( PB_STORE *store ) { return PB_CHECK( store ), Csr::tryRestore( store ); }

CRY_X509_CSR *cry___X509CsrTryCreateFromOpensslX509ReqUse( X509_REQ *req ) { return PB_CHECK( req ), Csr::tryCreateUse( req ); }

CRY_X509_CSR *cry___X509CsrTryCreateFromOpensslX509ReqCopy( X509_REQ *req ) { return PB_CHECK( req ), Csr::tryCreateCopy( req ); }

X509_REQ *cry___X509CsrPeekOpensslX509Req( CRY_X509_CSR *csr ) { return PB_CHECK( csr ), csr->req; }

CRY_PEM *cryX509CsrPem( CRY_X509_CSR *csr ) { return PB_CHECK( csr ), pb::shareOrNull( csr->pem ); }

PB_STORE *cryX509CsrStore( CRY_X509_CSR *csr ) { return PB_CHECK( csr ), cryPemStore( csr->pem ); }

CRY_PKEY_PUBLIC *cryX509CsrPublicKey( CRY_X509_CSR *csr )
{
    PB_CHECK( csr );
    EVP_PKEY *pkey = X509_REQ_get0_pubkey( csr->req );
    PB_CHECK( pkey );
    return cry::pkey::tryCopyPublic( pkey, X509_REQ_get_X509_PUBKEY( csr->req ) );
}

PB_BOOL cryX509CsrHasPublicKey( CRY_X509_CSR *csr )
{
    PB_CHECK( csr );
    openssl::ErrorMark detour;
    return X509_REQ_get0_pubkey( csr->req ) != nullptr;
}

PB_BOOL cryX509CsrCheckPrivateKey( CRY_X509_CSR *csr, CRY_PKEY_PRIVATE *privateKey )
{
    PB_CHECK( csr );
    PB_CHECK( privateKey );
    return X509_REQ_check_private_key( csr->req, cry___PkeyPrivatePeekOpensslEvpPkey( privateKey ) ) == 1;
}
