#include <cry/cry_x509_identity.h>

#include <pb/stored.hpp>

#include <openssl_module/internal/openssl_errors.hpp>

struct CRY_X509_IDENTITY : PB_OBJ
{
    CRY_PKEY_PRIVATE      *privateKey;
    CRY_X509_CERTIFICATE  *certificate;
    CRY_X509_CERTIFICATES *extraCertificates;
};

static constexpr auto identityFields =
    pb::fields<&CRY_X509_IDENTITY::privateKey, &CRY_X509_IDENTITY::certificate, &CRY_X509_IDENTITY::extraCertificates>;

PB_SORT_OF_FIELDS( cry, X509Identity, CRY_X509_IDENTITY, ident, identityFields, identityFields )

static CRY_X509_IDENTITY *writable( CRY_X509_IDENTITY **ident ) { return pb::makeWritable( ident, cryX509IdentityCreateFrom ); }

CRY_X509_IDENTITY *cryX509IdentityCreate()
{
    CRY_X509_IDENTITY *ident = pb::create<CRY_X509_IDENTITY>();
    ident->extraCertificates = cryX509CertificatesCreate();
    return ident;
}

CRY_X509_IDENTITY *cryX509IdentityCreateFrom( CRY_X509_IDENTITY *source ) { return PB_CHECK( source ), pb::copyOf( identityFields, source ); }

CRY_PKEY_PRIVATE *cryX509IdentityPrivateKey( CRY_X509_IDENTITY *ident ) { return PB_CHECK( ident ), pb::shareOrNull( ident->privateKey ); }
PB_BOOL           cryX509IdentityHasPrivateKey( CRY_X509_IDENTITY *ident ) { return PB_CHECK( ident ), ident->privateKey != nullptr; }

void cryX509IdentitySetPrivateKey( CRY_X509_IDENTITY **ident, CRY_PKEY_PRIVATE *priv )
{
    PB_CHECK_HANDLE( ident ), PB_CHECK( priv ), pb::assign( writable( ident )->privateKey, priv );
}

void cryX509IdentityDelPrivateKey( CRY_X509_IDENTITY **ident ) { PB_CHECK_HANDLE( ident ), pb::clear( writable( ident )->privateKey ); }

CRY_X509_CERTIFICATE *cryX509IdentityCertificate( CRY_X509_IDENTITY *ident ) { return PB_CHECK( ident ), pb::shareOrNull( ident->certificate ); }
PB_BOOL               cryX509IdentityHasCertificate( CRY_X509_IDENTITY *ident ) { return PB_CHECK( ident ), ident->certificate != nullptr; }

void cryX509IdentitySetCertificate( CRY_X509_IDENTITY **ident, CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK_HANDLE( ident ), PB_CHECK( cert ), pb::assign( writable( ident )->certificate, cert );
}

void cryX509IdentityDelCertificate( CRY_X509_IDENTITY **ident ) { PB_CHECK_HANDLE( ident ), pb::clear( writable( ident )->certificate ); }

CRY_X509_CERTIFICATES *cryX509IdentityExtraCertificates( CRY_X509_IDENTITY *ident )
{
    return PB_CHECK( ident ), pb::shareOrNull( ident->extraCertificates );
}

void cryX509IdentitySetExtraCertificates( CRY_X509_IDENTITY **ident, CRY_X509_CERTIFICATES *extraCertificates )
{
    PB_CHECK_HANDLE( ident ), PB_CHECK( extraCertificates ), pb::assign( writable( ident )->extraCertificates, extraCertificates );
}

PB_STORE *cryX509IdentityStore( CRY_X509_IDENTITY *ident, PB_BOOL includePrivateKey )
{
    PB_CHECK( ident );
    bool hasExtra = cryX509CertificatesCertificatesLength( ident->extraCertificates ) > 0;
    return pb::StoreWriter()
        .sub( "privateKey", includePrivateKey ? ident->privateKey : nullptr, cryPkeyPrivateStore )
        .sub( "certificate", ident->certificate, cryX509CertificateStore )
        .sub( "extraCertificates", hasExtra ? ident->extraCertificates : nullptr, cryX509CertificatesStore )
        .take();
}

CRY_X509_IDENTITY *cryX509IdentityRestore( PB_STORE *store )
{
    PB_CHECK( store );
    // A part that is skipped is not a failure.
    openssl::ErrorMark detour;
    CRY_X509_IDENTITY *ident = cryX509IdentityCreate();
    pb::StoreReader( store )
        .sub( "privateKey", ident->privateKey, cryPkeyPrivateTryRestore )
        .sub( "certificate", ident->certificate, cryX509CertificateTryRestore )
        .sub( "extraCertificates", ident->extraCertificates, cryX509CertificatesRestore );
    return ident;
}
