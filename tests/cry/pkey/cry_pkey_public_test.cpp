// Only the differences from other types with a canonical PEM. All other tests are in
// pem_object_test.cpp.
#include "cry/common/pem_object_suite.hpp"

#include <openssl/provider.h>

using namespace support;

namespace
{

using Objects = PemObjects<PublicType>;
using Public  = Objects::Object;

Public fromText( std::string_view text ) { return Objects::fromText( text ); }
Public fromKey( const Pkey &pkey ) { return pb::adopt( cry___PkeyPublicTryCreateFromOpensslEvpPkeyUpRef( pkey.get() ) ); }

bool isFastPath( const Public &pub )
{
    const OSSL_PROVIDER *provider = EVP_PKEY_get0_provider( cry___PkeyPublicPeekOpensslEvpPkey( pub.get() ) );
    return provider && std::string( OSSL_PROVIDER_get0_name( provider ) ) == "cry-key-decoding";
}

// An element whose length has `lengthBytes` further bytes; 0 for the shortest form, -1 for an
// indefinite length.
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

// The parts of a SubjectPublicKeyInfo, and the form of the length for each element.
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

// The content of the first element.
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

// The way in which a text was read. The result must be that of OpenSSL, with and without the fast
// path.
enum class Taken
{
    no,
    ordinary,
    fastPath
};
Taken expectAsOpenssl( const std::string &body, const std::string &name, bool errorsToo = true )
{
    auto [ordinary, fast] = Objects::judge( { "PUBLIC KEY", body }, name, errorsToo );
    EXPECT_FALSE( ordinary && isFastPath( ordinary ) ) << name;
    return !fast ? Taken::no : isFastPath( fast ) ? Taken::fastPath : Taken::ordinary;
}

}

TEST( CryPkeyPublic, RsaAndNamedCurvesTakeTheFastPath )
{
    for( const Sample<EVP_PKEY> &each : PublicType::samples() )
    {
        std::string body = spkiOf( each.handle.get() );
        EXPECT_EQ( expectAsOpenssl( body, each.name ), each.shared ? Taken::fastPath : Taken::ordinary ) << each.name;
        for( const char *label : { "RSA PUBLIC KEY", "EC PUBLIC KEY", "ANY PUBLIC KEY", "public key" } )
        {
            Public other = Objects::fromBlock( { label, body } );
            EXPECT_FALSE( other && isFastPath( other ) ) << each.name << ", " << label;
        }
        EXPECT_NE( expectAsOpenssl( body + "tail", each.name ), Taken::fastPath ) << each.name;
    }
    ERR_clear_error();
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
                // One byte cannot hold a length greater than 255.
                if( length == 1 && kind != KeyKind::p256 && kind != KeyKind::p384 && kind != KeyKind::ed25519 && field != &Spki::algorithmLength )
                    continue;
                Spki changed   = plain;
                changed.*field = length;
                taken += expectAsOpenssl( changed.join(), nameOf( kind ) + ", length of " + std::to_string( length ) ) != Taken::no;
            }
        }
    }
    EXPECT_GT( taken, 40 );
    // One case whose result is known.
    Spki longer        = spkiPartsOf( key( KeyKind::p256 ).get() );
    longer.outerLength = 2;
    EXPECT_EQ( Objects::canonical( Objects::fromBlock( { "PUBLIC KEY", longer.join() } ) ), spkiText( key( KeyKind::p256 ).get() ) );
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
        Taken how    = expectAsOpenssl( changed.join(), form.name );
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
        expectAsOpenssl( changed.join(), "parameters " + hex( parameters ) );
        changed.algorithm = element( 0x06, contentOf( plain.algorithm, 0x06 ), 2 ) + parameters;
        expectAsOpenssl( changed.join(), "long identifier, parameters " + hex( parameters ) );
    }
    // The same with RSA-PSS, for which other parameters are valid.
    Spki pss = spkiPartsOf( key( KeyKind::rsaPss ).get() );
    oid      = element( 0x06, contentOf( pss.algorithm, 0x06 ) );
    for( const std::string &parameters : { std::string(), element( 0x05, "" ), element( 0x30, "" ), element( 0x30, "", 1 ) } )
    {
        pss.algorithm = oid + parameters;
        expectAsOpenssl( pss.join(), "RSA-PSS, parameters " + hex( parameters ) );
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
            Taken how = expectAsOpenssl( changed.join(), std::string( group ) + ", " + form.name, form.key.size() != 1 );
            ( how == Taken::no ? refused : taken )++;
        }
    }
    // For each group these are the uncompressed point, one or two compressed points and one hybrid
    // point, but few others.
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
            expectAsOpenssl( changed.join(), nameOf( kind ) + ", unused " + std::to_string( unused ) );
            // The same with the unused bits set to zero.
            if( unused < 8 )
            {
                changed.key.back() = (char)( (unsigned char)changed.key.back() >> unused << unused );
                expectAsOpenssl( changed.join(), nameOf( kind ) + ", unused and zero " + std::to_string( unused ) );
            }
        }
        for( std::string Spki::*field : { &Spki::behindAlgorithm, &Spki::behindKey, &Spki::behind } )
        {
            for( const std::string &tail : { std::string( 1, '\0' ), std::string( 2, '\0' ), element( 0x05, "" ), std::string( "tail" ) } )
            {
                Spki changed   = spkiPartsOf( key( kind ).get() );
                changed.*field = tail;
                expectAsOpenssl( changed.join(), nameOf( kind ) + ", behind it " + hex( tail ) );
            }
        }
        Spki none   = spkiPartsOf( key( kind ).get() );
        none.unused = none.key = "";
        EXPECT_EQ( expectAsOpenssl( none.join(), nameOf( kind ) + ", no bits" ), Taken::no );
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
        expectAsOpenssl( changed.join(), "parameters " + hex( parameters ) );
        changed.algorithm = element( 0x06, contentOf( oid, 0x06 ), 1 ) + parameters;
        expectAsOpenssl( changed.join(), "long identifier, parameters " + hex( parameters ) );
    }
    for( const Pkey &pkey : { newEcKey( "P-256", OSSL_PKEY_EC_ENCODING_EXPLICIT ), newEcKey( "sect163k1", OSSL_PKEY_EC_ENCODING_EXPLICIT ),
             newUnnamedCurveKey(), newSm2Key(), newEcKey( "SM2" ) } )
        EXPECT_EQ( expectAsOpenssl( spkiOf( pkey.get() ), "parameters" ), Taken::ordinary );
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

TEST( CryPkeyPublic, AKeyThatCannotBeWrittenLeavesOpensslsErrorsOnce )
{
    // The fast path also reads the point at infinity.
    Spki infinity = spkiPartsOf( key( KeyKind::p256 ).get() );
    infinity.key  = std::string( 1, '\0' );
    EXPECT_EQ( expectAsOpenssl( infinity.join(), "infinity" ), Taken::no );
}

TEST( CryPkeyPublic, ACompressedPointIsTheSameKeyWithAnotherText )
{
    Spki compressed = spkiPartsOf( key( KeyKind::p256 ).get() );
    compressed.key  = ( compressed.key.back() & 1 ? "\3" : "\2" ) + compressed.key.substr( 1, 32 );
    // OpenSSL writes the point in the form in which it read it.
    Public asRead = Objects::fromBlock( { "PUBLIC KEY", compressed.join() } ), plain = fromKey( key( KeyKind::p256 ) );
    ASSERT_TRUE( asRead );
    EXPECT_EQ( EVP_PKEY_eq( cry___PkeyPublicPeekOpensslEvpPkey( asRead.get() ), key( KeyKind::p256 ).get() ), 1 );
    std::vector<unsigned long> errors;
    std::string                byOpenssl = publicByOpenssl( pemText( "PUBLIC KEY", compressed.join() ), errors );
    EXPECT_EQ( (bool)cryPkeyPublicEquals( asRead.get(), plain.get() ), byOpenssl == spkiText( key( KeyKind::p256 ).get() ) );
}
