// Only the differences from other types with a canonical PEM. All other tests are in
// pem_object_test.cpp and certified_key_test.cpp.
#include "cry/common/pem_object_suite.hpp"
#include "support/signatures.hpp"

using namespace support;

static Req plainRequest( KeyKind kind ) { return makeRequest( { .commonName = "request " + nameOf( kind ), .key = key( kind ) } ); }

TEST( CryX509Csr, AWrongSignatureIsNotLookedAt )
{
    Req req = makeRequest( { .key = key( KeyKind::p256 ), .signer = key( KeyKind::rsa ) } );
    ASSERT_NE( X509_REQ_verify( req.get(), X509_REQ_get0_pubkey( req.get() ) ), 1 );
    ERR_clear_error();
    Request csr = requestFromText( pemText( req.get() ) );
    ASSERT_TRUE( csr );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} );
    EXPECT_TRUE( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( KeyKind::p256 ) ).get() ) );
    EXPECT_FALSE( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( KeyKind::rsa ) ).get() ) );
    ERR_clear_error();
}

TEST( CryX509Csr, KeepsAttributesAndExtensionsAsTheyAre )
{
    RequestFields all[] = { { .key = key( KeyKind::p256 ) },
        { .key = key( KeyKind::p256 ), .extensions = { { "subjectAltName", "DNS:a.example, DNS:b.example" } } },
        { .key          = key( KeyKind::p256 ),
            .extensions = { { "basicConstraints", "critical,CA:FALSE" }, { "keyUsage", "digitalSignature" }, { "extendedKeyUsage", "serverAuth" } } },
        { .key = key( KeyKind::p256 ), .attributes = { { NID_pkcs9_challengePassword, "challenge" } } },
        { .key          = key( KeyKind::p256 ),
            .attributes = { { NID_pkcs9_challengePassword, "p\xC3\xA4ss" }, { NID_pkcs9_unstructuredName, "An unstructured name" } } },
        { .key          = key( KeyKind::rsa ),
            .extensions = { { "subjectAltName", "DNS:a.example" } },
            .attributes = { { NID_pkcs9_challengePassword, "challenge" }, { NID_pkcs9_unstructuredName, "second" } } } };
    for( const RequestFields &fields : all )
    {
        Req     req = makeRequest( fields );
        Request csr = requestFromText( pemText( req.get() ) );
        ASSERT_TRUE( csr );
        EXPECT_EQ( hex( der( csr ) ), hex( der( req ) ) );
        X509_REQ *held = cry___X509CsrPeekOpensslX509Req( csr.get() );
        EXPECT_EQ( X509_REQ_verify( held, X509_REQ_get0_pubkey( held ) ), 1 );
        EXPECT_EQ( X509_REQ_get_attr_count( held ), (int)fields.attributes.size() + !fields.extensions.empty() );
        STACK_OF( X509_EXTENSION ) *extensions = X509_REQ_get_extensions( held );
        EXPECT_EQ( extensions ? sk_X509_EXTENSION_num( extensions ) : 0, (int)fields.extensions.size() );
        sk_X509_EXTENSION_pop_free( extensions, X509_EXTENSION_free );
        for( const auto &[nid, value] : fields.attributes )
            EXPECT_GE( X509_REQ_get_attr_by_NID( held, nid, -1 ), 0 ) << value;
        if( !fields.attributes.empty() )
            EXPECT_NE( der( csr ).find( fields.attributes[0].second ), std::string::npos );
        EXPECT_TRUE( cryX509CsrEquals( csr.get(), request( req ).get() ) );
        EXPECT_EQ( publicText( pb::adopt( cryX509CsrPublicKey( csr.get() ) ).get() ), spkiText( fields.key.get() ) );
    }
}

TEST( CryX509Csr, TakesOneWithoutTheFieldOfAttributes )
{
    // [0] is not optional, but some programs leave it out. OpenSSL decides.
    std::string plain = der( plainRequest( KeyKind::p256 ) );
    size_t      at    = plain.find( std::string( "\xA0\x00\x30", 3 ) );
    ASSERT_NE( at, plain.npos );
    plain.erase( at, 2 );
    // The lengths around it. Each has one byte, with or without 0x81 before it.
    auto shorten = [&]( size_t length ) {
        ASSERT_GT( (unsigned char)plain[length], 2 );
        plain[length] = (char)( plain[length] - 2 );
    };
    ASSERT_EQ( plain.substr( 0, 2 ), "\x30\x81" );
    shorten( 2 );
    size_t info = 3;
    ASSERT_EQ( plain[info], '\x30' );
    shorten( plain[info + 1] == '\x81' ? info + 2 : info + 1 );
    EXPECT_TRUE( PemObjects<CsrType>::isTaken( { "CERTIFICATE REQUEST", plain }, "no attributes" ) );
}

TEST( CryX509Csr, ThePublicKeyOfAPrivateOneIsPublicOnly )
{
    // A request that was made and not read: it holds the same OpenSSL key from which it was made.
    for( KeyKind kind : allKeyKinds )
    {
        X509_REQ *req = X509_REQ_new();
        ASSERT_EQ( X509_REQ_set_pubkey( req, key( kind ).get() ), 1 );
        signRequest( req, key( kind ).get() );
        ASSERT_EQ( X509_REQ_get0_pubkey( req ), key( kind ).get() );
        Request   csr = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqUse( req ) );
        PublicKey pub = pb::adopt( cryX509CsrPublicKey( csr.get() ) );
        ASSERT_TRUE( pub ) << nameOf( kind );
        EXPECT_EQ( publicText( pub.get() ), spkiText( key( kind ).get() ) ) << nameOf( kind );
        EXPECT_EQ( pkcs8Text( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), "" ) << nameOf( kind );
    }
    ERR_clear_error();
}
