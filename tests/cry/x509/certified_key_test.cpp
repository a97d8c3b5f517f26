// The public keys in certificates and in requests, and the private keys that belong to them.
#include "cry/common/pem_object_suite.hpp"
#include "support/signatures.hpp"

using namespace support;

namespace
{

struct CertificateWithKey : CertificateType
{
    static constexpr auto publicKey       = cryX509CertificatePublicKey;
    static constexpr auto hasPublicKey    = cryX509CertificateHasPublicKey;
    static constexpr auto checkPrivateKey = cryX509CertificateCheckPrivateKey;
    static constexpr auto keyOf           = X509_get0_pubkey;
    static constexpr auto spkiOf          = X509_get_X509_PUBKEY;

    static Cert make( const Pkey &pkey, const Pkey &signer )
    {
        return makeCertificate( { .subject = "CN=key", .subjectKey = pkey, .issuerKey = signer } );
    }
    static void sign( X509 *x509, EVP_PKEY *signer ) { EXPECT_GT( X509_sign( x509, signer, EVP_sha256() ), 0 ); }
};

struct CsrWithKey : CsrType
{
    static constexpr auto publicKey       = cryX509CsrPublicKey;
    static constexpr auto hasPublicKey    = cryX509CsrHasPublicKey;
    static constexpr auto checkPrivateKey = cryX509CsrCheckPrivateKey;
    static constexpr auto keyOf           = X509_REQ_get0_pubkey;
    static constexpr auto spkiOf          = X509_REQ_get_X509_PUBKEY;

    static Req  make( const Pkey &pkey, const Pkey &signer ) { return makeRequest( { .key = pkey, .signer = signer } ); }
    static void sign( X509_REQ *req, EVP_PKEY *signer ) { signRequest( req, signer ); }
};

template<class Type>
class CryCertifiedKey : public testing::Test, public PemObjects<Type>
{
protected:
    using Object = typename PemObjects<Type>::Object;
    using Handle = std::shared_ptr<typename Type::Handle>;

    void TearDown() override { ERR_clear_error(); }

    static Object    copy( const Handle &handle ) { return pb::adopt( Type::copy( handle.get() ) ); }
    static PublicKey publicKeyOf( const Object &obj ) { return pb::adopt( Type::publicKey( obj.get() ) ); }
    static bool      check( const Object &obj, const PrivateKey &priv ) { return Type::checkPrivateKey( obj.get(), priv.get() ); }

    // The text of the key, written by OpenSSL, then read and written by it again.
    static std::string keyByOpenssl( const Handle &handle )
    {
        std::vector<unsigned long> errors;
        return publicByOpenssl( spkiText( Type::keyOf( handle.get() ) ), errors );
    }

    // An object whose key has these bits and this algorithm. Another key signs it.
    static Handle withKeyBits( int algorithm, int parametersType, int parametersNid, const std::string &bits )
    {
        Handle         handle     = Type::make( key( KeyKind::p256 ), key( KeyKind::p256, 1 ) );
        unsigned char *owned      = (unsigned char *)OPENSSL_memdup( bits.data(), bits.size() );
        void          *parameters = nullptr;
        if( parametersType == V_ASN1_SEQUENCE )
        {
            parameters = ASN1_STRING_new();
            ASN1_STRING_set( (ASN1_STRING *)parameters, "\x30\x00", 2 );
        }
        else if( parametersNid != NID_undef )
            parameters = OBJ_nid2obj( parametersNid );
        X509_PUBKEY *spki = Type::spkiOf( handle.get() );
        EXPECT_EQ( X509_PUBKEY_set0_param( spki, OBJ_nid2obj( algorithm ), parametersType, parameters, owned, (int)bits.size() ), 1 );
        Type::sign( handle.get(), key( KeyKind::p256, 1 ).get() );
        // The text is read again, since a duplicate may hold the key in another encoding.
        return { PemObjects<Type>::readText( PemObjects<Type>::text( handle.get() ) ), Type::destroy };
    }
};

using TypesWithKeys = testing::Types<CertificateWithKey, CsrWithKey>;
TYPED_TEST_SUITE( CryCertifiedKey, TypesWithKeys, PemObjectNames );

// The bits of a key in its SubjectPublicKeyInfo.
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

// Keys of all kinds that OpenSSL accepts in a certificate or a request.
std::vector<std::pair<std::string, Pkey>> manyKeys()
{
    std::vector<std::pair<std::string, Pkey>> keys = { { "SM2", newSm2Key() }, { "unnamed curve", newUnnamedCurveKey() },
        { "explicit P-256", newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ) }, { "RSA 512", newRsaKey( 512 ) } };
    for( const char *type : { "ED448", "X25519", "X448" } )
        keys.emplace_back( type, newKey( type ) );
    for( const char *group : { "SM2", "secp112r1", "secp521r1", "sect571r1", "brainpoolP512t1", "wap-wsg-idm-ecid-wtls7" } )
        keys.emplace_back( std::string( "curve " ) + group, newEcKey( group ) );
    for( KeyKind kind : allKeyKinds )
        keys.emplace_back( nameOf( kind ), key( kind ) );
    return keys;
}

// Adds one to the length of the element at `at`, and gives the place of its content.
size_t growElement( std::string &der, size_t at )
{
    size_t bytes = der[at + 1] & 0x80 ? (unsigned char)der[at + 1] & 0x7F : 0, last = at + 1 + bytes;
    EXPECT_LE( bytes, 2u ) << at;
    if( !++der[last] )
    {
        EXPECT_EQ( bytes, 2u ) << at;
        der[last - 1]++;
    }
    return last + 1;
}

}

TYPED_TEST( CryCertifiedKey, IsTheOneThatWasPutIn )
{
    for( const auto &[name, pkey] : manyKeys() )
    {
        auto        handle = TypeParam::make( pkey, key( KeyKind::p256, 1 ) );
        std::string wanted = this->keyByOpenssl( handle );
        ASSERT_EQ( wanted, spkiText( pkey.get() ) ) << name;
        PublicKey given = wrappedPublicKey( pkey );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            for( const auto &obj : { this->copy( handle ), this->fromText( this->text( handle.get() ) ) } )
            {
                EXPECT_EQ( this->canonical( obj ), this->text( handle.get() ) ) << name;
                takeErrors();
                raiseError();
                EXPECT_TRUE( TypeParam::hasPublicKey( obj.get() ) ) << name;
                PublicKey pub = this->publicKeyOf( obj );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name;
                ASSERT_TRUE( pub ) << name;
                EXPECT_EQ( publicText( pub.get() ), wanted ) << name;
                EXPECT_TRUE( cryPkeyPublicEquals( pub.get(), given.get() ) ) << name;
                EXPECT_EQ( spkiText( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), wanted ) << name;
                // Each call gives a new object.
                PublicKey again = this->publicKeyOf( obj );
                EXPECT_NE( again.get(), pub.get() ) << name;
                EXPECT_TRUE( cryPkeyPublicEquals( again.get(), pub.get() ) ) << name;
            }
        }
    }
}

TYPED_TEST( CryCertifiedKey, SharesNothingWithItsHolder )
{
    for( KeyKind kind : allKeyKinds )
    {
        auto     *handle = TypeParam::dup( TypeParam::make( key( kind ), key( kind ) ).get() );
        EVP_PKEY *pkey   = TypeParam::keyOf( handle );
        FreeWatch watch( pkey );
        auto      obj = pb::adopt( TypeParam::use( handle ) );
        PublicKey pub = this->publicKeyOf( obj );
        ASSERT_TRUE( pub ) << nameOf( kind );
        EXPECT_NE( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), pkey ) << nameOf( kind );
        obj = {};
        EXPECT_TRUE( watch.freed() ) << nameOf( kind );
        EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), key( kind ).get() ), 1 ) << nameOf( kind );
        EXPECT_EQ( publicText( pub.get() ), spkiText( key( kind ).get() ) ) << nameOf( kind );
    }
}

TYPED_TEST( CryCertifiedKey, OfAnotherEncodingIsAsOpensslWritesIt )
{
    std::string point = keyBits( key( KeyKind::p256 ) ), x = point.substr( 1, 32 ), y = point.substr( 33 );
    std::string numbers = keyBits( key( KeyKind::rsa ) );
    // A zero before the modulus: two lengths grow by one.
    std::string zero    = numbers;
    size_t      modulus = growElement( zero, growElement( zero, 0 ) );
    ASSERT_EQ( zero[modulus], '\0' );
    zero.insert( modulus, 1, '\0' );
    char odd = point.back() & 1;
    struct
    {
        const char *name;
        int         algorithm, parametersType, parametersNid;
        std::string bits;
    } forms[] = {
        { "plain", NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, point },
        { "compressed", NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, (char)( 2 | odd ) + x },
        { "hybrid", NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, (char)( 6 | odd ) + x + y },
        { "RSA", NID_rsaEncryption, V_ASN1_NULL, NID_undef, numbers },
        { "RSA without parameters", NID_rsaEncryption, V_ASN1_UNDEF, NID_undef, numbers },
        { "RSA with a zero", NID_rsaEncryption, V_ASN1_NULL, NID_undef, zero },
        { "RSA with a tail", NID_rsaEncryption, V_ASN1_NULL, NID_undef, numbers + "x" },
        { "RSA-PSS", NID_rsassaPss, V_ASN1_UNDEF, NID_undef, numbers },
        { "RSA-PSS with the default parameters", NID_rsassaPss, V_ASN1_SEQUENCE, NID_undef, numbers },
        { "SM2", NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_sm2, keyBits( newSm2Key() ) },
    };
    int changed = 0;
    for( const auto &form : forms )
    {
        auto handle = this->withKeyBits( form.algorithm, form.parametersType, form.parametersNid, form.bits );
        ASSERT_TRUE( handle && TypeParam::keyOf( handle.get() ) ) << form.name;
        std::string wanted = this->keyByOpenssl( handle );
        ASSERT_NE( wanted, "" ) << form.name;
        unsigned char *encoded = nullptr;
        int            length  = i2d_X509_PUBKEY( TypeParam::spkiOf( handle.get() ), &encoded );
        changed += std::string( (char *)encoded, (size_t)length ) != bodyOf( wanted );
        OPENSSL_free( encoded );
        for( bool fast : { false, true } )
        {
            KeyDecoding used( fast );
            auto        obj = this->fromBlock( this->block( handle.get() ) );
            // The certificate or request keeps the form that it had.
            EXPECT_EQ( this->canonical( obj ), this->text( handle.get() ) ) << form.name;
            takeErrors();
            PublicKey pub = this->publicKeyOf( obj );
            EXPECT_EQ( takeErrors(), std::vector<unsigned long>{} ) << form.name;
            ASSERT_TRUE( pub ) << form.name;
            EXPECT_EQ( publicText( pub.get() ), wanted ) << form.name << ", fast " << fast;
        }
    }
    EXPECT_GE( changed, 2 );
}

TYPED_TEST( CryCertifiedKey, IsCanonicalIfItsLengthsAreNot )
{
    // The outer length of the key has one byte more, so the lengths around it grow.
    Block       plain = this->block( TypeParam::make( key( KeyKind::p256 ), key( KeyKind::rsa ) ).get() );
    std::string spki  = spkiOf( key( KeyKind::p256 ).get() );
    size_t      at    = plain.body.find( spki );
    ASSERT_NE( at, plain.body.npos );
    plain.body.insert( at + 1, 1, '\x81' );
    growElement( plain.body, growElement( plain.body, 0 ) );
    auto obj = this->fromBlock( plain );
    ASSERT_TRUE( obj );
    EXPECT_EQ( publicText( this->publicKeyOf( obj ).get() ), spkiText( key( KeyKind::p256 ).get() ) );
    EXPECT_TRUE( this->isTaken( plain, "longer" ) );
}

TYPED_TEST( CryCertifiedKey, BelongsToAPrivateKeyOrNot )
{
    for( KeyKind kind : allKeyKinds )
    {
        auto handle = TypeParam::make( key( kind, 2 ), key( kind, 2 ) );
        auto obj    = this->copy( handle );
        takeErrors();
        raiseError();
        EXPECT_TRUE( this->check( obj, privateKey( key( kind, 2 ) ) ) ) << nameOf( kind );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
        for( KeyKind other : allKeyKinds )
        {
            EXPECT_FALSE( this->check( obj, privateKey( key( other, 0 ) ) ) ) << nameOf( kind ) << " " << nameOf( other );
            EXPECT_EQ( this->check( obj, privateKey( key( other, 2 ) ) ), other == kind ) << nameOf( kind ) << " " << nameOf( other );
        }
        // All combinations of the ways in which the two were read.
        for( bool fast : { false, true } )
        {
            for( bool fastKey : { false, true } )
            {
                PrivateKey  priv = privateKey( key( kind, 2 ), fastKey );
                KeyDecoding used( fast );
                auto        read = this->fromText( this->text( handle.get() ) );
                EXPECT_TRUE( this->check( read, priv ) ) << nameOf( kind ) << fast << fastKey;
                EXPECT_TRUE( this->check( obj, priv ) ) << nameOf( kind ) << fast << fastKey;
            }
            PrivateKey wrapped = pb::adopt( cry___PkeyPrivateTryCreateFromOpensslEvpPkeyUpRef( key( kind, 2 ).get() ) );
            EXPECT_TRUE( this->check( obj, wrapped ) ) << nameOf( kind );
        }
    }
}

TYPED_TEST( CryCertifiedKey, ThatCannotBeDecodedBelongsToNoPrivateKey )
{
    auto handle = this->withKeyBits( NID_X9_62_id_ecPublicKey, V_ASN1_OBJECT, NID_X9_62_prime256v1, "\4 no point" );
    ASSERT_TRUE( handle );
    auto obj = this->fromText( this->text( handle.get() ) );
    ASSERT_TRUE( obj );
    EXPECT_EQ( this->canonical( obj ), this->text( handle.get() ) );
    takeErrors();
    raiseError();
    EXPECT_FALSE( TypeParam::hasPublicKey( obj.get() ) );
    EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } );
    EXPECT_FALSE( this->check( obj, privateKey( key( KeyKind::p256 ) ) ) );
}
