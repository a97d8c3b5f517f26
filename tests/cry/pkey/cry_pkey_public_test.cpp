#include <cry/cry_pkey_public.h>
#include <cry/internal/cry_pkey_public.h>

#include "cry/pkey/keys.hpp"
#include "support/key_decoding.hpp"

#include <atomic>
#include <openssl/provider.h>
#include <thread>

using namespace support;

namespace
{

using Public = pb::Ref<CRY_PKEY_PUBLIC>;

Public fromPem( const pb::Ref<CRY_PEM> &pem ) { return pb::adopt( cryPkeyPublicTryCreateFromPem( pem.get() ) ); }
Public fromText( std::string_view text )
{
    pb::Ref<CRY_PEM> pem = pb::adopt( cryPemTryDecode( buf( text ).get() ) );
    EXPECT_TRUE( pem ) << text;
    return fromPem( pem );
}
Public fromKey( const Pkey &pkey ) { return pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( pkey.get() ) ); }

std::string canonical( const Public &pub ) { return textOf( pb::adopt( cryPkeyPublicPem( pub.get() ) ).get() ); }

bool isFastPath( const Public &pub )
{
    const OSSL_PROVIDER *provider = EVP_PKEY_get0_provider( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) );
    return provider && std::string( OSSL_PROVIDER_get0_name( provider ) ) == "cry-key-decoding";
}

// A key that holds nothing, which OpenSSL cannot write.
EVP_PKEY *unwritable() { return EVP_PKEY_new(); }

// DER with a chosen form of its length: its bytes, 0 for the shortest, -1 for an indefinite one.
std::string element( int tag, const std::string &content, int lengthBytes = 0 )
{
    std::string out( 1, (char)tag );
    if( lengthBytes < 0 )
        return out + '\x80' + content + std::string( 2, '\0' );
    if( !lengthBytes && content.size() < 0x80 )
        return out + (char)content.size() + content;
    int count = lengthBytes ? lengthBytes : content.size() < 0x100 ? 1 : 2;
    out += (char)( 0x80 | count );
    while( count-- > 0 )
        out += count < 8 ? (char)( content.size() >> ( 8 * count ) ) : '\0';
    return out + content;
}

// What SubjectPublicKeyInfo is made of, for each element the form of its length.
struct Spki
{
    std::string algorithm;
    std::string key;
    std::string unused          = std::string( 1, '\0' );
    std::string behindAlgorithm = {};
    std::string behindKey       = {};
    std::string behind          = {};
    int         outerLength = 0, algorithmLength = 0, bitsLength = 0;

    std::string join() const
    {
        return element( 0x30, element( 0x30, algorithm + behindAlgorithm, algorithmLength ) + element( 0x03, unused + key, bitsLength ) + behindKey,
                   outerLength ) +
            behind;
    }
};

// The content of an element that comes first.
std::string contentOf( const std::string &der, int tag )
{
    const unsigned char *at = (const unsigned char *)der.data();
    long                 length;
    int                  seen, kind;
    EXPECT_EQ( ASN1_get_object( &at, &length, &seen, &kind, (long)der.size() ) & 0x80, 0 );
    EXPECT_EQ( (unsigned char)der[0], tag );
    return { (const char *)at, (size_t)length };
}

Spki spkiPartsOf( EVP_PKEY *pkey )
{
    std::string content   = contentOf( spkiOf( pkey ), 0x30 );
    std::string algorithm = contentOf( content, 0x30 );
    std::string bits      = contentOf( content.substr( element( 0x30, algorithm ).size() ), 0x03 );
    Spki        parts;
    parts.algorithm = algorithm;
    parts.key       = bits.substr( 1 );
    EXPECT_EQ( parts.join(), spkiOf( pkey ) );
    return parts;
}

// The verdict, the canonical text and the errors of a text that is refused must be OpenSSL's, whether the fast path is open or not.
enum class Taken
{
    no,
    ordinary,
    fastPath
};
Taken expectAsOpenssl( const std::string &label, const std::string &body, const std::string &name, bool errorsToo = true )
{
    pb::Ref<CRY_PEM>           block = pem( label, body );
    std::vector<unsigned long> errors;
    std::string                wanted = publicByOpenssl( bytes( pb::adopt( cryPemEncode( block.get() ) ) ), errors );
    if( !wanted.empty() )
        errors.clear();
    Taken taken = Taken::no;
    for( bool fast : { false, true } )
    {
        KeyDecoding                used( fast );
        Public                     pub  = fromPem( block );
        std::vector<unsigned long> left = takeErrors();
        if( errorsToo )
            EXPECT_EQ( left, errors ) << label << ", " << name << ", fast " << fast;
        EXPECT_EQ( pub ? canonical( pub ) : std::string(), wanted ) << label << ", " << name << ", fast " << fast;
        if( !pub )
            continue;
        EXPECT_TRUE( fast || !isFastPath( pub ) ) << label << ", " << name;
        EXPECT_EQ( spkiText( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), wanted ) << label << ", " << name;
        taken = isFastPath( pub ) ? Taken::fastPath : Taken::ordinary;
    }
    return taken;
}

}

TEST( CryPkeyPublic, HasTheTextThatOpensslWritesAsItsPem )
{
    for( KeyKind kind : allKeyKinds )
    {
        std::string wanted = spkiText( key( kind ).get() );
        ASSERT_TRUE( wanted.starts_with( "-----BEGIN PUBLIC KEY-----\n" ) );
        EXPECT_EQ( canonical( fromText( wanted ) ), wanted ) << nameOf( kind );
        // The public half of what may be a whole pair.
        EXPECT_EQ( canonical( fromKey( key( kind ) ) ), wanted ) << nameOf( kind );
        EXPECT_EQ( isFastPath( fromText( wanted ) ), kind == KeyKind::rsa || kind == KeyKind::p256 || kind == KeyKind::p384 ) << nameOf( kind );
    }
}

TEST( CryPkeyPublic, TheCallersPemMayChangeAfterwards )
{
    for( KeyKind kind : allKeyKinds )
    {
        pb::Ref<CRY_PEM> block = pem( "PUBLIC KEY", spkiOf( key( kind ).get() ) );
        Public           pub   = fromPem( block );
        ASSERT_TRUE( pub );
        cryPemSetLabel( block.handle(), str( "OTHER" ).get() );
        cryPemSetData( block.handle(), buf( "other" ).get() );
        EXPECT_EQ( canonical( pub ), spkiText( key( kind ).get() ) ) << nameOf( kind );
        // And what is handed out may.
        pb::Ref<CRY_PEM> out = pb::adopt( cryPkeyPublicPem( pub.get() ) );
        cryPemSetData( out.handle(), buf( "other" ).get() );
        EXPECT_EQ( canonical( pub ), spkiText( key( kind ).get() ) ) << nameOf( kind );
    }
}

TEST( CryPkeyPublic, TakesLabelsAndBodiesExactlyAsOpensslDoes )
{
    std::string encrypted = written( [&]( BIO *bio ) {
        return PEM_write_bio_PKCS8PrivateKey( bio, key( KeyKind::p256 ).get(), EVP_aes_128_cbc(), "pass phrase", 11, nullptr, nullptr );
    } );
    std::string sec1      = written(
        [&]( BIO *bio ) { return PEM_write_bio_PrivateKey_traditional( bio, key( KeyKind::p256 ).get(), nullptr, nullptr, 0, nullptr, nullptr ); } );
    struct
    {
        const char *name;
        std::string body;
    } bodies[] = {
        { "RSA", spkiOf( key( KeyKind::rsa ).get() ) },
        { "RSA-PSS", spkiOf( key( KeyKind::rsaPss ).get() ) },
        { "P-256", spkiOf( key( KeyKind::p256 ).get() ) },
        { "P-384", spkiOf( key( KeyKind::p384 ).get() ) },
        { "Ed25519", spkiOf( key( KeyKind::ed25519 ).get() ) },
        { "X448", spkiOf( newKey( "X448" ).get() ) },
        { "SM2", spkiOf( newSm2Key().get() ) },
        { "RSAPublicKey", spkiPartsOf( key( KeyKind::rsa ).get() ).key },
        { "PKCS#8 RSA", bodyOf( pkcs8Text( key( KeyKind::rsa ).get() ) ) },
        { "PKCS#8 EC", bodyOf( pkcs8Text( key( KeyKind::p256 ).get() ) ) },
        { "PKCS#8 encrypted", bodyOf( encrypted ) },
        { "SEC1", bodyOf( sec1 ) },
        { "certificate", der( chainOf( KeyKind::p256 ).leaf ) },
        { "RSA with a tail", spkiOf( key( KeyKind::rsa ).get() ) + "tail" },
        { "P-256 cut off", spkiOf( key( KeyKind::p256 ).get() ).substr( 0, 80 ) },
        { "nonsense", "nonsense" },
        { "nothing", "" },
    };
    int taken = 0, fastPath = 0;
    for( const char *label : { "PUBLIC KEY", "RSA PUBLIC KEY", "EC PUBLIC KEY", "PRIVATE KEY", "RSA PRIVATE KEY", "EC PRIVATE KEY",
             "ENCRYPTED PRIVATE KEY", "CERTIFICATE", "X509 CERTIFICATE", "EC PARAMETERS", "ANY PUBLIC KEY", "public key", "PUBLIC  KEY", "A" } )
    {
        if( !cryPemLabelOk( str( label ).get() ) )
            continue;
        for( const auto &each : bodies )
        {
            Taken how = expectAsOpenssl( label, each.body, each.name );
            taken += how != Taken::no;
            fastPath += how == Taken::fastPath;
            if( how == Taken::fastPath )
                EXPECT_STREQ( label, "PUBLIC KEY" );
        }
    }
    EXPECT_GE( taken, 7 );
    EXPECT_EQ( fastPath, 3 );
}

TEST( CryPkeyPublic, WhatIsNoPublicKeyIsNone )
{
    for( KeyKind kind : allKeyKinds )
    {
        EXPECT_FALSE( fromText( pemText( chainOf( kind ).leaf ) ) ) << nameOf( kind );
        EXPECT_FALSE( fromText( pkcs8Text( key( kind ).get() ) ) ) << nameOf( kind );
        EXPECT_FALSE( fromPem( pem( "PUBLIC KEY", bodyOf( pkcs8Text( key( kind ).get() ) ) ) ) ) << nameOf( kind );
        EXPECT_FALSE( fromPem( pem( "PUBLIC KEY", der( chainOf( kind ).leaf ) ) ) ) << nameOf( kind );
        std::string spki = spkiOf( key( kind ).get() );
        EXPECT_FALSE( fromPem( pem( "PUBLIC KEY", spki.substr( 0, spki.size() - 1 ) ) ) ) << nameOf( kind );
        spki[0] = 0x31;
        EXPECT_FALSE( fromPem( pem( "PUBLIC KEY", spki ) ) ) << nameOf( kind );
    }
    EXPECT_FALSE( fromPem( pem( "", "" ) ) );
    EXPECT_FALSE( fromPem( pem( "PUBLIC KEY", "" ) ) );
    ERR_clear_error();
}

TEST( CryPkeyPublic, EveryDamageIsJudgedAsOpensslJudgesIt )
{
    // All of a small key; of others what is not the numbers themselves.
    Pkey small = newEcKey( "secp112r1" );
    int  bad = 0, good = 0;
    for( const Pkey &pkey : { small, key( KeyKind::rsa ), newEcKey( "sect113r1" ), key( KeyKind::ed25519 ) } )
    {
        std::string plain = spkiOf( pkey.get() );
        for( size_t at = 0; at < plain.size() && at < 70; at++ )
        {
            for( int flip : { 0x01, 0x80, 0xFF } )
            {
                std::string changed = plain;
                changed[at]         = (char)( changed[at] ^ flip );
                Taken how           = expectAsOpenssl( "PUBLIC KEY", changed, std::to_string( at ) + " ^ " + std::to_string( flip ) );
                ( how == Taken::no ? bad : good )++;
            }
        }
    }
    EXPECT_GT( bad, 100 );
    EXPECT_GT( good, 50 );
}

TEST( CryPkeyPublic, LengthsThatAreNotTheShortestGiveTheShortest )
{
    int taken = 0;
    for( KeyKind kind : allKeyKinds )
    {
        Spki plain = spkiPartsOf( key( kind ).get() );
        for( int length : { 1, 2, 3, 4, 5, 8, -1 } )
        {
            for( int Spki::*field : { &Spki::outerLength, &Spki::algorithmLength, &Spki::bitsLength } )
            {
                if( field == &Spki::bitsLength && length < 0 )
                    continue;
                // One byte cannot say more than 255.
                if( length == 1 && kind != KeyKind::p256 && kind != KeyKind::p384 && kind != KeyKind::ed25519 && field != &Spki::algorithmLength )
                    continue;
                Spki changed   = plain;
                changed.*field = length;
                taken += expectAsOpenssl( "PUBLIC KEY", changed.join(), nameOf( kind ) + ", length of " + std::to_string( length ) ) != Taken::no;
            }
        }
    }
    EXPECT_GT( taken, 40 );
    // One of them for certain.
    Spki longer        = spkiPartsOf( key( KeyKind::p256 ).get() );
    longer.outerLength = 2;
    EXPECT_EQ( canonical( fromPem( pem( "PUBLIC KEY", longer.join() ) ) ), spkiText( key( KeyKind::p256 ).get() ) );
}

TEST( CryPkeyPublic, RsaNumbersInOtherFormsAreAsOpensslReadsThem )
{
    Spki        plain   = spkiPartsOf( key( KeyKind::rsa ).get() );
    std::string numbers = contentOf( plain.key, 0x30 ), modulus = contentOf( numbers, 0x02 );
    std::string exponent = contentOf( numbers.substr( element( 0x02, modulus ).size() ), 0x02 );
    ASSERT_EQ( exponent, std::string( "\1\0\1", 3 ) );
    ASSERT_EQ( modulus[0], '\0' );
    std::string zero( 1, '\0' ), zeros( 3, '\0' );
    std::string three = element( 0x02, "\3" );
    struct
    {
        const char *name;
        std::string key;
    } forms[] = {
        { "plain", element( 0x30, element( 0x02, modulus ) + element( 0x02, exponent ) ) },
        { "zero before the modulus", element( 0x30, element( 0x02, zero + modulus ) + element( 0x02, exponent ) ) },
        { "zeros before the modulus", element( 0x30, element( 0x02, zeros + modulus ) + element( 0x02, exponent ) ) },
        { "zero before the exponent", element( 0x30, element( 0x02, modulus ) + element( 0x02, zero + exponent ) ) },
        { "zeros before both", element( 0x30, element( 0x02, zeros + modulus ) + element( 0x02, zeros + exponent ) ) },
        { "negative modulus", element( 0x30, element( 0x02, modulus.substr( 1 ) ) + element( 0x02, exponent ) ) },
        { "negative exponent", element( 0x30, element( 0x02, modulus ) + element( 0x02, "\xFF\1\1" ) ) },
        { "exponent 0", element( 0x30, element( 0x02, modulus ) + element( 0x02, zero ) ) },
        { "exponent 1", element( 0x30, element( 0x02, modulus ) + element( 0x02, "\1" ) ) },
        { "exponent 3", element( 0x30, element( 0x02, modulus ) + three ) },
        { "exponent 128", element( 0x30, element( 0x02, modulus ) + element( 0x02, zero + "\x80" ) ) },
        { "exponent 127 with a zero", element( 0x30, element( 0x02, modulus ) + element( 0x02, zero + "\x7F" ) ) },
        { "modulus 0", element( 0x30, element( 0x02, zero ) + element( 0x02, exponent ) ) },
        { "empty modulus", element( 0x30, element( 0x02, "" ) + element( 0x02, exponent ) ) },
        { "empty exponent", element( 0x30, element( 0x02, modulus ) + element( 0x02, "" ) ) },
        { "modulus of one bit", element( 0x30, element( 0x02, "\1" ) + element( 0x02, exponent ) ) },
        { "even modulus", element( 0x30, element( 0x02, modulus.substr( 0, modulus.size() - 1 ) + "\2" ) + element( 0x02, exponent ) ) },
        { "long length of the modulus", element( 0x30, element( 0x02, modulus, 4 ) + element( 0x02, exponent ) ) },
        { "long length of the exponent", element( 0x30, element( 0x02, modulus ) + element( 0x02, exponent, 1 ) ) },
        { "long length of the sequence", element( 0x30, element( 0x02, modulus ) + element( 0x02, exponent ), 3 ) },
        { "indefinite sequence", element( 0x30, element( 0x02, modulus ) + element( 0x02, exponent ), -1 ) },
        { "modulus alone", element( 0x30, element( 0x02, modulus ) ) },
        { "three numbers", element( 0x30, element( 0x02, modulus ) + element( 0x02, exponent ) + three ) },
        { "bytes behind the sequence", element( 0x30, element( 0x02, modulus ) + element( 0x02, exponent ) ) + "tail" },
        { "octets for a number", element( 0x30, element( 0x04, modulus ) + element( 0x02, exponent ) ) },
        { "nothing", "" },
        { "empty sequence", element( 0x30, "" ) },
        { "set for the sequence", element( 0x31, element( 0x02, modulus ) + element( 0x02, exponent ) ) },
    };
    int taken = 0, refused = 0;
    for( const auto &form : forms )
    {
        Spki changed = plain;
        changed.key  = form.key;
        Taken how    = expectAsOpenssl( "PUBLIC KEY", changed.join(), form.name );
        ( how == Taken::no ? refused : taken )++;
    }
    EXPECT_GE( taken, 8 );
    EXPECT_GE( refused, 5 );
}

TEST( CryPkeyPublic, RsaParametersInOtherFormsAreAsOpensslReadsThem )
{
    Spki        plain = spkiPartsOf( key( KeyKind::rsa ).get() );
    std::string oid   = element( 0x06, contentOf( plain.algorithm, 0x06 ) );
    for( const std::string &parameters : { std::string(), element( 0x05, "" ), element( 0x05, "", 1 ), element( 0x05, "x" ), element( 0x30, "" ),
             element( 0x06, "\x2A\x03" ), element( 0x05, "" ) + element( 0x05, "" ), element( 0x04, "ab" ) } )
    {
        Spki changed      = plain;
        changed.algorithm = oid + parameters;
        expectAsOpenssl( "PUBLIC KEY", changed.join(), "parameters " + hex( parameters ) );
        changed.algorithm = element( 0x06, contentOf( plain.algorithm, 0x06 ), 2 ) + parameters;
        expectAsOpenssl( "PUBLIC KEY", changed.join(), "long identifier, parameters " + hex( parameters ) );
    }
    // The same with RSA-PSS in its place, where other parameters are good.
    Spki pss = spkiPartsOf( key( KeyKind::rsaPss ).get() );
    oid      = element( 0x06, contentOf( pss.algorithm, 0x06 ) );
    for( const std::string &parameters : { std::string(), element( 0x05, "" ), element( 0x30, "" ), element( 0x30, "", 1 ) } )
    {
        pss.algorithm = oid + parameters;
        expectAsOpenssl( "PUBLIC KEY", pss.join(), "RSA-PSS, parameters " + hex( parameters ) );
    }
}

TEST( CryPkeyPublic, PointsInOtherFormsAreAsOpensslReadsThem )
{
    int taken = 0, refused = 0;
    for( const char *group : { "P-256", "P-384", "sect163k1", "secp112r1", "brainpoolP320r1" } )
    {
        Pkey        pkey  = newEcKey( group );
        Spki        plain = spkiPartsOf( pkey.get() );
        std::string x = plain.key.substr( 1, plain.key.size() / 2 ), y = plain.key.substr( 1 + x.size() );
        ASSERT_EQ( plain.key, "\4" + x + y );
        std::string offCurve = plain.key;
        offCurve.back() ^= 1;
        struct
        {
            const char *name;
            std::string key;
        } forms[] = {
            { "plain", plain.key },
            { "compressed, 2", "\2" + x },
            { "compressed, 3", "\3" + x },
            { "hybrid, 6", "\6" + x + y },
            { "hybrid, 7", "\7" + x + y },
            { "form 0", std::string( 1, '\0' ) + x + y },
            { "form 5", "\5" + x + y },
            { "form 132", "\x84" + x + y },
            { "infinity", std::string( 1, '\0' ) },
            { "form alone", "\4" },
            { "nothing", "" },
            { "not on the curve", offCurve },
            { "half a point", "\4" + x },
            { "one byte more", plain.key + '\0' },
            { "one byte less", plain.key.substr( 0, plain.key.size() - 1 ) },
            { "a zero before x", "\4" + std::string( 1, '\0' ) + x + y },
            { "zeros", "\4" + std::string( x.size() + y.size(), '\0' ) },
            { "ones", "\4" + std::string( x.size() + y.size(), '\xFF' ) },
            { "octets in the bits", element( 0x04, plain.key ) },
        };
        for( const auto &form : forms )
        {
            Spki changed = plain;
            changed.key  = form.key;
            // The point at infinity is read, but cannot be written.
            Taken how = expectAsOpenssl( "PUBLIC KEY", changed.join(), std::string( group ) + ", " + form.name, form.key.size() != 1 );
            ( how == Taken::no ? refused : taken )++;
        }
    }
    // Each group's plain, one or two compressed ones and one hybrid one, but hardly more.
    EXPECT_GE( taken, 15 );
    EXPECT_GE( refused, 60 );
}

TEST( CryPkeyPublic, BitsThatAreUnusedAndBytesBehindAreAsOpensslReadsThem )
{
    for( KeyKind kind : allKeyKinds )
    {
        for( int unused = 1; unused < 10; unused++ )
        {
            Spki changed   = spkiPartsOf( key( kind ).get() );
            changed.unused = std::string( 1, (char)unused );
            expectAsOpenssl( "PUBLIC KEY", changed.join(), nameOf( kind ) + ", unused " + std::to_string( unused ) );
            // With the bits that are not used zero, too.
            if( unused < 8 )
            {
                changed.key.back() = (char)( (unsigned char)changed.key.back() >> unused << unused );
                expectAsOpenssl( "PUBLIC KEY", changed.join(), nameOf( kind ) + ", unused and zero " + std::to_string( unused ) );
            }
        }
        for( std::string Spki::*field : { &Spki::behindAlgorithm, &Spki::behindKey, &Spki::behind } )
        {
            for( const std::string &tail : { std::string( 1, '\0' ), std::string( 2, '\0' ), element( 0x05, "" ), std::string( "tail" ) } )
            {
                Spki changed   = spkiPartsOf( key( kind ).get() );
                changed.*field = tail;
                expectAsOpenssl( "PUBLIC KEY", changed.join(), nameOf( kind ) + ", behind it " + hex( tail ) );
            }
        }
        Spki none   = spkiPartsOf( key( kind ).get() );
        none.unused = none.key = "";
        EXPECT_EQ( expectAsOpenssl( "PUBLIC KEY", none.join(), nameOf( kind ) + ", no bits" ), Taken::no );
    }
}

TEST( CryPkeyPublic, CurveParametersInOtherFormsAreAsOpensslReadsThem )
{
    Spki        plain = spkiPartsOf( key( KeyKind::p256 ).get() );
    std::string oid = element( 0x06, contentOf( plain.algorithm, 0x06 ) ), curve = plain.algorithm.substr( oid.size() );
    std::string sm2 = element( 0x06, unhex( "2a811ccf5501822d" ) ), unknown = element( 0x06, "\x2A\x03\x04" );
    for( const std::string &parameters : { curve, element( 0x06, contentOf( curve, 0x06 ), 1 ), element( 0x06, contentOf( curve, 0x06 ), 4 ), sm2,
             element( 0x06, contentOf( sm2, 0x06 ), 2 ), unknown, std::string(), element( 0x05, "" ), element( 0x30, "" ), element( 0x06, "" ),
             element( 0x06, "\x80\x01" ), curve + curve } )
    {
        Spki changed      = plain;
        changed.algorithm = oid + parameters;
        expectAsOpenssl( "PUBLIC KEY", changed.join(), "parameters " + hex( parameters ) );
        changed.algorithm = element( 0x06, contentOf( oid, 0x06 ), 1 ) + parameters;
        expectAsOpenssl( "PUBLIC KEY", changed.join(), "long identifier, parameters " + hex( parameters ) );
    }
    for( const Pkey &pkey : { newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ), newEcKey( "sect163k1", OSSL_PKEY_EC_ENCODING_EXPLICIT ),
             newUnnamedCurveKey(), newSm2Key(), newEcKey( "SM2" ) } )
        EXPECT_EQ( expectAsOpenssl( "PUBLIC KEY", spkiOf( pkey.get() ), "parameters" ), Taken::ordinary );
}

TEST( CryPkeyPublic, UseTakesTheReferenceOverOnSuccess )
{
    EVP_PKEY *pkey = EVP_PKEY_dup( key( KeyKind::p256 ).get() );
    FreeWatch watch( pkey );
    Public    pub = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( pkey ) );
    ASSERT_TRUE( pub );
    EXPECT_EQ( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), pkey );
    EXPECT_FALSE( watch.freed() );
    pub = {};
    EXPECT_TRUE( watch.freed() );
}

TEST( CryPkeyPublic, UseFreesOnFailure )
{
    EVP_PKEY *pkey = unwritable();
    FreeWatch watch( pkey );
    EXPECT_EQ( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUse( pkey ), nullptr );
    EXPECT_TRUE( watch.freed() );
    ERR_clear_error();
}

TEST( CryPkeyPublic, UpRefLeavesTheCallersReference )
{
    EVP_PKEY *pkey = EVP_PKEY_dup( key( KeyKind::rsa ).get() );
    FreeWatch watch( pkey );
    Public    pub = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( pkey ) );
    EXPECT_EQ( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), pkey );
    pub = {};
    EXPECT_FALSE( watch.freed() );
    EXPECT_EQ( EVP_PKEY_get_bits( pkey ), 2048 );
    EVP_PKEY_free( pkey );
    EXPECT_TRUE( watch.freed() );
}

TEST( CryPkeyPublic, UpRefAndCopyDoNotFreeOnFailure )
{
    using Create = CRY_PKEY_PUBLIC *(*)( EVP_PKEY * );
    for( Create create : { &cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef, &cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy } )
    {
        EVP_PKEY *pkey = unwritable();
        FreeWatch watch( pkey );
        EXPECT_EQ( create( pkey ), nullptr );
        EXPECT_FALSE( watch.freed() );
        EXPECT_EQ( EVP_PKEY_get_id( pkey ), EVP_PKEY_NONE );
        EVP_PKEY_free( pkey );
        EXPECT_TRUE( watch.freed() );
    }
    ERR_clear_error();
}

TEST( CryPkeyPublic, CopySharesNothingWithTheCaller )
{
    for( KeyKind kind : allKeyKinds )
    {
        EVP_PKEY *pkey = EVP_PKEY_dup( key( kind ).get() );
        FreeWatch watch( pkey );
        Public    pub = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( pkey ) );
        ASSERT_TRUE( pub ) << nameOf( kind );
        EXPECT_NE( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), pkey );
        EVP_PKEY_free( pkey );
        EXPECT_TRUE( watch.freed() );
        EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), key( kind ).get() ), 1 );
        EXPECT_EQ( canonical( pub ), spkiText( key( kind ).get() ) );
    }
}

TEST( CryPkeyPublic, TheLentKeyVerifies )
{
    for( KeyKind kind : allKeyKinds )
    {
        const EVP_MD *digest = kind == KeyKind::ed25519 ? nullptr : EVP_sha256();
        EVP_MD_CTX   *ctx    = EVP_MD_CTX_new();
        unsigned char signature[512];
        size_t        length = sizeof signature;
        ASSERT_EQ( EVP_DigestSignInit( ctx, nullptr, digest, nullptr, key( kind ).get() ), 1 );
        ASSERT_EQ( EVP_DigestSign( ctx, signature, &length, (const unsigned char *)"text", 4 ), 1 );
        EVP_MD_CTX_free( ctx );
        Public pub = fromText( spkiText( key( kind ).get() ) );
        for( const char *said : { "text", "tekt" } )
        {
            ctx = EVP_MD_CTX_new();
            ASSERT_EQ( EVP_DigestVerifyInit( ctx, nullptr, digest, nullptr, cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) ), 1 );
            EXPECT_EQ( EVP_DigestVerify( ctx, signature, length, (const unsigned char *)said, 4 ) == 1, said[2] == 'x' ) << nameOf( kind );
            EVP_MD_CTX_free( ctx );
        }
    }
    ERR_clear_error();
}

TEST( CryPkeyPublic, ComesBackFromItsStore )
{
    for( KeyKind kind : allKeyKinds )
    {
        Public            pub   = fromKey( key( kind ) );
        pb::Ref<PB_STORE> store = pb::adopt( cryPkeyPublicStore( pub.get() ) );
        pb::Ref<CRY_PEM>  pem   = pb::adopt( cryPkeyPublicPem( pub.get() ) );
        EXPECT_TRUE( pbStoreEquals( store.get(), pb::adopt( cryPemStore( pem.get() ) ).get() ) );
        Public restored = pb::adopt( cryPkeyPublicTryRestore( store.get() ) );
        ASSERT_TRUE( restored ) << nameOf( kind );
        EXPECT_TRUE( cryPkeyPublicEquals( restored.get(), pub.get() ) ) << nameOf( kind );
        KeyDecoding off( false );
        Public      ordinary = pb::adopt( cryPkeyPublicTryRestore( store.get() ) );
        EXPECT_TRUE( cryPkeyPublicEquals( ordinary.get(), pub.get() ) ) << nameOf( kind );
    }
}

TEST( CryPkeyPublic, RestoresNothingFromAStoreWithoutOne )
{
    pb::Ref<PB_STORE> empty = pb::adopt( pbStoreCreateArray() ), keyed = pb::adopt( pbStoreCreate() );
    EXPECT_EQ( cryPkeyPublicTryRestore( empty.get() ), nullptr );
    EXPECT_EQ( cryPkeyPublicTryRestore( keyed.get() ), nullptr );
    for( const pb::Ref<CRY_PEM> &block : { pem( "PUBLIC KEY", "nonsense" ), pem( "CERTIFICATE", der( chainOf( KeyKind::p256 ).leaf ) ),
             pem( "PRIVATE KEY", bodyOf( pkcs8Text( key( KeyKind::p256 ).get() ) ) ), pem( "KEY", spkiOf( key( KeyKind::p256 ).get() ) ) } )
    {
        pb::Ref<PB_STORE> store = pb::adopt( cryPemStore( block.get() ) );
        EXPECT_EQ( cryPkeyPublicTryRestore( store.get() ), nullptr );
    }
    ERR_clear_error();
}

TEST( CryPkeyPublic, SuccessLeavesTheErrorQueueAsItWas )
{
    for( KeyKind kind : allKeyKinds )
    {
        std::string source = spkiText( key( kind ).get() );
        takeErrors();
        raiseError();
        EXPECT_TRUE( fromText( source ) );
        EXPECT_TRUE( fromKey( key( kind ) ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
    }
}

TEST( CryPkeyPublic, FailureLeavesOpensslsErrorsBehindThoseBefore )
{
    // One that is not on its curve takes the fast path at first.
    std::string offCurve = spkiOf( key( KeyKind::p256 ).get() );
    offCurve.back() ^= 1;
    for( const std::string &body : { std::string( "nonsense" ), offCurve } )
    {
        std::vector<unsigned long> wanted;
        EXPECT_EQ( publicByOpenssl( pemText( "PUBLIC KEY", body ), wanted ), "" );
        ASSERT_FALSE( wanted.empty() );
        wanted.insert( wanted.begin(), raisedError );
        raiseError();
        EXPECT_FALSE( fromPem( pem( "PUBLIC KEY", body ) ) );
        EXPECT_EQ( takeErrors(), wanted );
    }
}

TEST( CryPkeyPublic, AKeyThatCannotBeWrittenLeavesOpensslsErrorsOnce )
{
    // The point at infinity is read the fast path, too.
    Spki infinity = spkiPartsOf( key( KeyKind::p256 ).get() );
    infinity.key  = std::string( 1, '\0' );
    EXPECT_EQ( expectAsOpenssl( "PUBLIC KEY", infinity.join(), "infinity" ), Taken::no );
}

TEST( CryPkeyPublic, OrderIsThatOfThePems )
{
    auto                sign = []( PB_INT order ) { return order < 0 ? -1 : order > 0 ? 1 : 0; };
    std::vector<Public> list;
    for( KeyKind kind : allKeyKinds )
    {
        list.push_back( fromKey( key( kind ) ) );
        list.push_back( fromText( spkiText( key( kind, 1 ).get() ) ) );
    }
    for( const Public &a : list )
    {
        for( const Public &b : list )
        {
            int wanted = sign( bodyOf( canonical( a ) ).compare( bodyOf( canonical( b ) ) ) );
            EXPECT_EQ( sign( cryPkeyPublicCompare( a.get(), b.get() ) ), wanted );
            EXPECT_EQ( (bool)cryPkeyPublicEquals( a.get(), b.get() ), wanted == 0 );
        }
        EXPECT_FALSE( cryPkeyPublicEquals( a.get(), nullptr ) );
    }
}

TEST( CryPkeyPublic, TheSameKeyIsEqualHoweverItWasRead )
{
    for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::p384 } )
    {
        Spki other         = spkiPartsOf( key( kind ).get() );
        other.outerLength  = 4;
        Public      plain  = fromText( spkiText( key( kind ).get() ) );
        Public      longer = fromPem( pem( "PUBLIC KEY", other.join() ) );
        Public      given  = fromKey( key( kind ) );
        KeyDecoding off( false );
        Public      ordinary = fromText( spkiText( key( kind ).get() ) );
        ASSERT_TRUE( plain && longer && given && ordinary );
        for( const Public &each : { longer, given, ordinary } )
        {
            EXPECT_TRUE( cryPkeyPublicEquals( plain.get(), each.get() ) ) << nameOf( kind );
            EXPECT_EQ( cryPkeyPublicCompare( each.get(), plain.get() ), 0 ) << nameOf( kind );
        }
        EXPECT_FALSE( cryPkeyPublicEquals( plain.get(), fromKey( key( kind, 1 ) ).get() ) );
    }
    Spki compressed = spkiPartsOf( key( KeyKind::p256 ).get() );
    compressed.key  = ( compressed.key.back() & 1 ? "\3" : "\2" ) + compressed.key.substr( 1, 32 );
    // OpenSSL writes the form that it read, so this is another text of the same key.
    Public asRead = fromPem( pem( "PUBLIC KEY", compressed.join() ) ), plain = fromKey( key( KeyKind::p256 ) );
    ASSERT_TRUE( asRead );
    EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPublicPeekOpensslEvpPkey( asRead.get() ), key( KeyKind::p256 ).get() ), 1 );
    std::vector<unsigned long> errors;
    std::string                byOpenssl = publicByOpenssl( pemText( "PUBLIC KEY", compressed.join() ), errors );
    EXPECT_EQ( (bool)cryPkeyPublicEquals( asRead.get(), plain.get() ), byOpenssl == spkiText( key( KeyKind::p256 ).get() ) );
}

TEST( CryPkeyPublic, KeysOfOtherKindsAreTakenToo )
{
    for( const char *type : { "ED448", "X25519", "X448", "SM2" } )
    {
        Pkey   pkey = newKey( type );
        Public pub  = fromText( spkiText( pkey.get() ) );
        ASSERT_TRUE( pub ) << type;
        EXPECT_EQ( canonical( pub ), spkiText( pkey.get() ) ) << type;
        EXPECT_TRUE( EVP_PKEY_is_a( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ), type ) );
        EXPECT_TRUE( cryPkeyPublicEquals( pub.get(), fromKey( pkey ).get() ) ) << type;
    }
}

TEST( CryPkeyPublic, IsAnObjectWithTheDefaultText )
{
    Public pub = fromKey( key( KeyKind::p256 ) );
    EXPECT_STREQ( pbSortName( cryPkeyPublicSort() ), "CRY_PKEY_PUBLIC" );
    EXPECT_EQ( cryPkeyPublicFrom( cryPkeyPublicObj( pub.get() ) ), pub.get() );
    EXPECT_TRUE( text( pb::adopt( cryPkeyPublicToString( pub.get() ) ) ).starts_with( "CRY_PKEY_PUBLIC(0x" ) );
    Public second = pb::adopt( cryPkeyPublicRetain( pub.get() ) );
    EXPECT_TRUE( pbObjIsShared( pub.obj() ) );
    cryPkeyPublicRelease( second.take() );
    EXPECT_FALSE( pbObjIsShared( pub.obj() ) );
}

TEST( CryPkeyPublic, IsReadByManyThreadsAtOnce )
{
    std::string              source = spkiText( key( KeyKind::p256 ).get() );
    Public                   pub    = fromText( source );
    std::atomic<int>         good{ 0 };
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 4; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 50; round++ )
            {
                Public own  = pub;
                Public copy = pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyCopy( cry___PkeyPublicPeekOpensslEvpPkey( own.get() ) ) );
                Public read = fromText( source );
                good += cryPkeyPublicEquals( own.get(), copy.get() ) && cryPkeyPublicEquals( own.get(), read.get() ) && canonical( own ) == source;
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 200 );
}
