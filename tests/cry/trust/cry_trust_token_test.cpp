#include <cry/cry_trust_token.h>

#include "contracts/pem_object_contracts.hpp"
#include "cry/trust/golden_token.hpp"
#include "support/poison.hpp"
#include "support/sources.hpp"

#include <functional>
#include <gtest/gtest.h>

using namespace support;

namespace
{

using Token = pb::Ref<CRY_TRUST_TOKEN>;
using Edit  = std::function<void( CRY_TRUST_TOKEN  **)>;

Token empty() { return pb::adopt( cryTrustTokenCreate() ); }

Token restored( std::string_view json ) { return pb::adopt( cryTrustTokenRestore( storeOfJson( json ).get() ) ); }

bool sign( Token &tok, const PrivateKey &priv, const std::string &data )
{
    return cryTrustTokenTrySignWithBuffer( tok.handle(), priv.get(), buf( data ).get() );
}

bool signFrom( Token &tok, const pb::Ref<PB_BYTE_SOURCE> &data ) { return cryTrustTokenTrySign( tok.handle(), trustKey().get(), data.get() ); }

bool verify( const Token &tok, const std::string &data ) { return cryTrustTokenTryVerifyWithBuffer( tok.get(), buf( data ).get() ); }

bool verifyFrom( const Token &tok, const pb::Ref<PB_BYTE_SOURCE> &data ) { return cryTrustTokenTryVerify( tok.get(), data.get() ); }

std::string signatureOf( const Token &tok ) { return bytes( pb::adopt( cryTrustTokenSignature( tok.get() ) ) ); }

// A copy with a change.
Token changed( const Token &tok, const Edit &edit )
{
    Token copy = pb::adopt( cryTrustTokenCreateFrom( tok.get() ) );
    edit( copy.handle() );
    return copy;
}

// The change, and a new signature of the signer.
Token signedAfter( const Edit &edit, const std::string &data )
{
    Token tok = trustToken();
    edit( tok.handle() );
    EXPECT_TRUE( sign( tok, trustKey(), data ) );
    return tok;
}

Edit withTime( std::string_view text )
{
    return [text]( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetTime( tok, time( text ).get() ); };
}

Edit withMetaData( std::string_view json )
{
    return [json]( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetMetaData( tok, storeOfJson( json ).get() ); };
}

Edit withCertificate( const pb::Ref<CRY_X509_CERTIFICATE> &cert )
{
    return [cert]( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetCertificate( tok, cert.get() ); };
}

Edit withSignature( const std::string &signature )
{
    return [signature]( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetSignature( tok, buf( signature ).get() ); };
}

class ManualClock
{
public:
    ManualClock() { pb___ClockSetManual( PB_TRUE ); }
    ~ManualClock() { pb___ClockSetManual( PB_FALSE ); }
};

// Every editing function that leaves another token than it finds in golden::token().
const std::vector<std::pair<std::string, Edit>> &edits()
{
    static const std::vector<std::pair<std::string, Edit>> all = {
        { "set certificate",
            []( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetCertificate( tok, certificate( chainOf( KeyKind::p256 ).leaf ).get() ); } },
        { "del certificate", cryTrustTokenDelCertificate },
        { "set extra", []( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetExtraCertificates( tok, certificates( {} ).get() ); } },
        { "del extra", cryTrustTokenDelExtraCertificates },
        { "set time", withTime( "2027-02-03T04:05:07Z" ) },
        { "set time now", cryTrustTokenSetTimeNow },
        { "del time", cryTrustTokenDelTime },
        { "set metadata", withMetaData( "{}" ) },
        { "set algorithm", []( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetHashAlgorithm( tok, CRY_HASH_ALGORITHM_SHA3_512 ); } },
        { "set signature", withSignature( "other" ) },
        { "del signature", cryTrustTokenDelSignature },
        { "sign",
            []( CRY_TRUST_TOKEN **tok ) {
                EXPECT_TRUE( cryTrustTokenTrySignWithBuffer( tok, privateKey( key( KeyKind::p256 ) ).get(), buf( "data" ).get() ) );
            } },
    };
    return all;
}

class CryTrustToken : public testing::Test
{
protected:
    void TearDown() override { takeErrors(); }
};

// Tests with the signer of the build tree.
class CryTrustTokenSigner : public CryTrustToken
{
protected:
    void SetUp() override { NEED_DEVELOPMENT_ROOT(); }
};

}

TEST_F( CryTrustToken, ANewOneHasOnlyEmptyMetadataAndAnAlgorithm )
{
    Token tok = empty();
    EXPECT_EQ( jsonOf( tok ), "{\n  \"metaData\": {},\n  \"hashAlgorithm\": \"CRY_HASH_ALGORITHM_SHA2_512\"\n}\n" );
    EXPECT_EQ( cryTrustTokenHashAlgorithm( tok.get() ), CRY_HASH_ALGORITHM_SHA2_512 );
    EXPECT_TRUE( pbStoreEquals( pb::adopt( cryTrustTokenMetaData( tok.get() ) ).get(), storeOfJson( "{}" ).get() ) );
    EXPECT_FALSE( cryTrustTokenHasCertificate( tok.get() ) );
    EXPECT_FALSE( cryTrustTokenHasExtraCertificates( tok.get() ) );
    EXPECT_FALSE( cryTrustTokenHasTime( tok.get() ) );
    EXPECT_FALSE( cryTrustTokenHasSignature( tok.get() ) );
    EXPECT_FALSE( pb::adopt( cryTrustTokenCertificate( tok.get() ) ) );
    EXPECT_FALSE( pb::adopt( cryTrustTokenExtraCertificates( tok.get() ) ) );
    EXPECT_FALSE( pb::adopt( cryTrustTokenTime( tok.get() ) ) );
    EXPECT_FALSE( pb::adopt( cryTrustTokenSignature( tok.get() ) ) );
}

TEST_F( CryTrustToken, GivesTheObjectsThatWereSetAndForgetsThem )
{
    Token                          tok       = empty();
    pb::Ref<CRY_X509_CERTIFICATE>  cert      = certificate( chainOf( KeyKind::rsa ).leaf );
    pb::Ref<CRY_X509_CERTIFICATES> extra     = certificates( {} );
    pb::Ref<PB_TIME>               tm        = time( "2027-01-01T00:00:00Z" );
    pb::Ref<PB_STORE>              metaData  = storeOfJson( "[1]" );
    pb::Ref<PB_BUFFER>             signature = buf( "" );
    cryTrustTokenSetCertificate( tok.handle(), cert.get() );
    cryTrustTokenSetExtraCertificates( tok.handle(), extra.get() );
    cryTrustTokenSetTime( tok.handle(), tm.get() );
    cryTrustTokenSetMetaData( tok.handle(), metaData.get() );
    cryTrustTokenSetSignature( tok.handle(), signature.get() );
    // A copy holds the same objects.
    for( const Token &each : { tok, pb::adopt( cryTrustTokenCreateFrom( tok.get() ) ) } )
    {
        EXPECT_EQ( pb::adopt( cryTrustTokenCertificate( each.get() ) ).get(), cert.get() );
        EXPECT_EQ( pb::adopt( cryTrustTokenExtraCertificates( each.get() ) ).get(), extra.get() );
        EXPECT_EQ( pb::adopt( cryTrustTokenTime( each.get() ) ).get(), tm.get() );
        EXPECT_EQ( pb::adopt( cryTrustTokenMetaData( each.get() ) ).get(), metaData.get() );
        EXPECT_EQ( pb::adopt( cryTrustTokenSignature( each.get() ) ).get(), signature.get() );
        EXPECT_TRUE( cryTrustTokenHasCertificate( each.get() ) && cryTrustTokenHasExtraCertificates( each.get() ) );
        EXPECT_TRUE( cryTrustTokenHasTime( each.get() ) && cryTrustTokenHasSignature( each.get() ) );
    }
    cryTrustTokenDelCertificate( tok.handle() );
    EXPECT_FALSE( cryTrustTokenHasCertificate( tok.get() ) );
    cryTrustTokenDelExtraCertificates( tok.handle() );
    EXPECT_FALSE( cryTrustTokenHasExtraCertificates( tok.get() ) );
    cryTrustTokenDelTime( tok.handle() );
    EXPECT_FALSE( cryTrustTokenHasTime( tok.get() ) );
    cryTrustTokenDelSignature( tok.handle() );
    EXPECT_FALSE( cryTrustTokenHasSignature( tok.get() ) );
    for( PB_INT alg = 0; alg < 10; alg++ )
    {
        cryTrustTokenSetHashAlgorithm( tok.handle(), alg );
        EXPECT_EQ( cryTrustTokenHashAlgorithm( tok.get() ), alg );
    }
}

TEST_F( CryTrustToken, TheTimeNowIsThatOfTheClock )
{
    ManualClock clock;
    Token       tok = empty();
    cryTrustTokenSetTimeNow( tok.handle() );
    EXPECT_TRUE( pbTimeEquals( pb::adopt( cryTrustTokenTime( tok.get() ) ).get(), pb::adopt( pbTimeNow() ).get() ) );
}

TEST_F( CryTrustToken, AnEditOfASharedOneLeavesTheOtherHolderAlone )
{
    for( const auto &[name, edit] : edits() )
    {
        Token tok = golden::token(), other = tok;
        edit( tok.handle() );
        EXPECT_NE( tok.get(), other.get() ) << name;
        EXPECT_NE( jsonOf( tok ), jsonOf( other ) ) << name;
        EXPECT_EQ( jsonOf( other ), golden::json() + "\n" ) << name;
    }
}

TEST_F( CryTrustToken, AnEditOfOneThatIsNotSharedKeepsTheObject )
{
    for( const auto &[name, edit] : edits() )
    {
        Token            tok    = golden::token();
        CRY_TRUST_TOKEN *before = tok.get();
        edit( tok.handle() );
        EXPECT_EQ( tok.get(), before ) << name;
    }
}

TEST_F( CryTrustToken, EqualsOnlyItself )
{
    Token tok = golden::token(), copy = pb::adopt( cryTrustTokenCreateFrom( tok.get() ) );
    EXPECT_TRUE( cryTrustTokenEquals( tok.get(), tok.get() ) );
    EXPECT_FALSE( cryTrustTokenEquals( tok.get(), copy.get() ) );
    EXPECT_EQ( cryTrustTokenCompare( tok.get(), copy.get() ) < 0, tok.get() < copy.get() );
    EXPECT_EQ( text( pb::adopt( cryTrustTokenToString( tok.get() ) ) ).rfind( "CRY_TRUST_TOKEN(0x", 0 ), 0u );
}

TEST_F( CryTrustToken, FreesItsValues ) { expectPoison( golden::token(), "pppp-p" ); }

TEST_F( CryTrustToken, HasThisStore ) { EXPECT_EQ( jsonOf( golden::token() ), golden::json() + "\n" ); }

TEST_F( CryTrustToken, SignsTheseBytesBeforeTheData )
{
    EXPECT_EQ( hex( prefixOf( golden::token() ) ), hex( golden::prefix() ) );
    Token      tok  = golden::token();
    PrivateKey priv = privateKey( key( KeyKind::rsa ) );
    PublicKey  pub  = publicKey( key( KeyKind::rsa ) );
    ASSERT_TRUE( sign( tok, priv, "the data" ) );
    EXPECT_TRUE( plainVerify( CRY_HASH_ALGORITHM_SHA2_256, key( KeyKind::rsa ).get(), signatureOf( tok ), golden::prefix() + "the data" ) );
}

TEST_F( CryTrustToken, ComesBackFromItsStore )
{
    EXPECT_EQ( jsonOf( restored( golden::json() ) ), golden::json() + "\n" );
    EXPECT_EQ( jsonOf( restored( "{}" ) ), jsonOf( empty() ) );
    for( const auto &[name, edit] : edits() )
    {
        Token tok = changed( golden::token(), edit );
        EXPECT_EQ( jsonOf( restored( jsonOf( tok ) ) ), jsonOf( tok ) ) << name;
    }
    // The metadata is taken as it is, also an array.
    EXPECT_TRUE( pbStoreIsArray( pb::adopt( cryTrustTokenMetaData( restored( "{\"metaData\":[[]]}" ).get() ) ).get() ) );
}

TEST_F( CryTrustToken, WhatCannotBeReadKeepsItsDefault )
{
    const std::string other = "[\"-----BEGIN OTHER-----\",\"AAEC\",\"-----END OTHER-----\"]";
    const std::string good  = "\"-----BEGIN TOKEN SIGNATURE-----\",\"AAEC\",\"-----END TOKEN SIGNATURE-----\"";
    EXPECT_EQ( signatureOf( restored( "{\"signature\":[" + good + "]}" ) ), std::string( "\0\x01\x02", 3 ) );
    for( std::string json : {
             std::string( "[]" ),
             // Every key with a value of a wrong kind.
             std::string( "{\"certificate\":\"x\",\"extraCertificates\":1,\"time\":{},\"metaData\":\"x\",\"hashAlgorithm\":[],\"signature\":true}" ),
             std::string( "{\"certificate\":null,\"extraCertificates\":null,\"time\":1,\"metaData\":null,\"hashAlgorithm\":5,\"signature\":\"x\"}" ),
             std::string( "{\"certificate\":1,\"extraCertificates\":true,\"time\":[],\"metaData\":0,\"hashAlgorithm\":{},\"signature\":null}" ),
             // Stores that do not parse.
             std::string( "{\"certificate\":{},\"signature\":{}}" ),
             std::string( "{\"certificate\":[[]],\"signature\":[1,2]}" ),
             std::string( "{\"certificate\":" ) + other + "}",
             // Another label, and two blocks.
             std::string( "{\"signature\":" ) + other + "}",
             std::string( "{\"signature\":[\"-----BEGIN token signature-----\",\"AAEC\",\"-----END token signature-----\"]}" ),
             std::string( "{\"signature\":[\"-----BEGIN TOKEN SIGNATURE2-----\",\"AAEC\",\"-----END TOKEN SIGNATURE2-----\"]}" ),
             "{\"signature\":[" + good + "," + good + "]}",
             std::string( "{\"time\":\"yesterday\",\"hashAlgorithm\":\"SHA2_512\"}" ),
             std::string( "{\"time\":\"\",\"hashAlgorithm\":\"\"}" ),
             std::string( "{\"Time\":\"2027-01-01T00:00:00Z\",\"later\":{}}" ),
         } )
    {
        EXPECT_EQ( jsonOf( restored( json ) ), jsonOf( empty() ) ) << json;
        takeErrors();
    }
    // The good certificates of a collection remain.
    Token some = restored( "{\"extraCertificates\":[1,[],[" + golden::certificateJson( 0 ) + "]," + other + "]}" );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( pb::adopt( cryTrustTokenExtraCertificates( some.get() ) ).get() ), 1 );
    // An empty collection is a collection.
    EXPECT_TRUE( cryTrustTokenHasExtraCertificates( restored( "{\"extraCertificates\":[]}" ).get() ) );
}

// Other kinds of keys sign too, also without a certificate.
TEST_F( CryTrustToken, SigningNeedsNoCertificate )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
    {
        Token tok = empty();
        ASSERT_TRUE( sign( tok, privateKey( key( kind ) ), "data" ) ) << nameOf( kind );
        EXPECT_TRUE( plainVerify( CRY_HASH_ALGORITHM_SHA2_512, key( kind ).get(), signatureOf( tok ), prefixOf( tok ) + "data" ) ) << nameOf( kind );
        EXPECT_FALSE( verify( tok, "data" ) ) << nameOf( kind );
    }
}

TEST_F( CryTrustToken, SignsWithItsAlgorithm )
{
    for( PB_INT alg = 0; alg < 10; alg++ )
    {
        Token tok = empty();
        cryTrustTokenSetHashAlgorithm( tok.handle(), alg );
        ASSERT_TRUE( sign( tok, privateKey( key( KeyKind::rsa ) ), "data" ) ) << alg;
        EXPECT_TRUE( plainVerify( alg, key( KeyKind::rsa ).get(), signatureOf( tok ), prefixOf( tok ) + "data" ) ) << alg;
    }
}

TEST_F( CryTrustToken, SigningAgainReplacesOnlyTheSignature )
{
    Token tok = golden::token(), other = tok;
    ASSERT_TRUE( sign( tok, privateKey( key( KeyKind::rsa ) ), "data" ) );
    std::string first = signatureOf( tok );
    EXPECT_NE( first, signatureOf( other ) );
    // The old signature is not part of what is signed.
    ASSERT_TRUE( sign( tok, privateKey( key( KeyKind::rsa ) ), "data" ) );
    EXPECT_EQ( signatureOf( tok ), first );
    ASSERT_TRUE( sign( tok, privateKey( key( KeyKind::rsa ) ), "other data" ) );
    EXPECT_NE( signatureOf( tok ), first );
    EXPECT_EQ( prefixOf( tok ), golden::prefix() );
    EXPECT_EQ( jsonOf( changed( tok, withSignature( signatureOf( other ) ) ) ), golden::json() + "\n" );
}

TEST_F( CryTrustToken, ASourceThatFailsLeavesTheOldSignature )
{
    PrivateKey priv = privateKey( key( KeyKind::rsa ) );
    for( size_t length : { 0, 1, 1000, 999999, 1000000, 1000001, 2500000 } )
    {
        Token            tok    = golden::token();
        CRY_TRUST_TOKEN *before = tok.get();
        EXPECT_FALSE( cryTrustTokenTrySign( tok.handle(), priv.get(), source( pattern( length ), 1 << 20, true ).get() ) ) << length;
        EXPECT_EQ( tok.get(), before );
        EXPECT_EQ( jsonOf( tok ), golden::json() + "\n" ) << length;
    }
}

// The prefix is made without recursion.
TEST_F( CryTrustToken, SignsDeepMetadata )
{
    Token tok = empty();
    cryTrustTokenSetMetaData( tok.handle(), nestedStore( 10000 ).get() );
    ASSERT_TRUE( sign( tok, privateKey( key( KeyKind::rsa ) ), "data" ) );
    Token back = pb::adopt( cryTrustTokenRestore( pb::adopt( cryTrustTokenStore( tok.get() ) ).get() ) );
    EXPECT_TRUE( plainVerify( CRY_HASH_ALGORITHM_SHA2_512, key( KeyKind::rsa ).get(), signatureOf( back ), prefixOf( back ) + "data" ) );
}

TEST_F( CryTrustToken, CertificatesOfOtherRootsDoNotVerify )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        const Chain chain = chainOf( kind );
        Token       tok   = empty();
        cryTrustTokenSetCertificate( tok.handle(), certificate( chain.leaf ).get() );
        cryTrustTokenSetExtraCertificates( tok.handle(), certificates( { certificate( chain.intermediate ), certificate( chain.root ) } ).get() );
        cryTrustTokenSetTime( tok.handle(), time( leafTime ).get() );
        ASSERT_TRUE( sign( tok, privateKey( key( kind, 2 ) ), "data" ) );
        EXPECT_TRUE( plainVerify( CRY_HASH_ALGORITHM_SHA2_512, key( kind, 2 ).get(), signatureOf( tok ), prefixOf( tok ) + "data" ) );
        EXPECT_FALSE( verify( tok, "data" ) ) << nameOf( kind );
        // Also one that signs itself.
        cryTrustTokenSetCertificate( tok.handle(), certificate( chain.root ).get() );
        ASSERT_TRUE( sign( tok, privateKey( key( kind, 0 ) ), "data" ) );
        EXPECT_FALSE( verify( tok, "data" ) ) << nameOf( kind );
    }
}

TEST_F( CryTrustToken, AKeyThatCannotBeDecodedDoesNotVerify )
{
    std::string                   body = withUnknownKey( der( chainOf( KeyKind::p256 ).leaf ) );
    pb::Ref<CRY_X509_CERTIFICATE> cert = pb::adopt( cryX509CertificateTryCreateFromDer( buf( body ).get() ) );
    ASSERT_TRUE( cert );
    Token tok = golden::token();
    cryTrustTokenSetCertificate( tok.handle(), cert.get() );
    ASSERT_TRUE( sign( tok, privateKey( key( KeyKind::p256 ) ), "data" ) );
    EXPECT_FALSE( verify( tok, "data" ) );
}

TEST_F( CryTrustTokenSigner, VerifiesForItsDataOnly )
{
    for( const std::string &data : { std::string(), std::string( "data" ), std::string( "\0", 1 ), pattern( 2500000 ) } )
    {
        Token tok = trustTokenFor( data );
        EXPECT_TRUE( verify( tok, data ) ) << data.size();
        EXPECT_FALSE( verify( tok, data + "x" ) ) << data.size();
        EXPECT_FALSE( verify( tok, data.empty() ? "y" : data.substr( 1 ) ) ) << data.size();
    }
}

TEST_F( CryTrustTokenSigner, TheWayOfReadingDoesNotMatter )
{
    // Longer than one read, and exactly as long.
    for( size_t length : { 0, 1, 5000, 1000000, 1000001, 2000000 } )
    {
        std::string data = pattern( length );
        Token       tok = trustTokenFor( data ), pieces = trustToken();
        cryTrustTokenSetTime( pieces.handle(), pb::adopt( cryTrustTokenTime( tok.get() ) ).get() );
        for( PB_INT piece : { length > 10000 ? (PB_INT)997 : (PB_INT)1, (PB_INT)65536, (PB_INT)1 << 22 } )
        {
            ASSERT_TRUE( signFrom( pieces, source( data, piece ) ) );
            EXPECT_EQ( signatureOf( pieces ), signatureOf( tok ) ) << length << " " << piece;
            EXPECT_TRUE( verifyFrom( tok, source( data, piece ) ) ) << length << " " << piece;
            EXPECT_FALSE( verifyFrom( tok, source( data + "x", piece ) ) ) << length << " " << piece;
        }
    }
}

TEST_F( CryTrustTokenSigner, ASourceThatFailsDoesNotVerify )
{
    for( size_t length : { 0, 4, 1000000, 1500000 } )
    {
        std::string data = pattern( length );
        Token       tok  = trustTokenFor( data );
        EXPECT_TRUE( verifyFrom( tok, source( data, 1000, false ) ) ) << length;
        EXPECT_FALSE( verifyFrom( tok, source( data, 1000, true ) ) ) << length;
    }
}

TEST_F( CryTrustTokenSigner, VerifiesAfterItsStoreWasRead )
{
    Token tok = signedAfter( withMetaData( "{\"b\":{\"z\":1,\"y\":\"\"},\"a\":[null]}" ), "data" );
    EXPECT_TRUE( verify( restored( jsonOf( tok ) ), "data" ) );
    EXPECT_EQ( jsonOf( restored( jsonOf( tok ) ) ), jsonOf( tok ) );
    // The order of the keys is not signed.
    EXPECT_TRUE( verify( changed( tok, withMetaData( "{\"a\":[null],\"b\":{\"y\":\"\",\"z\":1}}" ) ), "data" ) );
    for( const char *other : { "{}", "{\"b\":{\"z\":2,\"y\":\"\"},\"a\":[null]}", "{\"b\":{\"z\":\"1\",\"y\":\"\"},\"a\":[null]}",
             "{\"b\":{\"z\":1,\"y\":\"\"},\"a\":[]}", "{\"b\":{\"z\":1,\"y\":\"\"},\"a\":[null],\"c\":1}" } )
        EXPECT_FALSE( verify( changed( tok, withMetaData( other ) ), "data" ) ) << other;
}

TEST_F( CryTrustTokenSigner, VerifiesWithEveryAlgorithm )
{
    for( PB_INT alg = 0; alg < 10; alg++ )
    {
        Token tok = signedAfter( [&]( CRY_TRUST_TOKEN **each ) { cryTrustTokenSetHashAlgorithm( each, alg ); }, "data" );
        EXPECT_TRUE( verify( tok, "data" ) ) << alg;
        EXPECT_FALSE( verify( changed( tok, [&]( CRY_TRUST_TOKEN **each ) { cryTrustTokenSetHashAlgorithm( each, ( alg + 1 ) % 10 ); } ), "data" ) )
            << alg;
    }
}

TEST_F( CryTrustTokenSigner, AChangeAfterTheSigningDoesNotVerify )
{
    const Token                         tok                 = trustTokenFor( "data" );
    const pb::Ref<CRY_X509_CERTIFICATE> intermediate        = trustCertificate( "intermediate.pem" );
    std::string                         flipped             = signatureOf( tok );
    flipped.back()                                          = (char)( flipped.back() ^ 1 );
    const std::vector<std::pair<std::string, Edit>> changes = {
        { "no certificate", cryTrustTokenDelCertificate },
        { "the issuer's certificate", withCertificate( intermediate ) },
        { "the root's certificate", withCertificate( trustCertificate( "root.pem" ) ) },
        { "no intermediates", cryTrustTokenDelExtraCertificates },
        { "more intermediates",
            [&]( CRY_TRUST_TOKEN **each ) {
                cryTrustTokenSetExtraCertificates( each, certificates( { intermediate, intermediate } ).get() );
            } },
        { "no time", cryTrustTokenDelTime },
        { "no signature", cryTrustTokenDelSignature },
        { "an empty signature", withSignature( "" ) },
        { "a short signature", withSignature( signatureOf( tok ).substr( 1 ) ) },
        { "a long signature", withSignature( signatureOf( tok ) + '\0' ) },
        { "another signature", withSignature( flipped ) },
    };
    for( const auto &[name, edit] : changes )
    {
        EXPECT_FALSE( verify( changed( tok, edit ), "data" ) ) << name;
        takeErrors();
    }
    EXPECT_TRUE( verify( tok, "data" ) );
}

TEST_F( CryTrustTokenSigner, OnlyTheKeyOfTheCertificateCounts )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        Token tok = trustToken();
        // The key is not compared with the certificate.
        ASSERT_TRUE( sign( tok, privateKey( key( kind ) ), "data" ) );
        EXPECT_FALSE( verify( tok, "data" ) ) << nameOf( kind );
    }
}

TEST_F( CryTrustTokenSigner, NeedsTheIntermediate )
{
    EXPECT_FALSE( verify( signedAfter( cryTrustTokenDelExtraCertificates, "data" ), "data" ) );
    auto extra = []( const std::vector<pb::Ref<CRY_X509_CERTIFICATE>> &list ) -> Edit {
        return [list]( CRY_TRUST_TOKEN **tok ) { cryTrustTokenSetExtraCertificates( tok, certificates( list ).get() ); };
    };
    pb::Ref<CRY_X509_CERTIFICATE> intermediate = trustCertificate( "intermediate.pem" ), root = trustCertificate( "root.pem" ),
                                  other = certificate( chainOf( KeyKind::rsa ).root );
    EXPECT_FALSE( verify( signedAfter( extra( {} ), "data" ), "data" ) );
    EXPECT_FALSE( verify( signedAfter( extra( { root, other } ), "data" ), "data" ) );
    EXPECT_TRUE( verify( signedAfter( extra( { other, root, intermediate } ), "data" ), "data" ) );
}

TEST_F( CryTrustTokenSigner, TheCertificatesAreValidAtTheTimeOfTheToken )
{
    EXPECT_TRUE( verify( signedAfter( []( CRY_TRUST_TOKEN ** ) {}, "data" ), "data" ) );
    EXPECT_TRUE( verify( signedAfter( cryTrustTokenDelTime, "data" ), "data" ) );
    EXPECT_FALSE( verify( signedAfter( withTime( "2001-01-01T00:00:00Z" ), "data" ), "data" ) );
    EXPECT_FALSE( verify( signedAfter( withTime( "2999-01-01T00:00:00Z" ), "data" ), "data" ) );
}

TEST_F( CryTrustTokenSigner, VerifiesAfterTheSignerHasExpired )
{
    Token       dated = trustTokenFor( "data" ), undated = signedAfter( cryTrustTokenDelTime, "data" );
    ManualClock clock;
    pb___ClockAdvance( (PB_INT)10 * 365 * 24 * 3600 * 1000 );
    EXPECT_TRUE( verify( dated, "data" ) );
    EXPECT_TRUE( verify( undated, "data" ) );
    pb___ClockAdvance( (PB_INT)11 * 365 * 24 * 3600 * 1000 );
    EXPECT_TRUE( verify( dated, "data" ) );
    EXPECT_FALSE( verify( undated, "data" ) );
    EXPECT_FALSE( verify( signedAfter( cryTrustTokenSetTimeNow, "data" ), "data" ) );
}

TEST_F( CryTrustTokenSigner, SigningAndVerifyingLeaveTheTokenAsItWas )
{
    Token       tok = trustTokenFor( "old" ), shared = tok;
    std::string before = jsonOf( tok );
    EXPECT_TRUE( verify( tok, "old" ) );
    EXPECT_FALSE( verify( tok, "new" ) );
    EXPECT_EQ( tok.get(), shared.get() );
    EXPECT_EQ( jsonOf( tok ), before );
    ASSERT_TRUE( sign( tok, trustKey(), "new" ) );
    EXPECT_TRUE( verify( tok, "new" ) );
    EXPECT_TRUE( verify( shared, "old" ) );
    EXPECT_EQ( jsonOf( shared ), before );
}

TEST_F( CryTrustTokenSigner, WhatSucceedsLeavesNoErrors )
{
    Token tok = trustTokenFor( "data" );
    raiseError();
    EXPECT_TRUE( sign( tok, trustKey(), "data" ) );
    EXPECT_TRUE( verify( tok, "data" ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    // What fails keeps the errors that were there.
    raiseError();
    EXPECT_FALSE( verify( tok, "other" ) );
    EXPECT_FALSE( verify( changed( tok, withTime( "2001-01-01T00:00:00Z" ) ), "data" ) );
    std::vector<unsigned long> errors = takeErrors();
    ASSERT_FALSE( errors.empty() );
    EXPECT_EQ( errors.front(), raisedError );
}

TEST_F( CryTrustToken, PartsThatAreSkippedLeaveNoErrors )
{
    std::string broken = "[\"-----BEGIN CERTIFICATE-----\",\"AAEC\",\"-----END CERTIFICATE-----\"]";
    takeErrors();
    raiseError();
    restored( "{\"certificate\":" + broken + ",\"extraCertificates\":[" + broken + "]}" );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
}
