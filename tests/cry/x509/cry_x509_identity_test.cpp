#include <cry/cry_x509_identity.h>
#include <pb/pb.h>
#include <pb/sort.hpp>

#include "support/certificates.hpp"
#include "support/signatures.hpp"
#include "support/text.hpp"

#include <functional>
#include <gtest/gtest.h>

using namespace support;

namespace
{

using Identity    = pb::Ref<CRY_X509_IDENTITY>;
using Certificate = pb::Ref<CRY_X509_CERTIFICATE>;

Identity empty() { return pb::adopt( cryX509IdentityCreate() ); }

Certificate made( const std::string &name )
{
    return certificate( makeCertificate( { .subject = "CN=" + name, .subjectKey = key( KeyKind::ed25519 ) } ) );
}

// The key does not belong to the certificate; an identity does not check that.
Identity full()
{
    Identity                       ident = empty();
    Certificate                    leaf  = made( "leaf" );
    pb::Ref<CRY_X509_CERTIFICATES> extra = certificates( { made( "other" ), leaf } );
    cryX509IdentitySetPrivateKey( ident.handle(), privateKey( key( KeyKind::p256 ) ).get() );
    cryX509IdentitySetCertificate( ident.handle(), leaf.get() );
    cryX509IdentitySetExtraCertificates( ident.handle(), extra.get() );
    return ident;
}

pb::Ref<PB_STORE> stored( const Identity &ident, PB_BOOL includePrivateKey )
{
    return pb::adopt( cryX509IdentityStore( ident.get(), includePrivateKey ) );
}

Identity restored( const pb::Ref<PB_STORE> &store ) { return pb::adopt( cryX509IdentityRestore( store.get() ) ); }

std::vector<std::string> keysOf( const pb::Ref<PB_STORE> &store )
{
    std::vector<std::string> keys;
    for( PB_INT index = 0; index < pbStoreLength( store.get() ); index++ )
        keys.push_back( text( pb::adopt( pbStoreKeyAt( store.get(), index ) ) ) );
    return keys;
}

using Keys = std::vector<std::string>;

bool equal( const Identity &a, const Identity &b )
{
    EXPECT_EQ( cryX509IdentityCompare( a.get(), b.get() ) == 0, (bool)cryX509IdentityEquals( a.get(), b.get() ) );
    return cryX509IdentityEquals( a.get(), b.get() );
}

}

TEST( CryX509Identity, IsEmptyAtFirst )
{
    Identity ident = empty();
    EXPECT_FALSE( cryX509IdentityHasPrivateKey( ident.get() ) );
    EXPECT_FALSE( cryX509IdentityHasCertificate( ident.get() ) );
    EXPECT_EQ( cryX509IdentityPrivateKey( ident.get() ), nullptr );
    EXPECT_EQ( cryX509IdentityCertificate( ident.get() ), nullptr );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( pb::adopt( cryX509IdentityExtraCertificates( ident.get() ) ).get() ), 0 );
}

TEST( CryX509Identity, GettersGiveTheObjectsThatWereSet )
{
    Identity                       ident = full();
    PrivateKey                     priv  = privateKey( key( KeyKind::rsa ) );
    Certificate                    cert  = made( "set" );
    pb::Ref<CRY_X509_CERTIFICATES> extra = certificates( { cert } );
    cryX509IdentitySetPrivateKey( ident.handle(), priv.get() );
    cryX509IdentitySetCertificate( ident.handle(), cert.get() );
    cryX509IdentitySetExtraCertificates( ident.handle(), extra.get() );
    EXPECT_TRUE( cryX509IdentityHasPrivateKey( ident.get() ) );
    EXPECT_TRUE( cryX509IdentityHasCertificate( ident.get() ) );
    EXPECT_EQ( pb::adopt( cryX509IdentityPrivateKey( ident.get() ) ).get(), priv.get() );
    EXPECT_EQ( pb::adopt( cryX509IdentityCertificate( ident.get() ) ).get(), cert.get() );
    EXPECT_EQ( pb::adopt( cryX509IdentityExtraCertificates( ident.get() ) ).get(), extra.get() );
}

TEST( CryX509Identity, EditsDoNotChangeWhatOthersHold )
{
    const std::function<void( Identity & )> edits[] = {
        []( Identity &ident ) { cryX509IdentitySetPrivateKey( ident.handle(), privateKey( key( KeyKind::rsa ) ).get() ); },
        []( Identity &ident ) { cryX509IdentityDelPrivateKey( ident.handle() ); },
        []( Identity &ident ) { cryX509IdentitySetCertificate( ident.handle(), made( "new" ).get() ); },
        []( Identity &ident ) { cryX509IdentityDelCertificate( ident.handle() ); },
        []( Identity &ident ) { cryX509IdentitySetExtraCertificates( ident.handle(), certificates( {} ).get() ); },
    };
    const Identity before = full();
    for( const auto &edit : edits )
    {
        Identity mine = pb::adopt( cryX509IdentityCreateFrom( before.get() ) ), theirs = mine;
        EXPECT_TRUE( equal( mine, before ) );
        edit( mine );
        EXPECT_NE( mine.get(), theirs.get() );
        EXPECT_FALSE( equal( mine, theirs ) );
        EXPECT_TRUE( equal( theirs, before ) );
        // An identity that nobody else holds is edited in place.
        CRY_X509_IDENTITY *own = mine.get();
        edit( mine );
        EXPECT_EQ( mine.get(), own );
    }
}

TEST( CryX509Identity, OrderIsThatOfThePartsAndAbsentPartsComeFirst )
{
    Identity all = full(), noKey = full(), noCertificate = full(), noExtra = full();
    cryX509IdentityDelPrivateKey( noKey.handle() );
    cryX509IdentityDelCertificate( noCertificate.handle() );
    cryX509IdentitySetExtraCertificates( noExtra.handle(), certificates( {} ).get() );
    const Identity rising[] = { empty(), noKey, noCertificate, noExtra, all };
    for( size_t a = 0; a < std::size( rising ); a++ )
    {
        for( size_t b = 0; b < std::size( rising ); b++ )
        {
            PB_INT order = cryX509IdentityCompare( rising[a].get(), rising[b].get() );
            EXPECT_EQ( order < 0, a < b ) << a << ", " << b;
            EXPECT_EQ( order > 0, a > b ) << a << ", " << b;
        }
    }
}

TEST( CryX509Identity, TheOrderOfTheOtherCertificatesCounts )
{
    Identity    a = empty(), b = empty();
    Certificate first = made( "first" ), second = made( "second" );
    cryX509IdentitySetExtraCertificates( a.handle(), certificates( { first, second } ).get() );
    cryX509IdentitySetExtraCertificates( b.handle(), certificates( { second, first } ).get() );
    EXPECT_FALSE( equal( a, b ) );
}

TEST( CryX509Identity, ComesBackFromItsStore )
{
    Identity          ident = full();
    pb::Ref<PB_STORE> store = stored( ident, PB_TRUE );
    EXPECT_EQ( keysOf( store ), ( Keys{ "privateKey", "certificate", "extraCertificates" } ) );
    EXPECT_TRUE( equal( restored( store ), ident ) );
}

TEST( CryX509Identity, ThePrivateKeyIsStoredOnlyOnRequest )
{
    Identity          ident = full();
    pb::Ref<PB_STORE> store = stored( ident, PB_FALSE );
    EXPECT_EQ( keysOf( store ), ( Keys{ "certificate", "extraCertificates" } ) );
    Identity open = restored( store );
    EXPECT_FALSE( cryX509IdentityHasPrivateKey( open.get() ) );
    cryX509IdentityDelPrivateKey( ident.handle() );
    EXPECT_TRUE( equal( open, ident ) );
}

TEST( CryX509Identity, StoresOnlyPartsThatThereAre )
{
    Identity          ident = empty();
    pb::Ref<PB_STORE> store = stored( ident, PB_TRUE );
    EXPECT_EQ( keysOf( store ), Keys{} );
    EXPECT_TRUE( equal( restored( store ), ident ) );
    EXPECT_TRUE( pb::adopt( cryX509IdentityExtraCertificates( restored( store ).get() ) ) );

    cryX509IdentitySetPrivateKey( ident.handle(), privateKey( key( KeyKind::p256 ) ).get() );
    EXPECT_EQ( keysOf( stored( ident, PB_TRUE ) ), Keys{ "privateKey" } );
    EXPECT_EQ( keysOf( stored( ident, PB_FALSE ) ), Keys{} );
}

TEST( CryX509Identity, PartsThatDoNotRestoreAreAbsent )
{
    pb::Ref<PB_STORE> store = pb::adopt( pbStoreCreate() ), none = pb::adopt( pbStoreCreateArray() );
    pbStoreSetStoreCstr( store.handle(), "privateKey", -1, none.get() );
    pbStoreSetValueCstr( store.handle(), "certificate", -1, str( "text" ).get() );
    pbStoreSetIntValueCstr( store.handle(), "extraCertificates", -1, 7 );
    EXPECT_TRUE( equal( restored( store ), empty() ) );
    // The parts do not depend on each other.
    pb::Ref<PB_STORE> damaged = stored( full(), PB_TRUE );
    pbStoreSetStoreCstr( damaged.handle(), "certificate", -1, none.get() );
    Identity ident = full();
    cryX509IdentityDelCertificate( ident.handle() );
    EXPECT_TRUE( equal( restored( damaged ), ident ) );
    // A certificate is not a private key.
    pb::Ref<PB_STORE> swapped = pb::adopt( pbStoreCreate() );
    pbStoreSetStoreCstr( swapped.handle(), "privateKey", -1, pb::adopt( cryX509CertificateStore( made( "x" ).get() ) ).get() );
    EXPECT_TRUE( equal( restored( swapped ), empty() ) );
    takeErrors();
}
