#include <cry/cry_sign_verifier.h>

#include "support/signatures.hpp"
#include "support/text.hpp"

#include <gtest/gtest.h>

using namespace support;

namespace
{

using Verifier = pb::Ref<CRY_SIGN_VERIFIER>;

constexpr PB_INT sha256 = CRY_HASH_ALGORITHM_SHA2_256;

const Pkey &pkey()
{
    static const Pkey known = key( KeyKind::rsa );
    return known;
}

PublicKey pub() { return publicKey( pkey() ); }

Verifier verifier( const PublicKey &publicKey, const std::string &signature, PB_INT alg = sha256 )
{
    return pb::adopt( crySignVerifierTryCreate( alg, publicKey.get(), buf( signature ).get() ) );
}

// A verifier whose result is true for exactly this data.
Verifier verifierOf( const std::string &data ) { return verifier( pub(), plainSign( sha256, pkey().get(), data ) ); }

bool finalOf( const Verifier &vfy ) { return crySignVerifierFinal( vfy.get() ); }

}

TEST( CrySignVerifier, PiecesGiveTheVerdictForEveryKeyAndAlgorithm )
{
    std::string data = pattern( 3000 );
    for( const Pkey &signer : { pkey(), key( KeyKind::p256 ), key( KeyKind::p384 ), newEcKey( "P-521" ) } )
        for( bool fast : { true, false } )
        {
            PublicKey parsed = publicKey( signer, fast );
            for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
            {
                std::string signature = plainSign( alg, signer.get(), data );
                EXPECT_TRUE( verifyPieces( alg, parsed, signature, data ) ) << digestNames[alg];
                EXPECT_FALSE( verifyPieces( alg, parsed, signature, data.substr( 1 ) ) ) << digestNames[alg];
                EXPECT_FALSE( verifyPieces( ( alg + 1 ) % 10, parsed, signature, data ) ) << digestNames[alg];
            }
        }
}

TEST( CrySignVerifier, NothingTakenIsTheDataOfNoBytes )
{
    EXPECT_TRUE( finalOf( verifierOf( "" ) ) );
    EXPECT_FALSE( finalOf( verifierOf( "data" ) ) );
    Verifier vfy = verifierOf( "" );
    crySignVerifierUpdate( vfy.get(), buf( "" ).get() );
    crySignVerifierUpdateBytes( vfy.get(), nullptr, 0 );
    crySignVerifierUpdateInner( vfy.get(), buf( "abc" ).get(), 2, 0 );
    crySignVerifierUpdateOuter( vfy.get(), buf( "abc" ).get(), 0, 3 );
    crySignVerifierUpdateLeading( vfy.get(), buf( "abc" ).get(), 0 );
    crySignVerifierUpdateTrailing( vfy.get(), buf( "abc" ).get(), 0 );
    EXPECT_TRUE( finalOf( vfy ) );
}

TEST( CrySignVerifier, TakesBytesOneByOne )
{
    std::string data = pattern( 500 );
    Verifier    good = verifierOf( data ), bad = verifierOf( data );
    for( char c : data )
    {
        crySignVerifierUpdateBytes( good.get(), (const PB_BYTE *)&c, 1 );
        c ^= 1;
        crySignVerifierUpdateBytes( bad.get(), (const PB_BYTE *)&c, 1 );
    }
    EXPECT_TRUE( finalOf( good ) );
    EXPECT_FALSE( finalOf( bad ) );
}

TEST( CrySignVerifier, TakesRangesAtAllBorders )
{
    std::string        data = "0123456";
    pb::Ref<PB_BUFFER> all  = buf( data );
    for( size_t count = 0; count <= data.size(); count++ )
    {
        SCOPED_TRACE( count );
        Verifier leading = verifierOf( data.substr( 0, count ) ), trailing = verifierOf( data.substr( data.size() - count ) );
        crySignVerifierUpdateLeading( leading.get(), all.get(), (PB_INT)count );
        crySignVerifierUpdateTrailing( trailing.get(), all.get(), (PB_INT)count );
        EXPECT_TRUE( finalOf( leading ) );
        EXPECT_TRUE( finalOf( trailing ) );
        for( size_t offset = 0; offset + count <= data.size(); offset++ )
        {
            SCOPED_TRACE( offset );
            Verifier inner = verifierOf( data.substr( offset, count ) );
            Verifier outer = verifierOf( data.substr( 0, offset ) + data.substr( offset + count ) );
            crySignVerifierUpdateInner( inner.get(), all.get(), (PB_INT)offset, (PB_INT)count );
            crySignVerifierUpdateOuter( outer.get(), all.get(), (PB_INT)offset, (PB_INT)count );
            EXPECT_TRUE( finalOf( inner ) );
            EXPECT_TRUE( finalOf( outer ) );
        }
    }
    // A range that is moved by one byte gives another result.
    Verifier inner = verifierOf( "123" ), outer = verifierOf( "0456" );
    crySignVerifierUpdateInner( inner.get(), all.get(), 2, 3 );
    crySignVerifierUpdateOuter( outer.get(), all.get(), 2, 3 );
    EXPECT_FALSE( finalOf( inner ) );
    EXPECT_FALSE( finalOf( outer ) );
}

TEST( CrySignVerifier, UpdatesAddUp )
{
    Verifier           vfy = verifierOf( "0123456789345609018" );
    pb::Ref<PB_BUFFER> all = buf( "0123456789" );
    crySignVerifierUpdate( vfy.get(), all.get() );
    crySignVerifierUpdateInner( vfy.get(), all.get(), 3, 4 );
    crySignVerifierUpdateOuter( vfy.get(), all.get(), 1, 8 );
    crySignVerifierUpdateLeading( vfy.get(), all.get(), 2 );
    crySignVerifierUpdateBytes( vfy.get(), (const PB_BYTE *)"8", 1 );
    EXPECT_TRUE( finalOf( vfy ) );
}

TEST( CrySignVerifier, LongDataIsTakenWhole )
{
    for( size_t length : { (size_t)0xfffff, (size_t)0x100000, (size_t)0x100001, (size_t)0x200001 } )
    {
        std::string data = pattern( length );
        Verifier    good = verifierOf( data ), bad = verifierOf( data );
        crySignVerifierUpdate( good.get(), buf( data ).get() );
        data.back() ^= 1;
        crySignVerifierUpdate( bad.get(), buf( data ).get() );
        EXPECT_TRUE( finalOf( good ) ) << length;
        EXPECT_FALSE( finalOf( bad ) ) << length;
    }
}

TEST( CrySignVerifier, ASignatureOfAnySizeGivesAVerdict )
{
    for( const Pkey &each : { pkey(), key( KeyKind::p256 ), key( KeyKind::ed25519 ) } )
        for( size_t length : { 0u, 1u, 2u, 8u, 63u, 64u, 70u, 72u, 73u, 255u, 256u, 257u, 10000u } )
            for( char fill : { '\0', '\1', '\x30', '\xff' } )
            {
                Verifier vfy = verifier( publicKey( each ), std::string( length, fill ) );
                crySignVerifierUpdate( vfy.get(), buf( "data" ).get() );
                EXPECT_FALSE( finalOf( vfy ) ) << length;
            }
}

TEST( CrySignVerifier, TheKeyAndTheSignatureAreHeldUntilTheVerifierIsGone )
{
    for( bool finishes : { true, false } )
    {
        Pkey               made = newEcKey( "P-256" );
        FreeWatch          watch( made.get() );
        PublicKey          open      = wrappedPublicKey( made );
        pb::Ref<PB_BUFFER> signature = buf( plainSign( sha256, made.get(), "data" ) );
        made                         = {};
        Verifier vfy                 = pb::adopt( crySignVerifierTryCreate( sha256, open.get(), signature.get() ) );
        open                         = {};
        // The caller may edit the buffer; the verifier keeps the first content.
        pbBufferAppend( signature.handle(), buf( "x" ).get() );
        signature = {};
        EXPECT_FALSE( watch.freed() );
        crySignVerifierUpdate( vfy.get(), buf( "data" ).get() );
        if( finishes )
            EXPECT_TRUE( finalOf( vfy ) );
        EXPECT_FALSE( watch.freed() );
        vfy = {};
        EXPECT_TRUE( watch.freed() ) << finishes;
    }
}

TEST( CrySignVerifier, VerifiersOfOneKeyDoNotDisturbEachOther )
{
    Verifier a = verifierOf( "a1a2" ), b = verifier( pub(), plainSign( CRY_HASH_ALGORITHM_SHA1, pkey().get(), "b1" ), CRY_HASH_ALGORITHM_SHA1 );
    Verifier dropped = verifierOf( "c" ), bad = verifierOf( "d" );
    crySignVerifierUpdate( a.get(), buf( "a1" ).get() );
    crySignVerifierUpdate( b.get(), buf( "b1" ).get() );
    crySignVerifierUpdate( dropped.get(), buf( "c" ).get() );
    dropped = {};
    crySignVerifierUpdate( a.get(), buf( "a2" ).get() );
    EXPECT_FALSE( finalOf( bad ) );
    EXPECT_TRUE( finalOf( b ) );
    EXPECT_TRUE( finalOf( a ) );
}

TEST( CrySignVerifier, AnObjectEqualsOnlyItself )
{
    Verifier a = verifierOf( "" ), b = verifierOf( "" );
    EXPECT_TRUE( crySignVerifierEquals( a.get(), a.get() ) );
    EXPECT_FALSE( crySignVerifierEquals( a.get(), b.get() ) );
    EXPECT_EQ( crySignVerifierCompare( a.get(), b.get() ), -crySignVerifierCompare( b.get(), a.get() ) );
    EXPECT_TRUE( text( pb::adopt( crySignVerifierToString( a.get() ) ) ).starts_with( "CRY_SIGN_VERIFIER(0x" ) );
}
