#include <cry/cry_generate_csr.h>
#include <cry/cry_generate_ec_key_pair.h>
#include <cry/cry_generate_rsa_key_pair.h>
#include <cry/internal/cry_pkey_private.h>
#include <cry/internal/cry_pkey_public.h>

#include "cry/generate/generated.hpp"

#include <atomic>
#include <mutex>
#include <set>
#include <thread>

using namespace support;

namespace
{

Request generated( const PrivateKey &priv, const Name &domain, const Name &common )
{
    return pb::adopt( cryTryGenerateCsr( priv.get(), str( domain ).get(), str( common ).get() ) );
}

X509_REQ *opensslOf( const Request &csr ) { return cry___X509CsrPeekOpensslX509Req( csr.get() ); }

// The same request, read again from its DER.
Request again( const Request &csr ) { return requestFromPem( pem( "CERTIFICATE REQUEST", der( csr ) ) ); }

std::string subjectOf( const Request &csr ) { return commonNameOf( X509_REQ_get_subject_name( opensslOf( csr ) ) ); }

// The extensions as text, with their number: "1 DNS:a.example".
std::string extensionsOf( const Request &csr )
{
    STACK_OF( X509_EXTENSION ) *extensions = X509_REQ_get_extensions( opensslOf( csr ) );
    std::string out = extensions ? std::to_string( sk_X509_EXTENSION_num( extensions ) ) + " " + alternativeNamesOf( extensions ) : "(null)";
    sk_X509_EXTENSION_pop_free( extensions, X509_EXTENSION_free );
    return out;
}

// Checks that hold for every generated request.
void expectSound( const Request &csr, const PrivateKey &priv, const std::string &name )
{
    for( const Request &each : { csr, again( csr ) } )
    {
        ASSERT_TRUE( each ) << name;
        X509_REQ *req = opensslOf( each );
        EXPECT_EQ( X509_REQ_verify( req, X509_REQ_get0_pubkey( req ) ), 1 ) << name;
        EXPECT_TRUE( cryX509CsrCheckPrivateKey( each.get(), priv.get() ) ) << name;
        // It has the attribute of the extensions and no other one.
        EXPECT_EQ( X509_REQ_get_attr_count( req ), 1 ) << name;
        EXPECT_EQ( X509_REQ_get_attr_by_NID( req, NID_ext_req, -1 ), 0 ) << name;
    }
    EXPECT_TRUE( cryX509CsrEquals( csr.get(), again( csr ).get() ) ) << name;
    // The version can be asked for. If it is not set, OpenSSL knows it only after the request was
    // read again.
    EXPECT_EQ( X509_REQ_get_version( opensslOf( again( csr ) ) ), X509_REQ_VERSION_1 ) << name;
    ERR_clear_error();
}

// DER of up to 127 bytes.
std::string element( int tag, const std::string &content )
{
    EXPECT_LT( content.size(), 128u );
    return std::string( { (char)tag, (char)content.size() } ) + content;
}

// The DER of the attributes, written by hand.
std::string attributesField( const Name &ascii )
{
    std::string extensions;
    if( ascii )
        extensions = element( 0x30, unhex( "0603551d11" ) + element( 0x04, element( 0x30, element( 0x82, *ascii ) ) ) );
    std::string extensionRequest = unhex( "06092a864886f70d01090e" );
    return element( 0xA0, element( 0x30, extensionRequest + element( 0x31, element( 0x30, extensions ) ) ) );
}

// The same request made with plain OpenSSL.
std::string byOpenssl( const Pkey &pkey, const std::string &commonName, const Name &alternative )
{
    Req req( X509_REQ_new(), X509_REQ_free );
    EXPECT_EQ( X509_REQ_set_pubkey( req.get(), pkey.get() ), 1 );
    EXPECT_EQ( X509_NAME_add_entry_by_NID( X509_REQ_get_subject_name( req.get() ), NID_commonName, V_ASN1_UTF8STRING,
                   (const unsigned char *)commonName.data(), (int)commonName.size(), -1, 0 ),
        1 );
    STACK_OF( X509_EXTENSION ) *extensions = sk_X509_EXTENSION_new_null();
    if( alternative )
    {
        X509_EXTENSION *extension = X509V3_EXT_nconf( nullptr, nullptr, "subjectAltName", ( "DNS:" + *alternative ).c_str() );
        EXPECT_NE( extension, nullptr );
        sk_X509_EXTENSION_push( extensions, extension );
    }
    EXPECT_EQ( X509_REQ_add_extensions( req.get(), extensions ), 1 );
    sk_X509_EXTENSION_pop_free( extensions, X509_EXTENSION_free );
    signRequest( req.get(), pkey.get() );
    return der( req );
}

}

TEST( CryGenerateCsr, IsSignedWithSha256ByTheKeyThatItIsFor )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256, KeyKind::p384 } )
    {
        PrivateKey priv = privateKey( key( kind ) );
        Request    csr  = generated( priv, "example.org", {} );
        ASSERT_TRUE( csr ) << nameOf( kind );
        expectSound( csr, priv, nameOf( kind ) );
        EXPECT_EQ( subjectOf( csr ), "example.org" );
        EXPECT_EQ( extensionsOf( csr ), "1 DNS:example.org" );
        EXPECT_EQ( canonical( csr ), pemText( opensslOf( again( csr ) ) ) );
        int wanted = kind == KeyKind::rsa ? NID_sha256WithRSAEncryption : kind == KeyKind::rsaPss ? NID_rsassaPss : NID_ecdsa_with_SHA256;
        EXPECT_EQ( X509_REQ_get_signature_nid( opensslOf( csr ) ), wanted ) << nameOf( kind );
        EXPECT_FALSE( cryX509CsrCheckPrivateKey( csr.get(), privateKey( key( kind, 1 ) ).get() ) ) << nameOf( kind );
    }
    ERR_clear_error();
}

TEST( CryGenerateCsr, TheSubjectIsTheCommonNameElseTheDomainNameElseAUuid )
{
    PrivateKey priv   = privateKey( key( KeyKind::p256 ) );
    Request    both   = generated( priv, "host.example", "A common name" );
    Request    domain = generated( priv, "host.example", {} );
    Request    common = generated( priv, {}, "A common name" );
    ASSERT_TRUE( both && domain && common );
    EXPECT_EQ( subjectOf( both ), "A common name" );
    EXPECT_EQ( extensionsOf( both ), "1 DNS:host.example" );
    EXPECT_EQ( subjectOf( domain ), "host.example" );
    EXPECT_EQ( extensionsOf( domain ), "1 DNS:host.example" );
    EXPECT_EQ( subjectOf( common ), "A common name" );
    EXPECT_EQ( extensionsOf( common ), "0 (none)" );
    std::set<std::string> uuids;
    for( int round = 0; round < 5; round++ )
    {
        Request none = generated( priv, {}, {} );
        ASSERT_TRUE( none );
        expectSound( none, priv, "no names" );
        EXPECT_EQ( extensionsOf( none ), "0 (none)" );
        EXPECT_TRUE( isUuid( subjectOf( none ) ) ) << subjectOf( none );
        EXPECT_TRUE( uuids.insert( subjectOf( none ) ).second );
    }
}

TEST( CryGenerateCsr, TheAttributesAreTheRequestedExtensionsAlsoWhenThereAreNone )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( const Name &domain : { Name(), Name( "host.example" ), Name( "*.example" ) } )
    {
        Request csr = generated( priv, domain, "common" );
        ASSERT_TRUE( csr );
        // Only the attributes follow the key; after them comes the signature.
        std::string body = der( csr ), spki = spkiOf( key( KeyKind::p256 ).get() ), field = attributesField( domain );
        size_t      at = body.find( spki );
        ASSERT_NE( at, body.npos );
        EXPECT_EQ( hex( body.substr( at + spki.size(), field.size() ) ), hex( field ) );
        EXPECT_EQ( hex( body.substr( at + spki.size() + field.size(), 12 ) ), "300a06082a8648ce3d040302" );
    }
    EXPECT_EQ( hex( attributesField( {} ) ), "a011300f06092a864886f70d01090e31023000" );
}

TEST( CryGenerateCsr, OneOfAnRsaKeyIsByteForByteWhatOpensslMakes )
{
    struct
    {
        Name domain, common, alternative;
    } cases[] = {
        { {}, "common name", {} },
        { "host.example", {}, "host.example" },
        { "host.example.", "common name", "host.example" },
        { "b\xC3\xBC"
          "cher.example",
            {}, "xn--bcher-kva.example" },
        { "*.example", "\xF0\x9F\x94\x91", "*.example" },
        { domainNameOf( 253 ), "long", domainNameOf( 253 ) },
    };
    for( const Pkey &pkey : { key( KeyKind::rsa ), newRsaKey( 1024 ), newRsaKey( 512 ) } )
    {
        for( const auto &each : cases )
        {
            for( bool fast : { false, true } )
            {
                KeyDecoding used( fast );
                PrivateKey  priv = privateKey( pkey, fast );
                Request     csr  = generated( priv, each.domain, each.common );
                ASSERT_TRUE( csr );
                EXPECT_EQ( hex( der( csr ) ), hex( byOpenssl( pkey, each.common ? *each.common : *each.domain, each.alternative ) ) );
            }
        }
    }
}

TEST( CryGenerateCsr, TheSubjectIsSpelledAsGivenAndTheAlternativeNameIsAscii )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( const DomainName &each : goodDomainNames )
    {
        takeErrors();
        raiseError();
        Request csr = generated( priv, each.name, {} ), named = generated( priv, each.name, "named" );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << each.name;
        ASSERT_TRUE( csr && named ) << each.name;
        EXPECT_EQ( subjectOf( csr ), each.name );
        EXPECT_EQ( extensionsOf( csr ), std::string( "1 DNS:" ) + each.ascii );
        EXPECT_EQ( subjectOf( named ), "named" );
        EXPECT_EQ( extensionsOf( named ), std::string( "1 DNS:" ) + each.ascii );
    }
}

TEST( CryGenerateCsr, WhatIsNoDomainNameGivesNoneAndNeverASecondName )
{
    PrivateKey priv = privateKey( key( KeyKind::p256 ) );
    for( const std::string &name : badDomainNames )
    {
        EXPECT_FALSE( generated( priv, name, {} ) ) << name;
        EXPECT_FALSE( generated( priv, name, "common" ) ) << name;
    }
    for( size_t length : { 254, 255, 1000 } )
        EXPECT_FALSE( generated( priv, domainNameOf( length ), "common" ) ) << length;
    EXPECT_FALSE( generated( priv, std::string( 64, 'l' ) + ".example", "common" ) );
    EXPECT_EQ( extensionsOf( generated( priv, std::string( 63, 'l' ) + ".example", "common" ) ), "1 DNS:" + std::string( 63, 'l' ) + ".example" );
    EXPECT_EQ( extensionsOf( generated( priv, domainNameOf( 253 ), "common" ) ), "1 DNS:" + domainNameOf( 253 ) );
    ERR_clear_error();
}

TEST( CryGenerateCsr, CommonNamesHave1To64CharactersOfAnyKind )
{
    PrivateKey  priv = privateKey( key( KeyKind::p256 ) );
    std::string keys;
    while( keys.size() < 64 * 4 )
        keys += "\xF0\x9F\x94\x91";
    for( const std::string &name : { std::string( "a" ), std::string( 64, 'x' ), keys, std::string( "a,b" ), std::string( "/CN=a/O=b" ),
             std::string( "a+b=c;\"d\"\\" ), std::string( "a\nb\1" ), std::string( "DNS:host.example" ), std::string( " " ) } )
    {
        Request csr = generated( priv, "host.example", name ), without = generated( priv, {}, name );
        ASSERT_TRUE( csr && without ) << name;
        EXPECT_EQ( subjectOf( csr ), name );
        EXPECT_EQ( extensionsOf( csr ), "1 DNS:host.example" ) << name;
        EXPECT_EQ( subjectOf( without ), name );
        EXPECT_EQ( extensionsOf( without ), "0 (none)" ) << name;
    }
    for( const std::string &name : { std::string(), std::string( 65, 'x' ), keys + "x", std::string( 1, '\0' ) } )
    {
        EXPECT_FALSE( generated( priv, {}, name ) ) << name.size();
        EXPECT_FALSE( generated( priv, "host.example", name ) ) << name.size();
    }
    // A domain name as the subject has the same limit.
    EXPECT_EQ( subjectOf( generated( priv, domainNameOf( 64 ), {} ) ), domainNameOf( 64 ) );
    EXPECT_FALSE( generated( priv, domainNameOf( 65 ), {} ) );
    // The text after U+0000 is not in the request.
    Request cut = generated( priv, {}, std::string( "before\0behind", 13 ) );
    ASSERT_TRUE( cut );
    EXPECT_EQ( subjectOf( cut ), "before" );
    EXPECT_EQ( der( cut ).find( "behind" ), std::string::npos );
    ERR_clear_error();
}

TEST( CryGenerateCsr, KeysThatSignWithSha256GiveOne )
{
    std::vector<std::pair<std::string, PrivateKey>> keys;
    for( PB_INT bits : { 1024, 2048 } )
        keys.emplace_back( "RSA " + std::to_string( bits ), pb::adopt( cryTryGenerateRsaKeyPair( bits ) ) );
    for( PB_INT curve :
        { CRY_PKEY_EC_NAMED_CURVE_PRIME256V1, CRY_PKEY_EC_NAMED_CURVE_SECP384R1, CRY_PKEY_EC_NAMED_CURVE_SECP521R1, CRY_PKEY_EC_NAMED_CURVE_SECP112R1,
            CRY_PKEY_EC_NAMED_CURVE_SECT571R1, CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P256R1, CRY_PKEY_EC_NAMED_CURVE_BRAINPOOL_P512R1 } )
        keys.emplace_back( "curve " + std::to_string( curve ), pb::adopt( cryTryGenerateEcKeyPair( curve ) ) );
    keys.emplace_back( "RSA 512", privateKey( newRsaKey( 512 ) ) );
    keys.emplace_back( "RSA-PSS", privateKey( key( KeyKind::rsaPss ) ) );
    for( const auto &[name, priv] : keys )
    {
        ASSERT_TRUE( priv ) << name;
        takeErrors();
        raiseError();
        Request csr = generated( priv, "host.example", {} );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name;
        ASSERT_TRUE( csr ) << name;
        expectSound( csr, priv, name );
        PublicKey half = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) ), requested = pb::adopt( cryX509CsrPublicKey( csr.get() ) );
        ASSERT_TRUE( half && requested ) << name;
        EXPECT_TRUE( cryPkeyPublicEquals( half.get(), requested.get() ) ) << name;
    }
}

TEST( CryGenerateCsr, KeysThatDoNotSignWithSha256GiveNone )
{
    std::vector<std::pair<std::string, PrivateKey>> keys;
    for( const char *type : { "ED25519", "ED448", "X25519", "X448", "SM2" } )
        keys.emplace_back( type, privateKey( newKey( type ) ) );
    keys.emplace_back( "Oakley 3", pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_3 ) ) );
    keys.emplace_back( "Oakley 4", pb::adopt( cryTryGenerateEcKeyPair( CRY_PKEY_EC_NAMED_CURVE_OAKLEY_EC2N_4 ) ) );
    for( auto &[name, priv] : keys )
    {
        ASSERT_TRUE( priv ) << name;
        FreeWatch watch( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
        takeErrors();
        EXPECT_FALSE( generated( priv, "host.example", {} ) ) << name;
        EXPECT_FALSE( generated( priv, {}, {} ) ) << name;
        EXPECT_FALSE( takeErrors().empty() ) << name << ": OpenSSL tells why";
        priv = {};
        EXPECT_TRUE( watch.freed() ) << name;
    }
}

TEST( CryGenerateCsr, TheKeyDecodingContextChangesNothing )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256, KeyKind::p384 } )
    {
        for( bool fastKey : { false, true } )
        {
            PrivateKey priv = privateKey( key( kind ), fastKey );
            for( bool fast : { false, true } )
            {
                KeyDecoding used( fast );
                std::string name = nameOf( kind ) + ( fastKey ? ", fast key" : "" ) + ( fast ? ", fast" : "" );
                takeErrors();
                raiseError();
                Request csr = generated( priv, "host.example", {} );
                EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << name;
                ASSERT_TRUE( csr ) << name;
                expectSound( csr, priv, name );
                EXPECT_EQ( extensionsOf( csr ), "1 DNS:host.example" ) << name;
                KeyDecoding other( !fast );
                expectSound( csr, priv, name );
            }
        }
    }
}

TEST( CryGenerateCsr, ThePrivateKeyIsOnlyReadAndNeverHandedOut )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::rsaPss, KeyKind::p256 } )
    {
        for( bool fast : { false, true } )
        {
            PrivateKey  priv   = privateKey( key( kind ), fast );
            EVP_PKEY   *pkey   = cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() );
            std::string before = pkcs8Text( pkey );
            FreeWatch   watch( pkey );
            Request     csr = generated( priv, "host.example", {} );
            ASSERT_TRUE( csr ) << nameOf( kind );
            EXPECT_EQ( pkcs8Text( pkey ), before ) << nameOf( kind );
            EXPECT_FALSE( pbObjIsShared( priv.obj() ) );
            EXPECT_FALSE( pbObjIsShared( csr.obj() ) );
            PublicKey pub = pb::adopt( cryX509CsrPublicKey( csr.get() ) );
            EXPECT_NE( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), pkey );
            EXPECT_EQ( pkcs8Text( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), "" ) << nameOf( kind );
            priv = {};
            EXPECT_EQ( X509_REQ_verify( opensslOf( csr ), X509_REQ_get0_pubkey( opensslOf( csr ) ) ), 1 ) << nameOf( kind );
            csr = {};
            EXPECT_TRUE( watch.freed() ) << nameOf( kind );
            EXPECT_EQ( textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ), spkiText( key( kind ).get() ) );
        }
    }
    ERR_clear_error();
}

TEST( CryGenerateCsr, ComesBackFromItsStore )
{
    PrivateKey        priv     = privateKey( key( KeyKind::rsa ) );
    Request           csr      = generated( priv, "host.example", "common" );
    pb::Ref<PB_STORE> store    = pb::adopt( cryX509CsrStore( csr.get() ) );
    Request           restored = pb::adopt( cryX509CsrTryRestore( store.get() ) );
    ASSERT_TRUE( restored );
    EXPECT_TRUE( cryX509CsrEquals( restored.get(), csr.get() ) );
    // RSA signatures are the same each time, so the requests are the same too.
    EXPECT_TRUE( cryX509CsrEquals( generated( priv, "host.example", "common" ).get(), csr.get() ) );
    EXPECT_FALSE( cryX509CsrEquals( generated( priv, "host.example", "Common" ).get(), csr.get() ) );
    EXPECT_FALSE( cryX509CsrEquals( generated( priv, {}, "common" ).get(), csr.get() ) );
}

TEST( CryGenerateCsr, ManyThreadsGenerateWithOneKeyAtOnce )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256 } )
    {
        PrivateKey               priv   = privateKey( key( kind ) );
        std::string              before = pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) );
        std::mutex               mutex;
        std::set<std::string>    subjects;
        std::atomic<int>         good{ 0 };
        std::vector<std::thread> threads;
        for( int thread = 0; thread < 4; thread++ )
        {
            threads.emplace_back( [&] {
                for( int round = 0; round < 10; round++ )
                {
                    Request csr   = generated( priv,
                                  "b\xC3\xBC"
                                    "cher.example",
                                  {} ),
                            other = generated( priv, {}, {} );
                    good += csr && other && X509_REQ_verify( opensslOf( csr ), X509_REQ_get0_pubkey( opensslOf( csr ) ) ) == 1 &&
                        X509_REQ_verify( opensslOf( other ), X509_REQ_get0_pubkey( opensslOf( other ) ) ) == 1 &&
                        extensionsOf( csr ) == "1 DNS:xn--bcher-kva.example";
                    std::lock_guard lock( mutex );
                    subjects.insert( subjectOf( other ) );
                }
            } );
        }
        for( std::thread &thread : threads )
            thread.join();
        EXPECT_EQ( good, 40 ) << nameOf( kind );
        EXPECT_EQ( subjects.size(), 40u ) << nameOf( kind );
        EXPECT_EQ( pkcs8Text( cry___PkeyPrivatePeekOpensslEvpPkey( priv.get() ) ), before ) << nameOf( kind );
    }
}
