#include "cry/x509/requests.hpp"
#include "support/key_decoding.hpp"
#include "support/signatures.hpp"

#include <atomic>
#include <thread>

using namespace support;

namespace
{

// A request that OpenSSL cannot write, since nothing in it is set.
X509_REQ *unwritable() { return X509_REQ_new(); }

// OpenSSL keeps no user data with a request, so its free shows in the key that it holds.
struct Watched
{
    X509_REQ *req;
    FreeWatch watch;

    explicit Watched( X509_REQ *made ) : req( made ), watch( X509_REQ_get0_pubkey( made ) ) {}
    bool freed() const { return watch.freed(); }
};

Req plainRequest( KeyKind kind, int number = 0 ) { return makeRequest( { .commonName = "request " + nameOf( kind ), .key = key( kind, number ) } ); }

// Keys of all the kinds that OpenSSL takes into a request.
std::vector<std::pair<std::string, Pkey>> manyKeys()
{
    std::vector<std::pair<std::string, Pkey>> keys = { { "SM2", newSm2Key() }, { "EC on SM2's curve", newEcKey( "SM2", nullptr ) },
        { "unnamed curve", newUnnamedCurveKey() }, { "explicit P-256", newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ) },
        { "Ed448", newKey( "ED448" ) }, { "X25519", newKey( "X25519" ) }, { "X448", newKey( "X448" ) },
        { "secp112r1", newEcKey( "secp112r1", nullptr ) }, { "secp521r1", newEcKey( "secp521r1", nullptr ) },
        { "sect571r1", newEcKey( "sect571r1", nullptr ) }, { "brainpoolP512t1", newEcKey( "brainpoolP512t1", nullptr ) },
        { "wtls7", newEcKey( "wap-wsg-idm-ecid-wtls7", nullptr ) }, { "RSA 512", newRsaKey( 512 ) } };
    for( KeyKind kind : allKeyKinds )
        keys.emplace_back( nameOf( kind ), key( kind ) );
    return keys;
}

using support::canonical;
PublicKey   publicKeyOf( const Request &csr ) { return pb::adopt( cryX509CsrPublicKey( csr.get() ) ); }
std::string canonical( const PublicKey &pub ) { return textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ); }

// What OpenSSL reads of the text that it writes of a request's key.
std::string keyByOpenssl( const Req &req )
{
    std::vector<unsigned long> errors;
    return publicByOpenssl( spkiText( X509_REQ_get0_pubkey( req.get() ) ), errors );
}

// A request with these bits of this algorithm for its key, signed by another.
Req withKeyBits( int algorithm, int parametersType, int parametersNid, const std::string &bits )
{
    Req            req        = makeRequest( { .key = key( KeyKind::p256 ), .signer = key( KeyKind::p256, 1 ) } );
    unsigned char *owned      = (unsigned char *)OPENSSL_memdup( bits.data(), bits.size() );
    void          *parameters = nullptr;
    if( parametersType == V_ASN1_SEQUENCE )
    {
        parameters = ASN1_STRING_new();
        ASN1_STRING_set( (ASN1_STRING *)parameters, "\x30\x00", 2 );
    }
    else if( parametersNid != NID_undef )
        parameters = OBJ_nid2obj( parametersNid );
    EXPECT_EQ( X509_PUBKEY_set0_param(
                   X509_REQ_get_X509_PUBKEY( req.get() ), OBJ_nid2obj( algorithm ), parametersType, parameters, owned, (int)bits.size() ),
        1 );
    signRequest( req.get(), key( KeyKind::p256, 1 ).get() );
    return parseRequest( der( req ) );
}

// The bits of a key in SubjectPublicKeyInfo.
std::string keyBits( const Pkey &pkey )
{
    std::string          spki = spkiOf( pkey.get() );
    const unsigned char *at = (const unsigned char *)spki.data(), *bits = nullptr;
    X509_PUBKEY         *parsed = d2i_X509_PUBKEY( nullptr, &at, (long)spki.size() );
    int                  length = 0;
    EXPECT_EQ( X509_PUBKEY_get0_param( nullptr, &bits, &length, nullptr, parsed ), 1 );
    std::string out( (const char *)bits, (size_t)length );
    X509_PUBKEY_free( parsed );
    return out;
}

// The verdict, the canonical text and the errors of a text that is refused must be OpenSSL's. Tells whether it was taken.
bool expectAsOpenssl( const std::string &label, const std::string &body, const std::string &name )
{
    pb::Ref<CRY_PEM>           block = pem( label, body );
    std::vector<unsigned long> errors;
    takeErrors();
    Req     wanted = requestByOpenssl( bytes( pb::adopt( cryPemEncode( block.get() ) ) ), errors );
    Request csr    = requestFromPem( block );
    EXPECT_EQ( takeErrors(), errors ) << label << ": " << name;
    EXPECT_EQ( (bool)csr, (bool)wanted ) << label << ": " << name;
    if( csr && wanted )
    {
        EXPECT_EQ( canonical( csr ), pemText( wanted.get() ) ) << label << ": " << name;
        EXPECT_EQ( hex( der( cry___X509CsrPeekOpensslX509Req( csr.get() ) ) ), hex( der( wanted ) ) ) << label << ": " << name;
    }
    return (bool)csr;
}

}

TEST( CryX509Csr, HasTheTextThatOpensslWritesAsItsPem )
{
    for( KeyKind kind : allKeyKinds )
    {
        Req         req    = plainRequest( kind );
        std::string wanted = pemText( req.get() ), newLabel = written( [&]( BIO *bio ) { return PEM_write_bio_X509_REQ_NEW( bio, req.get() ); } );
        ASSERT_TRUE( wanted.starts_with( "-----BEGIN CERTIFICATE REQUEST-----\n" ) );
        ASSERT_TRUE( newLabel.starts_with( "-----BEGIN NEW CERTIFICATE REQUEST-----\n" ) );
        for( const Request &csr : { requestFromText( wanted ), requestFromText( newLabel ), request( req ) } )
        {
            ASSERT_TRUE( csr ) << nameOf( kind );
            EXPECT_EQ( canonical( csr ), wanted ) << nameOf( kind );
            EXPECT_EQ( hex( der( csr ) ), hex( der( req ) ) ) << nameOf( kind );
            EXPECT_FALSE( pbBufferSensitive( pb::adopt( cryPemData( pb::adopt( cryX509CsrPem( csr.get() ) ).get() ) ).get() ) );
        }
    }
}

TEST( CryX509Csr, IsEqualHoweverTheSameRequestWasRead )
{
    for( KeyKind kind : allKeyKinds )
    {
        Req                  req    = plainRequest( kind );
        Request              first  = requestFromText( pemText( req.get() ) );
        std::vector<Request> others = { requestFromPem( pem( "CERTIFICATE REQUEST", der( req ) ) ),
            requestFromPem( pem( "NEW CERTIFICATE REQUEST", der( req ) ) ), requestFromPem( pem( "CERTIFICATE REQUEST", der( req ) + "tail" ) ),
            request( req ), pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqUse( X509_REQ_dup( req.get() ) ) ) };
        ASSERT_TRUE( first );
        for( const Request &other : others )
        {
            ASSERT_TRUE( other ) << nameOf( kind );
            EXPECT_TRUE( cryX509CsrEquals( first.get(), other.get() ) ) << nameOf( kind );
            EXPECT_EQ( cryX509CsrCompare( first.get(), other.get() ), 0 ) << nameOf( kind );
        }
        EXPECT_FALSE( cryX509CsrEquals( first.get(), request( plainRequest( kind, 1 ) ).get() ) ) << nameOf( kind );
    }
}

TEST( CryX509Csr, TheCallersPemMayChangeAfterwards )
{
    Req              req   = plainRequest( KeyKind::rsa );
    pb::Ref<CRY_PEM> block = pem( "CERTIFICATE REQUEST", der( req ) );
    Request          csr   = requestFromPem( block );
    ASSERT_TRUE( csr );
    cryPemSetLabel( block.handle(), str( "OTHER" ).get() );
    cryPemSetData( block.handle(), buf( "other" ).get() );
    EXPECT_EQ( canonical( csr ), pemText( req.get() ) );
    pb::Ref<CRY_PEM> out = pb::adopt( cryX509CsrPem( csr.get() ) );
    cryPemSetData( out.handle(), buf( "other" ).get() );
    EXPECT_EQ( canonical( csr ), pemText( req.get() ) );
}

TEST( CryX509Csr, TakesLabelsAndBodiesExactlyAsOpensslDoes )
{
    std::string plain = der( plainRequest( KeyKind::rsa ) );
    ASSERT_EQ( plain.substr( 0, 2 ), "\x30\x82" );
    std::string longer   = std::string( "\x30\x83\x00", 3 ) + plain.substr( 2 );
    std::string bodies[] = { plain, plain + "tail", longer, der( plainRequest( KeyKind::ed25519 ) ), der( plainRequest( KeyKind::rsaPss ) ),
        plain.substr( 0, plain.size() - 1 ), plain.substr( 0, 40 ), "", "\x30\x80", std::string( 200, '\xA5' ), der( chainOf( KeyKind::rsa ).leaf ),
        spkiOf( key( KeyKind::rsa ).get() ), bodyOf( pkcs8Text( key( KeyKind::p256 ).get() ) ) };
    int         taken    = 0;
    for( const char *label :
        { "CERTIFICATE REQUEST", "NEW CERTIFICATE REQUEST", "OLD CERTIFICATE REQUEST", "CERTIFICATE", "X509 CERTIFICATE", "TRUSTED CERTIFICATE",
            "X509 CRL", "PKCS7", "PUBLIC KEY", "PRIVATE KEY", "certificate request", "CERTIFICATE REQUESTS", "REQUEST", "A", "" } )
    {
        ASSERT_TRUE( cryPemLabelOk( str( label ).get() ) ) << label;
        for( const std::string &body : bodies )
            taken += expectAsOpenssl( label, body, hex( body.substr( 0, 8 ) ) + "..., " + std::to_string( body.size() ) );
    }
    // Two labels, each with the first five.
    EXPECT_EQ( taken, 2 * 5 );
}

TEST( CryX509Csr, RefusesAnEncryptedBody )
{
    Req         req       = plainRequest( KeyKind::p256 );
    std::string encrypted = written( [&]( BIO *bio ) {
        return PEM_ASN1_write_bio( (i2d_of_void *)i2d_X509_REQ, PEM_STRING_X509_REQ, bio, req.get(), EVP_aes_128_cbc(),
            (const unsigned char *)"pass phrase", 11, nullptr, nullptr );
    } );
    ASSERT_NE( encrypted.find( "Proc-Type: 4,ENCRYPTED" ), encrypted.npos );
    // With its headers it is no block at all, and what is left of it without them is no request.
    EXPECT_EQ( cryPemTryDecode( buf( encrypted ).get() ), nullptr );
    size_t head = encrypted.find( '\n' ) + 1, body = encrypted.find( "\n\n" ) + 2;
    EXPECT_FALSE( requestFromText( encrypted.substr( 0, head ) + encrypted.substr( body ) ) );
    ERR_clear_error();
}

TEST( CryX509Csr, RefusesWhatIsCutOffAnywhere )
{
    std::string plain = der( plainRequest( KeyKind::p256 ) );
    for( size_t length = 0; length < plain.size(); length++ )
        ASSERT_FALSE( requestFromPem( pem( "CERTIFICATE REQUEST", plain.substr( 0, length ) ) ) ) << length;
    ERR_clear_error();
}

TEST( CryX509Csr, EveryDamageIsJudgedAsOpensslJudgesIt )
{
    Req         req   = makeRequest( { .key = key( KeyKind::p256 ),
                  .extensions               = { { "subjectAltName", "DNS:a.example" } },
                  .attributes               = { { NID_pkcs9_challengePassword, "challenge" } } } );
    std::string plain = der( req );
    int         good = 0, bad = 0;
    for( size_t at = 0; at < plain.size(); at++ )
    {
        for( int flip : { 0x01, 0x20, 0x80 } )
        {
            std::string changed = plain;
            changed[at]         = (char)( changed[at] ^ flip );
            ( expectAsOpenssl( "CERTIFICATE REQUEST", changed, std::to_string( at ) + " ^ " + std::to_string( flip ) ) ? good : bad )++;
        }
    }
    // The signature and the names alone may be changed anywhere, the headers of elements hardly anywhere.
    EXPECT_GT( good, 200 );
    EXPECT_GT( bad, 100 );
}

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
        EXPECT_EQ( canonical( publicKeyOf( csr ) ), spkiText( fields.key.get() ) );
    }
}

TEST( CryX509Csr, TakesOneWithoutTheFieldOfAttributes )
{
    // [0] is not optional, but some leave it out. OpenSSL's verdict counts.
    std::string plain = der( plainRequest( KeyKind::p256 ) );
    size_t      at    = plain.find( std::string( "\xA0\x00\x30", 3 ) );
    ASSERT_NE( at, plain.npos );
    plain.erase( at, 2 );
    // The lengths around it, each in one byte behind 0x81 or alone.
    auto shorten = [&]( size_t length ) {
        ASSERT_GT( (unsigned char)plain[length], 2 );
        plain[length] = (char)( plain[length] - 2 );
    };
    ASSERT_EQ( plain.substr( 0, 2 ), "\x30\x81" );
    shorten( 2 );
    size_t info = 3;
    ASSERT_EQ( plain[info], '\x30' );
    shorten( plain[info + 1] == '\x81' ? info + 2 : info + 1 );
    EXPECT_TRUE( expectAsOpenssl( "CERTIFICATE REQUEST", plain, "no attributes" ) );
}

TEST( CryX509Csr, KeysOfAllKindsAreTheOnesThatWerePutIn )
{
    for( const auto &[name, pkey] : manyKeys() )
    {
        Req         req    = makeRequest( { .key = pkey, .signer = key( KeyKind::p256, 1 ) } );
        std::string wanted = keyByOpenssl( req );
        ASSERT_EQ( wanted, spkiText( pkey.get() ) ) << name;
        PublicKey given = wrappedPublicKey( pkey );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            for( const Request &csr : { request( req ), requestFromText( pemText( req.get() ) ) } )
            {
                EXPECT_EQ( hex( der( csr ) ), hex( der( req ) ) ) << name;
                takeErrors();
                raiseError();
                PublicKey pub = publicKeyOf( csr );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name;
                ASSERT_TRUE( pub ) << name;
                EXPECT_EQ( canonical( pub ), wanted ) << name;
                EXPECT_TRUE( cryPkeyPublicEquals( pub.get(), given.get() ) ) << name;
                EXPECT_EQ( spkiText( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), wanted ) << name;
                // A new object each time.
                PublicKey again = publicKeyOf( csr );
                EXPECT_NE( again.get(), pub.get() ) << name;
                EXPECT_TRUE( cryPkeyPublicEquals( again.get(), pub.get() ) ) << name;
            }
        }
    }
}

TEST( CryX509Csr, ThePublicKeySharesNothingWithIt )
{
    for( KeyKind kind : allKeyKinds )
    {
        Watched   watched( X509_REQ_dup( plainRequest( kind ).get() ) );
        Request   csr = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqUse( watched.req ) );
        PublicKey pub = publicKeyOf( csr );
        ASSERT_TRUE( pub );
        EXPECT_NE( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), X509_REQ_get0_pubkey( watched.req ) ) << nameOf( kind );
        csr = {};
        EXPECT_TRUE( watched.freed() ) << nameOf( kind );
        EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), key( kind ).get() ), 1 ) << nameOf( kind );
        EXPECT_EQ( canonical( pub ), spkiText( key( kind ).get() ) ) << nameOf( kind );
    }
    ERR_clear_error();
}

TEST( CryX509Csr, ThePublicKeyOfAPrivateOneIsPublicOnly )
{
    // As a request is that was just made and not read: it holds the very key that it was made of.
    for( KeyKind kind : allKeyKinds )
    {
        X509_REQ *req = X509_REQ_new();
        ASSERT_EQ( X509_REQ_set_pubkey( req, key( kind ).get() ), 1 );
        signRequest( req, key( kind ).get() );
        ASSERT_EQ( X509_REQ_get0_pubkey( req ), key( kind ).get() );
        Request   csr = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqUse( req ) );
        PublicKey pub = publicKeyOf( csr );
        ASSERT_TRUE( pub ) << nameOf( kind );
        EXPECT_EQ( canonical( pub ), spkiText( key( kind ).get() ) ) << nameOf( kind );
        EXPECT_EQ( pkcs8Text( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), "" ) << nameOf( kind );
    }
    ERR_clear_error();
}

TEST( CryX509Csr, ThePublicKeyOfOtherEncodingsIsAsOpensslWritesIt )
{
    std::string point = keyBits( key( KeyKind::p256 ) ), x = point.substr( 1, 32 ), y = point.substr( 33 );
    std::string numbers = keyBits( key( KeyKind::rsa ) );
    // A zero before the modulus: two lengths grow by one, and both have two bytes.
    std::string zero = numbers;
    ASSERT_EQ( zero.substr( 0, 4 ), "\x30\x82\x01\x0A" );
    ASSERT_EQ( zero.substr( 4, 5 ), std::string( "\x02\x82\x01\x01\x00", 5 ) );
    zero[3]++;
    zero[7]++;
    zero.insert( 8, 1, '\0' );
    char odd = point.back() & 1;
    struct
    {
        const char *name;
        Req         req;
    } forms[] = {
        { "plain", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, point ) },
        { "compressed", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, (char)( 2 | odd ) + x ) },
        { "hybrid", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, (char)( 6 | odd ) + x + y ) },
        { "RSA", withKeyBits( NID_rsaEncryption, V_ASN1_NULL, NID_undef, numbers ) },
        { "RSA without parameters", withKeyBits( NID_rsaEncryption, V_ASN1_UNDEF, NID_undef, numbers ) },
        { "RSA with a zero", withKeyBits( NID_rsaEncryption, V_ASN1_NULL, NID_undef, zero ) },
        { "RSA with a tail", withKeyBits( NID_rsaEncryption, V_ASN1_NULL, NID_undef, numbers + "x" ) },
        { "RSA-PSS", withKeyBits( NID_rsassaPss, V_ASN1_UNDEF, NID_undef, numbers ) },
        { "RSA-PSS with the default parameters", withKeyBits( NID_rsassaPss, V_ASN1_SEQUENCE, NID_undef, numbers ) },
        { "SM2", withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_sm2, keyBits( newSm2Key() ) ) },
    };
    int changed = 0;
    for( const auto &each : forms )
    {
        ASSERT_TRUE( each.req ) << each.name;
        ASSERT_NE( X509_REQ_get0_pubkey( each.req.get() ), nullptr ) << each.name;
        std::string wanted = keyByOpenssl( each.req );
        ASSERT_NE( wanted, "" ) << each.name;
        unsigned char *encoded = nullptr;
        int            length  = i2d_X509_PUBKEY( X509_REQ_get_X509_PUBKEY( each.req.get() ), &encoded );
        changed += std::string( (char *)encoded, (size_t)length ) != bodyOf( wanted );
        OPENSSL_free( encoded );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            Request     csr = requestFromPem( pem( "CERTIFICATE REQUEST", der( each.req ) ) );
            // The request keeps the form that it came in.
            EXPECT_EQ( hex( der( csr ) ), hex( der( each.req ) ) ) << each.name;
            takeErrors();
            PublicKey pub = publicKeyOf( csr );
            EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} ) << each.name;
            ASSERT_TRUE( pub ) << each.name;
            EXPECT_EQ( canonical( pub ), wanted ) << each.name << ", fast " << fast;
        }
    }
    EXPECT_GE( changed, 2 );
}

TEST( CryX509Csr, ThePublicKeyIsCanonicalWhereItsLengthsAreNot )
{
    // The outer length of the key in one byte more, and so those around it.
    std::string plain = der( makeRequest( { .commonName = std::string( 60, 'x' ), .key = key( KeyKind::p256 ) } ) );
    std::string spki  = spkiOf( key( KeyKind::p256 ).get() );
    size_t      at    = plain.find( spki );
    ASSERT_NE( at, plain.npos );
    ASSERT_EQ( plain.substr( 0, 2 ), "\x30\x82" );
    ASSERT_EQ( plain.substr( 4, 2 ), "\x30\x81" );
    plain.insert( at + 1, 1, '\x81' );
    ASSERT_LT( (unsigned char)plain[3], 0xFF );
    plain[3]++;
    ASSERT_LT( (unsigned char)plain[6], 0xFF );
    plain[6]++;
    Request csr = requestFromPem( pem( "CERTIFICATE REQUEST", plain ) );
    ASSERT_TRUE( csr );
    EXPECT_EQ( canonical( publicKeyOf( csr ) ), spkiText( key( KeyKind::p256 ).get() ) );
    EXPECT_TRUE( expectAsOpenssl( "CERTIFICATE REQUEST", plain, "longer" ) );
}

TEST( CryX509Csr, APrivateKeyIsThatOfTheRequestOrNot )
{
    for( KeyKind kind : allKeyKinds )
    {
        Req     req = plainRequest( kind, 2 );
        Request csr = request( req );
        takeErrors();
        raiseError();
        EXPECT_EQ( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( kind, 2 ) ).get() ), PB_TRUE ) << nameOf( kind );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
        for( KeyKind other : allKeyKinds )
        {
            EXPECT_EQ( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( other, 0 ) ).get() ), PB_FALSE )
                << nameOf( kind ) << " " << nameOf( other );
            EXPECT_EQ( (bool)cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( other, 2 ) ).get() ), other == kind )
                << nameOf( kind ) << " " << nameOf( other );
        }
        // Whichever way the two were read.
        for( bool fastRequest : { false, true } )
        {
            for( bool fastKey : { false, true } )
            {
                PrivateKey  priv = privateKey( key( kind, 2 ), fastKey );
                KeyDecoding used( fastRequest );
                Request     read = requestFromText( pemText( req.get() ) );
                EXPECT_TRUE( cryX509CsrCheckPrivateKey( read.get(), priv.get() ) ) << nameOf( kind ) << fastRequest << fastKey;
            }
        }
    }
    ERR_clear_error();
}

TEST( CryX509Csr, NoPrivateKeyIsThatOfARequestWhoseKeyCannotBeDecoded )
{
    Req undecodable = withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, "\4 no point" );
    ASSERT_TRUE( undecodable );
    Request csr = requestFromText( pemText( undecodable.get() ) );
    ASSERT_TRUE( csr );
    EXPECT_EQ( hex( der( csr ) ), hex( der( undecodable ) ) );
    EXPECT_EQ( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( KeyKind::p256 ) ).get() ), PB_FALSE );
    ERR_clear_error();
}

TEST( CryX509Csr, UseTakesTheReferenceOverOnSuccess )
{
    Watched watched( X509_REQ_dup( plainRequest( KeyKind::rsa ).get() ) );
    Request csr = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqUse( watched.req ) );
    ASSERT_TRUE( csr );
    EXPECT_EQ( cry___X509CsrPeekOpensslX509Req( csr.get() ), watched.req );
    EXPECT_FALSE( watched.freed() );
    csr = {};
    EXPECT_TRUE( watched.freed() );
}

TEST( CryX509Csr, UseFreesOnFailure )
{
    X509_REQ *req = unwritable();
    EVP_PKEY *own = EVP_PKEY_dup( key( KeyKind::p256 ).get() );
    ASSERT_EQ( X509_REQ_set_pubkey( req, own ), 1 );
    FreeWatch watch( own );
    EVP_PKEY_free( own );
    ASSERT_FALSE( watch.freed() );
    EXPECT_EQ( cry___X509CsrTryCreateFromOpensslX509ReqUse( req ), nullptr );
    EXPECT_TRUE( watch.freed() );
    ERR_clear_error();
}

TEST( CryX509Csr, CopyDoesNotFreeOnFailure )
{
    X509_REQ *req = unwritable();
    EXPECT_EQ( cry___X509CsrTryCreateFromOpensslX509ReqCopy( req ), nullptr );
    EXPECT_EQ( X509_REQ_set_version( req, X509_REQ_VERSION_1 ), 1 );
    EXPECT_EQ( X509_REQ_get_version( req ), X509_REQ_VERSION_1 );
    X509_REQ_free( req );
    ERR_clear_error();
}

TEST( CryX509Csr, CopySharesNothingWithTheCaller )
{
    for( KeyKind kind : allKeyKinds )
    {
        Req         req    = plainRequest( kind );
        std::string wanted = der( req );
        Watched     watched( X509_REQ_dup( req.get() ) );
        Request     csr = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqCopy( watched.req ) );
        ASSERT_TRUE( csr );
        X509_REQ *held = cry___X509CsrPeekOpensslX509Req( csr.get() );
        EXPECT_NE( held, watched.req );
        // Nobody sees what becomes of the caller's.
        EXPECT_EQ( X509_REQ_set_version( watched.req, 7 ), 1 );
        X509_REQ_free( watched.req );
        EXPECT_TRUE( watched.freed() ) << nameOf( kind );
        EXPECT_EQ( hex( der( csr ) ), hex( wanted ) ) << nameOf( kind );
        EXPECT_EQ( hex( der( held ) ), hex( wanted ) ) << nameOf( kind );
        EXPECT_EQ( X509_REQ_verify( held, X509_REQ_get0_pubkey( held ) ), 1 ) << nameOf( kind );
    }
}

TEST( CryX509Csr, ComesBackFromItsStore )
{
    for( KeyKind kind : allKeyKinds )
    {
        Request           csr   = request( plainRequest( kind ) );
        pb::Ref<PB_STORE> store = pb::adopt( cryX509CsrStore( csr.get() ) );
        pb::Ref<CRY_PEM>  pem   = pb::adopt( cryX509CsrPem( csr.get() ) );
        EXPECT_TRUE( pbStoreEquals( store.get(), pb::adopt( cryPemStore( pem.get() ) ).get() ) );
        EXPECT_EQ( text( pb::adopt( pbStoreValueAt( store.get(), 0 ) ) ), "-----BEGIN CERTIFICATE REQUEST-----" );
        Request restored = pb::adopt( cryX509CsrTryRestore( store.get() ) );
        ASSERT_TRUE( restored ) << nameOf( kind );
        EXPECT_NE( restored.get(), csr.get() );
        EXPECT_TRUE( cryX509CsrEquals( restored.get(), csr.get() ) ) << nameOf( kind );
    }
}

TEST( CryX509Csr, RestoresFromTheOtherLabelToo )
{
    Req               req      = plainRequest( KeyKind::p256 );
    pb::Ref<PB_STORE> store    = pb::adopt( cryPemStore( pem( "NEW CERTIFICATE REQUEST", der( req ) ).get() ) );
    Request           restored = pb::adopt( cryX509CsrTryRestore( store.get() ) );
    ASSERT_TRUE( restored );
    EXPECT_EQ( canonical( restored ), pemText( req.get() ) );
}

TEST( CryX509Csr, RestoresNothingFromAStoreWithoutOne )
{
    pb::Ref<PB_STORE> empty = pb::adopt( pbStoreCreateArray() ), keyed = pb::adopt( pbStoreCreate() );
    EXPECT_EQ( cryX509CsrTryRestore( empty.get() ), nullptr );
    EXPECT_EQ( cryX509CsrTryRestore( keyed.get() ), nullptr );
    std::string body = der( plainRequest( KeyKind::p256 ) );
    for( const pb::Ref<CRY_PEM> &block : { pem( "CERTIFICATE REQUEST", "nonsense" ), pem( "CERTIFICATE REQUEST", body.substr( 0, 50 ) ),
             pem( "CERTIFICATE", der( chainOf( KeyKind::p256 ).leaf ) ), pem( "CERTIFICATE REQUEST", der( chainOf( KeyKind::p256 ).leaf ) ),
             pem( "CERTIFICATE", body ), pem( "REQUEST", body ) } )
    {
        pb::Ref<PB_STORE> store = pb::adopt( cryPemStore( block.get() ) );
        EXPECT_EQ( cryX509CsrTryRestore( store.get() ), nullptr );
    }
    ERR_clear_error();
}

TEST( CryX509Csr, SuccessLeavesTheErrorQueueAsItWas )
{
    for( KeyKind kind : allKeyKinds )
    {
        Req req = plainRequest( kind );
        takeErrors();
        raiseError();
        EXPECT_TRUE( requestFromPem( pem( "CERTIFICATE REQUEST", der( req ) ) ) );
        EXPECT_TRUE( requestFromPem( pem( "NEW CERTIFICATE REQUEST", der( req ) ) ) );
        EXPECT_TRUE( request( req ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
    }
}

TEST( CryX509Csr, FailureLeavesOpensslsErrorsBehindThoseBefore )
{
    for( const char *label : { "CERTIFICATE REQUEST", "CERTIFICATE" } )
    {
        std::vector<unsigned long> wanted;
        EXPECT_FALSE( requestByOpenssl( pemText( label, "nonsense" ), wanted ) );
        ASSERT_FALSE( wanted.empty() ) << label;
        wanted.insert( wanted.begin(), raisedError );
        raiseError();
        EXPECT_FALSE( requestFromPem( pem( label, "nonsense" ) ) );
        EXPECT_EQ( takeErrors(), wanted ) << label;
    }
}

TEST( CryX509Csr, OrderIsThatOfThePems )
{
    auto                 sign = []( PB_INT order ) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
    std::vector<Request> list;
    for( KeyKind kind : allKeyKinds )
    {
        list.push_back( request( plainRequest( kind ) ) );
        list.push_back( request( plainRequest( kind, 1 ) ) );
    }
    for( const Request &a : list )
    {
        for( const Request &b : list )
        {
            int wanted = sign( der( a ).compare( der( b ) ) );
            EXPECT_EQ( sign( cryX509CsrCompare( a.get(), b.get() ) ), wanted );
            EXPECT_EQ( (bool)cryX509CsrEquals( a.get(), b.get() ), wanted == 0 );
        }
        EXPECT_FALSE( cryX509CsrEquals( a.get(), nullptr ) );
        EXPECT_FALSE( cryX509CsrEquals( nullptr, a.get() ) );
    }
    EXPECT_TRUE( cryX509CsrEquals( nullptr, nullptr ) );
}

TEST( CryX509Csr, IsAnObjectWithTheDefaultText )
{
    Request csr = request( plainRequest( KeyKind::p256 ) );
    EXPECT_STREQ( pbSortName( cryX509CsrSort() ), "CRY_X509_CSR" );
    EXPECT_EQ( cryX509CsrFrom( cryX509CsrObj( csr.get() ) ), csr.get() );
    EXPECT_TRUE( text( pb::adopt( cryX509CsrToString( csr.get() ) ) ).starts_with( "CRY_X509_CSR(0x" ) );
    Request second = pb::adopt( cryX509CsrRetain( csr.get() ) );
    EXPECT_TRUE( pbObjIsShared( csr.obj() ) );
    cryX509CsrRelease( second.take() );
    EXPECT_FALSE( pbObjIsShared( csr.obj() ) );
}

TEST( CryX509Csr, IsReadByManyThreadsAtOnce )
{
    std::string              source = pemText( plainRequest( KeyKind::rsa ).get() );
    Request                  csr    = requestFromText( source );
    PrivateKey               priv   = privateKey( key( KeyKind::rsa ) );
    std::string              wanted = spkiText( key( KeyKind::rsa ).get() );
    std::atomic<int>         good{ 0 };
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 50; round++ )
            {
                Request   own  = csr;
                Request   copy = pb::adopt( cry___X509CsrTryCreateFromOpensslX509ReqCopy( cry___X509CsrPeekOpensslX509Req( own.get() ) ) );
                Request   read = requestFromText( source );
                PublicKey pub  = publicKeyOf( own );
                good += cryX509CsrEquals( own.get(), copy.get() ) && cryX509CsrEquals( own.get(), read.get() ) && canonical( pub ) == wanted &&
                    cryX509CsrCheckPrivateKey( own.get(), priv.get() );
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 200 );
}
