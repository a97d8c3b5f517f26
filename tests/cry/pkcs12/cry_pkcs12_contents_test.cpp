// PKCS#12 files of many kinds, compared with plain PKCS12_parse, and the limits for key derivation.
#include "cry/pkcs12/files.hpp"
#include "cry/pkey/keys.hpp"
#include "support/key_decoding.hpp"

#include <ctime>
#include <functional>
#include <set>

using namespace support;

namespace
{

const std::string secret    = "secret";
constexpr auto    tripleDes = NID_pbe_WithSHA1And3_Key_TripleDES_CBC, rc2 = NID_pbe_WithSHA1And40BitRC2_CBC, rc4 = NID_pbe_WithSHA1And128BitRC4;

struct Case
{
    std::string name;
    std::string file;
    Password    right;
    // The results of plain PKCS12_parse with the right password. They show that not all cases have
    // the same result.
    bool   reads;
    size_t others = 0;
};

// Compares the results for the right password, a wrong one, no password, an empty one, and one that
// only begins with the right one; with the fast paths switched on and off.
void expectAsOpenssl( const std::string &name, const std::string &file, const Password &right )
{
    std::set<Password> passwords = { right, "wrong", std::nullopt, "", right.value_or( "" ) + "x" };
    for( const Password &password : passwords )
    {
        Read wanted = readByOpenssl( file, password );
        for( bool fast : { true, false } )
        {
            KeyDecoding used( fast );
            EXPECT_EQ( readByFamily( file, password ), wanted ) << name << ", password " << password.value_or( "(none)" ) << ", fast " << fast;
        }
    }
}

void expectAsOpenssl( const std::vector<Case> &cases )
{
    for( const Case &each : cases )
    {
        Read read = readByOpenssl( each.file, each.right );
        EXPECT_EQ( read.read, each.reads ) << each.name << ": " << read;
        EXPECT_EQ( read.others.size(), each.others ) << each.name << ": " << read;
        expectAsOpenssl( each.name, each.file, each.right );
    }
}

const Chain &p256()
{
    static Chain chain = chainOf( KeyKind::p256 );
    return chain;
}
Pkey leafKey() { return key( KeyKind::p256, 2 ); }
Pkey otherKey() { return key( KeyKind::p256, 5 ); }

// A second certificate of the leaf's key.
Cert sameKey()
{
    static Cert made = makeCertificate( { .subject = "CN=The same key", .subjectKey = leafKey(), .serial = "9" } );
    return made;
}

X509_ALGOR *quick() { return pbes2( "AES-128-CBC", 1 ); }

std::string plainFile( const Bags &bags, const Mac &mac = macOf( secret ) ) { return fileOf( { dataSafe( bags ) }, mac ); }

}

TEST( CryPkcs12Contents, FilesThatOpensslCreatesAreReadAsOpensslReadsThem )
{
    std::vector<Cert> two = { p256().intermediate, p256().root };
    std::vector<Case> cases;
    for( KeyKind kind : allKeyKinds )
    {
        Chain chain = chainOf( kind );
        cases.push_back( { nameOf( kind ), createdFile( secret, key( kind, 2 ), chain.leaf, { chain.intermediate, chain.root } ), secret, true, 2 } );
    }
    for( const Password &password :
        { Password(), Password( "" ), Password( "σύνθημα γνώρισμα" ), Password( "\xF0\x9F\x94\x91" ), Password( std::string( 300, 'p' ) ) } )
    {
        cases.push_back( { "password " + password.value_or( "(none)" ), createdFile( password, leafKey(), p256().leaf, two ), password, true, 2 } );
        cases.push_back( { "3DES, password " + password.value_or( "(none)" ),
            createdFile( password, leafKey(), p256().leaf, two, tripleDes, tripleDes ), password, true, 2 } );
    }
    cases.push_back( { "no encryption", createdFile( secret, leafKey(), p256().leaf, two, -1, -1 ), secret, true, 2 } );
    cases.push_back( { "no MAC", createdFile( secret, leafKey(), p256().leaf, two, 0, 0, 1, -1 ), secret, false } );
    cases.push_back( { "no MAC, no password", createdFile( {}, leafKey(), p256().leaf, two, 0, 0, 1, -1 ), {}, true, 2 } );
    cases.push_back( { "no MAC, empty password", createdFile( "", leafKey(), p256().leaf, two, 0, 0, 1, -1 ), "", true, 2 } );
    cases.push_back( { "key only", createdFile( secret, leafKey(), nullptr, {} ), secret, false } );
    cases.push_back( { "certificates only", createdFile( secret, nullptr, nullptr, two ), secret, false } );
    cases.push_back( { "key of another certificate", plainFile( { certBag( p256().leaf ), keyBag( otherKey() ) } ), secret, false } );
    cases.push_back( { "usual counts", createdFile( secret, leafKey(), p256().leaf, two, 0, 0, 2048, 2048 ), secret, true, 2 } );
    expectAsOpenssl( cases );
}

TEST( CryPkcs12Contents, EveryAlgorithmIsReadAsOpensslReadsIt )
{
    std::vector<std::pair<std::string, std::function<X509_ALGOR *()>>> algorithms = {
        { "3DES", [] { return pbes1( tripleDes, 3 ); } },
        { "3DES with two keys", [] { return pbes1( NID_pbe_WithSHA1And2_Key_TripleDES_CBC, 3 ); } },
        { "AES-128", [] { return pbes2( "AES-128-CBC", 3, NID_hmacWithSHA1 ); } },
        { "AES-256", [] { return pbes2( "AES-256-CBC", 3 ); } },
        { "AES-256 with SHA-512", [] { return pbes2( "AES-256-CBC", 3, NID_hmacWithSHA512 ); } },
        { "3DES in PBES2", [] { return pbes2( "DES-EDE3-CBC", 3 ); } },
        { "scrypt", [] { return scrypt( 16, 8, 1 ); } },
    };
    if( oldAlgorithmsInstalled() )
    {
        algorithms.emplace_back( "RC2, 40 bits", [] { return pbes1( rc2, 3 ); } );
        algorithms.emplace_back( "RC2, 128 bits", [] { return pbes1( NID_pbe_WithSHA1And128BitRC2_CBC, 3 ); } );
        algorithms.emplace_back( "RC4, 40 bits", [] { return pbes1( NID_pbe_WithSHA1And40BitRC4, 3 ); } );
        algorithms.emplace_back( "RC4, 128 bits", [] { return pbes1( rc4, 3 ); } );
    }
    std::vector<Case> cases;
    for( const auto &[name, algorithm] : algorithms )
    {
        for( const Password &password : { Password( secret ), Password(), Password( "" ) } )
        {
            std::string file = fileOf( { encryptedSafe( { certBag( p256().root ), certBag( p256().leaf ) }, algorithm(), password ),
                                           dataSafe( { shroudedBag( leafKey(), algorithm(), password ) } ) },
                macOf( password, 3 ) );
            cases.push_back( { name + ", password " + password.value_or( "(none)" ), file, password, true, 1 } );
        }
    }
    for( const EVP_MD *digest : { EVP_md5(), EVP_sha1(), EVP_sha384(), EVP_sha512(), EVP_sha3_256() } )
        cases.push_back(
            { EVP_MD_get0_name( digest ), plainFile( { keyBag( leafKey() ), certBag( p256().leaf ) }, macOf( secret, 2, digest ) ), secret, true } );
    expectAsOpenssl( cases );
}

TEST( CryPkcs12Contents, EveryArrangementOfBagsIsReadAsOpensslReadsIt )
{
    const Chain &c     = p256();
    auto         plain = []( const std::string &name, const Bags &bags, bool reads, size_t others = 0 ) {
        return Case{ name, plainFile( bags ), secret, reads, others };
    };
    auto safes = []( const std::string &name, const Safes &list, bool reads, size_t others = 0 ) {
        return Case{ name, fileOf( list, macOf( secret ) ), secret, reads, others };
    };
    expectAsOpenssl( {
        plain( "no bags", {}, false ),
        safes( "no safes", {}, false ),
        plain( "key in a plain bag", { keyBag( leafKey() ), certBag( c.leaf ) }, true ),
        plain( "certificates before the key", { certBag( c.root ), certBag( c.leaf ), keyBag( leafKey() ) }, true, 1 ),
        plain( "leaf last", { keyBag( leafKey() ), certBag( c.root ), certBag( c.intermediate ), certBag( c.leaf ) }, true, 2 ),
        plain( "leaf in the middle", { keyBag( leafKey() ), certBag( c.root ), certBag( c.leaf ), certBag( c.intermediate ) }, true, 2 ),
        plain( "two certificates of one key", { keyBag( leafKey() ), certBag( sameKey() ), certBag( c.root ), certBag( c.leaf ) }, true, 2 ),
        plain( "the same certificate twice", { keyBag( leafKey() ), certBag( c.leaf ), certBag( c.leaf ), certBag( c.leaf ) }, true, 2 ),
        plain( "two keys", { keyBag( leafKey() ), keyBag( otherKey() ), certBag( c.leaf ) }, true ),
        plain( "two keys, the other one first", { keyBag( otherKey() ), keyBag( leafKey() ), certBag( c.leaf ) }, false ),
        plain( "a second key that cannot be decrypted", { keyBag( leafKey() ), shroudedGarbage( quick() ), certBag( c.leaf ) }, true ),
        plain( "a first key that cannot be decrypted", { shroudedGarbage( quick() ), keyBag( leafKey() ), certBag( c.leaf ) }, false ),
        plain( "a key of another password", { shroudedBag( leafKey(), quick(), "other" ), certBag( c.leaf ) }, false ),
        plain( "an algorithm that nobody knows", { shroudedGarbage( sayingRounds( "1", unknownOid ) ), certBag( c.leaf ) }, false ),
        plain( "PBES2 without parameters", { shroudedGarbage( algorithmFromDer( sequence( oidDer( pbes2Oid ) ) ) ), certBag( c.leaf ) }, false ),
        plain(
            "a key function that nobody knows", { shroudedGarbage( sayingFunction( sequence( oidDer( unknownOid ) ) ) ), certBag( c.leaf ) }, false ),
        plain( "a revocation list", { crlBag(), keyBag( leafKey() ), certBag( c.leaf ), crlBag() }, true ),
        plain( "a secret", { secretBag(), keyBag( leafKey() ), certBag( c.leaf ), secretBag() }, true ),
        plain( "an unknown bag", { unknownBag(), keyBag( leafKey() ), unknownBag(), certBag( c.leaf ) }, true ),
        plain( "a certificate of another kind", { keyBag( leafKey() ), sdsiBag(), certBag( c.leaf ) }, true ),
        plain( "a certificate that is none", { keyBag( leafKey() ), certBag( c.leaf ), certBagOf( "none" ) }, false ),
        plain( "an empty certificate", { keyBag( leafKey() ), certBagOf( "" ), certBag( c.leaf ) }, false ),
        plain( "bytes behind a certificate", { keyBag( leafKey() ), certBagOf( der( c.leaf ) + "behind" ) }, true ),
        plain( "a key that is none",
            { keyBagOf( sequence( integerDer( "0" ) + sequence( oidDer( unknownOid ) ) + octets( "key" ) ) ), certBag( c.leaf ) }, false ),
        plain( "a nested bag", { nestedBag( { keyBag( leafKey() ), certBag( c.leaf ) } ), certBag( c.root ) }, true, 1 ),
        plain( "an empty nested bag", { keyBag( leafKey() ), nestedBag( Bags{} ), certBag( c.leaf ) }, true ),
        plain( "nested and plain bags in turn",
            { certBag( c.root ), nestedBag( { nestedBag( { keyBag( leafKey() ) } ), certBag( c.intermediate ) } ), certBag( c.leaf ) }, true, 2 ),
        safes( "a shrouded key in an encrypted safe",
            { encryptedSafe( { shroudedBag( leafKey(), quick(), secret ), certBag( c.leaf ) }, quick(), secret ) }, true ),
        safes( "a nested bag in an encrypted safe", { encryptedSafe( { nestedBag( { keyBag( leafKey() ), certBag( c.leaf ) } ) }, quick(), secret ) },
            true ),
        safes( "certificates in several safes",
            { dataSafe( { certBag( c.root ) } ), encryptedSafe( { certBag( c.leaf ) }, quick(), secret ), dataSafe( { keyBag( leafKey() ) } ),
                dataSafe( { certBag( c.intermediate ) } ) },
            true, 2 ),
        safes( "an encrypted safe of another password",
            { dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ), encryptedSafe( { certBag( c.root ) }, quick(), "other" ) }, false ),
        safes(
            "an encrypted safe of no bags", { encryptedSafe( {}, quick(), secret ), dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ) }, true ),
        safes( "safes of other kinds", { digestedSafe(), dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ), unknownSafe() }, true ),
        safes( "a safe that holds no bags but bytes", { dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ), dataSafeOf( "bytes" ) }, false ),
        safes( "an empty safe", { dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ), dataSafeOf( "" ) }, false ),
        safes( "bytes behind the bags of a safe",
            { dataSafe( { certBag( c.leaf ) } ), dataSafeOf( sequence( bagDer( keyBag( leafKey() ) ) ) + "behind" ) }, true ),
        safes( "a safe without content", { dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ), safeFromDer( dataOid, "" ) }, false ),
        safes(
            "an encrypted safe without content", { dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ), safeFromDer( encryptedOid, "" ) }, false ),
        safes( "an encrypted safe without a cipher text",
            { dataSafe( { keyBag( leafKey() ), certBag( c.leaf ) } ),
                safeFromDer( encryptedOid, sequence( integerDer( "0" ) + sequence( oidDer( dataOid ) + sequence( oidDer( sha1And3DesOid ) ) ) ) ) },
            false ),
        { "no safes at all, not even none", sequence( integerDer( "3" ) + sequence( oidDer( dataOid ) ) ), {}, false },
        { "bytes in place of the safes", sequence( integerDer( "3" ) + sequence( oidDer( dataOid ) + tlv( 0xA0, octets( "bytes" ) ) ) ), {}, false },
        { "signed safes", sequence( integerDer( "3" ) + sequence( oidDer( unknownOid ) + tlv( 0xA0, octets( "bytes" ) ) ) ), {}, false },
    } );
}

TEST( CryPkcs12Contents, NamesAndKeyIdsOfBagsAreReadAsOpensslReadsThem )
{
    const Chain &c      = p256();
    auto         labels = []( PKCS12_SAFEBAG *bag, const std::string &name ) { return withKeyId( named( bag, name ), "id of " + name ); };
    auto         bags   = [&] {
        return Bags{ labels( keyBag( leafKey() ), "key" ), named( certBag( c.root ), "συλλογή" ), labels( certBag( c.leaf ), "leaf" ),
            withKeyId( certBag( c.intermediate ), std::string( "\0\xFF", 2 ) ) };
    };
    Bags surprise = { keyBag( leafKey() ), named( withKeyId( certBag( c.leaf ), "" ), "" ), named( certBag( c.root ), std::string( "a\0b", 3 ) ) };
    std::string plain = plainFile( bags() ), encrypted = fileOf( { encryptedSafe( bags(), quick(), secret ) }, macOf( secret ) );
    std::string strange = plainFile( surprise );
    expectAsOpenssl( { { "plain", plain, secret, true, 2 }, { "encrypted", encrypted, secret, true, 2 }, { "strange", strange, secret, true, 1 } } );
    std::vector<std::string> wanted = { "\"leaf\", \"id of leaf\"", std::string( "none, \"\0\xFF\"", 10 ), "\"συλλογή\", none" };
    EXPECT_EQ( readByFamily( plain, secret ).labels, wanted );
    EXPECT_EQ( readByFamily( encrypted, secret ).labels, wanted );
    EXPECT_EQ( readByFamily( strange, secret ).labels, ( std::vector<std::string>{ "\"\", \"\"", std::string( "\"a\0b\", none", 11 ) } ) );
    takeErrors();
}

TEST( CryPkcs12Contents, AttributesOfTheWrongTypeFailAsOpensslFails )
{
    const Chain                             &c     = p256();
    std::vector<std::pair<std::string, int>> types = { { "octets", V_ASN1_OCTET_STRING }, { "UTF-8", V_ASN1_UTF8STRING }, { "IA5", V_ASN1_IA5STRING },
        { "BMP", V_ASN1_BMPSTRING } };
    using MakeBag                                  = PKCS12_SAFEBAG *(*)();
    std::vector<std::pair<std::string, MakeBag>> others = { { "secret", secretBag }, { "CRL", crlBag }, { "unknown", unknownBag },
        { "SDSI", sdsiBag }, { "nested", [] { return nestedBag( Bags{ certBag( p256().root ) } ); } }, { "key", [] { return keyBag( otherKey() ); } },
        { "certificate", [] { return certBag( p256().root ); } } };
    std::vector<Case>                            cases;
    for( int attribute : { NID_friendlyName, NID_localKeyID } )
    {
        for( const auto &[typeName, type] : types )
        {
            bool        right = type == ( attribute == NID_friendlyName ? V_ASN1_BMPSTRING : V_ASN1_OCTET_STRING );
            std::string what  = std::string( OBJ_nid2sn( attribute ) ) + " as " + typeName + " of the ";
            // For other attributes than the name, a BMPString would need another form.
            if( type == V_ASN1_BMPSTRING && attribute != NID_friendlyName )
                continue;
            cases.push_back(
                { what + "key", plainFile( { with( keyBag( leafKey() ), attribute, type, "text" ), certBag( c.leaf ) } ), secret, right } );
            cases.push_back(
                { what + "leaf", plainFile( { keyBag( leafKey() ), with( certBag( c.leaf ), attribute, type, "text" ) } ), secret, right } );
            for( const auto &[name, make] : others )
            {
                size_t more = name == "nested" || name == "certificate";
                Bags   bags = { keyBag( leafKey() ), certBag( c.leaf ), with( make(), attribute, type, "text" ) };
                cases.push_back( { what + name, plainFile( bags ), secret, right, right ? more : 0 } );
            }
            cases.push_back( { what + "leaf in a nested bag",
                plainFile( { keyBag( leafKey() ), nestedBag( { with( certBag( c.leaf ), attribute, type, "text" ) } ) } ), secret, right } );
        }
    }
    EXPECT_GT( cases.size(), 60u );
    expectAsOpenssl( cases );
    EXPECT_EQ( readByFamily( cases[0].file, secret ).said, "PKCS12_parse() failed: error:11800072:PKCS12 routines::parse error" );
    takeErrors();
}

TEST( CryPkcs12Contents, KeysOfUnusualKindsAreReadAsOpensslReadsThem )
{
    auto file = []( const Pkey &inBag, const Pkey &inCertificate ) {
        Cert cert = makeCertificate(
            { .subject = "CN=Unusual", .subjectKey = inCertificate, .issuer = p256().root, .issuerKey = key( KeyKind::p256, 0 ) } );
        return fileOf(
            { encryptedSafe( { certBag( p256().root ), certBag( cert ) }, quick(), secret ), dataSafe( { shroudedBag( inBag, quick(), secret ) } ) },
            macOf( secret ) );
    };
    Pkey unnamed = newUnnamedCurveKey(), explicitCurve = newEcKey( "P-256", "explicit" ), sm2 = newSm2Key(), x25519 = newKey( "X25519" ),
         ed448     = newKey( "ED448" );
    Pkey secp256k1 = newEcKey( "secp256k1" ), binary = newEcKey( "sect283k1" );
    // The same key, written with the name of its curve.
    Pkey named( EVP_PKEY_dup( explicitCurve.get() ), EVP_PKEY_free );
    ASSERT_EQ( EVP_PKEY_set_utf8_string_param( named.get(), OSSL_PKEY_PARAM_EC_ENCODING, "named_curve" ), 1 );
    // An RSA key whose algorithm has no NULL. The fast paths do not read it.
    std::string rsa    = bodyOf( pkcs8Text( key( KeyKind::rsa, 2 ).get() ) );
    std::string inside = octets( rsa.substr( 26 ) );
    std::string noNull = sequence( integerDer( "0" ) + sequence( oidDer( "1.2.840.113549.1.1.1" ) ) + inside );
    ASSERT_EQ( rsa.substr( 22, 2 ), "\x04\x82" );
    expectAsOpenssl( {
        { "unnamed curve", file( unnamed, unnamed ), secret, true, 1 },
        { "explicit curve", file( explicitCurve, explicitCurve ), secret, true, 1 },
        { "explicit curve in the key alone", file( explicitCurve, named ), secret, true, 1 },
        { "explicit curve in the certificate alone", file( named, explicitCurve ), secret, true, 1 },
        { "SM2", file( sm2, sm2 ), secret, true, 1 },
        { "X25519", file( x25519, x25519 ), secret, true, 1 },
        { "Ed448", file( ed448, ed448 ), secret, true, 1 },
        { "secp256k1", file( secp256k1, secp256k1 ), secret, true, 1 },
        { "sect283k1", file( binary, binary ), secret, true, 1 },
        { "RSA without NULL", plainFile( { keyBagOf( noNull ), certBag( chainOf( KeyKind::rsa ).leaf ) } ), secret, true },
    } );
}

// A key that was encrypted with another password than that of the MAC.
static std::string shroudedDifferently( X509_ALGOR *algorithm )
{
    return plainFile( { shroudedBag( leafKey(), algorithm, "other" ), certBag( p256().leaf ) } );
}

TEST( CryPkcs12Contents, WhatCannotBeDecryptedIsReportedAsOpensslReportsIt )
{
    expectAsOpenssl( {
        { "3DES", shroudedDifferently( pbes1( tripleDes, 1 ) ), secret, false },
        { "AES", shroudedDifferently( quick() ), secret, false },
        { "3DES certificates",
            fileOf( { encryptedSafe( { certBag( p256().leaf ) }, pbes1( tripleDes, 1 ), "other" ), dataSafe( { keyBag( leafKey() ) } ) },
                macOf( secret ) ),
            secret, false },
    } );
}

TEST( CryPkcs12Contents, WhatCannotBeDecryptedWithAnOldAlgorithmIsReportedAsOpensslReportsIt )
{
    NEED_OLD_ALGORITHMS;
    expectAsOpenssl( {
        { "RC2 certificates",
            fileOf( { encryptedSafe( { certBag( p256().leaf ) }, pbes1( rc2, 1 ), "other" ), dataSafe( { keyBag( leafKey() ) } ) }, macOf( secret ) ),
            secret, false },
        { "RC2 certificates and a broken one",
            fileOf(
                { encryptedSafe( { certBag( p256().leaf ), certBagOf( "none" ) }, pbes1( rc2, 1 ), secret ), dataSafe( { keyBag( leafKey() ) } ) },
                macOf( secret ) ),
            secret, false },
    } );
}

TEST( CryPkcs12Contents, AnOldAlgorithmOfAKeyIsNotTheReasonForAnotherFailure )
{
    NEED_OLD_ALGORITHMS;
    expectAsOpenssl( {
        { "RC2, another password", shroudedDifferently( pbes1( rc2, 1 ) ), secret, false },
        { "RC2 and a broken certificate", plainFile( { shroudedBag( leafKey(), pbes1( rc2, 1 ), secret ), certBagOf( "none" ) } ), secret, false },
    } );
}

TEST( CryPkcs12Contents, ChangedAndCutFilesAreReadAsOpensslReadsThem )
{
    const Chain             &c     = p256();
    std::vector<std::string> files = {
        // Nothing in the first file is encrypted, so a changed file can also be valid.
        fileOf( { dataSafe( { keyBag( leafKey() ), certBag( c.root ), nestedBag( { certBag( c.leaf ) } ) } ) }, noMac ),
        fileOf( { encryptedSafe( { certBag( c.leaf ) }, quick(), {} ), dataSafe( { shroudedBag( leafKey(), quick(), {} ) } ) }, noMac ),
        fileOf(
            { dataSafe( { shroudedBag( leafKey(), scrypt( 2, 1, 1 ), {} ) } ), encryptedSafe( { certBag( c.leaf ) }, pbes1( tripleDes, 1 ), {} ) },
            macOf( {} ) ),
    };
    int  cases = 0, reads = 0, refused = 0;
    auto expectSame = [&]( const std::string &file, size_t at, const char *what ) {
        Read read = readByFamily( file, {} );
        cases++;
        reads += read.read;
        refused += read.refused();
        if( !read.refused() )
            ASSERT_EQ( read, readByOpenssl( file, {} ) ) << what << " at " << at << ": " << hex( file );
    };
    for( const std::string &file : files )
    {
        for( size_t at = 0; at < file.size(); at++ )
        {
            // Mostly bits that tell the kind of an element, since parsers look at these.
            unsigned changes[] = { 0x01, 0x80, 0x20u << at % 2, 0xFF };
            for( unsigned change : changes )
            {
                std::string changed = file;
                changed[at]         = (char)( (unsigned char)changed[at] ^ change );
                expectSame( changed, at, "changed" );
                if( HasFatalFailure() )
                    return;
            }
            if( at % 3 == 0 )
                expectSame( file.substr( 0, at ), at, "cut" );
            if( at % 7 == 0 )
                expectSame( file.substr( 0, at ) + file.substr( at + 1 ), at, "one byte less" );
            if( HasFatalFailure() )
                return;
        }
    }
    EXPECT_GT( cases, 5000 );
    EXPECT_GT( reads, 100 );
    EXPECT_LT( reads, cases / 2 );
    // Files are refused only if the change makes a count of rounds too large.
    EXPECT_LT( refused, 20 );
}

// ---- limits

namespace
{

// The processor time that reading takes in this thread, in seconds.
double secondsOf( const std::function<void()> &read )
{
    auto now = [] {
        timespec time;
        clock_gettime( CLOCK_THREAD_CPUTIME_ID, &time );
        return (double)time.tv_sec + (double)time.tv_nsec / 1e9;
    };
    double start = now();
    read();
    return now() - start;
}

constexpr char tooManyRounds[] =
    "the file is refused: it asks for more than 10000000 rounds of key derivation for one key, or more than 30000000 in all";

// Ten million rounds take seconds; the largest numbers of rounds take more than a quarter of an
// hour.
void expectRefused( const std::string &name, const std::string &file, const Password &password )
{
    Read   read;
    double seconds = secondsOf( [&] { read = readByFamily( file, password ); } );
    EXPECT_FALSE( read.read ) << name;
    EXPECT_EQ( read.said, tooManyRounds ) << name;
    // It is not the code for a wrong password, and not another code of OpenSSL's.
    EXPECT_GE( ERR_GET_LIB( (unsigned long)read.code ), ERR_LIB_USER ) << name;
    EXPECT_STREQ( ERR_lib_error_string( (unsigned long)read.code ), "cry" ) << name;
    EXPECT_STREQ( ERR_reason_error_string( (unsigned long)read.code ), "too many rounds of key derivation" ) << name;
    EXPECT_LT( seconds, 0.5 ) << name;
}

void expectNotRefused( const std::string &name, const std::string &file, const Password &password )
{
    Read read = readByFamily( file, password );
    EXPECT_FALSE( read.refused() ) << name;
    EXPECT_EQ( read, readByOpenssl( file, password ) ) << name;
}

// A place in a file that holds a number of rounds, and the factor by which that number counts.
// Where OpenSSL may reach the number, another part of the algorithm is unknown, so OpenSSL derives
// nothing.
struct Place
{
    std::string                                       name;
    std::function<std::string( const std::string & )> file;
    Password                                          password = {};
    int                                               times    = 1;
};

X509_ALGOR *sayingUnknown( const std::string &rounds ) { return sayingRounds( rounds, unknownOid ); }
X509_ALGOR *sayingUnknownPbkdf2( const std::string &rounds ) { return sayingPbkdf2Rounds( rounds, unknownOid ); }
X509_ALGOR *sayingUnknownCost( const std::string &cost ) { return sayingScrypt( cost, "1", "1", unknownOid ); }
X509_ALGOR *sayingUnknownBlock( const std::string &size ) { return sayingScrypt( "1", size, "1", unknownOid ); }
X509_ALGOR *sayingUnknownLanes( const std::string &lanes ) { return sayingScrypt( "1", "1", lanes, unknownOid ); }

std::string withMac( const std::string &rounds, const Password &password )
{
    return plainFile( { keyBag( leafKey() ), certBag( p256().leaf ) }, { .password = password, .says = rounds, .unknown = true } );
}

std::vector<Place> places()
{
    std::vector<Place> list = {
        { "MAC", []( auto &rounds ) { return withMac( rounds, secret ); }, secret },
        { "MAC, without a password", []( auto &rounds ) { return withMac( rounds, {} ); } },
        { "MAC, with an empty password", []( auto &rounds ) { return withMac( rounds, "" ); }, "" },
    };
    std::vector<std::pair<std::string, X509_ALGOR *(*)( const std::string & )>> algorithms = { { "PBES1", sayingUnknown },
        { "PBKDF2", sayingUnknownPbkdf2 }, { "scrypt, cost", sayingUnknownCost }, { "scrypt, size of a block", sayingUnknownBlock },
        { "scrypt, lanes", sayingUnknownLanes } };
    for( const auto &[name, algorithm] : algorithms )
    {
        int  times  = name.starts_with( "scrypt" ) ? 2 : 1;
        auto saying = algorithm;
        list.push_back(
            { name + " of a safe", [=]( auto &rounds ) { return fileOf( { encryptedGarbage( saying( rounds ) ) }, noMac ); }, {}, times } );
        list.push_back( { name + " of a key",
            [=]( auto &rounds ) { return fileOf( { dataSafe( { shroudedGarbage( saying( rounds ) ) } ) }, noMac ); }, {}, times } );
        list.push_back( { name + " of a key behind another",
            [=]( auto &rounds ) {
                return fileOf( { dataSafe( { keyBag( leafKey() ), certBag( p256().leaf ), shroudedGarbage( saying( rounds ) ) } ) }, noMac );
            },
            {}, times } );
        list.push_back( { name + " of a nested key",
            [=]( auto &rounds ) { return fileOf( { dataSafe( { nestedBag( 3, { shroudedGarbage( saying( rounds ) ) } ) } ) }, noMac ); }, {},
            times } );
    }
    return list;
}

}

TEST( CryPkcs12Contents, TenMillionRoundsAreTheMostThatIsDerivedForOneKey )
{
    for( const Place &place : places() )
    {
        std::string most = std::to_string( 10000000 / place.times ), more = std::to_string( 10000000 / place.times + 1 );
        expectNotRefused( place.name + ", " + most, place.file( most ), place.password );
        expectNotRefused( place.name + ", none", place.file( "0" ), place.password );
        for( const std::string &rounds : { more, std::string( "2147483647" ), std::string( "4294967296" ), std::string( "4611686018427387904" ),
                 std::string( "9223372036854775807" ), std::string( "9223372036854775808" ), std::string( "2361183241434822606848" ) } )
            expectRefused( place.name + ", " + rounds, place.file( rounds ), place.password );
    }
}

TEST( CryPkcs12Contents, NegativeCountsAreOpensslsMatter )
{
    for( const Place &place : places() )
    {
        for( const char *rounds : { "-1", "-10000001", "-2147483647", "-2147483648" } )
            expectNotRefused( place.name + ", " + rounds, place.file( rounds ), place.password );
        // Numbers that do not fit into 64 bits.
        expectNotRefused( place.name + ", 9 bytes", place.file( "-9223372036854775809" ), place.password );
        expectNotRefused( place.name + ", 20 bytes", place.file( "-" + std::string( 48, '9' ) ), place.password );
    }
}

TEST( CryPkcs12Contents, NegativeCountsThatOpensslTakesForPositiveOnesAreRefused )
{
    // The lower 32 bits of these numbers are 2147483647, 300000 and 2147483647.
    for( const std::string rounds : { "-2147483649", "-4294667296", "-9223372034707292161" } )
    {
        for( const Place &place : places() )
            expectRefused( place.name + ", " + rounds, place.file( rounds ), place.password );
        Mac mac = { .password = secret, .rounds = 300000, .says = rounds };
        expectRefused( "MAC, " + rounds, plainFile( { keyBag( leafKey() ), certBag( p256().leaf ) }, mac ), secret );
        expectRefused( "key, " + rounds, plainFile( { shroudedGarbage( sayingRounds( rounds ) ) } ), secret );
    }
}

TEST( CryPkcs12Contents, KnownAlgorithmsWithTooManyRoundsAreRefusedBeforeAnythingIsDerived )
{
    for( const std::string rounds : { "10000001", "2147483647", "4611686018427387904" } )
    {
        for( X509_ALGOR *( *saying )(const std::string &) : { +[]( const std::string &count ) { return sayingRounds( count ); },
                 +[]( const std::string &count ) { return sayingPbkdf2Rounds( count ); },
                 +[]( const std::string &count ) { return sayingScrypt( count, "8", "1" ); } } )
        {
            Bags first = { keyBag( leafKey() ), certBag( p256().leaf ) };
            expectRefused( "safe, " + rounds, fileOf( { encryptedGarbage( saying( rounds ) ) }, noMac ), {} );
            expectRefused(
                "safe behind another, " + rounds, fileOf( { dataSafe( first ), encryptedGarbage( saying( rounds ) ) }, macOf( secret ) ), secret );
            expectRefused( "key, " + rounds, fileOf( { dataSafe( { shroudedGarbage( saying( rounds ) ) } ) }, macOf( secret ) ), secret );
            // The result is the same for any password.
            expectRefused(
                "key, wrong password, " + rounds, fileOf( { dataSafe( { shroudedGarbage( saying( rounds ) ) } ) }, macOf( secret ) ), "wrong" );
        }
        Mac mac = { .password = secret, .says = rounds };
        expectRefused( "MAC, " + rounds, plainFile( { keyBag( leafKey() ), certBag( p256().leaf ) }, mac ), secret );
        expectRefused( "MAC, wrong password, " + rounds, plainFile( { keyBag( leafKey() ), certBag( p256().leaf ) }, mac ), "wrong" );
        expectRefused( "MAC, no password, " + rounds, plainFile( { keyBag( leafKey() ), certBag( p256().leaf ) }, mac ), {} );
    }
}

TEST( CryPkcs12Contents, RoundsOfAllPartsAreAddedUp )
{
    auto file = []( const char *mac, const char *safe, const char *bag, const char *nested, const char *function ) {
        return fileOf(
            { encryptedGarbage( sayingUnknown( safe ) ), dataSafe( { shroudedGarbage( sayingUnknown( bag ) ), certBag( p256().leaf ) } ),
                dataSafe( { nestedBag( { shroudedGarbage( sayingUnknown( nested ) ) } ) } ), encryptedGarbage( sayingUnknownPbkdf2( function ) ) },
            { .password = secret, .says = mac, .unknown = true } );
    };
    expectNotRefused( "all", file( "6000000", "6000000", "6000000", "6000000", "6000000" ), secret );
    expectRefused( "one more for the MAC", file( "6000001", "6000000", "6000000", "6000000", "6000000" ), secret );
    expectRefused( "one more for the first safe", file( "6000000", "6000001", "6000000", "6000000", "6000000" ), secret );
    expectRefused( "one more for a bag", file( "6000000", "6000000", "6000001", "6000000", "6000000" ), secret );
    expectRefused( "one more for a nested bag", file( "6000000", "6000000", "6000000", "6000001", "6000000" ), secret );
    expectRefused( "one more for the last safe", file( "6000000", "6000000", "6000000", "6000000", "6000001" ), secret );
    // A sum that does not fit into 64 bits.
    expectRefused( "more than there are numbers", file( "9223372036854775807", "9223372036854775807", "2", "9223372036854775807", "1" ), secret );
    // Without a password the MAC counts twice.
    expectRefused( "without a password", file( "6000000", "6000000", "6000000", "6000000", "6000000" ), {} );
    expectNotRefused( "without a password, fewer", file( "3000000", "6000000", "6000000", "6000000", "6000000" ), {} );
}

TEST( CryPkcs12Contents, ProductsOfScryptNumbersAreCounted )
{
    auto file = []( const char *cost, const char *size, const char *lanes ) {
        return fileOf( { encryptedGarbage( sayingScrypt( cost, size, lanes, unknownOid ) ) }, noMac );
    };
    expectNotRefused( "5000000", file( "500000", "5", "2" ), {} );
    expectRefused( "5000001", file( "5000001", "1", "1" ), {} );
    expectRefused( "6000000", file( "500000", "6", "2" ), {} );
    expectRefused( "2^62 each", file( "4611686018427387904", "4611686018427387904", "4611686018427387904" ), {} );
    expectRefused( "2^33 each", file( "8589934592", "8589934592", "8589934592" ), {} );
    expectNotRefused( "a zero among them", file( "4611686018427387904", "4611686018427387904", "0" ), {} );
}

TEST( CryPkcs12Contents, RoundsInsideAnEncryptedSafeAreCountedBeforeTheyAreDerived )
{
    auto file = []( X509_ALGOR *outer, X509_ALGOR *inner ) {
        return fileOf( { encryptedSafe( { keyBag( leafKey() ), certBag( p256().leaf ), shroudedGarbage( inner ) }, outer, {} ) }, noMac );
    };
    expectNotRefused( "most", file( quick(), sayingUnknown( "10000000" ) ), {} );
    expectRefused( "one more", file( quick(), sayingUnknown( "10000001" ) ), {} );
    expectNotRefused( "most, PBKDF2", file( quick(), sayingUnknownPbkdf2( "10000000" ) ), {} );
    expectRefused( "one more, PBKDF2", file( quick(), sayingUnknownPbkdf2( "10000001" ) ), {} );
    for( const char *rounds : { "2147483647", "4611686018427387904", "9223372036854775808" } )
    {
        expectRefused( rounds, file( quick(), sayingRounds( rounds ) ), {} );
        std::string keyFirst = fileOf(
            { encryptedSafe( { nestedBag( { shroudedGarbage( sayingPbkdf2Rounds( rounds ) ) } ) }, quick(), secret ) }, macOf( secret ) );
        expectRefused( rounds, keyFirst, secret );
        // With another password the content of the safe is not known.
        expectNotRefused( rounds, keyFirst, "wrong" );
    }
    // Several safes that exceed the limit together; the rounds of the safes themselves count too.
    auto more = []( const char *rounds ) {
        return encryptedSafe( { shroudedGarbage( sayingUnknown( rounds ) ) }, pbes2( "AES-128-CBC", 1000 ), {} );
    };
    auto first = [] { return dataSafe( { keyBag( leafKey() ), certBag( p256().leaf ) } ); };
    expectNotRefused( "two safes", fileOf( { first(), more( "10000000" ), more( "10000000" ) }, noMac ), {} );
    expectNotRefused( "three safes", fileOf( { first(), more( "10000000" ), more( "10000000" ), more( "9997000" ) }, noMac ), {} );
    expectRefused( "three safes and one round", fileOf( { first(), more( "10000000" ), more( "10000000" ), more( "9997001" ) }, noMac ), {} );
}

TEST( CryPkcs12Contents, RoundsBehindWhatOpensslIsAskedAboutAreCounted )
{
    // PKCS12_parse decides itself whether it goes on after a broken bag or without a MAC.
    auto hidden = [] { return encryptedSafe( { shroudedGarbage( sayingRounds( "2147483647" ) ) }, quick(), secret ); };
    auto broken = [] { return dataSafe( { keyBag( leafKey() ), certBag( p256().leaf ), certBagOf( "none" ) } ); };
    expectRefused( "behind a broken bag", fileOf( { broken(), hidden() }, macOf( secret ) ), secret );
    expectRefused( "without a MAC", fileOf( { hidden() }, noMac ), secret );
    expectNotRefused( "behind a wrong MAC", fileOf( { broken(), hidden() }, macOf( secret ) ), "wrong" );
}

TEST( CryPkcs12Contents, AnyNumberOfBagsIsRead )
{
    auto secrets = []( int count ) {
        std::string one = bagDer( secretBag() ), all;
        for( int index = 0; index < count; index++ )
            all += one;
        return all;
    };
    std::string own = bagDer( keyBag( leafKey() ) ) + bagDer( certBag( p256().leaf ) );
    for( int count : { 9998, 9999, 100000 } )
    {
        std::string file = fileOf( { dataSafeOf( sequence( own + secrets( count ) ) ), dataSafeOf( sequence( secrets( count ) ) ) }, noMac );
        EXPECT_TRUE( readByFamily( file, {} ).read ) << count;
        expectNotRefused( std::to_string( count ), file, {} );
    }
}

TEST( CryPkcs12Contents, BagsAreNestedAsDeepAsOpensslAllows )
{
    auto own   = [] { return Bags{ keyBag( leafKey() ), certBag( p256().leaf ) }; };
    auto plain = [&]( int depth ) { return fileOf( { dataSafe( { nestedBag( depth, own() ) } ) }, noMac ); };
    // The decoder cannot make deeper bags, so the outer bytes are written by hand.
    auto deep = [&]( int depth ) {
        std::string bags = bagDer( keyBag( leafKey() ) ) + bagDer( certBag( p256().leaf ) );
        for( ; depth; depth-- )
            bags = sequence( oidDer( "1.2.840.113549.1.12.10.1.6" ) + tlv( 0xA0, sequence( bags ) ) );
        return fileOf( { dataSafeOf( sequence( bags ) ) }, noMac );
    };
    for( int depth : { 1, 10, 11, 20 } )
    {
        EXPECT_TRUE( readByFamily( plain( depth ), {} ).read ) << depth;
        std::string encrypted = fileOf( { encryptedSafe( { nestedBag( depth, own() ) }, quick(), secret ) }, macOf( secret ) );
        EXPECT_TRUE( readByFamily( encrypted, secret ).read ) << depth;
    }
    std::set<bool> read;
    for( int depth = 1; depth < 40; depth++ )
    {
        expectNotRefused( std::to_string( depth ), deep( depth ), {} );
        read.insert( readByFamily( deep( depth ), {} ).read );
    }
    EXPECT_EQ( read.size(), 2u );
    expectNotRefused( "far too deep", deep( 2000 ), {} );
}

TEST( CryPkcs12Contents, FilesWithATooLargeKeyAreRefused )
{
    constexpr char       said[] = "the file is refused: a key in it has a number of more than 16384 bits";
    const Chain         &c      = p256();
    std::string          der    = discreteKey( dsaOid, 4000000 );
    const unsigned char *at     = (const unsigned char *)der.data();
    auto                 sealed = [&] {
        at                        = (const unsigned char *)der.data();
        PKCS8_PRIV_KEY_INFO *info = d2i_PKCS8_PRIV_KEY_INFO( nullptr, &at, (long)der.size() );
        X509_SIG            *sig  = PKCS8_set0_pbe_ex( secret.c_str(), -1, info, quick(), nullptr, nullptr );
        PKCS8_PRIV_KEY_INFO_free( info );
        return PKCS12_SAFEBAG_create0_pkcs8( sig );
    };
    for( const std::string &file : { plainFile( { keyBagOf( der ), certBag( c.leaf ) } ), plainFile( { sealed(), certBag( c.leaf ) } ),
             fileOf( { encryptedSafe( { keyBagOf( der ), certBag( c.leaf ) }, quick(), secret ) }, macOf( secret ) ) } )
    {
        Read   read;
        double seconds = secondsOf( [&] { read = readByFamily( file, secret ); } );
        EXPECT_FALSE( read.read );
        EXPECT_EQ( read.said, said );
        EXPECT_STREQ( ERR_lib_error_string( (unsigned long)read.code ), "cry" );
        EXPECT_STREQ( ERR_reason_error_string( (unsigned long)read.code ), "a key with numbers that are too large" );
        EXPECT_LT( seconds, 2 );
    }
    takeErrors();
}
