#include <cry/cry_generate_csr.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_x509_csr.h>

#include "generate/cry_generate_names.hpp"

// The request's extensions: the alternative name, or an empty list.
static bool tryAddExtensions( X509_REQ *req, PB_STRING *domainName )
{
    cry::ossl::Ptr<STACK_OF( X509_EXTENSION )> extensions( sk_X509_EXTENSION_new_null() );
    cry::ossl::Ptr<X509_EXTENSION>             name;
    if( domainName )
    {
        name = cry::generate::tryMakeAlternativeName( nullptr, domainName );
        if( !name || !extensions || sk_X509_EXTENSION_push( extensions.get(), name.get() ) <= 0 )
            return false;
    }
    return extensions && X509_REQ_add_extensions( req, extensions.get() ) == 1;
}

CRY_X509_CSR *cryTryGenerateCsr( CRY_PKEY_PRIVATE *privateKey, PB_STRING *domainName, PB_STRING *commonName )
{
    PB_CHECK( privateKey );
    EVP_PKEY                *pkey = cry___PkeyPrivatePeekOpensslEvpPkey( privateKey );
    cry::ossl::Ptr<X509_REQ> req( X509_REQ_new() );
    // Version 1 is the default. It is set so that it can be asked for before the request is read
    // again.
    if( !req || X509_REQ_set_version( req.get(), X509_REQ_VERSION_1 ) != 1 || X509_REQ_set_pubkey( req.get(), pkey ) != 1 ||
        !cry::generate::tryAddSubject( X509_REQ_get_subject_name( req.get() ), domainName, commonName ) ||
        !tryAddExtensions( req.get(), domainName ) || X509_REQ_sign( req.get(), pkey, EVP_sha256() ) <= 0 )
        return nullptr;
    return cry___X509CsrTryCreateFromOpensslX509ReqUse( req.release() );
}
