// The patterns, used for a type with three fields.
#include "cry/sketch/sketch_x509_identity.h"

#include <cry/cry_x509_certificate.h>
#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/certificates.hpp"
#include "support/signatures.hpp"
#include "support/standard_functions.hpp"
#include "support/text.hpp"

using namespace support;

namespace
{

pb::Ref<SKETCH_X509_IDENTITY> full()
{
    pb::Ref<SKETCH_X509_IDENTITY> ident = pb::adopt( sketchX509IdentityCreate() );
    auto made = []( const char *name ) { return certificate( makeCertificate( { .subject = name, .subjectKey = key( KeyKind::p256 ) } ) ); };
    pb::Ref<CRY_X509_CERTIFICATE>  cert  = made( "CN=leaf" );
    pb::Ref<CRY_X509_CERTIFICATES> extra = certificates( { made( "CN=other" ), cert } );
    sketchX509IdentitySetPrivateKey( ident.handle(), privateKey( key( KeyKind::p256 ) ).get() );
    sketchX509IdentitySetCertificate( ident.handle(), cert.get() );
    sketchX509IdentitySetExtraCertificates( ident.handle(), extra.get() );
    return ident;
}

pb::Ref<SKETCH_X509_IDENTITY> restored( SKETCH_X509_IDENTITY *ident, PB_BOOL includePrivateKey )
{
    pb::Ref<PB_STORE> store = pb::adopt( sketchX509IdentityStore( ident, includePrivateKey ) );
    return pb::adopt( sketchX509IdentityRestore( store.get() ) );
}

}

TEST( SketchIdentity, ComesBackFromItsStore )
{
    pb::Ref<SKETCH_X509_IDENTITY> ident = full();
    EXPECT_TRUE( sketchX509IdentityEquals( restored( ident.get(), PB_TRUE ).get(), ident.get() ) );

    pb::Ref<SKETCH_X509_IDENTITY> open = restored( ident.get(), PB_FALSE );
    EXPECT_FALSE( sketchX509IdentityHasPrivateKey( open.get() ) );
    sketchX509IdentityDelPrivateKey( ident.handle() );
    EXPECT_TRUE( sketchX509IdentityEquals( open.get(), ident.get() ) );
}

TEST( SketchIdentity, StoresOnlyWhatThereIs )
{
    pb::Ref<SKETCH_X509_IDENTITY> ident = pb::adopt( sketchX509IdentityCreate() );
    pb::Ref<PB_STORE>             store = pb::adopt( sketchX509IdentityStore( ident.get(), PB_TRUE ) );
    EXPECT_EQ( pbStoreLength( store.get() ), 0 );
    EXPECT_TRUE( sketchX509IdentityEquals( restored( ident.get(), PB_TRUE ).get(), ident.get() ) );

    store = pb::adopt( sketchX509IdentityStore( full().get(), PB_TRUE ) );
    ASSERT_EQ( pbStoreLength( store.get() ), 3 );
    for( PB_INT index = 0; index < 3; index++ )
        EXPECT_EQ( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ),
            std::vector<std::string>( { "privateKey", "certificate", "extraCertificates" } )[(size_t)index] );
}

TEST( SketchIdentity, PartsThatDoNotReadStayAbsent )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() ), empty = pb::adopt( pbStoreCreateArray() );
    pbStoreSetStoreCstr( store.handle(), "privateKey", -1, empty.get() );
    pbStoreSetValueCstr( store.handle(), "certificate", -1, str( "text" ).get() );
    pbStoreSetIntValueCstr( store.handle(), "extraCertificates", -1, 7 );
    pb::Ref<SKETCH_X509_IDENTITY> ident = pb::adopt( sketchX509IdentityRestore( store.get() ) ), fresh = pb::adopt( sketchX509IdentityCreate() );
    EXPECT_TRUE( sketchX509IdentityEquals( ident.get(), fresh.get() ) );
}

TEST( SketchIdentity, SettersCopyAnIdentityThatOthersHold )
{
    pb::Ref<SKETCH_X509_IDENTITY> mine = full(), theirs = mine;
    sketchX509IdentityDelCertificate( mine.handle() );
    EXPECT_FALSE( sketchX509IdentityHasCertificate( mine.get() ) );
    EXPECT_TRUE( sketchX509IdentityHasCertificate( theirs.get() ) );
    EXPECT_TRUE( sketchX509IdentityHasPrivateKey( mine.get() ) );
    EXPECT_LT( sketchX509IdentityCompare( mine.get(), theirs.get() ), 0 );
}

TEST( SketchIdentity, GettersGiveTheObjectsThatWereSet )
{
    pb::Ref<SKETCH_X509_IDENTITY> ident = full();
    pb::Ref<CRY_PKEY_PRIVATE>     priv  = privateKey( key( KeyKind::p256 ) );
    sketchX509IdentitySetPrivateKey( ident.handle(), priv.get() );
    EXPECT_EQ( pb::adopt( sketchX509IdentityPrivateKey( ident.get() ) ).get(), priv.get() );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( pb::adopt( sketchX509IdentityExtraCertificates( ident.get() ) ).get() ), 2 );
    EXPECT_TRUE( pb::adopt( sketchX509IdentityCertificate( ident.get() ) ) );
}
