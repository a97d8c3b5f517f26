#include "cry/sketch/sketch_x509_identity.h"

#include <pb/stored.hpp>

struct SKETCH_X509_IDENTITY : PB_OBJ
{
    CRY_PKEY_PRIVATE      *privateKey;
    CRY_X509_CERTIFICATE  *certificate;
    CRY_X509_CERTIFICATES *extraCertificates;
};

static constexpr auto identityFields =
    pb::fields<&SKETCH_X509_IDENTITY::privateKey, &SKETCH_X509_IDENTITY::certificate, &SKETCH_X509_IDENTITY::extraCertificates>;

// In a real library, the module object is in a file of its own.
extern "C" PB_EXPORT const PB_MODULE sketch___module;
extern "C" const PB_MODULE           sketch___module = {};

PB_SORT_OF_FIELDS( sketch, X509Identity, SKETCH_X509_IDENTITY, ident, identityFields, identityFields )

static SKETCH_X509_IDENTITY *writable( SKETCH_X509_IDENTITY **ident ) { return pb::makeWritable( ident, sketchX509IdentityCreateFrom ); }

SKETCH_X509_IDENTITY *sketchX509IdentityCreate()
{
    SKETCH_X509_IDENTITY *ident = pb::create<SKETCH_X509_IDENTITY>();
    ident->extraCertificates    = cryX509CertificatesCreate();
    return ident;
}

SKETCH_X509_IDENTITY *sketchX509IdentityCreateFrom( SKETCH_X509_IDENTITY *source )
{
    return PB_CHECK( source ), pb::copyOf( identityFields, source );
}

CRY_PKEY_PRIVATE *sketchX509IdentityPrivateKey( SKETCH_X509_IDENTITY *ident ) { return PB_CHECK( ident ), pb::shareOrNull( ident->privateKey ); }
PB_BOOL           sketchX509IdentityHasPrivateKey( SKETCH_X509_IDENTITY *ident ) { return PB_CHECK( ident ), ident->privateKey != nullptr; }

void sketchX509IdentitySetPrivateKey( SKETCH_X509_IDENTITY **ident, CRY_PKEY_PRIVATE *priv )
{
    PB_CHECK_HANDLE( ident ), PB_CHECK( priv ), pb::assign( writable( ident )->privateKey, priv );
}

void sketchX509IdentityDelPrivateKey( SKETCH_X509_IDENTITY **ident ) { PB_CHECK_HANDLE( ident ), pb::clear( writable( ident )->privateKey ); }

CRY_X509_CERTIFICATE *sketchX509IdentityCertificate( SKETCH_X509_IDENTITY *ident )
{
    return PB_CHECK( ident ), pb::shareOrNull( ident->certificate );
}
PB_BOOL sketchX509IdentityHasCertificate( SKETCH_X509_IDENTITY *ident ) { return PB_CHECK( ident ), ident->certificate != nullptr; }

void sketchX509IdentitySetCertificate( SKETCH_X509_IDENTITY **ident, CRY_X509_CERTIFICATE *cert )
{
    PB_CHECK_HANDLE( ident ), PB_CHECK( cert ), pb::assign( writable( ident )->certificate, cert );
}

void sketchX509IdentityDelCertificate( SKETCH_X509_IDENTITY **ident ) { PB_CHECK_HANDLE( ident ), pb::clear( writable( ident )->certificate ); }

CRY_X509_CERTIFICATES *sketchX509IdentityExtraCertificates( SKETCH_X509_IDENTITY *ident )
{
    return PB_CHECK( ident ), pb::shareOrNull( ident->extraCertificates );
}

void sketchX509IdentitySetExtraCertificates( SKETCH_X509_IDENTITY **ident, CRY_X509_CERTIFICATES *extraCertificates )
{
    PB_CHECK_HANDLE( ident ), PB_CHECK( extraCertificates ), pb::assign( writable( ident )->extraCertificates, extraCertificates );
}

PB_STORE *sketchX509IdentityStore( SKETCH_X509_IDENTITY *ident, PB_BOOL includePrivateKey )
{
    PB_CHECK( ident );
    bool hasExtra = cryX509CertificatesCertificatesLength( ident->extraCertificates ) > 0;
    return pb::StoreWriter()
        .sub( "privateKey", includePrivateKey ? ident->privateKey : nullptr, cryPkeyPrivateStore )
        .sub( "certificate", ident->certificate, cryX509CertificateStore )
        .sub( "extraCertificates", hasExtra ? ident->extraCertificates : nullptr, cryX509CertificatesStore )
        .take();
}

SKETCH_X509_IDENTITY *sketchX509IdentityRestore( PB_STORE *store )
{
    PB_CHECK( store );
    SKETCH_X509_IDENTITY *ident = sketchX509IdentityCreate();
    pb::StoreReader( store )
        .sub( "privateKey", ident->privateKey, cryPkeyPrivateTryRestore )
        .sub( "certificate", ident->certificate, cryX509CertificateTryRestore )
        .sub( "extraCertificates", ident->extraCertificates, cryX509CertificatesRestore );
    return ident;
}
