// Published signatures of RSA with PKCS#1 v1.5 and of ECDSA. sign_exceptions.json lists the cases
// in which the library differs from a corpus on purpose, with the reason.
#include <cry/cry_sign_convert.h>
#include <cry/internal/cry_pkey.h>

#include "pkey/cry_pkey_public.hpp"
#include "support/exceptions.hpp"
#include "support/files.hpp"
#include "support/json.hpp"
#include "support/signatures.hpp"
#include "support/stanzas.hpp"
#include "support/text.hpp"

#include <functional>
#include <gtest/gtest.h>
#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/param_build.h>
#include <openssl/x509.h>
#include <sstream>

using namespace support;
using nlohmann::json;
namespace fs = std::filesystem;

namespace
{

// The algorithm of a corpus's name: "SHA-256", "SHA3-256", "SHA256", "sha256", "SHA-1"; -1 if the
// library does not have it. The caller knows such names.
PB_INT algorithmOf( std::string name )
{
    name                      = lower( name );
    std::string::size_type at = name.starts_with( "sha-" ) ? name.find( '-' ) : name.npos;
    if( at != name.npos )
        name.erase( at, 1 );
    for( PB_INT alg = 0; alg <= CRY_HASH_ALGORITHM_SHA3_512; alg++ )
    {
        if( name == lower( digestNames[alg] ) )
            return alg;
    }
    return -1;
}

// Digits of any number, with or without 0x.
std::string number( std::string digits )
{
    if( digits.starts_with( "0x" ) )
        digits.erase( 0, 2 );
    return strictUnhex( digits.size() % 2 ? "0" + digits : digits );
}

std::string withoutZeros( const std::string &number ) { return number.substr( std::min( number.find_first_not_of( '\0' ), number.size() ) ); }

// Adds zeros on the left up to the length of the curve's numbers. A larger number stays too long.
std::string padded( const std::string &number, size_t width )
{
    std::string digits = withoutZeros( number );
    return std::string( width > digits.size() ? width - digits.size() : 0, '\0' ) + digits;
}

// A public key, parsed in both ways. Both must agree whether it is a key.
struct Keys
{
    explicit Keys( const std::string &der ) : fast( publicKeyOf( der, true ) ), ordinary( publicKeyOf( der, false ) )
    {
        EXPECT_EQ( (bool)fast, (bool)ordinary );
        if( fast && ordinary )
            EXPECT_TRUE( cryPkeyPublicEquals( fast.get(), ordinary.get() ) );
    }
    PublicKey fast, ordinary;
    explicit operator bool() const { return (bool)fast; }
};

// The result of the verification. Both paths must agree.
bool accepts( const Keys &keys, PB_INT alg, const std::string &signature, const std::string &message )
{
    bool verdict = verify( alg, keys.fast, signature, message );
    EXPECT_EQ( verifyPieces( alg, keys.ordinary, signature, message ), verdict );
    return verdict;
}

const char *named( bool valid ) { return valid ? "valid" : "invalid"; }

json readJson( const fs::path &path ) { return json::parse( support::read( path ) ); }

std::string stem( const fs::path &path )
{
    std::string name = path.filename().string();
    return name.substr( 0, name.find( '.' ) );
}

// The prefix of the case names of a corpus.
std::string caseIds( const fs::path &path ) { return path.parent_path().filename().string() + "/" + stem( path ) + "/"; }

// SubjectPublicKeyInfo of a point. The point may lie outside of the curve.
std::string ecDer( int nid, const std::string &point )
{
    X509_PUBKEY   *pub   = X509_PUBKEY_new();
    unsigned char *bytes = (unsigned char *)OPENSSL_memdup( point.data(), point.size() );
    X509_PUBKEY_set0_param( pub, OBJ_nid2obj( NID_X9_62_id_ecPublicKey ), V_ASN1_OBJECT, OBJ_nid2obj( nid ), bytes, (int)point.size() );
    unsigned char *der    = nullptr;
    int            length = i2d_X509_PUBKEY( pub, &der );
    std::string    out( (const char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    X509_PUBKEY_free( pub );
    return out;
}

using Number = std::shared_ptr<BIGNUM>;

Number bigNumber( const std::string &bytes )
{
    return { BN_bin2bn( (const unsigned char *)bytes.data(), (int)bytes.size(), nullptr ), BN_clear_free };
}

Number decimal( const std::string &digits )
{
    BIGNUM *value = nullptr;
    EXPECT_GT( digits.starts_with( "0x" ) ? BN_hex2bn( &value, digits.c_str() + 2 ) : BN_dec2bn( &value, digits.c_str() ), 0 ) << digits;
    return { value, BN_clear_free };
}

Pkey fromParameters( const char *kind, int selection, const std::function<void( OSSL_PARAM_BLD * )> &push )
{
    OSSL_PARAM_BLD *builder = OSSL_PARAM_BLD_new();
    push( builder );
    OSSL_PARAM   *params  = OSSL_PARAM_BLD_to_param( builder );
    EVP_PKEY_CTX *context = EVP_PKEY_CTX_new_from_name( nullptr, kind, nullptr );
    EVP_PKEY     *pkey    = nullptr;
    EXPECT_EQ( EVP_PKEY_fromdata_init( context ), 1 );
    EXPECT_EQ( EVP_PKEY_fromdata( context, &pkey, selection, params ), 1 );
    EVP_PKEY_CTX_free( context );
    OSSL_PARAM_free( params );
    OSSL_PARAM_BLD_free( builder );
    return { pkey, EVP_PKEY_free };
}

Pkey fromNumbers( int selection, const std::vector<std::pair<const char *, Number>> &numbers )
{
    return fromParameters( "RSA", selection, [&]( OSSL_PARAM_BLD *builder ) {
        for( const auto &[name, value] : numbers )
            OSSL_PARAM_BLD_push_BN( builder, name, value.get() );
    } );
}

std::string rsaDer( const Number &n, const Number &e )
{
    Pkey           pkey   = fromNumbers( EVP_PKEY_PUBLIC_KEY, { { OSSL_PKEY_PARAM_RSA_N, n }, { OSSL_PKEY_PARAM_RSA_E, e } } );
    unsigned char *der    = nullptr;
    int            length = i2d_PUBKEY( pkey.get(), &der );
    std::string    out( (const char *)der, length > 0 ? (size_t)length : 0 );
    OPENSSL_free( der );
    return out;
}

// The private key of two primes.
Pkey rsaKey( Number p, Number q, const Number &e )
{
    if( BN_cmp( p.get(), q.get() ) < 0 )
        std::swap( p, q );
    BN_CTX *context = BN_CTX_new();
    auto    made    = [&]( auto fill ) {
        Number value( BN_new(), BN_clear_free );
        EXPECT_TRUE( fill( value.get() ) );
        return value;
    };
    auto   minusOne = [&]( const Number &prime ) { return made( [&]( BIGNUM *to ) { return BN_sub( to, prime.get(), BN_value_one() ); } ); };
    Number p1 = minusOne( p ), q1 = minusOne( q );
    Number n   = made( [&]( BIGNUM *to ) { return BN_mul( to, p.get(), q.get(), context ); } );
    Number phi = made( [&]( BIGNUM *to ) { return BN_mul( to, p1.get(), q1.get(), context ); } );
    Number gcd = made( [&]( BIGNUM *to ) { return BN_gcd( to, p1.get(), q1.get(), context ); } );
    Number lcm = made( [&]( BIGNUM *to ) { return BN_div( to, nullptr, phi.get(), gcd.get(), context ); } );
    Number d   = made( [&]( BIGNUM *to ) { return BN_mod_inverse( to, e.get(), lcm.get(), context ) != nullptr; } );
    Number dp  = made( [&]( BIGNUM *to ) { return BN_mod( to, d.get(), p1.get(), context ); } );
    Number dq  = made( [&]( BIGNUM *to ) { return BN_mod( to, d.get(), q1.get(), context ); } );
    Number inv = made( [&]( BIGNUM *to ) { return BN_mod_inverse( to, q.get(), p.get(), context ) != nullptr; } );
    BN_CTX_free( context );
    return fromNumbers( EVP_PKEY_KEYPAIR,
        { { OSSL_PKEY_PARAM_RSA_N, n }, { OSSL_PKEY_PARAM_RSA_E, e }, { OSSL_PKEY_PARAM_RSA_D, d }, { OSSL_PKEY_PARAM_RSA_FACTOR1, p },
            { OSSL_PKEY_PARAM_RSA_FACTOR2, q }, { OSSL_PKEY_PARAM_RSA_EXPONENT1, dp }, { OSSL_PKEY_PARAM_RSA_EXPONENT2, dq },
            { OSSL_PKEY_PARAM_RSA_COEFFICIENT1, inv } } );
}

// Both paths make and accept the same RSA signature, with keys parsed in both ways.
void checkRsaSignature( const Pkey &pkey, PB_INT alg, const std::string &message, const std::string &signature )
{
    EXPECT_EQ( hex( sign( alg, privateKey( pkey, true ), message ) ), hex( signature ) );
    EXPECT_EQ( hex( signPieces( alg, privateKey( pkey, false ), message ) ), hex( signature ) );
    EXPECT_TRUE( verify( alg, publicKey( pkey, true ), signature, message ) );
    EXPECT_TRUE( verifyPieces( alg, publicKey( pkey, false ), signature, message ) );
}

// ---- JSON files of groups of tests with one key

struct Verdicts
{
    int valid = 0, invalid = 0, acceptable = 0, otherDigests = 0;
};

// Calls `accepted( alg, keys, message, signature )` for each test of a folder.
Verdicts checkGroups( const fs::path &folder, size_t files, Exceptions &exceptions,
    const std::function<bool( PB_INT, const Keys &, const std::string &, const std::string & )> &accepted )
{
    Verdicts              verdicts;
    std::vector<fs::path> paths = filesBelow( folder );
    EXPECT_EQ( paths.size(), files );
    for( const fs::path &path : paths )
    {
        json file   = readJson( path );
        int  inFile = 0;
        for( const json &group : file.at( "testGroups" ) )
        {
            PB_INT alg = algorithmOf( group.at( "sha" ) );
            if( alg < 0 )
            {
                EXPECT_EQ( group.at( "sha" ), "SHA-512/256" );
                verdicts.otherDigests += (int)group.at( "tests" ).size();
                inFile += (int)group.at( "tests" ).size();
                continue;
            }
            Keys keys( unhex( group.at( "publicKeyDer" ).get<std::string>() ) );
            EXPECT_TRUE( keys ) << path;
            if( !keys )
                continue;
            // The text holds the same key.
            pb::Ref<CRY_PEM> text = pb::adopt( cryPemTryDecode( buf( group.at( "publicKeyPem" ).get<std::string>() ).get() ) );
            EXPECT_TRUE( text ) << path;
            EXPECT_TRUE( cryPkeyPublicEquals( pb::adopt( cryPkeyPublicTryCreateFromPem( text.get() ) ).get(), keys.fast.get() ) ) << path;
            for( const json &test : group.at( "tests" ) )
            {
                std::string result = test.at( "result" ), id = caseIds( path ) + test.at( "tcId" ).dump();
                SCOPED_TRACE( id );
                EXPECT_TRUE( result == "valid" || result == "invalid" || result == "acceptable" ) << result;
                ( result == "valid" ? verdicts.valid : result == "invalid" ? verdicts.invalid : verdicts.acceptable )++;
                // Signatures that may be accepted are refused.
                exceptions.check( id, named( result == "valid" ),
                    named( accepted( alg, keys, strictUnhex( test.at( "msg" ) ), strictUnhex( test.at( "sig" ) ) ) ) );
                inFile++;
            }
        }
        EXPECT_EQ( inFile, file.at( "numberOfTests" ).get<int>() ) << path;
        exceptions.checkMet( caseIds( path ) );
    }
    return verdicts;
}

// ---- NIST's files

struct NistCurve
{
    int    nid;
    size_t width; // of a coordinate
    PB_INT known; // set if signatures can be converted
};

const NistCurve &nistCurve( const std::string &name )
{
    static const std::map<std::string, NistCurve> curves = { { "P-192", { NID_X9_62_prime192v1, 24, -1 } }, { "P-224", { NID_secp224r1, 28, -1 } },
        { "P-256", { NID_X9_62_prime256v1, 32, CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 } },
        { "P-384", { NID_secp384r1, 48, CRY_PKEY_EC_NAMED_CURVE_SECP384R1 } }, { "P-521", { NID_secp521r1, 66, CRY_PKEY_EC_NAMED_CURVE_SECP521R1 } },
        { "K-163", { NID_sect163k1, 21, -1 } }, { "K-233", { NID_sect233k1, 30, -1 } }, { "K-283", { NID_sect283k1, 36, -1 } },
        { "K-409", { NID_sect409k1, 52, -1 } }, { "K-571", { NID_sect571k1, 72, -1 } }, { "B-163", { NID_sect163r2, 21, -1 } },
        { "B-233", { NID_sect233r1, 30, -1 } }, { "B-283", { NID_sect283r1, 36, -1 } }, { "B-409", { NID_sect409r1, 52, -1 } },
        { "B-571", { NID_sect571r1, 72, -1 } } };
    auto                                          found  = curves.find( name );
    EXPECT_NE( found, curves.end() ) << name;
    return found == curves.end() ? curves.begin()->second : found->second;
}

struct Counts
{
    int valid = 0, invalid = 0;
};

void count( Counts &counts, bool valid ) { ( valid ? counts.valid : counts.invalid )++; }

bool passes( const std::string &result )
{
    EXPECT_TRUE( result.starts_with( "P" ) || result.starts_with( "F (" ) ) << result;
    return result.starts_with( "P" );
}

std::string takePoint( Stanza &stanza, const NistCurve &curve )
{
    std::string x = padded( number( stanza.take( "Qx" ) ), curve.width ), y = padded( number( stanza.take( "Qy" ) ), curve.width );
    return "\x04" + x + y;
}

Pkey ecKey( const NistCurve &curve, const std::string &point, const std::string &secret )
{
    Number number = bigNumber( secret ); // read only at the end
    return fromParameters( "EC", EVP_PKEY_KEYPAIR, [&]( OSSL_PARAM_BLD *builder ) {
        OSSL_PARAM_BLD_push_utf8_string( builder, OSSL_PKEY_PARAM_GROUP_NAME, OBJ_nid2sn( curve.nid ), 0 );
        OSSL_PARAM_BLD_push_octet_string( builder, OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size() );
        OSSL_PARAM_BLD_push_BN( builder, OSSL_PKEY_PARAM_PRIV_KEY, number.get() );
    } );
}

// All signatures in generation files are valid. Verification files give the verdict. If the heading
// has no algorithm, it is SHA-1.
Counts checkEcdsa( const fs::path &path, Exceptions &exceptions )
{
    Counts      counts;
    std::string signedHeading;
    for( Stanza &stanza : readStanzas( path ) )
    {
        std::string id = caseIds( path ) + std::to_string( stanza.line );
        SCOPED_TRACE( id );
        size_t           comma = stanza.heading.find( ',' );
        const NistCurve &curve = nistCurve( stanza.heading.substr( 0, comma ) );
        PB_INT           alg   = comma == std::string::npos ? CRY_HASH_ALGORITHM_SHA1 : algorithmOf( stanza.heading.substr( comma + 1 ) );
        EXPECT_GE( alg, 0 );
        bool        expected = !stanza.has( "Result" ) || passes( stanza.take( "Result" ) );
        std::string message = stanza.takeBytes( "Msg" ), r = number( stanza.take( "R" ) ), s = number( stanza.take( "S" ) );
        std::string der   = ecdsaDer( r, s );
        std::string point = takePoint( stanza, curve );
        Keys        keys( ecDer( curve.nid, point ) );
        if( curve.known >= 0 )
        {
            std::string raw = padded( r, curve.width ) + padded( s, curve.width );
            EXPECT_EQ( hex( bytes( pb::adopt( crySignConvertRawToDer( buf( raw ).get(), curve.known ) ) ) ), hex( der ) );
        }
        bool accepted = keys && accepts( keys, alg, der, message );
        exceptions.check( id, named( expected ), named( accepted ) );
        count( counts, expected );
        if( stanza.has( "d" ) )
        {
            stanza.take( "k" );
            // The private key makes another signature, and the public key accepts it. Once for each
            // curve and algorithm.
            std::string d = padded( number( stanza.take( "d" ) ), curve.width );
            if( signedHeading != stanza.heading && keys )
            {
                Pkey pkey = ecKey( curve, point, d );
                EXPECT_TRUE( accepts( keys, alg, sign( alg, privateKey( pkey ), message ), message ) );
                signedHeading = stanza.heading;
            }
        }
        stanza.end();
    }
    exceptions.checkMet( caseIds( path ) );
    return counts;
}

// Points that are public keys, and points that are not.
Counts checkPoints( const fs::path &path, Exceptions &exceptions )
{
    Counts counts;
    for( Stanza &stanza : readStanzas( path ) )
    {
        std::string id = caseIds( path ) + std::to_string( stanza.line );
        SCOPED_TRACE( id );
        const NistCurve &curve    = nistCurve( stanza.heading );
        bool             expected = passes( stanza.take( "Result" ) );
        exceptions.check( id, named( expected ), named( (bool)Keys( ecDer( curve.nid, takePoint( stanza, curve ) ) ) ) );
        count( counts, expected );
        stanza.end();
    }
    exceptions.checkMet( caseIds( path ) );
    return counts;
}

// In RSA files, stanzas before the cases hold the key.
Counts checkRsa( const fs::path &path, Exceptions &exceptions )
{
    Counts              counts;
    Number              n, e, p, q;
    std::optional<Keys> keys;
    for( Stanza &stanza : readStanzas( path ) )
    {
        std::string id = caseIds( path ) + std::to_string( stanza.line );
        SCOPED_TRACE( id );
        // Sometimes there is no empty line between two cases.
        do
        {
            for( auto &[name, to] : { std::pair( "n", &n ), std::pair( "e", &e ), std::pair( "p", &p ), std::pair( "q", &q ) } )
            {
                if( !stanza.has( name ) )
                    continue;
                *to = bigNumber( number( stanza.take( name ) ) );
                keys.reset();
            }
            if( !stanza.has( "Msg" ) )
                break;
            if( !keys )
                keys.emplace( rsaDer( n, e ) );
            PB_INT alg = algorithmOf( stanza.take( "SHAAlg" ) );
            EXPECT_GE( alg, 0 );
            bool        expected = !stanza.has( "Result" ) || passes( stanza.take( "Result" ) );
            std::string message = stanza.takeBytes( "Msg" ), signature = number( stanza.take( "S" ) );
            bool        accepted = *keys && accepts( *keys, alg, signature, message );
            exceptions.check( id, named( expected ), named( accepted ) );
            count( counts, expected );
        }
        while( stanza.has( "Msg" ) );
        for( const char *name : { "d", "SaltVal", "EM with hash moved", "EM with trailer wrong" } )
            stanza.takeAll( name );
        stanza.end();
    }
    exceptions.checkMet( caseIds( path ) );
    return counts;
}

fs::path packaged( const std::string &end )
{
    static const std::vector<fs::path> files = packageFiles( "python3-cryptography-vectors" );
    for( const fs::path &path : files )
    {
        if( path.string().ends_with( "/asymmetric/" + end ) )
            return path;
    }
    return {};
}

}

#define NEED_PACKAGED( file, end )   \
    fs::path file = packaged( end ); \
    if( file.empty() )               \
    GTEST_SKIP() << "the Debian package python3-cryptography-vectors is not installed"

#define EXPECT_COUNTS( counts, wantedValid, wantedInvalid ) \
    do                                                      \
    {                                                       \
        Counts seen = counts;                               \
        EXPECT_EQ( seen.valid, wantedValid );               \
        EXPECT_EQ( seen.invalid, wantedInvalid );           \
    }                                                       \
    while( 0 )

TEST( SignVectors, PublicEcdsaEdgeCases )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    Verdicts   verdicts = checkGroups( *folder / "wycheproof" / "ecdsa-der", 26, exceptions,
          []( PB_INT alg, const Keys &keys, const std::string &message, const std::string &signature ) {
            return accepts( keys, alg, signature, message );
        } );
    EXPECT_EQ( verdicts.valid, 4879 );
    EXPECT_EQ( verdicts.invalid, 7984 );
    EXPECT_EQ( verdicts.acceptable, 0 );
    EXPECT_EQ( verdicts.otherDigests, 0 );
}

TEST( SignVectors, PublicEcdsaEdgeCasesOfRawSignatures )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    int        converted = 0, short_ = 0, otherCurves = 0;
    Verdicts   verdicts = checkGroups( *folder / "wycheproof" / "ecdsa-p1363", 15, exceptions,
          [&]( PB_INT alg, const Keys &keys, const std::string &message, const std::string &raw ) {
            pb::Ref<CRY_PKEY_INFO> info  = pb::adopt( cryPkeyPublicInfo( keys.fast.get() ) );
            PB_INT                 curve = cryPkeyInfoEcNamedCurve( info.get() );
            pb::Ref<PB_BUFFER>     der   = pb::adopt( crySignConvertRawToDer( buf( raw ).get(), curve ) );
            if( curve == CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 )
            {
                EXPECT_EQ( (bool)der, raw.size() >= 64 );
                ( der ? converted : short_ )++;
                return der && accepts( keys, alg, bytes( der ), message );
            }
            // Signatures on other curves cannot be converted. The signature is checked in the form
            // that OpenSSL writes.
            EXPECT_FALSE( der );
            otherCurves++;
            size_t half = ( (size_t)cryPkeyInfoBits( info.get() ) + 7 ) / 8;
            return raw.size() == 2 * half && accepts( keys, alg, ecdsaDer( raw.substr( 0, half ), raw.substr( half ) ), message );
        } );
    EXPECT_EQ( verdicts.valid, 2719 );
    EXPECT_EQ( verdicts.invalid, 1299 );
    EXPECT_EQ( converted + short_, 262 + 332 );
    EXPECT_GT( short_, 0 );
    EXPECT_EQ( otherCurves, 2719 + 1299 - 262 - 332 );
}

TEST( SignVectors, PublicRsaEdgeCases )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    Verdicts   verdicts = checkGroups( *folder / "wycheproof" / "rsa-pkcs1v15-verify", 16, exceptions,
          []( PB_INT alg, const Keys &keys, const std::string &message, const std::string &signature ) {
            return accepts( keys, alg, signature, message );
        } );
    EXPECT_EQ( verdicts.valid, 117 - 14 );
    EXPECT_EQ( verdicts.invalid, 4004 - 499 );
    EXPECT_EQ( verdicts.acceptable, 14 );
    EXPECT_EQ( verdicts.otherDigests, 257 + 258 );
}

TEST( SignVectors, PublicRsaSignaturesAreMade )
{
    NEED_VECTORS( folder );
    int                   cases = 0;
    std::vector<fs::path> paths = filesBelow( *folder / "wycheproof" / "rsa-pkcs1v15-sign" );
    EXPECT_EQ( paths.size(), 4u );
    for( const fs::path &path : paths )
    {
        json file = readJson( path );
        for( const json &group : file.at( "testGroups" ) )
        {
            PB_INT alg = algorithmOf( group.at( "sha" ) );
            ASSERT_GE( alg, 0 );
            pb::Ref<CRY_PEM> traditional = pb::adopt( cryPemTryDecode( buf( group.at( "privateKeyPem" ).get<std::string>() ).get() ) );
            ASSERT_TRUE( traditional );
            PrivateKey fromText = pb::adopt( cryPkeyPrivateTryCreateFromPem( traditional.get() ) );
            ASSERT_TRUE( fromText );
            std::string pkcs8     = unhex( group.at( "privateKeyPkcs8" ).get<std::string>() );
            PrivateKey  fromPkcs8 = pb::adopt( cryPkeyPrivateTryCreateFromPem( pem( "PRIVATE KEY", pkcs8 ).get() ) );
            ASSERT_TRUE( fromPkcs8 );
            EXPECT_TRUE( cryPkeyPrivateEquals( fromText.get(), fromPkcs8.get() ) );
            Keys keys( unhex( group.at( "keyDer" ).get<std::string>() ) );
            ASSERT_TRUE( keys );
            for( const json &test : group.at( "tests" ) )
            {
                SCOPED_TRACE( stem( path ) + "/" + test.at( "tcId" ).dump() );
                std::string message = strictUnhex( test.at( "msg" ) ), signature = test.at( "sig" );
                // Signatures with short keys or old digests are "acceptable".
                EXPECT_NE( test.at( "result" ), "invalid" );
                EXPECT_EQ( hex( sign( alg, fromPkcs8, message ) ), signature );
                EXPECT_EQ( hex( signPieces( alg, fromText, message ) ), signature );
                EXPECT_TRUE( accepts( keys, alg, unhex( signature ), message ) );
                cases++;
            }
        }
    }
    EXPECT_EQ( cases, 32 + 43 + 26 + 24 );
}

TEST( SignVectors, PublicNistEcdsaVerifications )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkEcdsa( *folder / "cavp/ecdsa/186-3_SigVer.rsp.xz", exceptions ), 225, 900 );
}

TEST( SignVectors, PublicNistEcdsaSignatures )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkEcdsa( *folder / "cavp/ecdsa/186-3_SigGen.txt.xz", exceptions ), 1125, 0 );
}

TEST( SignVectors, PublicNistPointsAreKeysOrNot )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkPoints( *folder / "cavp/ecdsa/186-3_PKV.rsp.xz", exceptions ), 60, 120 );
}

TEST( SignVectors, PublicNistRsaSignatures )
{
    NEED_VECTORS( folder );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkRsa( *folder / "cavp/rsa/SigGen15_186-2.txt.xz", exceptions ), 250, 0 );
    EXPECT_COUNTS( checkRsa( *folder / "cavp/rsa/SigGen15_186-3.rsp.xz", exceptions ), 250, 0 );
    EXPECT_COUNTS( checkRsa( *folder / "cavp/rsa/SigVer15EMTest.txt.xz", exceptions ), 0, 150 );
}

// The file has lines of hexadecimal bytes under "# Title:" lines.
TEST( SignVectors, PublicRsaSignaturesOfKeysOfOddSizes )
{
    NEED_VECTORS( folder );
    std::istringstream                 in( support::read( *folder / "cavp/rsa/pkcs1v15sign-vectors.txt.xz" ) );
    std::map<std::string, std::string> fields;
    std::string                        title;
    Pkey                               pkey;
    int                                signatures = 0, keys = 0;
    auto                               finish = [&] {
        if( title == "# Coefficient:" )
        {
            pkey = rsaKey( bigNumber( number( fields.at( "# Prime 1:" ) ) ), bigNumber( number( fields.at( "# Prime 2:" ) ) ),
                                              bigNumber( number( fields.at( "# Public exponent:" ) ) ) );
            keys++;
        }
        if( title == "# Signature:" )
        {
            SCOPED_TRACE( signatures );
            checkRsaSignature(
                pkey, CRY_HASH_ALGORITHM_SHA1, strictUnhex( fields.at( "# Message to be signed:" ) ), strictUnhex( fields.at( "# Signature:" ) ) );
            signatures++;
        }
        title.clear();
    };
    for( std::string line; std::getline( in, line ); )
    {
        line.erase( line.find_last_not_of( " \t\r" ) + 1 );
        if( line.starts_with( "#" ) && line.ends_with( ":" ) )
        {
            finish();
            title         = line;
            fields[title] = "";
        }
        else if( line.empty() || line.starts_with( "#" ) || line.starts_with( "=" ) )
            finish();
        else if( !title.empty() )
        {
            for( char c : line )
            {
                if( c != ' ' )
                    fields[title] += c;
            }
        }
    }
    finish();
    EXPECT_EQ( keys, 15 );
    EXPECT_EQ( signatures, 300 );
}

TEST( SignVectors, PackagedNistEcdsaVerifications )
{
    NEED_PACKAGED( old, "ECDSA/FIPS_186-2/SigVer.rsp" );
    NEED_PACKAGED( later, "ECDSA/FIPS_186-3/SigVer.rsp" );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkEcdsa( old, exceptions ), 45, 180 );
    EXPECT_COUNTS( checkEcdsa( later, exceptions ), 225, 900 );
}

TEST( SignVectors, PackagedNistEcdsaSignatures )
{
    NEED_PACKAGED( old, "ECDSA/FIPS_186-2/SigGen.rsp" );
    NEED_PACKAGED( later, "ECDSA/FIPS_186-3/SigGen.rsp" );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkEcdsa( old, exceptions ), 225, 0 );
    EXPECT_COUNTS( checkEcdsa( later, exceptions ), 1125, 0 );
}

TEST( SignVectors, PackagedNistPointsAreKeysOrNot )
{
    NEED_PACKAGED( old, "ECDSA/FIPS_186-2/PKV.rsp" );
    NEED_PACKAGED( later, "ECDSA/FIPS_186-3/PKV.rsp" );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkPoints( old, exceptions ), 60, 120 );
    EXPECT_COUNTS( checkPoints( later, exceptions ), 60, 120 );
}

TEST( SignVectors, PackagedNistRsaSignatures )
{
    NEED_PACKAGED( old, "RSA/FIPS_186-2/SigGen15_186-2.rsp" );
    NEED_PACKAGED( later, "RSA/FIPS_186-2/SigGen15_186-3.rsp" );
    NEED_PACKAGED( verifications, "RSA/FIPS_186-2/SigVer15_186-3.rsp" );
    Exceptions exceptions( "sign_exceptions.json" );
    EXPECT_COUNTS( checkRsa( old, exceptions ), 250, 0 );
    EXPECT_COUNTS( checkRsa( later, exceptions ), 250, 0 );
    EXPECT_COUNTS( checkRsa( verifications, exceptions ), 75, 375 );
}

TEST( SignVectors, PublicRsaSignaturesOfManyDigests )
{
    NEED_VECTORS( folder );
    // The padding of PKCS#1 v1.5 has two names. The others are other paddings, or digests that the
    // library does not have.
    const std::map<std::string, PB_INT> sections = { { "EMSA3(MD5)", CRY_HASH_ALGORITHM_MD5 }, { "PKCS1v15(SHA-1)", CRY_HASH_ALGORITHM_SHA1 },
        { "EMSA3(SHA-224)", CRY_HASH_ALGORITHM_SHA2_224 }, { "EMSA3(SHA-256)", CRY_HASH_ALGORITHM_SHA2_256 },
        { "EMSA3(SHA-384)", CRY_HASH_ALGORITHM_SHA2_384 }, { "EMSA3(SHA-512)", CRY_HASH_ALGORITHM_SHA2_512 } };
    std::map<std::string, int>          cases;
    int                                 others = 0;
    for( Stanza &stanza : readStanzas( *folder / "botan/pubkey/rsa_sig.vec.xz" ) )
    {
        SCOPED_TRACE( stanza.line );
        if( !sections.count( stanza.heading ) )
        {
            EXPECT_TRUE( stanza.heading.starts_with( "EMSA1" ) || stanza.heading.starts_with( "EMSA2" ) || stanza.heading.starts_with( "EMSA4" ) ||
                stanza.heading.starts_with( "ISO_9796" ) || stanza.heading.starts_with( "EMSA3(Raw" ) || stanza.heading == "EMSA3(Tiger)" ||
                stanza.heading == "EMSA3(RIPEMD-160)" )
                << stanza.heading;
            others++;
            continue;
        }
        Pkey pkey = rsaKey( decimal( stanza.take( "P" ) ), decimal( stanza.take( "Q" ) ), decimal( stanza.take( "E" ) ) );
        checkRsaSignature( pkey, sections.at( stanza.heading ), stanza.takeBytes( "Msg" ), stanza.takeBytes( "Signature" ) );
        stanza.end();
        cases[stanza.heading]++;
    }
    EXPECT_EQ( cases,
        ( std::map<std::string, int>{ { "EMSA3(MD5)", 9 }, { "PKCS1v15(SHA-1)", 10 }, { "EMSA3(SHA-224)", 3 }, { "EMSA3(SHA-256)", 6 },
            { "EMSA3(SHA-384)", 4 }, { "EMSA3(SHA-512)", 4 } } ) );
    // One of these has two stanzas.
    EXPECT_EQ( others, 1 + 3 + 4 + 2 + 4 * 5 + 4 + 5 + 1 + 4 + 30 + 4 );
}

// These sign digests, not messages. So the test converts their raw form and lets OpenSSL check the
// result.
TEST( SignVectors, PublicRawSignaturesOfDigestsAreConverted )
{
    NEED_VECTORS( folder );
    int p256 = 0, others = 0;
    for( Stanza &stanza : readStanzas( *folder / "botan/pubkey/ecdsa_verify.vec" ) )
    {
        SCOPED_TRACE( stanza.line );
        std::string group = stanza.take( "Group" ), raw = stanza.takeBytes( "Signature" ), digest = stanza.takeBytes( "Msg" );
        std::string x = number( stanza.take( "Px" ) ), y = number( stanza.take( "Py" ) );
        stanza.end();
        if( group != "secp256r1" )
        {
            PB_INT curve = group == "secp256k1" ? CRY_PKEY_EC_NAMED_CURVE_SECP256K1 : CRY_PKEY_EC_NAMED_CURVE_PRIME239V1;
            EXPECT_TRUE( group == "secp256k1" || group == "x962_p239v1" ) << group;
            EXPECT_FALSE( pb::adopt( crySignConvertRawToDer( buf( raw ).get(), curve ) ) );
            others++;
            continue;
        }
        Keys keys( ecDer( NID_X9_62_prime256v1, "\x04" + padded( x, 32 ) + padded( y, 32 ) ) );
        ASSERT_TRUE( keys );
        std::string   der     = bytes( pb::adopt( crySignConvertRawToDer( buf( raw ).get(), CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) ) );
        EVP_PKEY_CTX *context = EVP_PKEY_CTX_new( cry___PkeyPublicPeekOpensslEvpPkey( keys.ordinary.get() ), nullptr );
        EXPECT_EQ( EVP_PKEY_verify_init( context ), 1 );
        EXPECT_EQ(
            EVP_PKEY_verify( context, (const unsigned char *)der.data(), der.size(), (const unsigned char *)digest.data(), digest.size() ), 1 );
        EVP_PKEY_CTX_free( context );
        EXPECT_EQ( hex( bytes( pb::adopt( crySignConvertDerToRaw( buf( der ).get(), CRY_PKEY_EC_NAMED_CURVE_PRIME256V1 ) ) ) ), hex( raw ) );
        p256++;
    }
    EXPECT_EQ( p256, 8 );
    EXPECT_EQ( others, 3 );
}

namespace
{

// ---- OpenSSL's own test files

struct EvpCounts
{
    int                        pairs = 0, digestVerifies = 0, digestSigns = 0, verifies = 0;
    std::map<std::string, int> skipped = {}; // by reason

    bool operator==( const EvpCounts & ) const = default;
};

std::ostream &operator<<( std::ostream &out, const EvpCounts &counts )
{
    out << counts.pairs << " pairs, " << counts.digestVerifies << " verifications, " << counts.digestSigns << " signatures, " << counts.verifies
        << " verifications of digests";
    for( const auto &[reason, count] : counts.skipped )
        out << "; " << reason << ": " << count;
    return out;
}

// "text" or hexadecimal digits.
std::string evpBytes( const std::string &value ) { return value.starts_with( '"' ) ? value.substr( 1, value.size() - 2 ) : strictUnhex( value ); }

class EvpFile
{
public:
    EvpCounts run( const fs::path &path )
    {
        for( Stanza &stanza : readStanzas( path ) )
        {
            SCOPED_TRACE( stem( path ) + ":" + std::to_string( stanza.line ) );
            if( stanza.has( "PEM" ) )
                keepKey( stanza );
            else if( stanza.has( "Title" ) )
                stanza.take( "Title" );
            else if( stanza.has( "PrivPubKeyPair" ) )
                checkPair( stanza );
            else
                checkOperation( stanza );
        }
        return counts;
    }

private:
    EvpCounts                               counts;
    std::map<std::string, pb::Ref<CRY_PEM>> privates, publics;

    void keepKey( Stanza &stanza )
    {
        bool             isPrivate = stanza.has( "PrivateKey" );
        std::string      name      = stanza.take( isPrivate ? "PrivateKey" : "PublicKey" );
        pb::Ref<CRY_PEM> pem       = pb::adopt( cryPemTryDecode( buf( stanza.take( "PEM" ) ).get() ) );
        EXPECT_TRUE( pem );
        stanza.end();
        ( isPrivate ? privates : publics )[name] = pem;
    }

    PrivateKey privateNamed( const std::string &name )
    {
        auto found = privates.find( name );
        return found == privates.end() ? PrivateKey() : pb::adopt( cryPkeyPrivateTryCreateFromPem( found->second.get() ) );
    }

    // A private key is also used as its public key.
    PublicKey publicNamed( const std::string &name )
    {
        auto found = publics.find( name );
        if( found != publics.end() )
            return pb::adopt( cryPkeyPublicTryCreateFromPem( found->second.get() ) );
        PrivateKey priv = privateNamed( name );
        return priv ? pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) ) : PublicKey();
    }

    void checkPair( Stanza &stanza )
    {
        std::string names = stanza.take( "PrivPubKeyPair" ), result = stanza.has( "Result" ) ? stanza.take( "Result" ) : "";
        EXPECT_TRUE( result.empty() || result.starts_with( "KEYPAIR_" ) ) << result;
        stanza.end();
        size_t     colon = names.find( ':' );
        PrivateKey priv  = privateNamed( names.substr( 0, colon ) );
        PublicKey  pub   = publicNamed( names.substr( colon + 1 ) );
        // Keys of RSA-PSS with bad parameters.
        if( !priv || !pub || names.find( "RSA-PSS" ) != names.npos )
        {
            EXPECT_TRUE( names.starts_with( "RSA-PSS:" ) ) << names;
            counts.skipped["RSA-PSS key"]++;
            return;
        }
        PublicKey half = pb::adopt( cryPkeyPrivatePublicKey( priv.get() ) );
        EXPECT_EQ( (bool)cryPkeyPublicEquals( half.get(), pub.get() ), result.empty() );
        counts.pairs++;
    }

    // Counts the cases that are skipped, for each reason.
    void checkOperation( Stanza &stanza )
    {
        std::string reason = "other operation";
        for( const char *kind : { "DigestVerify", "OneShotDigestVerify", "DigestSign", "Verify" } )
        {
            if( stanza.has( kind ) )
                reason = checkKind( kind, stanza );
        }
        if( !reason.empty() )
            counts.skipped[reason]++;
    }

    // The reason to skip the case, or an empty text.
    [[nodiscard]] std::string checkKind( const std::string &kind, Stanza stanza )
    {
        std::string subject = stanza.take( kind ), availability = stanza.has( "Availablein" ) ? stanza.take( "Availablein" ) : "default";
        if( availability != "default" )
            return "only " + availability;
        bool        ofDigest = kind == "Verify";
        std::string name     = ofDigest ? subject : stanza.take( "Key" );
        std::string digest   = ofDigest ? "" : subject;
        for( const std::string &ctrl : stanza.takeAll( "Ctrl" ) )
        {
            if( !ofDigest || !ctrl.starts_with( "digest:" ) )
                return "other padding";
            digest = ctrl.substr( 7 );
        }
        PublicKey pub = publicNamed( name );
        if( !pub || !cryPkeyInfoHasType( pb::adopt( cryPkeyPublicInfo( pub.get() ) ).get() ) )
            return "other key";
        PB_INT alg = algorithmOf( digest );
        if( alg < 0 )
            return "other digest";
        std::vector<std::string> pieces;
        for( const std::string &input : stanza.takeAll( "Input" ) )
            pieces.push_back( evpBytes( input ) );
        std::string output = stanza.has( "Output" ) ? evpBytes( stanza.take( "Output" ) ) : "",
                    result = stanza.has( "Result" ) ? stanza.take( "Result" ) : "";
        stanza.end();
        if( ofDigest )
        {
            EXPECT_EQ( pieces.size(), 1u );
            // All digests have the right length after this.
            if( (PB_INT)pieces[0].size() * 8 != cryHashAlgorithmDigestSizeBits( alg ) )
                return "digest of another length";
            EXPECT_TRUE( result.empty() || result == "VERIFY_ERROR" ) << result;
            EXPECT_EQ( cry::pkey::verify( pub.get(), alg, (const PB_BYTE *)pieces[0].data(), buf( output ).get() ), result.empty() );
            counts.verifies++;
            return {};
        }
        std::string message;
        for( const std::string &piece : pieces )
            message += piece;
        if( kind == "DigestSign" )
        {
            PrivateKey priv = privateNamed( name );
            EXPECT_TRUE( priv );
            pb::Ref<CRY_SIGN_SIGNER> signer = pb::adopt( crySignSignerTryCreate( alg, priv.get() ) );
            for( const std::string &piece : pieces )
                crySignSignerUpdate( signer.get(), buf( piece ).get() );
            std::string signature = bytes( pb::adopt( crySignSignerFinal( signer.get() ) ) ), oneShot = sign( alg, priv, message );
            // If the file has no signature, each new signature differs.
            EXPECT_TRUE( result.empty() || result == "SIGNATURE_MISMATCH" ) << result;
            EXPECT_EQ( signature == output, result.empty() );
            EXPECT_EQ( oneShot == output, result.empty() );
            EXPECT_TRUE( verify( alg, pub, signature, message ) );
            EXPECT_TRUE( verify( alg, pub, oneShot, message ) );
            counts.digestSigns++;
            return {};
        }
        EXPECT_TRUE( result.empty() || result == "VERIFY_ERROR" ) << result;
        pb::Ref<CRY_SIGN_VERIFIER> verifier = pb::adopt( crySignVerifierTryCreate( alg, pub.get(), buf( output ).get() ) );
        for( const std::string &piece : pieces )
            crySignVerifierUpdate( verifier.get(), buf( piece ).get() );
        EXPECT_EQ( (bool)crySignVerifierFinal( verifier.get() ), result.empty() );
        EXPECT_EQ( verify( alg, pub, output, message ), result.empty() );
        counts.digestVerifies++;
        return {};
    }
};

}

TEST( SignVectors, PublicOpensslCases )
{
    NEED_VECTORS( folder );
    EXPECT_EQ( EvpFile().run( *folder / "evp/evppkey_ecdsa.txt" ),
        ( EvpCounts{ 1, 5, 1, 6, { { "digest of another length", 2 }, { "only fips", 5 }, { "other operation", 2 } } } ) );
    EXPECT_EQ( EvpFile().run( *folder / "evp/evppkey_rsa_common.txt.xz" ),
        ( EvpCounts{ 3, 4, 10, 10,
            { { "RSA-PSS key", 3 }, { "only fips", 4 }, { "other digest", 3 }, { "other key", 3 }, { "other operation", 64 + 1 + 1 + 6 + 6 },
                { "other padding", 35 } } } ) );
    EXPECT_EQ( EvpFile().run( *folder / "evp/evppkey_mismatch.txt" ), ( EvpCounts{ 5, 0, 0, 0, {} } ) );
}
