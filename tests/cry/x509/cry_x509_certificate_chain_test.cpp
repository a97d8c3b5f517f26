#include <cry/cry_x509_certificates.h>
#include <cry/internal/cry_x509_certificate.h>
#include <cry/internal/cry_x509_certificate_chain.h>

#include "support/certificates.hpp"
#include "support/text.hpp"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <openssl/err.h>
#include <openssl/x509_vfy.h>
#include <thread>

using namespace support;

namespace
{

using Certificate  = pb::Ref<CRY_X509_CERTIFICATE>;
using Certificates = pb::Ref<CRY_X509_CERTIFICATES>;
using Extensions   = std::vector<std::pair<std::string, std::string>>;

// The three certificates of a chain, as objects of the library.
struct Three
{
    explicit Three( KeyKind kind ) : Three( chainOf( kind ) ) {}
    explicit Three( const Chain &chain ) :
        root( certificate( chain.root ) ), intermediate( certificate( chain.intermediate ) ), leaf( certificate( chain.leaf ) )
    {
    }

    Certificate root;
    Certificate intermediate;
    Certificate leaf;
};

Certificates verify( const Certificate &cert, const Certificates &extra, const Certificates &trusted, const pb::Ref<PB_TIME> &tm )
{
    return pb::adopt( cry___X509CertificateChainTryVerifyCertificate( cert.get(), extra.get(), trusted.get(), tm.get() ) );
}
Certificates verify( const Certificate &cert, const Certificates &extra, const Certificates &trusted, std::string_view tm = leafTime )
{
    return verify( cert, extra, trusted, support::time( tm ) );
}

// The objects of a chain; empty if there is no chain.
std::vector<CRY_X509_CERTIFICATE *> objects( const Certificates &chain )
{
    std::vector<CRY_X509_CERTIFICATE *> list;
    if( chain )
    {
        for( const Certificate &each : members( chain.get() ) )
            list.push_back( each.get() );
    }
    return list;
}

std::vector<CRY_X509_CERTIFICATE *> objects( const std::vector<Certificate> &certs )
{
    std::vector<CRY_X509_CERTIFICATE *> list;
    for( const Certificate &each : certs )
        list.push_back( each.get() );
    return list;
}

// The same certificate in another object, with another OpenSSL object.
Certificate twin( const Certificate &cert ) { return pb::adopt( cryX509CertificateTryCreateFromDer( buf( der( cert.get() ) ).get() ) ); }

Cert authority( const std::string &subject, int number, const Cert &issuer = {}, int issuerNumber = 0,
    Extensions extensions = { { "basicConstraints", "critical,CA:TRUE" } } )
{
    return makeCertificate( { .subject = subject,
        .subjectKey                    = key( KeyKind::p256, number ),
        .issuer                        = issuer,
        .issuerKey                     = issuer ? key( KeyKind::p256, issuerNumber ) : Pkey(),
        .serial                        = std::to_string( number + 1 ),
        .extensions                    = std::move( extensions ) } );
}

Cert endEntity( const std::string &subject, const Cert &issuer, int issuerNumber, Extensions extensions = {} )
{
    return authority( subject, 9, issuer, issuerNumber, std::move( extensions ) );
}

// Whether a leaf under an intermediate with these extensions verifies.
bool verifiesUnder( Extensions intermediateExtensions, Extensions leafExtensions = {} )
{
    Cert root         = authority( "CN=Root", 0 );
    Cert intermediate = authority( "CN=Intermediate", 1, root, 0, std::move( intermediateExtensions ) );
    Cert leaf         = endEntity( "CN=leaf.example", intermediate, 1, std::move( leafExtensions ) );
    return (bool)verify( certificate( leaf ), certificates( { certificate( intermediate ) } ), certificates( { certificate( root ) } ) );
}

}

TEST( CryX509CertificateChain, GivesTheChainLeafFirstInTheGivenObjects )
{
    for( KeyKind kind : allKeyKinds )
    {
        Three        three( kind );
        Certificates chain = verify( three.leaf, certificates( { three.intermediate } ), certificates( { three.root } ) );
        EXPECT_EQ( objects( chain ), objects( { three.leaf, three.intermediate, three.root } ) ) << nameOf( kind );
    }
}

TEST( CryX509CertificateChain, FindsItsWayAmongOthers )
{
    Three                    three( KeyKind::p256 );
    std::vector<Certificate> extra;
    std::vector<Certificate> trusted;
    for( KeyKind kind : { KeyKind::rsa, KeyKind::ed25519, KeyKind::rsaPss } )
    {
        Three other( kind );
        extra.insert( extra.end(), { other.leaf, other.root, other.intermediate, three.leaf } );
        trusted.push_back( other.root );
    }
    extra.insert( extra.begin() + 2, three.intermediate );
    trusted.insert( trusted.begin() + 1, three.root );
    Certificates chain = verify( three.leaf, certificates( extra ), certificates( trusted ) );
    EXPECT_EQ( objects( chain ), objects( { three.leaf, three.intermediate, three.root } ) );
}

TEST( CryX509CertificateChain, CrossesKindsOfKeys )
{
    Extensions ca   = { { "basicConstraints", "critical,CA:TRUE" } };
    Cert       last = makeCertificate( { .subject = "CN=0", .subjectKey = key( KeyKind::rsa ), .extensions = ca } );
    // RSA signs RSA-PSS, which signs P-256, which signs P-384, which signs Ed25519.
    std::vector<Certificate> wanted = { certificate( last ) };
    Pkey                     signer = key( KeyKind::rsa );
    for( KeyKind kind : { KeyKind::rsaPss, KeyKind::p256, KeyKind::p384, KeyKind::ed25519 } )
    {
        last   = makeCertificate( { .subject = "CN=" + nameOf( kind ),
              .subjectKey                    = key( kind ),
              .issuer                        = last,
              .issuerKey                     = signer,
              .extensions                    = ca,
              .digest                        = kind == KeyKind::ed25519 ? "SHA384" : "SHA256",
              .pssSigned                     = kind == KeyKind::rsaPss } );
        signer = key( kind );
        wanted.insert( wanted.begin(), certificate( last ) );
    }
    Certificates all   = certificates( wanted );
    Certificates chain = verify( wanted.front(), all, certificates( { wanted.back() } ) );
    EXPECT_EQ( objects( chain ), objects( wanted ) );
}

TEST( CryX509CertificateChain, EndsAtATrustedIntermediate )
{
    for( KeyKind kind : allKeyKinds )
    {
        Three three( kind );
        EXPECT_EQ( objects( verify( three.leaf, {}, certificates( { three.intermediate } ) ) ), objects( { three.leaf, three.intermediate } ) )
            << nameOf( kind );
        EXPECT_EQ( objects( verify( three.intermediate, {}, certificates( { three.root } ) ) ), objects( { three.intermediate, three.root } ) )
            << nameOf( kind );
    }
}

TEST( CryX509CertificateChain, OfATrustedCertificateIsThatOneAlone )
{
    for( KeyKind kind : allKeyKinds )
    {
        Three three( kind );
        for( const Certificate &each : { three.leaf, three.intermediate, three.root } )
        {
            EXPECT_EQ( objects( verify( each, {}, certificates( { each } ) ) ), objects( { each } ) ) << nameOf( kind );
        }
    }
}

TEST( CryX509CertificateChain, OfATrustedLeafGoesAsFarAsTheExtraCertificatesReach )
{
    // OpenSSL follows the untrusted certificates before it looks at the trusted ones, and keeps the
    // certificates that it found.
    Three        three( KeyKind::p256 );
    Certificates trusted = certificates( { three.leaf } );
    EXPECT_EQ( objects( verify( three.leaf, certificates( { three.intermediate } ), trusted ) ), objects( { three.leaf, three.intermediate } ) );
    EXPECT_EQ( objects( verify( three.leaf, certificates( { three.root } ), trusted ) ), objects( { three.leaf } ) );
}

TEST( CryX509CertificateChain, ExtraCertificatesAreFollowedBeforeTheTrustedOnes )
{
    // A root that another root has also signed; that second certificate has expired.
    Cert                     other   = authority( "CN=Other", 1 );
    Cert                     root    = authority( "CN=Root", 0 );
    Cert                     crossed = makeCertificate( { .subject = "CN=Root",
                            .subjectKey                            = key( KeyKind::p256, 0 ),
                            .issuer                                = other,
                            .issuerKey                             = key( KeyKind::p256, 1 ),
                            .notAfter                              = "20230101000000Z",
                            .extensions                            = { { "basicConstraints", "critical,CA:TRUE" } } } );
    Certificate              leaf    = certificate( endEntity( "CN=leaf", root, 0 ) );
    std::vector<Certificate> one     = { certificate( root ), certificate( other ), certificate( crossed ) };
    Certificates             trusted = certificates( { one[0], one[1] } );
    EXPECT_EQ( objects( verify( leaf, {}, trusted ) ), objects( { leaf, one[0] } ) );
    EXPECT_EQ( objects( verify( leaf, certificates( { one[2] } ), trusted, "2022-07-01T00:00:00Z" ) ), objects( { leaf, one[2], one[1] } ) );
    EXPECT_FALSE( verify( leaf, certificates( { one[2] } ), trusted ) );
}

TEST( CryX509CertificateChain, HoldsGivenObjectsAlsoWhereACertificateIsGivenTwice )
{
    Three        three( KeyKind::rsa );
    Certificate  trustedLeaf = twin( three.leaf );
    Certificates chain       = verify( three.leaf, {}, certificates( { trustedLeaf } ) );
    ASSERT_EQ( objects( chain ).size(), 1u );
    EXPECT_TRUE( objects( chain )[0] == three.leaf.get() || objects( chain )[0] == trustedLeaf.get() );

    Certificate              otherRoot = twin( three.root );
    std::vector<Certificate> given     = { three.leaf, twin( three.leaf ), three.intermediate, twin( three.intermediate ), three.root, otherRoot };
    chain = verify( three.leaf, certificates( { given[1], given[2], given[3], given[4] } ), certificates( { otherRoot } ) );
    ASSERT_EQ( objects( chain ).size(), 3u );
    for( CRY_X509_CERTIFICATE *each : objects( chain ) )
        EXPECT_NE( std::find_if( given.begin(), given.end(), [each]( const Certificate &one ) { return one.get() == each; } ), given.end() );
    EXPECT_EQ(
        ders( chain.get() ), ( std::vector<std::string>{ der( three.leaf.get() ), der( three.intermediate.get() ), der( three.root.get() ) } ) );
}

TEST( CryX509CertificateChain, IsTheCallersToEdit )
{
    Three        three( KeyKind::p256 );
    Certificates extra   = certificates( { three.intermediate } );
    Certificates trusted = certificates( { three.root } );
    Certificates chain   = verify( three.leaf, extra, trusted );
    cryX509CertificatesClearCertificates( chain.handle() );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( extra.get() ), 1 );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( trusted.get() ), 1 );
    EXPECT_EQ( objects( verify( three.leaf, extra, trusted ) ).size(), 3u );
}

TEST( CryX509CertificateChain, AnEmptyCollectionOfExtraCertificatesIsAsNone )
{
    Three three( KeyKind::p256 );
    for( const Certificates &extra : { Certificates(), certificates( {} ) } )
    {
        EXPECT_EQ( objects( verify( three.leaf, extra, certificates( { three.intermediate } ) ) ), objects( { three.leaf, three.intermediate } ) );
        EXPECT_FALSE( verify( three.leaf, extra, certificates( { three.root } ) ) );
    }
}

TEST( CryX509CertificateChain, ExtraCertificatesAreNotTrusted )
{
    Three three( KeyKind::p256 );
    Three other( KeyKind::ed25519 );
    for( const Certificates &trusted : { certificates( {} ), certificates( { other.root } ), certificates( { other.intermediate, other.leaf } ) } )
        EXPECT_FALSE( verify( three.leaf, certificates( { three.intermediate, three.root, three.leaf } ), trusted ) );
    EXPECT_FALSE( verify( three.root, certificates( { three.root } ), certificates( {} ) ) );
}

TEST( CryX509CertificateChain, HoldsFromTheFirstSecondOfEveryCertificateUntilTheLastOne )
{
    Three        three( KeyKind::p256 );
    Certificates extra   = certificates( { three.intermediate } );
    Certificates trusted = certificates( { three.root } );
    // For OpenSSL, a certificate has already expired in its last second.
    struct
    {
        const char *time;
        bool        good;
    } cases[] = { { "2023-12-31T23:59:59Z", false }, { "2023-12-31T23:59:59.999Z", false }, { "2024-01-01T00:00:00Z", true },
        { "2024-12-31T23:59:60Z", true }, { "2025-12-31T23:59:58Z", true }, { "2025-12-31T23:59:58.999Z", true }, { "2025-12-31T23:59:59Z", false },
        { "2026-01-01T00:00:00Z", false }, { "0001-01-01T00:00:00Z", false }, { "9999-12-31T23:59:59Z", false } };
    for( const auto &each : cases )
        EXPECT_EQ( (bool)verify( three.leaf, extra, trusted, each.time ), each.good ) << each.time;

    // The validity of the issuers counts too, also that of the trusted certificate.
    Cert        root         = makeCertificate( { .subject = "CN=Root",
                       .subjectKey                         = key( KeyKind::p256, 0 ),
                       .notBefore                          = "20200601000000Z",
                       .notAfter                           = "20290601000000Z",
                       .extensions                         = { { "basicConstraints", "critical,CA:TRUE" } } } );
    Cert        intermediate = makeCertificate( { .subject = "CN=Intermediate",
               .subjectKey                                 = key( KeyKind::p256, 1 ),
               .issuer                                     = root,
               .issuerKey                                  = key( KeyKind::p256, 0 ),
               .notBefore                                  = "20220601000000Z",
               .notAfter                                   = "20270601000000Z",
               .extensions                                 = { { "basicConstraints", "critical,CA:TRUE" } } } );
    Certificate leaf         = certificate( endEntity( "CN=leaf", intermediate, 1 ) );
    Certificate one          = certificate( intermediate );
    Certificate end          = certificate( root );
    EXPECT_FALSE( verify( leaf, certificates( { one } ), certificates( { end } ), "2022-05-31T23:59:59Z" ) );
    EXPECT_TRUE( verify( leaf, certificates( { one } ), certificates( { end } ), "2022-06-01T00:00:00Z" ) );
    EXPECT_TRUE( verify( leaf, certificates( { one } ), certificates( { end } ), "2027-05-31T23:59:59Z" ) );
    EXPECT_FALSE( verify( leaf, certificates( { one } ), certificates( { end } ), "2027-06-01T00:00:00Z" ) );
    EXPECT_TRUE( verify( one, {}, certificates( { end } ), "2027-05-31T23:59:59Z" ) );
    EXPECT_FALSE( verify( one, {}, certificates( { end } ), "2027-06-01T00:00:00Z" ) );
    EXPECT_TRUE( verify( end, {}, certificates( { end } ), "2029-05-31T23:59:59Z" ) );
    EXPECT_FALSE( verify( end, {}, certificates( { end } ), "2029-06-01T00:00:00Z" ) );
    EXPECT_FALSE( verify( end, {}, certificates( { end } ), "2020-05-31T23:59:59Z" ) );
}

TEST( CryX509CertificateChain, ADayThatTheMonthDoesNotHaveVerifiesNothing )
{
    Three            three( KeyKind::p256 );
    pb::Ref<PB_TIME> never = pb::adopt( pbTimeCreate( 2024, 2, 30, 12, 0, 0, 0 ) );
    pb::Ref<PB_TIME> day   = pb::adopt( pbTimeCreate( 2024, 2, 29, 12, 0, 0, 0 ) );
    EXPECT_FALSE( verify( three.leaf, certificates( { three.intermediate } ), certificates( { three.root } ), never ) );
    EXPECT_TRUE( verify( three.leaf, certificates( { three.intermediate } ), certificates( { three.root } ), day ) );
}

TEST( CryX509CertificateChain, NeedsTheIssuersSignature )
{
    for( KeyKind kind : allKeyKinds )
    {
        Chain chain = chainOf( kind );
        // The same name and the same key identifier are not enough.
        Cert  impostor = makeCertificate( { .subject = "O=Example/CN=Root " + nameOf( kind ),
             .subjectKey                             = key( kind, 3 ),
             .extensions                             = { { "basicConstraints", "critical,CA:TRUE" } } } );
        Three three( chain );
        EXPECT_FALSE( verify( three.leaf, certificates( { three.intermediate } ), certificates( { certificate( impostor ) } ) ) ) << nameOf( kind );
        // A leaf with one changed byte.
        std::string changed                     = der( chain.leaf );
        changed[changed.find( "leaf.example" )] = 'L';
        Certificate other                       = pb::adopt( cryX509CertificateTryCreateFromDer( buf( changed ).get() ) );
        ASSERT_TRUE( other );
        EXPECT_FALSE( verify( other, certificates( { three.intermediate } ), certificates( { three.root } ) ) ) << nameOf( kind );
    }
    ERR_clear_error();
}

TEST( CryX509CertificateChain, IntermediatesMustBeAuthorities )
{
    EXPECT_TRUE( verifiesUnder( { { "basicConstraints", "critical,CA:TRUE" } } ) );
    EXPECT_FALSE( verifiesUnder( { { "basicConstraints", "critical,CA:FALSE" } } ) );
    EXPECT_FALSE( verifiesUnder( {} ) );
    EXPECT_TRUE( verifiesUnder( { { "basicConstraints", "critical,CA:TRUE" }, { "keyUsage", "critical,keyCertSign" } } ) );
    EXPECT_FALSE( verifiesUnder( { { "basicConstraints", "critical,CA:TRUE" }, { "keyUsage", "critical,digitalSignature" } } ) );
    EXPECT_FALSE( verifiesUnder( { { "basicConstraints", "critical,CA:TRUE" }, { "1.2.3.4", "critical,DER:0500" } } ) );
    EXPECT_TRUE( verifiesUnder( { { "basicConstraints", "critical,CA:TRUE" }, { "1.2.3.4", "DER:0500" } } ) );
}

TEST( CryX509CertificateChain, PathLengthIsKept )
{
    for( int allowed : { 0, 1, 2 } )
    {
        std::string  limited = "critical,CA:TRUE,pathlen:" + std::to_string( allowed );
        Cert         root    = authority( "CN=Root", 0 );
        Cert         first   = authority( "CN=First", 1, root, 0, { { "basicConstraints", limited } } );
        Cert         second  = authority( "CN=Second", 2, first, 1 );
        Cert         third   = authority( "CN=Third", 3, second, 2 );
        Certificates extra   = certificates( { certificate( first ), certificate( second ), certificate( third ) } );
        Certificates trusted = certificates( { certificate( root ) } );
        EXPECT_TRUE( verify( certificate( endEntity( "CN=a", first, 1 ) ), extra, trusted ) ) << allowed;
        EXPECT_EQ( (bool)verify( certificate( endEntity( "CN=b", second, 2 ) ), extra, trusted ), allowed >= 1 ) << allowed;
        EXPECT_EQ( (bool)verify( certificate( endEntity( "CN=c", third, 3 ) ), extra, trusted ), allowed >= 2 ) << allowed;
    }
}

TEST( CryX509CertificateChain, NameConstraintsAreKept )
{
    Extensions permitted = { { "basicConstraints", "critical,CA:TRUE" }, { "nameConstraints", "critical,permitted;DNS:example" } };
    Extensions excluded  = { { "basicConstraints", "critical,CA:TRUE" }, { "nameConstraints", "critical,excluded;DNS:bad.example" } };
    EXPECT_TRUE( verifiesUnder( permitted, { { "subjectAltName", "DNS:host.example" } } ) );
    EXPECT_FALSE( verifiesUnder( permitted, { { "subjectAltName", "DNS:host.other" } } ) );
    EXPECT_TRUE( verifiesUnder( excluded, { { "subjectAltName", "DNS:good.example" } } ) );
    EXPECT_FALSE( verifiesUnder( excluded, { { "subjectAltName", "DNS:host.bad.example" } } ) );
}

TEST( CryX509CertificateChain, PurposeAndHostAreNotLookedAt )
{
    Extensions codeOnly = { { "basicConstraints", "critical,CA:TRUE" }, { "extendedKeyUsage", "critical,codeSigning" } };
    EXPECT_TRUE( verifiesUnder( codeOnly, { { "extendedKeyUsage", "critical,timeStamping" } } ) );
    EXPECT_TRUE( verifiesUnder( codeOnly, { { "keyUsage", "critical,cRLSign" } } ) );
    EXPECT_TRUE( verifiesUnder( codeOnly, { { "extendedKeyUsage", "serverAuth" }, { "subjectAltName", "DNS:any.where" } } ) );
    EXPECT_FALSE( verifiesUnder( codeOnly, { { "1.2.3.4", "critical,DER:0500" } } ) ) << "what is critical and unknown counts in the leaf too";
}

TEST( CryX509CertificateChain, TakesTheOneOfTwoTrustedNamesakesThatSigned )
{
    Cert        right = authority( "CN=Root", 0 );
    Cert        wrong = authority( "CN=Root", 1 );
    Certificate leaf  = certificate( endEntity( "CN=leaf", right, 0 ) );
    Certificate good  = certificate( right );
    Certificate bad   = certificate( wrong );
    // Key identifiers distinguish the two roots. Without them, OpenSSL uses the first one as the
    // issuer, so each is tried alone.
    EXPECT_TRUE( verify( leaf, {}, certificates( { good } ) ) );
    EXPECT_FALSE( verify( leaf, {}, certificates( { bad } ) ) );
    Extensions  ca      = { { "basicConstraints", "critical,CA:TRUE" }, { "subjectKeyIdentifier", "hash" } };
    Cert        rightId = authority( "CN=Root", 0, {}, 0, ca );
    Certificate leafId  = certificate( endEntity( "CN=leaf", rightId, 0, { { "authorityKeyIdentifier", "keyid" } } ) );
    Certificate goodId  = certificate( rightId );
    Certificate badId   = certificate( authority( "CN=Root", 1, {}, 0, ca ) );
    EXPECT_EQ( objects( verify( leafId, {}, certificates( { badId, goodId } ) ) ), objects( { leafId, goodId } ) );
    EXPECT_EQ( objects( verify( leafId, {}, certificates( { goodId, badId } ) ) ), objects( { leafId, goodId } ) );
    ERR_clear_error();
}

TEST( CryX509CertificateChain, TakesTheOneOfManyNamesakesThatOpensslTakes )
{
    // All these roots signed the leaf. OpenSSL chooses one by their order in the store and by their
    // validity.
    std::vector<Cert>        roots;
    std::vector<Certificate> ours;
    for( int number = 0; number < 60; number++ )
    {
        int year = 2023 + number * 7 % 11;
        roots.push_back( makeCertificate( { .subject = number % 3 ? "CN=Root" : "CN=Other",
            .subjectKey                              = key( KeyKind::p256, 0 ),
            .notAfter                                = std::to_string( year ) + "0101000000Z",
            .serial                                  = std::to_string( number * 37 % 60 + 1 ),
            .extensions                              = { { "basicConstraints", "critical,CA:TRUE" } } } ) );
        ours.push_back( certificate( roots.back() ) );
    }
    Cert leaf = endEntity( "CN=leaf", roots[1], 0 );
    for( size_t count : { 2u, 3u, 7u, 20u, 60u } )
    {
        X509_STORE *store = X509_STORE_new();
        for( size_t index = 0; index < count; index++ )
            ASSERT_EQ( X509_STORE_add_cert( store, roots[index].get() ), 1 );
        X509_STORE_CTX *ctx = X509_STORE_CTX_new();
        ASSERT_EQ( X509_STORE_CTX_init( ctx, store, leaf.get(), nullptr ), 1 );
        X509_VERIFY_PARAM *param = X509_VERIFY_PARAM_new();
        X509_VERIFY_PARAM_set_depth( param, 255 );
        X509_VERIFY_PARAM_set_flags( param, X509_V_FLAG_PARTIAL_CHAIN );
        time_t seconds;
        ASSERT_TRUE( pbTimeTryConvertToTimeT( support::time( leafTime ).get(), &seconds ) );
        X509_VERIFY_PARAM_set_time( param, seconds );
        X509_STORE_CTX_set0_param( ctx, param );
        bool                     good = X509_verify_cert( ctx ) == 1;
        std::vector<std::string> wanted;
        for( int index = 0; good && index < sk_X509_num( X509_STORE_CTX_get0_chain( ctx ) ); index++ )
            wanted.push_back( der( sk_X509_value( X509_STORE_CTX_get0_chain( ctx ), index ) ) );
        X509_STORE_CTX_free( ctx );
        X509_STORE_free( store );
        Certificates chain = verify(
            certificate( leaf ), {}, certificates( std::vector<Certificate>( ours.begin(), ours.begin() + (ptrdiff_t)count ) ) );
        EXPECT_TRUE( ( chain ? ders( chain.get() ) : std::vector<std::string>() ) == wanted ) << count;
        EXPECT_EQ( wanted.size(), 2u ) << count;
    }
}

TEST( CryX509CertificateChain, EndsAtDepth255 )
{
    std::vector<Cert> chain = { authority( "CN=0", 0 ) };
    for( int number = 1; number <= 257; number++ )
        chain.push_back( authority( "CN=" + std::to_string( number ), 0, chain.back(), 0 ) );
    Certificates trusted = certificates( { certificate( chain[0] ) } );
    auto         length  = [&]( int leaf ) {
        Certificates extra = pb::adopt( cryX509CertificatesCreate() );
        for( int number = 1; number < leaf; number++ )
            cryX509CertificatesAppendCertificate( extra.handle(), certificate( chain[(size_t)number] ).get() );
        return objects( verify( certificate( chain[(size_t)leaf] ), extra, trusted ) ).size();
    };
    EXPECT_EQ( length( 100 ), 101u );
    // The depth counts the intermediates between leaf and trusted certificate.
    EXPECT_EQ( length( 256 ), 257u );
    EXPECT_EQ( length( 257 ), 0u );
}

TEST( CryX509CertificateChain, SuccessLeavesTheErrorQueueAsItWas )
{
    for( KeyKind kind : allKeyKinds )
    {
        Three        three( kind );
        Certificates extra   = certificates( { three.intermediate } );
        Certificates trusted = certificates( { three.root } );
        takeErrors();
        raiseError();
        EXPECT_TRUE( verify( three.leaf, extra, trusted ) );
        EXPECT_EQ( takeErrors(), std::vector<unsigned long>{ raisedError } ) << nameOf( kind );
    }
}

TEST( CryX509CertificateChain, AnEditOfTheTrustedCertificatesCounts )
{
    Three three( KeyKind::p256 );
    Three other( KeyKind::ed25519 );
    struct Edit
    {
        const char *name;
        void ( *apply )( CRY_X509_CERTIFICATES **certs, const Three &three, const Three &other );
        bool before;
        bool after;
    };
    // Before an edit, the collection holds the other root (and our root, if the leaf verifies
    // before the edit).
    const Edit edits[] = {
        { "append", []( auto certs, auto &three, auto & ) { cryX509CertificatesAppendCertificate( certs, three.root.get() ); }, false, true },
        { "prepend", []( auto certs, auto &three, auto & ) { cryX509CertificatesPrependCertificate( certs, three.root.get() ); }, false, true },
        { "insert", []( auto certs, auto &three, auto & ) { cryX509CertificatesInsertCertificate( certs, 1, three.root.get() ); }, false, true },
        { "set", []( auto certs, auto &three, auto & ) { cryX509CertificatesSetCertificateAt( certs, 0, three.root.get() ); }, false, true },
        { "set other", []( auto certs, auto &, auto &other ) { cryX509CertificatesSetCertificateAt( certs, 1, other.root.get() ); }, true, false },
        { "delete", []( auto certs, auto &, auto & ) { cryX509CertificatesDelCertificateAt( certs, 1 ); }, true, false },
        { "delete another", []( auto certs, auto &, auto & ) { cryX509CertificatesDelCertificateAt( certs, 0 ); }, true, true },
        { "clear", []( auto certs, auto &, auto & ) { cryX509CertificatesClearCertificates( certs ); }, true, false },
        { "append others", []( auto certs, auto &three, auto & ) { cryX509CertificatesAppend( certs, certificates( { three.root } ).get() ); }, false,
            true },
        { "prepend others", []( auto certs, auto &three, auto & ) { cryX509CertificatesPrepend( certs, certificates( { three.root } ).get() ); },
            false, true },
        { "insert others", []( auto certs, auto &three, auto & ) { cryX509CertificatesInsert( certs, 0, certificates( { three.root } ).get() ); },
            false, true },
        { "set all",
            []( auto certs, auto &three, auto & ) {
                pb::Ref<PB_VECTOR> vec     = pb::adopt( cryX509CertificatesCertificatesVector( certificates( { three.root } ).get() ) );
                cryX509CertificatesSetCertificatesVector( certs, vec.get() );
            },
            false, true },
        { "set all to others",
            []( auto certs, auto &, auto &other ) {
                pb::Ref<PB_VECTOR> vec     = pb::adopt( cryX509CertificatesCertificatesVector( certificates( { other.root } ).get() ) );
                cryX509CertificatesSetCertificatesVector( certs, vec.get() );
            },
            true, false },
    };
    Certificates extra = certificates( { three.intermediate } );
    for( const Edit &edit : edits )
    {
        for( bool shared : { false, true } )
        {
            Certificates trusted = certificates( { other.root } );
            if( edit.before )
                cryX509CertificatesAppendCertificate( trusted.handle(), three.root.get() );
            EXPECT_EQ( (bool)verify( three.leaf, extra, trusted ), edit.before ) << edit.name;
            Certificates holder = shared ? trusted : Certificates();
            Certificates copy   = pb::adopt( cryX509CertificatesCreateFrom( trusted.get() ) );
            edit.apply( trusted.handle(), three, other );
            EXPECT_EQ( (bool)verify( three.leaf, extra, trusted ), edit.after ) << edit.name;
            if( shared )
            {
                EXPECT_EQ( (bool)verify( three.leaf, extra, holder ), edit.before ) << edit.name << ", the other holder";
            }
            EXPECT_EQ( (bool)verify( three.leaf, extra, copy ), edit.before ) << edit.name << ", a copy";
            edit.apply( copy.handle(), three, other );
            EXPECT_EQ( (bool)verify( three.leaf, extra, copy ), edit.after ) << edit.name << ", an edited copy";
        }
    }
}

TEST( CryX509CertificateChain, ACollectionMayBeTrustedAndExtraAtOnce )
{
    Three        three( KeyKind::p256 );
    Certificates all = certificates( { three.leaf, three.intermediate, three.root } );
    for( int round = 0; round < 2; round++ )
    {
        Certificates chain = verify( three.leaf, all, all );
        EXPECT_GE( objects( chain ).size(), 1u );
        EXPECT_EQ( objects( chain ).front(), three.leaf.get() );
    }
}

TEST( CryX509CertificateChain, ManyThreadsShareOneCollection )
{
    // New collections, so that the threads also make the first use at the same time.
    for( int round = 0; round < 10; round++ )
    {
        std::vector<Certificate> leaves;
        std::vector<Certificate> middles;
        std::vector<Certificate> roots;
        for( KeyKind kind : { KeyKind::rsa, KeyKind::p256, KeyKind::ed25519 } )
        {
            Three three( kind );
            leaves.push_back( three.leaf );
            middles.push_back( three.intermediate );
            roots.push_back( three.root );
        }
        Three other( KeyKind::p384 );
        leaves.push_back( other.leaf );
        middles.push_back( other.intermediate );

        Certificates             extra   = certificates( middles );
        Certificates             trusted = certificates( roots );
        std::atomic<int>         good{ 0 };
        std::atomic<int>         refused{ 0 };
        std::atomic<int>         waiting{ 4 };
        std::vector<std::thread> threads;
        for( size_t thread = 0; thread < 4; thread++ )
        {
            threads.emplace_back( [&, thread] {
                for( waiting--; waiting > 0; )
                    std::this_thread::yield();
                for( size_t index = 0; index < 8; index++ )
                {
                    size_t       which = ( index + thread ) % 4;
                    Certificates chain = verify( leaves[which], extra, trusted );
                    if( which == 3 )
                        refused += !chain;
                    else
                        good += objects( chain ) == objects( { leaves[which], middles[which], roots[which] } );
                }
            } );
        }
        for( std::thread &thread : threads )
            thread.join();
        EXPECT_EQ( good, 24 );
        EXPECT_EQ( refused, 8 );
    }
}

namespace
{

// A root and a leaf that it signed, both valid for this time.
struct TwoFor
{
    TwoFor( const std::string &notBefore, const std::string &notAfter )
    {
        Cert made = makeCertificate( { .subject = "CN=Root",
            .subjectKey                         = key( KeyKind::p256, 0 ),
            .notBefore                          = notBefore,
            .notAfter                           = notAfter,
            .extensions                         = { { "basicConstraints", "critical,CA:TRUE" } } } );
        trusted   = certificates( { certificate( made ) } );
        leaf      = certificate( makeCertificate( { .subject = "CN=leaf",
                 .subjectKey                                 = key( KeyKind::p256, 9 ),
                 .issuer                                     = made,
                 .issuerKey                                  = key( KeyKind::p256, 0 ),
                 .notBefore                                  = notBefore,
                 .notAfter                                   = notAfter } ) );
    }

    bool verifiesAt( std::string_view tm ) const { return (bool)verify( leaf, {}, trusted, tm ); }

    Certificate  leaf;
    Certificates trusted;
};

}

TEST( CryX509CertificateChain, HoldsBefore1970AndAfter2038UpToTheYear9999 )
{
    TwoFor two( "19500101000000Z", "99991231235959Z" );
    for( const char *good : { "1950-01-01T00:00:00Z", "1969-12-31T23:59:58Z", "1969-12-31T23:59:59Z", "1970-01-01T00:00:00Z", "1970-01-01T00:00:01Z",
             "2038-01-19T03:14:07Z", "2038-01-19T03:14:08Z", "2049-12-31T23:59:59Z", "2050-01-01T00:00:00Z", "2106-02-07T06:28:15Z",
             "2106-02-07T06:28:16Z", "9999-12-31T00:00:00Z", "9999-12-31T23:59:58Z", "9999-12-31T23:59:58.999Z" } )
        EXPECT_TRUE( two.verifiesAt( good ) ) << good;
    // For OpenSSL, a certificate has already expired in its last second, also if that time means
    // that it has no end.
    for( const char *bad : { "0001-01-01T00:00:00Z", "1949-12-31T23:59:59Z", "9999-12-31T23:59:59Z", "9999-12-31T23:59:60Z" } )
        EXPECT_FALSE( two.verifiesAt( bad ) ) << bad;

    TwoFor old( "19500101000000Z", "19691231235959Z" );
    EXPECT_TRUE( old.verifiesAt( "1969-12-31T23:59:58Z" ) );
    EXPECT_FALSE( old.verifiesAt( "1969-12-31T23:59:59Z" ) );
    EXPECT_FALSE( old.verifiesAt( "1970-01-01T00:00:00Z" ) );
    TwoFor far( "20380119031408Z", "21060207062816Z" );
    EXPECT_FALSE( far.verifiesAt( "1901-12-13T20:45:52Z" ) );
    EXPECT_FALSE( far.verifiesAt( "2038-01-19T03:14:07Z" ) );
    EXPECT_TRUE( far.verifiesAt( "2038-01-19T03:14:08Z" ) );
    EXPECT_TRUE( far.verifiesAt( "2106-02-07T06:28:15Z" ) );
    EXPECT_FALSE( far.verifiesAt( "2106-02-07T06:28:16Z" ) );
}

TEST( CryX509CertificateChain, TakesALeapSecondForTheSecondAfterIt )
{
    TwoFor after( "20170101000000Z", "20180101000000Z" );
    EXPECT_FALSE( after.verifiesAt( "2016-12-31T23:59:59Z" ) );
    EXPECT_FALSE( after.verifiesAt( "2016-12-31T23:59:59.999Z" ) );
    EXPECT_TRUE( after.verifiesAt( "2016-12-31T23:59:60Z" ) );
    EXPECT_TRUE( after.verifiesAt( "2017-01-01T00:00:00Z" ) );
    TwoFor until( "20160101000000Z", "20170101000001Z" );
    EXPECT_TRUE( until.verifiesAt( "2016-12-31T23:59:60Z" ) );
    EXPECT_TRUE( until.verifiesAt( "2016-12-31T23:59:60.999Z" ) );
    EXPECT_FALSE( until.verifiesAt( "2017-01-01T00:00:01Z" ) );
    TwoFor before( "20160101000000Z", "20170101000000Z" );
    EXPECT_TRUE( before.verifiesAt( "2016-12-31T23:59:59Z" ) );
    EXPECT_FALSE( before.verifiesAt( "2016-12-31T23:59:60Z" ) );
}

// Certificates that differ in their names only, so only the first one has a good signature.
static std::vector<Certificate> numbered( size_t count )
{
    static constexpr char    name[] = "Number 00000";
    std::string              bytes  = der( authority( std::string( "CN=" ) + name, 5 ) );
    std::vector<Certificate> list;
    for( size_t number = 0; number < count; number++ )
    {
        std::string digits = std::to_string( 100000 + number ).substr( 1 ), each = bytes;
        for( size_t at = each.find( name ); at != each.npos; at = each.find( name, at + 1 ) )
            each.replace( at + sizeof name - 1 - digits.size(), digits.size(), digits );
        list.push_back( pb::adopt( cryX509CertificateTryCreateFromDer( buf( each ).get() ) ) );
    }
    return list;
}

TEST( CryX509CertificateChain, FindsItsEndAmongTenThousandTrustedCertificates )
{
    Three                    three( KeyKind::p256 );
    std::vector<Certificate> list = numbered( 10000 );
    Certificates             none = certificates( list );
    list[6543]                    = three.root;
    Certificates trusted          = certificates( list );
    Certificates extra            = certificates( { three.intermediate } );
    ASSERT_EQ( cryX509CertificatesCertificatesLength( trusted.get() ), 10000 );
    EXPECT_EQ( objects( verify( three.leaf, extra, trusted ) ), objects( { three.leaf, three.intermediate, three.root } ) );
    EXPECT_EQ( objects( verify( list[9999], {}, trusted ) ), objects( { list[9999] } ) );
    EXPECT_FALSE( verify( three.leaf, extra, none ) );
    // The same certificates as untrusted ones.
    list[6543] = three.intermediate;
    EXPECT_EQ( objects( verify( three.leaf, certificates( list ), certificates( { three.root } ) ) ),
        objects( { three.leaf, three.intermediate, three.root } ) );

    pb::Ref<PB_STORE> store = pb::adopt( cryX509CertificatesStore( trusted.get() ) );
    EXPECT_EQ( pbStoreLength( store.get() ), 10000 );
    Certificates restored = pb::adopt( cryX509CertificatesRestore( store.get() ) );
    EXPECT_EQ( cryX509CertificatesCertificatesLength( restored.get() ), 10000 );
    EXPECT_TRUE( cryX509CertificatesEquals( restored.get(), trusted.get() ) );
    Certificates chain = verify( three.leaf, extra, restored );
    ASSERT_EQ( objects( chain ).size(), 3u );
    EXPECT_TRUE( cryX509CertificateEquals( objects( chain )[2], three.root.get() ) );
}

TEST( CryX509CertificateChain, IsVerifiedAgainstACollectionWhileOthersEditTheirCopiesOfIt )
{
    Three                    three( KeyKind::p256 );
    std::vector<Certificate> list = numbered( 20 );
    list.push_back( three.root );
    // The collection was not used for verification before, so the threads also make its store at
    // the same time.
    Certificates             trusted = certificates( list );
    Certificates             extra   = certificates( { three.intermediate } );
    std::atomic<int>         good{ 0 }, wrong{ 0 };
    std::vector<std::thread> threads;
    for( int thread = 0; thread < 2; thread++ )
    {
        threads.emplace_back( [&] {
            for( int round = 0; round < 60; round++ )
                good += objects( verify( three.leaf, extra, trusted ) ).size() == 3;
        } );
        threads.emplace_back( [&] {
            for( int round = 0; round < 60; round++ )
            {
                Certificates own = trusted;
                if( round % 2 )
                    wrong += !verify( three.leaf, extra, own );
                cryX509CertificatesDelCertificateAt( own.handle(), 20 );
                wrong += own.get() == trusted.get() || cryX509CertificatesCertificatesLength( own.get() ) != 20;
                wrong += (bool)verify( three.leaf, extra, own );
                cryX509CertificatesPrependCertificate( own.handle(), three.root.get() );
                wrong += !verify( three.leaf, extra, own );
                // Back to the collection that all threads share.
                own = trusted;
                cryX509CertificatesClearCertificates( own.handle() );
                wrong += cryX509CertificatesCertificatesLength( own.get() ) != 0;
            }
        } );
    }
    for( std::thread &thread : threads )
        thread.join();
    EXPECT_EQ( good, 120 );
    EXPECT_EQ( wrong, 0 );
    EXPECT_EQ( objects( trusted ), objects( list ) );
    EXPECT_FALSE( pbObjIsShared( trusted.obj() ) );
    ERR_clear_error();
}
