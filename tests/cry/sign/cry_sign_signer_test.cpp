#include <cry/cry_sign_signer.h>

#include "support/signatures.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Signer = pb::Ref<CRY_SIGN_SIGNER>;

constexpr PB_INT sha256 = CRY_HASH_ALGORITHM_SHA2_256;

Signer signer( const PrivateKey &priv, PB_INT alg = sha256 ) { return pb::adopt( crySignSignerTryCreate( alg, priv.get() ) ); }

std::string finalOf( const Signer &sig ) { return bytes( pb::adopt( crySignSignerFinal( sig.get() ) ) ); }

// RSA signatures of the same bytes are equal, so they show which bytes were taken.
PrivateKey rsa() { return privateKey( key( KeyKind::rsa ) ); }

std::string expected( const std::string &data, PB_INT alg = sha256 ) { return hex( plainSign( alg, key( KeyKind::rsa ).get(), data ) ); }

}

TEST( CrySignSigner, RsaSignaturesAreThoseOfPlainOpenssl )
{
    std::string data = pattern( 3000 );
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
        for( bool fast : { true, false } )
        {
            SCOPED_TRACE( std::string( digestNames[alg] ) + ( fast ? " fast" : "" ) );
            PrivateKey priv = privateKey( key( KeyKind::rsa ), fast );
            EXPECT_EQ( hex( signPieces( alg, priv, data ) ), expected( data, alg ) );
            EXPECT_EQ( hex( sign( alg, priv, data ) ), expected( data, alg ) );
        }
}

TEST( CrySignSigner, EcdsaSignaturesOfPiecesAreGood )
{
    std::string data = pattern( 3000 );
    for( const Pkey &pkey : { key( KeyKind::p256 ), key( KeyKind::p384 ), newEcKey( "P-521" ) } )
        for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
            for( bool fast : { true, false } )
                EXPECT_TRUE( plainDigestVerify( alg, pkey.get(), signPieces( alg, privateKey( pkey, fast ), data ), data ) ) << digestNames[alg];
}

TEST( CrySignSigner, NothingTakenIsTheSignatureOfNothing )
{
    EXPECT_EQ( hex( finalOf( signer( rsa() ) ) ), expected( "" ) );
    Signer sig = signer( rsa() );
    crySignSignerUpdate( sig.get(), buf( "" ).get() );
    crySignSignerUpdateBytes( sig.get(), nullptr, 0 );
    crySignSignerUpdateInner( sig.get(), buf( "abc" ).get(), 2, 0 );
    crySignSignerUpdateOuter( sig.get(), buf( "abc" ).get(), 0, 3 );
    crySignSignerUpdateLeading( sig.get(), buf( "abc" ).get(), 0 );
    crySignSignerUpdateTrailing( sig.get(), buf( "abc" ).get(), 0 );
    EXPECT_EQ( hex( finalOf( sig ) ), expected( "" ) );
}

TEST( CrySignSigner, TakesBytesOneByOne )
{
    std::string data = pattern( 500 );
    for( const Pkey &pkey : { key( KeyKind::rsa ), key( KeyKind::p256 ) } )
    {
        Signer sig = signer( privateKey( pkey ) );
        for( char c : data )
            crySignSignerUpdateBytes( sig.get(), (const PB_BYTE *)&c, 1 );
        EXPECT_TRUE( plainDigestVerify( sha256, pkey.get(), finalOf( sig ), data ) );
    }
}

TEST( CrySignSigner, TakesRangesAtAllBorders )
{
    std::string        data = "0123456";
    pb::Ref<PB_BUFFER> all  = buf( data );
    for( size_t count = 0; count <= data.size(); count++ )
    {
        SCOPED_TRACE( count );
        Signer leading = signer( rsa() ), trailing = signer( rsa() );
        crySignSignerUpdateLeading( leading.get(), all.get(), (PB_INT)count );
        crySignSignerUpdateTrailing( trailing.get(), all.get(), (PB_INT)count );
        EXPECT_EQ( hex( finalOf( leading ) ), expected( data.substr( 0, count ) ) );
        EXPECT_EQ( hex( finalOf( trailing ) ), expected( data.substr( data.size() - count ) ) );
        for( size_t offset = 0; offset + count <= data.size(); offset++ )
        {
            SCOPED_TRACE( offset );
            Signer inner = signer( rsa() ), outer = signer( rsa() );
            crySignSignerUpdateInner( inner.get(), all.get(), (PB_INT)offset, (PB_INT)count );
            crySignSignerUpdateOuter( outer.get(), all.get(), (PB_INT)offset, (PB_INT)count );
            EXPECT_EQ( hex( finalOf( inner ) ), expected( data.substr( offset, count ) ) );
            EXPECT_EQ( hex( finalOf( outer ) ), expected( data.substr( 0, offset ) + data.substr( offset + count ) ) );
        }
    }
}

TEST( CrySignSigner, UpdatesAddUp )
{
    Signer             sig = signer( rsa() );
    pb::Ref<PB_BUFFER> all = buf( "0123456789" );
    crySignSignerUpdate( sig.get(), all.get() );
    crySignSignerUpdateInner( sig.get(), all.get(), 3, 4 );
    crySignSignerUpdateOuter( sig.get(), all.get(), 1, 8 );
    crySignSignerUpdateLeading( sig.get(), all.get(), 2 );
    crySignSignerUpdateTrailing( sig.get(), all.get(), 2 );
    crySignSignerUpdateBytes( sig.get(), (const PB_BYTE *)"xyz", 3 );
    EXPECT_EQ( hex( finalOf( sig ) ),
        expected( "0123456789"
                  "3456"
                  "09"
                  "01"
                  "89"
                  "xyz" ) );
}

TEST( CrySignSigner, LongDataIsTakenWhole )
{
    for( size_t length : { (size_t)0xfffff, (size_t)0x100000, (size_t)0x100001, (size_t)0x200001 } )
    {
        std::string data = pattern( length );
        Signer      sig  = signer( rsa() );
        crySignSignerUpdate( sig.get(), buf( data ).get() );
        EXPECT_EQ( hex( finalOf( sig ) ), expected( data ) ) << length;
    }
}

TEST( CrySignSigner, TheKeyIsHeldUntilTheSignerIsGone )
{
    for( bool finishes : { true, false } )
    {
        EVP_PKEY  *pkey = EVP_EC_gen( "P-256" );
        FreeWatch  watch( pkey );
        PrivateKey priv = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUse( pkey ) );
        PublicKey  pub  = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
        Signer     sig  = signer( priv );
        priv            = {};
        EXPECT_FALSE( watch.freed() );
        crySignSignerUpdate( sig.get(), buf( "data" ).get() );
        if( finishes )
            EXPECT_TRUE( verify( sha256, pub, finalOf( sig ), "data" ) );
        EXPECT_FALSE( watch.freed() );
        sig = {};
        EXPECT_TRUE( watch.freed() ) << finishes;
    }
}

TEST( CrySignSigner, SignersOfOneKeyDoNotDisturbEachOther )
{
    Signer a = signer( rsa() ), b = signer( rsa(), CRY_HASH_ALGORITHM_SHA1 ), dropped = signer( rsa() );
    crySignSignerUpdate( a.get(), buf( "a1" ).get() );
    crySignSignerUpdate( b.get(), buf( "b1" ).get() );
    crySignSignerUpdate( dropped.get(), buf( "c" ).get() );
    dropped = {};
    crySignSignerUpdate( a.get(), buf( "a2" ).get() );
    EXPECT_EQ( hex( finalOf( b ) ), expected( "b1", CRY_HASH_ALGORITHM_SHA1 ) );
    EXPECT_EQ( hex( finalOf( a ) ), expected( "a1a2" ) );
}

TEST( CrySignSigner, AnObjectEqualsOnlyItself )
{
    Signer a = signer( rsa() ), b = signer( rsa() );
    EXPECT_TRUE( crySignSignerEquals( a.get(), a.get() ) );
    EXPECT_FALSE( crySignSignerEquals( a.get(), b.get() ) );
    EXPECT_EQ( crySignSignerCompare( a.get(), b.get() ), -crySignSignerCompare( b.get(), a.get() ) );
    EXPECT_TRUE( text( pb::adopt( crySignSignerToString( a.get() ) ) ).starts_with( "CRY_SIGN_SIGNER(0x" ) );
}
